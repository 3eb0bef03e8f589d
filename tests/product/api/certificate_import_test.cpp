#include "api_test.h"
#include "cases.h"
#include "common/commonfunction.h"
#include "outcome.h"
#include "qrv/string.h"

// The product exports the larger operations of its strings; the small ones are the client's own.
template class QRV::CSimpleBufferT<char>;

namespace {

using namespace scripted;       // NOLINT(google-build-using-namespace)
using namespace std::literals;  // NOLINT(google-build-using-namespace)
using testing::ElementsAreArray;

constexpr const char* kSN = "SN0123456789";
constexpr int32_t kCodes[] = {kKeyRefuses, 1, -1, -404, INT32_MIN, INT32_MAX};
const std::string kPrefix =
    "00000000000000010000000000000001000000000000000000000000000000000000000000000273";

std::string WriteCall(const std::string& pkcs7) {
    return "GMWritePKCS7(\"" + std::string(kSN) + "\", " + Quoted(pkcs7) + ", \"\")";
}

std::string ImportCall(const std::string& key) {
    const std::string text = key.empty() ? "" : Quoted(key) + " in ";
    return "GMImportPriKey(\"" + std::string(kSN) + "\", " + text + "zeroed[1024], 0)";
}

// The calls since `from`.
std::vector<std::string> CallsSince(size_t from) {
    const std::vector<std::string> calls = Calls();
    return {calls.begin() + static_cast<std::ptrdiff_t>(from), calls.end()};
}

// ------------------------------------------------------------------ ImportX509Cert

TEST(ImportX509Cert, WritesTheTextWithoutCommasAndLineBreaks) {
    const std::pair<std::string, std::string> cases[] = {
        {"MIIBuwYJ", "MIIBuwYJ"},
        {"MII\r\nBuw\r\nYJ\r\n", "MIIBuwYJ"},
        {",,M,I\rI\nB,\r,\n,", "MIIB"},
        {"-- A|B(C)\t ;.--", "-- A|B(C)\t ;.--"},
        {",\r\n", ""},
        {"", ""},
    };
    for (const auto& [given, written] : cases) {
        EXPECT_TRUE(Gives(ImportX509Cert(kSN, given.c_str()), 0));
        EXPECT_EQ(Calls().back(), WriteCall(written));
    }
    EXPECT_EQ(Calls().size(), std::size(cases));
    EXPECT_EQ(LogText(), "");
}

TEST(ImportX509Cert, DiscardsWhatTheKeyPutsIntoItsString) {
    Key().GMWritePKCS7.Does([](const char*, char*, QRV::CString& output) {
        output = QRV::CString("something that the key has to say");
        return 0;
    });
    EXPECT_TRUE(Gives(ImportX509Cert(kSN, "MII"), 0));
    EXPECT_TRUE(Gives(ImportX509Cert(kSN, "MII"), 0));
    EXPECT_THAT(Calls(), ElementsAre(WriteCall("MII"), WriteCall("MII")));
}

// --------------------------------------------------------------- ImportEncX509Cert

std::string KeyTextRecord(const std::string& function, const std::string& key) {
    return TextRecord("CKPXUSBKey::" + function + "  strPriKeyTemp:", "strPriKeyTemp:" + key);
}

// Clients that send wrapped certificates rely on either form reaching the key as it does today.
TEST(ImportEncX509Cert, UnlikeImportX509CertKeepsLineBreaksInTheCertificate) {
    EXPECT_TRUE(Gives(ImportX509Cert(kSN, "MII,\r\nBuw\r\n"), 0));
    EXPECT_TRUE(Gives(ImportEncX509Cert(kSN, "MII,\r\nBuw\r\n", "1234"), 0));
    EXPECT_THAT(Calls(),
                ElementsAre(WriteCall("MIIBuw"), ImportCall("1234"), WriteCall("MII\r\nBuw\r\n")));
}

TEST(ImportEncX509Cert, RemovesCommasAndNothingElseFromTheKeyText) {
    const std::pair<std::string, std::string> cases[] = {
        {"1,2,3,4", "1234"},      {",,,", ""},      {"", ""}, {"12\r\n34\n", "12\r\n34\n"},
        {" 1;2|3\t", " 1;2|3\t"}, {"%s%n", "%s%n"},
    };
    std::string log;
    for (const auto& [given, imported] : cases) {
        const size_t before = Calls().size();
        EXPECT_TRUE(Gives(ImportEncX509Cert(kSN, "MII", given.c_str()), 0));
        EXPECT_THAT(CallsSince(before), ElementsAre(ImportCall(imported), WriteCall("MII")));
        log += KeyTextRecord("ImportEncX509Cert", imported);
    }
    EXPECT_EQ(LogText(), log);
}

struct KeyText {
    std::string given;
    std::string imported;
};

std::vector<KeyText> KeyTextsWithAndWithoutPrefix() {
    const std::string almost = kPrefix.substr(0, 79);
    return {
        {kPrefix + "ABCD", "ABCD"},
        {kPrefix, ""},
        {kPrefix + kPrefix + "ABCD", kPrefix + "ABCD"},
        {kPrefix.substr(0, 10) + "," + kPrefix.substr(10) + ",AB,CD", "ABCD"},
        {almost, almost},
        {almost + "4ABCD", almost + "4ABCD"},
        {kPrefix.substr(1) + "ABCD", kPrefix.substr(1) + "ABCD"},
    };
}

TEST(ImportEncX509Cert, DropsTheFixedPrefixOfTheKeyText) {
    for (const KeyText& text : KeyTextsWithAndWithoutPrefix()) {
        EXPECT_TRUE(Gives(ImportEncX509Cert(kSN, "MII", text.given.c_str()), 0));
        EXPECT_THAT(CallsSince(Calls().size() - 2),
                    ElementsAre(ImportCall(text.imported), WriteCall("MII")));
    }
}

// The drop never depends on where the prefix stands; the authorities' texts rely on it.
TEST(ImportEncX509Cert, PrefixFurtherOnStillCostsTheFirst80Characters) {
    const KeyText cases[] = {
        {"XY" + kPrefix + "ABCD", "73ABCD"},
        {std::string(80, 'k') + kPrefix, kPrefix},
        {std::string(100, 'k') + kPrefix + "ABCD", std::string(20, 'k') + kPrefix + "ABCD"},
    };
    for (const KeyText& text : cases) {
        EXPECT_TRUE(Gives(ImportEncX509Cert(kSN, "MII", text.given.c_str()), 0));
        EXPECT_THAT(CallsSince(Calls().size() - 2),
                    ElementsAre(ImportCall(text.imported), WriteCall("MII")));
    }
}

TEST(ImportEncX509Cert, LogsTheKeyTextBeforeThePrefixIsDropped) {
    EXPECT_TRUE(Gives(ImportEncX509Cert(kSN, "MII", (kPrefix + ",ABCD").c_str()), 0));
    EXPECT_EQ(LogText(), KeyTextRecord("ImportEncX509Cert", kPrefix + "ABCD"));
}

TEST(ImportEncX509Cert, TakesAKeyTextOf1023Characters) {
    const std::string longest(1023, 'k');
    for (const std::string& given : {longest, kPrefix + longest, longest + ",,,"}) {
        EXPECT_TRUE(Gives(ImportEncX509Cert(kSN, "MII", given.c_str()), 0));
        EXPECT_THAT(CallsSince(Calls().size() - 2),
                    ElementsAre(ImportCall(longest), WriteCall("MII")));
    }
}

TEST(ImportEncX509Cert, RefusesALongerKeyTextBeforeItAsksTheKey) {
    std::string log;
    for (const std::string& text :
         {std::string(1024, 'k'), std::string(5000, 'k'), kPrefix + std::string(1024, 'k')}) {
        G_LastError = kEarlierCode;
        EXPECT_TRUE(Gives(ImportEncX509Cert(kSN, "MII", text.c_str()), -401));
        log += KeyTextRecord("ImportEncX509Cert", text);
    }
    EXPECT_THAT(Calls(), IsEmpty());
    EXPECT_EQ(LogText(), log);
}

// ------------------------------------------------------------ GetBatchCertDataType

TEST(GetBatchCertDataType, TypesEveryListedText) {
    for (const Case& one : ReadCases("package_types.txt")) {
        const int32_t type = one.text.at(0) - '0';
        const std::string text = one.text.size() > 2 ? one.text.substr(2) : "";
        EXPECT_EQ(ORVAL_ComFunc.GetBatchCertDataType(QRV::CString(text.c_str())), type)
            << "package_types.txt:" << one.line << ": " << text;
    }
}

// A bracket right behind the first character opens an item, unlike one in its place.
TEST(GetBatchCertDataType, NameOfOneLetterIsAnUnknownName) {
    EXPECT_EQ(ORVAL_ComFunc.GetBatchCertDataType(QRV::CString("S(X)")), 1);
    EXPECT_EQ(ORVAL_ComFunc.GetBatchCertDataType(QRV::CString("SignCert(X)|E(Y)")), 1);
}

TEST(GetBatchCertDataType, LeavesTheCallersTextAsItIs) {
    const QRV::CString text("signcert(X)|enccert(Y)");
    EXPECT_EQ(ORVAL_ComFunc.GetBatchCertDataType(text), 3);
    EXPECT_STREQ(text.GetString(), "signcert(X)|enccert(Y)");
}

// As the C library does for a client that has set a Turkish locale.
TEST(GetBatchCertDataType, TypesTheSameInEveryLocale) {
    Libc().toupper.replacement = [](int c) { return c == 'i' ? c : Libc().toupper.real(c); };
    EXPECT_EQ(ORVAL_ComFunc.GetBatchCertDataType(QRV::CString("SIGNCERT(X)")), 3);
    EXPECT_EQ(ORVAL_ComFunc.GetBatchCertDataType(QRV::CString("signcert(X)|ENCPRIKEY(Y)")), 3);
}

TEST(GetBatchCertDataType, TypesTenThousandItems) {
    std::string text = "SignCert(X)";
    for (int i = 0; i < 10000; ++i) {
        text += "|EncCert(Y)";
    }
    EXPECT_EQ(ORVAL_ComFunc.GetBatchCertDataType(QRV::CString(text.c_str())), 3);
    text += "|Foo(Y)";
    EXPECT_EQ(ORVAL_ComFunc.GetBatchCertDataType(QRV::CString(text.c_str())), 1);
}

TEST(GetBatchCertDataType, NeedsNeitherInitialisationNorTheLog) {
    G_LastError = kEarlierCode;
    EXPECT_EQ(ORVAL_ComFunc.GetBatchCertDataType(QRV::CString("Foo(X)")), 1);
    EXPECT_EQ(G_LastError, kEarlierCode);
    EXPECT_EQ(g_initFlag, 0);
    EXPECT_EQ(LogText(), "");
}

// ------------------------------------------------------------ Batch_ImportX509Cert

std::string BeginRecord(const std::string& package) {
    return TextRecord("CKPXUSBKey::Batch_ImportX509Cert", "begin, strP7: " + package);
}

std::string EndRecord(const std::string& name, int32_t code, const std::string& what) {
    return TextRecord(name, "end, err: " + std::to_string(code) + ", Cert " + what + " error.");
}

// The calls that a line of package_imports.txt tells.
std::vector<std::string> ToldCalls(const std::string& told) {
    std::vector<std::string> calls;
    for (size_t at = 0; at < told.size();) {
        const size_t end = std::min(told.find(' ', at), told.size());
        const std::string data = told.substr(at + 2, end - at - 2);
        calls.push_back(told[at] == 'W' ? WriteCall(data) : ImportCall(data));
        at = end + 1;
    }
    return calls;
}

TEST(Batch_ImportX509Cert, ImportsEveryListedPackage) {
    for (const Case& one : ReadCases("package_imports.txt")) {
        SCOPED_TRACE("package_imports.txt:" + std::to_string(one.line) + ": " + one.text);
        const size_t arrow = one.text.rfind(" => ");
        ASSERT_NE(arrow, std::string::npos);
        const std::string told = one.text.substr(arrow + 4);
        const bool refused = told.front() == '-';
        const size_t before = Calls().size();
        G_LastError = kEarlierCode;
        EXPECT_TRUE(Gives(Batch_ImportX509Cert(kSN, one.text.substr(0, arrow).c_str()),
                          refused ? std::stoi(told) : 0));
        EXPECT_THAT(CallsSince(before),
                    ElementsAreArray(refused ? std::vector<std::string>() : ToldCalls(told)));
    }
}

TEST(Batch_ImportX509Cert, LogsLongTextsAndPercentSignsAsTheyAre) {
    const std::string package = "SignCert(%s%n%d" + std::string(20000, 'X') + ")";
    EXPECT_TRUE(Gives(Batch_ImportX509Cert(kSN, package.c_str()), 0));
    EXPECT_EQ(LogText(), BeginRecord(package));
}

TEST(Batch_ImportX509Cert, MalformedPackageLogsItsBeginOnly) {
    LeaveEarlierCode();
    EXPECT_TRUE(Gives(Batch_ImportX509Cert(kSN, "SignCert(X)|Foo(Y)"), -401));
    EXPECT_THAT(Calls(), IsEmpty());
    EXPECT_EQ(LogText(), BeginRecord("SignCert(X)|Foo(Y)"));
}

TEST(Batch_ImportX509Cert, PackageWithoutAFoundItemLogsItsBeginOnly) {
    LeaveEarlierCode();
    EXPECT_TRUE(Gives(Batch_ImportX509Cert(kSN, "sIgNcErT(X)"), -401));
    EXPECT_THAT(Calls(), IsEmpty());
    EXPECT_EQ(LogText(), BeginRecord("sIgNcErT(X)"));
}

// Support reads the record of a single text as "done", not as a failure.
TEST(Batch_ImportX509Cert, SinglePkcs7TextLogsAnErrorRecordEvenOnSuccess) {
    EXPECT_TRUE(Gives(Batch_ImportX509Cert(kSN, "MII,Bu\r\nw"), 0));
    EXPECT_THAT(Calls(), ElementsAre(WriteCall("MIIBuw")));
    EXPECT_EQ(LogText(),
              BeginRecord("MIIBuw") + EndRecord("Batch_ImportX509Cert", 0, "GMWritePKCS7"));
}

TEST(Batch_ImportX509Cert, SinglePkcs7TextPassesTheKeysCodesThrough) {
    std::string log;
    for (const int32_t code : kCodes) {
        Key().GMWritePKCS7.Returns(code);
        EXPECT_TRUE(Gives(Batch_ImportX509Cert(kSN, "MII"), code));
        log += BeginRecord("MII") + EndRecord("Batch_ImportX509Cert", code, "GMWritePKCS7");
    }
    EXPECT_EQ(LogText(), log);
}

TEST(Batch_ImportX509Cert, EmptyTextIsWrittenAsOnePkcs7Text) {
    EXPECT_TRUE(Gives(Batch_ImportX509Cert(kSN, ""), 0));
    EXPECT_THAT(Calls(), ElementsAre(WriteCall("")));
    EXPECT_EQ(LogText(), BeginRecord("") + EndRecord("Batch_ImportX509Cert", 0, "GMWritePKCS7"));
}

TEST(Batch_ImportX509Cert, GivesTheKeyACopyOfTheSerialNumber) {
    EXPECT_TRUE(Gives(Batch_ImportX509Cert(kSN, "SignCert(X)|EncPriKey(Y)|EncCert(Z)"), 0));
    EXPECT_TRUE(Gives(Batch_ImportX509Cert(kSN, "MII"), 0));
    for (const auto& writing : Key().GMWritePKCS7.Arguments()) {
        EXPECT_NE(std::get<0>(writing), kSN);
    }
    EXPECT_NE(std::get<0>(Key().GMImportPriKey.Arguments().at(0)), kSN);
}

TEST(Batch_ImportX509Cert, EveryItemGetsAnEmptyStringToFill) {
    Key().GMWritePKCS7.Does([](const char*, char* text, QRV::CString& output) {
        text[0] = '!';
        output = QRV::CString("something that the key has to say");
        return 0;
    });
    EXPECT_TRUE(Gives(Batch_ImportX509Cert(kSN, "SignCert(X)|SignCert(Y)|EncCert(Z)"), 0));
    EXPECT_THAT(Calls(), ElementsAre(WriteCall("X"), WriteCall("Y"), WriteCall("Z")));
}

TEST(Batch_ImportX509Cert, EveryKeyGetsAClearedBuffer) {
    Key().GMImportPriKey.Does([](const char*, char* text, int32_t) {
        std::memset(text, '!', 1024);
        return 0;
    });
    EXPECT_TRUE(Gives(Batch_ImportX509Cert(kSN, "EncPriKey(1234)|EncPriKey(5)"), 0));
    EXPECT_THAT(Calls(), ElementsAre(ImportCall("1234"), ImportCall("5")));
}

TEST(Batch_ImportX509Cert, FailingSigningCertificateEndsTheImport) {
    const std::string package = "EncCert(Z)|EncPriKey(Y)|SignCert(A)|SignCert(B)|SignCert(C)";
    for (const int32_t code : kCodes) {
        const size_t before = Calls().size();
        const size_t logged = LogText().size();
        Key().GMWritePKCS7.ReturnsOnce(0);
        Key().GMWritePKCS7.ReturnsOnce(code);
        EXPECT_TRUE(Gives(Batch_ImportX509Cert(kSN, package.c_str()), code));
        EXPECT_THAT(CallsSince(before), ElementsAre(WriteCall("A"), WriteCall("B")));
        EXPECT_EQ(LogText().substr(logged),
                  BeginRecord(package) + EndRecord("Batch_ImportX509Cert", code, "GMWritePKCS7"));
    }
}

TEST(Batch_ImportX509Cert, FailingPrivateKeyLeavesTheEncryptionCertificateUnwritten) {
    const std::string package = "SignCert(X)|EncPriKey(Y)|EncPriKey(V)|EncCert(Z)";
    for (const int32_t code : kCodes) {
        const size_t before = Calls().size();
        const size_t logged = LogText().size();
        Key().GMImportPriKey.ReturnsOnce(code);
        EXPECT_TRUE(Gives(Batch_ImportX509Cert(kSN, package.c_str()), code));
        EXPECT_THAT(CallsSince(before), ElementsAre(WriteCall("X"), ImportCall("Y")));
        EXPECT_EQ(LogText().substr(logged),
                  BeginRecord(package) + KeyTextRecord("Batch_ImportX509Cert", "Y") +
                      EndRecord("Batch_ImportX509Cert", code, "GMImportPriKey"));
    }
}

// The one record under this name; support searches for it.
TEST(Batch_ImportX509Cert, FailingEncryptionCertificateIsLoggedUnderAnotherName) {
    const std::string package = "SignCert(X)|EncPriKey(Y)|EncCert(Z)|EncCert(V)";
    for (const int32_t code : kCodes) {
        const size_t before = Calls().size();
        const size_t logged = LogText().size();
        Key().GMWritePKCS7.ReturnsOnce(0);
        Key().GMWritePKCS7.ReturnsOnce(code);
        EXPECT_TRUE(Gives(Batch_ImportX509Cert(kSN, package.c_str()), code));
        EXPECT_THAT(CallsSince(before),
                    ElementsAre(WriteCall("X"), ImportCall("Y"), WriteCall("Z")));
        EXPECT_EQ(LogText().substr(logged),
                  BeginRecord(package) + KeyTextRecord("Batch_ImportX509Cert", "Y") +
                      EndRecord("CGMUsbKeyCommonEx", code, "GMWritePKCS7"));
    }
}

TEST(Batch_ImportX509Cert, DropsTheFixedPrefixOfTheKeyText) {
    for (const KeyText& text : KeyTextsWithAndWithoutPrefix()) {
        EXPECT_TRUE(Gives(Batch_ImportX509Cert(kSN, ("EncPriKey(" + text.given + ")").c_str()), 0));
        EXPECT_EQ(Calls().back(), ImportCall(text.imported));
    }
}

TEST(Batch_ImportX509Cert, PrefixFurtherOnStillCostsTheFirst80Characters) {
    EXPECT_TRUE(Gives(Batch_ImportX509Cert(kSN, ("EncPriKey(XY" + kPrefix + "ABCD)").c_str()), 0));
    EXPECT_THAT(Calls(), ElementsAre(ImportCall("73ABCD")));
}

// A package loses its line breaks first, a single key text keeps them and its prefix with them.
TEST(Batch_ImportX509Cert, UnlikeImportEncX509CertRecognisesAPrefixInLines) {
    const std::string key = kPrefix.substr(0, 40) + "\r\n" + kPrefix.substr(40) + "ABCD";
    EXPECT_TRUE(Gives(Batch_ImportX509Cert(kSN, ("EncPriKey(" + key + ")").c_str()), 0));
    EXPECT_TRUE(Gives(ImportEncX509Cert(kSN, "MII", key.c_str()), 0));
    EXPECT_THAT(Calls(), ElementsAre(ImportCall("ABCD"), ImportCall(key), WriteCall("MII")));
}

TEST(Batch_ImportX509Cert, TakesAKeyTextOf1023Characters) {
    const std::string longest(1023, 'k');
    for (const std::string& given : {longest, kPrefix + longest}) {
        EXPECT_TRUE(Gives(Batch_ImportX509Cert(kSN, ("EncPriKey(" + given + ")").c_str()), 0));
        EXPECT_EQ(Calls().back(), ImportCall(longest));
    }
}

TEST(Batch_ImportX509Cert, LongerKeyTextEndsTheImportBeforeTheKeyIsAskedForIt) {
    for (const std::string& key : {std::string(1024, 'k'), kPrefix + std::string(1024, 'k')}) {
        const size_t before = Calls().size();
        const size_t logged = LogText().size();
        const std::string package =
            "EncCert(Z)|EncPriKey(Y)|EncPriKey(" + key + ")|EncPriKey(V)|SignCert(X)";
        EXPECT_TRUE(Gives(Batch_ImportX509Cert(kSN, package.c_str()), -401));
        EXPECT_THAT(CallsSince(before), ElementsAre(WriteCall("X"), ImportCall("Y")));
        EXPECT_EQ(LogText().substr(logged),
                  BeginRecord(package) + KeyTextRecord("Batch_ImportX509Cert", "Y") +
                      KeyTextRecord("Batch_ImportX509Cert", key) +
                      EndRecord("Batch_ImportX509Cert", -401, "GMImportPriKey"));
    }
}

TEST(Batch_ImportX509Cert, ManyUnclosedItemsComeToAnEnd) {
    std::string package = "EncCert(Z)";
    for (int i = 0; i < 500; ++i) {
        package += "|SignCert(X";
    }
    EXPECT_TRUE(Gives(Batch_ImportX509Cert(kSN, package.c_str()), 0));
    EXPECT_EQ(Key().GMWritePKCS7.Arguments().size(), 501u);
}

}  // namespace
