// The parts of a bundle, on logs and findings made by hand.

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>

#include "bundle/html.h"
#include "bundle/log_tail.h"
#include "bundle/page.h"
#include "bundle/privacy.h"
#include "bundle/recording_part.h"
#include "bundle/timeline.h"
#include "logs/scrub.h"
#include "made_log.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

constexpr const char* kSerialNumber = "OR6F1C31D1B4C0A2";

size_t CountOf(const std::string& text, const std::string& what) {
    size_t count = 0;
    for (size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += what.size()) {
        ++count;
    }
    return count;
}

// ------------------------------------------------------------------ html

TEST(BundlePage, TextsAreNoMarkupAndNothingThatABrowserObeys) {
    EXPECT_EQ(bundle::html::Escaped("<script>'a' & \"b\"</script>\x1b\x80"),
              "&lt;script&gt;&#39;a&#39; &amp; &quot;b&quot;&lt;/script&gt;\\x1B\\x80");
}

TEST(BundlePage, CellsOfATableAreEscaped) {
    EXPECT_THAT(bundle::html::Table({"<A>"}, {{{"<b>", "", "<i>"}}}),
                AllOf(HasSubstr("&lt;A&gt;"), HasSubstr("&lt;b&gt;"), HasSubstr("&lt;i&gt;"),
                      Not(HasSubstr("<b>")), Not(HasSubstr("<i>"))));
}

// --------------------------------------------------------------- privacy

class BundlePrivacy : public testing::Test {
 protected:
    BundlePrivacy() { setenv("HOME", "/home/somebody", 1); }

    logs::Masks masks_{logs::Secrets::kMasked};
};

TEST_F(BundlePrivacy, ASerialNumberHasTheMaskThatTheLogGaveIt) {
    logs::Scrubbed(At9("GetPrintNumber", "m_SN: OTHER"), masks_);
    logs::Scrubbed(At9("GetPrintNumber", std::string("m_SN: ") + kSerialNumber), masks_);
    bundle::Privacy privacy(masks_);
    privacy.AddSerialNumber(kSerialNumber);
    EXPECT_EQ(privacy.Masked(std::string(kSerialNumber) + ": \"my " + kSerialNumber + "x\""),
              "SN#2: \"my SN#2x\"");
}

TEST_F(BundlePrivacy, WhatLooksLikeASerialNumberIsMaskedUnknown) {
    const bundle::Privacy privacy(masks_);
    EXPECT_EQ(privacy.Masked("softkey: the key ORB7268C7AA11EEF is damaged"),
              "softkey: the key SN#1 is damaged");
    const char* const shown = "0x0A10000F, 104857600 bytes, UNAUTHENTICATED, 2026-11-22";
    EXPECT_EQ(privacy.Masked(shown), shown);
}

TEST_F(BundlePrivacy, AShortSerialNumberIsMaskedAsAWordOnly) {
    bundle::Privacy privacy(masks_);
    privacy.AddSerialNumber("1");
    EXPECT_EQ(privacy.Masked("1: 100 tries, 1 of them"), "SN#1: 100 tries, SN#1 of them");
}

TEST_F(BundlePrivacy, OneSerialNumberInsideAnotherHidesNoneOfThem) {
    bundle::Privacy privacy(masks_);
    privacy.AddSerialNumber("KEY-12345");
    privacy.AddSerialNumber("KEY-12345-LONG");
    EXPECT_EQ(privacy.Masked("KEY-12345-LONG and KEY-12345"), "SN#1 and SN#2");
}

TEST_F(BundlePrivacy, TheUsersHomeIsNotNamed) {
    const bundle::Privacy privacy(masks_);
    EXPECT_EQ(privacy.Masked("/home/somebody/keys"), "~/keys");
}

// ------------------------------------------------------------------- log

class BundleLog : public testing::Test {
 protected:
    ~BundleLog() override {
        unlink(path_.c_str());
        unlink((path_ + ".link").c_str());
    }

    bundle::LogTail Read(const std::string& log) {
        std::ofstream(path_, std::ios::binary) << log;
        return bundle::ReadLogTail(path_, masks_);
    }

    const std::string path_ = testing::TempDir() + "bundle_log." + std::to_string(getpid());
    logs::Masks masks_{logs::Secrets::kMasked};
};

TEST_F(BundleLog, OfALongLogTheEndIsTakenFromARecordOn) {
    std::string log;
    while (log.size() < (3U << 20U)) {
        log += At9("TestInitUKey", "End G_LastError: 0A000024");
    }
    const bundle::LogTail tail = Read(log);
    EXPECT_EQ(tail.size, log.size());
    EXPECT_THAT(tail.text, StartsWith("[21,09:00:00.000] TestInitUKey: "));
    EXPECT_LT(tail.text.size(), 1U << 20U);
    EXPECT_GT(tail.text.size(), (1U << 20U) - 200);
    EXPECT_EQ(tail.summary.damaged_bytes, 0U);
    EXPECT_THAT(tail.last, SizeIs(40));
}

TEST_F(BundleLog, NothingThatIsMaskedIsInWhatItTells) {
    const bundle::LogTail tail = Read(At9("GetPrintNumber", "Begin pnSNLen = 00000020") +
                                      At9("GetPrintNumber", std::string("m_SN: ") + kSerialNumber) +
                                      At9("GetPrintNumber", "End G_LastError: 0A000024") +
                                      "planted damage\r\n" + At9("Unheard", "planted text"));
    std::string told = tail.text;
    for (const logs::Call& call : tail.last) {
        told += call.function;
        for (const logs::Detail& detail : call.details) {
            told += " " + detail.value;
        }
    }
    EXPECT_THAT(told, AllOf(HasSubstr("SN#1"), Not(HasSubstr(kSerialNumber)),
                            Not(HasSubstr("planted")), Not(HasSubstr("Unheard"))));
    EXPECT_EQ(tail.summary.failures, 1U);
    EXPECT_EQ(tail.failed_last.size(), 1U);
}

TEST_F(BundleLog, WhatIsNoFileOfItsOwnIsNotRead) {
    ASSERT_EQ(symlink("/etc/passwd", (path_ + ".link").c_str()), 0);
    EXPECT_EQ(bundle::ReadLogTail(path_ + ".link", masks_).problem, "it is a symbolic link");
    ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
    EXPECT_EQ(bundle::ReadLogTail(path_, masks_).problem, "it is no regular file");
    EXPECT_EQ(bundle::ReadLogTail("/nowhere", masks_).problem, "No such file or directory");
}

// -------------------------------------------------------------- timeline

logs::Call CallAt(int64_t milliseconds, int64_t duration, std::optional<int32_t> code = 0) {
    logs::Call call;
    call.function = "GetPrintNumber";
    call.is_begin_known = true;
    call.ending = logs::Ending::kTold;
    call.first = logs::ReadMoment("2026-11-21 09:05") + milliseconds * 1000;
    call.last = call.first + duration * 1000;
    call.code = code;
    return call;
}

TEST(BundleTimeline, EachCallHasABarAndAFailureAShapeOfItsOwn) {
    const std::string drawing =
        bundle::DrawnTimeline({CallAt(0, 5), CallAt(6, 1, 0x0A000024), CallAt(8, 1)});
    EXPECT_EQ(CountOf(drawing, "class=\"bar"), 3U);
    EXPECT_EQ(CountOf(drawing, "class=\"bar failed\""), 1U);
    EXPECT_THAT(drawing, HasSubstr("1 ms, failed 0x0A000024<"));
    EXPECT_THAT(drawing, Not(HasSubstr("class=\"cut\"")));
}

TEST(BundleTimeline, WhereNothingHappenedTimeIsCutAndTheCutSaysHowLong) {
    const std::string drawing = bundle::DrawnTimeline(
        {CallAt(0, 5), CallAt(6, 1), CallAt(7, 1), CallAt(7 + 2 * 3600 * 1000, 4)});
    EXPECT_EQ(CountOf(drawing, "class=\"cut\""), 1U);
    EXPECT_THAT(drawing, HasSubstr(">1 h 59 min<"));
}

TEST(BundleTimeline, WithoutACallThereIsNoDrawing) {
    EXPECT_THAT(bundle::DrawnTimeline({}), IsEmpty());
}

// A browser measures the rest.
TEST(BundleTimeline, CallsAtOneMomentAreDrawn) {
    EXPECT_EQ(CountOf(bundle::DrawnTimeline({CallAt(0, 0), CallAt(0, 0)}), "class=\"bar"), 2U);
}

// ------------------------------------------------------------------ page

bundle::Told ToldOfAnything() {
    bundle::Told told;
    told.name = "ukeyctl-bundle-20261122-100000";
    told.results = {{"key", "label", doctor::Well("SN#1: \"<b>http://label</b>\"")},
                    {"log", "size", doctor::Broken("too large", "delete it")}};
    told.log.last = {CallAt(0, 5, 0x0A000024)};
    told.log.summary.Take(told.log.last.front());
    told.log.failed_last[{"GetPrintNumber", 0x0A000024}] = told.log.last.front().last;
    told.facts = {{"System", "Debian"}};
    told.packages = {{"libc6", "2.36", "amd64"}};
    told.parts = {{"log.txt", "the log", "12345"}};
    return told;
}

TEST(BundlePage, RefersToNothingOutsideAndRunsNothing) {
    std::string page = bundle::Page(ToldOfAnything());
    const std::string label = "&lt;b&gt;http://label&lt;/b&gt;";
    ASSERT_THAT(page, HasSubstr(label));
    page.erase(page.find(label), label.size());
    for (const char* const outside : {"http", "src", "href", "url(", "@import", "<script", "<link",
                                      "<iframe", "<object", "javascript", "onload"}) {
        EXPECT_THAT(page, Not(HasSubstr(outside)));
    }
}

TEST(BundlePage, HasEachFindingFailureVersionAndFile) {
    const std::string page = bundle::Page(ToldOfAnything());
    for (const char* const told :
         {"Not all is well: 1 broken.", "\u2716 broken", "log: size", "too large",
          "Next: delete it", "\u2713 well", "0x0A000024 SAR_PIN_INCORRECT", "2026-11-21 09:05:00",
          "class=\"bar failed\"", "Debian", "2.36", "log.txt", "5 bytes", "What is masked"}) {
        EXPECT_THAT(page, HasSubstr(told));
    }
}

TEST(BundlePage, SaysWhyThereIsNoLog) {
    bundle::Told told = ToldOfAnything();
    told.log = {};
    told.log.problem = "Permission denied";
    EXPECT_THAT(bundle::Page(told),
                AllOf(HasSubstr("cannot be read: Permission denied"),
                      HasSubstr("The log tells of no call."), Not(HasSubstr("<svg"))));
}

// ------------------------------------------------------------- recording

TEST_F(BundlePrivacy, WhatARecordingHasEncodedIsMaskedAndWhatIsMaskedStays) {
    const std::string certificate = "MIIB" + std::string(60, 'Q') + "OR6F==";
    const std::string masked(64, 'x');
    calls::Recording recording;
    recording.header.salt = calls::CommonSalt();
    calls::Call call;
    call.given = {{"serial_number", "abcdefghijklmnop"}, {"certificate", certificate}};
    call.taken = {{"request", "-----BEGIN CERTIFICATE-----\nQUJD\n-----END CERTIFICATE-----\n"},
                  {"key", masked},
                  {"name", std::string("CN=") + kSerialNumber}};
    recording.calls = {call};
    const std::string text = bundle::WithoutNames(recording, bundle::Privacy(masks_));
    EXPECT_THAT(text, AllOf(Not(HasSubstr("MIIB")), Not(HasSubstr("QUJD")), HasSubstr(masked),
                            HasSubstr("abcdefghijklmnop"), HasSubstr("CN=SN#1")));
    const calls::Recording read = calls::Read(text);
    ASSERT_THAT(read.calls, SizeIs(1));
    EXPECT_EQ(read.calls[0].given["certificate"].get<std::string>().size(), certificate.size());
}

}  // namespace
