#include "workbench/csv_line.h"

#include <gtest/gtest.h>

namespace {

using Fields = std::vector<std::string>;
using workbench::csv_field;
using workbench::csv_fields;

TEST(CsvLine, CommasSeparateAndEmptyFieldsCount) {
    EXPECT_EQ(csv_fields("a,b,c"), (Fields{"a", "b", "c"}));
    EXPECT_EQ(csv_fields(",a,"), (Fields{"", "a", ""}));
    EXPECT_EQ(csv_fields(""), (Fields{""}));
}

TEST(CsvLine, QuotesHoldCommasAndDoubledQuotes) {
    EXPECT_EQ(csv_fields("\"a,b\",\"say \"\"x\"\"\",\"\""), (Fields{"a,b", "say \"x\"", ""}));
}

TEST(CsvLine, BrokenQuotesAreNoFields) {
    EXPECT_FALSE(csv_fields("\"open"));
    EXPECT_FALSE(csv_fields("a\"b"));
    EXPECT_FALSE(csv_fields("\"a\"b,c"));
}

TEST(CsvLine, FieldIsQuotedWhereNeeded) {
    EXPECT_EQ(csv_field("plain name"), "plain name");
    EXPECT_EQ(csv_field("a,b"), "\"a,b\"");
    EXPECT_EQ(csv_field("say \"x\""), "\"say \"\"x\"\"\"");
    EXPECT_EQ(csv_field("two\nlines"), "\"two\nlines\"");
}

} // namespace
