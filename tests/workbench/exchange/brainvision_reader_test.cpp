#include <gtest/gtest.h>

#include <cmath>

#include "tests/workbench/exchange/foreign_bytes.h"
#include "tests/workbench/exchange/reading.h"

namespace {

using namespace test;

const char* const someMarkers = "Mk1=New Segment,,1,1,0,20200101100000000000\r\nMk2=Stimulus,S  1,51,1,0\r\n"
                                "Mk3=Response,R  2,100,1,0\r\nMk4=Comment,a\\1 b,300,20,0\r\n"
                                "Mk5=New Segment,,301,1,0\r\n";

class BrainVision : public testing::Test {
protected:
    // r.vhdr, r.vmrk and r.eeg. @return the first one's path
    std::string write(const std::string& header, const std::string& data, const std::string& markers = someMarkers) {
        folder.write("r.eeg", data);
        folder.write("r.vmrk", vmrk_text(markers));
        return folder.write("r.vhdr", header);
    }

    static std::string small_data() {
        return eeg_bytes(false, 3, 40, [](Bytes& out, int value) { out.i16(value); });
    }

    // Samples of the recording that eeg_bytes makes, whatever the number format.
    static void expect_values(const Opened& opened, double sign = 1.0) {
        const double resolution[] = {0.1, 2.0, 1.0};
        std::vector<double> values(3 * 11);
        opened->read({2, 0, 1}, 25, 11, values.data());
        const std::size_t order[] = {2, 0, 1};
        for (std::size_t k = 0; k < 3; ++k) {
            for (std::size_t i = 0; i < 11; ++i) {
                const double stored = (static_cast<double>(order[k]) + 1) * 100 - 7 * (static_cast<double>(i) + 25);
                EXPECT_NEAR(values[k * 11 + i], sign * stored * resolution[order[k]], 1e-9);
            }
        }
    }

    support::TemporaryFolder folder;
};

TEST_F(BrainVision, ChannelsAreAsTheHeaderStatesThem) {
    const Opened opened(write(vhdr_text("MULTIPLEXED", "INT_16"), small_data()));
    ASSERT_EQ(opened->channels().size(), 3U);
    EXPECT_EQ(opened->channels()[0].name, "Fp1");
    EXPECT_EQ(opened->channels()[1].name, "A,B");
    EXPECT_EQ(opened->channels()[0].unit, "µV");
    EXPECT_EQ(opened->channels()[1].unit, "mV");
    EXPECT_EQ(opened->channels()[2].unit, "µV"); // what it means where nothing is stated
    EXPECT_EQ(opened->channels()[0].rate, 250.0);
    EXPECT_EQ(opened->channels()[0].samples, 40U);
}

TEST_F(BrainVision, EveryNumberFormatAndOrderGivesTheSameValues) {
    for (const bool vectorized : {false, true}) {
        const std::string orientation = vectorized ? "VECTORIZED" : "MULTIPLEXED";
        expect_values(Opened(write(vhdr_text(orientation, "INT_16"),
                                   eeg_bytes(vectorized, 3, 40, [](Bytes& out, int v) { out.i16(v); }))));
        expect_values(Opened(write(vhdr_text(orientation, "INT_32"),
                                   eeg_bytes(vectorized, 3, 40, [](Bytes& out, int v) { out.i32(v); }))));
        expect_values(
            Opened(write(vhdr_text(orientation, "IEEE_FLOAT_32"),
                         eeg_bytes(vectorized, 3, 40, [](Bytes& out, int v) { out.f32(static_cast<float>(v)); }))));
        expect_values(Opened(write(vhdr_text(orientation, "INT_16", "UseBigEndianOrder=YES\r\n"),
                                   eeg_bytes(vectorized, 3, 40, [](Bytes& out, int v) { out.i8(v >> 8).i8(v); }))));
    }
}

TEST_F(BrainVision, UnsignedNumbersAreNeverNegative) {
    const Opened opened(write(vhdr_text("MULTIPLEXED", "UINT_16"), Bytes().u16(65535).u16(0).u16(32768).str()));
    EXPECT_EQ(opened.read(2, 0, 1)[0], 32768.0);
    EXPECT_NEAR(opened.read(0, 0, 1)[0], 6553.5, 1e-9);
}

TEST_F(BrainVision, FloatsThatAreNoNumbersStaySo) {
    const Opened opened(
        write(vhdr_text("MULTIPLEXED", "IEEE_FLOAT_32"), Bytes().f32(1.0f).f32(2.0f).f32(std::nanf("")).str()));
    EXPECT_TRUE(std::isnan(opened.read(2, 0, 1)[0]));
}

TEST_F(BrainVision, MarkersCountFromOneAndTheFirstSegmentIsNoEvent) {
    const Opened opened(write(vhdr_text("MULTIPLEXED", "INT_16"), small_data()));
    EXPECT_EQ(events_text(opened->events()), "0.2 S  1|0.396 R  2|1.196 a, b|1.2 New Segment");
}

TEST_F(BrainVision, OneDescriptionOfTwoKindsKeepsThemApart) {
    const Opened opened(write(vhdr_text("MULTIPLEXED", "INT_16"), small_data(),
                              "Mk1=Stimulus,1,1,1,0\r\nMk2=Response,1,2,1,0\r\nMk3=Stimulus,2,3,1,0\r\n"));
    EXPECT_EQ(events_text(opened->events()), "0 Stimulus 1|0.004 Response 1|0.008 2");
}

TEST_F(BrainVision, TextThatIsNotUtf8IsLatin) {
    std::string header = vhdr_text("MULTIPLEXED", "INT_16");
    header.replace(header.find("µV"), std::string("µV").size(), "\xB5V");
    const Opened opened(write(header, small_data(),
                              "Mk1=Comment,Gr\xF6\xDF"
                              "e,1,1,0\r\n"));
    EXPECT_EQ(opened->channels()[0].unit, "µV");
    EXPECT_EQ(events_text(opened->events()), "0 Größe");
}

TEST_F(BrainVision, MissingPartsAreNamed) {
    const std::string header = write(vhdr_text("MULTIPLEXED", "INT_16"), small_data());
    std::filesystem::remove(folder.path("r.vmrk"));
    EXPECT_EQ(refusal([&] { Opened(header)->events(); }),
              folder.path("r.vmrk") + ": no such file, though " + header +
                  " names it; put it back, or correct the name in the header");
    std::filesystem::remove(folder.path("r.eeg"));
    EXPECT_EQ(open_refusal(header), folder.path("r.eeg") + ": no such file, though " + header +
                                        " names it; put it back, or correct the name in the header");
}

TEST_F(BrainVision, DataThatDoNotFitTheHeaderAreRefused) {
    const std::string data = small_data();
    const std::string path = write(vhdr_text("MULTIPLEXED", "INT_16"), data.substr(0, data.size() - 1));
    EXPECT_EQ(open_refusal(path), folder.path("r.eeg") +
                                      ": its size does not fit 3 channels; it is cut short or the header is another "
                                      "recording's; --incomplete imports what is whole");
    OpenOptions incomplete;
    incomplete.incomplete = true;
    EXPECT_EQ(Opened(path, incomplete)->channels()[0].samples, 39U);
    EXPECT_EQ(open_refusal(write(vhdr_text("MULTIPLEXED", "INT_16"), "")), folder.path("r.eeg") + ": holds no samples");
}

TEST_F(BrainVision, HeadersThatCannotBeUsedSayWhy) {
    const std::string good = vhdr_text("MULTIPLEXED", "INT_16");
    const auto with = [&](const std::string& from, const std::string& to) {
        std::string text = good;
        text.replace(text.find(from), from.size(), to);
        const std::string path = write(text, small_data());
        const std::string why = open_refusal(path);
        return why.starts_with(path + ": ") ? why.substr(path.size() + 2) : why;
    };
    EXPECT_EQ(with("DataFormat=BINARY", "DataFormat=ASCII"), "has dataformat ASCII; export it in a binary format");
    EXPECT_EQ(with("INT_16", "INT_12"), "has the unknown BinaryFormat \"INT_12\"");
    EXPECT_EQ(with("MULTIPLEXED", "SIDEWAYS"), "has the unknown dataorientation \"SIDEWAYS\"");
    EXPECT_EQ(with("SamplingInterval=4000", "SamplingInterval=0"), "has no usable samplinginterval (\"0\")");
    EXPECT_EQ(with("NumberOfChannels=3", "NumberOfChannels=4"), "announces 4 channels and describes 3");
    EXPECT_EQ(with("NumberOfChannels=3", "NumberOfChannels=4000000000"), "states 4e+09 channels");
    EXPECT_EQ(with("DataFile=$b.eeg", "Nothing=1"), "names no data file (DataFile=)");
    EXPECT_EQ(with(",0.1,", ",zero,"), "channel Fp1 has the resolution \"zero\"");
    EXPECT_EQ(with("Brain Vision", "Brain Fog"), "is not a BrainVision header file");
}

TEST_F(BrainVision, ItsOtherFilesPointToTheHeader) {
    write(vhdr_text("MULTIPLEXED", "INT_16"), small_data());
    EXPECT_EQ(open_refusal(folder.path("r.eeg")),
              folder.path("r.eeg") + ": is a part of a BrainVision recording; give " + folder.path("r.vhdr"));
}

} // namespace
