#ifndef ORVAL_TESTS_WALK_MODEL_H
#define ORVAL_TESTS_WALK_MODEL_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "plain_description.h"
#include "step.h"

namespace walk {

// The contract of the exported functions, written a second time and as plainly as it goes: what a
// client sees of each call, given all calls before it. Shares no code with the product, so that
// the two agree only where both follow the contract.
//
// The functions' own methods are in one file per family: model_<family>.cpp.
class Model final {
 public:
    Outcome Expect(const Step& step);

    // The text that a fetch would get without asking the key; for choosing capacities.
    size_t RememberedLength() const { return cache_ ? cache_->text.size() : 0; }

    // Lifecycle and errors.
    void Initialize();
    void Finalize();
    void GetLastErrCode();
    void GetErrorMsg();
    // Identity.
    void GetDriverVersion();
    void GetDllVersion();
    void GetVidAndPid();
    void GetPrintNumber();
    void GetVendorInfo();
    // Devices and installation.
    void WaitForKeyEvent();
    void StopDetectUKey();
    void CheckDriverIntegrity();
    // PIN.
    void ChangePin();
    void VerifyPIN();
    void TestVerifyAndCachePin();
    void GetPinInfo();
    void RemovePinCache();
    void SetCachePinFlag();
    // Key storage.
    void InitUKey();
    void TestInitUKey();
    void GetLabel();
    void SetLabel();
    void GetData();
    void SetData();
    void SetCharset();
    void SetLanguage();
    // Signing and decryption.
    void Sign();
    void SignHash();
    void Batch_Sign();
    void AsymDec();
    // Certificates.
    void GetCert();
    void GetCertDN();
    void GetCertInfo();
    void DelCertAndTempKey();
    void Refuse();
    void ImportX509Cert();
    void ImportEncX509Cert();
    void Batch_ImportX509Cert();
    // Certificate requests.
    void GenerateCertRequest();
    void Batch_InitAndGenerateCertRequest();

 private:
    static constexpr size_t kSlots = 30;
    static constexpr size_t kHandleSlot = 29;

    // An argument of a call to the libraries below: how the scripted key shows it, and for a
    // pointer whose memory it is.
    struct Shown {
        std::string text;
        std::string whose;
    };

    struct Remembered {
        std::string text;
        std::string description;
        std::string serial_number;
    };

    struct Entry {
        PlainFields fields;
        bool merged;
    };

    // The request entries of the batch call.
    struct Entries {
        std::vector<Entry> all;
        int records = 0;
        int pairing = 0;
        int64_t pairing_cert_type = 0;
    };

    const Arguments& In() const { return step_->in; }
    const Text& TextAt(size_t index) const { return step_->in.texts[index]; }
    int32_t Number(size_t index) const { return static_cast<int32_t>(step_->in.numbers[index]); }

    // The frame.
    int32_t Bind();
    void LazyInitialize();
    void Finish(int32_t code);
    void Return(int32_t code) { out_.result = code; }
    void Log(const std::string& name, const std::string& text);
    void LogHex(const std::string& name, const std::string& bytes);
    void LogEnd(const std::string& name);

    // Calls below. An entry that is not bound answers -101 and sees nothing.
    bool IsBound(const std::string& entry) const;
    Reply Call(const std::string& entry, const std::vector<Shown>& arguments);
    void CallToken(const std::string& call);
    static Shown Value(int64_t value);
    static Shown Private(const std::string& shown);
    static Shown Copy(const std::string& text);
    static Shown CopyIn(const std::string& text, size_t size);
    static Shown Null();
    Shown Own(size_t text_index) const;
    Shown OwnBuffer(const std::string& shown) const;
    Shown OwnLength() const;
    void Note(const std::string& name, const std::vector<Shown>& arguments);

    // Delivery.
    void Write(const std::string& text);
    void TakeFromKey(const Reply& reply);
    void CopyOut(const std::string& text, int32_t length_when_too_small);

    void ConstantText(const std::string& name, const std::string& label, const std::string& text);
    void LogBeginLength(const std::string& name, const std::string& label);
    void PassOn(const std::string& entry, const std::vector<Shown>& arguments);
    void FixedBound(const std::string& entry, int32_t bound, const std::vector<Shown>& arguments);
    void PassTwoTexts(const std::string& entry, size_t first, size_t second);
    bool KeyTextIsAcceptable() const;

    void ListSlots();
    void Stop();
    void AwaitEvent(std::string& record);
    void Pause(const Wait& wait);
    void EndWait(const std::string& record);
    std::string Arrival(uint32_t slot);
    std::string Removal(uint32_t slot);
    void LogWait(const std::string& tag, const std::string& what, int32_t value, int line);
    Wait NextWait();

    int32_t WritePkcs7(const Shown& serial_number, const std::string& pkcs7);
    std::optional<int32_t> ImportKey(const std::string& key);
    void ImportPackage(const std::string& package);
    bool ImportItem(const std::string& name, const std::string& data);

    bool ServedFromCache();
    void DeliverRequests(const std::string& text);
    bool RecordIsSound(PlainRead read);
    bool MakeRequest(const PlainFields& fields, std::string& text, bool first);
    bool ReadEntries(Entries& entries);
    static bool AddRecord(const PlainFields& fields, Entries& entries);
    bool MakeEntry(const Entry& entry, size_t index, std::string& text);

    const Step* step_ = nullptr;
    size_t next_reply_ = 0;
    size_t next_wait_ = 0;
    Outcome out_;

    Backend backend_;      // in the application directory
    bool loaded_ = false;  // and never unloaded again
    std::array<bool, kSlots> slots_{};
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
std::string Without(const std::string& text, const std::string& characters);
// What a C program sees of a buffer.
std::string AsCText(const std::string& bytes);
// (length + 4096) * 2 in 32 bits.
int32_t Estimate(const std::string& text);

}  // namespace walk

#endif
