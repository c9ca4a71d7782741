// CVX files: CreateCVX, ReadCVX, WriteCVX and FreeCVX.

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <vector>

#include "fileio/cvx.h"
#include "tests/support/allocation_probe.h"
#include "tests/support/checkers.h"
#include "tests/support/child_process.h"
#include "tests/support/ctc_bytes.h"
#include "tests/support/temporary_folder.h"

namespace {

using support::Bytes;
using support::in_child;
using support::TemporaryFolder;

// What a file states, field by field. The counts may lie.
struct File {
    std::uint32_t fileVersion = 1;
    std::string firstText = "first text";
    std::string secondText = "second";
    std::uint32_t order = 3;
    std::vector<std::uint32_t> orderValues = {11, 0xDEADBEEF, 13};
    std::uint32_t fourthCount = 44;
    std::uint32_t pairCount = 2;
    std::vector<std::uint32_t> pairValues = {0, 0xFFFFFFFF};
    std::uint32_t firstSetting = 5;
    std::uint32_t secondSetting = 0x80000001;
    float thirdSetting = -0.5f;
    float fourthSetting = 1e-30f;
    std::uint32_t extraCount = 2;
    std::vector<std::uint32_t> extraValues = {21, 22};
    std::vector<std::vector<double>> matrices = {{1, 2, 3, 4, 5, 6, 7, 8, 9.5}, {-1, -2, -3, -4, 1e300, 6, 7, 8, 0.1}};
};

// The same with a single matrix and no extra values.
File single_file() {
    File file;
    file.pairCount = 0;
    file.pairValues = {};
    file.extraCount = 0;
    file.extraValues = {};
    file.matrices.pop_back();
    return file;
}

std::string bytes_of(const File& file) {
    Bytes out;
    out.u32(file.fileVersion);
    out.raw(file.firstText).u8(0).raw(file.secondText).u8(0);
    out.u32(file.order);
    for (const std::uint32_t value : file.orderValues) {
        out.u32(value);
    }
    out.u32(file.fourthCount).u32(file.pairCount);
    for (const std::uint32_t value : file.pairValues) {
        out.u32(value);
    }
    out.u32(file.firstSetting).u32(file.secondSetting).f32(file.thirdSetting).f32(file.fourthSetting);
    out.u32(file.extraCount);
    for (const std::uint32_t value : file.extraValues) {
        out.u32(value);
    }
    for (const std::vector<double>& matrix : file.matrices) {
        for (const double value : matrix) {
            out.f64(value);
        }
    }
    return out.str();
}

// Reads the layout from bytes that go on as zeros for ever.
class ZeroPadded {
public:
    explicit ZeroPadded(std::string given) : bytes(std::move(given)) {}

    template <class T>
    T value() {
        char raw[sizeof(T)];
        for (char& c : raw) {
            c = next();
        }
        T result;
        std::memcpy(&result, raw, sizeof result);
        return result;
    }
    std::string text() {
        std::string result;
        for (char c = next(); c != '\0'; c = next()) {
            result += c;
        }
        return result;
    }
    template <class T>
    std::vector<T> values(std::size_t count) {
        std::vector<T> result(count);
        for (T& one : result) {
            one = value<T>();
        }
        return result;
    }

private:
    char next() { return position < bytes.size() ? bytes[position++] : '\0'; }

    std::string bytes;
    std::size_t position = 0;
};

File parse(const std::string& bytes) {
    ZeroPadded in(bytes);
    File file;
    file.fileVersion = in.value<std::uint32_t>();
    file.firstText = in.text();
    file.secondText = in.text();
    file.order = in.value<std::uint32_t>();
    file.orderValues = in.values<std::uint32_t>(file.order);
    file.fourthCount = in.value<std::uint32_t>();
    file.pairCount = in.value<std::uint32_t>();
    file.pairValues = in.values<std::uint32_t>(file.pairCount);
    file.firstSetting = in.value<std::uint32_t>();
    file.secondSetting = in.value<std::uint32_t>();
    file.thirdSetting = in.value<float>();
    file.fourthSetting = in.value<float>();
    file.extraCount = in.value<std::uint32_t>();
    file.extraValues = in.values<std::uint32_t>(file.extraCount);
    file.matrices.clear();
    for (int i = 0; i < (file.pairCount != 0 ? 2 : 1); ++i) {
        file.matrices.push_back(in.values<double>(std::size_t{file.order} * file.order));
    }
    return file;
}

// Holds a structure and releases it.
class Cvx {
public:
    explicit Cvx(CVXStruct* structure) : cvx(structure) {}
    explicit Cvx(const std::string& path) : cvx(ReadCVX(path.c_str())) {}
    ~Cvx() { FreeCVX(&cvx); }
    Cvx(const Cvx&) = delete;
    Cvx& operator=(const Cvx&) = delete;

    CVXStruct* get() const { return cvx; }
    CVXStruct* operator->() const { return cvx; }
    bool null() const { return cvx == nullptr; }

private:
    CVXStruct* cvx;
};

bool refused(const std::string& path) {
    return Cvx(path).null();
}

bool same_matrix(const double* held, const std::vector<double>& expected) {
    if (held == nullptr || expected.empty()) {
        return held != nullptr;
    }
    return std::memcmp(held, expected.data(), expected.size() * sizeof(double)) == 0;
}

void expect_holds(const CVXStruct& cvx, const File& file) {
    EXPECT_EQ(cvx.FileVersion, file.fileVersion);
    EXPECT_EQ(cvx.FirstText, file.firstText);
    EXPECT_EQ(cvx.SecondText, file.secondText);
    ASSERT_EQ(cvx.MatrixOrder, file.order);
    ASSERT_NE(cvx.OrderValues, nullptr);
    EXPECT_TRUE(std::equal(file.orderValues.begin(), file.orderValues.end(), cvx.OrderValues));
    EXPECT_EQ(cvx.FourthCount, file.fourthCount);
    ASSERT_EQ(cvx.NrOfPairValues, file.pairCount);
    ASSERT_EQ(cvx.PairValues != nullptr, file.pairCount != 0);
    EXPECT_TRUE(std::equal(file.pairValues.begin(), file.pairValues.end(), cvx.PairValues));
    EXPECT_EQ(cvx.FirstSetting, file.firstSetting);
    EXPECT_EQ(cvx.SecondSetting, file.secondSetting);
    EXPECT_EQ(cvx.ThirdSetting, file.thirdSetting);
    EXPECT_EQ(cvx.FourthSetting, file.fourthSetting);
    ASSERT_EQ(cvx.NrOfExtraValues, file.extraCount);
    ASSERT_EQ(cvx.ExtraValues != nullptr, file.extraCount != 0);
    EXPECT_TRUE(std::equal(file.extraValues.begin(), file.extraValues.end(), cvx.ExtraValues));
    if (file.pairCount != 0) {
        EXPECT_EQ(cvx.SingleMatrix, nullptr);
        EXPECT_TRUE(same_matrix(cvx.FirstMatrix, file.matrices[0]));
        EXPECT_TRUE(same_matrix(cvx.SecondMatrix, file.matrices[1]));
    } else {
        EXPECT_TRUE(same_matrix(cvx.SingleMatrix, file.matrices[0]));
        EXPECT_EQ(cvx.FirstMatrix, nullptr);
        EXPECT_EQ(cvx.SecondMatrix, nullptr);
    }
}

// A structure in memory with everything that the file states.
CVXStruct* create(const File& file) {
    CVXStruct* cvx = CreateCVX(file.firstText.c_str(), file.secondText.c_str(), file.order, file.fourthCount,
                               file.pairCount, file.extraCount);
    cvx->FirstSetting = file.firstSetting;
    cvx->SecondSetting = file.secondSetting;
    cvx->ThirdSetting = file.thirdSetting;
    cvx->FourthSetting = file.fourthSetting;
    std::copy(file.orderValues.begin(), file.orderValues.end(), cvx->OrderValues);
    std::copy(file.pairValues.begin(), file.pairValues.end(), cvx->PairValues);
    std::copy(file.extraValues.begin(), file.extraValues.end(), cvx->ExtraValues);
    double* first = file.pairCount != 0 ? cvx->FirstMatrix : cvx->SingleMatrix;
    std::copy(file.matrices[0].begin(), file.matrices[0].end(), first);
    if (file.pairCount != 0) {
        std::copy(file.matrices[1].begin(), file.matrices[1].end(), cvx->SecondMatrix);
    }
    return cvx;
}

std::ptrdiff_t open_files() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator());
}

} // namespace

TEST(CreateCVX, CountsSettingsAndTextsAreSet) {
    const Cvx cvx(CreateCVX("one", "two", 3, 44, 5, 6));
    ASSERT_FALSE(cvx.null());
    EXPECT_EQ(cvx->FileVersion, 1u);
    EXPECT_STREQ(cvx->FirstText, "one");
    EXPECT_STREQ(cvx->SecondText, "two");
    EXPECT_EQ(cvx->MatrixOrder, 3u);
    EXPECT_EQ(cvx->FourthCount, 44u);
    EXPECT_EQ(cvx->NrOfPairValues, 5u);
    EXPECT_EQ(cvx->FirstSetting, 1u);
    EXPECT_EQ(cvx->SecondSetting, 0u);
    EXPECT_EQ(cvx->ThirdSetting, 1.0f);
    EXPECT_EQ(cvx->FourthSetting, 1000.0f);
    EXPECT_EQ(cvx->NrOfExtraValues, 6u);
}

TEST(CreateCVX, ArraysAndMatricesAreZeros) {
    const Cvx cvx(CreateCVX("", "", 3, 0, 5, 6));
    ASSERT_FALSE(cvx.null());
    const auto zeros = [](const auto* values, int count) {
        return values != nullptr && std::all_of(values, values + count, [](auto value) { return value == 0; });
    };
    EXPECT_TRUE(zeros(cvx->OrderValues, 3));
    EXPECT_TRUE(zeros(cvx->PairValues, 5));
    EXPECT_TRUE(zeros(cvx->ExtraValues, 6));
    EXPECT_TRUE(zeros(cvx->FirstMatrix, 9));
    EXPECT_TRUE(zeros(cvx->SecondMatrix, 9));
}

TEST(CreateCVX, PairValuesDecideBetweenThePairAndTheSingleMatrix) {
    for (const unsigned int pairValues : {0u, 1u, 7u}) {
        const Cvx cvx(CreateCVX("", "", 2, 0, pairValues, 0));
        ASSERT_FALSE(cvx.null());
        EXPECT_EQ(cvx->PairValues != nullptr, pairValues != 0);
        EXPECT_EQ(cvx->SingleMatrix != nullptr, pairValues == 0);
        EXPECT_EQ(cvx->FirstMatrix != nullptr, pairValues != 0);
        EXPECT_EQ(cvx->SecondMatrix != nullptr, pairValues != 0);
        EXPECT_EQ(cvx->ExtraValues, nullptr);
        EXPECT_NE(cvx->OrderValues, nullptr);
    }
}

TEST(CreateCVX, OrderZeroGivesEmptyArraysNotNullOnes) {
    const TemporaryFolder folder;
    for (const unsigned int pairValues : {0u, 1u}) {
        const Cvx cvx(CreateCVX("", "", 0, 0, pairValues, 0));
        ASSERT_FALSE(cvx.null());
        EXPECT_NE(cvx->OrderValues, nullptr);
        EXPECT_EQ(cvx->SingleMatrix != nullptr, pairValues == 0);
        EXPECT_EQ(cvx->FirstMatrix != nullptr, pairValues != 0);
        EXPECT_EQ(cvx->SecondMatrix != nullptr, pairValues != 0);
        EXPECT_EQ(WriteCVX(cvx.get(), folder.path("a.cvx").c_str()), 1);
        const Cvx again(folder.path("a.cvx"));
        ASSERT_FALSE(again.null());
        EXPECT_EQ(again->MatrixOrder, 0u);
        EXPECT_NE(again->OrderValues, nullptr);
        EXPECT_EQ(again->SingleMatrix != nullptr, pairValues == 0);
        EXPECT_EQ(again->SecondMatrix != nullptr, pairValues != 0);
    }
}

TEST(CreateCVX, TextsKeep511Characters) {
    for (const std::size_t length : {0, 510, 511, 512, 600}) {
        const Cvx cvx(CreateCVX(std::string(length, 'a').c_str(), std::string(length, 'b').c_str(), 1, 0, 0, 0));
        ASSERT_FALSE(cvx.null());
        EXPECT_EQ(cvx->FirstText, std::string(std::min<std::size_t>(length, 511), 'a'));
        EXPECT_EQ(cvx->SecondText, std::string(std::min<std::size_t>(length, 511), 'b'));
    }
}

TEST(CreateCVX, OrdersWhoseMatrixCannotExistAreRefusedBeforeTheirArrays) {
    for (const unsigned int order : {0xFFFFFFFFu, 0x80000000u, 0x40000000u}) { // 2^67, 2^65 and 2^63 bytes
        const AllocationProbe probe;
        EXPECT_TRUE(Cvx(CreateCVX("", "", order, 0, 0, 0)).null());
        EXPECT_EQ(probe.largest(), sizeof(CVXStruct));
    }
}

TEST(CreateCVX, EveryFailedAllocationIsARefusalThatReleasesTheRest) {
    for (const unsigned int pairValues : {0u, 2u}) {
        int failing = 0;
        for (;; ++failing) {
            const AllocationProbe probe(failing);
            const bool isNull = Cvx(CreateCVX("a", "b", 3, 0, pairValues, 4)).null();
            if (probe.calls() <= failing) {
                EXPECT_FALSE(isNull);
                break;
            }
            EXPECT_TRUE(isNull) << failing;
        }
        EXPECT_EQ(failing, pairValues == 0 ? 4 : 6); // structure, order, (pair,) extra values, matrix or matrices
    }
}

TEST(ReadCVX, EveryFieldOfAPairArrives) {
    const TemporaryFolder folder;
    const Cvx cvx(folder.write("a.cvx", bytes_of(File())));
    ASSERT_FALSE(cvx.null());
    expect_holds(*cvx.get(), File());
}

TEST(ReadCVX, EveryFieldOfASingleMatrixArrives) {
    const TemporaryFolder folder;
    const Cvx cvx(folder.write("a.cvx", bytes_of(single_file()) + "more"));
    ASSERT_FALSE(cvx.null());
    expect_holds(*cvx.get(), single_file());
}

TEST(ReadCVX, AnyCountOfPairValuesMeansAPairWhateverTheyAre) {
    const TemporaryFolder folder;
    for (const std::uint32_t count : {1u, 2u, 5u}) {
        for (const std::uint32_t value : {0u, 1u, 0xFFFFFFFFu}) {
            File file;
            file.pairCount = count;
            file.pairValues.assign(count, value);
            const Cvx cvx(folder.write("a.cvx", bytes_of(file)));
            ASSERT_FALSE(cvx.null());
            expect_holds(*cvx.get(), file);
        }
    }
}

TEST(ReadCVX, OtherVersionsAreRefused) {
    const TemporaryFolder folder;
    for (const std::uint32_t version : {0u, 2u, 0x101u, 0x01000001u, 0xFFFFFFFFu}) {
        File file;
        file.fileVersion = version;
        EXPECT_TRUE(refused(folder.write("a.cvx", bytes_of(file)))) << version;
    }
}

TEST(ReadCVX, BytesMissingAtTheEndCountAsZeros) {
    const TemporaryFolder folder;
    File longTexts = single_file();
    longTexts.firstText = std::string(511, 'a');
    longTexts.secondText = std::string(511, 'b');
    const std::ptrdiff_t before = open_files();
    for (const File& file : {File(), single_file(), longTexts}) {
        const std::string bytes = bytes_of(file);
        EXPECT_TRUE(refused(folder.write("a.cvx", ""))) << "version 0";
        for (std::size_t length = 1; length <= bytes.size(); ++length) {
            SCOPED_TRACE(length);
            const std::string path = folder.write("a.cvx", bytes.substr(0, length));
            const Cvx cvx(path);
            ASSERT_FALSE(cvx.null());
            expect_holds(*cvx.get(), parse(bytes.substr(0, length)));
            if (testing::Test::HasFailure()) {
                return;
            }
            EXPECT_EQ(std::filesystem::file_size(path), length);
        }
    }
    EXPECT_EQ(open_files(), before);
}

TEST(ReadCVX, TextsOfEveryLengthAreReadFromTheirPlaces) {
    const TemporaryFolder folder;
    for (const std::size_t first : {0, 1, 510, 511}) {
        for (const std::size_t second : {0, 510, 511}) {
            SCOPED_TRACE(std::to_string(first) + " and " + std::to_string(second));
            File file;
            file.firstText = std::string(first, 'a');
            file.secondText = std::string(second, 'b');
            const Cvx cvx(folder.write("a.cvx", bytes_of(file)));
            ASSERT_FALSE(cvx.null());
            expect_holds(*cvx.get(), file);
        }
    }
}

TEST(ReadCVX, ATextThatIsTooLongIsCutAndTheRestIsTheNextField) {
    const TemporaryFolder folder;
    for (const std::size_t length : {512, 600}) {
        File file;
        file.firstText = std::string(511, 'a') + std::string(length - 511, 'b');
        file.secondText = "";
        std::string bytes = bytes_of(file);
        bytes.erase(4 + length, 1); // one NUL only: the rest of the first text becomes the second
        file.firstText = std::string(511, 'a');
        file.secondText = std::string(length - 511, 'b');
        const Cvx cvx(folder.write("a.cvx", bytes));
        ASSERT_FALSE(cvx.null());
        expect_holds(*cvx.get(), file);
    }
}

TEST(ReadCVX, OrdersWhoseMatrixCannotExistAreRefusedBeforeTheirArrays) {
    const TemporaryFolder folder;
    for (const std::uint32_t order : {0xFFFFFFFFu, 0x80000000u, 0x80000001u, 0x40000000u}) {
        File file;
        file.order = order;
        const std::string path = folder.write("a.cvx", bytes_of(file));
        const AllocationProbe probe;
        EXPECT_TRUE(refused(path)) << order;
        EXPECT_EQ(probe.largest(), sizeof(CVXStruct));
    }
}

TEST(ReadCVX, AMatrixBeyondTheAddressSpaceIsRefused) {
    const TemporaryFolder folder;
    for (const std::uint32_t order : {0x3FFFFFFFu, 0x01000000u}) { // nearly 2^63 and 2^51 bytes
        for (const File& base : {File(), single_file()}) {
            File file = base;
            file.order = order;
            EXPECT_TRUE(refused(folder.write("a.cvx", bytes_of(file).substr(0, 60)))) << order;
        }
    }
}

#ifndef ORIDAN_UNDER_ASAN // its allocator keeps books that grow with the request
TEST(ReadCVX, WildCountsCostNoMemory) {
    if (support::under_valgrind()) {
        GTEST_SKIP() << "valgrind fills what it allocates";
    }
    const TemporaryFolder folder;
    File order = single_file(); // each 1 GiB, of which the file holds a few bytes
    order.order = 11585;
    File pairs;
    pairs.order = 1;
    pairs.orderValues = {1};
    pairs.pairCount = 1u << 28;
    File extras = pairs;
    extras.pairCount = 1;
    extras.pairValues = {1};
    extras.extraCount = 1u << 28;
    for (const File& file : {order, pairs, extras}) {
        const std::string path = folder.write("a.cvx", bytes_of(file));
        EXPECT_EQ(in_child([&] {
                      rusage before{};
                      getrusage(RUSAGE_SELF, &before);
                      const Cvx cvx(path);
                      if (cvx.null() || cvx->MatrixOrder != file.order) {
                          return 2;
                      }
                      rusage after{};
                      getrusage(RUSAGE_SELF, &after);
                      return after.ru_maxrss - before.ru_maxrss < 64 * 1024 ? 0 : 3;
                  }),
                  0);
    }
}

TEST(ReadCVX, CountsBeyondTheAddressSpaceAreRefused) {
    const TemporaryFolder folder;
    File order = single_file();
    order.order = 0x20000000; // 2 GiB of order values
    File matrix = single_file();
    matrix.order = 20000; // 3 GiB
    File pairs;
    pairs.pairCount = 0xFFFFFFFF;
    File extras;
    extras.extraCount = 0x40000000; // 2^32 bytes: none in 32 bits
    for (const File& file : {order, matrix, pairs, extras}) {
        const std::string path = folder.write("a.cvx", bytes_of(file));
        EXPECT_EQ(in_child([&] { return support::limit(RLIMIT_AS, 1ull << 30) && refused(path) ? 0 : 1; }), 0);
    }
}
#endif

TEST(ReadCVX, WhatCannotBeOpenedIsRefused) {
    const TemporaryFolder folder;
    const std::string pipe = folder.path("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_TRUE(refused(folder.path("none.cvx")));
    EXPECT_FALSE(folder.has("none.cvx"));
    EXPECT_TRUE(refused(folder.path()));
    EXPECT_TRUE(refused(""));
    EXPECT_EQ(in_child([&] { return refused(pipe) ? 0 : 1; }), 0) << "a pipe without a writer is not waited for";
}

TEST(ReadCVX, EveryFailedAllocationIsARefusalThatReleasesTheRest) {
    const TemporaryFolder folder;
    for (const File& file : {File(), single_file()}) {
        const std::string path = folder.write("a.cvx", bytes_of(file));
        int failing = 0;
        for (;; ++failing) {
            bool isRefused = false;
            int calls = 0;
            {
                const AllocationProbe probe(failing);
                isRefused = refused(path);
                calls = probe.calls();
            }
            if (calls <= failing) {
                EXPECT_FALSE(isRefused);
                break;
            }
            EXPECT_TRUE(isRefused) << failing;
        }
        EXPECT_EQ(failing, file.pairCount != 0 ? 6 : 3); // structure, order, pair and extra values, matrices
    }
}

TEST(WriteCVX, TheFileHoldsThePair) {
    const TemporaryFolder folder;
    const std::string path = folder.write("a.cvx", std::string(10000, 'x'));
    const Cvx cvx(create(File()));
    EXPECT_EQ(WriteCVX(cvx.get(), path.c_str()), 1);
    EXPECT_TRUE(support::read_file(path) == bytes_of(File()));
}

TEST(WriteCVX, TheFileHoldsTheSingleMatrix) {
    const TemporaryFolder folder;
    const Cvx cvx(create(single_file()));
    EXPECT_EQ(WriteCVX(cvx.get(), folder.path("a.cvx").c_str()), 1);
    EXPECT_TRUE(folder.read("a.cvx") == bytes_of(single_file()));
}

TEST(WriteCVX, TheCountOfPairValuesAloneChoosesTheMatrices) {
    const TemporaryFolder folder;
    const Cvx cvx(create(File()));
    std::vector<double> single = {9, 8, 7, 6, 5, 4, 3, 2, 1};
    cvx->SingleMatrix = single.data();
    EXPECT_EQ(WriteCVX(cvx.get(), folder.path("a.cvx").c_str()), 1);
    EXPECT_TRUE(folder.read("a.cvx") == bytes_of(File())) << "the pair, whatever its values";
    cvx->NrOfPairValues = 0;
    EXPECT_EQ(WriteCVX(cvx.get(), folder.path("a.cvx").c_str()), 1);
    cvx->SingleMatrix = nullptr;
    File file;
    file.pairCount = 0;
    file.pairValues = {};
    file.matrices = {single};
    EXPECT_TRUE(folder.read("a.cvx") == bytes_of(file)) << "the pair values are not written either";
}

TEST(WriteCVX, SettingsLeftAloneAreWrittenAsTheDefaults) {
    const TemporaryFolder folder;
    const Cvx cvx(CreateCVX("x", "", 1, 2, 0, 0));
    EXPECT_EQ(WriteCVX(cvx.get(), folder.path("a.cvx").c_str()), 1);
    Bytes expected;
    expected.u32(1).raw("x").u8(0).u8(0).u32(1).u32(0).u32(2).u32(0);
    expected.u32(1).u32(0).f32(1.0f).f32(1000.0f).u32(0).f64(0.0);
    EXPECT_EQ(folder.read("a.cvx"), expected.str());
}

TEST(WriteCVX, ReadingItBackReproducesEveryField) {
    const TemporaryFolder folder;
    const std::string path = folder.path("a.cvx");
    for (const File& file : {File(), single_file()}) {
        const Cvx cvx(create(file));
        ASSERT_EQ(WriteCVX(cvx.get(), path.c_str()), 1);
        const Cvx again(path);
        ASSERT_FALSE(again.null());
        expect_holds(*again.get(), file);
        EXPECT_EQ(WriteCVX(again.get(), path.c_str()), 1) << "over the file that it was read from";
        EXPECT_TRUE(support::read_file(path) == bytes_of(file));
    }
}

TEST(WriteCVX, TextsKeep511Characters) {
    const TemporaryFolder folder;
    for (const std::size_t length : {0, 510, 511, 512, 600}) {
        File file;
        file.firstText = std::string(length, 'a');
        file.secondText = std::string(length, 'b');
        const Cvx cvx(create(file));
        EXPECT_EQ(WriteCVX(cvx.get(), folder.path("a.cvx").c_str()), 1);
        file.firstText.resize(std::min<std::size_t>(length, 511));
        file.secondText.resize(std::min<std::size_t>(length, 511));
        EXPECT_TRUE(folder.read("a.cvx") == bytes_of(file)) << length;
    }
    const Cvx cvx(create(File()));
    std::memset(cvx->FirstText, 'z', sizeof cvx->FirstText); // no NUL at all
    EXPECT_EQ(WriteCVX(cvx.get(), folder.path("a.cvx").c_str()), 1);
    File file;
    file.firstText = std::string(511, 'z');
    EXPECT_TRUE(folder.read("a.cvx") == bytes_of(file));
}

TEST(WriteCVX, OtherVersionsAndMissingArraysAreRefusedBeforeAnExistingFileIsTouched) {
    const TemporaryFolder folder;
    const std::string path = folder.write("a.cvx", "as it was");
    const auto is_refused = [&](const File& file, auto change) {
        const Cvx cvx(create(file));
        CVXStruct changed = *cvx.get();
        change(changed);
        return WriteCVX(&changed, path.c_str()) == 0 && support::read_file(path) == "as it was";
    };
    for (const unsigned int version : {0u, 2u, 0xFFFFFFFFu}) {
        EXPECT_TRUE(is_refused(File(), [&](CVXStruct& c) { c.FileVersion = version; }));
    }
    EXPECT_TRUE(is_refused(File(), [](CVXStruct& c) { c.OrderValues = nullptr; }));
    EXPECT_TRUE(is_refused(File(), [](CVXStruct& c) { c.PairValues = nullptr; }));
    EXPECT_TRUE(is_refused(File(), [](CVXStruct& c) { c.ExtraValues = nullptr; }));
    EXPECT_TRUE(is_refused(File(), [](CVXStruct& c) { c.FirstMatrix = nullptr; }));
    EXPECT_TRUE(is_refused(File(), [](CVXStruct& c) { c.SecondMatrix = nullptr; }));
    EXPECT_TRUE(is_refused(File(), [](CVXStruct& c) { c.NrOfPairValues = 0; })) << "there is no single matrix";
    EXPECT_TRUE(is_refused(single_file(), [](CVXStruct& c) { c.SingleMatrix = nullptr; }));
    EXPECT_TRUE(is_refused(single_file(), [](CVXStruct& c) { c.MatrixOrder = 0x80000000; }));
}

TEST(WriteCVX, OrderZeroNeedsNoMatrix) {
    const TemporaryFolder folder;
    CVXStruct cvx{};
    cvx.FileVersion = 1;
    EXPECT_EQ(WriteCVX(&cvx, folder.path("a.cvx").c_str()), 1);
    EXPECT_EQ(folder.read("a.cvx"), Bytes().u32(1).raw(std::string(2 + 8 * 4, '\0')).str())
        << "two texts, eight fields";
}

TEST(WriteCVX, WhatCannotBeCreatedIsRefused) {
    const TemporaryFolder folder;
    const Cvx cvx(create(File()));
    EXPECT_EQ(WriteCVX(cvx.get(), folder.path("none/a.cvx").c_str()), 0);
    EXPECT_EQ(WriteCVX(cvx.get(), folder.path().c_str()), 0);
    EXPECT_EQ(WriteCVX(cvx.get(), ""), 0);
    const std::string pipe = folder.path("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(in_child([&] { return WriteCVX(cvx.get(), pipe.c_str()); }), 0)
        << "a pipe without a reader is not waited for";
}

TEST(WriteCVX, ADiskThatFillsUpLeavesNoFile) {
    const TemporaryFolder folder;
    const File file = [] {
        File large = single_file();
        large.order = 100;
        large.orderValues.assign(100, 1);
        large.matrices = {std::vector<double>(10000, 0.5)};
        return large;
    }();
    const Cvx cvx(create(file));
    const std::string behindLink = folder.path("behind.cvx");
    std::filesystem::create_symlink(behindLink, folder.path("link.cvx"));
    for (const rlim_t bytes : {std::size_t{10}, std::size_t{50000}, bytes_of(file).size() - 1}) {
        for (const char* name : {"a.cvx", "link.cvx"}) {
            EXPECT_EQ(in_child([&] {
                          std::signal(SIGXFSZ, SIG_IGN);
                          return support::limit(RLIMIT_FSIZE, bytes) ? WriteCVX(cvx.get(), folder.path(name).c_str())
                                                                     : 2;
                      }),
                      0)
                << bytes;
            EXPECT_FALSE(folder.has("a.cvx"));
            EXPECT_FALSE(folder.has("behind.cvx"));
        }
    }
}

TEST(WriteCVX, AFailedSaveNeverRemovesADevice) {
    const TemporaryFolder folder;
    const std::string device = folder.path("full");
    if (mknod(device.c_str(), S_IFCHR | 0600, makedev(1, 7)) != 0) {
        GTEST_SKIP() << "devices cannot be made here";
    }
    const Cvx cvx(create(File()));
    EXPECT_EQ(WriteCVX(cvx.get(), device.c_str()), 0);
    EXPECT_TRUE(folder.has("full"));
}

TEST(FreeCVX, TheCallersPointerIsNotReset) {
    CVXStruct* cvx = CreateCVX("", "", 2, 0, 1, 1);
    ASSERT_NE(cvx, nullptr);
    CVXStruct* const same = cvx;
    FreeCVX(&cvx);
    EXPECT_EQ(cvx, same);
}

TEST(FreeCVX, NothingIsHarmless) {
    CVXStruct* none = nullptr;
    FreeCVX(&none);
    EXPECT_EQ(none, nullptr);
}

TEST(FreeCVX, WhatIsMissingIsSkipped) {
    auto* cvx = static_cast<CVXStruct*>(std::calloc(1, sizeof(CVXStruct)));
    FreeCVX(&cvx); // all pointers null
}
