#include "stats/text_output.h"

#include <gtest/gtest.h>

#include <climits>
#include <limits>
#include <string>

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
