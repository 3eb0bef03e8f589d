#include "generator.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <vector>

#include "argument.h"
#include "functions.h"

namespace walk {

namespace {

constexpr const char* kEntryNames[] = {
#define ORVAL_NAME(slot, name, result, arguments) #name,
    ORVAL_BACKEND_ENTRIES(ORVAL_NAME)
#undef ORVAL_NAME
};

// What is written whatever the script: the longest constant text and a serial number fit.
constexpr size_t kSmallestBuffer = 64;

size_t AnyFunction(Chance& any) {
    static const std::vector<size_t> chances = [] {
        std::vector<size_t> all;
        for (size_t i = 0; i < Functions().size(); ++i) {
            all.insert(all.end(), static_cast<size_t>(Functions()[i].weight), i);
        }
        return all;
    }();
    return chances[any.Below(chances.size())];
}

void Surroundings(Chance& any, Step& step) {
    if (any.OneIn(25)) {
        step.backend = Backend{!any.OneIn(3), ""};
        if (any.OneIn(3)) {
            step.backend->missing_entry = kEntryNames[any.Below(std::size(kEntryNames))];
        }
    }
    step.log_unwritable = any.OneIn(20);
    step.directory_unreadable = any.OneIn(4);
}

int64_t Number(Chance& any) {
    return any.OneOf<int64_t>({0, 1, 2, 3, -1, INT32_MAX, INT32_MIN, INT64_MAX, INT64_MIN,
                               UINT32_MAX, int64_t{any.Word()}});
}

int32_t Code(Chance& any) {
    return any.OneIn(12) ? any.OneOf<int32_t>({1, -1, -101, -109, -300, -401, -404, 0x0A000001,
                                               INT_MAX, INT_MIN, static_cast<int32_t>(any.Word())})
                         : 0;
}

// The length that the back-end reports is mostly its text's, sometimes anything.
int32_t ReplyLength(Chance& any, size_t text_length) {
    const auto length = static_cast<int32_t>(text_length);
    return any.OneIn(6) ? length + any.OneOf<int32_t>({-1, 1, 7, -length, -length - 1, 5000})
                        : length;
}

void Replies(Chance& any, size_t longest, Step& step) {
    step.replies.resize(any.Below(9));
    for (Reply& reply : step.replies) {
        reply.code = Code(any);
        reply.throws = any.OneIn(60);
        if (longest != 0 && !any.OneIn(15)) {
            const size_t most = any.OneIn(10) ? longest : std::min<size_t>(longest, 40);
            reply.text = any.OneIn(3) ? Fill(most) : Hostile(any, most);
            reply.length = ReplyLength(any, reply.text->size());
        }
    }
}

std::string BufferContent(Chance& any, size_t size) {
    std::string content;
    for (size_t i = 0; i + 1 < size; ++i) {
        content += static_cast<char>(0x80 | (i * 37 % 0x7F));
    }
    content += '\0';
    // The functions that log their buffer see a text there.
    content[any.Below(size)] = '\0';
    return content;
}

// Near what may be written: the first reply's text, all requests of a call, the remembered text.
int32_t Capacity(Chance& any, const Step& step) {
    const size_t first = !step.replies.empty() && step.replies[0].text
                             ? step.replies[0].text->size()
                             : any.Below(40);
    size_t all = 0;
    for (size_t i = 1; i < step.replies.size(); i += 2) {
        all += (i == 1 ? 0 : 2) + step.replies[i].text.value_or("").size();
    }
    const size_t remembered = any.remembered_length;
    const auto near = static_cast<int32_t>(any.OneOf<size_t>({first, all, remembered, remembered}));
    return any.OneOf<int32_t>(
        {near, near, near + 1, near + 1, near - 1, near + 50, 10000, 0, -1, INT_MAX, INT_MIN});
}

void Output(Chance& any, const Function& function, Step& step) {
    if (function.Takes('B') && !any.OneIn(3)) {
        size_t size = kSmallestBuffer + any.remembered_length;
        for (const Reply& reply : step.replies) {
            size += 2 + reply.text.value_or("").size();
        }
        step.in.buffer = BufferContent(any, size);
    }
    const bool required = function.Takes('l') || (function.Takes('v') && !step.in.buffer);
    if (required || ((function.Takes('L') || function.Takes('v')) && !any.OneIn(12))) {
        step.in.length = Capacity(any, step);
    }
    // A size query touches no event.
    if (function.Takes('e') && (step.in.buffer || any.OneIn(2))) {
        step.in.event = 0xEEEEEEEE;
    }
}

Device AnyDevice(Chance& any) {
    Device device = {any.WordOneIn(4, any.Below(4)), any.WordOneIn(5, 0),
                     any.OneIn(3) ? Fill(16) : Hostile(any, 16)};
    if (device.media_id.size() > 2 && any.OneIn(5)) {
        device.media_id[any.Below(device.media_id.size())] = '\0';
    }
    return device;
}

Wait AnyWait(Chance& any) {
    Wait wait;
    wait.code = any.OneOf<uint32_t>({0, 0, 1, 0x80000000, any.Word()});
    wait.throws = any.OneIn(6);
    wait.stopped = any.OneIn(10);
    wait.fills_event = !any.OneIn(4);
    wait.kind = any.WordOneIn(8, 1 + any.Below(3));
    wait.slot = AnyDevice(any).slot;
    wait.pause = any.OneOf({Wait::kCompleted, Wait::kInterrupted, Wait::kFailed});
    wait.stopped_in_pause = any.OneIn(10);
    return wait;
}

void Token(Chance& any, TokenScript& token) {
    token.list_code = any.WordOneIn(6, 0);
    token.devices.resize(any.OneIn(5) ? 10 : any.Below(5));
    std::generate(token.devices.begin(), token.devices.end(), [&any] { return AnyDevice(any); });
    token.context_code = any.WordOneIn(8, 0);
    token.context = any.Word();
    token.waits.resize(any.Below(6));
    std::generate(token.waits.begin(), token.waits.end(), [&any] { return AnyWait(any); });
    token.arrived = AnyDevice(any);
}

}  // namespace

Step AnyStep(Chance& any) {
    Step step;
    step.function = AnyFunction(any);
    const Function& function = Functions()[step.function];
    Surroundings(any, step);
    size_t texts = 0;
    size_t numbers = 0;
    for (const char letter : std::string(function.arguments)) {
        if (letter == 'n' || letter == 'm') {
            // Modes and types, of which only the first few are known.
            const bool known = letter == 'm' && !any.OneIn(6);
            step.in.numbers[numbers++] = known ? static_cast<int64_t>(any.Below(3)) : Number(any);
        } else if (std::strchr("Sstdrbckp", letter) != nullptr) {
            step.in.texts[texts++] = AnyText(any, letter);
        }
    }
    Replies(any, function.longest_reply, step);
    Output(any, function, step);
    if (function.Takes('e')) {
        Token(any, step.token);
    }
    return step;
}

}  // namespace walk
