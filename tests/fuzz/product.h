#ifndef ORVAL_TESTS_FUZZ_PRODUCT_H
#define ORVAL_TESTS_FUZZ_PRODUCT_H

#include <string>

#include "model.h"
#include "step.h"

// The product as targets drive it: one process for millions of inputs, each of which must show the
// same again when it is alone.
namespace fuzz {

// Before the first input: a time zone that no record of the log could be in by chance.
void PrepareProduct();

// As when the product was just loaded: nothing bound, nothing remembered, the complete back-end in
// its place.
void BeginAnew();

// A call in the product and in the model; ends the process where the two differ, or where the
// product wrote beyond what the caller told it.
void TakeStep(walk::Model& model, const walk::Step& step);

// A call of the function of that name with nothing but null arguments so far, on a key that agrees
// to everything.
walk::Step CallOf(const char* name);

}  // namespace fuzz

#endif
