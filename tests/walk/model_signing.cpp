// Signing and decryption.
#include "model.h"

namespace walk {

void Model::Sign() {
    LazyInitialize();
    if (!TextAt(1) || !In().length || !TextAt(2)) {
        return Finish(kInvalid);
    }
    if (!In().buffer) {
        out_.length = Estimate(*TextAt(1));
        return Finish(0);
    }
    PassOn("SetWarningMsg", {Own(0), Own(2)});
    if (last_error_ != 0) {
        return;
    }
    const Reply reply = Call("GMUsbKeyCriticalSign", {Own(0), Value(Number(0)), Value(Number(1)),
                                                      Own(1), OwnBuffer("buffer"), OwnLength()});
    TakeFromKey(reply);
    Finish(reply.code);
}

void Model::SignHash() {
    LazyInitialize();
    if (!In().length || !TextAt(1)) {
        return Finish(kInvalid);
    }
    const int32_t estimate = Estimate(*TextAt(1));
    if (!In().buffer) {
        out_.length = estimate;
        return Finish(0);
    }
    last_error_ = 0;
    const Reply reply =
        Call("GMUsbKeyCommonSign",
             {Copy(TextAt(0).value_or("")), Value(Number(0)), Value(Number(1)), Copy(*TextAt(1)),
              Value(Number(2)), CopyIn("", static_cast<size_t>(estimate)), OwnLength()});
    if (reply.length) {
        out_.length = reply.length;
    }
    Finish(reply.code);
    if (reply.code == 0) {
        Write(reply.text.value_or("") + '\0');
    }
}

namespace {

uint32_t Separators(const std::string& batch) {
    uint32_t count = 0;
    for (size_t at = batch.find("||"); at != std::string::npos; at = batch.find("||", at + 2)) {
        ++count;
    }
    return count;
}

}  // namespace

void Model::Batch_Sign() {
    LazyInitialize();
    if (!In().length) {
        return Finish(kInvalid);
    }
    if (!In().buffer) {
        uint32_t estimate = TextAt(1) ? static_cast<uint32_t>(TextAt(1)->size()) + 2048 : 0;
        if (TextAt(2)) {
            estimate += (static_cast<uint32_t>(TextAt(2)->size()) + 2048) * Separators(*TextAt(2));
        }
        out_.length = static_cast<int32_t>(estimate * 2);
        return Finish(0);
    }
    const bool all_required = (static_cast<uint32_t>(Number(0)) & 1U) != 0;
    if (all_required && (!TextAt(0) || !TextAt(1) || !TextAt(3))) {
        return Finish(kInvalid);
    }
    Shown sixth = Own(3);
    sixth.text = TextAt(3) ? "pointer" : "null";
    const Reply reply =
        Call("Batch_Sign", {Value(Number(0)), Own(0), Value(Number(1)), Value(Number(2)), Own(1),
                            sixth, Value(In().numbers[3]), Value(Number(4)), Value(Number(5)),
                            Own(2), Value(Number(6)), OwnBuffer("buffer"), OwnLength()});
    TakeFromKey(reply);
    Finish(reply.code);
}

void Model::AsymDec() {
    LazyInitialize();
    if (!In().length || !TextAt(1)) {
        return Finish(kInvalid);
    }
    last_error_ = 0;
    const int32_t estimate = Estimate(*TextAt(1));
    if (!In().buffer) {
        out_.length = estimate;
        return Return(0);
    }
    const Reply reply =
        Call("GMUSBKeyAsymDec2",
             {Copy(TextAt(0).value_or("")), Value(Number(0)),
              Value(static_cast<uint32_t>(In().numbers[1])), Copy(Without(*TextAt(1), "\r\n")),
              CopyIn("", static_cast<size_t>(estimate)), Private("&" + std::to_string(estimate))});
    Finish(reply.code);
    if (reply.code != 0) {
        return;
    }
    out_.length = reply.length.value_or(estimate);
    if (*In().length < *out_.length) {
        return Finish(kTooSmall);
    }
    Write(reply.text.value_or("") + '\0');
}

}  // namespace walk
