#include "codes/failures.h"

#include "codes/catalogue.h"
#include "codes/notation.h"

namespace codes {

cli::Json ErrorJson(const cli::Failure& failure) {
    cli::Json error = {{"status", static_cast<int>(failure.status)},
                       {"class", cli::NameOf(failure.status)},
                       {"what", failure.what},
                       {"why", failure.why},
                       {"next", failure.next}};
    if (failure.code) {
        const Row* const known = Find(*failure.code);
        if (!failure.function.empty()) {
            error["function"] = failure.function;
        }
        error["code"] = *failure.code;
        error["hex"] = Hexadecimal(*failure.code);
        error["name"] = known != nullptr && known->name != nullptr ? cli::Json(known->name)
                                                                   : cli::Json(nullptr);
    }
    return error;
}

}  // namespace codes
