// What we write, read by MNE-Python; and what tests write for our readers, read by it too. Skipped where it is missing.

#include <cmath>

#include <nlohmann/json.hpp>

#include "tests/workbench/exchange/exchange_program.h"
#include "tests/workbench/exchange/foreign_bytes.h"

namespace {

using namespace test;

class OtherPrograms : public ExchangeProgram {
protected:
    void SetUp() override {
        if (support::run_command({"/usr/bin/python3", "-c", "import mne"}).status != 0) {
            GTEST_SKIP() << "python3-mne is not installed";
        }
    }

    static nlohmann::json read(const std::string& file) {
        const CommandResult result = support::run_command({"/usr/bin/python3", OTHER_PROGRAMS_SCRIPT, file});
        EXPECT_EQ(result.status, 0) << result.err;
        return result.status == 0 ? nlohmann::json::parse(result.out) : nlohmann::json();
    }
};

TEST_F(OtherPrograms, ReadWhatIsExported) {
    const auto value = [](std::uint32_t channel, std::uint32_t sample) {
        return 50.0f * std::sin(0.1f * static_cast<float>((channel + 1) * sample)) +
               100.0f * static_cast<float>(channel);
    };
    write_file("r.ctc", ctc_bytes(3, 2047, 256.0f, value));
    write_file("r.prt", "FileVersion: 1\nExperiment:\nTimeResolution: samples\n\nCondition: beat\n7\n1300\n2046\n");
    write_file("r_channels.tsv", "name\nFp1\nCz\nOz\n");
    for (const std::string ending : {"edf", "bdf", "vhdr"}) {
        SCOPED_TRACE(ending);
        done({"export", "r.ctc", "-o", "out." + ending, "--protocol", "r.prt"});
        const nlohmann::json seen = read("out." + ending);
        ASSERT_TRUE(seen.is_object());
        EXPECT_EQ(seen["rate"], 256.0);
        EXPECT_EQ(seen["names"], nlohmann::json({"Fp1", "Cz", "Oz"}));
        EXPECT_GE(seen["samples"], 2047);
        const double tolerance = ending == "edf" ? 0.002 : ending == "bdf" ? 2e-5 : 1e-9;
        for (std::uint32_t channel = 0; channel < 3; ++channel) {
            for (std::uint32_t i = 0; i < 2047; ++i) {
                ASSERT_NEAR(seen["microvolts"][channel][i].get<double>(), static_cast<double>(value(channel, i)),
                            tolerance)
                    << channel << " " << i;
            }
        }
        std::string marks;
        for (const auto& mark : seen["marks"]) {
            if (mark[1] == "beat") {
                marks += std::to_string(mark[0].get<int>()) + " ";
            }
        }
        EXPECT_EQ(marks, "7 1300 2046 ");
    }
}

TEST_F(OtherPrograms, SeeWhatOurReadersSee) {
    EdfTestFile file = small_edf();
    file.kind = "EDF+C";
    file.lists = {tal("+0", {""}) + tal("+0.5", {"A"}), tal("+1", {""}), tal("+2", {""}) + tal("+2.3", {"B"})};
    file.signals.pop_back(); // temperatures are no microvolts
    write_file("t.edf", edf_bytes(file));
    std::string header = vhdr_text("MULTIPLEXED", "INT_16");
    for (std::size_t at = header.find("$b"); at != std::string::npos; at = header.find("$b")) {
        header.replace(at, 2, "b"); // not everybody knows what it stands for
    }
    write_file("b.vhdr", header);
    write_file("b.vmrk", vmrk_text("Mk1=New Segment,,1,1,0\r\nMk2=Stimulus,S  1,11,1,0\r\n"));
    write_file("b.eeg", eeg_bytes(false, 3, 40, [](Bytes& out, int value) { out.i16(value); }));
    write_file("g.gdf", gdf_bytes(9, {{51, 769}, {101, 770}}));
    for (const std::string name : {"t.edf", "b.vhdr", "g.gdf"}) {
        SCOPED_TRACE(name);
        const nlohmann::json seen = read(name);
        ASSERT_TRUE(seen.is_object());
        done({"import", name, "-o", "x.ctc", "--overwrite"});
        const CtcContents ours = ctc_contents("x.ctc");
        EXPECT_EQ(seen["rate"], static_cast<double>(ours.rate));
        ASSERT_EQ(seen["samples"], ours.samples);
        for (std::uint32_t channel = 0; channel < ours.channels; ++channel) {
            for (std::uint32_t i = 0; i < ours.samples; ++i) {
                const double theirs = seen["microvolts"][channel][i].get<double>();
                ASSERT_NEAR(static_cast<double>(ours.at(channel, i)), theirs, 1e-6 * std::abs(theirs) + 1e-6);
            }
        }
    }
}

} // namespace
