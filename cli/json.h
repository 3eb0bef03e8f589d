#ifndef CLI_JSON_H
#define CLI_JSON_H

#include <nlohmann/json.hpp>
#include <string>

// What scripts get of the commands. docs/schemas/ describes each object.
namespace cli {

using Json = nlohmann::ordered_json;

// The fields with which each object begins. schema counts what would break a script.
Json JsonObject(const std::string& verb, bool ok);

// On one line, fit for a terminal. Bytes that are no UTF-8 become replacement characters.
std::string JsonLine(const Json& json);

}  // namespace cli

#endif
