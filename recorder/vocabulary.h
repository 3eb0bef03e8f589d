#ifndef RECORDER_VOCABULARY_H
#define RECORDER_VOCABULARY_H

#include "calls/recording.h"

// What this room says of calls in the words of calls/.
namespace recorder {

using calls::Argument;
using calls::Before;
using calls::Call;
using calls::Function;
using calls::Given;
using calls::Header;
using calls::IsGiven;
using calls::Json;
using calls::kBeginOfWaits;
using calls::kFunctionCount;
using calls::kFunctions;
using calls::Kind;
using calls::kTextOfCode;
using calls::kWait;
using calls::Masker;
using calls::Read;
using calls::Recording;

}  // namespace recorder

#endif
