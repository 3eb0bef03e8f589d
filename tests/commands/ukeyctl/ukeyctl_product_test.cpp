// The command over the product itself, with the scripted key behind it.

#include "api_test.h"
#include "command.h"

namespace {

using testing::HasSubstr;

constexpr const char* kSerialNumber = "SN0123456789";

Command Ukeyctl(std::vector<std::string> words) {
    Command command(std::move(words));
    command.With("ORVAL_LIBRARY", PRODUCT_PATH);
    return command;
}

TEST(UkeyctlOnProduct, InfoShowsTheFixedTexts) {
    const nlohmann::json info = Ukeyctl({"info", "--json"}).Run().Json();
    EXPECT_EQ(info["driver_version"], "9.2025.0731.3");
    EXPECT_EQ(info["usb_ids"], "1780&0301");
    EXPECT_EQ(info["vendor"], "Marlowen Corporation");
    EXPECT_EQ(info["vendor_chinese"], "马洛文科技股份有限公司");
}

TEST(UkeyctlOnProduct, FindsTheLibraryBesideItself) {
    const Outcome outcome = Command({"info"}).With("ORVAL_LIBRARY", "").Run();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.out, HasSubstr("9.2025.0731.3"));
}

TEST(UkeyctlOnProduct, MissingBackendIsReported) {
    scripted::RemoveBackend();
    const Outcome outcome = Ukeyctl({"pin", "verify", "--sn", kSerialNumber, "--json"}).Run();
    EXPECT_EQ(outcome.status, 3);
    EXPECT_EQ(outcome.Json()["error"]["name"], "ORVAL_BACKEND_UNAVAILABLE");
    EXPECT_THAT(outcome.err, HasSubstr("install or reinstall the key's software"));
}

TEST(UkeyctlOnProduct, MissingTokenLibraryIsReported) {
    ASSERT_EQ(unlink(maker::kTokenPath), 0);
    const Outcome outcome = Ukeyctl({"info"}).Run();
    EXPECT_EQ(outcome.status, 3);
    EXPECT_THAT(outcome.err, HasSubstr("libR7Token_ORVAL.so"));
}

TEST(UkeyctlOnProduct, MalformedDescriptionIsExplained) {
    // A key has a text for any number, and none that helps here.
    Key().X_ErrorConvert_UOS.Does([](int64_t) { return "Unknown code."; });
    const Outcome outcome =
        Ukeyctl({"request", "--description", "CertType(1)HashType", "--sn", kSerialNumber}).Run();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(
        outcome.err,
        "ukeyctl request: GenerateCertRequest failed\n"
        "  why:  0x80070057 (-2147024809): the library's text handling met a malformed text\n"
        "  next: a record of the description ends in a name without its \"(\": every field is "
        "a name and a digit in parentheses, as in 'CertType(1)KeyType(2)HashType(3)'\n");
}

TEST(UkeyctlOnProduct, CheckLooksAtTheInstallation) {
    EXPECT_EQ(Ukeyctl({"check"}).Run().status, 0);
    EXPECT_EQ(Ukeyctl({"check", "--mode", "2"}).Run().status, 1);
}

// One code of the library stands for all of them.
TEST(UkeyctlOnProduct, CheckTellsApartWhyTheBackendCannotBeUsed) {
    const auto why = [](const nlohmann::json& told) {
        EXPECT_EQ(told["error"]["function"], "Initialize");
        EXPECT_EQ(told["error"]["name"], "ORVAL_BACKEND_UNAVAILABLE");
        return told["error"]["why"].get<std::string>();
    };
    scripted::RemoveBackend();
    EXPECT_THAT(why(Ukeyctl({"check", "--json"}).Run().Json()), HasSubstr("No such file"));
    MakeFile(maker::kBackendPath, "no library");
    EXPECT_THAT(why(Ukeyctl({"check", "--json"}).Run().Json()), HasSubstr("is no library"));
    scripted::UseBackendWithout("GetPinInfo");
    EXPECT_THAT(why(Ukeyctl({"check", "--json"}).Run().Json()),
                HasSubstr("1 of 29 missing: GetPinInfo"));
}

TEST(UkeyctlOnProduct, CheckTellsThatTheTokenLibraryIsMissing) {
    ASSERT_EQ(unlink(maker::kTokenPath), 0);
    const Outcome outcome = Ukeyctl({"check"}).Run();
    EXPECT_EQ(outcome.status, 3);
    EXPECT_THAT(outcome.err, HasSubstr("libR7Token_ORVAL.so: No such file"));
    EXPECT_THAT(outcome.err, HasSubstr("ukeyctl doctor"));
}

}  // namespace
