#ifndef ORVAL_COMMON_COMMONFUNCTION_H
#define ORVAL_COMMON_COMMONFUNCTION_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "maker/entries.h"

// The back-end key library: its entry points in slot order, its handle, and a few utilities.
// One instance serves the process. Binding takes no lock: two threads may bind at once, because
// both store the same values. The slots are read and written by LoadShared and StoreShared.
class __attribute__((visibility("default"))) CommonFunction {
 public:
    // Empties the handle's slot alone: the rest of a static object is zero already.
    CommonFunction();
    // Leaves the library loaded and the slots set: a client's exit handler may still call.
    ~CommonFunction();
    CommonFunction(const CommonFunction&) = delete;
    CommonFunction& operator=(const CommonFunction&) = delete;

    // Loads the back-end library and binds its entries. Returns 0, or -101 (also in G_LastError)
    // when the library or one entry is missing; the library is then closed again, and slots bound
    // before the failure keep their values. Binds anew when already bound; the earlier handle
    // stays open.
    int32_t init();

    // Closes the back-end library if it is loaded. Returns 0.
    int32_t FreeFunc();

    // Copies `count` bytes into `dst`, which holds `dstSize`. Returns 0; 1 when count is larger
    // than dstSize, whatever the pointers; 2 for a null source; 3 for a null destination.
    int32_t memcpy_s(void* dst, size_t dstSize, const void* src, size_t count);

    // Counts non-overlapping occurrences. An empty strSub is found at every position and at the
    // end: the text's length + 1 times.
    int32_t GetSubStringCount(const std::string& strText, const std::string& strSub);

    // Types the answer of a certificate authority: an orval::PackageType. The rule is in
    // docs/certificate-package.md.
    int32_t GetBatchCertDataType(QRV::CString text);

    // Converts `srcLen` bytes from UTF-8 to GB18030 (direction 0) or copies them (direction 1).
    //
    // direction: in. 0 or 1; any other value returns -1 at once and writes nothing.
    // src: in. Bytes; NUL bytes are data. Null only with srcLen 0, or with direction 1.
    // srcLen: in. Bytes at src.
    // out: out. A buffer from array new, to be released with array delete, also after -1.
    // outLen: out. Bytes converted. There is no terminator behind them.
    // Returns 0, or -1 when nothing was converted. A bad sequence ends the conversion where it
    // stands: what came before it is the result, and nothing tells that the rest is missing.
    // Raises CQrvException 0x80070057 in direction 0 for a null src with bytes, and for more than
    // 0x3FFFFFFF bytes, whose conversion might be too long for a string.
    int32_t MB2MB(uint32_t direction, const char* src, uint32_t srcLen, char** out,
                  uint32_t* outLen);

    // Appends the name of every entry of the directory `path` to `names`, "." and ".." included,
    // in the order in which the directory is read. Returns 0, or -300 when it cannot be opened.
    int32_t find_dir_file(const char* path, std::vector<std::string>& names);

    // The slots. An entry is called through orval::Backend and never directly: a slot may be empty.
#define ORVAL_SLOT(slot, name, result, arguments) result(*name) arguments;
    ORVAL_BACKEND_ENTRIES(ORVAL_SLOT)
#undef ORVAL_SLOT
    void* handle;
};

static_assert(sizeof(CommonFunction) == (maker::kHandleSlot + 1) * sizeof(void*),
              "a pointer-sized slot for each entry, one for the handle, and nothing else");
static_assert(offsetof(CommonFunction, handle) == maker::kHandleSlot * sizeof(void*),
              "the handle stands behind the entries");
#define ORVAL_SLOT_POSITION(slot, name, result, arguments)                  \
    static_assert(offsetof(CommonFunction, name) == (slot) * sizeof(void*), \
                  #name " is slot " #slot);
ORVAL_BACKEND_ENTRIES(ORVAL_SLOT_POSITION)
#undef ORVAL_SLOT_POSITION

__attribute__((visibility("default"))) extern CommonFunction ORVAL_ComFunc;

#endif
