// The subcommands protocol, simulate and compare, as a person types them.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "tests/support/temporary_folder.h"
#include "workbench/command_compare.h"
#include "workbench/command_protocol.h"
#include "workbench/command_simulate.h"
#include "workbench/input_error.h"
#include "workbench/protocol_file.h"
#include "workbench/recording.h"

namespace {

using support::read_file;
using support::TemporaryFolder;
using support::write_file;

class Commands : public testing::Test {
protected:
    // Standard output of a command line; what it is refused with when it is.
    static std::string run(std::vector<std::string> arguments) {
        CLI::App app("test", "workbench");
        app.require_subcommand(1);
        workbench::add_protocol_command(app);
        workbench::add_simulate_command(app);
        workbench::add_compare_command(app);
        std::reverse(arguments.begin(), arguments.end());
        testing::internal::CaptureStdout();
        std::string refused;
        try {
            app.parse(arguments);
        } catch (const CLI::ParseError& error) {
            refused = std::string("usage: ") + error.what();
        } catch (const workbench::InputError& error) {
            refused = std::string("refused: ") + error.what();
        }
        const std::string output = testing::internal::GetCapturedStdout();
        return refused.empty() ? output : output + refused;
    }

    static std::string simulate(std::vector<std::string> more) {
        more.insert(more.begin(), {"simulate", "--channels", "2", "--seconds", "4", "--rate", "250"});
        return run(more);
    }

    static std::string compare(std::vector<std::string> more) {
        more.insert(more.begin(), {"compare", "s.ctc", "s.clean.ctc", "--protocol", "s.prt", "--condition", "slice",
                                   "--pre", "0", "--post", "60"});
        return run(more);
    }

    static std::set<std::string> files() {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(".")) {
            names.insert(entry.path().filename().string());
        }
        return names;
    }

    TemporaryFolder folder{TemporaryFolder::Use::asCurrentDirectory};
};

TEST_F(Commands, ProtocolMakesAProtocolFile) {
    write_file("t.csv", "condition,sample_number_0based\nslice,30\nslice,94\nbeat,5\n");
    EXPECT_EQ(run({"protocol", "t.csv", "-o", "t.prt", "--experiment", "My scan"}),
              "Wrote t.prt:\n  slice: 2 triggers\n  beat: 1 triggers\n");
    EXPECT_EQ(read_file("t.prt"), "FileVersion: 1\nExperiment: My scan\nTimeResolution: samples\n"
                                  "\nCondition: slice\n30\n94\n\nCondition: beat\n5\n");
    EXPECT_EQ(run({"protocol", "t.csv", "-o", "t.prt"}), "refused: t.prt: exists already (--overwrite replaces it)");
    EXPECT_EQ(run({"protocol", "t.csv", "-o", "t.prt", "--overwrite"}).substr(0, 6), "Wrote ");
    EXPECT_NE(read_file("t.prt").find("Experiment: t\n"), std::string::npos); // the table's name
    EXPECT_EQ(run({"protocol", "t.csv", "-o", "./t.csv", "--overwrite"}),
              "refused: ./t.csv: is the table itself; choose another name with -o");
    EXPECT_EQ(files(), (std::set<std::string>{"t.csv", "t.prt"}));
}

TEST_F(Commands, ProtocolOfABadTableIsNotWritten) {
    write_file("t.csv", "condition,sample_number_0based\nslice,x\n");
    EXPECT_EQ(run({"protocol", "t.csv", "-o", "t.prt"}),
              "refused: t.csv:2: expected a whole number from 0 to 2147483647, found \"x\"");
    EXPECT_EQ(files(), std::set<std::string>{"t.csv"});
}

TEST_F(Commands, SimulateWritesRecordingProtocolAndTruth) {
    const std::string said = simulate({"-o", "s.ctc"});
    EXPECT_EQ(files(), (std::set<std::string>{"s.clean.ctc", "s.ctc", "s.prt"}));
    const workbench::Protocol protocol = workbench::read_protocol("s.prt");
    EXPECT_EQ(protocol.experiment, "Simulated gradient artifact, seed 1");
    EXPECT_EQ(protocol.conditions.at(0).name, "slice");
    const std::size_t triggers = protocol.conditions[0].intervals.size();
    EXPECT_GT(triggers, 40U);
    EXPECT_EQ(said, "Wrote s.ctc (2 channels, 4 s at 250 Hz, gradient artifact),\n  s.prt (condition slice, " +
                        std::to_string(triggers) +
                        " triggers) and\n  s.clean.ctc (the same without artifact)\nSettings that suit it:\n  --data "
                        "s.ctc --protocol s.prt --condition slice --pre 0 --post 64 --segment " +
                        std::to_string(std::min<std::size_t>(50, triggers)) + " --components 3\n");
    for (const char* name : {"s.ctc", "s.clean.ctc"}) {
        const workbench::RecordingReader reader(name);
        EXPECT_EQ(reader.header().DataType, 1U);
        EXPECT_EQ(reader.header().SampleOrdering, 1U);
        EXPECT_EQ(reader.header().NrOfChannels, 2U);
        EXPECT_EQ(reader.header().NrOfSamples, 1000U);
        EXPECT_EQ(reader.header().SamplingFrequency, 250.0f);
        EXPECT_EQ(reader.missing_elements(), 0U);
    }
}

TEST_F(Commands, SimulateGivesTheSameBytesForTheSameSeed) {
    for (const std::string artifact : {"gradient", "heartbeat"}) {
        for (const std::string name : {"a", "b"}) {
            simulate({"-o", name + ".ctc", "--seed", "18446744073709551615", "--datatype", "3", "--ordering", "2",
                      "--artifact", artifact, "--overwrite"});
        }
        simulate({"-o", "c.ctc", "--seed", "4", "--datatype", "3", "--ordering", "2", "--artifact", artifact,
                  "--overwrite"});
        for (const std::string ending : {".ctc", ".clean.ctc", ".prt"}) {
            EXPECT_FALSE(read_file("a" + ending).empty());
            EXPECT_EQ(read_file("a" + ending), read_file("b" + ending));
            EXPECT_NE(read_file("a" + ending), read_file("c" + ending));
        }
    }
}

std::vector<float> all_samples(const std::string& file, std::uint32_t samples) {
    workbench::RecordingReader reader(file);
    std::vector<float> block(std::size_t{reader.header().NrOfChannels} * samples);
    reader.read(0, samples, block.data());
    return block;
}

TEST_F(Commands, SimulateHoldsTheSameSignalInEveryDataTypeAndOrdering) {
    simulate({"-o", "float.ctc"});
    const std::vector<float> exact = all_samples("float.ctc", 1000);
    for (const std::string type : {"1", "3", "4", "5"}) {
        for (const std::string ordering : {"1", "2"}) {
            const std::string name = "t" + type + ordering;
            simulate({"-o", name + ".ctc", "--datatype", type, "--ordering", ordering});
            EXPECT_EQ(all_samples(name + ".clean.ctc", 1000), all_samples("float.clean.ctc", 1000));
            EXPECT_EQ(read_file(name + ".prt"), read_file("float.prt"));
            const workbench::RecordingReader truth(name + ".clean.ctc");
            EXPECT_EQ(truth.header().DataType, 1U);
            EXPECT_EQ(std::to_string(truth.header().SampleOrdering), ordering);
            const workbench::RecordingReader reader(name + ".ctc");
            EXPECT_EQ(std::to_string(reader.header().DataType), type);
            EXPECT_EQ(std::to_string(reader.header().SampleOrdering), ordering);
            const std::vector<float> values = all_samples(name + ".ctc", 1000);
            for (std::size_t i = 0; i < values.size(); ++i) {
                const float scale = type == "1" ? 0.0f : reader.header().ChannelScales[i / 1000];
                const float tolerance = type == "5" ? 1e-6f * scale : 0.5001f * scale;
                ASSERT_NEAR(values[i], exact[i], tolerance + 1e-3f) << name << " " << i;
            }
        }
    }
}

TEST_F(Commands, SimulateUsesTheWholeRangeOfAnIntegerType) {
    simulate({"-o", "s.ctc", "--datatype", "4"});
    const std::string bytes = read_file("s.ctc").substr(32 + 16);
    ASSERT_EQ(bytes.size(), 2000U);
    for (std::size_t channel = 0; channel < 2; ++channel) {
        int lowest = 0;
        int highest = 0;
        for (std::size_t i = 0; i < 1000; ++i) {
            const int stored = static_cast<signed char>(bytes[channel * 1000 + i]);
            lowest = std::min(lowest, stored);
            highest = std::max(highest, stored);
        }
        EXPECT_EQ(lowest, -127);
        EXPECT_EQ(highest, 127);
    }
}

TEST_F(Commands, SimulateSaysWhenTooFewArtifactsFit) {
    const std::string said =
        run({"simulate", "-o", "s.ctc", "--seconds", "3", "--artifact", "heartbeat", "--channels", "1"});
    EXPECT_NE(said.find("A removal needs at least 10 artifacts: simulate more seconds for one.\n"), std::string::npos);
    EXPECT_EQ(workbench::read_protocol("s.prt").conditions.at(0).name, "heartbeat");
}

TEST_F(Commands, SimulateQuotesNamesThatAShellWouldSplit) {
    EXPECT_NE(simulate({"-o", "it's mine.ctc"}).find("--data 'it'\\''s mine.ctc' --protocol 'it'\\''s mine.prt'"),
              std::string::npos);
}

TEST_F(Commands, SimulateNeverReplacesAnythingUnlessTold) {
    for (const std::string taken : {"s.ctc", "s.prt", "s.clean.ctc"}) {
        write_file(taken, "mine");
        EXPECT_EQ(simulate({"-o", "s.ctc"}), "refused: " + taken + ": exists already (--overwrite replaces it)");
        EXPECT_EQ(files(), std::set<std::string>{taken});
        EXPECT_EQ(read_file(taken), "mine");
        std::filesystem::remove(taken);
    }
    write_file("s.prt", "mine");
    simulate({"-o", "s.ctc", "--overwrite"});
    EXPECT_NE(read_file("s.prt"), "mine");
}

TEST_F(Commands, SimulateRefusesWhatItCannotMake) {
    EXPECT_EQ(simulate({"-o", "s.dat"}), "refused: s.dat: the name of a recording must end in .ctc");
    EXPECT_EQ(simulate({"-o", "none/s.ctc"}), "refused: none/s.ctc: there is no folder none");
    for (const std::vector<std::string>& wrong : std::vector<std::vector<std::string>>{{"--channels", "0"},
                                                                                       {"--channels", "-1"},
                                                                                       {"--channels", "1025"},
                                                                                       {"--seconds", "0"},
                                                                                       {"--rate", "99"},
                                                                                       {"--datatype", "2"},
                                                                                       {"--ordering", "3"},
                                                                                       {"--artifact", "blink"},
                                                                                       {"--seed", "-1"}}) {
        const std::string said = run({"simulate", "-o", "s.ctc", wrong[0], wrong[1]});
        EXPECT_EQ(said.substr(0, 7 + wrong[0].size()), "usage: " + wrong[0]) << said;
    }
    EXPECT_EQ(run({"simulate", "-o", "s.ctc", "--seconds", "1000000", "--rate", "100000", "--channels", "2"}),
              "refused: a recording of 2 channels and 1000000.000000 seconds at that rate is too long or empty; choose "
              "fewer channels, seconds or a lower rate");
    EXPECT_EQ(run({"simulate", "-o", "s.ctc", "--seconds", "nan"}).substr(0, 9), "refused: ");
    EXPECT_EQ(run({"simulate"}), "usage: --output is required");
    EXPECT_TRUE(files().empty());
}

TEST_F(Commands, CompareShowsATable) {
    simulate({"-o", "s.ctc"});
    const std::string table = compare({"--truth", "s.clean.ctc"});
    EXPECT_EQ(table.substr(0, 18), "Condition \"slice\":");
    EXPECT_NE(table.find("\n    all  "), std::string::npos);
    EXPECT_NE(table.find("      inf"), std::string::npos); // all of the artifact removed
    EXPECT_EQ(compare({}).find("artifact"), std::string::npos);
    EXPECT_EQ(files().size(), 3U);
}

TEST_F(Commands, CompareWritesMachineReadableForms) {
    simulate({"-o", "s.ctc"});
    const std::string csv = compare({"--csv", "-"});
    EXPECT_EQ(csv.substr(0, 19), "channel,rms_before,");
    EXPECT_EQ(std::count(csv.begin(), csv.end(), '\n'), 4);
    const nlohmann::json json = nlohmann::json::parse(compare({"--json", "-", "--csv", "r.csv"}));
    EXPECT_EQ(json["condition"], "slice");
    EXPECT_EQ(json["samples_per_window"], 16); // 60 ms at 250 Hz after the trigger, and the trigger's own
    EXPECT_EQ(read_file("r.csv"), csv);
    EXPECT_EQ(compare({"--csv", "r2.csv", "--json", "r2.json"}), compare({})); // the table stays
    EXPECT_EQ(nlohmann::json::parse(read_file("r2.json")), json);
    EXPECT_EQ(read_file("r2.csv"), csv);
}

TEST_F(Commands, CompareConvertsMicrosecondsAndTakesANumberForTheCondition) {
    simulate({"-o", "s.ctc"});
    std::string text =
        "FileVersion: 1\nExperiment:\nTimeResolution: microseconds\nCondition: other\nCondition: slice\n";
    const workbench::Protocol inSamples = workbench::read_protocol("s.prt");
    for (const std::int32_t trigger : inSamples.conditions[0].intervals) {
        text += std::to_string(trigger * 4000 + 2000) + "\n"; // half-way to the next sample at 250 Hz
    }
    write_file("us.prt", text);
    EXPECT_EQ(run({"compare", "s.ctc", "s.clean.ctc", "--protocol", "us.prt", "--condition", "2", "--pre", "0",
                   "--post", "60", "--csv", "-"}),
              compare({"--csv", "-"}));
}

TEST_F(Commands, CompareRefusesClashingResults) {
    simulate({"-o", "s.ctc"});
    write_file("taken.csv", "mine");
    EXPECT_EQ(compare({"--csv", "-", "--json", "-"}),
              "refused: --csv - and --json - cannot both go to standard output");
    EXPECT_EQ(compare({"--csv", "x", "--json", "./x"}), "refused: --csv and --json name the same file");
    EXPECT_EQ(compare({"--csv", "taken.csv"}), "refused: taken.csv: exists already (--overwrite replaces it)");
    EXPECT_EQ(read_file("taken.csv"), "mine");
    const std::string recording = read_file("s.ctc");
    for (const std::string input : {"s.ctc", "./s.clean.ctc", "s.prt"}) {
        EXPECT_EQ(compare({"--json", input, "--overwrite"}),
                  "refused: " + input + ": is one of the files to compare; choose another name for the result");
    }
    EXPECT_EQ(read_file("s.ctc"), recording);
    EXPECT_EQ(compare({"--csv", "taken.csv", "--overwrite"}).substr(0, 9), "Condition");
    EXPECT_EQ(read_file("taken.csv").substr(0, 8), "channel,");
    EXPECT_EQ(files(), (std::set<std::string>{"s.clean.ctc", "s.ctc", "s.prt", "taken.csv"}));
}

TEST_F(Commands, CompareRefusesBadInput) {
    simulate({"-o", "s.ctc"});
    EXPECT_EQ(
        run({"compare", "s.ctc", "none.ctc", "--protocol", "s.prt", "--condition", "1", "--pre", "0", "--post", "60"}),
        "refused: none.ctc: no such file");
    EXPECT_EQ(
        run({"compare", "s.ctc", "s.ctc", "--protocol", "s.ctc", "--condition", "1", "--pre", "0", "--post", "60"})
            .substr(0, 26),
        "refused: s.ctc:1: expected");
    EXPECT_EQ(
        run({"compare", "s.ctc", "s.ctc", "--protocol", "s.prt", "--condition", "beat", "--pre", "0", "--post", "60"})
            .substr(0, 54),
        "refused: no condition \"beat\" in the protocol; it has 1");
    EXPECT_EQ(
        run({"compare", "s.ctc", "s.ctc", "--protocol", "s.prt", "--condition", "1", "--pre", "0", "--post", "5001"})
            .substr(0, 13),
        "usage: --post");
    EXPECT_EQ(run({"compare", "s.ctc", "s.ctc", "--protocol", "s.prt", "--condition", "1", "--pre", "0"}),
              "usage: --post is required");
}

} // namespace
