#include "fileio/ctc_channel.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "tests/support/ctc_bytes.h"
#include "tests/support/temporary_folder.h"

namespace {

using support::append_stored;
using support::Bytes;
using support::ctc_header_bytes;
using support::CtcHeader;
using support::TemporaryFolder;

constexpr unsigned int channels = 3;
constexpr unsigned int samples = 8;
constexpr unsigned int total = channels * samples;
const std::vector<float> offsets = {0.3f, -3.0f, 100.0f};
const std::vector<float> scales = {0.1f, -2.0f, 0.125f};
constexpr float untouched = -12345.5f;

// The value stored for a sample; distinct, with signs, and exact in every data type.
double stored_value(unsigned int dataType, unsigned int channel, unsigned int sample) {
    const int number = static_cast<int>(channel * 10 + sample) * (sample % 2 == 0 ? 3 : -3);
    return dataType == 1 || dataType == 5 ? number + 0.25 : number;
}

std::size_t element_size(unsigned int dataType) {
    return dataType == 3 ? 2 : dataType == 4 ? 1 : 4;
}

std::size_t element_of(unsigned int ordering, unsigned int channel, unsigned int sample) {
    return ordering == 1 ? channel * samples + sample : sample * channels + channel;
}

CtcHeader header_of(unsigned int dataType, unsigned int ordering) {
    CtcHeader header;
    header.dataType = dataType;
    header.sampleOrdering = ordering;
    header.nrOfChannels = channels;
    header.nrOfSamples = samples;
    header.offsets = offsets;
    header.scales = scales;
    return header;
}

std::string data_of(unsigned int dataType, unsigned int ordering) {
    std::vector<double> elements(total);
    for (unsigned int c = 0; c < channels; ++c) {
        for (unsigned int s = 0; s < samples; ++s) {
            elements[element_of(ordering, c, s)] = stored_value(dataType, c, s);
        }
    }
    Bytes bytes;
    for (const double element : elements) {
        append_stored(bytes, dataType, element);
    }
    return bytes.str();
}

// Each step rounded to float: a float sum, product or quotient formed in double and rounded once more is the same.
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
// What a written value becomes in the data section: integers are cut toward zero, and their low bits kept.
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

std::uint32_t bits_of(float value) {
    std::uint32_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}
void expect_same_bits(float actual, float expected) {
    EXPECT_EQ(bits_of(actual), bits_of(expected)) << actual << " for " << expected;
}

// A recording in a file of its own, opened in memory or file-backed.
struct Recording {
    TemporaryFolder folder;
    std::string header;
    std::string path;
    CTCStruct ctc{};

    Recording(const CtcHeader& h, const std::string& data, bool fileBacked)
        : header(ctc_header_bytes(h)), path(folder.write("a.ctc", header + data)) {
        EXPECT_EQ(ReadEntireCTC(&ctc, path.c_str(), fileBacked ? 1 : 0), 1);
    }
    Recording(unsigned int dataType, unsigned int ordering, bool fileBacked)
        : Recording(header_of(dataType, ordering), data_of(dataType, ordering), fileBacked) {}
    ~Recording() { FreeCTCMemory(&ctc); }
    Recording(const Recording&) = delete;
    Recording& operator=(const Recording&) = delete;

    // The data section as it now is. Closes a file-backed recording.
    std::string data() {
        const std::size_t bytes = std::size_t{ctc.NrOfChannels} * ctc.NrOfSamples * element_size(ctc.DataType);
        const void* holder = ctc.DataType == 3   ? static_cast<void*>(ctc.Int16Samples)
                             : ctc.DataType == 4 ? static_cast<void*>(ctc.Int8Samples)
                                                 : static_cast<void*>(ctc.FloatSamples);
        if (ctc.FileView == nullptr) {
            return std::string(static_cast<const char*>(holder), bytes);
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
        for (const unsigned int ordering : {1u, 2u}) {
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

// The cases whose bulk writes are stored one run further on.
bool shifts(unsigned int dataType, unsigned int ordering, bool fileBacked) {
    return fileBacked && ordering == 1 && (dataType == 3 || dataType == 4);
}

// Values for a run, with fractions and, unscaled, beyond the range of 8 and 16 bits.
std::vector<float> new_values(unsigned int count) {
    const float values[8] = {1.7f, -1.7f, 25.9f, -25.9f, 7000.7f, -9000.3f, 0.0f, 33.3f};
    return std::vector<float>(values, values + count);
}

} // namespace

TEST(GetChannelSamples, ReadsEveryRunOfEveryChannel) {
    for_every_kind([](unsigned int dataType, unsigned int ordering, bool fileBacked) {
        Recording recording(dataType, ordering, fileBacked);
        for (unsigned int c = 0; c < channels; ++c) {
            for (unsigned int first = 0; first < samples; ++first) {
                for (unsigned int count = 1; first + count <= samples; ++count) {
                    std::vector<float> dest(count + 1, untouched);
                    ASSERT_EQ(GetChannelSamples(dest.data(), &recording.ctc, c, first, count), count);
                    for (unsigned int i = 0; i < count; ++i) {
                        expect_same_bits(dest[i], physical(dataType, stored_value(dataType, c, first + i), c));
                    }
                    EXPECT_EQ(dest[count], untouched);
                }
            }
        }
        EXPECT_EQ(recording.data(), data_of(dataType, ordering));
    });
}

TEST(SetChannelSamples, StoresARunInItsPlace) {
    for_every_kind([](unsigned int dataType, unsigned int ordering, bool fileBacked) {
        if (shifts(dataType, ordering, fileBacked)) {
            return;
        }
        for (unsigned int c = 0; c < channels; ++c) {
            for (unsigned int first = 0; first < samples; ++first) {
                for (unsigned int count = 1; first + count <= samples; ++count) {
                    Recording recording(dataType, ordering, fileBacked);
                    const std::vector<float> src = new_values(count);
                    ASSERT_EQ(SetChannelSamples(src.data(), &recording.ctc, c, first, count), count);
                    std::string expected = data_of(dataType, ordering);
                    const std::size_t size = element_size(dataType);
                    for (unsigned int i = 0; i < count; ++i) {
                        expected.replace(element_of(ordering, c, first + i) * size, size,
                                         stored_bytes(dataType, src[i], c));
                    }
                    EXPECT_EQ(recording.data(), expected) << c << " " << first << " " << count;
                }
            }
        }
    });
}

TEST(SetChannelSamples, FileBackedIntegersOfOrderingOneAreStoredOneRunFurtherOn) {
    for (const unsigned int dataType : {3u, 4u}) {
        for (unsigned int c = 0; c < channels; ++c) {
            for (unsigned int first = 0; first < samples; ++first) {
                for (unsigned int count = 1; first + count <= samples; ++count) {
                    Recording recording(dataType, 1, true);
                    const std::vector<float> src = new_values(count);
                    ASSERT_EQ(SetChannelSamples(src.data(), &recording.ctc, c, first, count), count);
                    std::string expected = data_of(dataType, 1);
                    const std::size_t size = element_size(dataType);
                    const std::size_t start = element_of(1, c, first) + count; // may lie in the next channel
                    if (start + count <= total) {                              // else nothing is written
                        for (unsigned int i = 0; i < count; ++i) {
                            expected.replace((start + i) * size, size, stored_bytes(dataType, src[i], c));
                        }
                    }
                    EXPECT_EQ(recording.data(), expected) << c << " " << first << " " << count;
                }
            }
        }
    }
}

TEST(SetChannelSamples, AShiftedWriteReadsBackOldInPlaceAndNewFurtherOn) {
    for (const unsigned int dataType : {3u, 4u}) {
        Recording recording(dataType, 1, true);
        const float src[3] = {-3.0f, -13.0f, 17.0f}; // channel 1 stores 0, 5, -10
        float before[3] = {};
        GetChannelSamples(before, &recording.ctc, 1, 1, 3);
        EXPECT_EQ(SetChannelSamples(src, &recording.ctc, 1, 1, 3), 3u);
        float dest[3] = {};
        EXPECT_EQ(GetChannelSamples(dest, &recording.ctc, 1, 1, 3), 3u);
        EXPECT_EQ(std::memcmp(dest, before, sizeof dest), 0);
        EXPECT_EQ(GetChannelSamples(dest, &recording.ctc, 1, 4, 3), 3u);
        EXPECT_EQ(std::memcmp(dest, src, sizeof dest), 0);
    }
}

TEST(SetChannelSamples, AShiftedWriteNeverPassesTheEndOfTheSection) {
    for (const unsigned int dataType : {3u, 4u}) {
        Recording recording(header_of(dataType, 1), data_of(dataType, 1) + "behind the section", true);
        const std::vector<float> src = new_values(5);
        EXPECT_EQ(SetChannelSamples(src.data(), &recording.ctc, 2, 0, 5), 5u);
        EXPECT_EQ(recording.data(), data_of(dataType, 1) + "behind the section");
    }
}

TEST(SetChannelSamples, OrderingTwoWithOneChannelIsNotShifted) {
    for (const unsigned int dataType : {3u, 4u}) {
        for (const bool fileBacked : {false, true}) {
            CtcHeader header = header_of(dataType, 2);
            header.nrOfChannels = 1;
            header.offsets = {0.0f};
            header.scales = {0.5f};
            const std::size_t size = element_size(dataType);
            Recording recording(header, std::string(samples * size, '\0'), fileBacked);
            const float src[3] = {1.5f, -2.0f, 20.0f};
            EXPECT_EQ(SetChannelSamples(src, &recording.ctc, 0, 2, 3), 3u);
            float dest[3] = {};
            EXPECT_EQ(GetChannelSamples(dest, &recording.ctc, 0, 2, 3), 3u);
            EXPECT_EQ(std::memcmp(dest, src, sizeof dest), 0);
            Bytes expected;
            for (const int element : {0, 0, 3, -4, 40, 0, 0, 0}) {
                append_stored(expected, dataType, element);
            }
            EXPECT_EQ(recording.data(), expected.str()) << label(dataType, 2, fileBacked);
        }
    }
}

TEST(ChannelSamples, FloatsAreCopiedBitForBit) {
    for (const unsigned int ordering : {1u, 2u}) {
        for (const bool fileBacked : {false, true}) {
            SCOPED_TRACE(label(1, ordering, fileBacked));
            Recording recording(1, ordering, fileBacked);
            const std::uint32_t patterns[4] = {0x7FC12345, 0xFF800000, 0x00000001, 0x80000000};
            float src[4];
            float dest[4] = {};
            std::memcpy(src, patterns, sizeof src);
            EXPECT_EQ(SetChannelSamples(src, &recording.ctc, 1, 2, 4), 4u);
            EXPECT_EQ(GetChannelSamples(dest, &recording.ctc, 1, 2, 4), 4u);
            EXPECT_EQ(std::memcmp(src, dest, sizeof src), 0);
        }
    }
}

TEST(ChannelSamples, UnscaledFloatsIgnoreOffsetAndScaleArrays) {
    for (const bool fileBacked : {false, true}) {
        Recording recording(1, 1, fileBacked);
        ASSERT_EQ(recording.ctc.ChannelOffsets, nullptr);
        for (const bool present : {false, true}) {
            if (present) { // values that would show
                recording.ctc.ChannelOffsets = static_cast<float*>(std::calloc(channels, sizeof(float)));
                recording.ctc.ChannelScales = static_cast<float*>(std::calloc(channels, sizeof(float)));
            }
            const float src = 41.5f;
            float dest = 0.0f;
            EXPECT_EQ(SetChannelSamples(&src, &recording.ctc, 2, 3, 1), 1u);
            EXPECT_EQ(GetChannelSamples(&dest, &recording.ctc, 2, 3, 1), 1u);
            EXPECT_EQ(dest, 41.5f);
        }
    }
}

TEST(ChannelSamples, OneAndAHalfIsThreeHalves) {
    CtcHeader header = header_of(3, 2);
    header.offsets = {0, 0, 0};
    header.scales = {0.5f, 0.5f, 0.5f};
    Recording recording(header, data_of(3, 2), true);
    const float src[2] = {1.7f, -1.7f};
    float dest[2] = {};
    EXPECT_EQ(SetChannelSamples(src, &recording.ctc, 1, 0, 2), 2u);
    EXPECT_EQ(GetChannelSamples(dest, &recording.ctc, 1, 0, 2), 2u);
    EXPECT_EQ(dest[0], 1.5f);
    EXPECT_EQ(dest[1], -1.5f);
    EXPECT_EQ(recording.data().substr(2, 2), std::string("\3\0", 2));
}

TEST(ChannelSamples, RefusalsAreSilentAndTouchNothing) {
    for_every_kind([](unsigned int dataType, unsigned int ordering, bool fileBacked) {
        Recording recording(dataType, ordering, fileBacked);
        CTCStruct& ctc = recording.ctc;
        float buffer[10];
        std::fill_n(buffer, 10, untouched);
        testing::internal::CaptureStderr();
        const auto refused = [&](unsigned int channel, unsigned int first, unsigned int count) {
            EXPECT_EQ(GetChannelSamples(buffer, &ctc, channel, first, count), 0u);
            EXPECT_EQ(SetChannelSamples(buffer, &ctc, channel, first, count), 0u);
        };
        refused(channels, 0, 1);
        refused(0xFFFFFFFF, 0, 1);
        refused(0, 0, samples + 1);
        refused(0, 1, samples);
        refused(0, samples, 1);
        refused(0, samples + 1, 0);
        refused(0, 0, 0xFFFFFFFF);
        refused(0, 0xFFFFFFFE, 1);
        refused(0, 2, 0); // no failure: nothing is moved, and the count is 0
        refused(0, samples, 0);
        ctc.FileVersion = 0;
        refused(0, 0, 1);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
        for (const float value : buffer) {
            EXPECT_EQ(value, untouched);
        }
        EXPECT_EQ(recording.data(), data_of(dataType, ordering));
    });
}

TEST(ChannelSamples, ARunMayEndAtTheLastSample) {
    for_every_kind([](unsigned int dataType, unsigned int ordering, bool fileBacked) {
        Recording recording(dataType, ordering, fileBacked);
        float buffer[samples] = {};
        EXPECT_EQ(GetChannelSamples(buffer, &recording.ctc, 2, 3, samples - 3), samples - 3);
        EXPECT_EQ(GetChannelSamples(buffer, &recording.ctc, 2, 0, samples), samples);
        EXPECT_EQ(SetChannelSamples(buffer, &recording.ctc, 2, 3, samples - 3), samples - 3);
    });
}

TEST(ChannelSamples, OtherOrderingsAreRefusedWithAMessage) {
    for (const bool fileBacked : {false, true}) {
        for (const unsigned int ordering : {0u, 3u, 4u, 5u, 6u, 7u}) {
            Recording recording(3, 1, fileBacked);
            recording.ctc.SampleOrdering = ordering;
            float buffer[2] = {untouched, untouched};
            for (const unsigned int count : {0u, 2u}) {
                testing::internal::CaptureStderr();
                EXPECT_EQ(GetChannelSamples(buffer, &recording.ctc, 0, 0, count), 0u);
                EXPECT_EQ(testing::internal::GetCapturedStderr(), "Unsupported SampleOrdering for this function.\n");
                testing::internal::CaptureStderr();
                EXPECT_EQ(SetChannelSamples(buffer, &recording.ctc, 0, 0, count), 0u);
                EXPECT_EQ(testing::internal::GetCapturedStderr(), "Unsupported SampleOrdering for this function.\n");
            }
            // What is refused before is refused without it.
            testing::internal::CaptureStderr();
            EXPECT_EQ(GetChannelSamples(buffer, &recording.ctc, channels, 0, 1), 0u);
            EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
            EXPECT_EQ(buffer[0], untouched);
        }
    }
}

TEST(ChannelSamples, OtherDataTypesAreRefusedWithAMessageWhateverThePointers) {
    for (const bool fileBacked : {false, true}) {
        for (const unsigned int held : {1u, 3u}) { // without and with offset and scale arrays
            for (const unsigned int dataType : {0u, 2u, 6u, 0xFFFFFFFFu}) {
                Recording recording(held, 1, fileBacked);
                recording.ctc.DataType = dataType;
                float buffer[2] = {untouched, untouched};
                testing::internal::CaptureStderr();
                EXPECT_EQ(GetChannelSamples(buffer, &recording.ctc, 0, 0, 2), 0u);
                EXPECT_EQ(testing::internal::GetCapturedStderr(), "Unsupported Datatype.\n");
                testing::internal::CaptureStderr();
                EXPECT_EQ(SetChannelSamples(buffer, &recording.ctc, 0, 0, 2), 0u);
                EXPECT_EQ(testing::internal::GetCapturedStderr(), "Unsupported Datatype.\n");
                EXPECT_EQ(buffer[0], untouched);
                recording.ctc.SampleOrdering = 3; // the ordering is looked at first
                testing::internal::CaptureStderr();
                EXPECT_EQ(GetChannelSamples(buffer, &recording.ctc, 0, 0, 2), 0u);
                EXPECT_EQ(testing::internal::GetCapturedStderr(), "Unsupported SampleOrdering for this function.\n");
            }
        }
    }
}

TEST(ChannelSamples, AScaledRecordingWithoutItsArraysIsRefused) {
    Recording recording(3, 1, false);
    std::free(recording.ctc.ChannelOffsets);
    recording.ctc.ChannelOffsets = nullptr;
    float buffer[2] = {untouched, untouched};
    EXPECT_EQ(GetChannelSamples(buffer, &recording.ctc, 0, 0, 2), 0u);
    EXPECT_EQ(SetChannelSamples(buffer, &recording.ctc, 0, 0, 2), 0u);
    EXPECT_EQ(recording.data(), data_of(3, 1));
}

// A first sample of 2^32 - 1 and a count of 2 are a sum of 1 in 32 bits, which passes. The addresses wrap as well:
// the run starts one sample (ordering 1) before the channel.

TEST(GetChannelSamples, AWrappedRunReachesOtherSamplesButNeverOutsideTheSection) {
    for_every_kind([](unsigned int dataType, unsigned int ordering, bool fileBacked) {
        Recording recording(dataType, ordering, fileBacked);
        const auto physical_at = [&](unsigned int c, unsigned int s, unsigned int scaledAs) {
            return physical(dataType, stored_value(dataType, c, s), scaledAs);
        };
        float dest[3] = {untouched, untouched, untouched};
        EXPECT_EQ(GetChannelSamples(dest, &recording.ctc, 0, 0xFFFFFFFF, 2), 2u);
        EXPECT_EQ(dest[0], untouched) << "element 2^32 - 1, or 2^32 - 3, is not there";
        if (fileBacked && ordering == 1) {
            EXPECT_EQ(dest[1], untouched) << "one transfer, refused as a whole";
        } else {
            expect_same_bits(dest[1], physical_at(0, 0, 0));
        }
        EXPECT_EQ(dest[2], untouched);

        dest[0] = dest[1] = untouched;
        EXPECT_EQ(GetChannelSamples(dest, &recording.ctc, 1, 0xFFFFFFFF, 2), 2u);
        if (ordering == 1) { // the last sample of channel 0, scaled as channel 1
            expect_same_bits(dest[0], physical_at(0, samples - 1, 1));
        } else {
            EXPECT_EQ(dest[0], untouched);
        }
        expect_same_bits(dest[1], physical_at(1, 0, 1));
        EXPECT_EQ(dest[2], untouched);
    });
}

TEST(SetChannelSamples, AWrappedRunReachesOtherSamplesButNeverOutsideTheSection) {
    for_every_kind([](unsigned int dataType, unsigned int ordering, bool fileBacked) {
        const std::size_t size = element_size(dataType);
        const float src[2] = {7.7f, -4.4f};
        for (const unsigned int c : {0u, 1u}) {
            Recording recording(dataType, ordering, fileBacked);
            EXPECT_EQ(SetChannelSamples(src, &recording.ctc, c, 0xFFFFFFFF, 2), 2u);
            std::string expected = data_of(dataType, ordering);
            const auto put = [&](std::size_t element, float value) {
                expected.replace(element * size, size, stored_bytes(dataType, value, c));
            };
            if (ordering == 2) {
                put(c, src[1]); // its first element would lie before the section
            } else if (shifts(dataType, ordering, fileBacked)) {
                if (c == 1) { // two elements after the wrapped start; the shift itself does not wrap
                    put(samples + 1, src[0]);
                    put(samples + 2, src[1]);
                }
            } else if (c == 1) {
                put(samples - 1, src[0]);
                put(samples, src[1]);
            } else if (!fileBacked) {
                put(0, src[1]);
            }
            EXPECT_EQ(recording.data(), expected) << "channel " << c;
        }
    });
}

TEST(ChannelSamples, ElementAddressesWrapAt32Bits) {
    float held[16];
    for (int i = 0; i < 16; ++i) {
        held[i] = static_cast<float>(i);
    }
    CTCStruct ctc{};
    ctc.FileVersion = 1;
    ctc.DataType = 1;
    ctc.FloatSamples = held; // the part of an immense section that these runs reach
    float dest[4] = {};

    ctc.SampleOrdering = 1;
    ctc.NrOfChannels = 3;
    ctc.NrOfSamples = 0x80000000;
    EXPECT_EQ(GetChannelSamples(dest, &ctc, 2, 3, 4), 4u); // channel 2 starts at 2^32, that is at 0
    EXPECT_EQ(dest[0], 3.0f);
    EXPECT_EQ(dest[3], 6.0f);
    const float src[2] = {-1.0f, -2.0f};
    EXPECT_EQ(SetChannelSamples(src, &ctc, 2, 9, 2), 2u);
    EXPECT_EQ(held[9], -1.0f);
    EXPECT_EQ(held[10], -2.0f);

    ctc.SampleOrdering = 2;
    ctc.NrOfChannels = 0x80000000;
    ctc.NrOfSamples = 5;
    EXPECT_EQ(GetChannelSamples(dest, &ctc, 5, 2, 1), 1u);
    EXPECT_EQ(dest[0], 5.0f);
}

TEST(ChannelSamples, WithoutAHolderNothingIsMoved) {
    for (const unsigned int dataType : {1u, 3u, 4u, 5u}) {
        CTCStruct ctc{};
        float array[1] = {1.0f};
        ctc.FileVersion = 1;
        ctc.DataType = dataType;
        ctc.SampleOrdering = 1;
        ctc.NrOfChannels = 1;
        ctc.NrOfSamples = 10;
        ctc.ChannelOffsets = array;
        ctc.ChannelScales = array;
        float buffer[4] = {untouched, untouched, untouched, untouched};
        EXPECT_EQ(GetChannelSamples(buffer, &ctc, 0, 2, 4), 4u);
        EXPECT_EQ(SetChannelSamples(buffer, &ctc, 0, 2, 4), 4u);
        EXPECT_EQ(buffer[0], untouched);
        EXPECT_EQ(buffer[3], untouched);
    }
}

TEST(GetChannelSamples, SamplesThatTheFileLostKeepWhatDestHeld) {
    for (const unsigned int dataType : {3u, 4u}) {
        for (const unsigned int ordering : {1u, 2u}) {
            SCOPED_TRACE(label(dataType, ordering, true));
            Recording recording(dataType, ordering, true);
            const std::size_t half = total / 2; // four samples of each channel in ordering 2
            std::filesystem::resize_file(recording.path, recording.header.size() + half * element_size(dataType));
            float dest[samples];
            std::fill_n(dest, samples, untouched);
            EXPECT_EQ(GetChannelSamples(dest, &recording.ctc, 1, 0, samples), samples);
            for (unsigned int s = 0; s < samples; ++s) {
                if (ordering == 2 && s < 4) {
                    expect_same_bits(dest[s], physical(dataType, stored_value(dataType, 1, s), 1));
                } else {
                    EXPECT_EQ(dest[s], untouched) << s; // in ordering 1 the one transfer fails as a whole
                }
            }
            // The failure does not spoil what is still there.
            EXPECT_EQ(GetChannelSamples(dest, &recording.ctc, 0, 0, 2), 2u);
            expect_same_bits(dest[1], physical(dataType, stored_value(dataType, 0, 1), 0));
        }
    }
}

// Interleaved runs move a block at a time: runs longer than several blocks, one sample to a block, and samples too far
// apart for one.
TEST(ChannelSamples, LongInterleavedRunsAreThoseOfTheirChannelAlone) {
    struct Case {
        unsigned int channels;
        unsigned int samples;
    };
    for (const Case& size : {Case{2, 70000}, Case{5, 20000}, Case{300, 700}, Case{9000, 9}, Case{17000, 5}}) {
        for (const unsigned int dataType : {1u, 3u, 4u}) {
            SCOPED_TRACE(std::to_string(size.channels) + " channels, type " + std::to_string(dataType));
            CtcHeader header;
            header.dataType = dataType;
            header.sampleOrdering = 2;
            header.nrOfChannels = size.channels;
            header.nrOfSamples = size.samples;
            header.offsets.assign(size.channels, 0.0f);
            header.scales.assign(size.channels, 1.0f);
            const auto value_of = [&](unsigned int c, unsigned int s) {
                return static_cast<double>((c * 7 + s * 13) % 101) - 50.0;
            };
            Bytes bytes;
            for (unsigned int s = 0; s < size.samples; ++s) {
                for (unsigned int c = 0; c < size.channels; ++c) {
                    append_stored(bytes, dataType, value_of(c, s));
                }
            }
            std::string expected = bytes.str();
            Recording recording(header, expected, true);
            for (const unsigned int c : std::set<unsigned int>{0, size.channels / 2, size.channels - 1}) {
                const unsigned int first = c == 0 ? 0 : 3;
                const unsigned int count = size.samples - first - (c == 0 ? 1 : 0);
                std::vector<float> dest(count + 1, untouched);
                ASSERT_EQ(GetChannelSamples(dest.data(), &recording.ctc, c, first, count), count);
                for (unsigned int i = 0; i < count; ++i) {
                    ASSERT_EQ(dest[i], static_cast<float>(value_of(c, first + i))) << c << ' ' << i;
                    dest[i] = static_cast<float>((i * 3 + c) % 90);
                    Bytes stored;
                    append_stored(stored, dataType, static_cast<double>(dest[i]));
                    const std::size_t element = std::size_t{first + i} * size.channels + c;
                    expected.replace(element * element_size(dataType), element_size(dataType), stored.str());
                }
                EXPECT_EQ(dest[count], untouched);
                ASSERT_EQ(SetChannelSamples(dest.data(), &recording.ctc, c, first, count), count);
            }
            EXPECT_TRUE(recording.data() == expected);
        }
    }
}

TEST(ChannelSamples, AnInterleavedRunThatTheFileLostHalfOfIsMovedAsFarAsItGoes) {
    CtcHeader header;
    header.sampleOrdering = 2;
    header.nrOfChannels = 40;
    header.nrOfSamples = 3000; // 480,000 bytes
    const std::string data(480000, '\x11');
    float there = 0.0f;
    std::memcpy(&there, data.data(), sizeof there);
    Recording recording(header, data, true);
    const std::size_t left = 1700 * 160 + 8; // sample 1700 of channels 0 and 1 is the last
    std::filesystem::resize_file(recording.path, recording.header.size() + left);
    for (const unsigned int channel : {1u, 2u}) {
        std::vector<float> dest(3000, untouched);
        EXPECT_EQ(GetChannelSamples(dest.data(), &recording.ctc, channel, 0, 3000), 3000u);
        for (unsigned int s = 0; s < 3000; ++s) {
            ASSERT_EQ(dest[s], s < 1700 + (channel == 1 ? 1u : 0u) ? there : untouched) << channel << ' ' << s;
        }
    }
}

// File-backed scaled floats: the view has one byte per element, so that a run of `count` moves `count` bytes, from
// or to the byte whose number is that of the element.

TEST(GetChannelSamples, FileBackedScaledFloatsReadAsManyBytesAndScaleTheWholeRun) {
    const std::string data = data_of(5, 1);
    Recording recording(5, 1, true);
    for (unsigned int c = 0; c < channels; ++c) {
        for (const unsigned int first : {0u, 4u}) {
            float dest[5] = {1.5f, 2.5f, -3.5f, 4.5f, untouched};
            float expected[5];
            std::memcpy(expected, dest, sizeof dest);
            std::memcpy(expected, data.data() + c * samples + first, 4);
            ASSERT_EQ(GetChannelSamples(dest, &recording.ctc, c, first, 4), 4u);
            for (int i = 0; i < 4; ++i) {
                expect_same_bits(dest[i], physical(5, static_cast<double>(expected[i]), c));
            }
            EXPECT_EQ(dest[4], untouched);
        }
    }
}

TEST(GetChannelSamples, AFailedReadOfFileBackedScaledFloatsScalesWhatDestHeld) {
    Recording recording(5, 1, true);
    float dest[2] = {1.5f, -2.5f};
    EXPECT_EQ(GetChannelSamples(dest, &recording.ctc, 0, 0xFFFFFFFF, 2), 2u);
    expect_same_bits(dest[0], physical(5, 1.5, 0));
    expect_same_bits(dest[1], physical(5, -2.5, 0));
}

TEST(SetChannelSamples, FileBackedScaledFloatsWriteAsManyBytesUnshifted) {
    const std::vector<float> src = new_values(8);
    for (unsigned int c = 0; c < channels; ++c) {
        for (unsigned int first = 0; first < samples; ++first) {
            for (unsigned int count = 1; first + count <= samples; ++count) {
                Recording recording(5, 1, true);
                ASSERT_EQ(SetChannelSamples(src.data(), &recording.ctc, c, first, count), count);
                std::string converted;
                for (const float value : src) {
                    converted += stored_bytes(5, value, c);
                }
                std::string expected = data_of(5, 1);
                expected.replace(c * samples + first, count, converted, 0, count);
                EXPECT_EQ(recording.data(), expected) << c << " " << first << " " << count;
            }
        }
    }
}

TEST(ChannelSamples, InterleavedFileBackedScaledFloatsMoveTheLowestByteOfEach) {
    CtcHeader header = header_of(5, 2);
    header.offsets = {0.0f, 0.0f, 0.0f};
    header.scales = {1.0f, 2.0f, -1.0f};
    std::string data(total * 4, '\0');
    for (std::size_t i = 0; i < data.size(); ++i) {
        data[i] = static_cast<char>(200 - i);
    }
    {
        Recording recording(header, data, true);
        float dest[samples] = {};
        for (unsigned int c = 0; c < channels; ++c) {
            EXPECT_EQ(GetChannelSamples(dest, &recording.ctc, c, 0, samples), samples);
            for (unsigned int s = 0; s < samples; ++s) {
                const std::uint32_t byte = 200 - (s * channels + c); // the bits of a tiny float
                EXPECT_EQ(bits_of(dest[s]), c == 0 ? byte : c == 1 ? 2 * byte : (byte | 0x80000000u));
            }
        }
    }
    Recording recording(header, data, true);
    const float src[2] = {1.1f, 2.2f}; // 0x3F8CCCCD and, halved, the same
    EXPECT_EQ(SetChannelSamples(src, &recording.ctc, 0, 3, 1), 1u);
    EXPECT_EQ(SetChannelSamples(src + 1, &recording.ctc, 1, 5, 1), 1u);
    std::string expected = data;
    expected[3 * channels] = '\xCD';
    expected[5 * channels + 1] = '\xCD';
    EXPECT_EQ(recording.data(), expected);
}

TEST(ChannelSamples, OneChannelInOrderingTwoMovesItsBytesInOneTransferToo) {
    CtcHeader header = header_of(5, 2);
    header.nrOfChannels = 1;
    header.offsets = {0.0f};
    header.scales = {2.0f};
    const std::string data = data_of(5, 1).substr(0, samples * 4);
    Recording recording(header, data, true);
    float dest[4] = {0.0f, 8.0f, 16.0f, 32.0f};
    EXPECT_EQ(GetChannelSamples(dest, &recording.ctc, 0, 4, 4), 4u);
    EXPECT_EQ(dest[0], rounded(2 * stored_value(5, 0, 1)));
    EXPECT_EQ(dest[1], 16.0f);
    EXPECT_EQ(dest[3], 64.0f);
    const float src[4] = {2.2f, 0.0f, 0.0f, 0.0f};
    EXPECT_EQ(SetChannelSamples(src, &recording.ctc, 0, 0, 3), 3u);
    std::string expected = data;
    expected.replace(0, 3, "\xCD\xCC\x8C");
    EXPECT_EQ(recording.data(), expected);
}
