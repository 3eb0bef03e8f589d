// The PIN, the key's initialisation, its label and data, and the installation.
#include "model.h"

namespace walk {

// The result of one entry is the outcome.
void Model::PassOn(const std::string& entry, const std::vector<Shown>& arguments) {
    Finish(Call(entry, arguments).code);
}

// A length query has a fixed answer; with a buffer the key decides.
void Model::FixedBound(const std::string& entry, int32_t bound,
                       const std::vector<Shown>& arguments) {
    if (!In().buffer) {
        out_.length = bound;
        return Finish(0);
    }
    const Reply reply = Call(entry, arguments);
    if (reply.length) {
        out_.length = reply.length;
    }
    if (reply.text) {
        Write(*reply.text);
    }
    Finish(reply.code);
}

void Model::ChangePin() {
    Log("ChangePin", "Begin");
    LogHex("szSN:", *TextAt(0));
    LazyInitialize();
    last_error_ = 0;
    PassOn("ChangePin", {Own(0)});
    LogEnd("ChangePin");
}

void Model::VerifyPIN() {
    LazyInitialize();
    PassOn("VerifyPIN", {Own(0)});
}

void Model::TestVerifyAndCachePin() {
    LazyInitialize();
    PassOn("VerifyAndCachePin", {Own(0), Value(In().numbers[0])});
}

void Model::GetPinInfo() {
    LazyInitialize();
    if (!In().length) {
        return Finish(kInvalid);
    }
    FixedBound("GetPinInfo", 8, {Own(0), OwnBuffer("pointer"), OwnLength()});
}

void Model::RemovePinCache() {
    LazyInitialize();
    last_error_ = 0;
    PassOn("GM_RemoveUserPin", {});
}

void Model::SetCachePinFlag() {
    last_error_ = 0;
    PassOn("SetCachePinFlag", {Own(0), Value(In().numbers[0])});
}

void Model::InitUKey() {
    Log("InitUKey", "Begin");
    LogHex("szSN:", *TextAt(0));
    if (!initialized_) {
        return Return(kNotInitialized);
    }
    last_error_ = 0;
    PassOn("CustInitCard", {Own(0), Value(0), Null(), Value(0)});
    LogEnd("InitUKey");
}

void Model::TestInitUKey() {
    Log("TestInitUKey", "Begin");
    LazyInitialize();
    last_error_ = 0;
    PassOn("CustInitCard", {Own(0), Value(0), OwnBuffer("pointer"), Value(0)});
    LogEnd("TestInitUKey");
}

void Model::GetLabel() {
    LazyInitialize();
    if (!In().length || !TextAt(0)) {
        return Finish(kInvalid);
    }
    last_error_ = 0;
    if (TextAt(0)->empty()) {
        return Finish(kInvalid);
    }
    const Reply reply = Call("GetLabel", {Copy(*TextAt(0)), CopyIn("", 512)});
    Finish(reply.code);
    if (reply.code == 0) {
        const std::string label = reply.text.value_or("");
        CopyOut(label, static_cast<int32_t>(label.size()));
    }
}

void Model::PassTwoTexts(const std::string& entry, size_t first, size_t second) {
    LazyInitialize();
    if (!TextAt(0) || !TextAt(1)) {
        return Finish(kInvalid);
    }
    PassOn(entry, {Own(first), Own(second)});
}

void Model::SetLabel() {
    PassTwoTexts("SetLabel", 0, 1);
}

void Model::SetCharset() {
    PassTwoTexts("UOS_SetCharset", 1, 0);
}

void Model::SetLanguage() {
    PassTwoTexts("UOS_SetLanguage", 1, 0);
}

bool Model::KeyTextIsAcceptable() const {
    return TextAt(0) && TextAt(0)->size() >= 10 && TextAt(0)->size() <= 16;
}

void Model::GetData() {
    LazyInitialize();
    if (!In().length || !KeyTextIsAcceptable()) {
        return Finish(kInvalid);
    }
    last_error_ = 0;
    const Reply reply = Call("GetData", {Own(0), Value(Number(0)), CopyIn("", 260)});
    Finish(reply.code);
    if (reply.code == 0) {
        const std::string data = reply.text.value_or("");
        CopyOut(data, static_cast<int32_t>(data.size()) + 1);
    }
}

void Model::SetData() {
    LazyInitialize();
    if (!KeyTextIsAcceptable() || !TextAt(1) || TextAt(1)->size() > 300) {
        return Finish(kInvalid);
    }
    PassOn("SetData", {Own(0), Value(Number(0)), Own(1)});
}

void Model::CheckDriverIntegrity() {
    LazyInitialize();
    last_error_ = 0;
    Finish(Number(6) == 1 && !step_->directory_unreadable ? 0 : kUnsupported);
}

}  // namespace walk
