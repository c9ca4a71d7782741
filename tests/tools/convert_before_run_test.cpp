// Recordings whose cleaned epochs a run would misplace or spoil: it names the conversion that avoids it.

#include <cstdlib>
#include <string>
#include <vector>

#include "tests/tools/ctc_program.h"

namespace {

using namespace test;

class ConvertBeforeRun : public CtcProgram {
protected:
    static CommandResult run(const std::string& recording, const std::vector<std::string>& more = {}) {
        std::vector<std::string> arguments{WORKBENCH_PROGRAM,
                                           "run",
                                           ORIDAN_MODULE_PATH,
                                           "--data",
                                           recording,
                                           "--protocol",
                                           "rec.prt",
                                           "--condition",
                                           "slice",
                                           "--pre",
                                           "0",
                                           "--post",
                                           "190",
                                           "--segment",
                                           "10",
                                           "--components",
                                           "2"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return support::run_command(arguments);
    }
};

TEST_F(ConvertBeforeRun, TheNamedCommandMakesARecordingThatIsCleanedProperly) {
    std::string protocol = "FileVersion: 1\nExperiment: Test\nTimeResolution: samples\nCondition: slice\n";
    for (int i = 1; i <= 12; ++i) {
        protocol += std::to_string(50 * i) + "\n";
    }
    write_file("rec.prt", protocol);
    const struct {
        std::uint32_t type;
        std::uint32_t ordering;
    } cases[] = {{3, 1}, {4, 1}, {5, 1}, {5, 2}};
    for (const auto& c : cases) {
        const std::string name = "it's " + std::to_string(c.type) + std::to_string(c.ordering);
        const std::string bytes = recording_bytes(header_of(c.type, c.ordering, 2, 1000));
        write_file(name + ".ctc", bytes);
        const std::vector<std::string> before = contents();
        const CommandResult refused = run(name + ".ctc");
        EXPECT_EQ(refused.status, 2);
        EXPECT_EQ(refused.out, "");
        EXPECT_EQ(contents(), before);
        ASSERT_EQ(std::count(refused.err.begin(), refused.err.end(), '\n'), 1) << refused.err;
        const std::size_t from = refused.err.find("(ctc convert ");
        const std::size_t to = refused.err.find("), or give --as-is");
        ASSERT_NE(from, std::string::npos) << refused.err;
        ASSERT_NE(to, std::string::npos) << refused.err;
        const std::string command = refused.err.substr(from + 1, to - from - 1);
        const std::string tools = std::filesystem::path(CTC_PROGRAM).parent_path().string();
        const CommandResult converted = support::run_command(
            {"bash", "-c", command}, {}, [&] { setenv("PATH", (tools + ":" + std::getenv("PATH")).c_str(), 1); });
        EXPECT_EQ(converted.status, 0) << command << "\n" << converted.err;
        const std::string ending = " --datatype 1 --ordering " + std::to_string(c.ordering);
        EXPECT_EQ(command.substr(command.size() - ending.size()), ending);
        const CommandResult cleaned = run(name + "_float.ctc", {"-o", name + "_clean.ctc"});
        EXPECT_EQ(cleaned.status, 0) << cleaned.err;
        EXPECT_EQ(cleaned.err, "");
        EXPECT_EQ(read_file(name + ".ctc"), bytes);
    }
}

} // namespace
