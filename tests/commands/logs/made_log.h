#ifndef ORVAL_TESTS_COMMANDS_LOGS_MADE_LOG_H
#define ORVAL_TESTS_COMMANDS_LOGS_MADE_LOG_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "logs/calls.h"
#include "logs/reader.h"

// Logs made by hand, and what is read of them.

struct Writer {
    int64_t process = 4242;
    int32_t thread = -1215752192;
};

// A record as the library writes it. time: "21,09:05:07.042".
inline std::string MadeRecord(const std::string& time, const std::string& name,
                              const std::string& text, Writer by = {}) {
    return "[" + time + "] " + name + ": (Process is " + std::to_string(by.process) +
           ", thread is " + std::to_string(by.thread) + ")\r\n\t[" + text + "]\r\n";
}

// The same at a time that does not matter.
inline std::string At9(const std::string& name, const std::string& text, Writer by = {}) {
    return MadeRecord("21,09:00:00.000", name, text, by);
}

// What a reader tells, kept.
struct Told final : logs::Receiver {
    struct Kept {
        std::string name;
        std::string text;
        uint64_t offset = 0;
        bool is_cut = false;
        bool is_doubtful = false;
        int64_t process = 0;
        int32_t microsecond = 0;
        size_t pieces = 0;
    };

    void Take(const logs::Record& record) override {
        records.push_back({std::string(record.header.name), std::string(record.text), record.offset,
                           record.is_cut, record.is_doubtful, record.header.process,
                           record.Microsecond(), record.pieces.size()});
    }
    void TakeDamage(uint64_t offset, std::string_view bytes) override {
        damage.emplace_back(offset, std::string(bytes));
    }

    std::vector<std::string> Texts() const {
        std::vector<std::string> texts;
        for (const Kept& record : records) {
            texts.push_back(record.text);
        }
        return texts;
    }

    std::vector<Kept> records;
    std::vector<std::pair<uint64_t, std::string>> damage;
};

// What the log holds, read in parts of that size; 0: as a whole.
inline Told Read(const std::string& log, size_t part = 0) {
    Told told;
    logs::Reader reader(told);
    for (size_t at = 0; at < log.size(); at += part == 0 ? log.size() : part) {
        reader.Feed(std::string_view(log).substr(at, part == 0 ? log.size() : part));
    }
    reader.Finish();
    return told;
}

// The calls that the log tells of, in its order. Dates are from the day on which it is read.
inline std::vector<logs::Call> CallsOf(const std::string& log,
                                       logs::Secrets secrets = logs::Secrets::kMasked) {
    struct Joined final : logs::Receiver {
        void Take(const logs::Record& record) override { joiner.Take(record, dates.Of(record)); }
        void TakeDamage(uint64_t /*offset*/, std::string_view /*bytes*/) override {}
        explicit Joined(logs::Secrets kept)
            : masks(kept),
              joiner(masks, [this](const logs::Call& call) { calls.push_back(call); }) {}
        logs::Dates dates;
        logs::Masks masks;
        std::vector<logs::Call> calls;
        logs::Joiner joiner;
    };
    Joined joined(secrets);
    logs::Reader reader(joined);
    reader.Feed(log);
    reader.Finish();
    joined.joiner.Finish();
    return joined.calls;
}

inline std::string DetailOf(const logs::Call& call, const std::string& key) {
    for (const logs::Detail& detail : call.details) {
        if (detail.key == key) {
            return detail.value;
        }
    }
    return "(none)";
}

#endif
