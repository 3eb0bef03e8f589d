#include "step.h"

#include <algorithm>

#include "argument.h"
#include "functions.h"

namespace walk {

namespace {

constexpr size_t kShown = 300;

std::string Show(const std::string& text) {
    if (text.size() <= kShown) {
        return scripted::Quoted(text);
    }
    return scripted::Quoted(text.substr(0, kShown)) + "... (" + std::to_string(text.size()) +
           " bytes)";
}

std::string Show(const Text& text) {
    return text ? Show(*text) : "null";
}

template <typename Number>
std::string Show(const std::optional<Number>& number) {
    return number ? std::to_string(*number) : "null";
}

std::string Show(const Reply& reply) {
    return "{" + std::to_string(reply.code) + ", " + Show(reply.text) + ", " + Show(reply.length) +
           "}";
}

std::string Show(const Device& device) {
    return "{slot " + std::to_string(device.slot) + ", " + std::to_string(device.code) + ", " +
           Show(device.media_id) + "}";
}

std::string Show(const Wait& wait) {
    return std::string("{") + (wait.throws ? "throws" : std::to_string(wait.code)) +
           (wait.stopped ? ", stopped" : "") +
           (wait.fills_event
                ? ", event " + std::to_string(wait.kind) + " in slot " + std::to_string(wait.slot)
                : "") +
           (wait.pause == Wait::Pause::kInterrupted ? ", pause interrupted" : "") +
           (wait.pause == Wait::Pause::kFailed ? ", pause fails" : "") +
           (wait.stopped_in_pause ? ", stopped in the pause" : "") + "}";
}

template <typename Items>
std::string ShowAll(const Items& items) {
    std::string shown;
    for (const auto& item : items) {
        shown += (shown.empty() ? "" : ", ") + Show(item);
    }
    return shown;
}

std::string Show(const TokenScript& token) {
    return "list " + std::to_string(token.list_code) + " [" + ShowAll(token.devices) +
           "], context " + std::to_string(token.context_code) + " &" +
           std::to_string(token.context) + ", waits [" + ShowAll(token.waits) + "], arrived " +
           Show(token.arrived);
}

std::string ShowSurroundings(const Step& step) {
    std::string shown;
    if (step.backend) {
        shown += "\n    back-end: " + (!step.backend->present ? "none"
                                       : step.backend->missing_entry.empty()
                                           ? "complete"
                                           : "without " + step.backend->missing_entry);
    }
    shown += step.log_unwritable ? "\n    the log cannot be written" : "";
    shown += step.directory_unreadable ? "\n    the application directory cannot be read" : "";
    return shown;
}

std::string Line(const char* what, const std::string& expected, const std::string& seen) {
    return expected == seen ? ""
                            : std::string("  ") + what + "\n    expected " + expected +
                                  "\n    seen     " + seen + "\n";
}

// Item by item, and the bytes in full: the difference may lie far behind.
std::string List(const char* what, const std::vector<std::string>& expected,
                 const std::vector<std::string>& seen) {
    std::string lines;
    for (size_t i = 0; expected != seen && i < std::max(expected.size(), seen.size()); ++i) {
        lines += Line((what + (" " + std::to_string(i + 1))).c_str(),
                      i < expected.size() ? expected[i] : "nothing",
                      i < seen.size() ? seen[i] : "nothing");
    }
    return lines;
}

std::string Bytes(const char* what, const Text& expected, const Text& seen) {
    return expected == seen ? ""
                            : Line(what, expected ? scripted::Quoted(*expected) : "null",
                                   seen ? scripted::Quoted(*seen) : "null");
}

// Each record in two lines, as in the file.
std::vector<std::string> Lines(const std::string& log) {
    std::vector<std::string> lines;
    size_t start = 0;
    for (size_t end = log.find('\n'); end != std::string::npos; end = log.find('\n', start)) {
        lines.push_back(scripted::Quoted(log.substr(start, end + 1 - start)));
        start = end + 1;
    }
    lines.push_back(scripted::Quoted(log.substr(start)));
    return lines;
}

std::string LogLines(const std::string& expected, const std::string& seen) {
    return expected == seen ? "" : List("log line", Lines(expected), Lines(seen));
}

}  // namespace

std::string Describe(const Step& step) {
    const Function& function = Functions()[step.function];
    std::string shown = function.name;
    shown += "\n    texts " + ShowAll(step.in.texts) + "; numbers";
    for (const int64_t number : step.in.numbers) {
        shown += " " + std::to_string(number);
    }
    shown += "; buffer " + Show(step.in.buffer) + "; length " + Show(step.in.length) + "; event " +
             Show(step.in.event);
    if (!step.replies.empty()) {
        shown += "\n    replies " + ShowAll(step.replies);
    }
    if (function.recipe.waits) {
        shown += "\n    token library: " + Show(step.token);
    }
    return shown + ShowSurroundings(step) + "\n";
}

std::string Differences(const Outcome& expected, const Outcome& seen) {
    std::string lines =
        Line("result", Show(expected.result), Show(seen.result)) +
        Line("exception", Show(expected.exception), Show(seen.exception)) +
        Line("last error", std::to_string(expected.last_error), std::to_string(seen.last_error)) +
        Line("initialised", std::to_string(expected.initialized),
             std::to_string(seen.initialized)) +
        Line("back-end loaded", std::to_string(expected.backend_loaded),
             std::to_string(seen.backend_loaded)) +
        Line("slots", expected.slots, seen.slots) +
        Line("length", Show(expected.length), Show(seen.length)) +
        Line("event", Show(expected.event), Show(seen.event)) +
        Bytes("buffer", expected.buffer, seen.buffer) + List("call", expected.calls, seen.calls) +
        List("note on call", expected.notes, seen.notes) +
        List("pause", expected.pauses, seen.pauses) + LogLines(expected.log, seen.log);
    for (size_t i = 0; i < kTexts; ++i) {
        lines += Bytes("the client's text", expected.texts[i], seen.texts[i]);
    }
    return lines;
}

}  // namespace walk
