#include "stats/text_output.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <limits>
#include <locale>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/bits.h"
#include "tests/support/temporary_folder.h"

using support::GuardedMatrix;
using support::TemporaryFolder;

namespace {

std::string written(const TemporaryFolder& folder, float** m, int nrows, int ncols, int base) {
    std::string path = folder.path("matrix.txt");
    WriteFloatMatrix2Txt(path.data(), m, nrows, ncols, base);
    return folder.read("matrix.txt");
}

} // namespace

TEST(WriteFloatMatrix2Txt, WritesEveryValueWithABlankAndEveryRowWithALineFeed) {
    const TemporaryFolder folder;
    GuardedMatrix m(0, support::Rows{{1.0f, -2.5f, 0.0f}, {100.0f, 0.125f, -0.0f}});
    EXPECT_EQ(written(folder, m.handle(), 2, 3, 0), "1 -2.5 0 \n100 0.125 -0 \n");
}

TEST(WriteFloatMatrix2Txt, KeepsFiveSignificantDigitsInDefaultNotation) {
    const TemporaryFolder folder;
    GuardedMatrix m(0, support::Rows{{3.14159265f, 12345.6f, 99999.0f, 123456.0f, 1234567.0f, 999999.0f},
                                     {0.0001234567f, 0.00001234567f, 1e-30f, -1e30f, 2.50000f, 0.1f}});
    EXPECT_EQ(written(folder, m.handle(), 2, 6, 0), "3.1416 12346 99999 1.2346e+05 1.2346e+06 1e+06 \n"
                                                    "0.00012346 1.2346e-05 1e-30 -1e+30 2.5 0.1 \n");
}

TEST(WriteFloatMatrix2Txt, NonFiniteValuesAreWords) {
    const TemporaryFolder folder;
    const float inf = std::numeric_limits<float>::infinity();
    GuardedMatrix m(0, support::Rows{{inf, -inf, std::numeric_limits<float>::quiet_NaN()}});
    EXPECT_EQ(written(folder, m.handle(), 1, 3, 0), "inf -inf nan \n");
}

TEST(WriteFloatMatrix2Txt, TheBaseCountsForRowsAndColumns) {
    const TemporaryFolder folder;
    GuardedMatrix one(1, support::Rows{{0.0f, 0.0f, 0.0f}, {0.0f, 11.0f, 12.0f}, {0.0f, 21.0f, 22.0f}});
    EXPECT_EQ(written(folder, one.handle(), 2, 2, 1), "11 12 \n21 22 \n");
    GuardedMatrix five(5, 2, 2);
    five(5, 5) = 55.0f;
    five(5, 6) = 56.0f;
    five(6, 5) = 65.0f;
    five(6, 6) = 66.0f;
    EXPECT_EQ(written(folder, five.handle(), 2, 2, 5), "55 56 \n65 66 \n");
}

TEST(WriteFloatMatrix2Txt, NoColumnsGiveEmptyLinesAndNoRowsAnEmptyFile) {
    const TemporaryFolder folder;
    GuardedMatrix m(0, 2, 2);
    EXPECT_EQ(written(folder, m.handle(), 2, 0, 0), "\n\n");
    EXPECT_EQ(written(folder, m.handle(), 0, 2, 0), "");
    EXPECT_TRUE(folder.has("matrix.txt"));
    EXPECT_EQ(written(folder, m.handle(), -3, -3, 1), "");
    EXPECT_TRUE(m.untouched());
}

TEST(WriteFloatMatrix2Txt, RangesAtTheEndOfTheIntegersAreCountedRight) {
    const TemporaryFolder folder;
    EXPECT_EQ(written(folder, nullptr, 2, 0, INT_MAX), "\n\n");
    EXPECT_EQ(written(folder, nullptr, INT_MIN, 1, -1), "");
}

TEST(WriteFloatMatrix2Txt, TruncatesAnExistingFile) {
    const TemporaryFolder folder;
    folder.write("matrix.txt", std::string(10000, 'x'));
    GuardedMatrix m(0, support::Rows{{1.5f}});
    EXPECT_EQ(written(folder, m.handle(), 1, 1, 0), "1.5 \n");
}

TEST(WriteFloatMatrix2Txt, AFileThatCannotBeOpenedIsSilentlyNotWritten) {
    const TemporaryFolder folder;
    GuardedMatrix m(0, support::Rows{{1.5f}});
    std::string path = folder.path("missing/matrix.txt");
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    WriteFloatMatrix2Txt(path.data(), m.handle(), 1, 1, 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_FALSE(folder.has("missing"));
    // A folder in the file's place stays a folder.
    std::string folderPath = folder.path();
    WriteFloatMatrix2Txt(folderPath.data(), m.handle(), 1, 1, 0);
    EXPECT_TRUE(folder.has("."));
}

namespace {

// The three writers of vectors, each given the same values, which floats hold exactly enough for five digits.
std::vector<std::string> written_vectors(const TemporaryFolder& folder, const std::vector<double>& values, int n,
                                         int base) {
    std::vector<float> floats(values.begin(), values.end());
    std::vector<double> doubles = values;
    std::string path = folder.path("vector.txt");
    std::vector<std::string> texts;
    const auto collect = [&] {
        texts.push_back(folder.read("vector.txt"));
        folder.write("vector.txt", std::string(1000, 'x')); // the next writer truncates it
    };
    WriteFloatVector2Txt(path.data(), floats.data(), n, base);
    collect();
    WriteFloatVector2Txt(path.data(), doubles.data(), n, base);
    collect();
    WriteDoubleVector2Txt(path.data(), doubles.data(), n, base);
    collect();
    EXPECT_TRUE(std::equal(values.begin(), values.end(), doubles.begin(),
                           [](double a, double b) { return a == b || (a != a && b != b); }));
    return texts;
}

void expect_all(const std::vector<std::string>& texts, const std::string& expected) {
    ASSERT_EQ(texts.size(), 3u);
    for (const std::string& text : texts) {
        EXPECT_EQ(text, expected);
    }
}

std::string design_matrix(const TemporaryFolder& folder, std::vector<float> values, int n) {
    std::string path = folder.path("design.sdm");
    WriteFloatVector2SDM(path.data(), values.data(), n);
    return folder.read("design.sdm");
}

std::string design_header(const std::string& points) {
    return "FileVersion:            1\n"
           "\n"
           "NrOfPredictors:         2\n"
           "NrOfDataPoints:         " +
           points +
           "\n"
           "IncludesConstant:       1\n"
           "FirstConfoundPredictor: 2\n"
           "\n"
           "255 0 0 255 255 255\n"
           "\"Oridan\" \"Constant\"\n";
}

} // namespace

TEST(WriteVector2Txt, WritesOneValuePerLine) {
    const TemporaryFolder folder;
    expect_all(written_vectors(folder, {1.0, -2.5, 0.0, 100.0, -0.0}, 5, 0), "1\n-2.5\n0\n100\n-0\n");
}

TEST(WriteVector2Txt, KeepsFiveSignificantDigitsInDefaultNotation) {
    const TemporaryFolder folder;
    expect_all(
        written_vectors(folder, {3.14159265, 12345.6, 99999.0, 123456.0, 999999.0, 0.0001234567, 0.00001234567}, 7, 0),
        "3.1416\n12346\n99999\n1.2346e+05\n1e+06\n0.00012346\n1.2346e-05\n");
}

TEST(WriteVector2Txt, DoublesKeepTheirRange) {
    const TemporaryFolder folder;
    double values[3] = {1.5e300, -2e-300, 1.000049999999};
    std::string path = folder.path("vector.txt");
    WriteFloatVector2Txt(path.data(), values, 3, 0);
    EXPECT_EQ(folder.read("vector.txt"), "1.5e+300\n-2e-300\n1\n");
    WriteDoubleVector2Txt(path.data(), values, 3, 0);
    EXPECT_EQ(folder.read("vector.txt"), "1.5e+300\n-2e-300\n1\n");
}

TEST(WriteVector2Txt, NonFiniteValuesAreWords) {
    const TemporaryFolder folder;
    const double inf = std::numeric_limits<double>::infinity();
    expect_all(written_vectors(folder, {inf, -inf, std::numeric_limits<double>::quiet_NaN()}, 3, 0),
               "inf\n-inf\nnan\n");
}

TEST(WriteVector2Txt, TheBaseIsTheFirstIndex) {
    const TemporaryFolder folder;
    expect_all(written_vectors(folder, {10, 11, 12, 13, 14}, 2, 0), "10\n11\n");
    expect_all(written_vectors(folder, {10, 11, 12, 13, 14}, 2, 1), "11\n12\n");
    expect_all(written_vectors(folder, {10, 11, 12, 13, 14}, 2, 3), "13\n14\n");
    std::string path = folder.path("vector.txt");
    float v[3] = {1, 2, 3};
    WriteFloatVector2Txt(path.data(), v + 2, 2, -2);
    EXPECT_EQ(folder.read("vector.txt"), "1\n2\n");
}

TEST(WriteVector2Txt, NoValuesGiveAnEmptyFile) {
    const TemporaryFolder folder;
    for (const int n : {0, -1, INT_MIN}) {
        expect_all(written_vectors(folder, {1.0}, n, 0), "");
        expect_all(written_vectors(folder, {1.0}, n, -1), "");
        expect_all(written_vectors(folder, {1.0}, n, INT_MAX), "");
    }
}

TEST(WriteVector2Txt, AFileThatCannotBeOpenedIsSilentlyNotWritten) {
    const TemporaryFolder folder;
    std::string path = folder.path("missing/vector.txt");
    float v[1] = {1.5f};
    double d[1] = {1.5};
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    WriteFloatVector2Txt(path.data(), v, 1, 0);
    WriteFloatVector2Txt(path.data(), d, 1, 0);
    WriteDoubleVector2Txt(path.data(), d, 1, 0);
    WriteFloatVector2SDM(path.data(), v, 1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_FALSE(folder.has("missing"));
}

TEST(WriteFloatVector2SDM, WritesTheHeaderAndALinePerPoint) {
    const TemporaryFolder folder;
    const std::string text = design_matrix(folder, {0.5f, 1.0f}, 2);
    EXPECT_EQ(text, design_header("2") + "0.500000 1.000000\n1.000000 1.000000\n");
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 11);
}

TEST(WriteFloatVector2SDM, ValuesHaveSixDecimalsWhateverTheirSize) {
    const TemporaryFolder folder;
    const float inf = std::numeric_limits<float>::infinity();
    EXPECT_EQ(design_matrix(folder, {-1234567.25f, 1e-7f, -0.0f, 1e30f, 0.1f, inf, -inf}, 7),
              design_header("7") + "-1234567.250000 1.000000\n"
                                   "0.000000 1.000000\n"
                                   "-0.000000 1.000000\n"
                                   "1000000015047466219876688855040.000000 1.000000\n"
                                   "0.100000 1.000000\n"
                                   "inf 1.000000\n"
                                   "-inf 1.000000\n");
}

TEST(WriteFloatVector2SDM, WithoutPointsItIsTheHeader) {
    const TemporaryFolder folder;
    folder.write("design.sdm", std::string(10000, 'x'));
    EXPECT_EQ(design_matrix(folder, {}, 0), design_header("0"));
    EXPECT_EQ(design_matrix(folder, {}, -3), design_header("-3"));
}

TEST(WriteFloatVector2SDM, LargeCountsAreNotGrouped) {
    const TemporaryFolder folder;
    const std::string text = design_matrix(folder, std::vector<float>(12345, 0.25f), 12345);
    EXPECT_EQ(text.compare(0, design_header("12345").size(), design_header("12345")), 0);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 9 + 12345);
}

namespace {

// Digits in groups of three and a decimal comma.
class GroupedDigits : public std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

// The program's locale for one test.
class ProgramLocale {
public:
    ProgramLocale() : before(std::locale::global(std::locale(std::locale::classic(), new GroupedDigits))) {}
    ~ProgramLocale() { std::locale::global(before); }
    ProgramLocale(const ProgramLocale&) = delete;
    ProgramLocale& operator=(const ProgramLocale&) = delete;

private:
    std::locale before;
};

} // namespace

TEST(TextWriters, DoNotFollowTheProgramsLocale) {
    const TemporaryFolder folder;
    const ProgramLocale grouped;
    std::ostringstream shown;
    shown << 1234.5;
    ASSERT_EQ(shown.str(), "1.234,5") << "the locale of this test";

    GuardedMatrix m(0, support::Rows{{1234.5f, 0.25f}, {12345.0f, 123456.0f}});
    EXPECT_EQ(written(folder, m.handle(), 2, 2, 0), "1234.5 0.25 \n12345 1.2346e+05 \n");
    expect_all(written_vectors(folder, {1234.5, -12345.0, 0.25}, 3, 0), "1234.5\n-12345\n0.25\n");
    const std::string text = design_matrix(folder, std::vector<float>(1234, 1234.5f), 1234);
    const std::string line = "1234.500000 1.000000\n";
    EXPECT_EQ(text.substr(0, design_header("1234").size() + line.size()), design_header("1234") + line);
}
