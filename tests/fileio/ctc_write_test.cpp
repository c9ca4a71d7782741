// WriteEntireCTC.

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <vector>

#include "fileio/ctc.h"
#include "fileio/ctc_channel.h"
#include "tests/support/allocation_probe.h"
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

struct Recording {
    CTCStruct ctc{};

    Recording() = default;
    explicit Recording(const std::string& path, unsigned int fileBacked = 1) {
        EXPECT_EQ(ReadEntireCTC(&ctc, path.c_str(), fileBacked), 1);
    }
    ~Recording() { FreeCTCMemory(&ctc); }
    Recording(const Recording&) = delete;
    Recording& operator=(const Recording&) = delete;
};

template <class T>
T* malloced(const std::vector<T>& values) {
    T* copy = static_cast<T*>(std::malloc(values.empty() ? 1 : values.size() * sizeof(T)));
    std::memcpy(copy, values.data(), values.size() * sizeof(T));
    return copy;
}

// A structure as a caller fills it, without samples.
void fill(CTCStruct& ctc, const CtcHeader& header) {
    ctc.FileVersion = header.fileVersion;
    ctc.DataType = header.dataType;
    ctc.SampleOrdering = header.sampleOrdering;
    ctc.NrOfChannels = header.nrOfChannels;
    ctc.NrOfSamples = header.nrOfSamples;
    ctc.SamplingFrequency = header.samplingFrequency;
    if (header.dataType > 2) {
        ctc.ChannelOffsets = malloced(header.offsets);
        ctc.ChannelScales = malloced(header.scales);
    }
    ctc.NrOfConditions = static_cast<unsigned int>(header.trials.size());
    if (!header.trials.empty()) {
        ctc.NrOfTrials = malloced(header.trials);
        ctc.PreTriggerSamples = malloced(header.pre);
        ctc.PostTriggerSamples = malloced(header.post);
    }
}

const std::vector<float> floats = {1.5f, -2.25f, 3e10f, -4e-10f, 5.0f, -0.0f};
const std::vector<short> shorts = {1, -2, 32767, -32768, 258, 0};
const std::vector<signed char> chars = {1, -2, 127, -128, 65, 0};

// Gives the structure six samples and returns them as bytes.
std::string fill_samples(CTCStruct& ctc) {
    Bytes bytes;
    if (ctc.DataType == 1 || ctc.DataType == 5) {
        ctc.FloatSamples = malloced(floats);
        for (const float value : floats) {
            bytes.f32(value);
        }
    } else if (ctc.DataType == 3) {
        ctc.Int16Samples = malloced(shorts);
        for (const short value : shorts) {
            bytes.i16(value);
        }
    } else if (ctc.DataType == 4) {
        ctc.Int8Samples = malloced(chars);
        for (const signed char value : chars) {
            bytes.i8(value);
        }
    }
    return bytes.str();
}

CtcHeader six_samples(unsigned int dataType, unsigned int ordering) {
    CtcHeader header;
    header.fileVersion = 3;
    header.dataType = dataType;
    header.sampleOrdering = ordering;
    header.nrOfChannels = 2;
    header.nrOfSamples = 3;
    header.samplingFrequency = 250.25f;
    header.offsets = {1.0f, -7.5f};
    header.scales = {0.5f, 0.125f};
    if (ordering > 2) {
        header.trials = {0, 1};
        header.pre = {1, 0};
        header.post = {0, 2};
    }
    return header;
}

// A continuous recording with one sample per channel and `total` channels, or one channel; bytes that repeat late.
std::string patterned(std::size_t bytes) {
    std::string data(bytes, '\0');
    for (std::size_t i = 0; i < bytes; ++i) {
        data[i] = static_cast<char>(i % 251 + i / 65521);
    }
    return data;
}

CtcHeader long_header(unsigned int dataType, unsigned int samples) {
    CtcHeader header;
    header.dataType = dataType;
    header.nrOfSamples = samples;
    header.offsets = {0.0f};
    header.scales = {1.0f};
    return header;
}

} // namespace

TEST(WriteEntireCTC, FromMemoryWritesHeaderAndSamples) {
    const TemporaryFolder folder;
    for (const unsigned int dataType : {1u, 3u, 4u, 5u}) {
        for (unsigned int ordering = 1; ordering <= 6; ++ordering) {
            SCOPED_TRACE(std::to_string(dataType) + " in ordering " + std::to_string(ordering));
            const CtcHeader header = six_samples(dataType, ordering);
            Recording recording;
            fill(recording.ctc, header);
            const std::string data = fill_samples(recording.ctc);
            const std::string path = folder.path("a.ctc");
            EXPECT_EQ(WriteEntireCTC(&recording.ctc, path.c_str(), ordering), 1);
            EXPECT_EQ(support::read_file(path), ctc_header_bytes(header) + data);
            EXPECT_STREQ(recording.ctc.fileName, "") << "the name is that of the file that was read";
            EXPECT_EQ(recording.ctc.FileView, nullptr);
        }
    }
}

TEST(WriteEntireCTC, ALongerFileUnderTheNameIsReplaced) {
    const TemporaryFolder folder;
    const CtcHeader header = six_samples(3, 1);
    Recording recording;
    fill(recording.ctc, header);
    const std::string data = fill_samples(recording.ctc);
    const std::string path = folder.write("a.ctc", std::string(5000, 'x'));
    EXPECT_EQ(WriteEntireCTC(&recording.ctc, path.c_str(), 0), 1);
    EXPECT_EQ(support::read_file(path), ctc_header_bytes(header) + data);
}

TEST(WriteEntireCTC, WhatIsWrittenIsReadBackAlike) {
    const TemporaryFolder folder;
    for (const unsigned int dataType : {1u, 3u, 4u, 5u}) {
        for (unsigned int ordering = 1; ordering <= 6; ++ordering) {
            SCOPED_TRACE(std::to_string(dataType) + " in ordering " + std::to_string(ordering));
            Recording written;
            fill(written.ctc, six_samples(dataType, ordering));
            fill_samples(written.ctc);
            const std::string path = folder.path("a.ctc");
            ASSERT_EQ(WriteEntireCTC(&written.ctc, path.c_str(), 0), 1);
            const Recording read(path, 0);
            const CTCStruct& a = written.ctc;
            const CTCStruct& b = read.ctc;
            EXPECT_EQ(a.FileVersion, b.FileVersion);
            EXPECT_EQ(a.DataType, b.DataType);
            EXPECT_EQ(a.SampleOrdering, b.SampleOrdering);
            EXPECT_EQ(a.NrOfChannels, b.NrOfChannels);
            EXPECT_EQ(a.NrOfSamples, b.NrOfSamples);
            EXPECT_EQ(a.SamplingFrequency, b.SamplingFrequency);
            EXPECT_EQ(a.NrOfConditions, b.NrOfConditions);
            const auto same = [](const auto* x, const auto* y, std::size_t n) {
                return (x == nullptr && y == nullptr) ||
                       (x != nullptr && y != nullptr && std::memcmp(x, y, n * sizeof *x) == 0);
            };
            EXPECT_TRUE(same(a.ChannelOffsets, b.ChannelOffsets, 2));
            EXPECT_TRUE(same(a.ChannelScales, b.ChannelScales, 2));
            EXPECT_TRUE(same(a.NrOfTrials, b.NrOfTrials, 2));
            EXPECT_TRUE(same(a.PreTriggerSamples, b.PreTriggerSamples, 2));
            EXPECT_TRUE(same(a.PostTriggerSamples, b.PostTriggerSamples, 2));
            EXPECT_TRUE(same(a.FloatSamples, b.FloatSamples, 6));
            EXPECT_TRUE(same(a.Int16Samples, b.Int16Samples, 6));
            EXPECT_TRUE(same(a.Int8Samples, b.Int8Samples, 6));
        }
    }
}

TEST(WriteEntireCTC, DoublesGetTheHeaderOnly) {
    const TemporaryFolder folder;
    const CtcHeader header = six_samples(2, 1);
    Recording recording;
    fill(recording.ctc, header);
    EXPECT_EQ(WriteEntireCTC(&recording.ctc, folder.path("a.ctc").c_str(), 0), 1);
    EXPECT_EQ(folder.read("a.ctc"), ctc_header_bytes(header));
}

TEST(WriteEntireCTC, FileBackedDoublesAreNotCopiedOnlyBoundAnew) {
    const TemporaryFolder folder;
    const std::string source = folder.write("doubles", std::string(48, '\x11'));
    const CtcHeader header = six_samples(2, 1);
    {
        Recording recording;
        fill(recording.ctc, header);
        const unsigned int dims[2] = {3, 2};
        recording.ctc.FileView = static_cast<transio_struct*>(std::malloc(sizeof(transio_struct)));
        ASSERT_EQ(transio_open(recording.ctc.FileView, source.c_str(), 0, 2, dims, 0x0811), 1);
        EXPECT_EQ(WriteEntireCTC(&recording.ctc, folder.path("a.ctc").c_str(), 0), 1);
        EXPECT_EQ(recording.ctc.FileView->fileName, folder.path("a.ctc"));
        EXPECT_EQ(recording.ctc.FileView->flags, 0x0811u);
    }
    // The new view makes sure of its own length.
    EXPECT_EQ(folder.read("a.ctc"), ctc_header_bytes(header) + std::string(48, '\0'));
}

TEST(WriteEntireCTC, WhatCannotBeWrittenIsRefusedSilentlyAndMakesNoFile) {
    const TemporaryFolder folder;
    const std::string existing = folder.write("existing.ctc", "as it was");
    const auto refused = [&](auto change) {
        Recording recording;
        fill(recording.ctc, six_samples(3, 1));
        fill_samples(recording.ctc);
        change(recording.ctc);
        testing::internal::CaptureStderr();
        EXPECT_EQ(WriteEntireCTC(&recording.ctc, folder.path("new.ctc").c_str(), 0), 0);
        EXPECT_EQ(WriteEntireCTC(&recording.ctc, existing.c_str(), 0), 0);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
        EXPECT_FALSE(folder.has("new.ctc"));
        EXPECT_EQ(support::read_file(existing), "as it was");
    };
    refused([](CTCStruct& ctc) { ctc.FileVersion = 0; });
    refused([](CTCStruct& ctc) { ctc.CompressionType = 1; });
    refused([](CTCStruct& ctc) { ctc.CompressionType = 0xFFFFFFFF; });
    refused([](CTCStruct& ctc) { ctc.NrOfCompressionParams = 1; });
    for (const unsigned int dataType : {0u, 6u, 7u, 0xFFFFFFFFu}) {
        refused([&](CTCStruct& ctc) { ctc.DataType = dataType; });
    }
    for (const unsigned int ordering : {0u, 7u, 0xFFFFFFFFu}) {
        refused([&](CTCStruct& ctc) { ctc.SampleOrdering = ordering; });
    }
    // Counts that no section can have, and arrays that are not there.
    refused([](CTCStruct& ctc) { ctc.NrOfChannels = ctc.NrOfSamples = 65536; });
    refused([](CTCStruct& ctc) { ctc.NrOfConditions = 1; });
    refused([](CTCStruct& ctc) {
        std::free(ctc.ChannelScales);
        ctc.ChannelScales = nullptr;
    });
    refused([](CTCStruct& ctc) {
        std::free(ctc.Int16Samples);
        ctc.Int16Samples = nullptr;
    });
}

TEST(WriteEntireCTC, ADataTypeWithoutElementsIsRefusedWithNoSamplesToWriteToo) {
    const TemporaryFolder folder;
    for (const unsigned int dataType : {0u, 6u}) {
        Recording empty;
        fill(empty.ctc, six_samples(dataType, 1));
        empty.ctc.NrOfSamples = 0;
        EXPECT_EQ(WriteEntireCTC(&empty.ctc, folder.path("new.ctc").c_str(), 0), 0);
    }
    const std::string path = folder.write("a.ctc", ctc_header_bytes(six_samples(0, 1)) + "sixth.");
    Recording viewed;
    ASSERT_EQ(ReadEntireCTC(&viewed.ctc, path.c_str(), 1), 1);
    EXPECT_EQ(WriteEntireCTC(&viewed.ctc, folder.path("new.ctc").c_str(), 0), 0);
    EXPECT_FALSE(folder.has("new.ctc"));
}

TEST(WriteEntireCTC, ANameThatCannotBeOpenedIsRefused) {
    const TemporaryFolder folder;
    Recording recording;
    fill(recording.ctc, six_samples(3, 1));
    fill_samples(recording.ctc);
    EXPECT_EQ(WriteEntireCTC(&recording.ctc, folder.path("none/a.ctc").c_str(), 0), 0);
    EXPECT_EQ(WriteEntireCTC(&recording.ctc, folder.path().c_str(), 0), 0);
}

TEST(WriteEntireCTC, FileBackedCopiesWholeRunsAndTheRemainder) {
    const TemporaryFolder folder;
    struct Case {
        unsigned int dataType;
        unsigned int size;
        unsigned int run; // elements of a block of 655,360 bytes
    };
    for (const Case c : {Case{1, 4, 163840}, Case{3, 2, 327680}, Case{4, 1, 655360}}) {
        for (const unsigned int total : {1u, c.run - 1, c.run, c.run + 1, 2 * c.run, 2 * c.run + 7}) {
            SCOPED_TRACE(std::to_string(c.dataType) + " with " + std::to_string(total));
            const std::string bytes =
                ctc_header_bytes(long_header(c.dataType, total)) + patterned(std::size_t{total} * c.size);
            const std::string source = folder.write("a.ctc", bytes + "not part of it");
            const std::string target = folder.write("b.ctc", std::string(3000000, 'x'));
            {
                Recording recording(source);
                EXPECT_EQ(WriteEntireCTC(&recording.ctc, target.c_str(), 0), 1);
            }
            EXPECT_TRUE(support::read_file(target) == bytes);
            EXPECT_TRUE(support::read_file(source) == bytes + "not part of it");
        }
    }
}

TEST(WriteEntireCTC, FileBackedInEveryOrderingKeepsConditionsAndDimensions) {
    const TemporaryFolder folder;
    for (const unsigned int dataType : {1u, 3u, 4u}) {
        for (unsigned int ordering = 1; ordering <= 6; ++ordering) {
            SCOPED_TRACE(std::to_string(dataType) + " in ordering " + std::to_string(ordering));
            const CtcHeader header = six_samples(dataType, ordering);
            const unsigned int size = dataType == 1 ? 4 : dataType == 3 ? 2 : 1;
            const std::string bytes = ctc_header_bytes(header) + patterned(6 * size);
            Recording recording(folder.write("a.ctc", bytes));
            const transio_struct old = *recording.ctc.FileView;
            EXPECT_EQ(WriteEntireCTC(&recording.ctc, folder.path("b.ctc").c_str(), 0), 1);
            EXPECT_EQ(folder.read("b.ctc"), bytes);
            EXPECT_EQ(recording.ctc.FileView->nDims, old.nDims);
            EXPECT_EQ(recording.ctc.FileView->dims[0], old.dims[0]);
            EXPECT_EQ(recording.ctc.FileView->elementCount, 6u);
            EXPECT_EQ(recording.ctc.FileView->flags, old.flags);
            EXPECT_EQ(recording.ctc.FileView->baseOffset, ctc_header_bytes(header).size());
        }
    }
}

TEST(WriteEntireCTC, AFileBackedStructureIsBoundToTheNewFile) {
    const TemporaryFolder folder;
    const CtcHeader header = six_samples(1, 1);
    const std::string bytes = ctc_header_bytes(header) + patterned(24);
    const std::string source = folder.write("a.ctc", bytes);
    const std::string target = folder.path("b.ctc");
    {
        Recording recording(source);
        ASSERT_EQ(WriteEntireCTC(&recording.ctc, target.c_str(), 0), 1);
        EXPECT_EQ(recording.ctc.FileView->fileName, target);
        EXPECT_EQ(recording.ctc.fileName, source) << "the name is still that of the file that was read";
        const float value = 8.0f;
        EXPECT_EQ(SetChannelSamples(&value, &recording.ctc, 1, 2, 1), 1u);
        ASSERT_EQ(WriteEntireCTC(&recording.ctc, folder.path("c.ctc").c_str(), 0), 1);
    }
    const std::string changed = bytes.substr(0, bytes.size() - 4) + Bytes().f32(8.0f).str();
    EXPECT_EQ(support::read_file(source), bytes);
    EXPECT_EQ(support::read_file(target), changed);
    EXPECT_EQ(folder.read("c.ctc"), changed);
}

TEST(WriteEntireCTC, FileBackedScaledFloatsAreCopiedAsTheBytesOfTheirView) {
    // The view has one byte per element: a run of 163,840 elements fills that many bytes of a block of 655,360,
    // which is written whole; what the run did not fill is what the block held before, zeros at first.
    const TemporaryFolder folder;
    constexpr unsigned int run = 163840;
    for (const unsigned int total : {1u, 10u, run - 1, run, run + 1, run + 1000, 2 * run, 2 * run + 3}) {
        SCOPED_TRACE(total);
        const std::string header = ctc_header_bytes(long_header(5, total));
        const std::string data = patterned(std::size_t{total} * 4);
        std::string block(655360, '\0');
        std::string expected = header;
        unsigned int done = 0;
        for (; total - done >= run; done += run) {
            block.replace(0, run, data, done, run);
            expected += block;
        }
        block.replace(0, total - done, data, done, total - done);
        expected += block.substr(0, std::size_t{total - done} * 4);
        {
            Recording recording(folder.write("a.ctc", header + data));
            EXPECT_EQ(WriteEntireCTC(&recording.ctc, folder.path("b.ctc").c_str(), 0), 1);
            EXPECT_EQ(recording.ctc.FileView->elementSize, 1u);
            EXPECT_EQ(recording.ctc.FileView->elementCount, total);
        }
        EXPECT_TRUE(folder.read("b.ctc") == expected);
        EXPECT_TRUE(folder.read("a.ctc") == header + data);
    }
}

TEST(WriteEntireCTC, SavingOverTheFileThatHoldsTheSamplesIsRefused) {
    const TemporaryFolder folder;
    const std::string bytes = ctc_header_bytes(six_samples(3, 1)) + patterned(12);
    const std::string source = folder.write("a.ctc", bytes);
    std::filesystem::create_symlink(source, folder.path("link.ctc"));
    std::filesystem::create_hard_link(source, folder.path("hard.ctc"));
    {
        Recording recording(source);
        for (const char* name : {"a.ctc", "./a.ctc", "link.ctc", "hard.ctc"}) {
            EXPECT_EQ(WriteEntireCTC(&recording.ctc, folder.path(name).c_str(), 0), 0) << name;
            EXPECT_EQ(support::read_file(source), bytes);
        }
        EXPECT_EQ(WriteEntireCTC(&recording.ctc, folder.path("b.ctc").c_str(), 0), 1) << "the view still works";
        EXPECT_EQ(folder.read("b.ctc"), bytes);
        EXPECT_EQ(WriteEntireCTC(&recording.ctc, folder.path("b.ctc").c_str(), 0), 0) << "now b holds the samples";
        EXPECT_EQ(WriteEntireCTC(&recording.ctc, source.c_str(), 0), 1) << "and a no longer does";
    }
    EXPECT_EQ(support::read_file(source), bytes);
    EXPECT_EQ(folder.read("b.ctc"), bytes);
}

TEST(WriteEntireCTC, ARecordingInMemoryMaySaveOverItsOwnFile) {
    const TemporaryFolder folder;
    const std::string bytes = ctc_header_bytes(six_samples(3, 1)) + patterned(12);
    const std::string path = folder.write("a.ctc", bytes);
    Recording recording(path, 0);
    EXPECT_EQ(WriteEntireCTC(&recording.ctc, path.c_str(), 0), 1);
    EXPECT_EQ(support::read_file(path), bytes);
}

TEST(WriteEntireCTC, ANewFileThatCannotBeViewedLeavesTheOldView) {
    const TemporaryFolder folder;
    const std::string bytes = ctc_header_bytes(six_samples(3, 1)) + patterned(12);
    Recording recording(folder.write("a.ctc", bytes));
    const transio_struct* old = recording.ctc.FileView;
    EXPECT_EQ(WriteEntireCTC(&recording.ctc, "/dev/null", 0), 0); // takes every byte and is no regular file
    EXPECT_EQ(recording.ctc.FileView, old);
    {
        const AllocationProbe probe(0); // the new view's own allocation
        EXPECT_EQ(WriteEntireCTC(&recording.ctc, folder.path("b.ctc").c_str(), 0), 0);
        EXPECT_EQ(probe.calls(), 1);
    }
    EXPECT_EQ(recording.ctc.FileView, old);
    EXPECT_EQ(folder.read("b.ctc"), bytes);
    short values[6] = {};
    EXPECT_EQ(transio_read_buffer(recording.ctc.FileView, 0, 6, values), 6u);
    EXPECT_EQ(std::memcmp(values, patterned(12).data(), 12), 0);
}

TEST(WriteEntireCTC, SamplesThatTheBackingFileLostEndTheSaveWithoutAFile) {
    const TemporaryFolder folder;
    const std::string bytes = ctc_header_bytes(six_samples(3, 1)) + patterned(12);
    const std::string source = folder.write("a.ctc", bytes);
    Recording recording(source);
    const transio_struct* old = recording.ctc.FileView;
    std::filesystem::resize_file(source, bytes.size() - 1);
    EXPECT_EQ(WriteEntireCTC(&recording.ctc, folder.path("b.ctc").c_str(), 0), 0);
    EXPECT_FALSE(folder.has("b.ctc"));
    EXPECT_EQ(recording.ctc.FileView, old);
    EXPECT_EQ(support::read_file(source), bytes.substr(0, bytes.size() - 1));

    std::filesystem::resize_file(source, bytes.size());
    EXPECT_EQ(WriteEntireCTC(&recording.ctc, folder.path("b.ctc").c_str(), 0), 1) << "the old view still works";
}

TEST(WriteEntireCTC, AFailedSaveNeverRemovesADevice) {
    const TemporaryFolder folder;
    const std::string device = folder.path("null");
    if (mknod(device.c_str(), S_IFCHR | 0600, makedev(1, 3)) != 0) {
        GTEST_SKIP() << "devices cannot be made here";
    }
    const std::string bytes = ctc_header_bytes(six_samples(3, 1)) + patterned(12);
    const std::string source = folder.write("a.ctc", bytes);
    Recording recording(source);
    std::filesystem::resize_file(source, bytes.size() - 1);
    EXPECT_EQ(WriteEntireCTC(&recording.ctc, device.c_str(), 0), 0);
    EXPECT_TRUE(folder.has("null"));
}

// Which file holds the samples is a matter of the open view, not of what its name leads to by now.

TEST(WriteEntireCTC, SamplesAreSafeWhereTheirRelativeNameLeadsToAnotherFile) {
    const TemporaryFolder folder(TemporaryFolder::Use::asCurrentDirectory);
    const std::string bytes = ctc_header_bytes(six_samples(3, 1)) + patterned(12);
    std::filesystem::create_directory("below");
    folder.write("a.ctc", bytes);
    folder.write("below/a.ctc", "as it was");
    folder.write("other.ctc", "as it was");
    {
        Recording recording("a.ctc");
        std::filesystem::current_path("below");
        EXPECT_EQ(WriteEntireCTC(&recording.ctc, folder.path("a.ctc").c_str(), 0), 0);
        EXPECT_EQ(WriteEntireCTC(&recording.ctc, "../a.ctc", 0), 0);
        EXPECT_EQ(folder.read("a.ctc"), bytes) << "the file that holds the samples was written over";
        EXPECT_EQ(folder.read("below/a.ctc"), "as it was");
        EXPECT_EQ(WriteEntireCTC(&recording.ctc, folder.path("other.ctc").c_str(), 0), 1);
        std::filesystem::current_path(folder.path());
    }
    EXPECT_EQ(folder.read("other.ctc"), bytes);
    {
        Recording recording("a.ctc");
        std::filesystem::current_path("below");
        EXPECT_EQ(WriteEntireCTC(&recording.ctc, "a.ctc", 0), 1) << "of the same name, but not the file";
        std::filesystem::current_path(folder.path());
    }
    EXPECT_EQ(folder.read("below/a.ctc"), bytes);
    EXPECT_EQ(folder.read("a.ctc"), bytes);
}

TEST(WriteEntireCTC, SamplesAreSafeWhereAnotherFileHasTakenTheirName) {
    const TemporaryFolder folder;
    const std::string bytes = ctc_header_bytes(six_samples(3, 1)) + patterned(12);
    const std::string source = folder.write("a.ctc", bytes);
    const std::string moved = folder.path("moved.ctc");
    {
        Recording recording(source);
        std::filesystem::rename(source, moved);
        folder.write("a.ctc", "another file");
        EXPECT_EQ(WriteEntireCTC(&recording.ctc, moved.c_str(), 0), 0);
        EXPECT_EQ(support::read_file(moved), bytes) << "the file that holds the samples was written over";
        EXPECT_EQ(WriteEntireCTC(&recording.ctc, source.c_str(), 0), 1) << "the other file does not hold them";
    }
    EXPECT_EQ(support::read_file(source), bytes);
    EXPECT_EQ(support::read_file(moved), bytes);
}

TEST(WriteEntireCTC, WithoutTheNameOfItsFileARecordingIsSavedOverAnyOther) {
    const TemporaryFolder folder;
    const std::string bytes = ctc_header_bytes(six_samples(3, 1)) + patterned(12);
    const std::string source = folder.write("a.ctc", bytes);
    folder.write("b.ctc", std::string(3000, 'x'));
    {
        Recording recording(source);
        std::filesystem::rename(source, folder.path("moved.ctc"));
        EXPECT_EQ(WriteEntireCTC(&recording.ctc, folder.path("moved.ctc").c_str(), 0), 0);
        EXPECT_EQ(WriteEntireCTC(&recording.ctc, folder.path("b.ctc").c_str(), 0), 1);
    }
    EXPECT_EQ(folder.read("b.ctc"), bytes);
    EXPECT_EQ(folder.read("moved.ctc"), bytes);
    {
        Recording recording(folder.path("b.ctc"));
        std::filesystem::remove(folder.path("b.ctc")); // its samples are there as long as it is open
        EXPECT_EQ(WriteEntireCTC(&recording.ctc, folder.path("moved.ctc").c_str(), 0), 1);
    }
    EXPECT_EQ(folder.read("moved.ctc"), bytes);
}

TEST(WriteEntireCTC, AViewWhoseStreamTheCallerMadeIsSavedToNewNamesOnly) {
    const TemporaryFolder folder;
    const std::string bytes = ctc_header_bytes(six_samples(3, 1)) + patterned(12);
    const std::string source = folder.write("a.ctc", bytes);
    folder.write("other.ctc", "as it was");
    Recording recording(source);
    delete recording.ctc.FileView->stream;
    recording.ctc.FileView->stream = new std::fstream(source, std::ios::in | std::ios::out | std::ios::binary);
    EXPECT_EQ(WriteEntireCTC(&recording.ctc, source.c_str(), 0), 0);
    EXPECT_EQ(WriteEntireCTC(&recording.ctc, folder.path("other.ctc").c_str(), 0), 0) << "it might be the file";
    EXPECT_EQ(WriteEntireCTC(&recording.ctc, folder.path("new.ctc").c_str(), 0), 1);
    EXPECT_EQ(folder.read("a.ctc"), bytes);
    EXPECT_EQ(folder.read("other.ctc"), "as it was");
    EXPECT_EQ(folder.read("new.ctc"), bytes);
}

TEST(WriteEntireCTC, ConditionsAreWrittenInContinuousOrderingsToo) {
    const TemporaryFolder folder;
    for (const unsigned int ordering : {1u, 2u}) {
        SCOPED_TRACE(ordering);
        CtcHeader header = six_samples(3, ordering);
        header.trials = {4, 0, 2};
        header.pre = {3, 5, 1};
        header.post = {7, 6, 9};
        Recording recording;
        fill(recording.ctc, header);
        const std::string bytes = ctc_header_bytes(header) + fill_samples(recording.ctc);
        EXPECT_EQ(WriteEntireCTC(&recording.ctc, folder.path("a.ctc").c_str(), 0), 1);
        EXPECT_EQ(folder.read("a.ctc"), bytes);
        Recording viewed(folder.path("a.ctc"));
        EXPECT_EQ(WriteEntireCTC(&viewed.ctc, folder.path("b.ctc").c_str(), 0), 1);
        EXPECT_EQ(folder.read("b.ctc"), bytes);
    }
}

TEST(WriteEntireCTC, TheNewViewHasTheOldOnesDimensionsAndElementCode) {
    const TemporaryFolder folder;
    const CtcHeader header = six_samples(3, 1); // for which ReadEntireCTC would open 3 x 2 signed 16-bit elements
    const std::string source = folder.write("samples", patterned(12));
    Recording recording;
    fill(recording.ctc, header);
    const unsigned int dims[4] = {1, 2, 1, 3};
    recording.ctc.FileView = static_cast<transio_struct*>(std::malloc(sizeof(transio_struct)));
    ASSERT_EQ(transio_open(recording.ctc.FileView, source.c_str(), 0, 4, dims, 0x0231), 1);
    EXPECT_EQ(WriteEntireCTC(&recording.ctc, folder.path("a.ctc").c_str(), 0), 1);
    const transio_struct& view = *recording.ctc.FileView;
    EXPECT_EQ(view.flags, 0x0211u) << "unsigned 16-bit as before; of the write bits the lower one";
    EXPECT_EQ(view.nDims, 4u);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(view.dims[i], dims[i]) << i;
    }
    EXPECT_EQ(view.baseOffset, ctc_header_bytes(header).size());
    EXPECT_EQ(folder.read("a.ctc"), ctc_header_bytes(header) + patterned(12));
}

TEST(WriteEntireCTC, FromMemoryAFullDiskIsNotNoticed) {
    if (!std::filesystem::exists("/dev/full")) {
        GTEST_SKIP() << "no /dev/full here";
    }
    Recording little;
    fill(little.ctc, six_samples(3, 1));
    fill_samples(little.ctc);
    EXPECT_EQ(WriteEntireCTC(&little.ctc, "/dev/full", 0), 1);
    Recording much; // more than waits in the stream's buffer
    fill(much.ctc, long_header(4, 1000000));
    much.ctc.Int8Samples = malloced(std::vector<signed char>(1000000));
    EXPECT_EQ(WriteEntireCTC(&much.ctc, "/dev/full", 0), 1);
}

TEST(WriteEntireCTC, FileBackedADiskThatFillsUpLeavesNoFile) {
    const TemporaryFolder folder;
    struct Case {
        unsigned int samples;
        rlim_t limit;
    };
    // In the header, in a whole block of the copy, in the remainder; what is short is written at the end, in one piece.
    for (const Case c : {Case{700000, 10}, Case{700000, 300000}, Case{700000, 680000}, Case{10, 20}, Case{10, 45}}) {
        SCOPED_TRACE(std::to_string(c.samples) + " samples, " + std::to_string(c.limit) + " bytes");
        const std::string bytes = ctc_header_bytes(long_header(4, c.samples)) + patterned(c.samples);
        const std::string source = folder.write("a.ctc", bytes);
        ASSERT_GT(bytes.size(), c.limit);
        EXPECT_EQ(in_child([&] {
                      std::signal(SIGXFSZ, SIG_IGN);
                      Recording recording(source);
                      if (!support::limit(RLIMIT_FSIZE, c.limit)) {
                          return 2;
                      }
                      if (WriteEntireCTC(&recording.ctc, folder.path("b.ctc").c_str(), 0) != 0) {
                          return 3;
                      }
                      signed char first = 0;
                      const bool stillViewed = recording.ctc.FileView->fileName == source &&
                                               transio_read_buffer(recording.ctc.FileView, 1, 1, &first) == 1;
                      return stillViewed && first == 1 ? 0 : 4;
                  }),
                  0);
        EXPECT_FALSE(folder.has("b.ctc")) << "an incomplete file with a valid header was left";
        EXPECT_TRUE(support::read_file(source) == bytes);
    }
}

TEST(WriteEntireCTC, ADataTypeOfSmallerElementsThanTheViewsIsRefused) {
    const TemporaryFolder folder;
    struct Case {
        unsigned int opened;
        unsigned int changed;
    };
    for (const Case c : {Case{1, 3}, Case{1, 4}, Case{3, 4}}) {
        SCOPED_TRACE(std::to_string(c.opened) + " to " + std::to_string(c.changed));
        constexpr unsigned int samples = 400000; // whole blocks of the copy, which larger elements would overrun
        const std::string bytes = ctc_header_bytes(long_header(c.opened, samples)) + patterned(4 * samples);
        const std::string target = folder.write("b.ctc", "as it was");
        Recording recording(folder.write("a.ctc", bytes));
        if (c.opened == 1) {
            recording.ctc.ChannelOffsets = malloced(std::vector<float>{0.0f});
            recording.ctc.ChannelScales = malloced(std::vector<float>{1.0f});
        }
        recording.ctc.DataType = c.changed;
        EXPECT_EQ(WriteEntireCTC(&recording.ctc, target.c_str(), 0), 0);
        EXPECT_EQ(support::read_file(target), "as it was");
        EXPECT_TRUE(folder.read("a.ctc") == bytes);
    }
}
