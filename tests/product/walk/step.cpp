#include "step.h"

#include <algorithm>
#include <utility>

#include "argument.h"
#include "functions.h"

namespace walk {

namespace {

constexpr size_t kShown = 300;

std::string Show(const std::string& text) {
    const std::string rest = "... (" + std::to_string(text.size()) + " bytes)";
    return scripted::Quoted(text.substr(0, kShown)) + (text.size() > kShown ? rest : "");
}

std::string Show(const char* word) {
    return word;
}

template <typename Number, typename = std::enable_if_t<std::is_arithmetic_v<Number>>>
std::string Show(Number number) {
    return std::to_string(number);
}

template <typename Item>
std::string Show(const std::optional<Item>& item) {
    return item ? Show(*item) : "null";
}

template <typename... Items>
std::string ShowRecord(const Items&... items) {
    return "{" + (... + (Show(items) + " ")) + "}";
}

std::string Show(const Reply& reply) {
    return ShowRecord(reply.code, reply.text, reply.length, "throws", reply.throws);
}

std::string Show(const Device& device) {
    return ShowRecord("slot", device.slot, "code", device.code, device.media_id);
}

std::string Show(const Wait& wait) {
    return ShowRecord("code", wait.code, "throws", wait.throws, "stopped", wait.stopped, "event",
                      wait.fills_event, wait.kind, "slot", wait.slot, "pause",
                      static_cast<int>(wait.pause), "stopped", wait.stopped_in_pause);
}

template <typename Items>
std::string ShowAll(const Items& items) {
    std::string shown;
    for (const auto& item : items) {
        shown += " " + Show(item);
    }
    return shown;
}

// All bytes, because the difference may lie far behind; a record of the log takes two lines.
std::string ShowLines(const std::string& text) {
    std::string lines;
    for (size_t start = 0, end = 0; start < text.size(); start = end) {
        end = std::min(text.find('\n', start), text.size() - 1) + 1;
        lines += "\n      " + scripted::Quoted(text.substr(start, end - start));
    }
    return lines;
}

std::string Joined(const std::vector<std::string>& items) {
    std::string text;
    for (const std::string& item : items) {
        text += item + "\n";
    }
    return text;
}

std::vector<std::pair<std::string, std::string>> Parts(const Outcome& outcome) {
    std::vector<std::pair<std::string, std::string>> parts = {
        {"result", Show(outcome.result)},
        {"exception", Show(outcome.exception)},
        {"threw", Show(outcome.threw)},
        {"last error", Show(outcome.last_error)},
        {"initialised", Show(outcome.initialized)},
        {"slots", outcome.slots},
        {"length", Show(outcome.after.length)},
        {"event", Show(outcome.after.event)},
        {"buffer", outcome.after.buffer.value_or("")},
        {"calls", Joined(outcome.calls)},
        {"pauses", Joined(outcome.pauses)},
        {"log", outcome.log},
    };
    for (const Text& text : outcome.after.texts) {
        parts.emplace_back("the client's text", text.value_or(""));
    }
    return parts;
}

}  // namespace

std::string Describe(const Step& step) {
    const Function& function = Functions()[step.function];
    std::string shown = function.name + ("\n    texts" + ShowAll(step.in.texts)) + "; numbers" +
                        ShowAll(step.in.numbers) + "; buffer " + Show(step.in.buffer) +
                        "; length " + Show(step.in.length) + "; event " + Show(step.in.event) +
                        "\n    replies" + ShowAll(step.replies);
    if (function.Takes('e')) {
        const TokenScript& token = step.token;
        shown += "\n    list " + Show(token.list_code) + ShowAll(token.devices) + "; context " +
                 ShowRecord(token.context_code, token.context) + "; waits" + ShowAll(token.waits) +
                 "; arrived " + Show(token.arrived);
    }
    if (step.backend) {
        shown += "\n    back-end present " + Show(step.backend->present) + ", without " +
                 Show(step.backend->missing_entry);
    }
    shown += step.log_unwritable ? "\n    the log cannot be written" : "";
    shown += step.directory_unreadable ? "\n    the application directory cannot be read" : "";
    return shown + "\n";
}

std::string Differences(const Outcome& expected, const Outcome& seen) {
    const auto wanted = Parts(expected);
    const auto got = Parts(seen);
    std::string text;
    for (size_t i = 0; i < wanted.size(); ++i) {
        if (wanted[i] != got[i]) {
            text += "  " + wanted[i].first + "\n    expected" + ShowLines(wanted[i].second) +
                    "\n    seen" + ShowLines(got[i].second) + "\n";
        }
    }
    return text;
}

}  // namespace walk
