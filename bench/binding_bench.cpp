// Binding the back-end, which stays loaded: what a client pays that finalises and initialises.
#include "families.h"
#include "least/state.h"
#include "orval_unified_kpxukey.h"
#include "rows.h"

void bench::AddBindingRows() {
    Add("binding of 29 entries", kOurs, [](benchmark::State& state) {
        Repeat(state, [] {
            Finalize();
            return Initialize();
        });
    });
    Add("binding of 29 entries", kLimit,
        [](benchmark::State& state) { Repeat(state, least::Bind); });
}
