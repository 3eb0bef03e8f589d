#include "record.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "maker/places.h"
#include "own_time.h"

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

Recorder::InProgress* Recorder::Describe(size_t function, const Passed* arguments) {
    const std::shared_ptr<Process> process = ThisProcess();
    if (thread_process != process_number_) {
        thread_process = process_number_;
        thread_number = ++process->threads;
        depth = 0;
    }
    auto progress =
        std::make_unique<InProgress>(InProgress{Call(), Before(kFunctions[function], arguments)});
    Call& call = progress->call;
    call.function = function;
    call.number = ++process->calls;
    call.process = thread_process;
    call.thread = thread_number;
    call.has_code = false;
    call.finished = false;
    call.start_us = NowUs() - settings_.started_us;
    call.given = Given(kFunctions[function], arguments, &masker_);
    process->pending.Begin(static_cast<size_t>(thread_number - 1), ShortLineOf(call));
    return progress.release();
}

Course Recorder::Begin(size_t function, const Passed* arguments) noexcept {
    const OwnTime own;
    Course course{Real(function), nullptr, function == kTextOfCode ? 0 : kNoAnswer, false};
    if (course.real == nullptr || depth > 0) {
        return course;
    }
    try {
        InProgress* const progress = Describe(function, arguments);
        ++depth;
        progress->call.start_us = NowUs() - settings_.started_us;
        course.record = progress;
    } catch (const std::exception& error) {
        Complain(error.what());
    }
    return course;
}

void Recorder::Finish(void* record, End end, int64_t answer) noexcept {
    const OwnTime own;
    const int64_t now = NowUs() - settings_.started_us;
    --depth;
    const std::unique_ptr<InProgress> progress(static_cast<InProgress*>(record));
    try {
        Call& call = progress->call;
        call.duration_us = now - call.start_us;
        call.finished = true;
        call.threw = end == End::kThrew;
        call.taken = Json::object();
        if (call.function == kTextOfCode && !call.threw) {
            // NOLINTNEXTLINE(performance-no-int-to-ptr): the engine hands on answers as numbers
            call.taken["text"] = KeptText(reinterpret_cast<const char*>(answer), masker_);
        } else if (!call.threw) {
            call.has_code = true;
            call.code = answer;
            call.taken = progress->before.Taken(answer, masker_);
        }
        Append(settings_.recording, LineOf(call));
        ThisProcess()->pending.End(static_cast<size_t>(thread_number - 1));
    } catch (const std::exception& error) {
        Complain(error.what());
    }
}

}  // namespace recorder
