// ReadEntireCTC, FreeCTCMemory, PrintCTCHeader and the header reader behind them.

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <sstream>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <vector>

#include "fileio/ctc.h"
#include "fileio/ctc_header.h"
#include "tests/support/allocation_probe.h"
#include "tests/support/checkers.h"
#include "tests/support/child_process.h"
#include "tests/support/ctc_bytes.h"
#include "tests/support/temporary_folder.h"

namespace {

using support::append_stored;
using support::Bytes;
using support::ctc_header_bytes;
using support::CtcHeader;
using support::in_child;
using support::TemporaryFolder;

constexpr unsigned int inMemory = 0;
constexpr unsigned int fileBacked = 1;

// A structure that is released at the end, whatever was read.
struct Recording {
    CTCStruct ctc;

    Recording() { std::memset(&ctc, 0x5A, sizeof ctc); } // a read must set every field
    ~Recording() { FreeCTCMemory(&ctc); }
    Recording(const Recording&) = delete;
    Recording& operator=(const Recording&) = delete;
};

bool all_pointers_null(const CTCStruct& ctc) {
    return ctc.CompressionParams == nullptr && ctc.ChannelOffsets == nullptr && ctc.ChannelScales == nullptr &&
           ctc.NrOfTrials == nullptr && ctc.PreTriggerSamples == nullptr && ctc.PostTriggerSamples == nullptr &&
           ctc.ConditionStarts == nullptr && ctc.FloatSamples == nullptr && ctc.Int16Samples == nullptr &&
           ctc.Int8Samples == nullptr && ctc.FileView == nullptr;
}

// Reads, expects a refusal with nothing left behind, and gives what was said on standard error.
std::string refusal(const std::string& path, unsigned int mode) {
    Recording recording;
    testing::internal::CaptureStderr();
    const int result = ReadEntireCTC(&recording.ctc, path.c_str(), mode);
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_EQ(result, 0);
    EXPECT_TRUE(all_pointers_null(recording.ctc));
    EXPECT_EQ(recording.ctc.FileVersion, 1u);
    return said;
}

// A header with every optional part: compression parameters, scales and conditions.
CtcHeader full_header() {
    CtcHeader header;
    header.fileVersion = 7;
    header.compressionType = 9;
    header.compressionParams = {0xDEADBEEF, 3};
    header.dataType = 3;
    header.sampleOrdering = 3;
    header.nrOfChannels = 2;
    header.nrOfSamples = 5;
    header.samplingFrequency = 512.5f;
    header.offsets = {1.5f, -2.5f};
    header.scales = {0.25f, 4.0f};
    header.trials = {2, 0, 1};
    header.pre = {1, 2, 0};
    header.post = {2, 1, 1};
    return header;
}
constexpr unsigned int fullHeaderTotal = 2 * (3 * 2 + 3 * 1 + 1 * 1);

// The header of a small recording of 2 channels and 3 samples (or, epoched, one condition of 3 samples).
CtcHeader small_header(unsigned int dataType, unsigned int ordering) {
    CtcHeader header;
    header.dataType = dataType;
    header.sampleOrdering = ordering;
    header.nrOfChannels = 2;
    header.nrOfSamples = 3;
    if (dataType > 2) {
        header.offsets = {10.0f, 20.0f};
        header.scales = {0.5f, 2.0f};
    }
    if (ordering > 2) {
        header.trials = {1};
        header.pre = {1};
        header.post = {2};
    }
    return header;
}
constexpr unsigned int smallTotal = 6;

std::string stored_bytes(unsigned int dataType, const std::vector<double>& values) {
    Bytes out;
    for (const double value : values) {
        append_stored(out, dataType, value);
    }
    return out.str();
}

} // namespace

TEST(ReadEntireCTC, EveryHeaderFieldArrives) {
    const TemporaryFolder folder;
    const CtcHeader header = full_header();
    const std::string data(fullHeaderTotal * 2, '\1');
    const std::string path = folder.write("a.ctc", ctc_header_bytes(header) + data);
    for (const unsigned int mode : {inMemory, fileBacked, 2u, 0xFFFFFFFFu}) {
        SCOPED_TRACE(mode);
        Recording recording;
        CTCStruct& ctc = recording.ctc;
        ASSERT_EQ(ReadEntireCTC(&ctc, path.c_str(), mode), 1);
        EXPECT_EQ(ctc.fileName, path);
        EXPECT_EQ(ctc.FileVersion, 7u);
        EXPECT_EQ(ctc.CompressionType, 9u);
        EXPECT_EQ(ctc.NrOfCompressionParams, 2u);
        EXPECT_EQ(ctc.CompressionParams[0], 0xDEADBEEFu);
        EXPECT_EQ(ctc.CompressionParams[1], 3u);
        EXPECT_EQ(ctc.DataType, 3u);
        EXPECT_EQ(ctc.SampleOrdering, 3u);
        EXPECT_EQ(ctc.NrOfChannels, 2u);
        EXPECT_EQ(ctc.NrOfSamples, 5u);
        EXPECT_EQ(ctc.SamplingFrequency, 512.5f);
        EXPECT_EQ(ctc.ChannelOffsets[0], 1.5f);
        EXPECT_EQ(ctc.ChannelOffsets[1], -2.5f);
        EXPECT_EQ(ctc.ChannelScales[0], 0.25f);
        EXPECT_EQ(ctc.ChannelScales[1], 4.0f);
        EXPECT_EQ(ctc.NrOfConditions, 3u);
        const unsigned int starts[3] = {0, 12, 18}; // a condition without trials takes the space of one
        for (int k = 0; k < 3; ++k) {
            EXPECT_EQ(ctc.NrOfTrials[k], header.trials[static_cast<std::size_t>(k)]);
            EXPECT_EQ(ctc.PreTriggerSamples[k], header.pre[static_cast<std::size_t>(k)]);
            EXPECT_EQ(ctc.PostTriggerSamples[k], header.post[static_cast<std::size_t>(k)]);
            EXPECT_EQ(ctc.ConditionStarts[k], starts[k]);
        }
        EXPECT_EQ(ctc.Spare, 0u);
        EXPECT_EQ(ctc.FileView != nullptr, mode == fileBacked) << "only 1 asks for a view";
        EXPECT_EQ(ctc.Int16Samples != nullptr, mode != fileBacked);
        EXPECT_EQ(ctc.FloatSamples, nullptr);
        EXPECT_EQ(ctc.Int8Samples, nullptr);
    }
}

TEST(ReadEntireCTC, AnUncompressedHeaderHasNoParameterCount) {
    const TemporaryFolder folder;
    Bytes bytes; // FileVersion, CompressionType 0, then DataType at once
    bytes.u32(3).u32(0).u32(1).u32(1).u32(1).u32(2).f32(250.0f).u32(0).f32(1.5f).f32(-8.0f);
    const std::string path = folder.write("a.ctc", bytes.str());
    Recording recording;
    ASSERT_EQ(ReadEntireCTC(&recording.ctc, path.c_str(), inMemory), 1);
    EXPECT_EQ(recording.ctc.FileVersion, 3u);
    EXPECT_EQ(recording.ctc.NrOfCompressionParams, 0u);
    EXPECT_EQ(recording.ctc.CompressionParams, nullptr);
    EXPECT_EQ(recording.ctc.DataType, 1u);
    EXPECT_EQ(recording.ctc.NrOfConditions, 0u);
    EXPECT_EQ(recording.ctc.NrOfTrials, nullptr);
    EXPECT_EQ(recording.ctc.ConditionStarts, nullptr);
    EXPECT_EQ(recording.ctc.FloatSamples[0], 1.5f) << "without conditions the data section follows at once";
    EXPECT_EQ(recording.ctc.FloatSamples[1], -8.0f);
}

TEST(ReadEntireCTC, ACompressedHeaderMayHaveNoParameters) {
    const TemporaryFolder folder;
    CtcHeader header = small_header(1, 1);
    header.compressionType = 1;
    const std::string path = folder.write("a.ctc", ctc_header_bytes(header) + std::string(24, '\0'));
    Recording recording;
    ASSERT_EQ(ReadEntireCTC(&recording.ctc, path.c_str(), inMemory), 1);
    EXPECT_EQ(recording.ctc.CompressionType, 1u);
    EXPECT_EQ(recording.ctc.NrOfCompressionParams, 0u);
    EXPECT_EQ(recording.ctc.CompressionParams, nullptr);
    EXPECT_EQ(recording.ctc.NrOfSamples, 3u);
}

TEST(ReadEntireCTC, OnlyScaledDataTypesCarryOffsetsAndScales) {
    const TemporaryFolder folder;
    for (const unsigned int dataType : {0u, 1u, 3u, 4u, 5u}) {
        SCOPED_TRACE(dataType);
        const std::string path =
            folder.write("a.ctc", ctc_header_bytes(small_header(dataType, 1)) + std::string(smallTotal * 4, '\2'));
        Recording recording;
        ASSERT_EQ(ReadEntireCTC(&recording.ctc, path.c_str(), fileBacked), 1);
        if (dataType > 2) {
            EXPECT_EQ(recording.ctc.ChannelOffsets[0], 10.0f) << "offsets stand first";
            EXPECT_EQ(recording.ctc.ChannelOffsets[1], 20.0f);
            EXPECT_EQ(recording.ctc.ChannelScales[0], 0.5f);
            EXPECT_EQ(recording.ctc.ChannelScales[1], 2.0f);
        } else {
            EXPECT_EQ(recording.ctc.ChannelOffsets, nullptr);
            EXPECT_EQ(recording.ctc.ChannelScales, nullptr);
        }
    }
}

TEST(ReadEntireCTC, ANullVersionIsReadAsItIs) {
    const TemporaryFolder folder;
    CtcHeader header = small_header(1, 1);
    header.fileVersion = 0;
    const std::string path = folder.write("a.ctc", ctc_header_bytes(header) + std::string(24, '\0'));
    Recording recording;
    ASSERT_EQ(ReadEntireCTC(&recording.ctc, path.c_str(), inMemory), 1);
    EXPECT_EQ(recording.ctc.FileVersion, 0u);
}

TEST(ReadEntireCTC, InMemoryTheDataSectionFillsTheHolderOfTheDataType) {
    const TemporaryFolder folder;
    const std::vector<double> values = {1, -2, 127, -128, 0, 55};
    for (const unsigned int dataType : {1u, 3u, 4u, 5u}) {
        for (unsigned int ordering = 1; ordering <= 6; ++ordering) {
            SCOPED_TRACE(std::to_string(dataType) + " in ordering " + std::to_string(ordering));
            const std::string path = folder.write("a.ctc", ctc_header_bytes(small_header(dataType, ordering)) +
                                                               stored_bytes(dataType, values) + "rest");
            Recording recording;
            CTCStruct& ctc = recording.ctc;
            ASSERT_EQ(ReadEntireCTC(&ctc, path.c_str(), inMemory), 1);
            EXPECT_EQ(ctc.FloatSamples != nullptr, dataType == 1 || dataType == 5);
            EXPECT_EQ(ctc.Int16Samples != nullptr, dataType == 3);
            EXPECT_EQ(ctc.Int8Samples != nullptr, dataType == 4);
            EXPECT_EQ(ctc.FileView, nullptr);
            for (std::size_t i = 0; i < smallTotal; ++i) {
                const double held = dataType == 3   ? ctc.Int16Samples[i]
                                    : dataType == 4 ? ctc.Int8Samples[i]
                                                    : static_cast<double>(ctc.FloatSamples[i]);
                EXPECT_EQ(held, values[i]);
            }
        }
    }
}

TEST(ReadEntireCTC, FileBackedTheViewLiesOverTheDataSection) {
    const TemporaryFolder folder;
    struct Expected {
        unsigned int dataType;
        unsigned int code;
        unsigned int size;
    };
    for (const Expected e : {Expected{0, 0x0000, 1}, Expected{1, 0x0400, 4}, Expected{3, 0x0600, 2},
                             Expected{4, 0x0500, 1}, Expected{5, 0x0000, 1}}) {
        for (unsigned int ordering = 1; ordering <= 6; ++ordering) {
            SCOPED_TRACE(std::to_string(e.dataType) + " in ordering " + std::to_string(ordering));
            const std::string header = ctc_header_bytes(small_header(e.dataType, ordering));
            const std::string before = header + std::string(smallTotal * 4, '\3');
            const std::string path = folder.write("a.ctc", before);
            {
                Recording recording;
                CTCStruct& ctc = recording.ctc;
                ASSERT_EQ(ReadEntireCTC(&ctc, path.c_str(), fileBacked), 1);
                ASSERT_NE(ctc.FileView, nullptr);
                EXPECT_EQ(ctc.FileView->fileName, path);
                EXPECT_EQ(ctc.FileView->flags, e.code | 0x11u);
                EXPECT_EQ(ctc.FileView->baseOffset, header.size());
                EXPECT_EQ(ctc.FileView->elementSize, e.size);
                EXPECT_EQ(ctc.FileView->elementCount, smallTotal);
                EXPECT_EQ(ctc.FileView->nDims, ordering <= 2 ? 2u : 1u);
                if (ordering <= 2) {
                    EXPECT_EQ(ctc.FileView->dims[0], ordering == 1 ? 3u : 2u);
                    EXPECT_EQ(ctc.FileView->dims[1], ordering == 1 ? 2u : 3u);
                } else {
                    EXPECT_EQ(ctc.FileView->dims[0], smallTotal);
                }
                EXPECT_EQ(ctc.FloatSamples, nullptr);
                EXPECT_EQ(ctc.Int16Samples, nullptr);
                EXPECT_EQ(ctc.Int8Samples, nullptr);
            }
            EXPECT_EQ(support::read_file(path), before);
        }
    }
}

TEST(ReadEntireCTC, TheFileStaysOpenForWritingUntilItIsFreed) {
    const TemporaryFolder folder;
    const std::string header = ctc_header_bytes(small_header(3, 1));
    const std::string path = folder.write("a.ctc", header + std::string(12, '\0'));
    {
        Recording recording;
        ASSERT_EQ(ReadEntireCTC(&recording.ctc, path.c_str(), fileBacked), 1);
        const short value = 0x4142;
        EXPECT_EQ(transio_write_int16(recording.ctc.FileView, 5, 1, &value), 1u);
    }
    EXPECT_EQ(support::read_file(path), header + std::string(10, '\0') + "BA");
}

TEST(ReadEntireCTC, ConditionStartsAreFilledInContinuousOrderingsToo) {
    const TemporaryFolder folder;
    CtcHeader header = small_header(1, 1);
    header.trials = {4, 0, 2};
    header.pre = {3, 5, 1};
    header.post = {7, 6, 1};
    const std::string path = folder.write("a.ctc", ctc_header_bytes(header) + std::string(24, '\0'));
    Recording recording;
    ASSERT_EQ(ReadEntireCTC(&recording.ctc, path.c_str(), inMemory), 1);
    EXPECT_EQ(recording.ctc.ConditionStarts[0], 0u);
    EXPECT_EQ(recording.ctc.ConditionStarts[1], 80u);
    EXPECT_EQ(recording.ctc.ConditionStarts[2], 102u);
}

TEST(ReadEntireCTC, ConditionStartsWrapAt32Bits) {
    const TemporaryFolder folder;
    CtcHeader header = small_header(1, 2);
    header.trials = {0x40000000, 0xFFFFFFFF, 1};
    header.pre = {0xFFFFFFFF, 5, 0};
    header.post = {4, 6, 0}; // epochs of 3 (2^32 + 3) and 11 samples
    const std::string path = folder.write("a.ctc", ctc_header_bytes(header) + std::string(24, '\0'));
    Recording recording;
    ASSERT_EQ(ReadEntireCTC(&recording.ctc, path.c_str(), inMemory), 1);
    EXPECT_EQ(recording.ctc.ConditionStarts[1], 0x80000000u);       // 3 * 2 * 2^30
    EXPECT_EQ(recording.ctc.ConditionStarts[2], 0x80000000u - 22u); // 11 * 2 * -1 further
}

TEST(ReadEntireCTC, EpochedTotalsCountAConditionWithoutTrialsOnce) {
    const TemporaryFolder folder;
    for (unsigned int ordering = 3; ordering <= 6; ++ordering) {
        CtcHeader header = small_header(4, ordering);
        header.nrOfSamples = 1000000; // means nothing here
        header.trials = {0, 3};
        header.pre = {2, 1};
        header.post = {5, 0};
        const std::string path = folder.write("a.ctc", ctc_header_bytes(header) + std::string(20, '\1'));
        Recording recording;
        ASSERT_EQ(ReadEntireCTC(&recording.ctc, path.c_str(), fileBacked), 1);
        EXPECT_EQ(recording.ctc.FileView->elementCount, 2u * (7 + 3));
        EXPECT_EQ(fileio::total_samples(recording.ctc), 20u);
    }
}

TEST(ReadEntireCTC, ADataTypeWithoutElementsOpensFileBackedOnly) {
    const TemporaryFolder folder;
    const std::string path = folder.write("a.ctc", ctc_header_bytes(small_header(0, 1)) + std::string(6, '\1'));
    EXPECT_EQ(refusal(path, inMemory), "Unsupported datatype.\n");
    Recording recording;
    testing::internal::CaptureStderr();
    EXPECT_EQ(ReadEntireCTC(&recording.ctc, path.c_str(), fileBacked), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(recording.ctc.FileView->elementSize, 1u);
    EXPECT_EQ(recording.ctc.FileView->elementCount, 6u);
}

TEST(ReadEntireCTC, OnlyOneOpensADataTypeWithoutElementsFileBacked) {
    const TemporaryFolder folder;
    const std::string path = folder.write("a.ctc", ctc_header_bytes(small_header(0, 1)) + std::string(6, '\1'));
    for (const unsigned int mode : {0u, 2u, 3u, 0x101u, 0x80000001u, 0xFFFFFFFFu}) {
        EXPECT_EQ(refusal(path, mode), "Unsupported datatype.\n") << mode;
    }
}

TEST(ReadEntireCTC, ARefusalKeepsThePathOfAFileThatCouldBeOpened) {
    const TemporaryFolder folder;
    const std::string good = ctc_header_bytes(small_header(1, 1));
    struct Case {
        const char* what;
        std::string bytes;
    };
    const Case cases[] = {{"empty", ""},
                          {"cut short", good.substr(0, 20)},
                          {"data type", ctc_header_bytes(small_header(2, 1))},
                          {"ordering 7", ctc_header_bytes(small_header(1, 7))},
                          {"ordering 0", ctc_header_bytes(small_header(1, 0))},
                          {"no elements", ctc_header_bytes(small_header(0, 1))}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const std::string path = folder.write("a.ctc", c.bytes);
        Recording recording;
        testing::internal::CaptureStderr();
        EXPECT_EQ(ReadEntireCTC(&recording.ctc, path.c_str(), inMemory), 0);
        testing::internal::GetCapturedStderr();
        EXPECT_EQ(recording.ctc.fileName, path);
    }
}

TEST(ReadEntireCTC, OtherDataTypesAreRefusedWithAMessage) {
    const TemporaryFolder folder;
    for (const unsigned int dataType : {2u, 6u, 7u, 0xFFFFFFFFu}) {
        for (const unsigned int compression : {0u, 1u}) {
            CtcHeader header = small_header(dataType, 1);
            header.compressionType = compression;
            header.compressionParams = {1, 2, 3};
            const std::string path = folder.write("a.ctc", ctc_header_bytes(header) + std::string(48, '\0'));
            EXPECT_EQ(refusal(path, inMemory), "Datatype not yet supported.\n") << dataType;
            EXPECT_EQ(refusal(path, fileBacked), "Datatype not yet supported.\n") << dataType;
        }
    }
}

TEST(ReadEntireCTC, OtherOrderingsAreRefusedWithAMessage) {
    const TemporaryFolder folder;
    for (const unsigned int ordering : {0u, 7u, 8u, 0xFFFFFFFFu}) {
        for (const unsigned int dataType : {0u, 1u, 3u}) {
            CtcHeader header = small_header(dataType, ordering);
            header.compressionType = 1;
            header.compressionParams = {1, 2, 3};
            header.trials = {1};
            header.pre = {1};
            header.post = {2};
            const std::string path = folder.write("a.ctc", ctc_header_bytes(header) + std::string(48, '\0'));
            EXPECT_EQ(refusal(path, inMemory), "SampleOrdering not yet supported.\n") << ordering;
            EXPECT_EQ(refusal(path, fileBacked), "SampleOrdering not yet supported.\n") << ordering;
        }
    }
}

TEST(ReadEntireCTC, WhatIsNotSupportedIsSaidWhereTheHeaderIsCutRightBehindIt) {
    const TemporaryFolder folder;
    for (const unsigned int mode : {inMemory, fileBacked}) {
        Bytes bytes; // FileVersion, CompressionType, DataType
        bytes.u32(1).u32(0).u32(2);
        EXPECT_EQ(refusal(folder.write("a.ctc", bytes.str()), mode), "Datatype not yet supported.\n");
        EXPECT_EQ(refusal(folder.write("a.ctc", bytes.str().substr(0, 11)), mode), "");
        bytes = Bytes();
        bytes.u32(1).u32(0).u32(1).u32(7); // and SampleOrdering
        EXPECT_EQ(refusal(folder.write("a.ctc", bytes.str()), mode), "SampleOrdering not yet supported.\n");
        bytes = Bytes();
        bytes.u32(1).u32(0).u32(1).u32(0).u32(1).u32(1).f32(1000.0f); // ordering 0 is looked at last
        EXPECT_EQ(refusal(folder.write("a.ctc", bytes.str()), mode), "");
        EXPECT_EQ(refusal(folder.write("a.ctc", bytes.u32(0).str()), mode), "SampleOrdering not yet supported.\n");
    }
}

TEST(ReadEntireCTC, WhatCannotBeOpenedIsRefusedSilently) {
    const TemporaryFolder folder;
    const std::string pipe = folder.path("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const unsigned int mode : {inMemory, fileBacked}) {
        EXPECT_EQ(refusal(folder.path("none.ctc"), mode), "");
        EXPECT_EQ(refusal(folder.path(), mode), "");
        EXPECT_EQ(refusal("", mode), "");
        EXPECT_EQ(in_child([&] {
                      CTCStruct ctc;
                      return ReadEntireCTC(&ctc, pipe.c_str(), mode);
                  }),
                  0)
            << "a pipe without a writer must not be waited for";
    }
}

TEST(ReadEntireCTC, AFailedOpenLeavesTheStructureReset) {
    Recording recording;
    CTCStruct& ctc = recording.ctc;
    EXPECT_EQ(ReadEntireCTC(&ctc, "/nowhere/at/all.ctc", inMemory), 0);
    EXPECT_STREQ(ctc.fileName, "");
    EXPECT_EQ(ctc.FileVersion, 1u);
    EXPECT_EQ(ctc.CompressionType, 0u);
    EXPECT_EQ(ctc.NrOfCompressionParams, 0u);
    EXPECT_EQ(ctc.DataType, 0u);
    EXPECT_EQ(ctc.SampleOrdering, 0u);
    EXPECT_EQ(ctc.NrOfChannels, 0u);
    EXPECT_EQ(ctc.NrOfSamples, 0u);
    EXPECT_EQ(ctc.SamplingFrequency, 1.0f);
    EXPECT_EQ(ctc.NrOfConditions, 0u);
    EXPECT_EQ(ctc.Spare, 0u);
    EXPECT_TRUE(all_pointers_null(ctc));
}

TEST(ReadEntireCTC, AHeaderCutAnywhereIsRefusedSilently) {
    const TemporaryFolder folder;
    for (const unsigned int ordering : {0u, 1u, 3u}) {
        CtcHeader header = full_header();
        header.sampleOrdering = ordering;
        const std::string bytes = ctc_header_bytes(header);
        for (std::size_t length = 0; length < bytes.size(); ++length) {
            const std::string path = folder.write("a.ctc", bytes.substr(0, length));
            ASSERT_EQ(refusal(path, inMemory), "") << length;
            ASSERT_EQ(refusal(path, fileBacked), "") << length;
            ASSERT_EQ(support::read_file(path).size(), length) << "a file that is refused is left alone";
        }
        // The whole header is enough: the data section may be missing altogether.
        const std::string path = folder.write("a.ctc", bytes);
        if (ordering == 0) {
            EXPECT_EQ(refusal(path, inMemory), "SampleOrdering not yet supported.\n");
        } else {
            Recording recording;
            EXPECT_EQ(ReadEntireCTC(&recording.ctc, path.c_str(), inMemory), 1);
        }
    }
}

TEST(ReadEntireCTC, AnUncompressedHeaderCutAnywhereIsRefusedSilently) {
    const TemporaryFolder folder;
    for (const unsigned int dataType : {0u, 1u, 5u}) {
        const std::string bytes = ctc_header_bytes(small_header(dataType, 2));
        for (std::size_t length = 0; length < bytes.size(); ++length) {
            const std::string path = folder.write("a.ctc", bytes.substr(0, length));
            ASSERT_EQ(refusal(path, inMemory), "") << length;
            ASSERT_EQ(refusal(path, fileBacked), "") << length;
        }
    }
}

TEST(ReadEntireCTC, CountsThatTheFileCannotHoldAreRefusedBeforeTheyAreAllocated) {
    const TemporaryFolder folder;
    // 0x40000000 elements of 4 bytes are 0 bytes in 32 bits.
    for (const std::uint32_t count : {0xFFFFFFFFu, 0x40000000u, 0x40000001u, 0x80000000u, 1000u}) {
        Bytes params;
        params.u32(1).u32(5).u32(count).raw(std::string(200, '\1'));
        Bytes channels;
        channels.u32(1).u32(0).u32(3).u32(1).u32(count).u32(1).f32(1.0f).raw(std::string(200, '\1'));
        Bytes conditions;
        conditions.u32(1).u32(0).u32(1).u32(3).u32(1).u32(1).f32(1.0f).u32(count).raw(std::string(200, '\1'));
        for (const Bytes* bytes : {&params, &channels, &conditions}) {
            SCOPED_TRACE(count);
            const std::string path = folder.write("a.ctc", bytes->str());
            for (const unsigned int mode : {inMemory, fileBacked}) {
                std::size_t largest = 0;
                {
                    const AllocationProbe probe;
                    EXPECT_EQ(refusal(path, mode), "");
                    largest = probe.largest();
                }
                EXPECT_LT(largest, 3000u);
            }
        }
    }
}

TEST(ReadEntireCTC, ArraysThatOnlyPartlyFitAreRefusedWithoutTheirAllocation) {
    const TemporaryFolder folder;
    Bytes bytes; // offsets fit, scales are one byte short
    bytes.u32(1).u32(0).u32(3).u32(1).u32(1000).u32(1).f32(1.0f).raw(std::string(8 * 1000 - 1, '\1'));
    const std::string path = folder.write("a.ctc", bytes.str());
    int calls = 0;
    {
        Recording recording;
        const AllocationProbe probe;
        EXPECT_EQ(ReadEntireCTC(&recording.ctc, path.c_str(), inMemory), 0);
        calls = probe.calls();
    }
    EXPECT_EQ(calls, 1);
}

TEST(ReadEntireCTC, RecordingsWithoutChannelsHaveNoSamples) {
    const TemporaryFolder folder;
    CtcHeader header;
    header.dataType = 3;
    header.nrOfChannels = 0;
    header.nrOfSamples = 100;
    const std::string path = folder.write("a.ctc", ctc_header_bytes(header));
    Recording recording;
    EXPECT_EQ(ReadEntireCTC(&recording.ctc, path.c_str(), inMemory), 1);
    EXPECT_EQ(fileio::total_samples(recording.ctc), 0u);
    EXPECT_EQ(refusal(path, fileBacked), "") << "there is no array to view";
}

TEST(ReadEntireCTC, TwoToThe32ElementsAreRefusedAndOneLessIsNot) {
    const TemporaryFolder folder;
    CtcHeader header;
    header.dataType = 0; // one byte per element, and no arrays of the channels
    header.nrOfChannels = 65536;
    header.nrOfSamples = 65536;
    const std::string tooLarge = folder.write("a.ctc", ctc_header_bytes(header));
    EXPECT_EQ(refusal(tooLarge, fileBacked), "");
    EXPECT_EQ(refusal(tooLarge, inMemory), "");
    EXPECT_EQ(support::read_file(tooLarge), ctc_header_bytes(header));

    header.nrOfChannels = 65535;
    header.nrOfSamples = 65537;
    const std::string largest = folder.write("b.ctc", ctc_header_bytes(header));
    Recording recording;
    ASSERT_EQ(ReadEntireCTC(&recording.ctc, largest.c_str(), fileBacked), 1);
    EXPECT_EQ(recording.ctc.FileView->elementCount, 0xFFFFFFFFull);
    EXPECT_EQ(std::filesystem::file_size(largest), ctc_header_bytes(header).size() + 0xFFFFFFFFull);
}

TEST(ReadEntireCTC, ElementCountsThatWrapIn32Or64BitsAreRefused) {
    const TemporaryFolder folder;
    struct Case {
        std::uint32_t channels;
        std::vector<std::uint32_t> trials, pre, post;
    };
    const Case cases[] = {
        {1, {1}, {0x80000000}, {0x80000000}},                             // 2^32: an epoch of 0 in 32 bits
        {1, {2}, {0x80000000}, {2}},                                      // 2^32 + 4
        {65536, {65536}, {1}, {0}},                                       // 2^32
        {65536, {65536}, {0x80000000}, {0x80000000}},                     // 2^64
        {0xFFFFFFFF, {0xFFFFFFFF}, {0xFFFFFFFF}, {0xFFFFFFFF}},           // nearly 2^97
        {1, {1, 1}, {0xFFFFFFFF, 1}, {0, 0}},                             // 2^32 in two blocks
        {16, {0x80000000, 0x80000000}, {0x20000000, 0}, {0, 0x20000000}}, // 2 * 2^60 * 16 = 2^65
        {0x80000000, {0x80000000, 0x80000000}, {0x80000000, 1}, {0, 1}},  // a sum that fits, its product not
        {1, {0xFFFFFFFF, 0xFFFFFFFF}, {0xFFFFFFFF, 0xFFFFFFFF}, {1, 1}},  // the sum over the blocks wraps
        {1, {0, 0, 0}, {0xFFFFFFFF, 0xFFFFFFFF, 2}, {0, 0, 0}},           // 2^33
        {2, {0x40000000, 0x40000000}, {1, 1}, {0, 0}},                    // 2^32
        {3, {0xAAAAAAAB, 0x55555555}, {1, 1}, {0, 0}},                    // 3 * 2^32
        {4, {0, 0x3FFFFFFF}, {1, 1}, {0, 0}},                             // 2^32, the block without trials counts
    };
    for (const Case& c : cases) {
        for (unsigned int ordering = 3; ordering <= 6; ++ordering) {
            CtcHeader header;
            header.dataType = 0;
            header.sampleOrdering = ordering;
            header.nrOfChannels = c.channels;
            header.nrOfSamples = 1;
            header.trials = c.trials;
            header.pre = c.pre;
            header.post = c.post;
            const std::string path = folder.write("a.ctc", ctc_header_bytes(header) + std::string(100, '\1'));
            SCOPED_TRACE(&c - cases);
            EXPECT_EQ(refusal(path, fileBacked), "");
            EXPECT_EQ(support::read_file(path).size(), ctc_header_bytes(header).size() + 100);
            header.dataType = 1;
            EXPECT_EQ(refusal(folder.write("b.ctc", ctc_header_bytes(header)), inMemory), "");
        }
    }
}

TEST(ReadEntireCTC, ASectionThatCannotBeAllocatedIsRefused) {
    const TemporaryFolder folder;
    for (const unsigned int dataType : {1u, 3u, 4u, 5u}) {
        CtcHeader header = small_header(dataType, 1);
        const std::string path = folder.write("a.ctc", ctc_header_bytes(header) + std::string(24, '\1'));
        int calls = 0;
        {
            Recording recording;
            const AllocationProbe probe;
            ASSERT_EQ(ReadEntireCTC(&recording.ctc, path.c_str(), inMemory), 1);
            calls = probe.calls();
        }
        const AllocationProbe probe(calls - 1);
        EXPECT_EQ(refusal(path, inMemory), "") << dataType;
    }
}

TEST(ReadEntireCTC, EveryFailedAllocationIsASilentRefusalThatReleasesTheRest) {
    const TemporaryFolder folder;
    const std::string path =
        folder.write("a.ctc", ctc_header_bytes(full_header()) + std::string(fullHeaderTotal * 2, '\1'));
    for (const unsigned int mode : {inMemory, fileBacked}) {
        int failing = 0;
        for (;; ++failing) {
            Recording recording;
            int result = 0;
            int calls = 0;
            {
                const AllocationProbe probe(failing);
                result = ReadEntireCTC(&recording.ctc, path.c_str(), mode);
                calls = probe.calls();
            }
            if (calls <= failing) { // nothing was left to fail
                EXPECT_EQ(result, 1);
                break;
            }
            EXPECT_EQ(result, 0) << failing;
            EXPECT_TRUE(all_pointers_null(recording.ctc)) << failing;
        }
        // parameters, offsets, scales, trials, pre, post, starts, then the holder or the view
        EXPECT_EQ(failing, 8);
    }
}

TEST(ReadEntireCTC, SamplesMissingFromTheFileAreZerosInMemory) {
    const TemporaryFolder folder;
    const std::vector<double> values = {1, -2, 127, -128, 9, 55};
    for (const unsigned int dataType : {1u, 3u, 4u, 5u}) {
        for (std::size_t present = 0; present <= smallTotal; ++present) {
            SCOPED_TRACE(std::to_string(dataType) + ", samples " + std::to_string(present));
            const std::vector<double> cut(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(present));
            const std::string bytes = ctc_header_bytes(small_header(dataType, 1)) + stored_bytes(dataType, cut);
            const std::string path = folder.write("a.ctc", bytes);
            Recording recording;
            CTCStruct& ctc = recording.ctc;
            ASSERT_EQ(ReadEntireCTC(&ctc, path.c_str(), inMemory), 1);
            for (std::size_t i = 0; i < smallTotal; ++i) {
                const double held = dataType == 3   ? ctc.Int16Samples[i]
                                    : dataType == 4 ? ctc.Int8Samples[i]
                                                    : static_cast<double>(ctc.FloatSamples[i]);
                EXPECT_EQ(held, i < present ? values[i] : 0.0);
            }
            EXPECT_EQ(support::read_file(path), bytes) << "the file is not lengthened";
        }
    }
}

TEST(ReadEntireCTC, FileBackedACutDataSectionIsLengthenedWithZeros) {
    const TemporaryFolder folder;
    for (const unsigned int dataType : {0u, 1u, 3u, 4u, 5u}) {
        SCOPED_TRACE(dataType);
        const std::size_t size = dataType == 1 ? 4 : dataType == 3 ? 2 : 1; // 5: single bytes are made sure of
        const std::string bytes = ctc_header_bytes(small_header(dataType, 1)) + "abc";
        const std::string path = folder.write("a.ctc", bytes);
        {
            Recording recording;
            ASSERT_EQ(ReadEntireCTC(&recording.ctc, path.c_str(), fileBacked), 1);
        }
        EXPECT_EQ(support::read_file(path), bytes + std::string(smallTotal * size - 3, '\0'));
    }
}

TEST(ReadEntireCTC, ALengtheningThatFailsIsASilentRefusal) {
    const TemporaryFolder folder;
    CtcHeader header = small_header(1, 1);
    header.nrOfSamples = 100000;
    const std::string bytes = ctc_header_bytes(header) + "abc";
    const std::string path = folder.write("a.ctc", bytes);
    EXPECT_EQ(in_child([&] {
                  std::signal(SIGXFSZ, SIG_IGN);
                  if (!support::limit(RLIMIT_FSIZE, 50000)) {
                      return 2;
                  }
                  return refusal(path, fileBacked).empty() && !testing::Test::HasFailure() ? 0 : 3;
              }),
              0);
    EXPECT_EQ(support::read_file(path), bytes);
}

#ifndef ORIDAN_UNDER_ASAN // its allocator keeps books that grow with the request
TEST(ReadEntireCTC, AWildSampleCountCostsNoMemory) {
    if (support::under_valgrind()) {
        GTEST_SKIP() << "valgrind fills what it allocates";
    }
    const TemporaryFolder folder;
    CtcHeader header = small_header(4, 1);
    header.nrOfSamples = 1u << 29; // 1 GiB of samples, of which the file holds 3 bytes
    const std::string path = folder.write("a.ctc", ctc_header_bytes(header) + "abc");
    EXPECT_EQ(in_child([&] {
                  rusage before{};
                  getrusage(RUSAGE_SELF, &before);
                  CTCStruct ctc;
                  if (ReadEntireCTC(&ctc, path.c_str(), inMemory) != 1 || ctc.Int8Samples[2] != 'c' ||
                      ctc.Int8Samples[(1u << 30) - 1] != 0) {
                      return 2;
                  }
                  rusage after{};
                  getrusage(RUSAGE_SELF, &after);
                  return after.ru_maxrss - before.ru_maxrss < 64 * 1024 ? 0 : 3;
              }),
              0);
}

TEST(ReadEntireCTC, ASampleCountBeyondTheAddressSpaceIsASilentRefusal) {
    const TemporaryFolder folder;
    CtcHeader header = small_header(1, 1);
    header.nrOfSamples = 0x7FFFFFFF;
    const std::string path = folder.write("a.ctc", ctc_header_bytes(header) + "abc");
    EXPECT_EQ(in_child([&] {
                  if (!support::limit(RLIMIT_AS, 1ull << 30)) {
                      return 2;
                  }
                  return refusal(path, inMemory).empty() && !testing::Test::HasFailure() ? 0 : 3;
              }),
              0);
}
#endif

TEST(ReadEntireCTC, TheNameKeepsAtMost511Characters) {
    const TemporaryFolder folder;
    const std::string bytes = ctc_header_bytes(small_header(1, 1)) + std::string(24, '\1');
    folder.write("a.ctc", bytes);
    const auto padded = [&](std::size_t length) {
        return folder.path() + std::string(length - folder.path().size() - 5, '/') + "a.ctc";
    };
    for (const std::size_t length : {511, 512, 600, 1500}) {
        SCOPED_TRACE(length);
        Recording recording;
        ASSERT_EQ(ReadEntireCTC(&recording.ctc, padded(length).c_str(), inMemory), 1);
        EXPECT_EQ(recording.ctc.fileName, padded(length).substr(0, 511));
    }
    Recording longest;
    EXPECT_EQ(ReadEntireCTC(&longest.ctc, padded(511).c_str(), fileBacked), 1);
    EXPECT_EQ(refusal(padded(512), fileBacked), "") << "a view cannot keep such a path";
}

TEST(FreeCTCMemory, NullsEveryPointerKeepsTheHeaderAndMayBeRepeated) {
    const TemporaryFolder folder;
    const std::string path =
        folder.write("a.ctc", ctc_header_bytes(full_header()) + std::string(fullHeaderTotal * 2, '\1'));
    for (const unsigned int mode : {inMemory, fileBacked}) {
        CTCStruct ctc;
        ASSERT_EQ(ReadEntireCTC(&ctc, path.c_str(), mode), 1);
        for (int i = 0; i < 2; ++i) {
            FreeCTCMemory(&ctc);
            EXPECT_TRUE(all_pointers_null(ctc));
            EXPECT_EQ(ctc.fileName, path);
            EXPECT_EQ(ctc.FileVersion, 7u);
            EXPECT_EQ(ctc.NrOfCompressionParams, 2u);
            EXPECT_EQ(ctc.NrOfChannels, 2u);
            EXPECT_EQ(ctc.NrOfConditions, 3u);
        }
    }
}

TEST(PrintCTCHeader, WritesFourLabelledLines) {
    CTCStruct ctc{};
    ctc.FileVersion = 1;
    ctc.CompressionType = 4294967295u;
    ctc.NrOfCompressionParams = 0;
    ctc.DataType = 12;
    testing::internal::CaptureStdout();
    PrintCTCHeader(&ctc);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "FileVersion:           1\n"
                                                      "CompressionType:       4294967295\n"
                                                      "NrOfCompressionParams: 0\n"
                                                      "DataType:              12\n");
}

// The header reader as programs that stream recordings use it.

TEST(ReadCtcHeader, LeavesTheStreamAtTheDataSection) {
    const std::string bytes = ctc_header_bytes(full_header());
    std::istringstream stream(bytes + "DATA");
    Recording recording;
    unsigned int version = 0;
    ASSERT_EQ(fileio::read_ctc_header(stream, &recording.ctc, &version), fileio::HeaderStatus::ok);
    EXPECT_EQ(std::streamoff{stream.tellg()}, static_cast<std::streamoff>(bytes.size()));
    EXPECT_EQ(version, 7u);
    EXPECT_EQ(recording.ctc.FileVersion, 1u) << "the caller sets it once the recording is complete";
    EXPECT_EQ(fileio::total_samples(recording.ctc), fullHeaderTotal);
}

TEST(ReadCtcHeader, NamesWhatIsWrong) {
    const auto status = [](const CtcHeader& header, std::size_t length) {
        std::istringstream stream(ctc_header_bytes(header).substr(0, length));
        Recording recording;
        unsigned int version = 0;
        return fileio::read_ctc_header(stream, &recording.ctc, &version);
    };
    EXPECT_EQ(status(full_header(), 20), fileio::HeaderStatus::cutShort);
    EXPECT_EQ(status(small_header(2, 1), 100), fileio::HeaderStatus::unsupportedDataType);
    EXPECT_EQ(status(small_header(1, 7), 100), fileio::HeaderStatus::unsupportedOrdering);
    EXPECT_EQ(status(small_header(1, 0), 100), fileio::HeaderStatus::unsupportedOrdering);
    CtcHeader large = small_header(1, 1);
    large.nrOfChannels = 65536;
    large.nrOfSamples = 65536;
    EXPECT_EQ(status(large, 100), fileio::HeaderStatus::tooLarge);
}

TEST(StoredSize, FollowsTheDataType) {
    EXPECT_EQ(fileio::stored_size(0), 0u);
    EXPECT_EQ(fileio::stored_size(1), 4u);
    EXPECT_EQ(fileio::stored_size(2), 0u);
    EXPECT_EQ(fileio::stored_size(3), 2u);
    EXPECT_EQ(fileio::stored_size(4), 1u);
    EXPECT_EQ(fileio::stored_size(5), 4u);
    EXPECT_EQ(fileio::stored_size(6), 0u);
}
