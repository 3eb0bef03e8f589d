// Errors, identity, and what refuses.
#include <algorithm>

#include "model.h"

namespace walk {

void Model::GetLastErrCode() {
    if (In().length) {
        out_.after.length = last_error_;
    } else {
        last_error_ = kInvalid;
    }
}

void Model::GetErrorMsg() {
    LazyInitialize();
    if (!In().length) {
        return Finish(kInvalid);
    }
    if (!In().buffer) {
        out_.after.length = 200;
        return Return(0);
    }
    const Reply reply = Call("X_ErrorConvert_UOS n0");
    if (!IsBound("X_ErrorConvert_UOS")) {
        return Return(kUnavailable);
    }
    const std::string text = reply.text.value_or("");
    const auto n = static_cast<int32_t>(text.size());
    out_.after.length = n + 1;
    if (n >= *In().length) {
        return Finish(kTooSmall);
    }
    Write(text + '\0');
    Return(0);
}

void Model::GetConstant() {
    const std::string name = Functions()[step_->function].name;
    const bool ids = name == "GetVidAndPid";
    const std::string text = ids ? "1780&0301" : "9.2025.0731.3";
    if (name != "GetDriverVersion") {
        Log(name, "Begin " + std::string(ids ? "pnVidPidLen" : "pnVersionLen") + " = " +
                      Hex8(*In().length, false));
    }
    LazyInitialize();
    last_error_ = 0;
    const auto length = static_cast<int32_t>(text.size());
    out_.after.length = length;
    if (In().buffer) {
        Write(text);
        const auto shown = static_cast<size_t>(std::max(*In().length, length));
        Log(name, std::string(ids ? "pszVidPid: " : "pszVersion: ") +
                      AsCText(*out_.after.buffer).substr(0, shown));
    }
    LogEnd(name);
}

void Model::GetPrintNumber() {
    Log("GetPrintNumber", "Begin pnSNLen = " + Hex8(*In().length, false));
    LazyInitialize();
    last_error_ = 0;
    const Reply reply = Call("CheckDeviceEx &0 z396 1 z1024");
    const std::string number = reply.text.value_or("");
    if (!Fails(reply.code)) {
        out_.after.length = static_cast<int32_t>(number.size());
        if (In().buffer) {
            Write(number + '\0');
        }
    }
    if (In().buffer) {
        Log("GetPrintNumber", "m_SN: " + AsCText(*out_.after.buffer));
    }
    LogEnd("GetPrintNumber");
}

void Model::GetVendorInfo() {
    LazyInitialize();
    const int32_t type = Number(0);
    if (type < 0 || type > 2) {
        return Finish(kUnsupported);
    }
    const std::string name = type == 2 ? "Marlowen Corporation" : "马洛文科技股份有限公司";
    if (In().buffer) {
        Write(name + '\0');
    } else {
        out_.after.length = type == 2 ? 20 : 33;
    }
    Finish(0);
}

void Model::CheckDriverIntegrity() {
    LazyInitialize();
    Finish(Number(0) == 1 && !step_->directory_unreadable ? 0 : kUnsupported);
}

void Model::RefuseSilently() {
    Return(kUnsupported);
}

}  // namespace walk
