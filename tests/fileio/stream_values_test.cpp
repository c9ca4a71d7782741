#include "fileio/stream_values.h"

#include <gtest/gtest.h>

#include <climits>
#include <fstream>
#include <string>

#include "tests/support/ctc_bytes.h"
#include "tests/support/temporary_folder.h"

namespace {

using support::Bytes;
using support::TemporaryFolder;

// A stream over a file with the given bytes.
struct File {
    TemporaryFolder folder;
    std::string path;
    std::fstream stream;

    explicit File(const std::string& bytes) : path(folder.write("a", bytes)), stream(open(path)) {}

    static std::fstream open(const std::string& path) {
        return std::fstream(path, std::ios::in | std::ios::out | std::ios::binary);
    }
    std::streamoff position() { return stream.tellg(); }
};

std::string written(const char* text, long size) {
    File file("");
    IOSWriteCString(file.stream, text, size);
    file.stream.close();
    return support::read_file(file.path);
}

} // namespace

TEST(StreamValues, RunsOfEachTypeAreReadOneAfterAnother) {
    Bytes bytes;
    bytes.f32(-0.5f).f32(3.25e20f).i8(-128).i8(127).i8(-1).i16(-32768).i16(258);
    bytes.i32(-2147483647 - 1).i32(67305985).u32(0xFFFFFFFF).u32(0x80000001).raw("end");
    File file(bytes.str());

    float floats[3] = {9, 9, 9};
    IOSReadFloat(file.stream, floats, 2);
    EXPECT_EQ(floats[0], -0.5f);
    EXPECT_EQ(floats[1], 3.25e20f);
    EXPECT_EQ(floats[2], 9.0f);
    EXPECT_EQ(file.position(), 8);

    signed char chars[4] = {9, 9, 9, 9};
    IOSReadChar(file.stream, chars, 3);
    EXPECT_EQ(chars[0], -128);
    EXPECT_EQ(chars[1], 127);
    EXPECT_EQ(chars[2], -1);
    EXPECT_EQ(chars[3], 9);
    EXPECT_EQ(file.position(), 11);

    short shorts[3] = {9, 9, 9};
    IOSReadShort(file.stream, shorts, 2);
    EXPECT_EQ(shorts[0], -32768);
    EXPECT_EQ(shorts[1], 258);
    EXPECT_EQ(shorts[2], 9);
    EXPECT_EQ(file.position(), 15);

    int longs[3] = {9, 9, 9};
    IOSReadLong(file.stream, longs, 2);
    EXPECT_EQ(longs[0], -2147483647 - 1);
    EXPECT_EQ(longs[1], 0x04030201);
    EXPECT_EQ(longs[2], 9);
    EXPECT_EQ(file.position(), 23);

    unsigned int ulongs[3] = {9, 9, 9};
    IOSReadULong(file.stream, ulongs, 2);
    EXPECT_EQ(ulongs[0], 0xFFFFFFFFu);
    EXPECT_EQ(ulongs[1], 0x80000001u);
    EXPECT_EQ(ulongs[2], 9u);
    EXPECT_EQ(file.position(), 31);
}

TEST(StreamValues, ACountOfZeroReadsNothing) {
    File file("abcdefgh");
    float f = 1;
    signed char c = 2;
    short s = 3;
    int l = 4;
    unsigned int u = 5;
    IOSReadFloat(file.stream, &f, 0);
    IOSReadChar(file.stream, &c, 0);
    IOSReadShort(file.stream, &s, 0);
    IOSReadLong(file.stream, &l, 0);
    IOSReadULong(file.stream, &u, 0);
    EXPECT_EQ(f, 1.0f);
    EXPECT_EQ(c, 2);
    EXPECT_EQ(s, 3);
    EXPECT_EQ(l, 4);
    EXPECT_EQ(u, 5u);
    EXPECT_EQ(file.position(), 0);
}

TEST(StreamValues, ValuesThatTheFileDoesNotHoldKeepWhatTheyWere) {
    File file(Bytes().i32(11).i32(12).str());
    int values[4] = {1, 2, 3, 4};
    IOSReadLong(file.stream, values, 4);
    EXPECT_EQ(values[0], 11);
    EXPECT_EQ(values[1], 12);
    EXPECT_EQ(values[2], 3);
    EXPECT_EQ(values[3], 4);
}

TEST(IOSReadCString, ReadsUpToAndIncludingTheNul) {
    File file(std::string("ab\0cd", 5));
    std::string buf(64, '#');
    IOSReadCString(file.stream, buf.data(), 64);
    EXPECT_EQ(file.position(), 3);
    EXPECT_STREQ(buf.c_str(), "ab");
    EXPECT_EQ(buf[3], '#') << "bytes behind the string are left alone";
    EXPECT_EQ(buf[63], '\0') << "the last byte of the field is always set";
}

TEST(IOSReadCString, AnEmptyStringTakesOneByte) {
    File file(std::string("\0ab", 3));
    char buf[8] = "#######";
    IOSReadCString(file.stream, buf, 8);
    EXPECT_EQ(file.position(), 1);
    EXPECT_STREQ(buf, "");
}

TEST(IOSReadCString, AStringThatFillsTheFieldIsCutAndItsRestStaysInTheStream) {
    File file(std::string("abcdefghij\0", 11));
    char buf[10] = "#########";
    IOSReadCString(file.stream, buf, 8);
    EXPECT_STREQ(buf, "abcdefg");
    EXPECT_EQ(buf[8], '#');
    EXPECT_EQ(file.position(), 7);
}

TEST(IOSReadCString, AStringOfExactlyTheCapacityLeavesItsNulInTheStream) {
    const std::string text(511, 't');
    File file(text + std::string("\0next", 5));
    char buf[512];
    IOSReadCString(file.stream, buf, 512);
    EXPECT_EQ(buf, text);
    EXPECT_EQ(file.position(), 511);
    EXPECT_EQ(file.stream.get(), 0);
}

TEST(IOSReadCString, ACapacityOfOneReadsNothing) {
    File file("abc");
    char buf[2] = {'#', '#'};
    IOSReadCString(file.stream, buf, 1);
    EXPECT_EQ(buf[0], '\0');
    EXPECT_EQ(buf[1], '#');
    EXPECT_EQ(file.position(), 0);
}

TEST(IOSReadCString, ACapacityOfZeroTouchesNothing) {
    File file("abc");
    char buf[1] = {'#'};
    IOSReadCString(file.stream, buf, 0);
    EXPECT_EQ(buf[0], '#');
    EXPECT_EQ(file.position(), 0);
}

TEST(IOSReadCString, AtTheEndOfTheFileTheStringEndsAtWhatWasRead) {
    File file("abc");
    std::string buf(16, '#');
    IOSReadCString(file.stream, buf.data(), 16);
    EXPECT_STREQ(buf.c_str(), "abc");

    File empty("");
    buf.assign(16, '#');
    IOSReadCString(empty.stream, buf.data(), 16);
    EXPECT_STREQ(buf.c_str(), "");
}

TEST(IOSWriteCString, WritesTheStringAndOneNul) {
    EXPECT_EQ(written("abc", 64), std::string("abc\0", 4));
    EXPECT_EQ(written("", 64), std::string("\0", 1));
}

TEST(IOSWriteCString, ALongStringIsCutOneShortOfTheCapacity) {
    EXPECT_EQ(written("abcdefghijklmnopqrst", 8), std::string("abcdefg\0", 8));
    EXPECT_EQ(written("abcdefgh", 8), std::string("abcdefg\0", 8));
    EXPECT_EQ(written("abcdefg", 8), std::string("abcdefg\0", 8));
    EXPECT_EQ(written("abcdef", 8), std::string("abcdef\0", 7));
}

TEST(IOSWriteCString, ACapacityOfOneOrLessIsOneNul) {
    EXPECT_EQ(written("abc", 1), std::string("\0", 1));
    for (const long size : {0L, -1L, LONG_MIN + 1, LONG_MIN}) {
        EXPECT_EQ(written("abc", size), std::string("\0", 1)) << size;
    }
}

TEST(IOSWriteCString, WritesAtTheCurrentPosition) {
    File file("0123456789");
    file.stream.seekp(2);
    IOSWriteCString(file.stream, "ab", 5);
    file.stream.close();
    EXPECT_EQ(support::read_file(file.path), std::string("01ab\0"
                                                         "56789",
                                                         10));
}
