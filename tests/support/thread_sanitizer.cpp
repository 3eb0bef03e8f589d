// The one race that the interface declares: G_LastError is a plain variable that the wait and the
// stop both write. Nothing else is suppressed.
extern "C" const char* __tsan_default_suppressions();  // NOLINT: the sanitizer's name

extern "C" __attribute__((visibility("default"))) const char* __tsan_default_suppressions() {
    return "race:^G_LastError$\n";
}
