#include <gtest/gtest.h>

#include "tests/workbench/exchange/foreign_bytes.h"
#include "tests/workbench/exchange/reading.h"

namespace {

using namespace test;

class Edf : public testing::Test {
protected:
    std::string write(const EdfTestFile& file, const std::string& name = "r.edf") const {
        return folder.write(name, edf_bytes(file));
    }

    support::TemporaryFolder folder;
};

TEST_F(Edf, ChannelsAreAsTheHeaderStatesThem) {
    const Opened opened(write(small_edf()));
    EXPECT_EQ(opened->format(), "EDF");
    ASSERT_EQ(opened->channels().size(), 3U);
    EXPECT_EQ(opened->channels()[0].name, "EEG Fp1");
    EXPECT_EQ(opened->channels()[1].unit, "mV");
    EXPECT_EQ(opened->channels()[2].unit, "degC");
    EXPECT_EQ(opened->channels()[0].rate, 10.0);
    EXPECT_EQ(opened->channels()[0].samples, 30U);
    EXPECT_TRUE(opened->events().empty());
}

TEST_F(Edf, ValuesLieOnTheLineBetweenTheTwoEnds) {
    const Opened opened(write(small_edf()));
    std::vector<double> values(2 * 17);
    opened->read({1, 0}, 8, 17, values.data()); // across records, channels in any order
    for (int i = 0; i < 17; ++i) {
        const double fp2 = (10.0 - 2.0 * (i + 8) + 32768.0) / 65535.0;
        EXPECT_NEAR(values[static_cast<std::size_t>(i)], fp2, 1e-12);
        EXPECT_NEAR(values[static_cast<std::size_t>(17 + i)], 0.1 * (-500 + 3 * (i + 8)), 1e-9);
    }
}

TEST_F(Edf, TwentyFourBitsKeepTheirSign) {
    EdfTestFile file;
    file.bdf = true;
    file.signals = {{"A1", "uV", "-8388608", "8388607", {-8388608, -1, 0, 1, 8388607, 256, -256, 65536, -65536, 7}}};
    file.recordCount = 1;
    const Opened opened(write(file, "r.bdf"));
    EXPECT_EQ(opened->format(), "BDF");
    EXPECT_EQ(opened.read(0, 0, 10), (std::vector<double>{-8388608, -1, 0, 1, 8388607, 256, -256, 65536, -65536, 7}));
}

TEST_F(Edf, AnnotationsHaveTheirExactTimesAndAllTexts) {
    EdfTestFile file = small_edf();
    file.kind = "EDF+C";
    file.lists = {tal("+0", {""}) + tal("+0.1234", {"Stim A"}) + tal("+0.5", {"B", "second"}, "0.25"),
                  tal("+1", {""}) + tal("-0.5", {"before"}),
                  tal("+2", {""}) + tal("+1.05", {"Gr\xC3\xB6\xC3\x9F"
                                                  "e"})};
    const Opened opened(write(file));
    EXPECT_EQ(opened->format(), "EDF+");
    EXPECT_EQ(opened->channels().size(), 3U);
    EXPECT_EQ(events_text(opened->events()), "0.1234 Stim A|0.5 B|0.5 second|-0.5 before|1.05 Größe");
}

TEST_F(Edf, TimesCountFromTheFirstSampleWhichMayBeLaterThanTheStart) {
    EdfTestFile file = small_edf();
    file.kind = "EDF+C";
    file.lists = {tal("+0.75", {""}) + tal("+1.25", {"x"}), tal("+1.75", {""}), tal("+2.75", {""})};
    EXPECT_EQ(events_text(Opened(write(file))->events()), "0.5 x");
}

TEST_F(Edf, MoreTypesThanAByteCanCountAreAllKept) {
    EdfTestFile file = small_edf();
    file.kind = "EDF+C";
    file.listBytes = 6000;
    file.lists = {"", "", ""};
    std::string expected;
    for (int i = 0; i < 3; ++i) {
        file.lists[static_cast<std::size_t>(i)] = tal("+" + std::to_string(i), {""});
        for (int k = 0; k < 200; ++k) {
            const std::string type = "type " + std::to_string(200 * i + k);
            file.lists[static_cast<std::size_t>(i)] += tal("+" + std::to_string(i), {type});
            expected += (expected.empty() ? "" : "|") + std::to_string(i) + " " + type;
        }
    }
    EXPECT_EQ(events_text(Opened(write(file))->events()), expected);
}

TEST_F(Edf, GapsAreRefusedUnlessPiecesAreToBeJoined) {
    EdfTestFile file = small_edf();
    file.kind = "EDF+D";
    file.lists = {tal("+0", {""}) + tal("+0.25", {"A"}) + tal("+1.5", {"in the gap"}), tal("+5", {""}),
                  tal("+6", {""}) + tal("+6.5", {"B"})};
    const std::string path = write(file);
    EXPECT_EQ(open_refusal(path),
              path + ": was recorded with a gap in time; --join-gaps puts the pieces together and marks the joints");
    OpenOptions join;
    join.joinGaps = true;
    EXPECT_EQ(events_text(Opened(path, join)->events()), "1 gap|0.25 A|nan in the gap|2.5 B");
}

TEST_F(Edf, RecordsThatFollowEachOtherHaveNoGapWhateverTheHeaderSays) {
    EdfTestFile file = small_edf();
    file.kind = "EDF+D";
    file.lists = {tal("+3", {""}) + tal("+3.5", {"A"}), tal("+4", {""}), tal("+5", {""})};
    EXPECT_EQ(events_text(Opened(write(file))->events()), "0.5 A");
}

TEST_F(Edf, RecordingEndsWhereItsAnnotationSays) {
    EdfTestFile file = small_edf();
    file.kind = "EDF+C";
    file.lists = {tal("+0", {""}), tal("+1", {""}), tal("+2", {""}) + tal("+2.7", {"Recording ends"})};
    const Opened opened(write(file));
    EXPECT_EQ(opened->channels()[0].samples, 27U);
    EXPECT_TRUE(opened->events().empty());
}

TEST_F(Edf, FilesThatAreCutShortAreReadAsFarAsTheyGoWhenAskedTo) {
    const std::string whole = edf_bytes(small_edf());
    const std::string path = folder.write("cut.edf", whole.substr(0, whole.size() - 10));
    EXPECT_EQ(open_refusal(path), path + ": is cut short: it holds 2 of the 3 data records that it announces; "
                                         "--incomplete imports those");
    OpenOptions incomplete;
    incomplete.incomplete = true;
    EXPECT_EQ(Opened(path, incomplete)->channels()[0].samples, 20U);
}

TEST_F(Edf, AnUnknownNumberOfRecordsIsCounted) {
    EdfTestFile file = small_edf();
    file.records = "-1";
    EXPECT_EQ(Opened(write(file))->channels()[0].samples, 30U);
}

TEST_F(Edf, LargeRecordsAreReadPieceByPiece) {
    EdfTestFile file;
    file.recordCount = 2;
    file.signals = {{"A", "uV", "-32768", "32767", ramp(2400000, 0, 0), 1200000},
                    {"B", "uV", "-32768", "32767", ramp(2400000, 0, 0), 1200000}};
    for (std::size_t i = 0; i < 2400000; ++i) {
        file.signals[1].digital[i] = static_cast<int>(i % 30011);
    }
    const Opened opened(write(file));
    const std::vector<double> values = opened.read(1, 1199990, 20);
    for (std::size_t i = 0; i < 20; ++i) {
        EXPECT_EQ(values[i], static_cast<double>((1199990 + i) % 30011));
    }
}

TEST_F(Edf, TheStatusChannelOfBdfFilesHoldsCodes) {
    EdfTestFile file;
    file.bdf = true;
    file.signals = {{"A1", "uV", "-1", "1", ramp(30, 0, 1)},
                    {"Status", "Boolean", "-8388608", "8388607", ramp(30, 0, 1)}};
    EXPECT_EQ(Opened(write(file, "r.bdf"))->code_channel(), std::optional<std::size_t>(1));
    file.bdf = false;
    EXPECT_EQ(Opened(write(file))->code_channel(), std::nullopt);
}

TEST_F(Edf, DamagedHeadersAreToldInOneLine) {
    const std::string whole = edf_bytes(small_edf());
    const auto with = [&](std::size_t at, const std::string& text) {
        std::string bytes = whole;
        bytes.replace(at, text.size(), text);
        return open_refusal(folder.write("bad.edf", bytes));
    };
    const std::string start = folder.path("bad.edf") + ": its EDF or BDF header is damaged: ";
    EXPECT_EQ(with(184, "9999999 "), start + "it states 9999999 bytes, which 3 signals do not have");
    EXPECT_EQ(with(236, "3x      "), start + "the number of data records is \"3x\"");
    EXPECT_EQ(with(236, "99999999"), folder.path("bad.edf") + ": is cut short: it holds 3 of the 99999999 data records "
                                                              "that it announces; --incomplete imports those");
    EXPECT_EQ(with(244, "nan     "), start + "the duration of a data record is no number of seconds");
    EXPECT_EQ(with(244, "0       "),
              folder.path("bad.edf") + ": states data records of 0 seconds, so that it has no sampling rate");
    EXPECT_EQ(with(252, "0   "), start + "the number of signals is \"0\"");
    EXPECT_EQ(with(252, "-3  "), start + "the number of signals is \"-3\"");
    EXPECT_EQ(with(256 + 3 * 216, "1e99    "), start + "the number of samples in each data record is \"1e99\"");
    EXPECT_EQ(open_refusal(folder.write("short.edf", whole.substr(0, 400))),
              folder.path("short.edf") + ": its EDF or BDF header is cut short (400 of 1024 bytes)");
    EXPECT_EQ(open_refusal(folder.write("none.edf", whole.substr(0, 1024))),
              folder.path("none.edf") + ": is cut short: it holds 0 of the 3 data records that it announces; "
                                        "--incomplete imports those");
}

TEST_F(Edf, ChannelsWithoutARangeCannotBeUsed) {
    EdfTestFile file = small_edf();
    file.signals[0].physicalMax = file.signals[0].physicalMin;
    file.signals[1].physicalMin = "?";
    const Opened opened(write(file));
    EXPECT_EQ(opened->channels()[0].unusable, "has no physical range");
    EXPECT_EQ(opened->channels()[1].unusable, "has no physical range");
    EXPECT_EQ(opened->channels()[2].unusable, "");
}

} // namespace
