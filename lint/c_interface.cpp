// The functions of orval_lint.h.
#include <algorithm>
#include <cstring>
#include <mutex>
#include <new>

#include "lint/package.h"
#include "lint/request.h"
#include "orval_lint.h"
#include "qrv/exception.h"

namespace {

static_assert(sizeof(OrvalLintFinding) == 528 && offsetof(OrvalLintFinding, szRule) == 64,
              "clients of other languages count the bytes");
static_assert(static_cast<int32_t>(lint::Verdict::kRefused) == ORVAL_LINT_REFUSED &&
              static_cast<int32_t>(lint::Effect::kHandsOver) == ORVAL_LINT_HANDS_OVER &&
              uint32_t{lint::kCombinedCall} == ORVAL_LINT_BATCH_INIT_AND_GENERATE &&
              uint32_t{lint::kImportCall} == ORVAL_LINT_BATCH_IMPORT);

// The strings of the library's parsing share what no two threads may change at once.
std::mutex one_at_a_time;

bool Continues(char c) {
    return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U;
}

template <size_t kSize>
void CopyText(char (&field)[kSize], const std::string& text) {
    size_t length = std::min(text.size(), kSize - 1);
    while (length < text.size() && length > 0 && Continues(text[length])) {
        --length;
    }
    std::memset(field, 0, kSize);
    std::memcpy(field, text.data(), length);
}

void Fill(OrvalLintFinding& out, const lint::Finding& finding) {
    const lint::Rule& rule = *finding.rule;
    out.nSeverity = static_cast<int32_t>(rule.severity);
    out.nCalls = rule.calls;
    out.nEffect = static_cast<int32_t>(rule.effect);
    out.nValue = static_cast<int32_t>(finding.value);
    out.nRecord = finding.record;
    out.nOffset = finding.place.offset;
    out.nLength = finding.length;
    out.nLine = finding.place.line;
    out.nColumn = finding.place.column;
    out.nByteColumn = finding.place.byte_column;
    CopyText(out.szRule, rule.name);
    CopyText(out.szFound, finding.found);
    CopyText(out.szExpected, rule.expected);
    CopyText(out.szMessage, finding.message);
    CopyText(out.szDoes, finding.Does().Plain());
    CopyText(out.szSuggestion, finding.suggestion);
}

// The caller's array.
struct Room {
    OrvalLintFinding* findings;
    size_t room;
    size_t* count;

    bool IsValid() const { return findings != nullptr || room == 0; }
};

void Deliver(const lint::Findings& found, uint32_t calls, const Room& to) {
    size_t count = 0;
    for (const lint::Finding& finding : found) {
        if ((finding.rule->calls & calls) == 0) {
            continue;
        }
        if (count < to.room) {
            Fill(to.findings[count], finding);
        }
        ++count;
    }
    if (to.count != nullptr) {
        *to.count = count;
    }
}

// Nothing but a lack of memory goes wrong in it.
template <typename Look>
int32_t WithoutExceptions(Look look) noexcept {
    try {
        const std::lock_guard<std::mutex> lock(one_at_a_time);
        return static_cast<int32_t>(look());
    } catch (const std::exception&) {
        return ORVAL_LINT_OUT_OF_MEMORY;
    } catch (const QRV::CQrvException&) {
        return ORVAL_LINT_OUT_OF_MEMORY;
    }
}

}  // namespace

int32_t OrvalLintRequest(const char* szDescription, uint32_t nCalls, OrvalLintFinding* pFindings,
                         size_t nRoom, size_t* pnCount) {
    const Room to = {pFindings, nRoom, pnCount};
    const uint32_t calls = nCalls & lint::kRequestCalls;
    if (szDescription == nullptr || calls == 0 || !to.IsValid()) {
        return ORVAL_LINT_INVALID_ARGUMENT;
    }
    return WithoutExceptions([=, &to] {
        const lint::RequestReport report = lint::LintRequest(szDescription);
        Deliver(report.findings, calls, to);
        return report.For(calls);
    });
}

int32_t OrvalLintPackage(const char* szPackage, OrvalLintFinding* pFindings, size_t nRoom,
                         size_t* pnCount) {
    const Room to = {pFindings, nRoom, pnCount};
    if (szPackage == nullptr || !to.IsValid()) {
        return ORVAL_LINT_INVALID_ARGUMENT;
    }
    return WithoutExceptions([szPackage, &to] {
        const lint::PackageReport report = lint::LintPackage(szPackage);
        Deliver(report.findings, lint::kImportCall, to);
        return report.Worst();
    });
}
