#include "generator.h"

#include <algorithm>
#include <climits>

#include "argument.h"

namespace walk {

namespace {

constexpr const char* kEntryNames[] = {
#define ORVAL_NAME(slot, name, result, arguments) #name,
    ORVAL_BACKEND_ENTRIES(ORVAL_NAME)
#undef ORVAL_NAME
};

// What is written whatever the script: the longest constant text and a serial number fit.
constexpr size_t kSmallestBuffer = 64;

size_t TotalWeight() {
    size_t total = 0;
    for (const Function& function : Functions()) {
        total += static_cast<size_t>(function.weight);
    }
    return total;
}

}  // namespace

size_t Generator::AnyFunction() {
    static const size_t total = TotalWeight();
    size_t left = Below(total);
    size_t index = 0;
    while (left >= static_cast<size_t>(Functions()[index].weight)) {
        left -= static_cast<size_t>(Functions()[index].weight);
        ++index;
    }
    return index;
}

Step Generator::Next() {
    Step step;
    step.function = AnyFunction();
    const Recipe& recipe = Functions()[step.function].recipe;
    Surroundings(step);
    for (size_t i = 0; recipe.texts[i] != '\0'; ++i) {
        step.in.texts[i] = TextFor(recipe.texts[i]);
    }
    for (int64_t& number : step.in.numbers) {
        number = Number();
    }
    // Modes and types, of which only the first few are known.
    step.in.numbers.back() = OneIn(6) ? Number() : static_cast<int64_t>(Below(3));
    ReplyTexts(recipe, step);
    Output(recipe, step);
    if (recipe.waits) {
        Token(step);
    }
    return step;
}

void Generator::Surroundings(Step& step) {
    if (OneIn(25)) {
        step.backend = Backend{};
        step.backend->present = !OneIn(3);
        if (OneIn(3)) {
            step.backend->missing_entry = kEntryNames[Below(std::size(kEntryNames))];
        }
    }
    step.log_unwritable = OneIn(20);
    step.directory_unreadable = OneIn(4);
    step.microseconds = static_cast<int32_t>(OneIn(3) ? Below(2000) : Below(1000000));
}

int64_t Generator::Number() {
    return OneOf<int64_t>({0, 1, 2, 3, -1, INT32_MAX, INT32_MIN, INT64_MAX, INT64_MIN, UINT32_MAX,
                           static_cast<int64_t>(random_())});
}

int32_t Generator::Code() {
    return OneIn(12) ? OneOf<int32_t>({1, -1, -101, -109, -300, -401, -404, 0x0A000001, INT_MAX,
                                       INT_MIN, static_cast<int32_t>(random_())})
                     : 0;
}

Text Generator::TextFor(char letter) {
    if (letter != 'S' && OneIn(12)) {
        return std::nullopt;
    }
    switch (letter) {
        case 'S':
        case 's':
            return SerialNumber();
        case 'd':
            return DataText();
        case 'b':
            return Batch();
        case 'c':
            return Certificate();
        case 'k':
            return Key();
        case 'p':
            return Package();
        case 'r':
            return Description();
        default:
            return Hostile(60);
    }
}

// The length that the back-end reports is mostly its text's, sometimes anything.
int32_t Generator::ReplyLength(size_t text_length) {
    const auto length = static_cast<int32_t>(text_length);
    return OneIn(6) ? length + OneOf<int32_t>({-1, 1, 7, -length, -length - 1, 5000}) : length;
}

void Generator::ReplyTexts(const Recipe& recipe, Step& step) {
    const size_t count = Below(9);
    for (size_t i = 0; i < count; ++i) {
        Reply reply;
        reply.code = Code();
        if (recipe.longest_reply != 0 && !OneIn(15)) {
            const size_t longest =
                OneIn(10) ? recipe.longest_reply : std::min<size_t>(recipe.longest_reply, 40);
            reply.text = OneIn(3) ? Fill(longest) : Hostile(longest);
            reply.length = ReplyLength(reply.text->size());
        }
        step.replies.push_back(reply);
    }
}

std::string Generator::BufferContent(size_t size) {
    std::string content;
    for (size_t i = 0; i + 1 < size; ++i) {
        content += static_cast<char>(0x80 | (i * 37 % 0x7F));
    }
    content += '\0';
    // The functions that log their buffer see a text there.
    content[Below(size)] = '\0';
    return content;
}

int32_t Generator::Capacity(const Step& step) {
    const size_t first =
        !step.replies.empty() && step.replies[0].text ? step.replies[0].text->size() : Below(40);
    size_t all = 0;
    for (size_t i = 1; i < step.replies.size(); i += 2) {
        all += (i == 1 ? 0 : 2) + step.replies[i].text.value_or("").size();
    }
    const size_t remembered = model_.RememberedLength();
    const auto near = static_cast<int32_t>(OneOf<size_t>({first, all, remembered, remembered}));
    return OneOf<int32_t>(
        {near, near, near + 1, near + 1, near - 1, near + 50, 10000, 0, -1, INT_MAX, INT_MIN});
}

void Generator::Output(const Recipe& recipe, Step& step) {
    if (recipe.buffer == Recipe::Buffer::kOptional && !OneIn(3)) {
        size_t size = kSmallestBuffer + model_.RememberedLength();
        for (const Reply& reply : step.replies) {
            size += 2 + reply.text.value_or("").size();
        }
        step.in.buffer = BufferContent(size);
    }
    const bool may_be_null =
        recipe.length == Recipe::Length::kOptional ||
        (recipe.length == Recipe::Length::kOptionalWithBuffer && step.in.buffer.has_value());
    if (recipe.length != Recipe::Length::kNone && !(may_be_null && OneIn(12))) {
        step.in.length = Capacity(step);
    }
    // A size query touches no event.
    if (recipe.waits && (step.in.buffer || OneIn(2))) {
        step.in.event = 0xEEEEEEEE;
    }
}

Device Generator::AnyDevice() {
    Device device;
    device.slot = OneIn(4) ? static_cast<uint32_t>(random_()) : static_cast<uint32_t>(Below(4));
    device.code = OneIn(5) ? static_cast<uint32_t>(random_()) : 0;
    device.media_id = OneIn(3) ? Fill(16) : Hostile(16);
    if (device.media_id.size() > 2 && OneIn(5)) {
        device.media_id[Below(device.media_id.size())] = '\0';
    }
    return device;
}

Wait Generator::AnyWait() {
    Wait wait;
    wait.code = OneOf<uint32_t>({0, 0, 1, 0x80000000, static_cast<uint32_t>(random_())});
    wait.throws = OneIn(6);
    wait.stopped = OneIn(10);
    wait.fills_event = !OneIn(4);
    wait.kind = OneIn(8) ? static_cast<uint32_t>(random_()) : static_cast<uint32_t>(1 + Below(3));
    wait.slot = AnyDevice().slot;
    wait.pause = OneOf({Wait::Pause::kCompleted, Wait::Pause::kInterrupted, Wait::Pause::kFailed});
    wait.stopped_in_pause = OneIn(10);
    return wait;
}

void Generator::Token(Step& step) {
    TokenScript& token = step.token;
    token.list_code = OneIn(6) ? static_cast<uint32_t>(random_()) : 0;
    for (size_t count = OneIn(5) ? 10 : Below(5); count > 0; --count) {
        token.devices.push_back(AnyDevice());
    }
    token.context_code = OneIn(8) ? static_cast<uint32_t>(random_()) : 0;
    token.context = static_cast<uint32_t>(random_());
    for (size_t count = Below(6); count > 0; --count) {
        token.waits.push_back(AnyWait());
    }
    token.arrived = AnyDevice();
}

}  // namespace walk
