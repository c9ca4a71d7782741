#include "workbench/trigger_table.h"

#include <gtest/gtest.h>

#include "tests/support/temporary_folder.h"
#include "tests/workbench/refusal.h"

namespace {

using test::refusal;
using workbench::Protocol;
using workbench::protocol_from_csv;

const std::string header = "condition,sample_number_0based\n";

class TriggerTable : public testing::Test {
protected:
    Protocol read(const std::string& text) { return protocol_from_csv(folder.write("t.csv", text), "E"); }

    std::string complaint(const std::string& text) {
        const std::string file = folder.write("t.csv", text);
        const std::string message = refusal([&] { protocol_from_csv(file, "E"); });
        EXPECT_EQ(message.substr(0, file.size() + 1), file + ":");
        return message.substr(file.size() + 1);
    }

    support::TemporaryFolder folder;
};

TEST_F(TriggerTable, ConditionsComeInOrderOfFirstAppearanceWithNumbersUnchanged) {
    const Protocol protocol = read(header + "slice,486\nbeat,0\nslice,2147483647\nslice,12\nbeat,7\n");
    EXPECT_EQ(protocol.experiment, "E");
    EXPECT_EQ(protocol.resolution, workbench::TimeResolution::samples);
    ASSERT_EQ(protocol.conditions.size(), 2U);
    EXPECT_EQ(protocol.conditions[0].name, "slice");
    EXPECT_EQ(protocol.conditions[0].intervals, (std::vector<std::int32_t>{486, 2147483647, 12}));
    EXPECT_EQ(protocol.conditions[1].name, "beat");
    EXPECT_EQ(protocol.conditions[1].intervals, (std::vector<std::int32_t>{0, 7}));
}

TEST_F(TriggerTable, QuotesAndCarriageReturnsAreUnderstood) {
    const Protocol protocol =
        read("\"condition\",\"sample_number_0based\"\r\n\"a, \"\"b\"\"\",\"3\"\r\n\r\n\"c\",4\r\n");
    ASSERT_EQ(protocol.conditions.size(), 2U);
    EXPECT_EQ(protocol.conditions[0].name, "a, \"b\"");
    EXPECT_EQ(protocol.conditions[0].intervals, std::vector<std::int32_t>{3});
    EXPECT_EQ(protocol.conditions[1].name, "c");
}

TEST_F(TriggerTable, HeaderIsRequiredAsItStands) {
    const std::string expected = "1: expected the header \"condition,sample_number_0based\", found ";
    EXPECT_EQ(complaint(""), expected + "the end of the file");
    EXPECT_EQ(complaint("slice,486\n"), expected + "\"slice,486\"");
    EXPECT_EQ(complaint("condition,sample\n"), expected + "\"condition,sample\"");
    EXPECT_EQ(complaint("condition, sample_number_0based\n"), expected + "\"condition, sample_number_0based\"");
    EXPECT_EQ(complaint("condition,sample_number_0based,x\n"), expected + "\"condition,sample_number_0based,x\"");
    EXPECT_EQ(complaint("condition;sample_number_0based\n"), expected + "\"condition;sample_number_0based\"");
}

TEST_F(TriggerTable, BadLinesAreReported) {
    EXPECT_EQ(complaint(header), "2: expected at least one trigger, found the end of the file");
    const std::string fields = "3: expected a condition's name, a comma and a sample number, found ";
    for (const std::string bad : {"a", "a,1,2", "\"a,1", "\"a\"b,1", "a\"b,1"}) {
        EXPECT_EQ(complaint(header + "a,1\n" + bad + "\n"), fields + "\"" + bad + "\"");
    }
    const std::string number = "3: expected a whole number from 0 to 2147483647, found ";
    for (const std::string bad : {"", " 1", "1.5", "-3", "2147483648", "x"}) {
        EXPECT_EQ(complaint(header + "a,1\na," + bad + "\n"), number + "\"" + bad + "\"");
    }
    EXPECT_EQ(complaint(header + ",1\n"), "2: expected a name of 1 to 240 bytes, found \"\"");
    EXPECT_EQ(complaint(header + "a/b,1\n"), "2: expected a name without '/', found \"a/b\"");
    EXPECT_EQ(complaint(header + "a\xFF,1\n"), "2: expected UTF-8 text, found \"a?,1\"");
}

TEST_F(TriggerTable, ExperimentIsChecked) {
    const std::string file = folder.write("t.csv", header + "a,1\n");
    EXPECT_EQ(refusal([&] { protocol_from_csv(file, std::string(303, 'x')); }),
              "the experiment's name: expected a text of at most 302 bytes");
    EXPECT_EQ(refusal([&] { protocol_from_csv(file, "two\nlines"); }),
              "the experiment's name: expected a text without control characters");
}

} // namespace
