// The report command, as a person types it.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "tests/workbench/report/recordings.h"
#include "workbench/input_error.h"
#include "workbench/report/command_report.h"

namespace {

using nlohmann::json;
using support::read_file;
using support::TemporaryFolder;
using support::write_file;

class ReportCommand : public testing::Test {
protected:
    // Two channels of noise at 100 Hz, an artifact of 30 samples behind every 50th, which is gone afterwards.
    void SetUp() override {
        test::Channels before(2);
        test::Channels after(2);
        std::string protocol = "FileVersion: 1\nExperiment:\nTimeResolution: samples\nCondition: slice\n";
        std::uint32_t state = 1;
        for (int i = 0; i < 3000; ++i) {
            for (std::size_t c = 0; c < 2; ++c) {
                state = state * 1664525U + 1013904223U;
                const auto noise = static_cast<float>(static_cast<int>(state >> 27) - 16);
                const bool inside = i >= 100 && i < 2900 && i % 50 < 30;
                const int place = i % 50;
                after[c].push_back(noise);
                before[c].push_back(noise +
                                    (inside ? 100.0f * std::sin(0.7f * static_cast<float>(place) + 1.0f) : 0.0f));
            }
            if (i >= 100 && i < 2900 && i % 50 == 0) {
                protocol += std::to_string(i) + "\n";
            }
        }
        write_file("b.ctc", test::recording_bytes(before, 100.0f));
        write_file("a.ctc", test::recording_bytes(after, 100.0f));
        write_file("p.prt", protocol + "Condition: nowhere\n4000\n");
    }

    // What the command prints; what it is refused with when it is.
    static std::string run(std::vector<std::string> arguments) {
        CLI::App app("test", "workbench");
        app.require_subcommand(1);
        workbench::add_report_command(app);
        arguments.insert(arguments.begin(), "report");
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
        return testing::internal::GetCapturedStdout() + refused;
    }

    static std::string report(const std::vector<std::string>& more, const std::string& after = "a.ctc") {
        std::vector<std::string> arguments{"b.ctc",       after,   "--protocol", "p.prt",
                                           "--condition", "slice", "-o",         "r.html"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return run(arguments);
    }

    static json data_of(const std::string& file) {
        const std::string page = read_file(file);
        const std::string start = "<script type=\"application/json\" id=\"report-data\">";
        const std::size_t begin = page.find(start) + start.size();
        return json::parse(page.substr(begin, page.find("</script>", begin) - begin));
    }

    static std::string fact(const json& data, const std::string& name) {
        for (const json& pair : data["facts"]) {
            if (pair[0] == name) {
                return pair[1];
            }
        }
        return "(none)";
    }

    static std::size_t files() {
        return static_cast<std::size_t>(
            std::distance(std::filesystem::directory_iterator("."), std::filesystem::directory_iterator{}));
    }

    TemporaryFolder folder{TemporaryFolder::Use::asCurrentDirectory};
};

TEST_F(ReportCommand, WritesAPageThatHoldsEverything) {
    EXPECT_EQ(report({"--pre", "0", "--post", "290", "--segment", "20", "--components", "3", "--truth", "a.ctc"}),
              "Report: r.html\n");
    const std::string page = read_file("r.html");
    EXPECT_EQ(page.substr(0, 15), "<!DOCTYPE html>");
    EXPECT_NE(page.find("<title>a.ctc: removal of slice</title>"), std::string::npos);
    EXPECT_NE(page.find("The MIT License"), std::string::npos);
    EXPECT_EQ(page.find("<!-- "), std::string::npos) << "a place that was left empty";
    EXPECT_LT(page.size(), 10000000U);
    const json data = data_of("r.html");
    EXPECT_EQ(fact(data, "Artifacts per segment"), "20");
    EXPECT_EQ(fact(data, "Components removed"), "3");
    EXPECT_EQ(fact(data, "Recording"), "2 channels, 3000 samples at 100 Hz (30.0 s)");
    EXPECT_EQ(fact(data, "Condition"), "slice: 56 triggers, 56 with their whole window inside the recording");
    EXPECT_EQ(fact(data, "Window"), "0 ms before to 290 ms after each trigger (30 samples), as given");
    EXPECT_EQ(data["channels"]["rows"].size(), 2U);
    EXPECT_EQ(data["channels"]["rows"][0]["kept"], 100.0);
    EXPECT_EQ(data["channels"]["rows"][0]["errorAfter"], 0.0);
    EXPECT_EQ(data["triggers"]["first"], 100);
    EXPECT_EQ(data["triggers"]["distances"].size(), 55U);
    EXPECT_EQ(data["traces"]["samplesPerBin"], 1);
}

TEST_F(ReportCommand, TheArtifactsRmsIsThatOfTheAverage) {
    report({});
    double mean = 0.0;
    double power = 0.0;
    for (int i = 0; i < 30; ++i) {
        const double value = 100.0 * std::sin(0.7 * i + 1.0);
        mean += value / 30.0;
        power += value * value / 30.0;
    }
    const json row = data_of("r.html")["channels"]["rows"][0];
    EXPECT_NEAR(row["artifactBefore"], std::sqrt(power - mean * mean), 2.0); // noise of 9 over 56 windows
    EXPECT_LT(row["artifactAfter"], 3.0);
    EXPECT_GT(row["removed"], 25.0);
}

TEST_F(ReportCommand, FindsTheWindowFromWhatChanged) {
    report({});
    const json data = data_of("r.html");
    EXPECT_EQ(fact(data, "Window"),
              "0 ms before to 290 ms after each trigger (30 samples), found from the samples that changed");
    EXPECT_EQ(data["window"], json({0, 29}));
}

TEST_F(ReportCommand, NothingChangedIsSaid) {
    report({}, "b.ctc");
    const json data = data_of("r.html");
    EXPECT_NE(fact(data, "Window").find("the median distance of the triggers, as no sample changed"),
              std::string::npos);
    EXPECT_EQ(data["window"], json({0, 49}));
    EXPECT_NE(data["warnings"][0].get<std::string>().find("nothing was removed"), std::string::npos);
}

TEST_F(ReportCommand, NamesCannotBreakThePage) {
    const std::string name = "<b>'\"&";
    write_file(name + ".ctc", read_file("a.ctc"));
    write_file(
        "x.prt",
        "FileVersion: 1\nExperiment:\nTimeResolution: samples\nCondition: <\\script><!--<script>\n100\n150\n200\n");
    ASSERT_EQ(run({"b.ctc", name + ".ctc", "--protocol", "x.prt", "--condition", "1", "-o", "x.html"}),
              "Report: x.html\n");
    const std::string page = read_file("x.html");
    EXPECT_NE(page.find("<title>&lt;b&gt;&#39;&quot;&amp;.ctc: removal of &lt;\\script&gt;"), std::string::npos);
    EXPECT_EQ(page.find("<b>"), std::string::npos);
    EXPECT_EQ(page.find("<!--"), std::string::npos);
    EXPECT_EQ(fact(data_of("x.html"), "After"), name + ".ctc");
}

TEST_F(ReportCommand, ValuesThatAreNoNumbersDoNotStopIt) {
    test::Channels channels(1, std::vector<float>(3000, 1.0f));
    for (std::size_t i = 0; i < 3000; ++i) {
        channels[0][i] = static_cast<float>(i % 7);
    }
    write_file("one.ctc", test::recording_bytes(channels, 100.0f));
    std::fill(channels[0].begin() + 90, channels[0].begin() + 300, std::numeric_limits<float>::quiet_NaN());
    write_file("gone.ctc", test::recording_bytes(channels, 100.0f));
    EXPECT_EQ(run({"one.ctc", "gone.ctc", "--protocol", "p.prt", "--condition", "slice", "--pre", "0", "--post", "290",
                   "-o", "n.html"}),
              "Report: n.html\n");
    const json data = data_of("n.html");
    EXPECT_TRUE(data["channels"]["rows"][0]["rmsAfter"].is_null());
    EXPECT_NE(data["warnings"][0].get<std::string>().find("not numbers"), std::string::npos);
}

TEST_F(ReportCommand, RefusesWhatCannotBeUsed) {
    const std::size_t before = files();
    EXPECT_EQ(report({}, "none.ctc"), "refused: none.ctc: no such file");
    EXPECT_EQ(
        report({"--pre", "10"}),
        "refused: --pre and --post belong together; give both, or neither to find the window from the samples that "
        "changed");
    EXPECT_EQ(report({"--truth", "none.ctc"}), "refused: none.ctc: no such file");
    EXPECT_EQ(report({"--condition", "beat"}).substr(0, 7), "usage: "); // given twice
    EXPECT_EQ(run({"b.ctc", "a.ctc", "--protocol", "p.prt", "--condition", "beat", "-o", "r.html"}).substr(0, 35),
              "refused: no condition \"beat\" in the");
    EXPECT_EQ(run({"b.ctc", "a.ctc", "--protocol", "p.prt", "--condition", "nowhere", "-o", "r.html"}),
              "refused: none of the 1 windows lies inside the recording; nothing can be compared");
    EXPECT_EQ(run({"b.ctc", "a.ctc", "--protocol", "p.prt", "--condition", "slice"}), "usage: --output is required");
    EXPECT_EQ(run({"b.ctc", "a.ctc", "--protocol", "p.prt", "--condition", "slice", "-o", "no/r.html"}),
              "refused: no/r.html: there is no folder no");
    EXPECT_EQ(files(), before);
}

TEST_F(ReportCommand, RefusesRecordingsThatDoNotMatch) {
    write_file("short.ctc", test::recording_bytes({std::vector<float>(2999), std::vector<float>(2999)}, 100.0f));
    EXPECT_EQ(report({}, "short.ctc"),
              "refused: the recordings do not match: b.ctc has 3000 samples, short.ctc has 2999");
    EXPECT_FALSE(folder.has("r.html"));
}

TEST_F(ReportCommand, NeverReplacesAFileUnasked) {
    write_file("r.html", "mine");
    EXPECT_EQ(report({}), "refused: r.html: exists already (--overwrite replaces it)");
    EXPECT_EQ(read_file("r.html"), "mine");
    EXPECT_EQ(report({"--overwrite"}), "Report: r.html\n");
    const std::string recording = read_file("b.ctc");
    EXPECT_EQ(run({"b.ctc", "a.ctc", "--protocol", "p.prt", "--condition", "slice", "-o", "./b.ctc", "--overwrite"}),
              "refused: ./b.ctc: is read for the report; choose another name for the report");
    EXPECT_EQ(read_file("b.ctc"), recording);
}

} // namespace
