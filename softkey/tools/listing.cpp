#include "tools/listing.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <thread>
#include <utility>

#include "cli/json.h"
#include "store/home.h"
#include "tools/console.h"

namespace softkey::tools {
namespace {

using cli::Json;
using Serials = std::vector<std::string>;

// Below this another process takes more time than it saves.
constexpr size_t kWorthAProcess = 100;

// The advice names the key: it stands among others.
Error AboutKey(const std::string& serial, const Error& error) {
    constexpr std::string_view kPlaceholder = "SERIAL";
    std::string advice = AdviceFor(error);
    const size_t place = advice.find(kPlaceholder);
    if (place != std::string::npos) {
        advice.replace(place, kPlaceholder.size(), serial);
    }
    return Error(error.code(), error.what(), advice);
}

ListedKey LookAt(const std::string& serial) {
    ListedKey listed{serial, std::nullopt, std::nullopt, std::nullopt};
    try {
        listed.summary = KeySummary{serial, KeyStore(serial).LookAtWhole(), std::nullopt};
    } catch (const Error& error) {
        listed.problem = AboutKey(serial, error);
    }
    return listed;
}

// What a list shows of a key, for the way between two processes.
Json Packed(const ListedKey& listed) {
    if (listed.problem) {
        return {codes::Number(listed.problem->code()), listed.problem->what(),
                listed.problem->advice()};
    }
    const KeyStore::Snapshot& key = listed.summary->key;
    return {static_cast<int>(key.kind), key.label, key.pin.tries_left, key.pin.tries_maximum};
}

ListedKey Unpacked(const std::string& serial, const Json& packed) {
    ListedKey listed{serial, std::nullopt, std::nullopt, std::nullopt};
    if (packed.size() == 3) {
        listed.problem = Error(static_cast<Code>(packed[0].get<int32_t>()), packed[1], packed[2]);
    } else {
        listed.summary = KeySummary{serial,
                                    {static_cast<Kind>(packed.at(0).get<int>()),
                                     packed.at(1),
                                     {packed.at(2), packed.at(3), 0},
                                     {}},
                                    std::nullopt};
    }
    return listed;
}

void WriteAll(int file, const Bytes& bytes) {
    for (size_t done = 0; done < bytes.size();) {
        const ssize_t count = write(file, bytes.data() + done, bytes.size() - done);
        if (count < 0 && errno != EINTR) {
            return;  // who reads sees that it is not whole
        }
        done += static_cast<size_t>(std::max<ssize_t>(count, 0));
    }
}

Bytes ReadAll(int file) {
    Bytes bytes;
    unsigned char chunk[65536];
    for (ssize_t count = 0; (count = read(file, chunk, sizeof chunk)) != 0;) {
        if (count < 0 && errno != EINTR) {
            break;
        }
        bytes.insert(bytes.end(), chunk, chunk + std::max<ssize_t>(count, 0));
    }
    return bytes;
}

// Another process that looks at some of the keys.
class Helper {
 public:
    explicit Helper(Serials serials) : serials_(std::move(serials)) {
        int ends[2];
        if (pipe(ends) != 0) {
            return;
        }
        child_ = fork();
        if (child_ == 0) {
            close(ends[0]);
            Work(ends[1]);
            _exit(0);
        }
        close(ends[1]);
        answer_ = ends[0];
    }
    ~Helper() {
        if (answer_ >= 0) {
            close(answer_);
        }
        if (child_ > 0) {
            waitpid(child_, nullptr, 0);
        }
    }
    Helper(const Helper&) = delete;
    Helper& operator=(const Helper&) = delete;

    // What it has seen. Where it could not, this process looks itself.
    void Take(std::vector<ListedKey>* keys) {
        const Json seen = answer_ < 0 ? Json() : Json::from_cbor(ReadAll(answer_), true, false);
        const bool whole = seen.is_array() && seen.size() == serials_.size();
        for (size_t i = 0; i < serials_.size(); ++i) {
            keys->push_back(whole ? Unpacked(serials_[i], seen[i]) : LookAt(serials_[i]));
        }
    }

 private:
    void Work(int out) const {
        try {
            Json seen = Json::array();
            for (const std::string& serial : serials_) {
                seen.push_back(Packed(LookAt(serial)));
            }
            WriteAll(out, Json::to_cbor(seen));
        } catch (const std::exception&) {
            return;  // as above
        }
    }

    Serials serials_;
    pid_t child_ = -1;
    int answer_ = -1;
};

}  // namespace

std::vector<ListedKey> LookAtAll(const Serials& serials, const Slots::Snapshot& slots) {
    const size_t processors = std::max(1U, std::thread::hardware_concurrency());
    const size_t shares = std::clamp<size_t>(serials.size() / kWorthAProcess, 1, processors);
    const auto share = [&](size_t number) {
        const auto place = [&](size_t n) {
            return serials.begin() + static_cast<std::ptrdiff_t>(serials.size() * n / shares);
        };
        return Serials(place(number), place(number + 1));
    };
    std::vector<std::unique_ptr<Helper>> helpers;
    for (size_t number = 1; number < shares; ++number) {
        helpers.push_back(std::make_unique<Helper>(share(number)));
    }
    std::vector<ListedKey> keys;
    keys.reserve(serials.size());
    for (const std::string& serial : share(0)) {
        keys.push_back(LookAt(serial));
    }
    for (const std::unique_ptr<Helper>& helper : helpers) {
        helper->Take(&keys);
    }
    for (ListedKey& key : keys) {
        if (const PluggedKey* const plugged = slots.Find(key.serial)) {
            key.plugged = *plugged;
            if (key.summary) {
                key.summary->plugged = *plugged;
            }
        }
    }
    return keys;
}

}  // namespace softkey::tools
