#include "bundle/archive.h"

#include <zlib.h>

#include <cstdio>
#include <memory>
#include <numeric>
#include <stdexcept>
#include <string_view>

namespace bundle {
namespace {

constexpr unsigned kOwnerReads = 0600;
constexpr unsigned kOwnerEnters = 0700;
constexpr size_t kBlock = 512;

// Where the fields of a header stand (IEEE Std 1003.1, pax, "ustar Interchange Format").
struct Field {
    size_t offset;
    size_t size;
};
constexpr Field kName = {0, 100};
constexpr Field kMode = {100, 8};
constexpr Field kUser = {108, 8};
constexpr Field kGroup = {116, 8};
constexpr Field kSize = {124, 12};
constexpr Field kTime = {136, 12};
constexpr Field kChecksum = {148, 8};
constexpr Field kType = {156, 1};
constexpr Field kMagic = {257, 8};  // and the version

enum class Type : char { kFile = '0', kFolder = '5' };

void Put(std::string& header, Field field, std::string_view text) {
    if (text.size() > field.size) {
        throw std::length_error("a name or number is too long for the archive");
    }
    header.replace(field.offset, text.size(), text);
}

// Octal digits, as many as there is room for in front of a zero byte.
void PutNumber(std::string& header, Field field, uint64_t number) {
    char digits[24];
    const int size =
        std::snprintf(digits, sizeof digits, "%0*llo", static_cast<int>(field.size) - 1,
                      static_cast<unsigned long long>(number));
    Put(header, field, {digits, static_cast<size_t>(size) + 1});
}

// Without the name of a user: who made it is nobody's business.
std::string HeaderOf(const std::string& path, Type type, unsigned mode, size_t size,
                     std::time_t made) {
    std::string header(kBlock, '\0');
    Put(header, kName, path);
    PutNumber(header, kMode, mode);
    PutNumber(header, kUser, 0);
    PutNumber(header, kGroup, 0);
    PutNumber(header, kSize, size);
    PutNumber(header, kTime, static_cast<uint64_t>(made));
    Put(header, kType, {reinterpret_cast<const char*>(&type), 1});
    Put(header, kMagic, {"ustar\00000", kMagic.size});
    // The sum of all bytes, where its own place counts as blanks.
    Put(header, kChecksum, std::string(kChecksum.size, ' '));
    const auto add = [](unsigned sum, char byte) { return sum + static_cast<unsigned char>(byte); };
    PutNumber(header, {kChecksum.offset, kChecksum.size - 1},
              std::accumulate(header.begin(), header.end(), 0U, add));
    return header;
}

std::string Gzipped(std::string& bytes, std::time_t made) {
    constexpr int kGzip = 16;  // in place of zlib's own format
    constexpr int kMemory = 8;
    z_stream stream = {};
    if (deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, MAX_WBITS + kGzip, kMemory,
                     Z_DEFAULT_STRATEGY) != Z_OK) {
        throw std::bad_alloc();
    }
    const std::unique_ptr<z_stream, decltype(&deflateEnd)> end(&stream, deflateEnd);
    gz_header header = {};
    header.time = static_cast<uLong>(made);
    header.os = 3;  // Unix
    deflateSetHeader(&stream, &header);
    std::string zipped(deflateBound(&stream, bytes.size()), '\0');
    stream.next_in = reinterpret_cast<Bytef*>(bytes.data());
    stream.avail_in = static_cast<uInt>(bytes.size());
    stream.next_out = reinterpret_cast<Bytef*>(zipped.data());
    stream.avail_out = static_cast<uInt>(zipped.size());
    if (deflate(&stream, Z_FINISH) != Z_STREAM_END) {
        throw std::runtime_error("the archive cannot be compressed");
    }
    zipped.resize(stream.total_out);
    return zipped;
}

}  // namespace

std::string Archived(const std::string& folder, const std::vector<Part>& parts, std::time_t made) {
    std::string tar = HeaderOf(folder + "/", Type::kFolder, kOwnerEnters, 0, made);
    for (const Part& part : parts) {
        const size_t size = part.contents.size();
        tar += HeaderOf(folder + "/" + part.name, Type::kFile, kOwnerReads, size, made);
        tar += part.contents;
        tar.append((kBlock - size % kBlock) % kBlock, '\0');
    }
    tar.append(2 * kBlock, '\0');
    return Gzipped(tar, made);
}

}  // namespace bundle
