#ifndef RECORDER_RECORD_H
#define RECORDER_RECORD_H

#include <atomic>
#include <map>
#include <memory>
#include <mutex>

#include "calls/observed.h"
#include "engine.h"
#include "pending.h"
#include "settings.h"
#include "vocabulary.h"

namespace recorder {

// Forwards calls to the real libraries and writes them down. One for a process; any thread.
class Recorder {
 public:
    explicit Recorder(Settings settings);

    Course Begin(size_t function, const Passed* arguments) noexcept;
    void Finish(void* record, End end, int64_t answer) noexcept;

 private:
    struct Process {
        explicit Process(const std::string& folder) : pending(folder) {}
        Pending pending;
        std::atomic<int64_t> calls{0};
        std::atomic<int64_t> threads{0};
    };

    void* Real(size_t function);
    std::shared_ptr<Process> ThisProcess();
    void Lose() noexcept;
    calls::Observed* Describe(size_t function, const Passed* arguments);

    Settings settings_;
    Masker masker_;
    std::mutex mutex_;
    std::map<std::string, void*> libraries_;
    std::atomic<void*> real_[kFunctionCount]{};
    int64_t process_number_ = 0;
    std::shared_ptr<Process> process_;
};

}  // namespace recorder

#endif
