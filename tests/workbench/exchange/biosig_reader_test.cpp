#include <gtest/gtest.h>

#include "tests/support/bits.h"
#include "tests/workbench/exchange/foreign_bytes.h"
#include "tests/workbench/exchange/reading.h"

namespace {

using namespace test;

class Biosig : public testing::Test {
protected:
    support::TemporaryFolder folder;
};

TEST_F(Biosig, ReadsGdfWithUnitsRateAndEvents) {
    const Opened opened(folder.write("r.gdf", gdf_bytes(9, {{51, 769}, {101, 770}, {351, 7}})));
    EXPECT_EQ(opened->format(), "GDF");
    ASSERT_EQ(opened->channels().size(), 3U);
    EXPECT_EQ(opened->channels()[0].name, "Fp1");
    EXPECT_EQ(opened->channels()[0].unit, "uV");
    EXPECT_EQ(opened->channels()[1].unit, "mV");
    EXPECT_EQ(opened->channels()[0].rate, 100.0);
    EXPECT_EQ(opened->channels()[0].samples, 450U);
    EXPECT_EQ(events_text(opened->events()), "0.5 class1, Left hand|1 class2, Right hand|3.5 type 7");
}

TEST_F(Biosig, ReadsSamplesFromAnywhereInAnyOrderOfChannels) {
    const Opened opened(folder.write("r.gdf", gdf_bytes(600, {})));
    for (const std::uint64_t first : {47U, 0U, 29990U, 15049U}) {
        std::vector<double> values(2 * 10);
        opened->read({1, 0}, first, 10, values.data());
        for (std::uint64_t i = 0; i < 10; ++i) {
            const auto sample = static_cast<double>(first + i);
            EXPECT_NEAR(values[i], 0.001 * (100.0 - sample), 1e-9);
            EXPECT_NEAR(values[10 + i], 0.1 * (0.0 - sample), 1e-9);
        }
    }
}

TEST_F(Biosig, AnUnknownFormatIsToldInOneLine) {
    const std::string path = folder.write("notes.txt", std::string(2000, 'x'));
    const std::string why = open_refusal(path);
    EXPECT_EQ(why, path + ": is in no format that the workbench or libbiosig knows");
}

// Whatever the library makes of a damaged file: it is opened, or refused in one line.
TEST_F(Biosig, DamagedFilesNeverEndTheProgram) {
    const std::string whole = gdf_bytes(3, {{51, 769}, {101, 770}});
    support::Random random(5);
    int refused = 0;
    const auto attempt = [&](const std::string& bytes) {
        const std::string path = folder.write("bad.gdf", bytes);
        try {
            const Opened opened(path);
            const auto& channel = opened->channels().at(0);
            if (channel.samples > 0 && channel.samples < 100000) {
                opened.read(0, 0, static_cast<std::uint32_t>(channel.samples));
            }
        } catch (const workbench::InputError& error) {
            ++refused;
            EXPECT_EQ(std::string(error.what()).find('\n'), std::string::npos);
        }
    };
    for (std::size_t size = 1; size <= 1024; size += 64) {
        attempt(whole.substr(0, size));
    }
    for (int i = 0; i < 60; ++i) {
        std::string bytes = whole;
        for (int k = 0; k < 4; ++k) {
            bytes[static_cast<std::size_t>(random.below(1024))] = static_cast<char>(random.below(256));
        }
        attempt(bytes);
    }
    EXPECT_GT(refused, 0);
}

} // namespace
