#ifndef UKEYCTL_KEY_LIST_H
#define UKEYCTL_KEY_LIST_H

#include <vector>

#include "key_choice.h"
#include "report.h"

// Plugged keys as they are reported: with what cannot be told of them, and why.
cli::Table TableOf(const std::vector<LabelledKey>& keys);
void SayWhatIsMissing(Report& report, const std::vector<LabelledKey>& keys);

#endif
