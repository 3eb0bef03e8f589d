// The ladder that every exported function climbs, rung by rung: unbound, an argument missing, the
// question for a length, buffers too small, exact and larger, a key that refuses, throws or is not
// there, memory that runs out, and what becomes of the last error and the log on each rung. The
// rows are in functions.h and, for lengths, below; both are data, and what is odd on purpose is in
// the test of its family.
#include <dlfcn.h>
#include <pthread.h>
#include <sys/mman.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <map>
#include <set>
#include <stdexcept>

#include "functions.h"
#include "huge_text.h"
#include "outcome.h"
#include "scarce_memory.h"

namespace {

using namespace scripted;  // NOLINT(google-build-using-namespace)
using testing::ElementsAreArray;

constexpr int32_t kCapacity = 100;
// In the caller's buffer before a call; it ends, because some functions log the buffer as a text.
const std::string kBefore = "what was there before\0"s;
constexpr int32_t kCodes[] = {kKeyRefuses, 1, -1, -404, INT32_MIN, INT32_MAX};

// docs/length-rules.md in figures, row by row: what a function answers when the key delivers this
// text. A bound is answered without the key, and so is the length of a constant text.
enum Answers { kBound, kMeasured };
enum Served { kFresh, kRemembered };  // remembered: fetched after the question for the length
constexpr int32_t kAny = INT32_MIN;   // no capacity is too small
constexpr int32_t kUnchanged = -1;    // the length argument is not written

struct Lengths {
    const char* function;
    std::string text;
    Answers how;
    int32_t answered;   // to a null buffer
    int32_t enough;     // the smallest capacity that is enough
    int32_t too_small;  // reported with -404 for a smaller one
    int32_t reported;
    std::string written;
    Served served = kFresh;
};

// Else its bytes would be printed, padding among them, which nobody wrote.
void PrintTo(const Lengths& lengths, std::ostream* out) {
    *out << lengths.function;
}

const Lengths kLengths[] = {
    {"GetCert", "certificate", kMeasured, 12, 11, 11, 11, "certificate\0"s},
    {"GetCertDN", "CN=A Customer", kMeasured, 14, 13, 13, 13, "CN=A Customer\0"s},
    {"GetLabel", "My key", kMeasured, 7, 6, 6, 6, "My key\0"s},
    {"GetData", "my data", kMeasured, 8, 7, 8, 7, "my data\0"s},
    {"GetErrorMsg", "PIN locked", kBound, 200, 11, 11, 11, "PIN locked\0"s},
    {"GenerateCertRequest", "REQUEST", kMeasured, 8, 7, 8, 7, "REQUEST\0"s, kRemembered},
    {"Batch_InitAndGenerateCertRequest", "REQUEST", kMeasured, 8, 7, 8, 7, "REQUEST\0"s,
     kRemembered},
    {"GenerateCertRequest", "REQUEST", kMeasured, 8, 7, 7, 7, "REQUEST\0"s},
    {"Batch_InitAndGenerateCertRequest", "REQUEST", kMeasured, 8, 7, 7, 7, "REQUEST\0"s},
    {"AsymDec", "plaintext", kBound, 8204, 9, 9, 9, "plaintext\0"s},
    {"Sign", "SIGNATURE", kBound, 8198, kAny, 0, 9, "SIGNATURE\0"s},
    {"SignHash", "SIGNATURE", kBound, 8198, kAny, 0, 9, "SIGNATURE\0"s},
    {"Batch_Sign", "S1||S2||S3", kBound, 12322, kAny, 0, 10, "S1||S2||S3\0"s},
    {"GetPinInfo", "info", kBound, 8, kAny, 0, 4, "info\0"s},
    {"GetCertInfo", "info", kBound, 1280, kAny, 0, 4, "info\0"s},
    {"GetDriverVersion", "9.2025.0731.3", kBound, 13, kAny, 0, 13, "9.2025.0731.3"},
    {"GetDllVersion", "9.2025.0731.3", kBound, 13, kAny, 0, 13, "9.2025.0731.3"},
    {"GetVidAndPid", "1780&0301", kBound, 9, kAny, 0, 9, "1780&0301"},
    {"GetPrintNumber", "SN0123456789", kMeasured, 12, kAny, 0, 12, "SN0123456789\0"s},
    {"GetVendorInfo", "Marlowen Corporation", kBound, 20, kAny, 0, kUnchanged,
     "Marlowen Corporation\0"s},
    {"WaitForKeyEvent", "SN0123456789", kBound, 17, kAny, 0, 12, "SN0123456789\0"s},
};

const Function& FunctionNamed(const std::string& name) {
    return *std::find_if(kFunctions.begin(), kFunctions.end(),
                         [&name](const Function& function) { return function.name == name; });
}

// Null for a function without a length. Requests are fresh ones here.
const Lengths* LengthsOf(const Function& function) {
    for (const Lengths& lengths : kLengths) {
        if (lengths.function == std::string(function.name) && lengths.served == kFresh) {
            return &lengths;
        }
    }
    return nullptr;
}

bool Contains(const std::vector<Part>& parts, Part part) {
    return std::find(parts.begin(), parts.end(), part) != parts.end();
}

// The function delivers a text of the key and counts its characters itself.
bool IsMeasured(const Function& function) {
    return !function.asked.empty() && !function.takes_the_keys_length &&
           !Contains(function.handed_on, kBuffer);
}

std::string Hex(const char* format, int32_t number) {
    char digits[16];
    std::snprintf(digits, sizeof(digits), format, static_cast<unsigned>(number));
    return digits;
}

// A call of a function with its usual arguments, and all that its caller sees of it.
class Call {
 public:
    explicit Call(const Function& function, int32_t capacity = kCapacity)
        : length(capacity), function_(function), capacity_(capacity), arguments(function.usual) {
        kBefore.copy(buffer_, kBefore.size());
        arguments.buffer = buffer_;
        arguments.length = &length;
    }

    Call& Without(Part part) {
        arguments.serial_number = part == kSerialNumber ? nullptr : arguments.serial_number;
        arguments.text = part == kText ? nullptr : arguments.text;
        arguments.other_text = part == kOtherText ? nullptr : arguments.other_text;
        arguments.parameter = part == kParameter ? nullptr : arguments.parameter;
        arguments.buffer = part == kBuffer ? nullptr : arguments.buffer;
        arguments.length = part == kLength ? nullptr : arguments.length;
        return *this;
    }

    int32_t Run() { return function_.call(arguments); }

    // The buffer holds these bytes and what was there behind them.
    testing::AssertionResult Wrote(const std::string& bytes) const {
        return buffer_.Holds(bytes + kBefore.substr(std::min(bytes.size(), kBefore.size())));
    }
    testing::AssertionResult LeftAlone() const {
        if (length != capacity_) {
            return testing::AssertionFailure() << "the length became " << length;
        }
        return Wrote("");
    }
    std::string Bytes() const { return buffer_.Bytes(); }
    // The records of the row for this call, which has ended.
    std::string Log() {
        std::string records;
        for (const Line& line : function_.log) {
            std::string text = line.text;
            const auto fill = [&text](const std::string& mark, const std::string& value) {
                const size_t at = text.find(mark);
                text.replace(at == std::string::npos ? 0 : at,
                             at == std::string::npos ? 0 : mark.size(),
                             at == std::string::npos ? "" : value);
                return at != std::string::npos;
            };
            fill("{code}", Hex("%08X", G_LastError));
            fill("{capacity}", Hex("%08x", capacity_));
            if (fill("{buffer}", static_cast<char*>(buffer_)) && arguments.buffer == nullptr) {
                continue;
            }
            records +=
                line.tag == "szSN:"s ? HexRecord(line.tag, text) : TextRecord(line.tag, text);
        }
        return records;
    }

    int32_t length;

 private:
    const Function& function_;
    int32_t capacity_;
    Canary buffer_{9000};

 public:
    Arguments arguments;
};

// Which part of the call a pointer is; none for what is not the caller's.
std::vector<Part> CallersOwn(const std::vector<const void*>& pointers, const Arguments& a) {
    const std::pair<const void*, Part> parts[] = {
        {a.serial_number, kSerialNumber}, {a.text, kText},     {a.other_text, kOtherText},
        {a.parameter, kParameter},        {a.buffer, kBuffer}, {a.length, kLength}};
    std::vector<Part> own;
    for (const void* pointer : pointers) {
        for (const auto& [argument, part] : parts) {
            if (pointer != nullptr && pointer == argument) {
                own.push_back(part);
            }
        }
    }
    return own;
}

// Where the function has a length, there is a text to deliver.
void Deliver(const Function& function, Outputs& outputs, const std::string& text) {
    if (LengthsOf(function) == nullptr) {
        return;
    }
    // The text of an error stays the key's, and outlives the call.
    static std::string message;
    message = text;
    outputs.message = message.c_str();
    if (outputs.request != nullptr) {
        *outputs.request = NewText(text);
    } else if (outputs.buffer != nullptr) {
        text.copy(outputs.buffer, text.size());
        outputs.buffer[text.size()] = '\0';
    }
    if (outputs.length != nullptr) {
        *outputs.length = static_cast<int32_t>(text.size());
    }
}

// Every entry that the function asks answers with that; `which` counts the calls from 0.
void Answer(const Function& function, const std::function<int32_t(int which, Outputs&)>& answer) {
    const auto which = std::make_shared<int>(0);
    for (const KeyCall& call : function.asked) {
        call.entry.answers(
            [which, answer](Outputs& outputs) { return answer((*which)++, outputs); });
    }
}

// The key succeeds and delivers the text.
void DeliverText(const Function& function, const std::string& text) {
    Answer(function, [&function, text](int, Outputs& outputs) {
        Deliver(function, outputs, text);
        return 0;
    });
    function.prepare();
}

void DeliverTheUsual(const Function& function) {
    const Lengths* lengths = LengthsOf(function);
    DeliverText(function, lengths == nullptr ? "" : lengths->text);
}

std::vector<std::string> AskedUntil(const Function& function, size_t end) {
    std::vector<std::string> calls;
    for (size_t i = 0; i < end; ++i) {
        calls.push_back(function.asked[i].Text());
    }
    return calls;
}

std::vector<std::string> CallsSince(size_t from) {
    const std::vector<std::string> calls = Calls();
    return {calls.begin() + static_cast<std::ptrdiff_t>(from), calls.end()};
}

// The returned and the last code of a call that succeeds.
testing::AssertionResult Succeeds(const Function& function, int32_t result) {
    const int32_t last = function.keeps_last_error ? kEarlierCode : function.success;
    if (result == function.success && G_LastError == last) {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << "returned " << result << " and stored " << G_LastError;
}

// What the last error holds while the key answers the call `which`.
int32_t LastErrorDuring(const Function& function, int which) {
    return which > 0 || function.resets_first ? 0 : kEarlierCode;
}

// Each rung is climbed by the rows that have it.
using Rung = testing::TestWithParam<Function>;
using LengthRung = testing::TestWithParam<Lengths>;

std::vector<Function> Rows(bool (*has)(const Function&)) {
    std::vector<Function> rows;
    std::copy_if(kFunctions.begin(), kFunctions.end(), std::back_inserter(rows), has);
    return rows;
}

std::vector<Lengths> LengthRows(bool (*has)(const Lengths&)) {
    std::vector<Lengths> rows;
    std::copy_if(std::begin(kLengths), std::end(kLengths), std::back_inserter(rows), has);
    return rows;
}

const auto kName = [](const auto& row) { return std::string(row.param.name); };
const auto kNameOfLengths = [](const auto& row) {
    return row.param.function + (row.param.served == kRemembered ? "_remembered"s : ""s);
};

#define CLIMB(rung, ...) INSTANTIATE_TEST_SUITE_P(Ladder, rung, __VA_ARGS__)
#define ROWS(condition) \
    testing::ValuesIn(Rows([](const Function& row) -> bool { return condition; })), kName
#define LENGTHS(condition)                                                               \
    testing::ValuesIn(LengthRows([](const Lengths& row) -> bool { return condition; })), \
        kNameOfLengths

// --- The table itself ----------------------------------------------------------------------------

std::string Path(const char* file) {
    return std::string(ORVAL_SOURCE_DIRECTORY) + "/" + file;
}

// The names in backticks that begin the rows of the page's table; "the same" are those before.
std::vector<std::string> FunctionsOfThePage() {
    std::ifstream page(Path("docs/length-rules.md"));
    std::vector<std::string> all;
    std::vector<std::string> row;
    for (std::string line; std::getline(page, line);) {
        const std::string first = line.substr(0, line.find('|', 1));
        if (line.rfind("| `", 0) == 0) {
            row.clear();
            for (size_t at = first.find('`'); at != std::string::npos;) {
                const size_t end = first.find('`', at + 1);
                row.push_back(first.substr(at + 1, end - at - 1));
                at = first.find('`', end + 1);
            }
        } else if (line.rfind("| the same", 0) != 0) {
            continue;
        }
        all.insert(all.end(), row.begin(), row.end());
    }
    return all;
}

TEST(Ladder, HasTheRowsOfTheLengthRulesInTheirOrder) {
    std::vector<std::string> rows;
    for (const Lengths& lengths : kLengths) {
        rows.emplace_back(lengths.function);
    }
    EXPECT_EQ(rows, FunctionsOfThePage());
}

// What a cell says of a length, in figures for a text of that length; kAny where it says nothing.
int32_t Said(const std::string& cell, const std::string& before, int32_t length) {
    const size_t at = cell.find(before + "L");
    if (at == std::string::npos) {
        return kAny;
    }
    return cell.compare(at + before.size(), 5, "L + 1") == 0 ? length + 1 : length;
}

TEST(Ladder, SaysWhatThePagesCellsSay) {
    std::ifstream page(Path("docs/length-rules.md"));
    auto row = std::begin(kLengths);
    size_t functions = 0;
    for (std::string line; std::getline(page, line);) {
        if (line.rfind("| `", 0) != 0 && line.rfind("| the same", 0) != 0) {
            continue;
        }
        std::vector<std::string> cells;
        for (size_t at = 0; at + 1 < line.size(); at = line.find('|', at + 1)) {
            cells.push_back(line.substr(at + 1, line.find('|', at + 1) - at - 1));
        }
        const auto named = static_cast<size_t>(std::count(cells[0].begin(), cells[0].end(), '`'));
        functions = named == 0 ? functions : named / 2;
        for (size_t i = 0; i < functions && row != std::end(kLengths); ++i, ++row) {
            const auto length = static_cast<int32_t>(row->text.size());
            const std::pair<int32_t, int32_t> pairs[] = {
                {cells[1].rfind(" L", 0) == 0 ? Said(cells[1], " ", length) : kAny, row->answered},
                {Said(cells[2], "reports ", length), row->too_small},
                {Said(cells[3], "reports ", length), row->reported}};
            for (const auto& [said, figure] : pairs) {
                EXPECT_TRUE(said == kAny || said == figure)
                    << row->function << ": the page says " << said << ", the row " << figure;
            }
        }
    }
    EXPECT_EQ(row, std::end(kLengths));
}

TEST(Ladder, HasEveryExportedFunction) {
    std::ifstream symbols(Path("tests/product/api/exported_symbols.txt"));
    std::set<std::string> exported;
    for (std::string line; std::getline(symbols, line);) {
        if (line.rfind("func ", 0) == 0 && line.find("_Z") == std::string::npos) {
            exported.insert(line.substr(line.find_last_of(' ') + 1));
        }
    }
    std::set<std::string> rows = {"Initialize", "Finalize", "GetLastErrCode"};
    for (const Function& function : kFunctions) {
        rows.insert(function.name);
    }
    EXPECT_THAT(rows, testing::ContainerEq(exported));
}

TEST(Ladder, HasTheLengthsOfEveryFunctionThatRequiresALength) {
    for (const Function& function : kFunctions) {
        EXPECT_TRUE(!Contains(function.required, kLength) || LengthsOf(function) != nullptr)
            << function.name << " has no row in docs/length-rules.md";
    }
}

// --- Unbound -------------------------------------------------------------------------------------

using Unbound = Rung;
CLIMB(Unbound, ROWS(row.binding == kBinds));

TEST_P(Unbound, BindsBeforeItLooksAtArguments) {
    DeliverTheUsual(GetParam());
    Call call(GetParam());
    for (const Part part : GetParam().required) {
        call.Without(part);
    }
    EXPECT_EQ(call.Run(), GetParam().required.empty() ? 0 : -401);
    EXPECT_EQ(g_initFlag, 1);
    EXPECT_TRUE(BackendIsLoaded());
}

// Counts how often the back-end is opened.
int CountOpenings(const std::function<void()>& action) {
    int opened = 0;
    Libc().dlopen.replacement = [&opened](const char* path, int mode) {
        opened += path == "/opt/apps/com.kpx.uosorval/files/bin/libOrvalKPX.so"s ? 1 : 0;
        return Libc().dlopen.real(path, mode);
    };
    action();
    Libc().dlopen.replacement = nullptr;
    return opened;
}

TEST_P(Unbound, BindsOnce) {
    DeliverTheUsual(GetParam());
    EXPECT_EQ(CountOpenings([] { Call(GetParam()).Run(); }), 1);
    EXPECT_EQ(CountOpenings([] { Call(GetParam()).Run(); }), 0);
}

TEST_P(Unbound, GoesOnAfterAFailedBindAndTriesAgain) {
    GetParam().prepare();
    RemoveBackend();
    EXPECT_EQ(CountOpenings([] { Call(GetParam()).Run(); }), 1);
    EXPECT_EQ(g_initFlag, 0);
    EXPECT_EQ(CountOpenings([] { Call(GetParam()).Run(); }), 1);
}

using NeverBinding = Rung;
CLIMB(NeverBinding, ROWS(row.binding == kNeverBinds));

TEST_P(NeverBinding, LeavesTheBackendUnbound) {
    G_LastError = kEarlierCode;
    EXPECT_EQ(Call(GetParam()).Run(), GetParam().unbound);
    EXPECT_EQ(g_initFlag, 0);
    EXPECT_FALSE(BackendIsLoaded());
    EXPECT_THAT(Calls(), IsEmpty());
}

// --- Success -------------------------------------------------------------------------------------

using Success = Rung;
CLIMB(Success, ROWS(row.call != nullptr));

TEST_P(Success, AsksTheKeyAndLogsAsTheRowSays) {
    LeaveEarlierCode();
    DeliverTheUsual(GetParam());
    Call call(GetParam());
    EXPECT_TRUE(Succeeds(GetParam(), call.Run()));
    EXPECT_EQ(g_initFlag, 1);
    if (!GetParam().logs_in_its_own_way) {
        EXPECT_THAT(Calls(), ElementsAreArray(AskedUntil(GetParam(), GetParam().asked.size())));
        EXPECT_EQ(LogText(), call.Log());
    }
}

using AskingTheKey = Rung;
CLIMB(AskingTheKey, ROWS(!row.asked.empty()));

TEST_P(AskingTheKey, HandsOnTheCallersOwnArgumentsAndCopiesTheOthers) {
    DeliverTheUsual(GetParam());
    Initialize();
    Call call(GetParam());
    call.Run();
    std::vector<Part> own;
    std::map<std::string, size_t> calls;
    for (const KeyCall& asked : GetParam().asked) {
        const auto of_call = CallersOwn(asked.entry.pointers(calls[asked.name]++), call.arguments);
        own.insert(own.end(), of_call.begin(), of_call.end());
    }
    EXPECT_EQ(own, GetParam().handed_on);
}

TEST_P(AskingTheKey, FindsTheLastErrorAsTheRowSays) {
    LeaveEarlierCode();
    std::vector<int32_t> found;
    std::vector<int32_t> expected;
    Answer(GetParam(), [&](int which, Outputs& outputs) {
        found.push_back(G_LastError);
        expected.push_back(LastErrorDuring(GetParam(), which));
        Deliver(GetParam(), outputs, "");
        return 0;
    });
    EXPECT_TRUE(Succeeds(GetParam(), Call(GetParam()).Run()));
    EXPECT_EQ(found.size(), GetParam().asked.size());
    EXPECT_EQ(found, expected);
}

using Extremes = Rung;
CLIMB(Extremes, ROWS(row.at_the_extremes != nullptr));

TEST_P(Extremes, NumbersReachTheKeyAsTheyAre) {
    LeaveEarlierCode();
    DeliverTheUsual(GetParam());
    Call call(GetParam());
    call.arguments.first = INT32_MIN;
    call.arguments.second = -1;
    call.arguments.third = -401;
    call.arguments.wide = INT64_MIN;
    EXPECT_TRUE(Succeeds(GetParam(), call.Run()));
    KeyCall asked = GetParam().asked.back();
    asked.arguments = GetParam().at_the_extremes;
    EXPECT_EQ(Calls().back(), asked.Text());
}

// --- A null argument -----------------------------------------------------------------------------

using RequiredArgument = Rung;
CLIMB(RequiredArgument, ROWS(!row.required.empty()));

TEST_P(RequiredArgument, NullIsRefused) {
    LeaveEarlierCode();
    for (const Part part : GetParam().required) {
        for (const bool with_buffer : {true, false}) {
            SCOPED_TRACE("without part " + std::to_string(part));
            Call call(GetParam());
            call.Without(part);
            if (!with_buffer) {
                call.Without(kBuffer);
            }
            G_LastError = kEarlierCode;
            EXPECT_TRUE(Gives(call.Run(), -401));
            EXPECT_TRUE(call.LeftAlone());
        }
    }
    EXPECT_THAT(Calls(), IsEmpty());
    if (!GetParam().logs_refused_arguments) {
        EXPECT_EQ(LogText(), "");
    }
}

using OptionalArgument = Rung;
CLIMB(OptionalArgument, ROWS(!row.asked_without.empty()));

TEST_P(OptionalArgument, NullIsTheKeysAffair) {
    LeaveEarlierCode();
    DeliverTheUsual(GetParam());
    EXPECT_TRUE(Gives(Call(GetParam()).Without(GetParam().without).Run(), 0));
    EXPECT_THAT(Calls(), ElementsAreArray(GetParam().asked_without));
}

// --- Lengths -------------------------------------------------------------------------------------

// Asks for the length before a fetch that is served from it, and fetches.
testing::AssertionResult Fetch(const Lengths& row, Call& call, int32_t code) {
    const Function& function = FunctionNamed(row.function);
    if (row.served == kRemembered) {
        Call(function).Without(kBuffer).Run();
    }
    const size_t asked = Calls().size();
    if (row.served == kFresh) {
        G_LastError = kEarlierCode;
    }
    const int32_t result = call.Run();
    if (row.served == kRemembered && Calls().size() != asked) {
        return testing::AssertionFailure() << "the key was asked again";
    }
    return code == 0 ? Succeeds(function, result) : Gives(result, code);
}

void ExpectSuccess(const Lengths& row, int32_t capacity) {
    Call call(FunctionNamed(row.function), capacity);
    EXPECT_TRUE(Fetch(row, call, 0)) << capacity;
    EXPECT_EQ(call.length, row.reported == kUnchanged ? capacity : row.reported) << capacity;
    EXPECT_TRUE(call.Wrote(row.written)) << capacity;
}

void ExpectTooSmall(const Lengths& row, int32_t capacity) {
    Call call(FunctionNamed(row.function), capacity);
    EXPECT_TRUE(Fetch(row, call, -404)) << capacity;
    EXPECT_EQ(call.length, row.too_small) << capacity;
    EXPECT_TRUE(call.Wrote("")) << capacity;
}

void ExpectAnswer(const Lengths& row) {
    const Function& function = FunctionNamed(row.function);
    Call call(function, -7);
    call.Without(kBuffer);
    G_LastError = kEarlierCode;
    EXPECT_TRUE(Succeeds(function, call.Run()));
    EXPECT_EQ(call.length, row.answered);
}

// The row's figures for another text of the key: all but a bound move with its length.
Lengths ForText(Lengths row, const std::string& text) {
    const auto longer = static_cast<int32_t>(text.size()) - static_cast<int32_t>(row.text.size());
    row.answered += row.how == kMeasured ? longer : 0;
    row.enough += row.enough == kAny ? 0 : longer;
    row.too_small += longer;
    row.reported += longer;
    row.written = text + '\0';
    return row;
}

using NullBuffer = LengthRung;
CLIMB(NullBuffer, LENGTHS(row.served == kFresh));

TEST_P(NullBuffer, AsksForTheLength) {
    const Function& function = FunctionNamed(GetParam().function);
    LeaveEarlierCode();
    DeliverTheUsual(function);
    ExpectAnswer(GetParam());
    EXPECT_THAT(Calls(), ElementsAreArray(AskedUntil(
                             function, GetParam().how == kBound ? 0 : function.asked.size())));
    if (!function.logs_in_its_own_way) {
        EXPECT_EQ(LogText(), Call(function, -7).Without(kBuffer).Log());
    }
}

TEST_P(NullBuffer, WithoutABackendABoundIsStillAnswered) {
    const Function& function = FunctionNamed(GetParam().function);
    RemoveBackend();
    Call call(function, -7);
    call.Without(kBuffer);
    EXPECT_EQ(call.Run(), GetParam().how == kBound ? 0 : -101);
    EXPECT_EQ(call.length, GetParam().how == kBound ? GetParam().answered : -7);
    EXPECT_EQ(G_LastError, GetParam().how == kBound && !function.keeps_last_error ? 0 : -101);
}

using TooSmall = LengthRung;
CLIMB(TooSmall, LENGTHS(row.enough != kAny));

TEST_P(TooSmall, IsToldTheRowsLengthAndGetsNothing) {
    LeaveEarlierCode();
    DeliverTheUsual(FunctionNamed(GetParam().function));
    for (const int32_t capacity : {GetParam().enough - 1, 1, 0, -1, INT32_MIN}) {
        ExpectTooSmall(GetParam(), capacity);
    }
}

using LargeEnough = LengthRung;
CLIMB(LargeEnough, LENGTHS(row.answered > 0));

// Clients pass exactly the length that was reported, in a buffer with room for one byte more.
TEST_P(LargeEnough, GetsTheTextAndTheRowsLength) {
    LeaveEarlierCode();
    DeliverTheUsual(FunctionNamed(GetParam().function));
    const int32_t enough = GetParam().enough;
    const std::vector<int32_t> any = {-100, -7, 0, 1, 8, kCapacity, INT32_MAX};
    for (const int32_t capacity :
         enough == kAny ? any : std::vector{enough, enough + 1, kCapacity, INT32_MAX}) {
        ExpectSuccess(GetParam(), capacity);
    }
}

using TextOfTheKey = LengthRung;
CLIMB(TextOfTheKey, LENGTHS(!FunctionNamed(row.function).asked.empty()));

TEST_P(TextOfTheKey, MayBeEmpty) {
    LeaveEarlierCode();
    DeliverText(FunctionNamed(GetParam().function), "");
    const Lengths row = ForText(GetParam(), "");
    ExpectSuccess(row, row.enough == kAny ? 0 : row.enough);
    if (row.enough != kAny) {
        ExpectTooSmall(row, row.enough - 1);
    }
    ExpectAnswer(row);
}

using MeasuredText = LengthRung;
CLIMB(MeasuredText, LENGTHS(IsMeasured(FunctionNamed(row.function))));

TEST_P(MeasuredText, EndsAtItsFirstNul) {
    LeaveEarlierCode();
    DeliverText(FunctionNamed(GetParam().function), "ab\0cd"s);
    const Lengths row = ForText(GetParam(), "ab");
    ExpectSuccess(row, kCapacity);
    ExpectAnswer(row);
}

using LengthOfTheKey = LengthRung;
CLIMB(LengthOfTheKey, LENGTHS(FunctionNamed(row.function).takes_the_keys_length));

// What is written is a text all the same.
TEST_P(LengthOfTheKey, IsReportedWhateverTheTextsLength) {
    const Function& function = FunctionNamed(GetParam().function);
    LeaveEarlierCode();
    const std::pair<std::string, int32_t> cases[] = {
        {"ab\0cd"s, 5}, {"abcdef", 3}, {"ab", -7}, {"ab", INT32_MAX}};
    for (const auto& [text, told] : cases) {
        Answer(function, [&function, &text = text, told = told](int, Outputs& outputs) {
            Deliver(function, outputs, text);
            *outputs.length = told;
            return 0;
        });
        Lengths row = GetParam();
        row.reported = row.too_small = told;
        row.written = text.c_str() + "\0"s;
        ExpectSuccess(row, told);
        if (row.enough != kAny) {
            ExpectTooSmall(row, told - 1);
        }
        if (row.how == kMeasured) {
            row.answered = told == INT32_MAX ? INT32_MIN : told + 1;
            ExpectAnswer(row);
        }
    }
}

TEST_P(LengthOfTheKey, StaysTheOneHandedOverWhereTheKeySetsNone) {
    const Function& function = FunctionNamed(GetParam().function);
    LeaveEarlierCode();
    Answer(function, [&function](int, Outputs& outputs) {
        outputs.length = nullptr;
        Deliver(function, outputs, "text");
        return 0;
    });
    const auto room = static_cast<int32_t>(function.room);
    Lengths row = GetParam();
    row.too_small = room;
    row.reported = Contains(function.handed_on, kLength) ? kUnchanged : room;
    row.written = "text\0"s;
    ExpectSuccess(row, room);
    if (row.enough != kAny) {
        ExpectTooSmall(row, room - 1);
    }
}

using BufferOfItsOwn = LengthRung;
CLIMB(BufferOfItsOwn, LENGTHS(FunctionNamed(row.function).room != 0));

TEST_P(BufferOfItsOwn, EndsTheTextThatFillsIt) {
    const Function& function = FunctionNamed(GetParam().function);
    const std::string text(function.room, 'F');
    LeaveEarlierCode();
    Answer(function, [&text](int, Outputs& outputs) {
        text.copy(outputs.buffer, text.size());
        if (outputs.length != nullptr) {
            *outputs.length = static_cast<int32_t>(text.size());
        }
        return 0;
    });
    const Lengths row = ForText(GetParam(), text);
    ExpectSuccess(row, row.enough == kAny ? 0 : row.enough);
}

TEST_P(BufferOfItsOwn, IsClearForEveryCall) {
    const Function& function = FunctionNamed(GetParam().function);
    LeaveEarlierCode();
    DeliverText(function, std::string(function.room - 1, 'F'));
    Call(function).Run();
    Call(function).Run();
    EXPECT_EQ(Calls().at(1), function.asked[0].Text());
}

// --- Estimates -----------------------------------------------------------------------------------

using Estimate = Rung;
CLIMB(Estimate, ROWS(row.estimates));

TEST_P(Estimate, GrowsWithTheText) {
    const std::string long_text(1000, 'd');
    const std::pair<const char*, int32_t> estimates[] = {
        {"", 8192}, {"abc", 8198}, {"a\r\nb\r\n", 8204}, {long_text.c_str(), 10192}};
    for (const auto& [text, estimate] : estimates) {
        Call call(GetParam());
        call.arguments.text = text;
        EXPECT_TRUE(Gives(call.Without(kBuffer).Run(), 0));
        EXPECT_EQ(call.length, estimate);
    }
    EXPECT_THAT(Calls(), IsEmpty());
}

TEST_P(Estimate, WrapsAroundIn32Bits) {
    const HugeText text(kOneGibibyte);
    Call call(GetParam());
    call.arguments.text = text.Text();
    EXPECT_TRUE(Gives(call.Without(kBuffer).Run(), 0));
    EXPECT_EQ(call.length, INT32_MIN + 8192);
}

using EstimatedBuffer = Rung;
CLIMB(EstimatedBuffer, ROWS(row.estimates&& row.room != 0));

TEST_P(EstimatedBuffer, OfANegativeSizeCannotBeHad) {
    const HugeText text(kOneGibibyte);
    Call call(GetParam());
    call.arguments.text = text.Text();
    EXPECT_THROW(call.Run(), std::bad_alloc);
    EXPECT_THAT(Calls(), IsEmpty());
    EXPECT_TRUE(call.LeftAlone());
}

TEST_P(EstimatedBuffer, WithoutMemoryLeavesAsTheStandardError) {
    LeaveEarlierCode();
    Call call(GetParam());
    const ScarceMemory arrays(kArrays, {1});
    EXPECT_THROW(call.Run(), std::bad_alloc);
    EXPECT_EQ(G_LastError, 0);
    EXPECT_THAT(Calls(), IsEmpty());
    EXPECT_TRUE(call.LeftAlone());
}

// --- A key that refuses, throws, or is not there -------------------------------------------------

// The entry that returns a text has no code to refuse with.
using RefusingKey = Rung;
CLIMB(RefusingKey, ROWS(!row.asked.empty() && row.name != "GetErrorMsg"s));

TEST_P(RefusingKey, EndsTheCallWithItsCode) {
    LeaveEarlierCode();
    std::string log;
    for (size_t refused = 0; refused < GetParam().asked.size(); ++refused) {
        for (const int32_t code : kCodes) {
            Answer(GetParam(), [&](size_t which, Outputs& outputs) {
                Deliver(GetParam(), outputs, "half");
                return which == refused ? code : 0;
            });
            const size_t before = Calls().size();
            Call call(GetParam());
            EXPECT_TRUE(Gives(call.Run(), code));
            EXPECT_THAT(CallsSince(before), ElementsAreArray(AskedUntil(GetParam(), refused + 1)));
            // What is handed on is the key's to write.
            const bool last = refused + 1 == GetParam().asked.size();
            const auto written = [&](Part part) {
                return last && Contains(GetParam().handed_on, part);
            };
            EXPECT_EQ(call.length, written(kLength) ? 4 : kCapacity);
            EXPECT_TRUE(call.Wrote(written(kBuffer) ? "half\0"s : ""));
            log += call.Log();
        }
    }
    if (!GetParam().logs_failures_in_its_own_way) {
        EXPECT_EQ(LogText(), log);
    }
}

using RefusedQuestion = LengthRung;
CLIMB(RefusedQuestion, LENGTHS(row.how == kMeasured && row.served == kFresh));

TEST_P(RefusedQuestion, EndsWithTheKeysCode) {
    const Function& function = FunctionNamed(GetParam().function);
    LeaveEarlierCode();
    std::string log;
    for (const int32_t code : kCodes) {
        Answer(function, [&function, code](int, Outputs& outputs) {
            Deliver(function, outputs, "half");
            return code;
        });
        Call call(function);
        EXPECT_TRUE(Gives(call.Without(kBuffer).Run(), code));
        EXPECT_TRUE(call.LeftAlone());
        log += call.Log();
    }
    EXPECT_EQ(LogText(), log);
}

using ThrowingKey = Rung;
CLIMB(ThrowingKey, ROWS(!row.asked.empty()));

TEST_P(ThrowingKey, EndsTheCallWithItsException) {
    LeaveEarlierCode();
    for (size_t throwing = 0; throwing < GetParam().asked.size(); ++throwing) {
        Answer(GetParam(), [&](size_t which, Outputs& outputs) -> int32_t {
            if (which == throwing) {
                throw std::runtime_error("torn out");
            }
            Deliver(GetParam(), outputs, "");
            return 0;
        });
        const size_t before = Calls().size();
        G_LastError = kEarlierCode;
        Call call(GetParam());
        EXPECT_THROW(call.Run(), std::runtime_error);
        EXPECT_EQ(G_LastError, LastErrorDuring(GetParam(), static_cast<int>(throwing)));
        EXPECT_EQ(Calls().size(), before + throwing + 1);
        EXPECT_TRUE(call.LeftAlone());
    }
}

using EmptySlot = Rung;
CLIMB(EmptySlot, ROWS(!row.asked.empty()));

TEST_P(EmptySlot, EndsTheCallUnavailable) {
    const auto& asked = GetParam().asked;
    for (const KeyCall& missing : asked) {
        LeaveEarlierCode();
        DeliverTheUsual(GetParam());
        missing.entry.empty_slot(ORVAL_ComFunc);
        const size_t before = Calls().size();
        Call call(GetParam());
        EXPECT_TRUE(Gives(call.Run(), -101));
        const auto first = std::find_if(asked.begin(), asked.end(), [&missing](const KeyCall& one) {
            return one.name == std::string(missing.name);
        });
        EXPECT_THAT(CallsSince(before),
                    ElementsAreArray(AskedUntil(
                        GetParam(), static_cast<size_t>(std::distance(asked.begin(), first)))));
        EXPECT_TRUE(call.LeftAlone());
    }
}

using MissingBackend = Rung;
CLIMB(MissingBackend, ROWS(!row.asked.empty() && row.binding == kBinds));

TEST_P(MissingBackend, AnswersUnavailable) {
    RemoveBackend();
    Call call(GetParam());
    EXPECT_TRUE(Gives(call.Run(), -101));
    EXPECT_TRUE(call.LeftAlone());
    if (!GetParam().logs_failures_in_its_own_way) {
        EXPECT_EQ(LogText(), call.Log());
    }
}

// Every slot but the last one holds an address in a library that is closed again.
TEST_P(MissingBackend, ThatLacksAnEntryAnswersUnavailable) {
    UseBackendWithout("SetCachePinFlag");
    EXPECT_TRUE(Gives(Call(GetParam()).Run(), -101));
    EXPECT_THAT(Calls(), IsEmpty());
}

// --- Memory --------------------------------------------------------------------------------------

using TextMemory = Rung;
CLIMB(TextMemory, ROWS(row.copies != 0));

// The n-th request fails, for every n until the call succeeds.
TEST_P(TextMemory, ThatRunsOutLeavesAsTheStringLibrarysException) {
    LeaveEarlierCode();
    DeliverTheUsual(GetParam());
    const std::vector<std::string> all = AskedUntil(GetParam(), GetParam().asked.size());
    for (size_t request = 1;; ++request) {
        const ScarceMemory strings(kTexts, {request});
        const size_t before = Calls().size();
        G_LastError = kEarlierCode;
        Call call(GetParam());
        const int32_t raised = RaisedCode([&call] { call.Run(); });
        EXPECT_EQ(strings.LiveBlocks(), 0U);
        std::vector<std::string> calls = CallsSince(before);
        if (!strings.Failed()) {
            EXPECT_EQ(raised, 0);
            EXPECT_EQ(calls, all);
            EXPECT_GT(static_cast<int>(request), GetParam().copies) << "texts were not copied";
            break;
        }
        EXPECT_EQ(raised, QRV::kOutOfMemory);
        EXPECT_TRUE(call.LeftAlone());
        if (GetParam().on_the_way) {
            ASSERT_LE(calls.size(), all.size());
            EXPECT_TRUE(std::equal(calls.begin(), calls.end(), all.begin()));
        } else {
            EXPECT_THAT(calls, IsEmpty());
            EXPECT_EQ(G_LastError, LastErrorDuring(GetParam(), 0));
        }
    }
}

// A way to call a function, which fails or succeeds as it does whatever memory there is.
struct Way {
    const char* name;
    bool (*exists)(const Function&);
    void (*prepare)(const Function&);
    int32_t (*capacity)(const Function&);
    bool has_buffer = true;
};

int32_t Capacity(const Function& /*function*/) {
    return kCapacity;
}

int32_t TooSmallCapacity(const Function& function) {
    return LengthsOf(function)->enough - 1;
}

void Refuse(const Function& function) {
    Answer(function, [](int, Outputs&) { return kKeyRefuses; });
}

// The back-end is loaded anew in the call.
void Unbind(const Function& function) {
    DeliverTheUsual(function);
    Finalize();
    ORVAL_ComFunc.FreeFunc();
}

const Way kWays[] = {
    {"answered", [](const Function&) { return true; }, DeliverTheUsual, Capacity},
    {"asked for the length", [](const Function& row) { return LengthsOf(row) != nullptr; },
     DeliverTheUsual, Capacity, false},
    {"too small",
     [](const Function& row) {
         return LengthsOf(row) != nullptr && LengthsOf(row)->enough != kAny;
     },
     DeliverTheUsual, TooSmallCapacity},
    {"refused by the key",
     [](const Function& row) { return !row.asked.empty() && row.name != "GetErrorMsg"s; }, Refuse,
     Capacity},
    {"not bound yet", [](const Function& row) { return row.binding == kBinds; }, Unbind, Capacity},
};

// All that is seen of a call. Requests that it keeps for later are let go, as a single import does.
struct Seen {
    bool ran_out = false;
    bool failed = false;
    size_t live_blocks = 0;
    int32_t code = 0;
    int32_t last_error = 0;
    int32_t length = 0;
    std::string bytes;
    std::vector<std::string> calls;
    std::string log;
    std::string told_log;  // what the row says of it
};

void LetGo(bool is_unbound) {
    const failing_heap::Pause pause;
    ImportX509Cert("", "");
    if (is_unbound) {
        ORVAL_ComFunc.FreeFunc();
        dlerror();
    }
}

Seen See(const Function& function, const Way& way, Failing failing) {
    Seen seen;
    way.prepare(function);
    G_LastError = kEarlierCode;
    std::remove(scripted::kLogPath);
    const size_t before = Calls().size();
    Call call(function, way.capacity(function));
    if (!way.has_buffer) {
        call.Without(kBuffer);
    }
    const bool is_unbound = way.prepare == Unbind;
    {
        const ScarceMemory memory(EveryKind(), failing);
        seen.ran_out = RunsOutOfMemory([&] { seen.code = call.Run(); });
        seen.failed = memory.Failed();
        const failing_heap::Pause pause;
        seen.last_error = G_LastError;
        seen.calls = CallsSince(before);
        seen.log = LogText();
        seen.told_log = call.Log();
        LetGo(is_unbound);
        seen.live_blocks = memory.LiveBlocks();
    }
    seen.length = call.length;
    seen.bytes = call.Bytes();
    return seen;
}

std::vector<std::string> Records(const std::string& log) {
    std::vector<std::string> records;
    for (size_t begin = 0; begin < log.size();) {
        const size_t end = std::min(log.find("]\r\n", begin), log.size() - 3) + 3;
        records.push_back(log.substr(begin, end - begin));
        begin = end;
    }
    return records;
}

void ExpectSame(const Seen& seen, const Seen& usual) {
    EXPECT_EQ(seen.ran_out, usual.ran_out);
    EXPECT_EQ(seen.code, usual.code);
    EXPECT_EQ(seen.last_error, usual.last_error);
    EXPECT_EQ(seen.length, usual.length);
    EXPECT_TRUE(seen.bytes == usual.bytes);
    EXPECT_EQ(seen.calls, usual.calls);
}

// A record may be missing from the log, and none is there in part.
void ExpectWholeRecords(const Seen& seen, const Seen& usual) {
    const std::vector<std::string> whole = Records(usual.log + seen.told_log);
    for (const std::string& record : Records(seen.log)) {
        EXPECT_TRUE(std::find(whole.begin(), whole.end(), record) != whole.end()) << record;
    }
}

// What a function may answer, beside what it always does, when the C library has no memory.
int32_t CodeForLack(const Function& function, const Way& way) {
    if (function.name == "CheckDriverIntegrity"s) {
        return ORVAL_UNSUPPORTED;
    }
    return way.prepare == Unbind ? ORVAL_BACKEND_UNAVAILABLE : 0;
}

// The functions that have texts or buffers of their own; no exception leaves another one.
bool MayRunOut(const Function& function) {
    return function.copies != 0 || (function.estimates && function.room != 0) ||
           function.name == "CheckDriverIntegrity"s;
}

void ExpectLackIsTold(const Function& function, const Way& way, const Seen& seen,
                      const Seen& usual) {
    EXPECT_EQ(seen.live_blocks, 0U);
    ExpectWholeRecords(seen, usual);
    if (!seen.ran_out && (seen.code == usual.code || function.keeps_last_error)) {
        ExpectSame(seen, usual);
        return;
    }
    EXPECT_EQ(seen.length, way.capacity(function));
    EXPECT_EQ(seen.bytes.compare(0, kBefore.size(), kBefore), 0);
    ASSERT_LE(seen.calls.size(), usual.calls.size());
    EXPECT_TRUE(std::equal(seen.calls.begin(), seen.calls.end(), usual.calls.begin()));
    if (seen.ran_out) {
        EXPECT_TRUE(MayRunOut(function));
        EXPECT_TRUE(seen.last_error == 0 || seen.last_error == kEarlierCode ||
                    seen.last_error == CodeForLack(function, way))
            << seen.last_error;
        return;
    }
    EXPECT_NE(CodeForLack(function, way), 0);
    EXPECT_EQ(seen.code, CodeForLack(function, way));
    EXPECT_EQ(seen.last_error, seen.code);
}

using EveryRequest = Rung;
CLIMB(EveryRequest, testing::ValuesIn(kFunctions), kName);

TEST_P(EveryRequest, ForMemoryMayFailAndTheNextCallWorks) {
    for (const Way& way : kWays) {
        if (!way.exists(GetParam())) {
            continue;
        }
        SCOPED_TRACE(way.name);
        LeaveEarlierCode();
        See(GetParam(), way, {});  // What is asked for once in a process has been asked for.
        const Seen usual = See(GetParam(), way, {});
        ASSERT_EQ(usual.live_blocks, 0U);
        FailEachRequest([&](Failing failing) {
            const Seen seen = See(GetParam(), way, failing);
            ExpectLackIsTold(GetParam(), way, seen, usual);
            const Seen next = See(GetParam(), way, {});
            ExpectSame(next, usual);
            EXPECT_EQ(next.log, usual.log);
            return seen.failed;
        });
    }
}

// --- The stack -----------------------------------------------------------------------------------

// How deep the work goes into the stack of a thread of its own.
size_t StackTakenBy(const std::function<void()>& work) {
    constexpr size_t kSize = size_t{1} << 20U;
    constexpr char kUntouched = '\xA5';
    void* const pages =
        mmap(nullptr, kSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pages == MAP_FAILED) {
        throw std::runtime_error("no stack");
    }
    std::memset(pages, kUntouched, kSize);
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstack(&attributes, pages, kSize);
    struct Thread {
        const std::function<void()>& work;
        const char* bottom;
        size_t taken;
    } thread{work, static_cast<const char*>(pages), 0};
    pthread_t id{};
    const int failed = pthread_create(
        &id, &attributes,
        [](void* argument) -> void* {
            auto& self = *static_cast<Thread*>(argument);
            self.work();
            // Here: a thread that ends gives its stack's pages back.
            const auto* const top = static_cast<const char*>(__builtin_frame_address(0));
            self.taken = static_cast<size_t>(
                top - std::find_if(self.bottom, top, [](char c) { return c != kUntouched; }));
            return nullptr;
        },
        &thread);
    pthread_attr_destroy(&attributes);
    if (failed != 0) {
        throw std::runtime_error("no thread");
    }
    pthread_join(id, nullptr);
    munmap(pages, kSize);
    return thread.taken;
}

// What a sanitizer adds to each frame is no part of it.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kFramesAreLarger = true;
#elif defined(__has_feature)
constexpr bool kFramesAreLarger =
    __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#else
constexpr bool kFramesAreLarger = false;
#endif

// With all that the call needs of others: the loader, which binds at the first call, the C library
// and the scripted key.
constexpr size_t kStackOfACall = size_t{64} << 10U;

using EveryCall = Rung;
CLIMB(EveryCall, testing::ValuesIn(kFunctions), kName);

TEST_P(EveryCall, NeedsLittleStack) {
    if (kFramesAreLarger) {
        GTEST_SKIP() << "the sanitizer enlarges the frames";
    }
    const Function& function = GetParam();
    DeliverTheUsual(function);
    const auto usual = [&] { Call(function).Run(); };
    const auto refused = [&] {
        Answer(function, [](int, Outputs&) { return kKeyRefuses; });
        Call(function).Run();
    };
    const size_t taken[] = {StackTakenBy(usual), StackTakenBy(usual), StackTakenBy(refused)};
    const size_t most = *std::max_element(std::begin(taken), std::end(taken));
    RecordProperty("stack", std::to_string(most));
    EXPECT_LE(most, kStackOfACall);
}

TEST(Stack, IsSeenToItsDepth) {
    if (kFramesAreLarger) {
        GTEST_SKIP() << "the sanitizer enlarges the frames";
    }
    constexpr size_t kFrame = kStackOfACall + 4096;
    EXPECT_GT(StackTakenBy([] {
                  char frame[kFrame];
                  std::memset(frame, 0, sizeof frame);
                  asm volatile("" : : "r"(frame) : "memory");
              }),
              kFrame);
}

}  // namespace
