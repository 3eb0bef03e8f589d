#ifndef ORVAL_TESTS_SUPPORT_API_TEST_H
#define ORVAL_TESTS_SUPPORT_API_TEST_H

// What a test of the exported functions includes: the C interface and the scripted key. The
// example at the top of scripted_key.h shows a whole test; its names are at hand without a prefix.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "application_directory.h"
#include "canary.h"
#include "libc_hooks.h"
#include "log_file.h"
#include "orval_unified_kpxukey.h"
#include "scripted_key.h"

using scripted::Calls;
using scripted::Canary;
using scripted::HexRecord;
using scripted::Key;
using scripted::Libc;
using scripted::LogText;
using scripted::TextRecord;
using scripted::Token;
using std::literals::string_literals::operator""s;
using testing::ElementsAre;
using testing::IsEmpty;

#endif
