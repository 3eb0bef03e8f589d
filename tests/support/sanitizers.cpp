// What the sanitizers are told of programs that load the library. They look these up by name.

// The one race that the interface declares: G_LastError is a plain variable that the wait and the
// stop both write. Nothing else is suppressed.
extern "C" const char* __tsan_default_suppressions();  // NOLINT: the sanitizer's name

extern "C" __attribute__((visibility("default"))) const char* __tsan_default_suppressions() {
    return "race:^G_LastError$\n";
}

// A process may have two copies of the library, which share their variables by design.
extern "C" const char* __asan_default_options();  // NOLINT: the sanitizer's name

extern "C" __attribute__((visibility("default"))) const char* __asan_default_options() {
    return "detect_odr_violation=0";
}
