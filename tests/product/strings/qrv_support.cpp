#include "qrv_support.h"

#include <gtest/gtest.h>

#include <cstdlib>

// The sanitizers' heaps end the process when they have no memory; the tests want the null pointer.
// The sanitizers look these two up by name, so the names must be visible.
extern "C" {
__attribute__((visibility("default"))) const char* __asan_default_options();  // NOLINT
__attribute__((visibility("default"))) const char* __tsan_default_options();  // NOLINT
const char* __asan_default_options() {
    return "allocator_may_return_null=1";
}
const char* __tsan_default_options() {
    return "allocator_may_return_null=1";
}
}

namespace qrv_test {

bool CountingMemory::Refuses(size_t size) {
    requests_.push_back(size);
    return countdown_.FailsNow() || size > kLargestRequest;
}

void* CountingMemory::Allocate(size_t size) noexcept {
    if (Refuses(size)) {
        return nullptr;
    }
    void* block = std::malloc(size);
    // Fresh memory is not zero: what relies on that shows.
    std::memset(block, 0xA5, size);
    live_.insert(block);
    return block;
}

void CountingMemory::Free(void* block) noexcept {
    freed_.push_back(block);
    EXPECT_EQ(live_.erase(block), 1U) << "given back, but not handed out or given back before";
    std::free(block);
}

void* CountingMemory::Reallocate(void* block, size_t size) noexcept {
    if (Refuses(size)) {
        return nullptr;
    }
    EXPECT_EQ(live_.erase(block), 1U) << "resized, but not handed out or given back before";
    void* resized = std::realloc(block, size);
    live_.insert(resized);
    return resized;
}

size_t CountingMemory::GetSize(void* /*block*/) noexcept {
    return requests_.empty() ? 0 : requests_.back();
}

ExactManager::ExactManager() : nil_{{this, 0, 0, 2}, {}} {}

CBufferData* ExactManager::Allocate(int32_t nLength, int32_t nCharSize) noexcept {
    allocated_.push_back(nLength);
    EXPECT_EQ(nCharSize, 1);
    if (countdown_.FailsNow()) {
        return nullptr;
    }
    const size_t characters = nLength < 0 ? 0 : static_cast<size_t>(nLength) + 1;
    auto* data = static_cast<CBufferData*>(memory_.Allocate(sizeof(CBufferData) + characters));
    if (data != nullptr) {
        *data = CBufferData{this, 0, nLength, 1};
    }
    return data;
}

void ExactManager::Free(CBufferData* data) noexcept {
    memory_.Free(data);
}

CBufferData* ExactManager::Reallocate(CBufferData* data, int32_t nLength,
                                      int32_t nCharSize) noexcept {
    reallocated_.push_back(nLength);
    EXPECT_EQ(nCharSize, 1);
    if (countdown_.FailsNow()) {
        return nullptr;
    }
    auto* resized = static_cast<CBufferData*>(
        memory_.Reallocate(data, sizeof(CBufferData) + static_cast<size_t>(nLength) + 1));
    if (resized != nullptr) {
        resized->capacity = nLength;
    }
    return resized;
}

CBufferData* ExactManager::GetNilBuffer() noexcept {
    ++nil_.header.references;
    return &nil_.header;
}

QRV::IQrvBufferMgr* ExactManager::Clone() noexcept {
    return clone_;
}

int64_t NilReferences(QRV::IQrvBufferMgr* manager) {
    return --manager->GetNilBuffer()->references;
}

CharBuffer MakeBuffer(const std::string& text, QRV::IQrvBufferMgr* manager) {
    return CharBuffer(text.data(), static_cast<int32_t>(text.size()), manager);
}

CString MakeString(const std::string& text) {
    return CString(text.data(), static_cast<int32_t>(text.size()));
}

__attribute__((no_sanitize("undefined"))) void CallSlot(void* object, size_t slot) {
    using Operation = void (*)(void*);
    Operation* table;
    std::memcpy(&table, object, sizeof(table));
    table[slot](object);
}

}  // namespace qrv_test
