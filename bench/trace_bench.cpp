// What a client pays while its calls are traced, beside the same calls when nobody listens.
#include <cstdlib>

#include "families.h"
#include "orval_unified_kpxukey.h"
#include "rows.h"

namespace {

// Each measurement says how it is, for they come in any order; all others are not traced.
class Tracing {
 public:
    explicit Tracing(bool on) : is_ready_(!on || Run("softkey trace --on")) {}
    ~Tracing() { Run("softkey trace --off"); }
    Tracing(const Tracing&) = delete;
    Tracing& operator=(const Tracing&) = delete;

    bool IsReady() const { return is_ready_; }

 private:
    static bool Run(const char* command) {
        return std::system((std::string(command) + " >/dev/null").c_str()) == 0;
    }

    bool is_ready_;
};

void Label(benchmark::State& state, bool is_traced) {
    const Tracing tracing(is_traced);
    char serial_number[ORVAL_SERIAL_NUMBER_ROOM] = {};
    int32_t length = sizeof(serial_number);
    int32_t code = GetPrintNumber(serial_number, &length);
    bench::Repeat(state, [&] {
        char label[512];
        int32_t room = sizeof(label);
        return code |= GetLabel(serial_number, label, &room);
    });
    if (code != ORVAL_OK || !tracing.IsReady()) {
        state.SkipWithError("GetLabel or softkey trace failed");
    }
}

}  // namespace

void bench::AddTraceRows() {
    Add("label of a software key, traced", kOurs, Label, true);
    Add("label of a software key, traced", kLimit, Label, false);
}
