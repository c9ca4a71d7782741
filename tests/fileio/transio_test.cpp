#include "fileio/transio.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstring>
#include <filesystem>
#include <limits>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <type_traits>
#include <vector>

#include "tests/support/child_process.h"
#include "tests/support/ctc_bytes.h"
#include "tests/support/temporary_folder.h"

namespace {

using support::Bytes;
using support::in_child;
using support::read_file;
using support::TemporaryFolder;

constexpr unsigned int readMode = 0x0001;
constexpr unsigned int writeMode = 0x0011;

// An open descriptor that closes itself.
struct View {
    transio_struct t{};
    int opened;

    View(const std::string& path, unsigned long long offset, std::vector<unsigned int> dims, unsigned int mode)
        : opened(transio_open(&t, path.c_str(), offset, static_cast<unsigned int>(dims.size()), dims.data(), mode)) {}
    ~View() { transio_close(&t); }
    View(const View&) = delete;
    View& operator=(const View&) = delete;
};

void expect_reset(const transio_struct& t) {
    EXPECT_STREQ(t.fileName, "");
    EXPECT_EQ(t.flags, 8u);
    EXPECT_EQ(t.stream, nullptr);
    EXPECT_EQ(t.baseOffset, 0u);
    EXPECT_EQ(t.elementSize, 0u);
    EXPECT_EQ(t.nDims, 0u);
    EXPECT_EQ(t.dims[0], 0u);
    EXPECT_EQ(t.elementCount, 0u);
}

// Opens with a descriptor full of rubbish: a refusal must reset all of it.
void expect_refused(const std::string& path, unsigned long long offset, std::vector<unsigned int> dims,
                    unsigned int mode) {
    transio_struct t;
    std::memset(&t, 0x5A, sizeof t);
    EXPECT_EQ(transio_open(&t, path.c_str(), offset, static_cast<unsigned int>(dims.size()), dims.data(), mode), 0);
    expect_reset(t);
    EXPECT_EQ(transio_close(&t), 1) << "closing after a refusal is harmless";
}

std::string counted_bytes(std::size_t n) {
    std::string bytes(n, '\0');
    for (std::size_t i = 0; i < n; ++i) {
        bytes[i] = static_cast<char>(i * 7 + 1);
    }
    return bytes;
}

// A path to the same file that is exactly `length` characters long.
std::string padded(const TemporaryFolder& folder, const std::string& name, std::size_t length) {
    return folder.path() + std::string(length - folder.path().size() - name.size(), '/') + name;
}

struct TypeCode {
    unsigned int code;
    unsigned int size;
};
constexpr TypeCode typeCodes[] = {{0x0000, 1}, {0x0100, 1}, {0x0200, 2}, {0x0300, 4}, {0x0400, 4},
                                  {0x0500, 1}, {0x0600, 2}, {0x0700, 4}, {0x0800, 8}};

} // namespace

TEST(TransioOpen, RecordsWhatItWasGiven) {
    const TemporaryFolder folder;
    const std::string path = folder.write("a", std::string(10 + 4 * 24, 'x'));
    const View view(path, 10, {2, 3, 4}, 0x0400 | readMode);
    ASSERT_EQ(view.opened, 1);
    EXPECT_EQ(view.t.fileName, path);
    EXPECT_EQ(view.t.flags, 0x0401u);
    EXPECT_NE(view.t.stream, nullptr);
    EXPECT_EQ(view.t.baseOffset, 10u);
    EXPECT_EQ(view.t.elementSize, 4u);
    EXPECT_EQ(view.t.nDims, 3u);
    EXPECT_EQ(view.t.dims[0], 2u);
    EXPECT_EQ(view.t.dims[1], 3u);
    EXPECT_EQ(view.t.dims[2], 4u);
    EXPECT_EQ(view.t.elementCount, 24u);
}

TEST(TransioOpen, KeepsTheModeBitsFrom0010To8000AndSetsTheOpenBit) {
    const TemporaryFolder folder;
    const std::string path = folder.write("a", "12345678");
    const View view(path, 0, {2}, 0xABC00000u | 0x034Eu);
    ASSERT_EQ(view.opened, 1);
    EXPECT_EQ(view.t.flags, 0x0341u);
}

TEST(TransioOpen, StreamStandsAtTheBaseOffset) {
    const TemporaryFolder folder;
    const std::string path = folder.write("a", "0123456789");
    for (const unsigned int mode : {readMode, writeMode}) {
        const View view(path, 3, {2}, mode);
        ASSERT_EQ(view.opened, 1);
        EXPECT_EQ(std::streamoff{view.t.stream->tellg()}, 3);
    }
}

TEST(TransioOpen, ElementSizeFollowsTheTypeCode) {
    const TemporaryFolder folder;
    for (const TypeCode type : typeCodes) {
        SCOPED_TRACE(type.code);
        const std::string path = folder.write("a", std::string(3 * type.size, 'x'));
        const View view(path, 0, {3}, type.code);
        ASSERT_EQ(view.opened, 1);
        EXPECT_EQ(view.t.elementSize, type.size);
        EXPECT_EQ(view.t.flags, type.code | 1u);
    }
}

TEST(TransioOpen, UnknownTypeCodeIsRefused) {
    const TemporaryFolder folder;
    const std::string path = folder.write("a", std::string(64, 'x'));
    for (unsigned int code = 0x0900; code <= 0xFF00; code += 0x0100) {
        expect_refused(path, 0, {1}, code | readMode);
        expect_refused(path, 0, {1}, code | writeMode);
    }
}

TEST(TransioOpen, OneToEightDimensionsAreAccepted) {
    const TemporaryFolder folder;
    const std::string path = folder.write("a", std::string(256, 'x'));
    for (unsigned int n = 1; n <= 8; ++n) {
        const View view(path, 0, std::vector<unsigned int>(n, 2), readMode);
        ASSERT_EQ(view.opened, 1) << n;
        EXPECT_EQ(view.t.elementCount, 1u << n);
    }
    expect_refused(path, 0, {}, readMode);
    expect_refused(path, 0, std::vector<unsigned int>(9, 1), readMode);
}

TEST(TransioOpen, AnExtentOfZeroIsRefused) {
    const TemporaryFolder folder;
    const std::string path = folder.write("a", std::string(64, 'x'));
    for (const unsigned int mode : {readMode, writeMode}) {
        expect_refused(path, 0, {0}, mode);
        expect_refused(path, 0, {2, 0, 3}, mode);
    }
    EXPECT_EQ(read_file(path).size(), 64u);
}

TEST(TransioOpen, ReadModeNeedsExactlyTheLengthOfTheArray) {
    const TemporaryFolder folder;
    for (const TypeCode type : typeCodes) {
        SCOPED_TRACE(type.code);
        const std::size_t required = 7 + 6 * type.size;
        EXPECT_EQ(View(folder.write("exact", std::string(required, 'x')), 7, {2, 3}, type.code | readMode).opened, 1);
        const std::string shorter = folder.write("shorter", std::string(required - 1, 'x'));
        expect_refused(shorter, 7, {2, 3}, type.code | readMode);
        EXPECT_EQ(read_file(shorter).size(), required - 1) << "reading never lengthens";
    }
}

TEST(TransioOpen, WriteModeLengthensToExactlyTheRequiredLengthWithZeros) {
    const TemporaryFolder folder;
    for (const std::size_t present : {0, 1, 100, 4095, 4096, 4097}) {
        for (const std::size_t required : {1, 100, 4095, 4096, 4097, 8191, 8192, 8193, 20000}) {
            if (required <= present) {
                continue;
            }
            SCOPED_TRACE(std::to_string(present) + " to " + std::to_string(required));
            const std::string before = counted_bytes(present);
            const std::string path = folder.write("a", before);
            const unsigned int offset = required >= 20 ? 20 : 0;
            transio_struct t;
            const unsigned int dims[1] = {static_cast<unsigned int>(required) - offset};
            ASSERT_EQ(transio_open(&t, path.c_str(), offset, 1, dims, writeMode), 1);
            transio_close(&t);
            EXPECT_EQ(read_file(path), before + std::string(required - present, '\0'));
        }
    }
}

TEST(TransioOpen, WriteModeKeepsALongerFile) {
    const TemporaryFolder folder;
    for (const std::size_t present : {50, 51, 9000}) {
        const std::string before = counted_bytes(present);
        const std::string path = folder.write("a", before);
        EXPECT_EQ(View(path, 10, {40}, writeMode).opened, 1);
        EXPECT_EQ(read_file(path), before);
    }
}

TEST(TransioOpen, EitherWriteBitOpensForWriting) {
    const TemporaryFolder folder;
    for (const unsigned int mode : {0x10u, 0x20u, 0x30u}) {
        SCOPED_TRACE(mode);
        const std::string path = folder.write("a", "abc");
        {
            const View view(path, 0, {4}, 0x0100 | mode);
            ASSERT_EQ(view.opened, 1);
            EXPECT_EQ(view.t.flags, 0x0101u | mode);
            const unsigned char value = 'Z';
            EXPECT_EQ(transio_write_uint8(&view.t, 1, 1, &value), 1u);
        }
        EXPECT_EQ(read_file(path), std::string("aZc\0", 4));
    }
}

TEST(TransioOpen, AMissingFileIsRefusedAndNotCreated) {
    const TemporaryFolder folder;
    expect_refused(folder.path("none"), 0, {1}, readMode);
    expect_refused(folder.path("none"), 0, {1}, writeMode);
    EXPECT_FALSE(folder.has("none"));
    expect_refused("", 0, {1}, readMode);
    expect_refused("", 0, {1}, writeMode);
}

TEST(TransioOpen, ADirectoryIsRefused) {
    const TemporaryFolder folder;
    expect_refused(folder.path(), 0, {1}, readMode);
    expect_refused(folder.path(), 0, {1}, writeMode);
}

TEST(TransioOpen, APipeIsRefusedWithoutWaitingForItsOtherEnd) {
    const TemporaryFolder folder;
    const std::string path = folder.path("pipe");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    for (const unsigned int mode : {readMode, writeMode}) {
        EXPECT_EQ(in_child([&] {
                      transio_struct t;
                      const unsigned int dims[1] = {1};
                      return transio_open(&t, path.c_str(), 0, 1, dims, mode) == 0 && t.flags == 8 ? 0 : 1;
                  }),
                  0);
    }
}

TEST(TransioOpen, PathsOf511CharactersAreKeptWholeAndLongerOnesRefused) {
    const TemporaryFolder folder;
    folder.write("a", "12345678");
    for (const unsigned int mode : {readMode, writeMode}) {
        const std::string longest = padded(folder, "a", 511);
        const View view(longest, 0, {8}, mode);
        ASSERT_EQ(view.opened, 1);
        EXPECT_EQ(view.t.fileName, longest);
        expect_refused(padded(folder, "a", 512), 0, {8}, mode);
        expect_refused(padded(folder, "a", 2000), 0, {8}, mode);
    }
}

TEST(TransioOpen, AProductOfExtentsThatWrapsIsRefused) {
    // 320 * 107367629 * 536903681 = 2^64 + 64: with wrap-around, an array of 64 bytes.
    constexpr std::uint64_t wrapped = std::uint64_t{320} * 107367629 * 536903681;
    static_assert(wrapped == 64);
    const TemporaryFolder folder;
    const std::string path = folder.write("a", std::string(200, 'x'));
    for (const unsigned int mode : {readMode, writeMode}) {
        expect_refused(path, 0, {320, 107367629, 536903681}, mode);
        expect_refused(path, 0, {0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF}, mode);
        expect_refused(path, 0, {0x80000000, 0x80000000, 4}, mode); // exactly 2^64
    }
    EXPECT_EQ(read_file(path).size(), 200u);
}

TEST(TransioOpen, ALengthThatWrapsIsRefused) {
    const TemporaryFolder folder;
    const std::string path = folder.write("a", std::string(200, 'x'));
    for (const unsigned int mode : {readMode, writeMode}) {
        expect_refused(path, 0, {0x80000000, 0x40000000}, 0x0800 | mode);         // 2^61 doubles
        expect_refused(path, 5, {641, 6700417, 0xFFFFFFFF}, mode);                // 2^64 - 1 bytes and 5
        expect_refused(path, 0xFFFFFFFFFFFFFFFFULL, {2}, mode);                   // offset and 2
        expect_refused(path, 0x7FFFFFFFFFFFFFFFULL, {1}, mode);                   // 2^63
        expect_refused(path, 0, {0x80000000, 0x80000000, 2}, mode);               // 2^63
        expect_refused(path, 0xFFFFFFFFFFFFFFF0ULL, {0x10}, 0x0100 | mode);       // wraps to exactly 0
        expect_refused(path, 0, {0x80000000, 0x80000000}, 0x0300 | mode);         // 2^62 words
        expect_refused(path, 0, {641, 6700417, 0x80000000u, 2u}, 0x0800u | mode); // both wrap
    }
    EXPECT_EQ(read_file(path).size(), 200u);
}

TEST(TransioOpen, AFailedLengtheningGivesTheOldLengthBack) {
    const TemporaryFolder folder;
    const std::string before = counted_bytes(100);
    const std::string path = folder.write("a", before);
    EXPECT_EQ(in_child([&] {
                  std::signal(SIGXFSZ, SIG_IGN);
                  if (!support::limit(RLIMIT_FSIZE, 10000)) {
                      return 2;
                  }
                  transio_struct t;
                  const unsigned int dims[1] = {20000};
                  if (transio_open(&t, path.c_str(), 0, 1, dims, writeMode) != 0) {
                      return 3;
                  }
                  return t.flags == 8 && t.stream == nullptr && t.elementCount == 0 ? 0 : 4;
              }),
              0);
    EXPECT_EQ(read_file(path), before);
}

TEST(TransioOpen, LengtheningUpToTheSizeLimitSucceeds) {
    const TemporaryFolder folder;
    const std::string path = folder.write("a", counted_bytes(100));
    EXPECT_EQ(in_child([&] {
                  std::signal(SIGXFSZ, SIG_IGN);
                  if (!support::limit(RLIMIT_FSIZE, 10000)) {
                      return 2;
                  }
                  transio_struct t;
                  const unsigned int dims[1] = {10000};
                  return transio_open(&t, path.c_str(), 0, 1, dims, writeMode) == 1 && transio_close(&t) == 1 ? 0 : 3;
              }),
              0);
    EXPECT_EQ(read_file(path), counted_bytes(100) + std::string(9900, '\0'));
}

TEST(TransioClose, ClosingTwiceIsHarmlessAndKeepsTheOtherFlags) {
    const TemporaryFolder folder;
    const std::string path = folder.write("a", "12345678");
    transio_struct t;
    const unsigned int dims[1] = {2};
    ASSERT_EQ(transio_open(&t, path.c_str(), 0, 1, dims, 0x0300 | writeMode), 1);
    EXPECT_EQ(t.flags, 0x0311u);
    EXPECT_EQ(transio_close(&t), 1);
    EXPECT_EQ(t.flags, 0x0310u);
    EXPECT_EQ(t.stream, nullptr);
    EXPECT_EQ(t.elementCount, 2u);
    EXPECT_EQ(transio_close(&t), 1);
    EXPECT_EQ(t.flags, 0x0310u);
}

TEST(TransioBuffer, MovesElementsOfTheDescriptorsSizeWhateverTheType) {
    const TemporaryFolder folder;
    for (const TypeCode type : typeCodes) {
        SCOPED_TRACE(type.code);
        const std::string before = counted_bytes(5 + 6 * type.size + 3);
        const std::string path = folder.write("a", before);
        const std::string src(2 * type.size, '\x77');
        {
            const View view(path, 5, {6}, type.code | writeMode);
            std::string dest(3 * type.size + 2, '#');
            EXPECT_EQ(transio_read_buffer(&view.t, 2, 3, dest.data()), 3u);
            EXPECT_EQ(dest, before.substr(5 + 2 * type.size, 3 * type.size) + "##");
            EXPECT_EQ(transio_write_buffer(&view.t, 3, 2, src.data()), 2u);
        }
        std::string expected = before;
        expected.replace(5 + 3 * type.size, src.size(), src);
        EXPECT_EQ(read_file(path), expected);
    }
}

TEST(TransioBuffer, ARangeMayEndAtTheLastElementAndNotBeyond) {
    const TemporaryFolder folder;
    const std::string before = counted_bytes(40);
    const std::string path = folder.write("a", before);
    const std::string src = "ABCDEFGHIJKLMNOP";
    {
        const View view(path, 4, {8}, 0x0200 | writeMode); // 16 bytes of array, 20 more in the file behind it
        std::string dest(18, '#');
        EXPECT_EQ(transio_read_buffer(&view.t, 0, 8, dest.data()), 8u);
        EXPECT_EQ(dest, before.substr(4, 16) + "##");

        dest.assign(18, '#');
        EXPECT_EQ(transio_read_buffer(&view.t, 0, 9, dest.data()), 0u);
        EXPECT_EQ(transio_read_buffer(&view.t, 1, 8, dest.data()), 0u);
        EXPECT_EQ(transio_read_buffer(&view.t, 8, 1, dest.data()), 0u);
        EXPECT_EQ(transio_read_buffer(&view.t, 9, 0, dest.data()), 0u);
        EXPECT_EQ(transio_read_buffer(&view.t, 8, 0, dest.data()), 0u);
        EXPECT_EQ(dest, std::string(18, '#'));

        EXPECT_EQ(transio_write_buffer(&view.t, 0, 9, src.data()), 0u);
        EXPECT_EQ(transio_write_buffer(&view.t, 7, 2, src.data()), 0u);
        EXPECT_EQ(transio_write_buffer(&view.t, 8, 1, src.data()), 0u);
        EXPECT_EQ(transio_write_buffer(&view.t, 7, 1, src.data()), 1u);
    }
    std::string expected = before;
    expected.replace(4 + 14, 2, "AB");
    EXPECT_EQ(read_file(path), expected);
}

TEST(TransioBuffer, ARangeThatWrapsIsRefused) {
    const TemporaryFolder folder;
    const std::string before = counted_bytes(64);
    const std::string path = folder.write("a", before);
    {
        const View view(path, 8, {8}, 0x0300 | writeMode);
        unsigned int values[4] = {1, 2, 3, 4};
        for (const unsigned long long first :
             {0xFFFFFFFFFFFFFFFFULL, 0xFFFFFFFFFFFFFFFEULL, 0x4000000000000000ULL, 0xC000000000000000ULL}) {
            SCOPED_TRACE(first);
            EXPECT_EQ(transio_read_buffer(&view.t, first, 4, values), 0u);
            EXPECT_EQ(transio_write_buffer(&view.t, first, 4, values), 0u);
            EXPECT_EQ(transio_read_uint32(&view.t, first, 4), nullptr);
            EXPECT_EQ(transio_write_uint32(&view.t, first, 4, values), 0u);
        }
        EXPECT_EQ(transio_read_buffer(&view.t, 1, 0xFFFFFFFF, values), 0u); // 0 in 32 bits
        EXPECT_EQ(transio_write_buffer(&view.t, 1, 0xFFFFFFFF, values), 0u);
        EXPECT_EQ(transio_read_uint32(&view.t, 1, 0xFFFFFFFF), nullptr);
        EXPECT_EQ(values[0], 1u);
        EXPECT_EQ(values[3], 4u);
    }
    EXPECT_EQ(read_file(path), before);
}

TEST(TransioBuffer, WritingToAReadOnlyDescriptorFailsAndDoesNotSpoilTheNextRead) {
    const TemporaryFolder folder;
    const std::string path = folder.write("a", "abcdefgh");
    {
        const View view(path, 0, {8}, 0x0100 | readMode);
        const unsigned char src[2] = {'X', 'Y'};
        EXPECT_EQ(transio_write_buffer(&view.t, 2, 2, src), 0u);
        EXPECT_EQ(transio_write_uint8(&view.t, 2, 2, src), 0u);
        char dest[3] = {};
        EXPECT_EQ(transio_read_buffer(&view.t, 1, 2, dest), 2u);
        EXPECT_STREQ(dest, "bc");
    }
    EXPECT_EQ(read_file(path), "abcdefgh");
}

TEST(TransioBuffer, AReadPastAShrunkFileFailsAndDoesNotSpoilTheNextAccess) {
    const TemporaryFolder folder;
    const std::string path = folder.write("a", counted_bytes(40));
    {
        const View view(path, 0, {40}, 0x0100 | writeMode);
        ASSERT_EQ(view.opened, 1);
        std::filesystem::resize_file(path, 10);
        char dest[41] = {};
        EXPECT_EQ(transio_read_buffer(&view.t, 8, 4, dest), 0u);
        EXPECT_EQ(transio_read_uint8(&view.t, 8, 4), nullptr);
        EXPECT_EQ(transio_read_buffer(&view.t, 2, 4, dest), 4u);
        EXPECT_EQ(std::string(dest, 4), counted_bytes(40).substr(2, 4));
        EXPECT_EQ(transio_read_buffer(&view.t, 0, 40, dest), 0u);
        EXPECT_EQ(transio_write_buffer(&view.t, 0, 1, "Q"), 1u);
    }
    std::string expected = counted_bytes(10);
    expected[0] = 'Q';
    EXPECT_EQ(read_file(path), expected);
}

TEST(TransioBuffer, WrittenElementsAreReadBackThroughTheSameDescriptor) {
    const TemporaryFolder folder;
    const std::string path = folder.write("a", counted_bytes(30));
    const View view(path, 2, {7}, 0x0700 | writeMode);
    const int src[2] = {-5, 123456789};
    int dest[3] = {};
    EXPECT_EQ(transio_write_buffer(&view.t, 3, 2, src), 2u);
    EXPECT_EQ(transio_read_buffer(&view.t, 3, 2, dest), 2u);
    EXPECT_EQ(dest[0], -5);
    EXPECT_EQ(dest[1], 123456789);
}

// The typed accessors, one type at a time.

namespace {

template <class T>
struct Accessor;

#define ACCESSOR(type, suffix, typeCode)                                                                               \
    template <>                                                                                                        \
    struct Accessor<type> {                                                                                            \
        static constexpr unsigned int code = typeCode;                                                                 \
        static type* read(const transio_struct* t, unsigned long long first, unsigned int count) {                     \
            return transio_read_##suffix(t, first, count);                                                             \
        }                                                                                                              \
        static unsigned int write(const transio_struct* t, unsigned long long first, unsigned int count,               \
                                  const type* src) {                                                                   \
            return transio_write_##suffix(t, first, count, src);                                                       \
        }                                                                                                              \
    };
ACCESSOR(unsigned char, uint8, 0x0100)
ACCESSOR(unsigned short, uint16, 0x0200)
ACCESSOR(unsigned int, uint32, 0x0300)
ACCESSOR(float, float, 0x0400)
ACCESSOR(signed char, int8, 0x0500)
ACCESSOR(short, int16, 0x0600)
ACCESSOR(int, int32, 0x0700)
ACCESSOR(double, double, 0x0800)
#undef ACCESSOR

// Extreme and ordinary values, and the same as little-endian bytes.
template <class T>
std::vector<T> sample_values() {
    using Limits = std::numeric_limits<T>;
    std::vector<T> values{Limits::lowest(), Limits::max(), static_cast<T>(0), static_cast<T>(1), static_cast<T>(100)};
    values.push_back(std::is_floating_point_v<T> ? static_cast<T>(-0.1) : static_cast<T>(-2));
    return values;
}

template <class T>
std::string bytes_of(const std::vector<T>& values) {
    Bytes out;
    for (const T value : values) {
        if constexpr (std::is_same_v<T, float>) {
            out.f32(value);
        } else if constexpr (std::is_same_v<T, double>) {
            out.f64(value);
        } else {
            const auto bits = static_cast<unsigned int>(value);
            for (std::size_t i = 0; i < sizeof(T); ++i) {
                out.u8(bits >> (8 * i));
            }
        }
    }
    return out.str();
}

template <class T>
class TransioTyped : public testing::Test {};

using AllTypes = testing::Types<unsigned char, unsigned short, unsigned int, float, signed char, short, int, double>;
TYPED_TEST_SUITE(TransioTyped, AllTypes);

} // namespace

TYPED_TEST(TransioTyped, ReadsARunIntoANewArray) {
    const TemporaryFolder folder;
    const std::vector<TypeParam> values = sample_values<TypeParam>();
    const std::string path = folder.write("a", "header!" + bytes_of(values));
    const View view(path, 7, {3, 2}, Accessor<TypeParam>::code | readMode);
    for (unsigned int first = 0; first < 6; ++first) {
        for (unsigned int count = 1; first + count <= 6; ++count) {
            const std::unique_ptr<TypeParam[]> read(Accessor<TypeParam>::read(&view.t, first, count));
            ASSERT_NE(read, nullptr);
            for (unsigned int i = 0; i < count; ++i) {
                EXPECT_EQ(read[i], values[first + i]);
            }
        }
    }
}

TYPED_TEST(TransioTyped, WritesARunInPlace) {
    const TemporaryFolder folder;
    const std::vector<TypeParam> values = sample_values<TypeParam>();
    const std::string before = counted_bytes(5 + 9 * sizeof(TypeParam) + 4);
    const std::string path = folder.write("a", before);
    {
        const View view(path, 5, {9}, Accessor<TypeParam>::code | writeMode);
        EXPECT_EQ(Accessor<TypeParam>::write(&view.t, 2, 6, values.data()), 6u);
    }
    std::string expected = before;
    expected.replace(5 + 2 * sizeof(TypeParam), 6 * sizeof(TypeParam), bytes_of(values));
    EXPECT_EQ(read_file(path), expected);
}

TYPED_TEST(TransioTyped, ARunOfZeroElementsIsAnEmptyArrayAndNotNull) {
    const TemporaryFolder folder;
    const std::string path = folder.write("a", std::string(4 * sizeof(TypeParam), 'x'));
    const View view(path, 0, {4}, Accessor<TypeParam>::code | readMode);
    for (const unsigned int first : {0u, 2u, 4u}) {
        const std::unique_ptr<TypeParam[]> read(Accessor<TypeParam>::read(&view.t, first, 0));
        EXPECT_NE(read, nullptr) << first;
    }
    EXPECT_EQ(Accessor<TypeParam>::read(&view.t, 5, 0), nullptr);
}

TYPED_TEST(TransioTyped, RangesBeyondTheArrayAreRefused) {
    const TemporaryFolder folder;
    const std::vector<TypeParam> values = sample_values<TypeParam>();
    const std::string before = counted_bytes(10 * sizeof(TypeParam));
    const std::string path = folder.write("a", before);
    {
        const View view(path, 0, {4}, Accessor<TypeParam>::code | writeMode);
        EXPECT_EQ(Accessor<TypeParam>::read(&view.t, 0, 5), nullptr);
        EXPECT_EQ(Accessor<TypeParam>::read(&view.t, 4, 1), nullptr);
        EXPECT_EQ(Accessor<TypeParam>::read(&view.t, 0xFFFFFFFFFFFFFFFFULL, 2), nullptr);
        EXPECT_EQ(Accessor<TypeParam>::write(&view.t, 0, 5, values.data()), 0u);
        EXPECT_EQ(Accessor<TypeParam>::write(&view.t, 4, 1, values.data()), 0u);
    }
    EXPECT_EQ(read_file(path), before);
}

TYPED_TEST(TransioTyped, EveryOtherTypeCodeIsRefused) {
    const TemporaryFolder folder;
    const std::vector<TypeParam> values = sample_values<TypeParam>();
    const std::string before = counted_bytes(32);
    for (const TypeCode type : typeCodes) {
        if (type.code == Accessor<TypeParam>::code) {
            continue;
        }
        SCOPED_TRACE(type.code);
        const std::string path = folder.write("a", before);
        {
            const View view(path, 0, {2}, type.code | writeMode);
            ASSERT_EQ(view.opened, 1);
            EXPECT_EQ(Accessor<TypeParam>::read(&view.t, 0, 1), nullptr);
            EXPECT_EQ(Accessor<TypeParam>::read(&view.t, 0, 0), nullptr);
            EXPECT_EQ(Accessor<TypeParam>::write(&view.t, 0, 1, values.data()), 0u);
        }
        EXPECT_EQ(read_file(path), before);
    }
}

TYPED_TEST(TransioTyped, WritingToAReadOnlyDescriptorFails) {
    const TemporaryFolder folder;
    const std::vector<TypeParam> values = sample_values<TypeParam>();
    const std::string before = counted_bytes(6 * sizeof(TypeParam));
    const std::string path = folder.write("a", before);
    {
        const View view(path, 0, {6}, Accessor<TypeParam>::code | readMode);
        EXPECT_EQ(Accessor<TypeParam>::write(&view.t, 0, 2, values.data()), 0u);
        const std::unique_ptr<TypeParam[]> read(Accessor<TypeParam>::read(&view.t, 0, 6));
        ASSERT_NE(read, nullptr) << "the refused write does not spoil the next read";
        EXPECT_EQ(std::memcmp(read.get(), before.data(), before.size()), 0);
    }
    EXPECT_EQ(read_file(path), before);
}
