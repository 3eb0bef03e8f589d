#include "cli/json.h"

#include "cli/printable.h"

namespace cli {

Json JsonObject(const std::string& verb, bool ok) {
    return {{"schema", 1}, {"ok", ok}, {"verb", verb}};
}

std::string JsonLine(const Json& json) {
    return PrintableJson(json.dump(-1, ' ', false, Json::error_handler_t::replace)) + "\n";
}

}  // namespace cli
