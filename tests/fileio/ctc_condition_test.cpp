#include "fileio/ctc_condition.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/bits.h"
#include "tests/support/ctc_bytes.h"
#include "tests/support/temporary_folder.h"

namespace {

using support::append_stored;
using support::Bytes;
using support::ctc_header_bytes;
using support::CtcHeader;
using support::same_bits;
using support::TemporaryFolder;

constexpr unsigned int channels = 3;
// The middle condition has no trials and takes the space of one; the last has no pre-trigger samples, so that the
// doubled count of ordering 3 never leaves the section.
const std::vector<std::uint32_t> trials = {2, 0, 3};
const std::vector<std::uint32_t> pre = {2, 1, 0};
const std::vector<std::uint32_t> post = {3, 2, 4};
constexpr unsigned int conditions = 3;
constexpr unsigned int total = channels * (2 * 5 + 1 * 3 + 3 * 4);
const std::vector<float> offsets = {0.3f, -3.0f, 100.0f};
const std::vector<float> scales = {0.1f, -2.0f, 0.125f};
constexpr float untouched = -12345.5f;

unsigned int epochs(unsigned int condition) {
    return std::max(1u, trials[condition]);
}
unsigned int length(unsigned int condition) {
    return pre[condition] + post[condition];
}

// The element of an epoch's sample (0: the first of the epoch), found by walking the section as it is laid out.
unsigned int walked_element(unsigned int ordering, unsigned int condition, unsigned int trial, unsigned int channel,
                            unsigned int sample) {
    unsigned int element = 0;
    for (unsigned int k = 0; k < conditions; ++k) {
        const unsigned int extents[3] = {epochs(k), channels, length(k)}; // trial, channel, sample
        const int orders[4][3] = {{0, 1, 2}, {0, 2, 1}, {1, 2, 0}, {2, 1, 0}};
        const int* order = orders[ordering - 3];
        unsigned int at[3];
        for (at[order[0]] = 0; at[order[0]] < extents[order[0]]; ++at[order[0]]) {
            for (at[order[1]] = 0; at[order[1]] < extents[order[1]]; ++at[order[1]]) {
                for (at[order[2]] = 0; at[order[2]] < extents[order[2]]; ++at[order[2]]) {
                    if (k == condition && at[0] == trial && at[1] == channel && at[2] == sample) {
                        return element;
                    }
                    ++element;
                }
            }
        }
    }
    ADD_FAILURE() << "no such sample";
    return 0;
}

// The element that value i of a run starting at sample `first` of the epoch comes from.
unsigned int run_element(unsigned int ordering, unsigned int condition, unsigned int trial, unsigned int channel,
                         unsigned int first, unsigned int i) {
    if (ordering == 3) { // the pre-trigger count once more, counted on through the section
        return walked_element(3, condition, trial, channel, 0) + first + pre[condition] + i;
    }
    if (ordering >= 5 && trials[condition] == 0) { // one element for the whole run of every channel
        return walked_element(ordering, condition, 0, 0, 0);
    }
    return walked_element(ordering, condition, trial, channel, first + i);
}

// The value stored in an element; distinct, with signs, and exact in every data type.
double stored_value(unsigned int dataType, unsigned int element) {
    const int number = static_cast<int>(element) - 37;
    return dataType == 1 || dataType == 5 ? number + 0.25 : number;
}

std::size_t element_size(unsigned int dataType) {
    return dataType == 3 ? 2 : dataType == 4 ? 1 : 4;
}

CtcHeader header_of(unsigned int dataType, unsigned int ordering) {
    CtcHeader header;
    header.dataType = dataType;
    header.sampleOrdering = ordering;
    header.nrOfChannels = channels;
    header.nrOfSamples = 0;
    header.offsets = offsets;
    header.scales = scales;
    header.trials = trials;
    header.pre = pre;
    header.post = post;
    return header;
}

// Elements 0, 1, 2, ... of any recording.
std::string data_of(unsigned int dataType, unsigned int elements = total) {
    Bytes bytes;
    for (unsigned int e = 0; e < elements; ++e) {
        append_stored(bytes, dataType, stored_value(dataType, e));
    }
    return bytes.str();
}

float rounded(double value) {
    return static_cast<float>(value);
}
float physical(unsigned int dataType, double stored, unsigned int channel) {
    if (dataType == 1) {
        return rounded(stored);
    }
    const float product = rounded(stored * static_cast<double>(scales[channel]));
    return rounded(static_cast<double>(product) + static_cast<double>(offsets[channel]));
}
float unscaled(float value, unsigned int channel) {
    const float difference = rounded(static_cast<double>(value) - static_cast<double>(offsets[channel]));
    return rounded(static_cast<double>(difference) / static_cast<double>(scales[channel]));
}
std::string stored_bytes(unsigned int dataType, float value, unsigned int channel) {
    Bytes bytes;
    if (dataType == 1) {
        bytes.f32(value);
    } else if (dataType == 5) {
        bytes.f32(unscaled(value, channel));
    } else {
        append_stored(bytes, dataType, static_cast<int>(unscaled(value, channel)));
    }
    return bytes.str();
}

struct Recording {
    TemporaryFolder folder;
    std::string header;
    std::string path;
    std::size_t dataSize;
    CTCStruct ctc{};

    Recording(const CtcHeader& h, const std::string& data, bool fileBacked)
        : header(ctc_header_bytes(h)), path(folder.write("a.ctc", header + data)), dataSize(data.size()) {
        EXPECT_EQ(ReadEntireCTC(&ctc, path.c_str(), fileBacked ? 1 : 0), 1);
    }
    Recording(unsigned int dataType, unsigned int ordering, bool fileBacked)
        : Recording(header_of(dataType, ordering), data_of(dataType), fileBacked) {}
    ~Recording() { FreeCTCMemory(&ctc); }
    Recording(const Recording&) = delete;
    Recording& operator=(const Recording&) = delete;

    // The data section as it now is. Closes a file-backed recording.
    std::string data() {
        const void* holder = ctc.DataType == 3   ? static_cast<void*>(ctc.Int16Samples)
                             : ctc.DataType == 4 ? static_cast<void*>(ctc.Int8Samples)
                                                 : static_cast<void*>(ctc.FloatSamples);
        if (ctc.FileView == nullptr) {
            return std::string(static_cast<const char*>(holder), dataSize);
        }
        FreeCTCMemory(&ctc);
        return support::read_file(path).substr(header.size());
    }
};

std::string label(unsigned int dataType, unsigned int ordering, bool fileBacked) {
    return "type " + std::to_string(dataType) + ", ordering " + std::to_string(ordering) +
           (fileBacked ? ", file-backed" : ", in memory");
}

// Calls `body(dataType, ordering, fileBacked)` for every combination in which an element of the view is an element
// of the data type: file-backed scaled floats, viewed as bytes, have tests of their own.
template <class Body>
void for_every_kind(Body body) {
    for (const unsigned int dataType : {1u, 3u, 4u, 5u}) {
        for (const unsigned int ordering : {3u, 4u, 5u, 6u}) {
            for (const bool fileBacked : {false, true}) {
                if (dataType == 5 && fileBacked) {
                    continue;
                }
                SCOPED_TRACE(label(dataType, ordering, fileBacked));
                body(dataType, ordering, fileBacked);
            }
        }
    }
}

// Calls `body(condition, trial, channel, first, count)` for every run inside an epoch, `first` from its start.
template <class Body>
void for_every_run(Body body) {
    for (unsigned int k = 0; k < conditions; ++k) {
        for (unsigned int t = 0; t < epochs(k); ++t) {
            for (unsigned int c = 0; c < channels; ++c) {
                for (unsigned int first = 0; first < length(k); ++first) {
                    for (unsigned int count = 1; first + count <= length(k); ++count) {
                        body(k, t, c, first, count);
                    }
                }
            }
        }
    }
}

// The sample relative to the trigger, as callers count.
long from_trigger(unsigned int condition, unsigned int sample) {
    return static_cast<long>(sample) - static_cast<long>(pre[condition]);
}

std::vector<float> new_values(unsigned int count) {
    const float values[5] = {1.7f, -1.7f, 7000.7f, -25.9f, 0.0f};
    return std::vector<float>(values, values + count);
}

// A recording of one condition with consecutive values, 0, 1, 2, ..., and nothing scaled.
struct Counted {
    CtcHeader header;
    unsigned int elements;

    Counted(unsigned int dataType, unsigned int ordering, unsigned int nrOfChannels, unsigned int nrOfTrials,
            unsigned int preSamples, unsigned int postSamples)
        : elements(nrOfChannels * std::max(1u, nrOfTrials) * (preSamples + postSamples)) {
        header.dataType = dataType;
        header.sampleOrdering = ordering;
        header.nrOfChannels = nrOfChannels;
        header.offsets.assign(nrOfChannels, 0.0f);
        header.scales.assign(nrOfChannels, 1.0f);
        header.trials = {nrOfTrials};
        header.pre = {preSamples};
        header.post = {postSamples};
    }
    std::string data() const {
        Bytes bytes;
        for (unsigned int e = 0; e < elements; ++e) {
            append_stored(bytes, header.dataType, e);
        }
        return bytes.str();
    }
};

// A structure made by hand over the first elements of an immense section.
struct Immense {
    float held[64];
    unsigned int trialCount[1];
    unsigned int preSamples[1];
    unsigned int postSamples[1];
    unsigned int start[1];
    CTCStruct ctc{};

    Immense(unsigned int ordering, unsigned int nrOfChannels, unsigned int nrOfTrials, unsigned int preCount,
            unsigned int postCount, unsigned int startElement = 0)
        : trialCount{nrOfTrials}, preSamples{preCount}, postSamples{postCount}, start{startElement} {
        for (int i = 0; i < 64; ++i) {
            held[i] = static_cast<float>(i);
        }
        ctc.FileVersion = 1;
        ctc.DataType = 1;
        ctc.SampleOrdering = ordering;
        ctc.NrOfChannels = nrOfChannels;
        ctc.NrOfConditions = 1;
        ctc.NrOfTrials = trialCount;
        ctc.PreTriggerSamples = preSamples;
        ctc.PostTriggerSamples = postSamples;
        ctc.ConditionStarts = start;
        ctc.FloatSamples = held;
    }

    float get(long trial, unsigned int channel, long firstSample) {
        float dest = untouched;
        EXPECT_EQ(GetConditionChannelSamples(&dest, &ctc, 0, trial, channel, firstSample, 1), 1u);
        return dest;
    }
};

} // namespace

TEST(GetConditionChannelSamples, ReadsEveryRunOfEveryEpoch) {
    for_every_kind([](unsigned int dataType, unsigned int ordering, bool fileBacked) {
        Recording recording(dataType, ordering, fileBacked);
        for_every_run([&](unsigned int k, unsigned int t, unsigned int c, unsigned int first, unsigned int count) {
            std::vector<float> dest(count + 1, untouched);
            ASSERT_EQ(GetConditionChannelSamples(dest.data(), &recording.ctc, k, static_cast<long>(t), c,
                                                 from_trigger(k, first), count),
                      count);
            for (unsigned int i = 0; i < count; ++i) {
                const double stored = stored_value(dataType, run_element(ordering, k, t, c, first, i));
                EXPECT_TRUE(same_bits(physical(dataType, stored, c), dest[i]))
                    << k << " " << t << " " << c << " " << first << "+" << i;
            }
            EXPECT_EQ(dest[count], untouched);
        });
        EXPECT_EQ(recording.data(), data_of(dataType));
    });
}

// File-backed whole runs of integers too: nothing is stored further on here.
TEST(SetConditionChannelSamples, StoresARunWhereItIsReadFrom) {
    for_every_kind([](unsigned int dataType, unsigned int ordering, bool fileBacked) {
        for_every_run([&](unsigned int k, unsigned int t, unsigned int c, unsigned int first, unsigned int count) {
            if (first + count != length(k)) {
                return; // enough, and quicker
            }
            Recording recording(dataType, ordering, fileBacked);
            const std::vector<float> src = new_values(count);
            ASSERT_EQ(SetConditionChannelSamples(src.data(), &recording.ctc, k, static_cast<long>(t), c,
                                                 from_trigger(k, first), count),
                      count);
            std::string expected = data_of(dataType);
            const std::size_t size = element_size(dataType);
            for (unsigned int i = 0; i < count; ++i) { // in order: where all share an element, the last one stays
                expected.replace(run_element(ordering, k, t, c, first, i) * size, size,
                                 stored_bytes(dataType, src[i], c));
            }
            EXPECT_EQ(recording.data(), expected) << k << " " << t << " " << c << " " << first << " " << count;
        });
    });
}

TEST(ConditionSamples, AWholeEpochIsReadFromPreBeforeTheTrigger) {
    for (const unsigned int dataType : {1u, 3u, 4u}) {
        for (const bool fileBacked : {false, true}) {
            const auto epoch = [&](unsigned int ordering, long trial, unsigned int channel) {
                const Counted counted(dataType, ordering, 2, 2, 1, 2);
                Recording recording(counted.header, counted.data(), fileBacked);
                std::vector<float> dest(3, untouched);
                EXPECT_EQ(GetConditionChannelSamples(dest.data(), &recording.ctc, 0, trial, channel, -1, 3), 3u);
                return dest;
            };
            SCOPED_TRACE(label(dataType, 0, fileBacked));
            EXPECT_EQ(epoch(4, 1, 1), (std::vector<float>{7, 9, 11}));
            EXPECT_EQ(epoch(5, 1, 1), (std::vector<float>{7, 9, 11}));
            EXPECT_EQ(epoch(5, 0, 1), (std::vector<float>{6, 8, 10}));
            EXPECT_EQ(epoch(6, 0, 1), (std::vector<float>{2, 6, 10}));
            EXPECT_EQ(epoch(6, 1, 0), (std::vector<float>{1, 5, 9}));
            // Ordering 3 starts `pre` samples late, and ends in the next channel.
            EXPECT_EQ(epoch(3, 1, 0), (std::vector<float>{7, 8, 9}));
            EXPECT_EQ(epoch(3, 0, 0), (std::vector<float>{1, 2, 3}));
        }
    }
}

TEST(ConditionSamples, TheDoubledPreTriggerCountOfTheLastEpochEndsAtTheSection) {
    for (const bool fileBacked : {false, true}) {
        for (const unsigned int dataType : {1u, 3u, 4u}) {
            const Counted counted(dataType, 3, 2, 2, 1, 2);
            Recording recording(counted.header, counted.data() + "behind the section", fileBacked);
            float buffer[4] = {untouched, untouched, untouched, untouched};
            EXPECT_EQ(GetConditionChannelSamples(buffer, &recording.ctc, 0, 1, 1, -1, 3), 3u);
            if (fileBacked) { // one transfer, refused as a whole
                EXPECT_EQ(buffer[0], untouched);
                EXPECT_EQ(buffer[1], untouched);
            } else {
                EXPECT_EQ(buffer[0], 10.0f);
                EXPECT_EQ(buffer[1], 11.0f);
            }
            EXPECT_EQ(buffer[2], untouched);
            EXPECT_EQ(buffer[3], untouched);
            const float src[3] = {50.0f, 51.0f, 52.0f};
            EXPECT_EQ(SetConditionChannelSamples(src, &recording.ctc, 0, 1, 1, -1, 3), 3u);
            Bytes changed;
            append_stored(changed, dataType, 50);
            append_stored(changed, dataType, 51);
            std::string expected = counted.data();
            if (!fileBacked) {
                expected.replace(10 * element_size(dataType), changed.size(), changed.str());
                recording.dataSize = expected.size();
            } else {
                expected += "behind the section";
            }
            EXPECT_EQ(recording.data(), expected);
        }
    }
}

TEST(ConditionSamples, ARunMayEndWithTheEpochAndNotOneSampleLater) {
    for_every_kind([](unsigned int dataType, unsigned int ordering, bool fileBacked) {
        Recording recording(dataType, ordering, fileBacked);
        float buffer[8];
        std::fill_n(buffer, 8, untouched);
        for (unsigned int k = 0; k < conditions; ++k) {
            const long end = static_cast<long>(post[k]);
            const long wholeStart = -static_cast<long>(pre[k]);
            testing::internal::CaptureStderr();
            EXPECT_EQ(GetConditionChannelSamples(buffer, &recording.ctc, k, 0, 1, end - 1, 2), 0u);
            EXPECT_EQ(SetConditionChannelSamples(buffer, &recording.ctc, k, 0, 1, end - 1, 2), 0u);
            EXPECT_EQ(GetConditionChannelSamples(buffer, &recording.ctc, k, 0, 1, wholeStart, length(k) + 1), 0u);
            EXPECT_EQ(GetConditionChannelSamples(buffer, &recording.ctc, k, 0, 1, end, 1), 0u);
            EXPECT_EQ(GetConditionChannelSamples(buffer, &recording.ctc, k, 0, 1, end, 0xFFFFFFFF), 0u);
            EXPECT_EQ(GetConditionChannelSamples(buffer, &recording.ctc, k, 0, 1, LONG_MAX, 1), 0u);
            EXPECT_EQ(SetConditionChannelSamples(buffer, &recording.ctc, k, 0, 1, LONG_MAX, 0xFFFFFFFF), 0u);
            EXPECT_EQ(GetConditionChannelSamples(buffer, &recording.ctc, k, 0, 1, LONG_MAX - pre[k], 1), 0u);
            EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
            EXPECT_EQ(buffer[0], untouched);
        }
        EXPECT_EQ(GetConditionChannelSamples(buffer, &recording.ctc, 0, 1, 1, 2, 1), 1u);
        EXPECT_NE(buffer[0], untouched);
        EXPECT_EQ(GetConditionChannelSamples(buffer, &recording.ctc, 2, 1, 1, 3, 1), 1u);
        EXPECT_EQ(GetConditionChannelSamples(buffer, &recording.ctc, 2, 1, 1, 0, 4), 4u);
        EXPECT_EQ(buffer[4], untouched);
        EXPECT_EQ(recording.data(), data_of(dataType));
    });
}

TEST(ConditionSamples, RefusalsAreSilentAndTouchNothing) {
    for_every_kind([](unsigned int dataType, unsigned int ordering, bool fileBacked) {
        Recording recording(dataType, ordering, fileBacked);
        CTCStruct& ctc = recording.ctc;
        float buffer[4];
        std::fill_n(buffer, 4, untouched);
        testing::internal::CaptureStderr();
        const auto refused = [&](unsigned int condition, unsigned int channel, unsigned int count) {
            CTCStruct before = ctc;
            EXPECT_EQ(GetConditionChannelSamples(buffer, &ctc, condition, 0, channel, 0, count), 0u);
            EXPECT_EQ(SetConditionChannelSamples(buffer, &ctc, condition, 0, channel, 0, count), 0u);
            EXPECT_EQ(std::memcmp(&before, &ctc, sizeof ctc), 0);
        };
        refused(0, channels, 1);
        refused(0, 0xFFFFFFFF, 1);
        refused(conditions, 0, 1);
        refused(0xFFFFFFFF, 0, 1);
        ctc.NrOfConditions = 2; // the arrays go on
        refused(2, 0, 1);
        ctc.NrOfConditions = conditions;
        ctc.NrOfChannels = 2;
        refused(0, 2, 1);
        ctc.NrOfChannels = channels;
        refused(0, 0, 0); // no failure: nothing is moved, and the count is 0
        ctc.FileVersion = 0;
        refused(0, 0, 1);
        ctc.FileVersion = 1;
        for (unsigned int** array :
             {&ctc.NrOfTrials, &ctc.PreTriggerSamples, &ctc.PostTriggerSamples, &ctc.ConditionStarts}) {
            unsigned int* const present = *array;
            *array = nullptr; // as in a structure made by hand
            refused(0, 0, 1);
            *array = present;
        }
        if (dataType != 1) {
            for (float** array : {&ctc.ChannelOffsets, &ctc.ChannelScales}) {
                float* const present = *array;
                *array = nullptr;
                refused(0, 0, 1);
                *array = present;
            }
        }
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
        for (const float value : buffer) {
            EXPECT_EQ(value, untouched);
        }
        EXPECT_EQ(recording.data(), data_of(dataType));
    });
}

TEST(ConditionSamples, OtherOrderingsAreRefusedWithAMessage) {
    for (const bool fileBacked : {false, true}) {
        for (const unsigned int ordering : {0u, 1u, 2u, 7u, 0xFFFFFFFFu}) {
            Recording recording(3, 4, fileBacked);
            recording.ctc.SampleOrdering = ordering;
            float buffer[2] = {untouched, untouched};
            for (const unsigned int count : {0u, 2u}) {
                testing::internal::CaptureStderr();
                EXPECT_EQ(GetConditionChannelSamples(buffer, &recording.ctc, 0, 0, 0, 0, count), 0u);
                EXPECT_EQ(testing::internal::GetCapturedStderr(), "Unsupported SampleOrdering for this function.\n");
                testing::internal::CaptureStderr();
                EXPECT_EQ(SetConditionChannelSamples(buffer, &recording.ctc, 0, 0, 0, 0, count), 0u);
                EXPECT_EQ(testing::internal::GetCapturedStderr(), "Unsupported SampleOrdering for this function.\n");
            }
            // What is refused before is refused without it.
            testing::internal::CaptureStderr();
            EXPECT_EQ(GetConditionChannelSamples(buffer, &recording.ctc, conditions, 0, 0, 0, 1), 0u);
            EXPECT_EQ(GetConditionChannelSamples(buffer, &recording.ctc, 0, 0, channels, 0, 1), 0u);
            EXPECT_EQ(GetConditionChannelSamples(buffer, &recording.ctc, 0, 0, 0, 0, 4), 0u);
            EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
            EXPECT_EQ(buffer[0], untouched);
        }
    }
}

TEST(ConditionSamples, AContinuousFileWithConditionsIsRefusedWithAMessage) {
    for (const unsigned int ordering : {1u, 2u}) {
        CtcHeader header = header_of(1, ordering);
        header.nrOfSamples = total / channels;
        Recording recording(header, data_of(1), false);
        float buffer[1] = {untouched};
        testing::internal::CaptureStderr();
        EXPECT_EQ(GetConditionChannelSamples(buffer, &recording.ctc, 0, 0, 0, 0, 1), 0u);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "Unsupported SampleOrdering for this function.\n");
        EXPECT_EQ(buffer[0], untouched);
    }
}

TEST(ConditionSamples, AContinuousFileWithoutConditionsIsRefusedInSilence) {
    for (const unsigned int ordering : {1u, 2u}) {
        for (const bool fileBacked : {false, true}) {
            CtcHeader header = header_of(1, ordering);
            header.nrOfSamples = total / channels;
            header.trials = header.pre = header.post = {};
            Recording recording(header, data_of(1), fileBacked);
            float buffer[1] = {untouched};
            testing::internal::CaptureStderr();
            EXPECT_EQ(GetConditionChannelSamples(buffer, &recording.ctc, 0, 0, 0, 0, 1), 0u);
            EXPECT_EQ(SetConditionChannelSamples(buffer, &recording.ctc, 0, 0, 0, 0, 1), 0u);
            EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
            EXPECT_EQ(buffer[0], untouched);
            EXPECT_EQ(recording.data(), data_of(1));
        }
    }
}

TEST(ConditionSamples, OtherDataTypesAreRefusedWithAMessageAfterTheOrdering) {
    for (const bool fileBacked : {false, true}) {
        for (const unsigned int held : {1u, 3u}) { // without and with offset and scale arrays
            for (const unsigned int dataType : {0u, 2u, 6u, 0xFFFFFFFFu}) {
                Recording recording(held, 4, fileBacked);
                recording.ctc.DataType = dataType;
                float buffer[2] = {untouched, untouched};
                testing::internal::CaptureStderr();
                EXPECT_EQ(GetConditionChannelSamples(buffer, &recording.ctc, 0, 0, 0, 0, 2), 0u);
                EXPECT_EQ(testing::internal::GetCapturedStderr(), "Unsupported Datatype.\n");
                testing::internal::CaptureStderr();
                EXPECT_EQ(SetConditionChannelSamples(buffer, &recording.ctc, 0, 0, 0, 0, 2), 0u);
                EXPECT_EQ(testing::internal::GetCapturedStderr(), "Unsupported Datatype.\n");
                EXPECT_EQ(buffer[0], untouched);
                recording.ctc.SampleOrdering = 2;
                testing::internal::CaptureStderr();
                EXPECT_EQ(GetConditionChannelSamples(buffer, &recording.ctc, 0, 0, 0, 0, 2), 0u);
                EXPECT_EQ(testing::internal::GetCapturedStderr(), "Unsupported SampleOrdering for this function.\n");
            }
        }
    }
}

TEST(ConditionSamples, WithoutTrialsEveryValueIsTheSameElement) {
    for (const bool fileBacked : {false, true}) {
        for (const unsigned int ordering : {5u, 6u}) {
            const Counted counted(3, ordering, 2, 0, 2, 3);
            Recording recording(counted.header, counted.data(), fileBacked);
            float dest[3] = {};
            EXPECT_EQ(GetConditionChannelSamples(dest, &recording.ctc, 0, 7, 1, -1, 3), 3u);
            EXPECT_EQ(dest[0], 7.0f); // the element that the trial alone names
            EXPECT_EQ(dest[1], 7.0f);
            EXPECT_EQ(dest[2], 7.0f);
            const float src[3] = {20.0f, 21.0f, 22.0f};
            EXPECT_EQ(SetConditionChannelSamples(src, &recording.ctc, 0, 0, 1, -1, 3), 3u);
            std::string expected = counted.data();
            expected[0] = 22;
            EXPECT_EQ(recording.data(), expected);
        }
    }
}

TEST(ConditionSamples, ATrialTheConditionDoesNotHaveIsFoundInOtherBlocks) {
    for (const bool fileBacked : {false, true}) {
        for (const unsigned int ordering : {3u, 4u, 5u, 6u}) {
            SCOPED_TRACE(label(1, ordering, fileBacked));
            Recording recording(1, ordering, fileBacked);
            float dest = untouched;
            const auto expect_element = [&](unsigned int condition, long trial, long firstSample,
                                            unsigned int element) {
                dest = untouched;
                EXPECT_EQ(GetConditionChannelSamples(&dest, &recording.ctc, condition, trial, 0, firstSample, 1), 1u);
                EXPECT_EQ(dest, rounded(stored_value(1, element))) << condition << " " << trial << " " << firstSample;
            };
            const unsigned int step = ordering <= 4 ? 15 : 1; // elements from a trial of condition 0 to the next
            const unsigned int extra = ordering == 3 ? 2 : 0; // its doubled pre-trigger count
            expect_element(0, 2, -2, 2 * step + extra);
            expect_element(0, 3, -2, 3 * step + extra);
            // Condition 2 begins at element 39; three channels of four samples are a trial.
            const unsigned int lastStep = ordering <= 4 ? 12 : 1;
            expect_element(2, -1, 0, 39 - lastStep);
            expect_element(2, -3, 0, 39 - 3 * lastStep);
            const float src = 77.0f;
            EXPECT_EQ(SetConditionChannelSamples(&src, &recording.ctc, 2, -1, 0, 0, 1), 1u);
            std::string expected = data_of(1);
            expected.replace((39 - lastStep) * 4, 4, stored_bytes(1, src, 0));
            EXPECT_EQ(recording.data(), expected);
        }
    }
}

TEST(ConditionSamples, TrialsOutsideTheSectionMoveNothing) {
    for_every_kind([](unsigned int dataType, unsigned int ordering, bool fileBacked) {
        Recording recording(dataType, ordering, fileBacked);
        const float src[2] = {5.0f, 6.0f};
        // The last two times 15 elements, those of a trial in ordering 3 and 4, are -1 and 1 in 64 bits that wrap.
        for (const long trial : {-100L, 100L, LONG_MIN, LONG_MAX, LONG_MAX - 80, LONG_MIN + 80, 1L << 32, -(1L << 32),
                                 0x1111111111111111L, -0x1111111111111111L}) {
            for (unsigned int c = 0; c < channels; ++c) {
                float dest[2] = {untouched, untouched};
                EXPECT_EQ(GetConditionChannelSamples(dest, &recording.ctc, 0, trial, c, 0, 2), 2u);
                EXPECT_EQ(dest[0], untouched) << trial;
                EXPECT_EQ(dest[1], untouched) << trial;
                EXPECT_EQ(SetConditionChannelSamples(src, &recording.ctc, 0, trial, c, 0, 2), 2u);
            }
        }
        EXPECT_EQ(recording.data(), data_of(dataType));
    });
}

TEST(ConditionSamples, ARunThatStartsBeforeTheEpochReachesWhatLiesThere) {
    for_every_kind([](unsigned int dataType, unsigned int ordering, bool fileBacked) {
        Recording recording(dataType, ordering, fileBacked);
        // Sample 0 of the last condition's first channel and trial is element 39, one sample before it a stride less.
        const unsigned int stride = ordering == 3 ? 1 : ordering == 4 ? 3 : ordering == 5 ? 3 : 9;
        float dest[5];
        std::fill_n(dest, 5, untouched);
        EXPECT_EQ(GetConditionChannelSamples(dest, &recording.ctc, 2, 0, 0, -2, 4), 4u);
        for (unsigned int i = 0; i < 4; ++i) {
            const double stored = stored_value(dataType, 39 - 2 * stride + i * stride);
            EXPECT_TRUE(same_bits(physical(dataType, stored, 0), dest[i])) << i;
        }
        EXPECT_EQ(dest[4], untouched);
        const float src[3] = {1.5f, -2.0f, 3.0f};
        EXPECT_EQ(SetConditionChannelSamples(src, &recording.ctc, 2, 0, 0, -2, 3), 3u);
        std::string expected = data_of(dataType);
        const std::size_t size = element_size(dataType);
        for (unsigned int i = 0; i < 3; ++i) {
            expected.replace((39 - 2 * stride + i * stride) * size, size, stored_bytes(dataType, src[i], 0));
        }
        EXPECT_EQ(recording.data(), expected);
    });
}

TEST(ConditionSamples, ElementsBeforeTheSectionAreNeitherReadNorWritten) {
    for_every_kind([](unsigned int dataType, unsigned int ordering, bool fileBacked) {
        Recording recording(dataType, ordering, fileBacked);
        // Two samples before the first one of the section; ordering 3 counts `pre`, 2, once more.
        const long first = ordering == 3 ? -6 : -4;
        const unsigned int stride = ordering == 3 ? 1 : ordering == 4 ? 3 : ordering == 5 ? 2 : 6;
        const bool asAWhole = fileBacked && stride == 1;
        float dest[5];
        std::fill_n(dest, 5, untouched);
        EXPECT_EQ(GetConditionChannelSamples(dest, &recording.ctc, 0, 0, 0, first, 4), 4u);
        EXPECT_EQ(dest[0], untouched);
        EXPECT_EQ(dest[1], untouched);
        for (unsigned int i = 2; i < 4; ++i) {
            const float there = physical(dataType, stored_value(dataType, (i - 2) * stride), 0);
            EXPECT_TRUE(same_bits(asAWhole ? untouched : there, dest[i])) << i;
        }
        EXPECT_EQ(dest[4], untouched);
        const float src[3] = {1.5f, -2.0f, 3.0f};
        EXPECT_EQ(SetConditionChannelSamples(src, &recording.ctc, 0, 0, 0, first, 3), 3u);
        std::string expected = data_of(dataType);
        if (!asAWhole) {
            expected.replace(0, element_size(dataType), stored_bytes(dataType, src[2], 0));
        }
        EXPECT_EQ(recording.data(), expected);
    });
}

TEST(ConditionSamples, PositionsFarBeforeTheEpochMoveNothing) {
    for_every_kind([](unsigned int dataType, unsigned int ordering, bool fileBacked) {
        Recording recording(dataType, ordering, fileBacked);
        const float src[2] = {5.0f, 6.0f};
        // The last one, 3 elements to a sample, is position 1 in 64 bits that wrap.
        for (const long first : {-1000L, -(1L << 32), LONG_MIN, LONG_MIN + 7, -0x5555555555555557L}) {
            float dest[2] = {untouched, untouched};
            EXPECT_EQ(GetConditionChannelSamples(dest, &recording.ctc, 0, 0, 1, first, 2), 2u);
            EXPECT_EQ(dest[0], untouched) << first;
            EXPECT_EQ(dest[1], untouched) << first;
            EXPECT_EQ(SetConditionChannelSamples(src, &recording.ctc, 0, 0, 1, first, 2), 2u);
        }
        EXPECT_EQ(recording.data(), data_of(dataType));
    });
}

// Runs whose samples follow one another in the section are one transfer in a file: it is refused as a whole where
// single elements would still be moved.
TEST(ConditionSamples, ConsecutiveSamplesAreOneTransferInAFile) {
    struct Shape {
        unsigned int ordering, nrOfChannels, nrOfTrials;
        bool oneTransfer;
    };
    for (const Shape& shape :
         {Shape{3, 2, 2, true}, Shape{4, 1, 2, true}, Shape{4, 2, 1, false}, Shape{5, 2, 1, true},
          Shape{5, 1, 2, false}, Shape{6, 1, 1, true}, Shape{6, 2, 1, false}, Shape{6, 1, 2, false}}) {
        for (const unsigned int dataType : {1u, 3u, 4u}) {
            SCOPED_TRACE(label(dataType, shape.ordering, true));
            const Counted counted(dataType, shape.ordering, shape.nrOfChannels, shape.nrOfTrials, 0, 4);
            Recording recording(counted.header, counted.data(), true);
            const unsigned int stride = shape.ordering == 3   ? 1
                                        : shape.ordering == 4 ? shape.nrOfChannels
                                        : shape.ordering == 5 ? shape.nrOfTrials
                                                              : shape.nrOfChannels * shape.nrOfTrials;
            recording.ctc.ConditionStarts[0] = counted.elements - 2 * stride; // two of the four samples are there
            float dest[4] = {untouched, untouched, untouched, untouched};
            EXPECT_EQ(GetConditionChannelSamples(dest, &recording.ctc, 0, 0, 0, 0, 4), 4u);
            EXPECT_EQ(dest[0], shape.oneTransfer ? untouched : static_cast<float>(counted.elements - 2 * stride));
            EXPECT_EQ(dest[1], shape.oneTransfer ? untouched : static_cast<float>(counted.elements - stride));
            EXPECT_EQ(dest[2], untouched);
            const float src[4] = {50.0f, 51.0f, 52.0f, 53.0f};
            EXPECT_EQ(SetConditionChannelSamples(src, &recording.ctc, 0, 0, 0, 0, 4), 4u);
            if (shape.oneTransfer) {
                EXPECT_EQ(recording.data(), counted.data());
            } else {
                EXPECT_NE(recording.data(), counted.data());
            }
        }
    }
}

TEST(ConditionSamples, FileBackedConsecutiveScaledFloatsMoveAsManyBytes) {
    const std::string data = data_of(5);
    {
        Recording recording(5, 3, true);
        float dest[5] = {1.5f, 2.5f, -3.5f, 4.5f, untouched};
        float expected[5];
        std::memcpy(expected, dest, sizeof dest);
        std::memcpy(expected, data.data() + 39 + 12 + 4, 4); // condition 2, trial 1, channel 1: bytes, not floats
        ASSERT_EQ(GetConditionChannelSamples(dest, &recording.ctc, 2, 1, 1, 0, 4), 4u);
        for (int i = 0; i < 4; ++i) { // and the whole run is scaled
            EXPECT_TRUE(same_bits(physical(5, static_cast<double>(expected[i]), 1), dest[i])) << i;
        }
        EXPECT_EQ(dest[4], untouched);
    }
    Recording recording(5, 3, true);
    const float src[4] = {1.5f, 2.5f, -3.5f, 4.5f};
    ASSERT_EQ(SetConditionChannelSamples(src, &recording.ctc, 2, 1, 1, 1, 3), 3u);
    std::string expected = data;
    expected.replace(39 + 12 + 4 + 1, 3, stored_bytes(5, src[0], 1), 0, 3);
    EXPECT_EQ(recording.data(), expected);
}

TEST(GetConditionChannelSamples, ARefusedReadOfFileBackedScaledFloatsConvertsWhatDestHeld) {
    Recording recording(5, 3, true);
    recording.ctc.ConditionStarts[2] = total - 3; // one sample of the run is outside, so that all is refused
    float dest[5] = {1.5f, -2.5f, 1e-30f, 0.0f, untouched};
    const float before[4] = {1.5f, -2.5f, 1e-30f, 0.0f};
    ASSERT_EQ(GetConditionChannelSamples(dest, &recording.ctc, 2, 0, 0, 0, 4), 4u);
    for (int i = 0; i < 4; ++i) {
        EXPECT_TRUE(same_bits(physical(5, static_cast<double>(before[i]), 0), dest[i])) << i;
    }
    EXPECT_EQ(dest[4], untouched);
}

TEST(ConditionSamples, OtherFileBackedScaledFloatsMoveTheLowestByteOfEach) {
    CtcHeader header = header_of(5, 4);
    header.offsets = {0.0f, 0.0f, 0.0f};
    header.scales = {1.0f, 2.0f, -1.0f};
    std::string data(total * 4, '\0');
    for (std::size_t i = 0; i < data.size(); ++i) {
        data[i] = static_cast<char>(200 - i);
    }
    Recording recording(header, data, true);
    float dest[3] = {1.0f, 1.0f, 1.0f};
    EXPECT_EQ(GetConditionChannelSamples(dest, &recording.ctc, 0, 1, 1, -1, 3), 3u);
    for (unsigned int i = 0; i < 3; ++i) {
        const std::uint32_t byte = 200 - (15 + 3 * (1 + i) + 1);
        EXPECT_EQ(support::bits_of(dest[i]), 2 * byte); // the bits of a tiny float, doubled
    }
    const float src[2] = {2.2f, 2.2f}; // halved, 0x3F8CCCCD
    EXPECT_EQ(SetConditionChannelSamples(src, &recording.ctc, 0, 1, 1, -1, 2), 2u);
    std::string expected = data;
    expected[19] = '\xCD';
    expected[22] = '\xCD';
    EXPECT_EQ(recording.data(), expected);
}

TEST(ConditionSamples, IntegersAreCutTowardZeroAndKeepTheirLowBits) {
    for (const unsigned int ordering : {3u, 4u}) {
        for (const bool fileBacked : {false, true}) {
            Counted counted(4, ordering, 2, 1, 0, 4);
            counted.header.scales = {0.5f, 0.5f};
            Recording recording(counted.header, counted.data(), fileBacked);
            const float src[4] = {1.7f, -1.7f, 100.0f, -100.25f}; // 3, -3, 200, -200
            float dest[4] = {};
            EXPECT_EQ(SetConditionChannelSamples(src, &recording.ctc, 0, 0, 1, 0, 4), 4u);
            EXPECT_EQ(GetConditionChannelSamples(dest, &recording.ctc, 0, 0, 1, 0, 4), 4u);
            EXPECT_EQ(dest[0], 1.5f);
            EXPECT_EQ(dest[1], -1.5f);
            EXPECT_EQ(dest[2], -28.0f);
            EXPECT_EQ(dest[3], 28.0f);
        }
    }
}

TEST(ConditionSamples, FloatsAreCopiedBitForBit) {
    for (const unsigned int ordering : {3u, 4u}) {
        for (const bool fileBacked : {false, true}) {
            Recording recording(1, ordering, fileBacked);
            const std::uint32_t patterns[4] = {0x7FC12345, 0xFF800000, 0x00000001, 0x80000000};
            float src[4];
            float dest[4] = {};
            std::memcpy(src, patterns, sizeof src);
            EXPECT_EQ(SetConditionChannelSamples(src, &recording.ctc, 2, 2, 2, 0, 4), 4u);
            EXPECT_EQ(GetConditionChannelSamples(dest, &recording.ctc, 2, 2, 2, 0, 4), 4u);
            EXPECT_EQ(std::memcmp(src, dest, sizeof src), 0);
        }
    }
}

TEST(ConditionSamples, ProductsOfHeaderCountsWrapAt32Bits) {
    // Samples to a trial: 2^16 channels of 2^16 samples are 2^32, that is 0.
    EXPECT_EQ(Immense(4, 0x10000, 9, 0x8000, 0x8000).get(5, 3, -0x8000), 3.0f);
    EXPECT_EQ(Immense(3, 0x10000, 9, 5, 0xFFFB).get(5, 0, -5), 5.0f);
    // Samples to a channel.
    EXPECT_EQ(Immense(3, 0x10000, 1, 1, 0x1FFFF).get(0, 0x8000, -1), 1.0f);
    EXPECT_EQ(Immense(5, 8, 0x10000, 0, 0x10000).get(7, 6, 0), 7.0f);
    EXPECT_EQ(Immense(6, 0x10000, 0x20000, 1, 1).get(7, 0x8000, -1), 7.0f);
    // Elements to a sample: a stride of 0.
    Immense folded(6, 0x10000, 0x10000, 0, 5);
    float dest[3] = {};
    EXPECT_EQ(GetConditionChannelSamples(dest, &folded.ctc, 0, 9, 0, 2, 3), 3u);
    EXPECT_EQ(dest[0], 9.0f);
    EXPECT_EQ(dest[2], 9.0f);
}

TEST(ConditionSamples, EpochLengthsWrapAt32Bits) {
    Immense wrapped(4, 1, 1, 0xFFFFFFFF, 3); // two samples
    float dest[3] = {untouched, untouched, untouched};
    EXPECT_EQ(GetConditionChannelSamples(dest, &wrapped.ctc, 0, 0, 0, -0xFFFFFFFFL, 3), 0u);
    EXPECT_EQ(GetConditionChannelSamples(dest, &wrapped.ctc, 0, 0, 0, -0xFFFFFFFFL, 2), 2u);
    EXPECT_EQ(dest[0], 0.0f);
    EXPECT_EQ(dest[1], 1.0f);
    EXPECT_EQ(dest[2], untouched);
}

TEST(ConditionSamples, SumsAndProductsWithTrialAndPositionDoNotWrapAt32Bits) {
    EXPECT_EQ(Immense(4, 0x10000, 1, 0, 0x10001).get(0, 3, 0x10000), untouched);
    EXPECT_EQ(Immense(4, 0x10000, 0x10000, 0, 1).get(0x10000, 3, 0), untouched);
    EXPECT_EQ(Immense(5, 1, 0x10000, 0, 0x10001).get(3, 0, 0x10000), untouched);
    EXPECT_EQ(Immense(6, 1, 0x10000, 0, 0x10001).get(3, 0, 0x10000), untouched);
    EXPECT_EQ(Immense(5, 1, 0x10000, 0, 0x10001).get(1L << 32, 0, 0), untouched);
    EXPECT_EQ(Immense(3, 1, 1, 0x80000003, 10).get(0, 0, 0), untouched); // pre twice is 2^32 + 6
    EXPECT_EQ(Immense(4, 1, 0x10000, 0, 0x10000, 0xFFFFFFFF).get(0, 0, 4), untouched);
    EXPECT_EQ(Immense(4, 8, 0x10000, 0, 0x10000, 0xFFFFFFFE).get(0, 5, 0), untouched);
    // A run that ends beyond the 32-bit addresses does not come back at the start.
    Immense ending(4, 0xFFFFFFFF, 1, 0, 2);
    float dest[2] = {untouched, untouched};
    EXPECT_EQ(GetConditionChannelSamples(dest, &ending.ctc, 0, 0, 5, 0, 2), 2u);
    EXPECT_EQ(dest[0], 5.0f);
    EXPECT_EQ(dest[1], untouched);
    // Two strides together pass 32 bits: from before the section to its element 5.
    Immense wide(4, 0x80000001, 1, 0, 1);
    float reached[3] = {untouched, untouched, untouched};
    EXPECT_EQ(GetConditionChannelSamples(reached, &wide.ctc, 0, 0, 5, -2, 3), 3u);
    EXPECT_EQ(reached[0], untouched);
    EXPECT_EQ(reached[1], untouched);
    EXPECT_EQ(reached[2], 5.0f);
}

TEST(ConditionSamples, WithoutAHolderNothingIsMoved) {
    for (const unsigned int dataType : {1u, 3u, 4u, 5u}) {
        Immense made(4, 1, 1, 0, 10);
        float array[1] = {1.0f};
        made.ctc.DataType = dataType;
        made.ctc.ChannelOffsets = array;
        made.ctc.ChannelScales = array;
        made.ctc.FloatSamples = nullptr;
        float buffer[3] = {untouched, untouched, untouched};
        EXPECT_EQ(GetConditionChannelSamples(buffer, &made.ctc, 0, 0, 0, 2, 3), 3u);
        EXPECT_EQ(SetConditionChannelSamples(buffer, &made.ctc, 0, 0, 0, 2, 3), 3u);
        EXPECT_EQ(buffer[0], untouched);
        EXPECT_EQ(buffer[2], untouched);
    }
}

TEST(GetConditionChannelSamples, SamplesThatTheFileLostKeepWhatDestHeld) {
    for (const unsigned int dataType : {1u, 3u, 4u}) {
        for (const unsigned int ordering : {3u, 4u}) {
            SCOPED_TRACE(label(dataType, ordering, true));
            Recording recording(dataType, ordering, true);
            const std::size_t size = element_size(dataType);
            std::filesystem::resize_file(recording.path, recording.header.size() + 45 * size);
            // Condition 2, trial 0: elements 39.. ; the samples of channel 1 are 43..46 or 40, 43, 46, 49.
            float dest[4] = {untouched, untouched, untouched, untouched};
            EXPECT_EQ(GetConditionChannelSamples(dest, &recording.ctc, 2, 0, 1, 0, 4), 4u);
            if (ordering == 4) {
                EXPECT_TRUE(same_bits(physical(dataType, stored_value(dataType, 40), 1), dest[0]));
                EXPECT_TRUE(same_bits(physical(dataType, stored_value(dataType, 43), 1), dest[1]));
            } else if (dataType != 1) { // floats are read straight into dest, as far as they go
                EXPECT_EQ(dest[0], untouched);
                EXPECT_EQ(dest[1], untouched);
            }
            EXPECT_EQ(dest[2], untouched);
            EXPECT_EQ(dest[3], untouched);
            // The failure does not spoil what is still there.
            EXPECT_EQ(GetConditionChannelSamples(dest, &recording.ctc, 2, 0, 0, 0, 1), 1u);
            EXPECT_TRUE(same_bits(physical(dataType, stored_value(dataType, 39), 0), dest[0]));
        }
    }
}
