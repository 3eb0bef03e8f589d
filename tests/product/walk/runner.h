#ifndef ORVAL_TESTS_PRODUCT_WALK_RUNNER_H
#define ORVAL_TESTS_PRODUCT_WALK_RUNNER_H

#include "step.h"

namespace walk {

// Gives a step to the product, with the scripted key below it, and tells what came of it.
Outcome Run(const Step& step);

}  // namespace walk

#endif
