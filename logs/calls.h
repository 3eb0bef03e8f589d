#ifndef LOGS_CALLS_H
#define LOGS_CALLS_H

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "logs/dates.h"
#include "logs/masks.h"
#include "logs/record.h"

namespace logs {

// How a call ended, as far as the log tells.
enum class Ending {
    kTold,     // with a code
    kUntold,   // the function does not always write it
    kMissing,  // it should be there
};

// What a record of a call showed, by name.
struct Detail {
    const char* key;
    std::string value;
};

// A call of an exported function, made of the records that one thread wrote of it.
struct Call {
    std::string function;  // or a record's own name, where nobody knows whose it is
    int64_t process = 0;
    int32_t thread = 0;
    Moment first = kNoMoment;  // record
    Moment last = kNoMoment;
    bool is_begin_known = false;
    Ending ending = Ending::kUntold;
    std::optional<int32_t> code;
    std::vector<Detail> details;
    uint32_t records = 0;
    uint64_t offset = 0;  // of the first record, in the file
    bool is_cut = false;  // one of its records has no end
    bool is_doubtful = false;

    bool HasFailed() const {
        return ending == Ending::kMissing || (code.has_value() && *code != 0);
    }
    // Microseconds from the first record to the last; nothing where not both ends are known, or a
    // clock was set back in between.
    std::optional<int64_t> Duration() const;
    // Why there is no code; null where there is one, or nothing can be said.
    const char* WithoutEnd() const;
};

// Joins the records of each thread into calls. A call is told when it ends, or when its thread
// begins another.
class Joiner final {
 public:
    using Tell = std::function<void(const Call&)>;

    Joiner(Masks& masks, Tell tell) : masks_(masks), tell_(std::move(tell)) {}

    void Take(const Record& record, Moment moment);
    // No more records: tells the calls that have not ended.
    void Finish();

 private:
    using Writer = std::pair<int64_t, int32_t>;

    Call& CallOf(const Record& record, const Form* form, Moment moment);
    void Close(const Writer& writer);
    void AddDetails(Call& call, const Form& form, const Record& record);
    void AddRequest(Call& call, std::string_view rest);
    void AddStep(Call& call, const Form& form, std::string_view rest);
    void TakeCode(Call& call, const Form& form, std::string_view rest);
    void TellEnded(Call& call);

    Masks& masks_;
    Tell tell_;
    std::map<Writer, Call> open_;
};

}  // namespace logs

#endif
