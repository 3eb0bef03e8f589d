#include "record.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "calls/own_time.h"
#include "maker/places.h"

namespace recorder {

namespace {

// How many recorded calls this thread is in: what the real libraries call of each other is theirs.
thread_local int depth = 0;

// The thread's place among those of its process; a forked child counts anew.
thread_local int64_t thread_number = 0;
thread_local int64_t thread_process = 0;

std::string NameOfLibrary(size_t function) {
    const std::string path =
        function < maker::kEntryCount ? maker::kBackendPath : maker::kTokenPath;
    return path.substr(path.rfind('/') + 1);
}

// Without the arguments where there are too many bytes of them.
std::string ShortLineOf(const Call& call) {
    std::string line = LineOf(call);
    if (line.size() >= Pending::kLine) {
        Call without = call;
        without.given = Json::object();
        line = LineOf(without);
    }
    return line;
}

void Complain(const char* what) {
    std::fprintf(stderr, "ukeyctl record: %s\n", what);
}

}  // namespace

Recorder::Recorder(Settings settings)
    : settings_(std::move(settings)), masker_(settings_.salt, settings_.serial_numbers) {}

void* Recorder::Real(size_t function) {
    if (void* const known = real_[function].load(std::memory_order_acquire)) {
        return known;
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    const std::string path = settings_.folder + "/" + kRealFolder + "/" + NameOfLibrary(function);
    void*& library = libraries_[path];
    if (library == nullptr) {
        library = dlopen(path.c_str(), RTLD_LAZY | RTLD_LOCAL);
    }
    void* const found =
        library == nullptr ? nullptr : dlsym(library, kFunctions[function].name.data());
    if (found == nullptr) {
        Complain(dlerror());
    }
    real_[function].store(found, std::memory_order_release);
    return found;
}

// A child that was forked begins its own numbers, and leaves its parent's calls to the parent.
std::shared_ptr<Recorder::Process> Recorder::ThisProcess() {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (process_number_ != getpid()) {
        process_number_ = getpid();
        process_ = std::make_shared<Process>(settings_.folder);
    }
    return process_;
}

calls::Observed* Recorder::Describe(size_t function, const Passed* arguments) {
    const std::shared_ptr<Process> process = ThisProcess();
    if (thread_process != process_number_) {
        thread_process = process_number_;
        thread_number = ++process->threads;
        depth = 0;
    }
    auto observed = std::make_unique<calls::Observed>(function, arguments, masker_);
    Call& call = observed->call;
    call.number = ++process->calls;
    call.process = thread_process;
    call.thread = thread_number;
    call.start_us = NowUs() - settings_.started_us;
    process->pending.Begin(static_cast<size_t>(thread_number - 1), ShortLineOf(call));
    return observed.release();
}

// The client goes on; the command is told that the recording is not whole.
void Recorder::Lose() noexcept {
    try {
        ThisProcess()->pending.Lose(static_cast<size_t>(thread_number - 1));
    } catch (const std::exception& error) {
        Complain(error.what());
    }
}

Course Recorder::Begin(size_t function, const Passed* arguments) noexcept {
    const calls::OwnTime own;
    Course course{Real(function), nullptr, function == kTextOfCode ? 0 : kNoAnswer, false};
    if (depth > 0) {
        return course;
    }
    if (course.real == nullptr) {
        Lose();
        return course;
    }
    try {
        calls::Observed* const observed = Describe(function, arguments);
        ++depth;
        observed->call.start_us = NowUs() - settings_.started_us;
        course.record = observed;
    } catch (const std::exception& error) {
        Complain(error.what());
        Lose();
    }
    return course;
}

void Recorder::Finish(void* record, End end, int64_t answer) noexcept {
    const calls::OwnTime own;
    const int64_t now = NowUs() - settings_.started_us;
    --depth;
    const std::unique_ptr<calls::Observed> observed(static_cast<calls::Observed*>(record));
    try {
        observed->Finish(end, answer, now, masker_);
        Append(settings_.recording, LineOf(observed->call));
        ThisProcess()->pending.End(static_cast<size_t>(thread_number - 1));
    } catch (const std::exception& error) {
        Complain(error.what());
        Lose();
    }
}

}  // namespace recorder
