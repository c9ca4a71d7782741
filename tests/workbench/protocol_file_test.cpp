#include "workbench/protocol_file.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/temporary_folder.h"
#include "tests/workbench/refusal.h"

namespace {

using support::TemporaryFolder;
using test::refusal;
using workbench::Protocol;
using workbench::read_protocol;
using workbench::TimeResolution;

const std::string head = "FileVersion: 1\nExperiment: Rest\nTimeResolution: samples\n";

class ProtocolFile : public testing::Test {
protected:
    Protocol read(const std::string& text) { return read_protocol(folder.write("p.prt", text)); }

    // The complaint about a text, without the file's name: "LINE: expected ..., found ...".
    std::string complaint(const std::string& text) {
        const std::string file = folder.write("p.prt", text);
        const std::string message = refusal([&] { read_protocol(file); });
        EXPECT_EQ(message.substr(0, file.size() + 1), file + ":");
        EXPECT_EQ(message.find('\n'), std::string::npos) << message;
        return message.substr(file.size() + 1);
    }

    TemporaryFolder folder;
};

TEST_F(ProtocolFile, IsReadWithCommentsAndBlankLines) {
    const Protocol protocol = read("# a comment\n\nFileVersion: 1\n  \t\nExperiment: Two words: and a colon\n#x\n"
                                   "TimeResolution: microseconds\nCondition: Scanner slice\n0\n# between\n2147483647\n"
                                   "\n007\nCondition: empty\nCondition: last\n5");
    EXPECT_EQ(protocol.experiment, "Two words: and a colon");
    EXPECT_EQ(protocol.resolution, TimeResolution::microseconds);
    ASSERT_EQ(protocol.conditions.size(), 3U);
    EXPECT_EQ(protocol.conditions[0].name, "Scanner slice");
    EXPECT_EQ(protocol.conditions[0].intervals, (std::vector<std::int32_t>{0, 2147483647, 7}));
    EXPECT_EQ(protocol.conditions[1].name, "empty");
    EXPECT_TRUE(protocol.conditions[1].intervals.empty());
    EXPECT_EQ(protocol.conditions[2].intervals, std::vector<std::int32_t>{5});
}

TEST_F(ProtocolFile, LinesMayEndInCarriageReturnAndLineFeed) {
    const Protocol protocol = read("FileVersion: 1\r\nExperiment: E\r\n\r\nTimeResolution: samples\r\n"
                                   "Condition: a\r\n12\r\n34\r\n");
    EXPECT_EQ(protocol.experiment, "E");
    EXPECT_EQ(protocol.conditions.at(0).name, "a");
    EXPECT_EQ(protocol.conditions.at(0).intervals, (std::vector<std::int32_t>{12, 34}));
}

TEST_F(ProtocolFile, ExperimentMayBeEmptyWithOrWithoutBlank) {
    for (const std::string line : {"Experiment:\n", "Experiment: \n"}) {
        EXPECT_EQ(read("FileVersion: 1\n" + line + "TimeResolution: samples\nCondition: a\n").experiment, "");
    }
}

TEST_F(ProtocolFile, TextOfAProtocolIsTheDocumentedFormat) {
    const Protocol protocol{"My scan", TimeResolution::samples, {{"slice", {10, 20}}, {"beat", {}}}};
    EXPECT_EQ(workbench::protocol_text(protocol), "FileVersion: 1\nExperiment: My scan\nTimeResolution: samples\n"
                                                  "\nCondition: slice\n10\n20\n\nCondition: beat\n");
}

TEST_F(ProtocolFile, WhatIsWrittenIsReadBack) {
    const Protocol protocol{" leading blank, \xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80 ",
                            TimeResolution::microseconds,
                            {{"100", {0}}, {"R%d, \"x\"", {3, 2, 1}}, {"#hash", {}}, {std::string(240, 'n'), {9}}}};
    const Protocol again = read(workbench::protocol_text(protocol));
    EXPECT_EQ(again.experiment, protocol.experiment);
    EXPECT_EQ(again.resolution, protocol.resolution);
    ASSERT_EQ(again.conditions.size(), protocol.conditions.size());
    for (std::size_t i = 0; i < again.conditions.size(); ++i) {
        EXPECT_EQ(again.conditions[i].name, protocol.conditions[i].name);
        EXPECT_EQ(again.conditions[i].intervals, protocol.conditions[i].intervals);
    }
}

TEST_F(ProtocolFile, WithoutExperimentIsReadBackToo) {
    const Protocol protocol{"", TimeResolution::samples, {{"a", {1}}}};
    EXPECT_EQ(read(workbench::protocol_text(protocol)).experiment, "");
}

TEST_F(ProtocolFile, FileVersionMustComeFirstAndBeOne) {
    const std::string expected = "expected \"FileVersion: 1\", found ";
    EXPECT_EQ(complaint(""), "1: " + expected + "the end of the file");
    EXPECT_EQ(complaint("\n# only a comment\n"), "3: " + expected + "the end of the file");
    EXPECT_EQ(complaint("Experiment: x\n"), "1: " + expected + "\"Experiment: x\"");
    EXPECT_EQ(complaint("FileVersion: 2\n"), "1: " + expected + "\"FileVersion: 2\"");
    EXPECT_EQ(complaint("FileVersion:1\n"), "1: " + expected + "\"FileVersion:1\"");
    EXPECT_EQ(complaint("FileVersion: 1 \n"), "1: " + expected + "\"FileVersion: 1 \"");
    EXPECT_EQ(complaint("fileversion: 1\n"), "1: " + expected + "\"fileversion: 1\"");
}

TEST_F(ProtocolFile, KeysComeInTheirOrderAndOnce) {
    EXPECT_EQ(complaint("FileVersion: 1\nTimeResolution: samples\n"),
              "2: expected \"Experiment: TEXT\", found \"TimeResolution: samples\"");
    EXPECT_EQ(complaint("FileVersion: 1\nExperiment: a\nExperiment: b\n"),
              "3: expected \"TimeResolution: samples\" or \"TimeResolution: microseconds\", found \"Experiment: b\"");
    EXPECT_EQ(complaint("FileVersion: 1\nExperiment: a\nTimeResolution: seconds\n"),
              "3: expected \"TimeResolution: samples\" or \"TimeResolution: microseconds\", found "
              "\"TimeResolution: seconds\"");
    EXPECT_EQ(complaint("FileVersion: 1\nExperiment: a\nTimeResolution:\n"),
              "3: expected \"TimeResolution: samples\" or \"TimeResolution: microseconds\", found \"TimeResolution:\"");
    EXPECT_EQ(complaint(head + "TimeResolution: samples\n"),
              "4: expected \"Condition: NAME\", found \"TimeResolution: samples\"");
    EXPECT_EQ(complaint(head + "12\n"), "4: expected \"Condition: NAME\", found \"12\"");
    EXPECT_EQ(complaint(head), "4: expected \"Condition: NAME\", found the end of the file");
    EXPECT_EQ(complaint(head + "Condition: a\n1\nFileVersion: 1\n"),
              "6: expected a whole number from 0 to 2147483647 or \"Condition: NAME\", found \"FileVersion: 1\"");
}

TEST_F(ProtocolFile, IntervalsAreWholeNumbersInRange) {
    for (const std::string bad :
         {"-1", "+1", "1.0", "1e3", "0x10", "2147483648", "99999999999999999999", " 5", "5 ", "5,6", "5 6", "five"}) {
        EXPECT_EQ(complaint(head + "Condition: a\n1\n" + bad + "\n"),
                  "6: expected a whole number from 0 to 2147483647 or \"Condition: NAME\", found \"" + bad + "\"");
    }
}

TEST_F(ProtocolFile, ConditionNamesAreChecked) {
    const auto named = [&](const std::string& name) { return complaint(head + "Condition: " + name + "\n"); };
    EXPECT_EQ(named(""), "4: expected a name of 1 to 240 bytes, found \"\"");
    EXPECT_EQ(complaint(head + "Condition:\n"), "4: expected a name of 1 to 240 bytes, found \"\"");
    EXPECT_EQ(named(std::string(241, 'x')),
              "4: expected a name of 1 to 240 bytes, found \"" + std::string(60, 'x') + "...\"");
    EXPECT_EQ(named("a/b"), "4: expected a name without '/', found \"a/b\"");
    EXPECT_EQ(named(" a"), "4: expected a name without blanks around it, found \" a\"");
    EXPECT_EQ(named("a "), "4: expected a name without blanks around it, found \"a \"");
    EXPECT_EQ(named("a\tb"), "4: expected a name without control characters, found \"a?b\"");
    EXPECT_EQ(named(std::string("a\0b", 3)), "4: expected UTF-8 text, found \"Condition: a?b\"");
    EXPECT_EQ(named("a\x7F"), "4: expected a name without control characters, found \"a?\"");
    EXPECT_EQ(named("a\xC2\x85"), "4: expected a name without control characters, found \"a?\"");
    EXPECT_EQ(named("a\rb"), "4: expected a name without control characters, found \"a?b\"");
    EXPECT_EQ(complaint(head + "Condition: a\n1\nCondition: a\n"),
              "6: expected a condition that was not given before, found \"a\"");
}

TEST_F(ProtocolFile, ExperimentIsChecked) {
    const auto titled = [&](const std::string& text) {
        return complaint("FileVersion: 1\nExperiment: " + text + "\nTimeResolution: samples\nCondition: a\n");
    };
    EXPECT_EQ(titled(std::string(303, 'e')),
              "2: expected a text of at most 302 bytes, found \"" + std::string(60, 'e') + "...\"");
    EXPECT_EQ(titled("a\tb"), "2: expected a text without control characters, found \"a?b\"");
    const std::string longest(302, 'e');
    EXPECT_EQ(read("FileVersion: 1\nExperiment: " + longest + "\nTimeResolution: samples\nCondition: a\n").experiment,
              longest);
}

TEST_F(ProtocolFile, TextMustBeUtf8OfReasonableLength) {
    EXPECT_EQ(complaint(head + "Condition: caf\xE9\n"), "4: expected UTF-8 text, found \"Condition: caf?\"");
    EXPECT_EQ(complaint("# caf\xE9\n" + head), "1: expected UTF-8 text, found \"# caf?\"");
    EXPECT_EQ(complaint("\xEF\xBB\xBF" + head), "1: expected plain UTF-8 text, found a byte order mark");
    EXPECT_EQ(complaint("# " + std::string(5000, 'x')),
              "1: expected a line of text of at most 4096 bytes, found a longer one");
}

TEST_F(ProtocolFile, FilesThatCannotBeReadAreNamed) {
    EXPECT_EQ(refusal([&] { read_protocol(folder.path("none.prt")); }), folder.path("none.prt") + ": no such file");
    EXPECT_EQ(refusal([&] { read_protocol(folder.path()); }), folder.path() + ": is a folder, not a file");
    EXPECT_EQ(refusal([&] { read_protocol("/dev/null"); }), "/dev/null: is not a regular file");
}

TEST(FindCondition, ExactNameWinsOverNumber) {
    const Protocol protocol{"", TimeResolution::samples, {{"slice", {1}}, {"3", {}}, {"1", {5, 6}}}};
    EXPECT_EQ(workbench::find_condition(protocol, "slice"), 0);
    EXPECT_EQ(workbench::find_condition(protocol, "3"), 1);
    EXPECT_EQ(workbench::find_condition(protocol, "1"), 2);
    EXPECT_EQ(workbench::find_condition(protocol, "2"), 1);
}

TEST(FindCondition, RefusalListsTheConditions) {
    const Protocol protocol{"", TimeResolution::samples, {{"slice", {1}}, {"heart beat", {5, 6}}}};
    for (const std::string wrong : {"Slice", "0", "3", "-1", "slice ", "", "99999999999"}) {
        EXPECT_EQ(refusal([&] { workbench::find_condition(protocol, wrong); }),
                  "no condition \"" + wrong +
                      "\" in the protocol; it has 1 \"slice\" (1 intervals), 2 \"heart beat\" (2 intervals)");
    }
}

} // namespace
