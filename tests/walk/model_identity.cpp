// Errors and identity.
#include <algorithm>

#include "argument.h"
#include "model.h"

namespace walk {

void Model::GetLastErrCode() {
    if (In().length) {
        out_.length = last_error_;
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
        out_.length = 200;
        return Return(0);
    }
    const Reply reply = Call("X_ErrorConvert_UOS", {Value(Number(0))});
    if (!IsBound("X_ErrorConvert_UOS")) {
        return Return(kUnavailable);
    }
    const std::string text = reply.text.value_or("");
    const auto n = static_cast<int32_t>(text.size());
    out_.length = n + 1;
    if (n < *In().length) {
        Write(text + '\0');
        return Return(0);
    }
    Finish(kTooSmall);
}

void Model::LogBeginLength(const std::string& name, const std::string& label) {
    Log(name, "Begin " + label + " = " + Hex8(*In().length, false));
}

void Model::ConstantText(const std::string& name, const std::string& label,
                         const std::string& text) {
    LazyInitialize();
    last_error_ = 0;
    out_.length = static_cast<int32_t>(text.size());
    if (In().buffer) {
        Write(text);
        const int32_t shown = std::max(*In().length, static_cast<int32_t>(text.size()));
        Log(name, label + ": " + AsCText(*out_.buffer).substr(0, static_cast<size_t>(shown)));
    }
    LogEnd(name);
}

void Model::GetDriverVersion() {
    ConstantText("GetDriverVersion", "pszVersion", "9.2025.0731.3");
}

void Model::GetDllVersion() {
    LogBeginLength("GetDllVersion", "pnVersionLen");
    ConstantText("GetDllVersion", "pszVersion", "9.2025.0731.3");
}

void Model::GetVidAndPid() {
    LogBeginLength("GetVidAndPid", "pnVidPidLen");
    ConstantText("GetVidAndPid", "pszVidPid", "1780&0301");
}

void Model::GetPrintNumber() {
    LogBeginLength("GetPrintNumber", "pnSNLen");
    LazyInitialize();
    last_error_ = 0;
    const Reply reply =
        Call("CheckDeviceEx", {Private("&0"), Private("zeroed[396]"), Value(1), CopyIn("", 1024)});
    last_error_ = reply.code;
    if (reply.code == 0) {
        const std::string number = reply.text.value_or("");
        out_.length = static_cast<int32_t>(number.size());
        if (In().buffer) {
            Write(number + '\0');
        }
    }
    if (In().buffer) {
        Log("GetPrintNumber", "m_SN: " + AsCText(*out_.buffer));
    }
    LogEnd("GetPrintNumber");
}

void Model::GetVendorInfo() {
    LazyInitialize();
    last_error_ = 0;
    const int32_t type = Number(6);
    if (type < 0 || type > 2) {
        return Finish(kUnsupported);
    }
    const std::string name = type == 2 ? "Marlowen Corporation" : "马洛文科技股份有限公司";
    if (In().buffer) {
        Write(name + '\0');
    } else {
        out_.length = type == 2 ? 20 : 33;
    }
    Return(0);
}

}  // namespace walk
