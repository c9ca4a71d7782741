#include "workbench/input_file.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include "tests/support/temporary_folder.h"
#include "tests/workbench/refusal.h"

namespace {

using test::refusal;
using workbench::utf8_length;

TEST(OpenInputFile, RefusesWhatIsNotAFileWithoutBlocking) {
    const support::TemporaryFolder folder;
    const std::string pipe = folder.path("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(refusal([&] { workbench::open_input_file(pipe); }), pipe + ": is not a regular file");
    EXPECT_EQ(refusal([&] { workbench::open_input_file(folder.path("none")); }),
              folder.path("none") + ": no such file");
    const std::string longName(300, 'n');
    EXPECT_EQ(refusal([&] { workbench::open_input_file(longName); }),
              longName + ": cannot be opened (File name too long)");
}

TEST(Printable, KeepsATextOnOneLineAndShort) {
    EXPECT_EQ(workbench::printable("plain \xC3\xA9"), "plain \xC3\xA9");
    EXPECT_EQ(workbench::printable("a\nb\x1B[31m\xC2\x9B"), "a?b?[31m?");
    EXPECT_EQ(workbench::printable("\xE9t\xE9"), "?t?");
    EXPECT_EQ(workbench::printable(std::string(60, 'x')), std::string(60, 'x'));
    EXPECT_EQ(workbench::printable(std::string(61, 'x')), std::string(60, 'x') + "...");
    // A character that does not fit as a whole is left out as a whole.
    EXPECT_EQ(workbench::printable(std::string(59, 'x') + "\xC3\xA9"), std::string(59, 'x') + "...");
}

TEST(Utf8Length, KnowsWellFormedCharacters) {
    EXPECT_EQ(utf8_length("a", 0), 1U);
    EXPECT_EQ(utf8_length("\xC3\xA9", 0), 2U);
    EXPECT_EQ(utf8_length("\xE2\x82\xAC", 0), 3U);
    EXPECT_EQ(utf8_length("\xF4\x8F\xBF\xBF", 0), 4U); // the last code point
    for (const std::string bad : {"\x80", "\xC3", "\xC3(", "\xC1\x81", "\xE0\x9F\xBF", "\xED\xA0\x80", "\xE2\x82",
                                  "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xF0\x9F\x98", "\xFF"}) {
        EXPECT_EQ(utf8_length(bad, 0), 0U) << testing::PrintToString(bad);
    }
    EXPECT_EQ(utf8_length("", 0), 0U);
}

} // namespace
