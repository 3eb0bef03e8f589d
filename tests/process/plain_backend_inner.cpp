// The back-end's own use of an entry that has the name of an exported function: how the name is
// resolved depends on how the back-end was built.
#include <cstdint>

extern "C" int32_t VerifyPIN(const char* serial_number);

extern "C" __attribute__((visibility("default"))) void* plain_inner_callee() {
    return reinterpret_cast<void*>(&VerifyPIN);
}
