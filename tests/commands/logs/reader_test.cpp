// Records, out of whatever state a log is in.

#include <gmock/gmock.h>

#include <random>

#include "made_log.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

const std::string kRecord = At9("GetDllVersion", "Begin pnVersionLen = 00000014");

TEST(Reader, TellsARecordsParts) {
    const Told told = Read(MadeRecord("21,09:05:07.042", "VEXA_EVENT_INFO::SLOT_DEVICEARRIVAL  ",
                                      " G_LastError = 0, line = 596", {4242, -7}));
    ASSERT_THAT(told.records, SizeIs(1));
    EXPECT_EQ(told.records[0].name, "VEXA_EVENT_INFO::SLOT_DEVICEARRIVAL  ");
    EXPECT_EQ(told.records[0].text, " G_LastError = 0, line = 596");
    EXPECT_EQ(told.records[0].process, 4242);
    EXPECT_EQ(told.records[0].microsecond, 42000);
    EXPECT_THAT(told.damage, IsEmpty());
}

TEST(Reader, HexRecordsCountMicroseconds) {
    const auto microsecond = [](const std::string& fraction) {
        return Read(MadeRecord("21,09:05:07." + fraction, "szSN:", "4F52"))
            .records.at(0)
            .microsecond;
    };
    EXPECT_EQ(microsecond("042"), 42);
    EXPECT_EQ(microsecond("5000"), 5000);
    EXPECT_EQ(microsecond("123456"), 123456);
}

TEST(Reader, AHeaderKeepsItsBounds) {
    const auto is_record = [](const std::string& time, const std::string& name, Writer by) {
        const Told told = Read(MadeRecord(time, name, "Begin", by));
        return told.records.size() == 1 && told.damage.empty() && told.records[0].name == name;
    };
    for (const char* const time : {"01,00:00:00.000", "31,23:59:60.999", "21,09:05:07.123456"}) {
        EXPECT_TRUE(is_record(time, "InitUKey", {})) << time;
    }
    for (const char* const time :
         {"00,00:00:00.000", "32,00:00:00.000", "21,24:00:00.000", "21,00:60:00.000",
          "21,00:00:61.000", "21,00:00:00.00", "21,00:00:00.1234567", "1,00:00:00.000",
          "021,09:00:00.000", "21,009:00:00.000"}) {
        EXPECT_FALSE(is_record(time, "InitUKey", {})) << time;
    }
    EXPECT_TRUE(is_record("21,09:00:00.000", "A", {}));
    EXPECT_TRUE(is_record("21,09:00:00.000", std::string(78, 'z'), {}));
    EXPECT_FALSE(is_record("21,09:00:00.000", std::string(79, 'z'), {}));
    EXPECT_FALSE(is_record("21,09:00:00.000", "", {}));
    EXPECT_FALSE(is_record("21,09:00:00.000", "a.b", {}));
    EXPECT_TRUE(is_record("21,09:00:00.000", "aAzZ_09", {9999999999, INT32_MAX}));
    EXPECT_TRUE(is_record("21,09:00:00.000", "InitUKey", {-9999999999, INT32_MIN}));
    EXPECT_FALSE(is_record("21,09:00:00.000", "InitUKey", {10000000000, 1}));
    std::string other_thread = kRecord;
    other_thread.replace(other_thread.find("-1215752192"), 11, "2147483648");
    EXPECT_EQ(Read(other_thread).damage.size(), 1U);
}

TEST(Reader, AKeyTextsRecordIsNoHexRecordThoughItsNameEndsInAColon) {
    const Told told =
        Read(At9("CKPXUSBKey::ImportEncX509Cert  strPriKeyTemp:", "strPriKeyTemp:00AB"));
    EXPECT_EQ(told.records.at(0).text, "strPriKeyTemp:00AB");
}

TEST(Reader, AnEmptyTextIsARecord) {
    EXPECT_THAT(Read(At9("szSN:", "") + kRecord).Texts(),
                ElementsAre("", "Begin pnVersionLen = 00000014"));
}

TEST(Reader, AnEmptyLogHoldsNothing) {
    EXPECT_THAT(Read("").records, IsEmpty());
}

TEST(Reader, TextsKeepTheirLineBreaks) {
    const std::string text = "Begin szSN = A\r\nB\n\n,requestInfo = [x]\r\ny]\r\nz";
    const Told told = Read(At9("Batch_InitAndGenerateCertRequest", text) + kRecord);
    EXPECT_THAT(told.Texts(), ElementsAre(text, "Begin pnVersionLen = 00000014"));
    EXPECT_THAT(told.damage, IsEmpty());
}

TEST(Reader, ATextThatLooksLikeAHeaderWithoutItsLineEndIsText) {
    const std::string text = "m_SN: [21,09:05:07.042] GetDllVersion: (Process is 1, thread is 2)";
    EXPECT_THAT(Read(At9("GetPrintNumber", text) + kRecord).records, SizeIs(2));
    EXPECT_EQ(Read(At9("GetPrintNumber", text)).records.at(0).text, text);
}

TEST(Reader, ARecordInsideATextIsToldAndDoubted) {
    const Told told =
        Read(At9("GetPrintNumber", "m_SN: A" + kRecord.substr(0, kRecord.size() - 3)) + kRecord);
    ASSERT_THAT(told.records, SizeIs(3));
    EXPECT_TRUE(told.records[0].is_cut);
    EXPECT_TRUE(told.records[1].is_doubtful);
    EXPECT_FALSE(told.records[2].is_doubtful);
}

TEST(Reader, ARecordBehindACutOneIsFoundWhereverThatIsCut) {
    const std::string cut = At9("GetPrintNumber", "m_SN: OR6F1C31D1B4C0A2");
    for (size_t size = 0; size < cut.size(); ++size) {
        const Told told = Read(cut.substr(0, size) + kRecord + kRecord);
        ASSERT_GE(told.records.size(), 2) << size;
        EXPECT_EQ(told.records.back().text, "Begin pnVersionLen = 00000014") << size;
        EXPECT_EQ(told.records[told.records.size() - 2].offset, size);
    }
}

TEST(Reader, ALogThatBeginsInsideARecordTellsTheNext) {
    for (size_t from = 1; from < kRecord.size(); ++from) {
        const Told told = Read(kRecord.substr(from) + kRecord);
        EXPECT_EQ(told.records.size(), 1) << from;
        EXPECT_EQ(told.damage.size(), 1) << from;
    }
}

TEST(Reader, ALogsCutEndIsTold) {
    const Told told = Read(kRecord + kRecord.substr(0, kRecord.size() - 1));
    ASSERT_THAT(told.records, SizeIs(2));
    EXPECT_TRUE(told.records[1].is_cut);
}

TEST(Reader, DamageBetweenRecordsIsToldWithItsPlace) {
    const Told told = Read(kRecord + "garbage\r\n" + kRecord);
    EXPECT_THAT(told.records, SizeIs(2));
    EXPECT_THAT(told.damage,
                ElementsAre(std::make_pair(uint64_t{kRecord.size()}, std::string("garbage\r\n"))));
}

// The text before may hold anything, but where a line is followed by a text's beginning, that was a
// header.
TEST(Reader, ADamagedHeaderIsNoPartOfTheTextInFrontOfIt) {
    const std::string damaged = "garbage\r\n\t[Begin]\r\n";
    const Told told = Read(At9("GetPrintNumber", "m_SN: A") + damaged + kRecord);
    EXPECT_THAT(told.Texts(), ElementsAre("m_SN: A", "Begin pnVersionLen = 00000014"));
    ASSERT_THAT(told.damage, SizeIs(1));
    EXPECT_EQ(told.damage[0].second, damaged);
}

TEST(Reader, ZeroesOfACrashedDiskAreDamage) {
    const std::string zeroes(300000, '\0');
    const Told told = Read(kRecord + zeroes + kRecord, 4096);
    EXPECT_THAT(told.records, SizeIs(2));
    ASSERT_THAT(told.damage, SizeIs(1));
    EXPECT_EQ(told.damage[0].second.size(), zeroes.size());
}

// The stream's buffer is written when it is full, and another process may come in between.
TEST(Reader, PartsOfALongRecordAreJoinedAroundOthers) {
    const std::string text = "begin, strP7: " + std::string(40000, 'A') + "END";
    const std::string lengthy = At9("CKPXUSBKey::Batch_ImportX509Cert", text);
    const std::string other = At9("GetDllVersion", "Begin pnVersionLen = 00000014", {7, 7});
    const std::string log = lengthy.substr(0, 16384) + other + lengthy.substr(16384, 20000) +
                            other + lengthy.substr(36384) + other;
    for (const size_t part : {size_t{0}, size_t{1000}}) {
        const Told told = Read(log, part);
        ASSERT_THAT(told.records, SizeIs(4));
        EXPECT_EQ(told.records[2].text, text);
        EXPECT_EQ(told.records[2].pieces, 3);
        EXPECT_FALSE(told.records[2].is_cut);
        EXPECT_FALSE(told.records[0].is_doubtful);
        EXPECT_THAT(told.damage, IsEmpty());
    }
}

// The library's buffer is longer: whatever is shorter is written at once, and its end is lost.
TEST(Reader, OnlyALongRecordGoesOnBehindOthers) {
    const std::string other = At9("GetDllVersion", "Begin pnVersionLen = 00000014", {7, 7});
    const std::string lengthy =
        At9("CKPXUSBKey::Batch_ImportX509Cert", "begin, strP7: " + std::string(9000, 'A'));
    const auto cut_at = [&](size_t size) {
        return Read(lengthy.substr(0, size) + other + lengthy.substr(size) + other);
    };
    const Told joined = cut_at(4096);
    ASSERT_THAT(joined.records, SizeIs(3));
    EXPECT_FALSE(joined.records[1].is_cut);
    EXPECT_THAT(joined.damage, IsEmpty());
    const Told lost = cut_at(4095);
    ASSERT_THAT(lost.records, SizeIs(3));
    EXPECT_TRUE(lost.records[0].is_cut);
    EXPECT_THAT(lost.damage, SizeIs(1));
}

TEST(Reader, ALongRecordOfAThreadThatWritesOnIsCut) {
    const std::string lengthy =
        At9("CKPXUSBKey::Batch_ImportX509Cert", "begin, strP7: " + std::string(40000, 'A'));
    const Told told = Read(lengthy.substr(0, 16384) + kRecord + kRecord);
    ASSERT_THAT(told.records, SizeIs(3));
    EXPECT_TRUE(told.records[0].is_cut);
    EXPECT_EQ(told.records[0].offset, 0);
}

TEST(Reader, NothingOfOneFileIsInTheNext) {
    const std::string lengthy =
        At9("CKPXUSBKey::Batch_ImportX509Cert", "begin, strP7: " + std::string(40000, 'A'));
    const std::string other = At9("GetDllVersion", "Begin pnVersionLen = 00000014", {7, 7});
    Told told;
    logs::Reader reader(told);
    reader.Feed(lengthy.substr(0, 16384) + other);
    reader.Finish();
    ASSERT_THAT(told.records, SizeIs(2));
    EXPECT_TRUE(told.records[1].is_cut);
    reader.Feed("garbage\r\n" + kRecord);
    reader.Finish();
    ASSERT_THAT(told.records, SizeIs(3));
    EXPECT_EQ(told.records[2].offset, 9U);
    EXPECT_FALSE(told.records[2].is_doubtful);
    EXPECT_THAT(told.damage, ElementsAre(std::make_pair(uint64_t{0}, std::string("garbage\r\n"))));
    reader.Feed(kRecord.substr(0, kRecord.size() - 1));
    reader.Finish();
    reader.Feed(kRecord);
    reader.Finish();
    ASSERT_THAT(told.records, SizeIs(5));
    EXPECT_TRUE(told.records[3].is_cut);
    EXPECT_FALSE(told.records[4].is_doubtful);
}

TEST(Reader, APauseEndsARecordThatLooksWhole) {
    Told told;
    logs::Reader reader(told);
    reader.Feed(kRecord);
    EXPECT_THAT(told.records, IsEmpty());
    reader.Pause();
    EXPECT_THAT(told.records, SizeIs(1));
    reader.Feed(kRecord.substr(0, 30));
    reader.Pause();
    EXPECT_THAT(told.records, SizeIs(1));
    reader.Feed(kRecord.substr(30));
    reader.Pause();
    EXPECT_THAT(told.records, SizeIs(2));
}

// Records as the library writes them, each with a number of its own by which it is found again.
std::vector<std::string> RandomRecords(std::mt19937& random, size_t count) {
    std::vector<std::string> records;
    for (size_t i = 0; i < count; ++i) {
        const std::string number = std::to_string(100000 + i);
        const Writer by{static_cast<int64_t>(1 + random() % 3), static_cast<int32_t>(random() % 3)};
        const std::string texts[] = {
            At9("Batch_InitAndGenerateCertRequest",
                "Begin szSN = " + number + "\r\nx]\r\ny,requestInfo = (", by),
            At9("GetPrintNumber", "m_SN: " + number, by),
            At9("GetDllVersion", "End G_LastError: 00" + number, by),
            At9("CKPXUSBKey::Batch_ImportX509Cert",
                "begin, strP7: " + number + std::string(random() % 6000, 'A'), by),
            At9("szSN:", number, by)};
        records.push_back(texts[random() % std::size(texts)]);
    }
    return records;
}

std::string Damaged(std::string part, std::mt19937& random) {
    const size_t at = random() % part.size();
    const size_t size = random() % 200;
    switch (random() % 5) {
        case 0:
            return part.erase(at, size);
        case 1:
            part[at] = static_cast<char>(random());
            return part;
        case 2:
            return part.insert(at, std::string(size, "\0]\r\n\t[x"[random() % 7]));
        case 3:
            return part.substr(0, at);
        default:
            return part.insert(at, part.substr(random() % part.size(), size));
    }
}

// A damage ends where an intact record begins: that one and all behind it must be found, as they
// are. The one in front of it may show parts of the damage.
TEST(Reader, NoIntactRecordBehindDamageIsLostWhateverTheDamage) {
    const auto seed = std::random_device{}();
    std::mt19937 random(seed);
    for (int round = 0; round < 3000; ++round) {
        const std::vector<std::string> intact = RandomRecords(random, 6);
        std::string log = intact[0] + Damaged(intact[1], random);
        std::vector<std::pair<uint64_t, std::string>> expected;
        for (size_t i = 2; i < intact.size(); ++i) {
            expected.emplace_back(log.size(), intact[i]);
            log += intact[i];
        }
        const Told told = Read(log, random() % 3 == 0 ? 1 + random() % 500 : 0);
        for (const auto& [offset, record] : expected) {
            const auto found = std::find_if(
                told.records.begin(), told.records.end(),
                [offset = offset](const Told::Kept& kept) { return kept.offset == offset; });
            ASSERT_NE(found, told.records.end()) << "seed " << seed << " round " << round;
            EXPECT_FALSE(found->is_cut) << "seed " << seed;
            ASSERT_EQ(record.substr(record.find("\t[") + 2), found->text + "]\r\n")
                << "seed " << seed << " round " << round;
        }
    }
}

// Each byte of a log is a part of one record or of one damage, however it is cut for reading.
TEST(Reader, ReadsTheSameInPartsOfAnySize) {
    std::mt19937 random(7);
    for (int round = 0; round < 200; ++round) {
        std::string log;
        for (const std::string& record : RandomRecords(random, 8)) {
            log += random() % 3 == 0 ? Damaged(record, random) : record;
        }
        const Told whole = Read(log);
        const Told parts = Read(log, 1 + random() % 300);
        EXPECT_EQ(whole.Texts(), parts.Texts());
        EXPECT_EQ(whole.damage, parts.damage);
    }
}

TEST(Reader, NoBytesAtAllDisturbIt) {
    const auto seed = std::random_device{}();
    std::mt19937 random(seed);
    for (int round = 0; round < 300; ++round) {
        std::string bytes(random() % 3000, '\0');
        for (char& byte : bytes) {
            byte = random() % 4 == 0 ? "[]()\r\n\t,:.0129 "[random() % 15]
                                     : static_cast<char>(random());
        }
        const Told told = Read(bytes + "\r\n" + kRecord, 1 + random() % 700);
        ASSERT_FALSE(told.records.empty()) << "seed " << seed;
        EXPECT_EQ(told.records.back().text, "Begin pnVersionLen = 00000014") << "seed " << seed;
    }
}

}  // namespace
