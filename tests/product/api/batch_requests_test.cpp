#include "api_test.h"
#include "outcome.h"
#include "scarce_memory.h"

namespace {

using namespace scripted;       // NOLINT(google-build-using-namespace)
using namespace std::literals;  // NOLINT(google-build-using-namespace)
using testing::ElementsAreArray;

constexpr const char* kSN = "SN0123456789";
constexpr const char* kOneRecord = "CertType(1)KeyType(1)HashType(1)";
constexpr const char* kThreeRecords = "CertType(1)KeyType(1)HashType(1)|CertType(2)|CertType(4)";
constexpr int32_t kCodes[] = {kKeyRefuses, 1, -1, -404, INT32_MIN, INT32_MAX};

const std::string kVerified = "VerifyPIN(\"SN0123456789\")";
const std::string kInitialised = "CustInitCard(\"SN0123456789\", 1, null, 0)";

std::string Created(const std::string& entry) {
    return "GMCreatePKCS10Ex(\"SN0123456789\", {" + entry + "}, &null, 1, null, 0)";
}

std::string BeginRecord(const std::string& serial_number, const std::string& description) {
    return TextRecord("Batch_InitAndGenerateCertRequest",
                      "Begin szSN = " + serial_number + ",requestInfo = " + description);
}

// The arguments that a test does not care about.
struct Request {
    const char* szSN = kSN;
    uint32_t nInitMode = 0;
    const char* szRequestInfo = kOneRecord;
    bool with_length = true;
    int32_t length = 100;
    Canary text{100};

    int32_t Run(bool with_buffer = true) {
        return Batch_InitAndGenerateCertRequest(szSN, nInitMode, szRequestInfo,
                                                with_buffer ? static_cast<char*>(text) : nullptr,
                                                with_length ? &length : nullptr);
    }
    int32_t AskLength() { return Run(false); }
    int32_t RunWithCapacity(int32_t capacity) {
        length = capacity;
        return Run();
    }
};

Request For(const char* description, uint32_t init_mode = 0) {
    Request request;
    request.szRequestInfo = description;
    request.nInitMode = init_mode;
    return request;
}

// Every request is "R1", "R2" and so on, in the order in which the key makes them.
void NumberTheRequests() {
    Key().GMCreatePKCS10Ex.Does([](auto, auto, char** request, auto...) {
        *request = NewText("R" + std::to_string(Key().GMCreatePKCS10Ex.Arguments().size()));
        return 0;
    });
}

// The calls since `from`.
std::vector<std::string> CallsSince(size_t from) {
    const std::vector<std::string> calls = Calls();
    return {calls.begin() + static_cast<std::ptrdiff_t>(from), calls.end()};
}

// ------------------------------------------------------------------------ arguments

TEST(Batch_InitAndGenerateCertRequest, LogsOneBeginRecordAndNoEndRecord) {
    const std::string description = "CertType(1)KeyType(1)|%s%n";
    EXPECT_TRUE(Gives(For("Foo(1)").Run(), -401));
    EXPECT_TRUE(Gives(For(nullptr).Run(), -401));
    EXPECT_TRUE(Gives(For(description.c_str(), 2).AskLength(), -401));
    EXPECT_EQ(LogText(), BeginRecord(kSN, "Foo(1)") + BeginRecord(kSN, "(null)") +
                             BeginRecord(kSN, description));
}

// A null serial number is the key's affair; a copy of it is an empty text.
TEST(Batch_InitAndGenerateCertRequest, PassesANullSerialNumberOn) {
    NumberTheRequests();
    Request request;
    request.szSN = nullptr;
    EXPECT_TRUE(Gives(request.Run(), 0));
    request.nInitMode = 1;
    EXPECT_TRUE(Gives(request.Run(), 0));
    EXPECT_THAT(Calls(), ElementsAre("VerifyPIN(null)",
                                     "GMCreatePKCS10Ex(\"\", {1, 1, 1, 0}, &null, 1, null, 0)",
                                     "CustInitCard(null, 1, null, 0)",
                                     "GMCreatePKCS10Ex(\"\", {1, 1, 1, 0}, &null, 1, null, 0)"));
    EXPECT_EQ(LogText(), BeginRecord("(null)", kOneRecord) + BeginRecord("(null)", kOneRecord));
}

// --------------------------------------------------------------- records and entries

struct Folding {
    const char* description;
    std::vector<std::string> entries;  // those that the key is asked for, in order
};

// Calls with a fresh buffer and compares all calls to the key.
void ExpectEntries(const Folding& folding) {
    SCOPED_TRACE(folding.description);
    const size_t before = Calls().size();
    EXPECT_TRUE(Gives(For(folding.description).Run(), 0));
    std::vector<std::string> expected;
    for (const std::string& entry : folding.entries) {
        if (expected.empty()) {
            expected.push_back(kVerified);
        }
        expected.push_back(Created(entry));
    }
    EXPECT_THAT(CallsSince(before), ElementsAreArray(expected));
}

TEST(Batch_InitAndGenerateCertRequest, EveryRecordBecomesAnEntry) {
    const Folding cases[] = {
        {"CertType(1)KeyType(1)HashType(1)", {"1, 1, 1, 0"}},
        {"HashType(3)KeyType(1)CertType(2)", {"2, 1, 3, 0"}},
        {"certtype(1) keytype(2)\tHASHTYPE(3", {"1, 2, 3, 0"}},
        {"CertType(1)KeyType(1)CertType(2)", {"2, 1, 0, 0"}},
        {"CertType(19)KeyType(1x)", {"1, 1, 0, 0"}},
        {"CertType(x)KeyType(1)", {"72, 1, 0, 0"}},
        {"||CertType(1)KeyType(1)|||", {"1, 1, 0, 0"}},
        {kThreeRecords, {"1, 1, 1, 0", "2, 1, 1, 0", "4, 1, 1, 0"}},
        {"CertType(1)KeyType(1)HashType(1)|HashType(2)", {"1, 1, 1, 0", "1, 1, 2, 0"}},
        {"CertType(1)KeyType(1)|KeyType(3)HashType(9)", {"1, 1, 0, 0", "1, 3, 9, 0"}},
    };
    for (const Folding& one : cases) {
        ExpectEntries(one);
    }
}

// Two records of KeyType 2 of which exactly one has CertType 3 ask for one key pair's certificates.
TEST(Batch_InitAndGenerateCertRequest, PairOfKeyType2BecomesOneMergedEntry) {
    const Folding cases[] = {
        {"CertType(1)KeyType(2)HashType(1)|CertType(3)", {"1, 2, 1, 1"}},
        {"CertType(3)KeyType(2)HashType(5)|CertType(1)", {"1, 2, 5, 1"}},
        // The entry keeps its own hash type.
        {"CertType(1)KeyType(2)HashType(5)|CertType(3)HashType(7)", {"1, 2, 5, 1"}},
        {"CertType(3)KeyType(2)HashType(5)|CertType(1)HashType(7)", {"1, 2, 5, 1"}},
        // The partner is the last entry of KeyType 2, wherever it stands.
        {"CertType(1)KeyType(1)|CertType(1)KeyType(2)|CertType(3)", {"1, 1, 0, 0", "1, 2, 0, 1"}},
        {"CertType(1)KeyType(2)|KeyType(1)|CertType(3)KeyType(2)", {"1, 2, 0, 1", "1, 1, 0, 0"}},
        {"CertType(3)KeyType(2)|CertType(1)KeyType(1)|KeyType(2)", {"1, 2, 0, 1", "1, 1, 0, 0"}},
        {"CertType(1)KeyType(2)|CertType(2)|CertType(3)", {"1, 2, 0, 0", "2, 2, 0, 1"}},
        {"CertType(3)KeyType(2)|CertType(3)|CertType(1)", {"3, 2, 0, 0", "1, 2, 0, 1"}},
    };
    for (const Folding& one : cases) {
        ExpectEntries(one);
    }
}

TEST(Batch_InitAndGenerateCertRequest, OtherPairsOfKeyType2BecomeTwoEntries) {
    const Folding cases[] = {
        {"CertType(3)KeyType(2)|CertType(3)", {"3, 2, 0, 0", "3, 2, 0, 0"}},
        {"CertType(1)KeyType(2)|CertType(2)", {"1, 2, 0, 0", "2, 2, 0, 0"}},
        {"CertType(1)KeyType(2)|HashType(4)", {"1, 2, 0, 0", "1, 2, 4, 0"}},
        {"CertType(1)KeyType(2)|CertType(2)|CertType(4)",
         {"1, 2, 0, 0", "2, 2, 0, 0", "4, 2, 0, 0"}},
    };
    for (const Folding& one : cases) {
        ExpectEntries(one);
    }
}

TEST(Batch_InitAndGenerateCertRequest, TwoEntriesOfCertType3AreJoined) {
    NumberTheRequests();
    Request request = For("CertType(3)KeyType(2)|CertType(3)");
    EXPECT_TRUE(Gives(request.Run(), 0));
    EXPECT_TRUE(request.text.Holds("R1||R2\0"s));
}

// Folding keeps what the pair is judged by, so a third record is compared with the first again.
TEST(Batch_InitAndGenerateCertRequest, AThirdRecordFoldsIntoTheSameEntry) {
    const Folding cases[] = {
        {"CertType(1)KeyType(2)|CertType(3)|CertType(3)", {"1, 2, 0, 1"}},
        {"CertType(3)KeyType(2)|CertType(1)|CertType(2)", {"2, 2, 0, 1"}},
        {"CertType(1)KeyType(2)|CertType(3)|CertType(2)", {"1, 2, 0, 1", "2, 2, 0, 0"}},
        {"CertType(3)KeyType(2)|CertType(1)|CertType(3)", {"1, 2, 0, 1", "3, 2, 0, 0"}},
    };
    for (const Folding& one : cases) {
        ExpectEntries(one);
    }
}

TEST(Batch_InitAndGenerateCertRequest, ACharacterAboveAsciiCountsAsUnsigned) {
    ExpectEntries({"CertType(\xB0)KeyType(\xFF)", {"128, 207, 0, 0"}});
}

TEST(Batch_InitAndGenerateCertRequest, RefusesMalformedDescriptionsBeforeItAsksTheKey) {
    LeaveEarlierCode();
    for (const char* description :
         {"Foo(1)", "CertType(1)Foo(2)", "CertType(1)KeyType(1)|Foo(1)", "CertTyp(1)", "(1)",
          "Cert Type(1)", "CertType(3)", "CertType(3)KeyType(1)", "KeyType(1)CertType(3)",
          "CertType(3)KeyType(2)|KeyType(1)", "CertType(1)KeyType(1)|CertType(3)",
          "CertType(1)|KeyType(1)|CertType(1)|CertType(1)",
          "||CertType(1)||||CertType(1)|CertType"
          "(1)|CertType(1)"}) {
        for (const uint32_t mode : {0u, 1u, 2u}) {
            Request request = For(description, mode);
            G_LastError = kEarlierCode;
            EXPECT_TRUE(Gives(request.Run(), -401)) << description;
            EXPECT_TRUE(Gives(request.AskLength(), -401)) << description;
            EXPECT_EQ(request.length, 100);
            EXPECT_TRUE(request.text.Untouched());
        }
    }
    EXPECT_THAT(Calls(), IsEmpty());
}

// Nothing in the fourth record is looked at, not even a name that would raise an exception.
TEST(Batch_InitAndGenerateCertRequest, RefusesAFourthRecordUnread) {
    const std::string description = kThreeRecords + "|CertType"s;
    EXPECT_EQ(RaisedCode([&] { EXPECT_TRUE(Gives(For(description.c_str()).Run(), -401)); }), 0);
    EXPECT_THAT(Calls(), IsEmpty());
}

TEST(Batch_InitAndGenerateCertRequest, ThreeRecordsAndASeparatorBehindThemAreAccepted) {
    ExpectEntries({"CertType(1)KeyType(1)|CertType(2)|CertType(4)||",
                   {"1, 1, 0, 0", "2, 1, 0, 0", "4, 1, 0, 0"}});
}

TEST(Batch_InitAndGenerateCertRequest, KnownNameWithoutBracketAtARecordsEndRaisesInvalidArgument) {
    LeaveEarlierCode();
    for (const char* description :
         {"CertType(1)HashType", "KeyType", "CertType(1)|KeyType|Foo(1)"}) {
        for (const uint32_t mode : {0u, 1u, 2u}) {
            Request request = For(description, mode);
            EXPECT_EQ(RaisedCode([&] { request.Run(); }), QRV::kInvalidArgument) << description;
            EXPECT_EQ(G_LastError, 0);
            EXPECT_EQ(request.length, 100);
            EXPECT_TRUE(request.text.Untouched());
            EXPECT_EQ(LogText().substr(LogText().size() - BeginRecord(kSN, description).size()),
                      BeginRecord(kSN, description));
        }
    }
    EXPECT_THAT(Calls(), IsEmpty());
}

// ------------------------------------------------------------------------------ mode

TEST(Batch_InitAndGenerateCertRequest, Mode0VerifiesThePinOnceForAllRequests) {
    NumberTheRequests();
    Request request = For(kThreeRecords);
    EXPECT_TRUE(Gives(request.Run(), 0));
    EXPECT_TRUE(request.text.Holds("R1||R2||R3\0"s));
    EXPECT_EQ(request.length, 10);
    EXPECT_THAT(Calls(), ElementsAre(kVerified, Created("1, 1, 1, 0"), Created("2, 1, 1, 0"),
                                     Created("4, 1, 1, 0")));
}

TEST(Batch_InitAndGenerateCertRequest, Mode1FormatsTheKeyAndVerifiesNoPin) {
    LeaveEarlierCode();
    NumberTheRequests();
    const auto during_formatting = NoteLastError(Key().CustInitCard);
    Request request = For(kOneRecord, 1);
    EXPECT_TRUE(Gives(request.Run(), 0));
    EXPECT_TRUE(request.text.Holds("R1\0"s));
    EXPECT_THAT(Calls(), ElementsAre(kInitialised, Created("1, 1, 1, 0")));
    EXPECT_EQ(*during_formatting, 0);
}

TEST(Batch_InitAndGenerateCertRequest, OtherModesAreRefusedAfterADescriptionThatIsWellFormed) {
    LeaveEarlierCode();
    for (const uint32_t mode : {2u, 255u, 256u, 257u, 0x80000000u, 0xFFFFFFFFu}) {
        for (const char* description : {kOneRecord, "", "|||"}) {
            Request request = For(description, mode);
            G_LastError = kEarlierCode;
            EXPECT_TRUE(Gives(request.Run(), -401));
            EXPECT_TRUE(Gives(request.AskLength(), -401));
            EXPECT_EQ(request.length, 100);
            EXPECT_TRUE(request.text.Untouched());
        }
    }
    EXPECT_THAT(Calls(), IsEmpty());
}

TEST(Batch_InitAndGenerateCertRequest, RefusedFormattingEndsTheCall) {
    for (const int32_t code : kCodes) {
        Key().CustInitCard.ReturnsOnce(code);
        Request request = For(kOneRecord, 1);
        EXPECT_TRUE(Gives(request.Run(), code));
        EXPECT_EQ(Calls().back(), kInitialised);
        EXPECT_EQ(request.length, 100);
        EXPECT_TRUE(request.text.Untouched());
    }
}

// The key was formatted; clients are told of the later failure and find an empty key.
TEST(Batch_InitAndGenerateCertRequest, FailureAfterFormattingUndoesNothing) {
    Key().GMCreatePKCS10Ex.Returns(kKeyRefuses);
    EXPECT_TRUE(Gives(For(kOneRecord, 1).Run(), kKeyRefuses));
    EXPECT_THAT(Calls(), ElementsAre(kInitialised, Created("1, 1, 1, 0")));
}

// ------------------------------------------------------------------- entries skipped

TEST(Batch_InitAndGenerateCertRequest, EntriesOfTypesNotAboveZeroAreSkipped) {
    LeaveEarlierCode();
    for (const char* description :
         {"CertType(1)", "KeyType(1)", "HashType(1)", "CertType(0)KeyType(1)",
          "CertType(1)KeyType(0)", "CertType()KeyType(1)", "CertType(1)KeyType( )",
          "CertType(1)KeyType(", "KeyType(2)|CertType(3)"}) {
        Request request = For(description);
        EXPECT_TRUE(Gives(request.Run(), 0)) << description;
        EXPECT_EQ(request.length, 0);
        EXPECT_TRUE(request.text.Holds("\0"s));
    }
    EXPECT_THAT(Calls(), IsEmpty());
}

// The separator goes by the entry and not by what came before it: clients split the text there.
TEST(Batch_InitAndGenerateCertRequest, SkippedFirstEntryLeavesItsSeparatorAndVerifiesNoPin) {
    NumberTheRequests();
    Request request = For("CertType(0)KeyType(1)|CertType(1)KeyType(1)");
    EXPECT_TRUE(Gives(request.Run(), 0));
    EXPECT_TRUE(request.text.Holds("||R1\0"s));
    EXPECT_EQ(request.length, 4);
    EXPECT_THAT(Calls(), ElementsAre(Created("1, 1, 0, 0")));
}

TEST(Batch_InitAndGenerateCertRequest, SkippedEntriesBetweenAndBehindLeaveNoSeparator) {
    NumberTheRequests();
    Request between = For("CertType(1)KeyType(1)|CertType(0)|CertType(4)");
    EXPECT_TRUE(Gives(between.Run(), 0));
    EXPECT_TRUE(between.text.Holds("R1||R2\0"s));
    Request behind = For("CertType(1)KeyType(1)|CertType(0)|KeyType(0)");
    EXPECT_TRUE(Gives(behind.Run(), 0));
    EXPECT_TRUE(behind.text.Holds("R3\0"s));
    Request last_only = For("CertType(0)KeyType(1)|HashType(1)|CertType(4)");
    EXPECT_TRUE(Gives(last_only.Run(), 0));
    EXPECT_TRUE(last_only.text.Holds("||R4\0"s));
}

TEST(Batch_InitAndGenerateCertRequest, EmptyDescriptionMakesNoRequest) {
    LeaveEarlierCode();
    for (const char* description : {"", "|", "|||"}) {
        Request query = For(description);
        EXPECT_TRUE(Gives(query.AskLength(), 0));
        EXPECT_EQ(query.length, 1);
        Request fetch = For(description);
        EXPECT_TRUE(Gives(fetch.RunWithCapacity(0), 0));
        EXPECT_EQ(fetch.length, 0);
        EXPECT_TRUE(fetch.text.Holds("\0"s));
        Request fresh = For(description);
        EXPECT_TRUE(Gives(fresh.RunWithCapacity(-1), -404));
        EXPECT_EQ(fresh.length, 0);
    }
    EXPECT_THAT(Calls(), IsEmpty());
}

TEST(Batch_InitAndGenerateCertRequest, EmptyDescriptionStillFormatsTheKey) {
    Request request = For("|||", 1);
    EXPECT_TRUE(Gives(request.AskLength(), 0));
    EXPECT_EQ(request.length, 1);
    EXPECT_THAT(Calls(), ElementsAre(kInitialised));
}

// -------------------------------------------------------------- the key's own failures

TEST(Batch_InitAndGenerateCertRequest, RefusedRequestDiscardsTheOnesBefore) {
    for (const int32_t code : kCodes) {
        const size_t before = Calls().size();
        Key().GMCreatePKCS10Ex.HandsOverOnce("R1");
        Key().GMCreatePKCS10Ex.HandsOverOnce("half", code);
        Request request = For(kThreeRecords);
        EXPECT_TRUE(Gives(request.Run(), code));
        EXPECT_THAT(CallsSince(before),
                    ElementsAre(kVerified, Created("1, 1, 1, 0"), Created("2, 1, 1, 0")));
        EXPECT_EQ(request.length, 100);
        EXPECT_TRUE(request.text.Untouched());
    }
}

TEST(Batch_InitAndGenerateCertRequest, RequestThatIsNotHandedOverCountsAsEmpty) {
    Request request = For(kThreeRecords);
    EXPECT_TRUE(Gives(request.Run(), 0));
    EXPECT_TRUE(request.text.Holds("||||\0"s));
}

TEST(Batch_InitAndGenerateCertRequest, RequestsAreNotLookedInto) {
    Key().GMCreatePKCS10Ex.HandsOver("a||b\r\n,%s");
    Request request = For("CertType(1)KeyType(1)|HashType(1)");
    EXPECT_TRUE(Gives(request.Run(), 0));
    EXPECT_TRUE(request.text.Holds("a||b\r\n,%s||a||b\r\n,%s\0"s));
}

TEST(Batch_InitAndGenerateCertRequest, MissingBackendGivesItsCodeWhereTheKeyIsNeeded) {
    RemoveBackend();
    EXPECT_TRUE(Gives(For(kOneRecord, 1).Run(), -101));
    EXPECT_TRUE(Gives(For("").Run(), 0));
    EXPECT_TRUE(Gives(For("Foo(1)").Run(), -401));
}

// ------------------------------------------------------ the code of a pending request

// The code of the call before is not reset on this path: the text is delivered all the same, and a
// client that retries after -404 tells success by the length.
TEST(Batch_InitAndGenerateCertRequest, PendingRequestIsDeliveredWithTheCodeOfTheCallBefore) {
    Key().GMCreatePKCS10Ex.HandsOver("REQUEST");
    EXPECT_TRUE(Gives(Request().AskLength(), 0));
    Request request;
    EXPECT_TRUE(Gives(request.RunWithCapacity(6), -404));
    EXPECT_TRUE(Gives(request.Run(), -404));
    EXPECT_EQ(request.length, 7);
    EXPECT_TRUE(request.text.Holds("REQUEST\0"s));

    EXPECT_TRUE(Gives(Request().AskLength(), 0));
    G_LastError = kEarlierCode;
    Request after_failure;
    EXPECT_TRUE(Gives(after_failure.Run(), kEarlierCode));
    EXPECT_TRUE(after_failure.text.Holds("REQUEST\0"s));
}

TEST(Batch_InitAndGenerateCertRequest, LazyInitialisationGivesAPendingRequestACleanCode) {
    NumberTheRequests();
    EXPECT_TRUE(Gives(Request().AskLength(), 0));
    Finalize();
    G_LastError = kEarlierCode;
    Request request;
    EXPECT_TRUE(Gives(request.Run(), 0));
    EXPECT_TRUE(request.text.Holds("R1\0"s));
}

// The mode belongs to the work, and a pending request needs none.
TEST(Batch_InitAndGenerateCertRequest, PendingRequestIsDeliveredInAnyMode) {
    NumberTheRequests();
    for (const uint32_t mode : {0u, 1u, 2u, 0xFFFFFFFFu}) {
        EXPECT_TRUE(Gives(Request().AskLength(), 0));
        const size_t before = Calls().size();
        Request fetch = For(kOneRecord, mode);
        EXPECT_TRUE(Gives(fetch.Run(), 0));
        EXPECT_EQ(fetch.length, 2);
        EXPECT_THAT(CallsSince(before), IsEmpty());
    }
}

}  // namespace
