#include "common/commonfunction.h"

#include "common/binding.h"
#include "common/directory.h"
#include "formats/bounded_copy.h"
#include "formats/certificate_package.h"
#include "formats/charset.h"
#include "formats/occurrences.h"
#include "qrv/string.h"

// The exported members. What they do is where the library's own calls find it too.

CommonFunction::CommonFunction() : handle(nullptr) {}

CommonFunction::~CommonFunction() {}

int32_t CommonFunction::init() {
    return orval::BindBackend(*this);
}

int32_t CommonFunction::FreeFunc() {
    return orval::CloseBackend(*this);
}

int32_t CommonFunction::memcpy_s(void* dst, size_t dstSize, const void* src, size_t count) {
    return orval::CopyBounded(dst, dstSize, src, count);
}

int32_t CommonFunction::GetSubStringCount(const std::string& strText, const std::string& strSub) {
    return orval::CountOccurrences(strText, strSub);
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): clients pass a string by value
int32_t CommonFunction::GetBatchCertDataType(QRV::CString text) {
    return static_cast<int32_t>(orval::TypeOfPackage(text));
}

int32_t CommonFunction::MB2MB(uint32_t direction, const char* src, uint32_t srcLen, char** out,
                              uint32_t* outLen) {
    return orval::ConvertCharset(direction, src, srcLen, out, outLen);
}

int32_t CommonFunction::find_dir_file(const char* path, std::vector<std::string>& names) {
    return orval::ListDirectory(path, names);
}
