#ifndef UKEYCTL_VERDICT_H
#define UKEYCTL_VERDICT_H

#include <string>

#include "cli/exit_status.h"
#include "lint/request.h"
#include "report.h"

// What the library makes of a text that is about to be handed over, as the command tells it.

const char* NameOf(lint::Verdict verdict);

// Reports the verdict and gives the exit status that goes with it.
cli::ExitStatus Conclude(Report& report, lint::Verdict verdict);

// "FUNCTION asks the key for 2 requests", or "FUNCTION refuses it with -401, ..."
std::string InWords(const char* function, const lint::RequestOutcome& outcome);
// "CertType 1, KeyType 2, HashType 3"
std::string InWords(const lint::Request& request);

#endif
