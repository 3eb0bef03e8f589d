// Calls that carry their arguments through: is the library initialised, are the pointers there, is
// the slot filled, and what has the key answered.
#include "least/calls.h"

namespace least {
namespace {

bool IsBound() {
    return __atomic_load_n(&init_flag, __ATOMIC_ACQUIRE) != 0;
}

// The way of the first call, apart from that of all others: those keep no argument for afterwards.
template <auto kFunction, typename... Arguments>
[[gnu::noinline, gnu::cold]] int32_t AfterBinding(Arguments... arguments) {
    Bind();
    return kFunction(arguments...);
}

}  // namespace

int32_t VerifyPIN(const char* serial_number) {
    if (!IsBound()) {
        return AfterBinding<&VerifyPIN>(serial_number);
    }
    return Finish(CallEntry(table.VerifyPIN, serial_number));
}

int32_t SetLabel(const char* serial_number, const char* label) {
    if (!IsBound()) {
        return AfterBinding<&SetLabel>(serial_number, label);
    }
    if (serial_number == nullptr || label == nullptr) {
        return Finish(-401);
    }
    return Finish(CallEntry(table.SetLabel, serial_number, label));
}

int32_t DelCertAndTempKey(const char* serial_number, int32_t param1, int32_t param2) {
    if (!IsBound()) {
        return AfterBinding<&DelCertAndTempKey>(serial_number, param1, param2);
    }
    return Finish(CallEntry(table.DelCertAndTempKey, serial_number, param1, param2));
}

int32_t GetCertInfo(const char* serial_number, intptr_t selector, void* info, int32_t* length) {
    if (!IsBound()) {
        return AfterBinding<&GetCertInfo>(serial_number, selector, info, length);
    }
    if (length == nullptr || info == nullptr) {
        return Finish(-401);
    }
    return Finish(CallEntry(table.GetCertInfo_UOS, serial_number, selector, info, length));
}

int32_t BatchSign(int32_t flags, const char* serial_number, int32_t param3, int32_t param4,
                  const char* text, const void* param6, int64_t param7, int32_t param8,
                  int32_t param9, const char* batch, int32_t param11, char* output,
                  int32_t* length) {
    if (!IsBound()) {
        return AfterBinding<&BatchSign>(flags, serial_number, param3, param4, text, param6, param7,
                                        param8, param9, batch, param11, output, length);
    }
    if (length == nullptr || output == nullptr) {
        return Finish(-401);
    }
    if ((flags & 1) != 0 && (serial_number == nullptr || param6 == nullptr || text == nullptr)) {
        return Finish(-401);
    }
    return Finish(CallEntry(table.Batch_Sign, flags, serial_number, param3, param4, text, param6,
                            param7, param8, param9, batch, param11, output, length));
}

}  // namespace least
