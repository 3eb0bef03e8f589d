#ifndef CODES_FAILURES_H
#define CODES_FAILURES_H

#include "cli/failure.h"
#include "cli/json.h"

namespace codes {

// What scripts get of a failure: the field "error" of a command's object.
cli::Json ErrorJson(const cli::Failure& failure);

}  // namespace codes

#endif
