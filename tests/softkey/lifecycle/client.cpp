#include "client.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <ostream>

namespace ukey {

void PrintTo(Errc code, std::ostream* output) {
    char text[32];
    std::snprintf(text, sizeof text, "0x%08X (%d)", static_cast<unsigned>(code),
                  static_cast<int>(code));
    *output << text;
}

}  // namespace ukey

namespace lifecycle {
namespace {

Answer Fetch(const TextCall& call, int32_t capacity) {
    std::vector<char> buffer(static_cast<size_t>(capacity) + 1, '\0');
    const Code code = Checked(call(buffer.data(), &capacity));
    return {code, code == kOk ? std::string(buffer.data()) : std::string()};
}

}  // namespace

void PrintTo(const Tries& tries, std::ostream* output) {
    *output << tries.left << " of " << tries.maximum;
}

Code Checked(int32_t result) {
    int32_t last = ~result;
    GetLastErrCode(&last);
    EXPECT_EQ(result, last) << "the last error is not what the call returned";
    return static_cast<Code>(result);
}

std::string Given(const Answer& answer) {
    EXPECT_EQ(kOk, answer.code);
    return answer.text;
}

Answer AskForText(const TextCall& call) {
    int32_t length = 0;
    const Code code = Checked(call(nullptr, &length));
    if (code != kOk) {
        return {code, std::string()};
    }
    return Fetch(call, length);
}

Answer LabelOf(const std::string& key) {
    return AskForText(
        [&](char* buffer, int32_t* length) { return GetLabel(key.c_str(), buffer, length); });
}

Answer DataOf(const std::string& key, int32_t index) {
    return AskForText(
        [&](char* buffer, int32_t* length) { return GetData(key.c_str(), index, buffer, length); });
}

Answer CertificateOf(const std::string& key, Selector which, CertificateForm form) {
    return AskForText([&](char* buffer, int32_t* length) {
        return GetCert(key.c_str(), which, form, buffer, length);
    });
}

Answer CertificateName(const std::string& key, Selector which, NameOf whose) {
    return AskForText([&](char* buffer, int32_t* length) {
        return GetCertDN(key.c_str(), which, whose, buffer, length);
    });
}

Answer CertificateDetails(const std::string& key, Selector which) {
    return AskForText([&](char* buffer, int32_t* length) {
        return GetCertInfo(key.c_str(), which, buffer, length);
    });
}

Answer Request(const std::string& key, const std::string& description) {
    return AskForText([&](char* buffer, int32_t* length) {
        return GenerateCertRequest(key.c_str(), description.c_str(), buffer, length);
    });
}

Answer BatchRequest(const std::string& key, InitMode mode, const std::string& description) {
    return AskForText([&](char* buffer, int32_t* length) {
        return Batch_InitAndGenerateCertRequest(key.c_str(), mode, description.c_str(), buffer,
                                                length);
    });
}

Answer ConfirmedSignature(const std::string& key, const std::string& data,
                          const std::string& warning, Selector which, SignatureForm form) {
    return AskForText([&](char* buffer, int32_t* length) {
        return Sign(key.c_str(), which, form, data.c_str(), warning.c_str(), buffer, length);
    });
}

Answer Signature(const std::string& key, const std::string& data, Selector which,
                 SignatureForm form, DataKind kind) {
    return AskForText([&](char* buffer, int32_t* length) {
        return SignHash(key.c_str(), which, form, data.c_str(), kind, buffer, length);
    });
}

Answer BatchSignatures(const std::string& key, const std::string& batch) {
    return AskForText([&](char* buffer, int32_t* length) {
        return Batch_Sign(0, key.c_str(), 0, 0, nullptr, nullptr, 0, kSigning, kBase64Value,
                          batch.c_str(), kAsItIs, buffer, length);
    });
}

Answer Decrypted(const std::string& key, const std::string& cipher, Selector which) {
    return AskForText([&](char* buffer, int32_t* length) {
        return AsymDec(key.c_str(), which, 0, cipher.c_str(), buffer, length);
    });
}

Tries TriesOf(const std::string& key) {
    Tries tries = {-1, -1};
    int32_t length = 0;
    EXPECT_EQ(kOk, Checked(GetPinInfo(key.c_str(), nullptr, &length)));
    EXPECT_EQ(static_cast<int32_t>(sizeof tries), length);
    EXPECT_EQ(kOk, Checked(GetPinInfo(key.c_str(), &tries, &length)));
    return tries;
}

std::string ErrorText(Code code) {
    int32_t last = 0;
    GetLastErrCode(&last);
    const auto number = static_cast<int32_t>(code);
    int32_t length = 0;
    EXPECT_EQ(ORVAL_OK, GetErrorMsg(number, nullptr, &length));
    std::vector<char> text(static_cast<size_t>(length) + 1, '\0');
    EXPECT_EQ(ORVAL_OK, GetErrorMsg(number, text.data(), &length));
    EXPECT_EQ(std::string(text.data()).size() + 1, static_cast<size_t>(length));
    int32_t still = ~last;
    GetLastErrCode(&still);
    EXPECT_EQ(last, still) << "asking for a text erased the code that is explained";
    return text.data();
}

std::vector<std::string> Split(const std::string& text, const std::string& separator) {
    std::vector<std::string> parts;
    size_t begin = 0;
    for (size_t end = 0; (end = text.find(separator, begin)) != std::string::npos;) {
        parts.push_back(text.substr(begin, end - begin));
        begin = end + separator.size();
    }
    parts.push_back(text.substr(begin));
    return parts;
}

std::vector<std::string> PackageItems(const std::string& package, const std::string& name) {
    std::vector<std::string> items;
    for (const std::string& item : Split(package, "|")) {
        if (item.rfind(name + "(", 0) == 0 && item.back() == ')') {
            items.push_back(item.substr(name.size() + 1, item.size() - name.size() - 2));
        }
    }
    return items;
}

}  // namespace lifecycle
