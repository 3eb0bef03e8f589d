#include "call/request_cache.h"

#include <cstring>
#include <memory>
#include <string_view>

#include "call/lengths.h"
#include "common/last_error.h"

namespace orval {
namespace {

// Texts from array new, all null while the cache is empty. Plain pointers, so that no destructor
// takes them from a client whose exit handler fetches what was made earlier.
char* g_szLastP10 = nullptr;
char* g_szLastReq = nullptr;
char* g_szLastSN = nullptr;

// A null serial number, which only the combined call accepts, counts as an empty one.
std::string_view TextOf(const char* text) {
    return text == nullptr ? std::string_view() : text;
}

std::unique_ptr<char[]> CopyText(std::string_view text) {
    auto copy = std::make_unique<char[]>(text.size() + 1);
    text.copy(copy.get(), text.size());
    return copy;
}

void Release(char*& text) {
    delete[] text;
    text = nullptr;
}

bool IsFilled() {
    return g_szLastP10 != nullptr && g_szLastReq != nullptr && g_szLastSN != nullptr;
}

bool IsFor(const char* szSN, const char* szRequestInfo) {
    return TextOf(szRequestInfo) == g_szLastReq && TextOf(szSN) == g_szLastSN;
}

// All three or, when memory runs out, none: what was there before is kept then.
void Fill(const QRV::CString& requests, const char* szSN, const char* szRequestInfo) {
    auto p10 = CopyText({requests.GetString(), static_cast<size_t>(requests.GetLength())});
    auto req = CopyText(szRequestInfo);
    auto sn = CopyText(TextOf(szSN));
    ReleaseP10Buffer();
    g_szLastP10 = p10.release();
    g_szLastReq = req.release();
    g_szLastSN = sn.release();
}

// What nobody fetched goes with the library. Runs behind the exit handlers when the process ends,
// where a static object's destructor would run before those registered earlier.
__attribute__((destructor)) void ReleaseAtUnload() {
    ReleaseP10Buffer();
}

}  // namespace

void ReleaseP10Buffer() {
    Release(g_szLastP10);
    Release(g_szLastReq);
    Release(g_szLastSN);
}

std::optional<int32_t> ServeFromCache(const char* szSN, const char* szRequestInfo, char* out,
                                      int32_t* length) {
    if (out == nullptr || !IsFilled()) {
        return std::nullopt;
    }
    if (!IsFor(szSN, szRequestInfo)) {
        ReleaseP10Buffer();
        return std::nullopt;
    }
    const int32_t code = lengths::RememberedRequests::Deliver(
        g_szLastP10, static_cast<int32_t>(std::strlen(g_szLastP10)), out, length);
    if (code != ORVAL_OK) {
        // The cache stays for the next try.
        return Finish(code);
    }
    ReleaseP10Buffer();
    return LastError();
}

int32_t DeliverRequests(const QRV::CString& requests, const char* szSN, const char* szRequestInfo,
                        char* out, int32_t* length) {
    if (out == nullptr) {
        // Before a length is told that nothing stands behind.
        Fill(requests, szSN, szRequestInfo);
    }
    return Finish(
        lengths::FreshRequests::Deliver(requests.GetString(), requests.GetLength(), out, length));
}

}  // namespace orval
