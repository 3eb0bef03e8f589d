#ifndef ORVAL_TESTS_PRODUCT_WALK_MODEL_H
#define ORVAL_TESTS_PRODUCT_WALK_MODEL_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "functions.h"
#include "maker/entries.h"
#include "plain_readings.h"
#include "step.h"

namespace walk {

// The contract of the exported functions, written a second time and as plainly as it goes: what a
// client sees of each call, given all calls before it. Shares no code with the product, so that
// the two agree only where both follow the contract.
//
// Most functions are a row of Functions() that Follow reads; the odd ones are members here.
class Model final {
 public:
    Outcome Expect(const Step& step);

    // The text that a fetch would get without asking the key; for choosing capacities.
    size_t RememberedLength() const { return cache_ ? cache_->text.size() : 0; }

    void Initialize();
    void Finalize();
    // model_queries.cpp
    void GetLastErrCode();
    void GetErrorMsg();
    void GetConstant();
    void GetPrintNumber();
    void GetVendorInfo();
    void CheckDriverIntegrity();
    void RefuseSilently();
    // model_wait.cpp
    void WaitForKeyEvent();
    void StopDetectUKey();
    // model_imports.cpp
    void ImportX509Cert();
    void ImportEncX509Cert();
    void Batch_ImportX509Cert();
    // model_requests.cpp
    void GenerateCertRequest();
    void Batch_InitAndGenerateCertRequest();

 private:
    struct Remembered {
        std::string text;
        std::string description;
        std::string serial_number;
    };

    // A request entry of the batch call.
    struct Entry {
        PlainFields fields;
        bool merged;
    };

    // The key's exception, which nobody on the way catches.
    struct Thrown {};

    void Do(const Function& function);

    const Arguments& In() const { return step_->in; }
    const Text& TextAt(size_t index) const { return step_->in.texts[index]; }
    int32_t Number(size_t index) const { return static_cast<int32_t>(step_->in.numbers[index]); }

    // The frame.
    int32_t Bind();
    void LazyInitialize();
    void Return(int32_t code) { out_.result = code; }
    void Finish(int32_t code);
    bool Fails(int32_t code);
    void Log(const std::string& name, const std::string& text);
    void LogEnd(const std::string& name);

    // Functions that have a rule.
    void Follow(const Rule& rule);
    bool LogBegin(const Rule& rule);
    bool IsAcceptable(char required) const;
    void Deliver(Delivery delivery, const Reply& reply, const std::string& call);

    // Calls below: an entry's name and a word for each argument, "VerifyPIN t0". An entry that is
    // not bound answers -101 and sees nothing.
    Reply Call(const std::string& call, const std::string& extra = "");
    std::string Argument(const std::string& word, const std::string& extra) const;
    bool IsBound(const std::string& entry) const;
    void RecordCall(const std::string& call);

    void Write(const std::string& text);
    void CopyOut(const std::string& text, int32_t length, int32_t length_when_too_small);

    void ListSlots();
    void Stop();
    void AwaitEvent(std::string& record);
    void Pause(const Wait& wait);
    void EndWait(const std::string& record);
    std::string Arrival(uint32_t slot);
    std::string Removal(uint32_t slot);
    void LogWait(const std::string& tag, const std::string& what, int32_t value, int line);

    std::optional<int32_t> ImportKey(const std::string& key);
    void ImportPackage(const std::string& package);
    bool ImportItem(const std::string& name, const std::string& data);

    bool IsServedFromCache();
    void DeliverRequests(const std::string& text);
    bool RecordIsSound(const std::string& record, PlainFields& fields);
    bool AddRequest(const std::string& call, const std::string& extra, bool first,
                    std::string& text);
    bool ReadEntries(std::vector<Entry>& entries);
    bool MakeEntry(const Entry& entry, bool first, std::string& text);

    const Step* step_ = nullptr;
    size_t next_reply_ = 0;
    size_t next_wait_ = 0;
    Outcome out_;

    Backend backend_;      // in the application directory
    bool loaded_ = false;  // and never unloaded again
    std::array<bool, maker::kHandleSlot + 1> slots_{};
    bool initialized_ = false;
    int32_t last_error_ = 0;
    std::optional<Remembered> cache_;
    bool running_ = false;
    std::map<uint32_t, std::string> slot_map_;
};

// Shared by the families.
constexpr int32_t kUnavailable = -101;
constexpr int32_t kNotInitialized = -109;
constexpr int32_t kUnsupported = -300;
constexpr int32_t kInvalid = -401;
constexpr int32_t kTooSmall = -404;

std::string Hex8(int32_t value, bool upper);
// What a C program sees of a buffer.
std::string AsCText(const std::string& bytes);

}  // namespace walk

#endif
