#include "obs/segment_samples.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/ctc_bytes.h"
#include "tests/support/temporary_folder.h"

namespace {

using obs::FitSettings;
using obs::SegmentSamples;

constexpr int nSamples = 4000;
constexpr int length = 11; // windows from 2 before a trigger to 8 after it

float value_at(int sample) {
    return static_cast<float>(sample) + 0.5f;
}

// One segment of windows in channel 1 of a file-backed recording of floats.
struct Segment {
    support::TemporaryFolder folder;
    std::string header;
    std::string path;
    CTCStruct ctc{};
    std::vector<int> triggers;
    FitSettings settings{};
    SegmentSamples samples;
    std::vector<std::vector<float>> rows;
    std::vector<float*> E;
    std::vector<float> x = std::vector<float>(length, -1.0f);

    explicit Segment(const std::vector<int>& at, unsigned int ordering = 1)
        : triggers(at), samples(static_cast<int>(at.size()), length),
          rows(at.size(), std::vector<float>(length, -7.0f)) {
        support::CtcHeader h;
        h.sampleOrdering = ordering;
        h.nrOfChannels = 2;
        h.nrOfSamples = nSamples;
        header = support::ctc_header_bytes(h);
        support::Bytes data;
        for (int i = 0; i < 2 * nSamples; ++i) {
            const bool ours = ordering == 1 ? i >= nSamples : i % 2 == 1;
            data.f32(ours ? value_at(ordering == 1 ? i - nSamples : i / 2) : -0.25f);
        }
        path = folder.write("a.ctc", header + data.str());
        EXPECT_EQ(ReadEntireCTC(&ctc, path.c_str(), 1), 1);
        for (std::vector<float>& row : rows) {
            E.push_back(row.data());
        }
        const int n = static_cast<int>(at.size());
        settings = {2, 8, length, n, 1, n, triggers.data()};
    }
    ~Segment() { FreeCTCMemory(&ctc); }
    Segment(const Segment&) = delete;
    Segment& operator=(const Segment&) = delete;

    void read(int own) { samples.read(settings, &ctc, 1, triggers.data(), own, E.data(), x.data()); }

    // Every own window becomes 1000 (k + 1) plus the sample's number in it.
    void clean(int own) {
        for (int k = 0; k < own; ++k) {
            std::vector<float> cleaned;
            for (int j = 0; j < length; ++j) {
                cleaned.push_back(cleaned_value(k, j));
            }
            samples.put_back(settings, &ctc, 1, k, triggers[static_cast<std::size_t>(k)], cleaned.data());
        }
        samples.write(&ctc, 1);
    }
    static float cleaned_value(int k, int j) { return 1000.0f * static_cast<float>(k + 1) + static_cast<float>(j); }

    // The samples of channel 1; those of channel 0 must be as they were.
    std::vector<float> file(unsigned int ordering = 1) {
        FreeCTCMemory(&ctc);
        const std::string bytes = support::read_file(path).substr(header.size());
        std::vector<float> found;
        for (int i = 0; i < nSamples; ++i) {
            float other = 0.0f;
            float value = 0.0f;
            const std::size_t at = static_cast<std::size_t>(i);
            const std::size_t ours = ordering == 1 ? nSamples + at : 2 * at + 1;
            std::memcpy(&value, &bytes[4 * ours], 4);
            std::memcpy(&other, &bytes[4 * (ordering == 1 ? at : 2 * at)], 4);
            EXPECT_EQ(other, -0.25f);
            found.push_back(value);
        }
        return found;
    }
};

// What the file should hold: the windows in their order, everything else as it was.
std::vector<float> expected_file(const std::vector<int>& triggers, int own) {
    std::vector<float> samples;
    for (int i = 0; i < nSamples; ++i) {
        samples.push_back(value_at(i));
    }
    for (int k = 0; k < own; ++k) {
        for (int j = 0; j < length; ++j) {
            samples[static_cast<std::size_t>(triggers[static_cast<std::size_t>(k)] - 2 + j)] =
                Segment::cleaned_value(k, j);
        }
    }
    return samples;
}

} // namespace

TEST(SegmentSamples, WindowsOfEveryArrangementAreReadAndPutBackAsIfOneByOne) {
    const std::vector<std::vector<int>> arrangements = {
        {100, 111, 122},             // touching
        {100, 105, 105, 107},        // overlapping, and twice the same
        {100, 200, 700, 1300, 1800}, // gaps that are moved along, and gaps that are not
        {1300, 100, 1280, 110},      // in no order
        {2, 500, 3991},              // from the first sample to the last
        {300},
    };
    for (const unsigned int ordering : {1u, 2u}) {
        for (const std::vector<int>& triggers : arrangements) {
            SCOPED_TRACE(std::to_string(triggers.size()) + " windows from " + std::to_string(triggers[0]));
            Segment segment(triggers, ordering);
            const int n = static_cast<int>(triggers.size());
            segment.read(n);
            for (int k = 0; k < n; ++k) {
                for (int j = 0; j < length; ++j) {
                    ASSERT_EQ(segment.E[static_cast<std::size_t>(k)][j],
                              value_at(triggers[static_cast<std::size_t>(k)] - 2 + j));
                }
            }
            EXPECT_EQ(segment.x[0], value_at(triggers.back() - 2));
            segment.clean(n);
            EXPECT_EQ(segment.file(ordering), expected_file(triggers, n));
        }
    }
}

TEST(SegmentSamples, BorrowedWindowsAreReadAndNotPutBack) {
    // The third and fourth lie between and over the segment's own.
    const std::vector<int> triggers = {1000, 1030, 1010, 1025};
    Segment segment(triggers);
    segment.read(2);
    EXPECT_EQ(segment.E[2][0], value_at(1008));
    segment.clean(2);
    EXPECT_EQ(segment.file(), expected_file(triggers, 2));
}

TEST(SegmentSamples, AWindowOutsideIsZerosAndARefusedOneRepeatsTheOneBefore) {
    // A window that ends at the length is valid, and refused by the sample access.
    Segment segment({100, 1, 110, nSamples - 8, 120});
    segment.read(5);
    EXPECT_EQ(segment.E[1], segment.rows[1].data());
    EXPECT_EQ(segment.rows[1], std::vector<float>(length, 0.0f));
    EXPECT_EQ(segment.rows[3], segment.rows[2]);
    EXPECT_EQ(segment.rows[4][0], value_at(118));
}

TEST(SegmentSamples, RefusedWindowsThatLieCloseTogetherRepeatTheBufferToo) {
    const std::vector<int> triggers = {100, 105, 110};
    Segment segment(triggers);
    segment.read(3); // leaves samples behind that must not show
    segment.x.assign(length, -1.0f);
    segment.ctc.FileVersion = 0; // the sample access refuses everything
    segment.read(3);
    EXPECT_EQ(segment.rows, std::vector(3, std::vector<float>(length, -1.0f)));
    segment.ctc.FileVersion = 1;
    segment.clean(3);
    EXPECT_EQ(segment.file(), expected_file(triggers, 3)) << "each is still put back by itself";
}

TEST(SegmentSamples, WhereTheFileEndsEarlyTheWindowsBeforeItsEndAreReadAllTheSame) {
    Segment segment({100, 120, 140});
    std::filesystem::resize_file(segment.path, segment.header.size() + 4 * (nSamples + 130));
    segment.read(3);
    EXPECT_EQ(segment.rows[0][0], value_at(98));
    EXPECT_EQ(segment.rows[1][10], value_at(128));
    EXPECT_EQ(segment.rows[2], segment.rows[1]) << "what could not be read repeats the window before";
}
