#include "runner.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <type_traits>
#include <utility>

#include "application_directory.h"
#include "functions.h"
#include "libc_hooks.h"
#include "log_file.h"
#include "orval_unified_kpxukey.h"
#include "qrv/exception.h"
#include "scripted_key.h"

namespace walk {

namespace {

const Step* g_step = nullptr;
size_t g_next_reply = 0;
size_t g_next_device = 0;
size_t g_next_wait = 0;
Wait g_wait;  // the one whose pause is running
std::string g_message;
std::vector<std::string> g_pauses;

// The call is the journal's last: nothing calls from within a call.
void NoteLastError() {
    scripted::TheJournal().calls.back() += " with last error " + std::to_string(G_LastError);
}

Reply NextReply() {
    NoteLastError();
    const size_t index = g_next_reply++;
    const Reply reply = index < g_step->replies.size() ? g_step->replies[index] : Reply();
    if (reply.throws) {
        throw std::runtime_error("scripted");
    }
    return reply;
}

// The arguments of one call that a reply may be written to.
struct Outputs {
    char* first_text = nullptr;
    char* last_text = nullptr;
    char** handed = nullptr;
    void* bytes = nullptr;
    int32_t* length = nullptr;
};

template <typename Parameter>
void Find(Outputs& outputs, Parameter& parameter) {
    if constexpr (std::is_same_v<Parameter, char*>) {
        outputs.last_text = parameter;
        if (outputs.first_text == nullptr) {
            outputs.first_text = parameter;
        }
    } else if constexpr (std::is_same_v<Parameter, char**>) {
        outputs.handed = parameter;
    } else if constexpr (std::is_same_v<Parameter, void*>) {
        outputs.bytes = parameter;
    } else if constexpr (std::is_same_v<Parameter, int32_t*>) {
        outputs.length = parameter;
    }
}

// A copy that the back-end may write to is spoilt, so that it shows if it was no copy.
int32_t Deliver(const Outputs& outputs, bool has_no_output) {
    const Reply reply = NextReply();
    if (has_no_output || outputs.first_text != outputs.last_text) {
        std::memset(outputs.first_text, '#', std::strlen(outputs.first_text));
    }
    if (reply.text && outputs.handed != nullptr) {
        *outputs.handed = scripted::NewText(*reply.text);
    } else if (reply.text && outputs.bytes != nullptr && outputs.length != nullptr) {
        std::memcpy(outputs.bytes, reply.text->data(), reply.text->size());
    } else if (reply.text && outputs.last_text != nullptr && !has_no_output) {
        std::memcpy(outputs.last_text, reply.text->c_str(), reply.text->size() + 1);
    }
    if (reply.length && outputs.length != nullptr) {
        *outputs.length = *reply.length;
    }
    return reply.code;
}

template <typename... Parameters>
void Answer(scripted::Entry<int32_t(Parameters...)>& entry, const std::string& name) {
    // These take a private copy of a text as a writable one.
    const bool has_no_output = name == "GMWritePKCS7" || name == "GMImportPriKey";
    entry.Does([has_no_output](Parameters... parameters) {
        Outputs outputs;
        (Find(outputs, parameters), ...);
        return Deliver(outputs, has_no_output);
    });
}

void Answer(scripted::Entry<const char*(int64_t)>& entry, const std::string& /*name*/) {
    entry.Does([](int64_t) -> const char* {
        const Reply reply = NextReply();
        g_message = reply.text.value_or("");
        return reply.text ? g_message.c_str() : nullptr;
    });
}

uint32_t ListSlots(uint32_t /*present*/, uint32_t* slots, uint32_t* count) {
    NoteLastError();
    *count = 0;
    for (const Device& device : g_step->token.devices) {
        slots[(*count)++] = device.slot;
    }
    return g_step->token.list_code;
}

uint32_t FillConfig(uint32_t slot, uint32_t flags, _S_DEV_CONFIG* config) {
    const bool listed = flags == 0;
    if (listed) {
        // Its record is not cleared beforehand: what it holds is nobody's affair.
        scripted::TheJournal().calls.back() =
            "VexaT_GetDeviceInfo(" + std::to_string(slot) + ", 0, record)";
    }
    NoteLastError();
    const TokenScript& token = g_step->token;
    const Device& device = listed ? token.devices.at(g_next_device++) : token.arrived;
    std::memset(config, 0xEE, sizeof(*config));
    std::memset(config->mediaId, 0, sizeof(config->mediaId));
    std::memcpy(config->mediaId, device.media_id.data(), device.media_id.size());
    return device.code;
}

uint32_t WaitOnce(uint32_t /*kind*/, uint32_t /*flags*/, VEXA_EVENT_INFO* event,
                  uint32_t* /*context*/) {
    NoteLastError();
    const size_t index = g_next_wait++;
    const bool used_up = index >= g_step->token.waits.size();
    g_wait = used_up ? Wait() : g_step->token.waits[index];
    if (g_wait.fills_event) {
        event->u32EventKind = g_wait.kind;
        event->ei.slotEvent.u32SlotID = g_wait.slot;
    }
    if ((g_wait.stopped || used_up) && StopDetectUKey() != 0) {
        g_pauses.emplace_back("a stop failed");
    }
    if (g_wait.throws) {
        throw std::runtime_error("scripted");
    }
    return g_wait.code;
}

// An interruption leaves 7 of the 20 milliseconds.
int Sleep(const timespec* request, timespec* remainder) {
    const int64_t nanoseconds = request->tv_sec * int64_t{1000000000} + request->tv_nsec;
    g_pauses.push_back(std::to_string(nanoseconds) + " ns, remainder in " +
                       (request == remainder ? "the same record" : "another record"));
    if (std::exchange(g_wait.stopped_in_pause, false)) {
        StopDetectUKey();
    }
    const Wait::Pause pause = std::exchange(g_wait.pause, Wait::kCompleted);
    if (pause == Wait::kInterrupted) {
        *remainder = {0, 7000000};
    }
    errno = pause == Wait::kInterrupted ? EINTR : EINVAL;
    return pause == Wait::kCompleted ? 0 : -1;
}

void ScriptAll() {
    // An earlier sequence may have left another one.
    scripted::UseBackend();
#define ORVAL_ANSWER(slot, name, result, arguments) Answer(scripted::Key().name, #name);
    ORVAL_BACKEND_ENTRIES(ORVAL_ANSWER)
#undef ORVAL_ANSWER
    scripted::TokenLibrary& token = scripted::Token();
    token.GetSlotList.Does(ListSlots);
    token.GetDeviceInfo.Does(FillConfig);
    token.WaitForEvent.Does(WaitOnce);
    token.ContextInit.Does([](uint32_t* context) {
        NoteLastError();
        *context = g_step->token.context;
        return g_step->token.context_code;
    });
    token.ContextFinal.Does([] {
        NoteLastError();
        return 1U;
    });
    scripted::Libc().nanosleep.replacement = Sleep;
}

// From now on the scripted key answers as the step says.
void AnswerAs(const Step& step) {
    if (g_step == nullptr) {
        ScriptAll();
    }
    g_step = &step;
    g_next_reply = 0;
    g_next_device = 0;
    g_next_wait = 0;
}

// The arguments in blocks of their exact size, so that a sanitizer sees what is read past them.
class Memory final {
 public:
    explicit Memory(const Arguments& in) : in_(in), length_(in.length.value_or(0)) {
        for (size_t i = 0; i < kTexts; ++i) {
            client_.texts[i] = Copy(texts_[i], in.texts[i], 1);
        }
        client_.numbers = in.numbers.data();
        client_.buffer = Copy(buffer_, in.buffer, 0);
        client_.length = in.length ? &length_ : nullptr;
        event_ = in.event.value_or(0);
        client_.event = in.event ? &event_ : nullptr;
    }

    const Client& Pointers() const { return client_; }

    Arguments Content() const {
        Arguments content;
        for (size_t i = 0; i < kTexts; ++i) {
            content.texts[i] = Bytes(texts_[i], in_.texts[i]);
        }
        content.buffer = Bytes(buffer_, in_.buffer);
        content.length = in_.length ? std::optional<int32_t>(length_) : std::nullopt;
        content.event = in_.event ? std::optional<uint32_t>(event_) : std::nullopt;
        return content;
    }

 private:
    using Block = std::unique_ptr<char[]>;

    static char* Copy(Block& block, const Text& bytes, size_t terminator) {
        if (bytes) {
            block = std::make_unique<char[]>(bytes->size() + terminator);
            std::memcpy(block.get(), bytes->data(), bytes->size());
        }
        return block.get();
    }

    static Text Bytes(const Block& block, const Text& on_entry) {
        return on_entry ? Text(std::string(block.get(), on_entry->size())) : std::nullopt;
    }

    const Arguments& in_;
    Block texts_[kTexts];
    Block buffer_;
    int32_t length_;
    uint32_t event_ = 0;
    Client client_{};
};

// Found by name: linked to, it would be a second copy in this program.
std::string Slots() {
    static const char* table = static_cast<const char*>(dlsym(RTLD_DEFAULT, "ORVAL_ComFunc"));
    std::string slots;
    for (size_t slot = 0; slot <= maker::kHandleSlot; ++slot) {
        void* value = nullptr;
        std::memcpy(&value, table + slot * sizeof(value), sizeof(value));
        slots += value == nullptr ? '0' : '1';
    }
    return slots;
}

void PutBackend(const Backend& backend) {
    if (!backend.present) {
        scripted::RemoveBackend();
    } else if (backend.missing_entry.empty()) {
        scripted::UseBackend();
    } else {
        scripted::UseBackendWithout(backend.missing_entry);
    }
}

template <typename Result, typename... Parameters>
void Deny(scripted::Hook<Result*(Parameters...)>& hook, bool denied) {
    hook.replacement = nullptr;
    if (denied) {
        hook.replacement = [](Parameters...) -> Result* {
            errno = EACCES;
            return nullptr;
        };
    }
}

int32_t CodeOf(const QRV::CQrvException& exception) {
    int32_t code = 0;
    std::memcpy(&code, static_cast<const void*>(&exception), sizeof(code));
    return code;
}

}  // namespace

Outcome Run(const Step& step) {
    AnswerAs(step);
    if (step.backend) {
        PutBackend(*step.backend);
    }
    unlink(scripted::kLogPath);
    Deny(scripted::Libc().fopen, step.log_unwritable);
    Deny(scripted::Libc().opendir, step.directory_unreadable);
    const Memory memory(step.in);
    Outcome seen;
    try {
        seen.result = Functions()[step.function].call(memory.Pointers());
    } catch (const QRV::CQrvException& exception) {
        seen.exception = CodeOf(exception);
    } catch (const std::runtime_error&) {
        seen.threw = true;
    }
    Deny(scripted::Libc().fopen, false);
    seen.last_error = G_LastError;
    seen.initialized = g_initFlag != 0;
    seen.slots = Slots();
    seen.after = memory.Content();
    seen.calls.swap(scripted::TheJournal().calls);
    seen.pauses = std::exchange(g_pauses, {});
    seen.log = scripted::LogText();
    return seen;
}

}  // namespace walk
