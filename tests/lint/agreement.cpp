#include "agreement.h"

#include <mutex>

#include "orval_unified_kpxukey.h"
#include "qrv/exception.h"
#include "scripted_key.h"

namespace agreement {

namespace {

using scripted::Key;

constexpr const char* kSerialNumber = "SN0123456789";
constexpr int32_t kOtherException = 2;  // that none of these calls raises

Seen g_seen;

int32_t Asked(const std::string& what) {
    g_seen.asked.push_back(what);
    return 0;
}

std::string Values(int64_t cert_type, int64_t key_type, int64_t hash_type, bool merged) {
    return std::to_string(cert_type) + " " + std::to_string(key_type) + " " +
           std::to_string(hash_type) + (merged ? " merged" : "");
}

// The record of calls is not kept: it would fill the memory.
template <typename Call>
Seen Observe(Call call) {
    g_seen = {};
    try {
        g_seen.code = call();
    } catch (const QRV::CQrvException& exception) {
        g_seen.code = exception.Code() == QRV::kInvalidArgument ? kRaised : kOtherException;
    }
    scripted::ForgetCalls();
    return g_seen;
}

int32_t CodeWhere(bool raises, bool refuses) {
    return raises ? kRaised : refuses ? ORVAL_INVALID_ARGUMENT : ORVAL_OK;
}

}  // namespace

bool operator==(const Seen& a, const Seen& b) {
    return a.code == b.code && a.asked == b.asked;
}

void PrintTo(const Seen& seen, std::ostream* out) {
    *out << (seen.code == kRaised ? "raised" : std::to_string(seen.code));
    for (const std::string& asked : seen.asked) {
        *out << "\n    " << scripted::Quoted(asked);
    }
}

void AcceptEverything() {
    Key().VerifyPIN.Does([](const char*) { return Asked("PIN"); });
    Key().GMCreatePKCS10.Does([](const char*, int32_t cert_type, int32_t key_type,
                                 int32_t hash_type, char** request, void*, int32_t) {
        *request = scripted::NewText("R");
        return Asked(Values(cert_type, key_type, hash_type, false));
    });
    Key().GMCreatePKCS10Ex.Does([](const char*, RequestEntry* entry, char** request, int32_t, void*,
                                   int32_t) {
        *request = scripted::NewText("R");
        return Asked(Values(entry->certType, entry->keyType, entry->hashType, entry->merged != 0));
    });
    Key().GMWritePKCS7.Does(
        [](const char*, char* pkcs7, QRV::CString&) { return Asked("W:" + std::string(pkcs7)); });
    Key().GMImportPriKey.Does(
        [](const char*, const char* key, int32_t) { return Asked("K:" + std::string(key)); });
}

Seen Single(const char* text) {
    return Observe([text] {
        int32_t length = 0;
        return GenerateCertRequest(kSerialNumber, text, nullptr, &length);
    });
}

Seen Combined(const char* text) {
    return Observe([text] {
        int32_t length = 0;
        return Batch_InitAndGenerateCertRequest(kSerialNumber, 0, text, nullptr, &length);
    });
}

Seen Import(const char* text) {
    return Observe([text] { return Batch_ImportX509Cert(kSerialNumber, text); });
}

Seen Foretold(const lint::RequestOutcome& outcome) {
    Seen seen = {CodeWhere(outcome.raises, outcome.refuses), {}};
    for (const lint::Request& request : outcome.requests) {
        if (request.verifies_pin) {
            seen.asked.emplace_back("PIN");
        }
        seen.asked.push_back(
            Values(request.cert_type, request.key_type, request.hash_type, request.merged));
    }
    return seen;
}

Seen Foretold(const lint::PackageReport& report) {
    Seen seen = {CodeWhere(report.raises, report.refuses), {}};
    for (const lint::Import& import : report.imports) {
        const bool is_key = import.kind == lint::ItemKind::kEncPriKey;
        seen.asked.push_back((is_key ? "K:" : "W:") + import.data);
    }
    return seen;
}

int32_t PointedOut(const lint::Findings& findings, uint32_t call, size_t most_records) {
    for (const lint::Finding& finding : findings) {
        const bool counts = finding.record <= most_records || finding.rule->calls == call;
        if (finding.rule->severity == lint::Verdict::kRefused &&
            (finding.rule->calls & call) != 0 && counts) {
            return finding.rule->effect == lint::Effect::kRaises ? kRaised : ORVAL_INVALID_ARGUMENT;
        }
    }
    return ORVAL_OK;
}

std::vector<std::string> PlacedOutside(const lint::Findings& findings, const std::string& text) {
    std::vector<std::string> names;
    for (const lint::Finding& finding : findings) {
        if (finding.place.offset + finding.length > text.size() ||
            finding.place.column > finding.place.byte_column) {
            names.emplace_back(finding.rule->name);
        }
    }
    return names;
}

}  // namespace agreement
