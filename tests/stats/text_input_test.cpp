#include "stats/text_input.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>

#include "tests/support/temporary_folder.h"

namespace {

using support::TemporaryFolder;

struct CloseFile {
    void operator()(FILE* file) const { std::fclose(file); }
};

// A file of given bytes, and a buffer of sentinels.
struct Input {
    TemporaryFolder folder;
    std::unique_ptr<FILE, CloseFile> file;
    std::string buffer = std::string(64, '#');

    explicit Input(const std::string& bytes) : file(std::fopen(folder.write("text", bytes).c_str(), "rb")) {}

    int next(char delim = '|', int maxlen = 40) { return getNextString(delim, buffer.data() + 8, file.get(), maxlen); }
    // The buffer without its sentinels, zeros as '.'.
    std::string stored() const {
        std::string text = buffer;
        for (char& c : text) {
            c = c == '\0' ? '.' : c;
        }
        EXPECT_EQ(text.substr(0, 8), "########") << "written before the buffer";
        text.erase(0, 8);
        while (!text.empty() && text.back() == '#') {
            text.pop_back();
        }
        return text;
    }
};

} // namespace

TEST(GetNextString, ReadsBetweenTwoDelimiters) {
    Input input("x|abc|y");
    EXPECT_EQ(input.next(), 1);
    EXPECT_EQ(input.stored(), "abc.");
    input.buffer.assign(64, '#');
    EXPECT_EQ(input.next(), 0); // no further opening delimiter
    EXPECT_EQ(input.stored(), "");
}

TEST(GetNextString, SkipsWhatStandsBetweenStrings) {
    Input input("\"one\", \"two\"\n\"\" \"four\"");
    for (const char* expected : {"one.", "two.", ".", "four."}) {
        input.buffer.assign(64, '#');
        EXPECT_EQ(input.next('"'), 1);
        EXPECT_EQ(input.stored(), expected);
    }
    EXPECT_EQ(input.next('"'), 0);
}

TEST(GetNextString, KeepsLineFeedsZerosAndOtherBytes) {
    Input input(std::string("|a\nb\0\xFE\x80|", 8));
    EXPECT_EQ(input.next(), 1);
    EXPECT_EQ(input.stored(), "a\nb.\xFE\x80.");
}

TEST(GetNextString, TheDelimiterMayBeAnyOtherByte) {
    for (const char delim : {'\0', '\n', '\x80', '\xFE'}) {
        Input input(std::string("q") + delim + "abc" + delim + "r");
        EXPECT_EQ(input.next(delim), 1);
        EXPECT_EQ(input.stored(), "abc.");
    }
}

TEST(GetNextString, TheEndOfTheFileGivesZeroBeforeAndInsideAString) {
    for (const char* bytes : {"", "abc", "abc\n"}) {
        Input input(bytes);
        EXPECT_EQ(input.next(), 0);
        EXPECT_EQ(input.stored(), "");
        EXPECT_EQ(input.next(), 0); // and again
    }
    Input inside("x|ab");
    EXPECT_EQ(inside.next(), 0);
    EXPECT_EQ(inside.stored(), "ab"); // without a terminating zero
    EXPECT_EQ(inside.next(), 0);
    Input opened("x|");
    EXPECT_EQ(opened.next(), 0);
    EXPECT_EQ(opened.stored(), "");
}

TEST(GetNextString, AByte255EndsReadingAsTheEndOfTheFileDoes) {
    Input before("x\xFF|abc|");
    EXPECT_EQ(before.next(), 0);
    EXPECT_EQ(before.stored(), "");
    EXPECT_EQ(before.next(), 1); // reads on behind it
    EXPECT_EQ(before.stored(), "abc.");
    Input inside("|ab\xFF"
                 "cd|ef|");
    EXPECT_EQ(inside.next(), 0);
    EXPECT_EQ(inside.stored(), "ab");
    EXPECT_EQ(inside.next(), 1);
    EXPECT_EQ(inside.stored(), "ef.");
    // Even as the delimiter.
    Input delimiter("\xFF"
                    "abc\xFF");
    EXPECT_EQ(delimiter.next('\xFF'), 0);
    EXPECT_EQ(delimiter.next('\xFF'), 0);
    EXPECT_EQ(delimiter.stored(), "");
}

// The zero at index maxlen is followed by one where the string would have ended.
TEST(GetNextString, ALongerStringIsCutAndItsClosingZeroLandsAtItsLength) {
    Input input("|abcdefgh|");
    EXPECT_EQ(input.next('|', 3), 1);
    EXPECT_EQ(input.stored(), "abc.####.");
    Input one("|abcd|");
    EXPECT_EQ(one.next('|', 3), 1);
    EXPECT_EQ(one.stored(), "abc..");
    Input fits("|abc|");
    EXPECT_EQ(fits.next('|', 3), 1);
    EXPECT_EQ(fits.stored(), "abc.");
    Input unclosed("|abcdefgh");
    EXPECT_EQ(unclosed.next('|', 3), 0);
    EXPECT_EQ(unclosed.stored(), "abc.");
}

TEST(GetNextString, AMaximumOfNoneKeepsNoCharacter) {
    Input none("|abc|");
    EXPECT_EQ(none.next('|', 0), 1);
    EXPECT_EQ(none.stored(), ".##.");
    for (const int maxlen : {-1, -8, -2147483647 - 1}) {
        Input below("|abc|");
        EXPECT_EQ(below.next('|', maxlen), 1);
        EXPECT_EQ(below.stored(), "###.");
    }
}

TEST(GetNextString, AReadErrorEndsReading) {
    const TemporaryFolder folder;
    // A stream that was opened for writing cannot be read; neither can a folder.
    std::unique_ptr<FILE, CloseFile> writing(std::fopen(folder.path("out").c_str(), "wb"));
    char buffer[8] = "#######";
    EXPECT_EQ(getNextString('|', buffer, writing.get(), 4), 0);
    EXPECT_NE(std::ferror(writing.get()), 0);
    EXPECT_STREQ(buffer, "#######");
    std::unique_ptr<FILE, CloseFile> directory(std::fopen(folder.path().c_str(), "rb"));
    ASSERT_NE(directory, nullptr);
    EXPECT_EQ(getNextString('|', buffer, directory.get(), 4), 0);
    EXPECT_NE(std::ferror(directory.get()), 0);
    EXPECT_STREQ(buffer, "#######");
}

TEST(GetNextString, ReadsOnAfterAStringOfAnyLength) {
    const std::string longer(30, 'z');
    Input input("|" + longer + "|,|b|");
    EXPECT_EQ(input.next('|', 4), 1);
    input.buffer.assign(64, '#');
    EXPECT_EQ(input.next('|', 4), 1);
    EXPECT_EQ(input.stored(), "b.");
}
