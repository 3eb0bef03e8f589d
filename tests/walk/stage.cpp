#include "stage.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include "application_directory.h"
#include "libc_hooks.h"
#include "log_file.h"
#include "orval_unified_kpxukey.h"
#include "qrv/exception.h"

namespace walk {

namespace {

// The arguments in blocks of their exact size, so that a sanitizer sees what is read past them.
class Memory final {
 public:
    explicit Memory(const Arguments& in) : in_(in) {
        for (size_t i = 0; i < kTexts; ++i) {
            client_.texts[i] = in.texts[i] ? Copy(texts_[i], *in.texts[i], 1) : nullptr;
        }
        client_.numbers = in.numbers.data();
        client_.buffer = in.buffer ? Copy(buffer_, *in.buffer, 0) : nullptr;
        length_ = in.length.value_or(0);
        client_.length = in.length ? &length_ : nullptr;
        event_ = in.event.value_or(0);
        client_.event = in.event ? &event_ : nullptr;
    }

    const Client& Pointers() const { return client_; }

    void Tell(Outcome& outcome) const {
        for (size_t i = 0; i < kTexts; ++i) {
            outcome.texts[i] = Bytes(texts_[i], in_.texts[i]);
        }
        outcome.buffer = Bytes(buffer_, in_.buffer);
        outcome.length = in_.length ? std::optional<int32_t>(length_) : std::nullopt;
        outcome.event = in_.event ? std::optional<uint32_t>(event_) : std::nullopt;
    }

 private:
    using Block = std::unique_ptr<char[]>;

    static char* Copy(Block& block, const std::string& bytes, size_t terminator) {
        block = std::make_unique<char[]>(bytes.size() + terminator);
        std::memcpy(block.get(), bytes.data(), bytes.size());
        return block.get();
    }

    static Text Bytes(const Block& block, const Text& on_entry) {
        return on_entry ? Text(std::string(block.get(), on_entry->size())) : std::nullopt;
    }

    const Arguments& in_;
    Block texts_[kTexts];
    Block buffer_;
    int32_t length_ = 0;
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

// A listed device's record is not cleared beforehand: what it holds is nobody's affair.
std::vector<std::string> TakeCalls() {
    std::vector<std::string> calls = std::move(scripted::TheJournal().calls);
    scripted::TheJournal().calls.clear();
    for (std::string& call : calls) {
        const size_t flags = call.find(", 0, ");
        if (call.rfind("VexaT_GetDeviceInfo(", 0) == 0 && flags != std::string::npos) {
            call = call.substr(0, flags) + ", 0, record)";
        }
    }
    return calls;
}

int32_t CodeOf(const QRV::CQrvException& exception) {
    int32_t code = 0;
    std::memcpy(&code, static_cast<const void*>(&exception), sizeof(code));
    return code;
}

}  // namespace

Stage::Stage() {
    scripted::UseBackend();
    Clear();
}

void Stage::Arrange(const Step& step) {
    if (step.backend && !step.backend->present) {
        scripted::RemoveBackend();
    } else if (step.backend && step.backend->missing_entry.empty()) {
        scripted::UseBackend();
    } else if (step.backend) {
        scripted::UseBackendWithout(step.backend->missing_entry);
    }
    scripted::LibcHooks& libc = scripted::Libc();
    libc.now.tv_usec = step.microseconds;
    if (step.log_unwritable) {
        libc.fopen.replacement = [](const char*, const char*) -> FILE* {
            errno = EACCES;
            return nullptr;
        };
    }
    if (step.directory_unreadable) {
        libc.opendir.replacement = [](const char*) -> DIR* {
            errno = EACCES;
            return nullptr;
        };
    }
}

void Stage::Clear() {
    scripted::Libc().fopen.replacement = nullptr;
    scripted::Libc().opendir.replacement = nullptr;
    unlink(scripted::kLogPath);
}

Outcome Stage::Run(const Step& step) {
    Arrange(step);
    const Memory memory(step.in);
    player_.Load(step, memory.Pointers());
    Outcome seen;
    try {
        seen.result = Functions()[step.function].call(memory.Pointers());
    } catch (const QRV::CQrvException& exception) {
        seen.exception = CodeOf(exception);
    }
    seen.last_error = G_LastError;
    seen.initialized = g_initFlag != 0;
    seen.backend_loaded = scripted::BackendIsLoaded();
    seen.slots = Slots();
    memory.Tell(seen);
    seen.calls = TakeCalls();
    seen.notes = player_.TakeNotes();
    seen.pauses = player_.TakePauses();
    seen.log = scripted::LogText();
    Clear();
    return seen;
}

}  // namespace walk
