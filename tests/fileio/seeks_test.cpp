// Each seek of an open or a save fails in turn, or a file is replaced just before it: no byte of an existing file is
// lost, and no wrong file is called right.

#include <gtest/gtest.h>

#include <csignal>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>

#include "fileio/ctc.h"
#include "fileio/tfd.h"
#include "fileio/transio.h"
#include "tests/fileio/seek_probe.h"
#include "tests/support/child_process.h"
#include "tests/support/ctc_bytes.h"
#include "tests/support/temporary_folder.h"

namespace {

using support::Bytes;
using support::ctc_header_bytes;
using support::CtcHeader;
using support::in_child;
using support::read_file;
using support::TemporaryFolder;

// An open or a save, which gives its result.
using Try = std::function<int()>;

// Calls attempt(result_of) for each seek that fails, and last without a failure. `attempt` hands what it tries to
// result_of.
void at_each_seek(const std::function<void(const std::function<int(const Try&)>&)>& attempt) {
    int seeks = 1;
    int failing = 0;
    for (; failing <= seeks; ++failing) {
        SCOPED_TRACE("seek " + std::to_string(failing));
        attempt([&](const Try& tried) {
            const SeekProbe probe(failing);
            const int result = tried();
            seeks = probe.calls();
            return result;
        });
    }
    EXPECT_GT(failing, 2) << "seeks were not counted";
}

const std::string sixSamples = "abcdefghijklmnopqrstuvwx"; // four bytes each

CtcHeader recording_header() {
    CtcHeader header;
    header.nrOfChannels = 2;
    header.nrOfSamples = 3;
    return header;
}

std::string tensors_header() {
    Bytes bytes; // one pair of 1 x 1 x 3 tensors
    bytes.u32(1).u8(0).u8(0).u32(1).u32(5).u32(1).u32(1).f32(2.0f).u32(3).f32(0.0f).f32(1.0f).f32(1.0f).u32(0);
    return bytes.str();
}

TEST(FailingSeeks, AnOpenForWritingNeverShortensTheFile) {
    const TemporaryFolder folder;
    const std::string before(100, 'x');
    for (const unsigned int required : {50u, 100u, 200u}) {
        at_each_seek([&](const auto& result_of) {
            const std::string path = folder.write("a", before);
            transio_struct view;
            const unsigned int dims[1] = {required - 10};
            const int opened = result_of([&] { return transio_open(&view, path.c_str(), 10, 1, dims, 0x0111); });
            transio_close(&view);
            const bool lengthened = opened == 1 && required > before.size();
            EXPECT_EQ(read_file(path), before + std::string(lengthened ? required - before.size() : 0, '\0'));
        });
    }
}

TEST(FailingSeeks, AnOpenForReadingTakesNoShortFile) {
    const TemporaryFolder folder;
    at_each_seek([&](const auto& result_of) {
        const std::string path = folder.write("a", std::string(99, 'x'));
        transio_struct view;
        const unsigned int dims[1] = {100};
        EXPECT_EQ(result_of([&] { return transio_open(&view, path.c_str(), 0, 1, dims, 0x0101); }), 0);
    });
}

TEST(FailingSeeks, AFileBackedRecordingKeepsItsSamples) {
    const TemporaryFolder folder;
    const std::string whole = ctc_header_bytes(recording_header()) + sixSamples;
    for (const std::size_t missing : {0, 5}) {
        const std::string before = whole.substr(0, whole.size() - missing);
        at_each_seek([&](const auto& result_of) {
            const std::string path = folder.write("a.ctc", before);
            CTCStruct ctc;
            const int opened = result_of([&] { return ReadEntireCTC(&ctc, path.c_str(), 1); });
            FreeCTCMemory(&ctc);
            EXPECT_EQ(read_file(path), before + std::string(opened == 1 ? missing : 0, '\0'));
        });
    }
}

TEST(FailingSeeks, ASavedRecordingIsTheRightOneOrNotCalledSaved) {
    const TemporaryFolder folder;
    const std::string bytes = ctc_header_bytes(recording_header()) + sixSamples;
    at_each_seek([&](const auto& result_of) {
        const std::string path = folder.write("a.ctc", bytes);
        std::filesystem::remove(folder.path("b.ctc"));
        CTCStruct ctc;
        ASSERT_EQ(ReadEntireCTC(&ctc, path.c_str(), 1), 1);
        const int saved = result_of([&] { return WriteEntireCTC(&ctc, folder.path("b.ctc").c_str(), 0); });
        EXPECT_EQ(ctc.FileView->fileName, saved == 1 ? folder.path("b.ctc") : path);
        FreeCTCMemory(&ctc);
        EXPECT_EQ(read_file(path), bytes);
        EXPECT_TRUE(folder.read("b.ctc") == bytes || (saved == 0 && !folder.has("b.ctc")));
    });
}

TEST(FailingSeeks, TensorsAreTheRightOnesOrNotCalledRead) {
    const TemporaryFolder folder;
    const std::string bytes = tensors_header() + sixSamples;
    at_each_seek([&](const auto& result_of) {
        const std::string path = folder.write("a.tfd", bytes);
        TFDStruct* tfd = nullptr;
        const int read = result_of([&] {
            tfd = ReadTFD(path.c_str());
            return tfd != nullptr && TFDReadTensor(&tfd->Tensors[0]) == 1 ? 1 : 0;
        });
        if (read == 1) {
            EXPECT_EQ(std::string(reinterpret_cast<const char*>(tfd->Tensors[0].FirstData), 12),
                      sixSamples.substr(0, 12));
            EXPECT_EQ(std::string(reinterpret_cast<const char*>(tfd->Tensors[0].SecondData), 12),
                      sixSamples.substr(12));
            TFDFreeTensor(&tfd->Tensors[0]);
        }
        FreeTFD(&tfd, 0);
        EXPECT_EQ(read_file(path), bytes);
    });
}

TEST(FailingSeeks, SavedTensorsAreTheRightOnesOrNotCalledSaved) {
    const TemporaryFolder folder;
    const std::string bytes = tensors_header() + sixSamples;
    at_each_seek([&](const auto& result_of) {
        const std::string path = folder.write("a.tfd", bytes);
        std::filesystem::remove(folder.path("b.tfd"));
        TFDStruct* tfd = ReadTFD(path.c_str());
        ASSERT_NE(tfd, nullptr);
        const int saved = result_of([&] { return WriteTFD(tfd, folder.path("b.tfd").c_str()); });
        EXPECT_EQ(tfd->Tensors[0].FirstView->fileName, saved == 1 ? folder.path("b.tfd") : path);
        FreeTFD(&tfd, 0);
        EXPECT_EQ(read_file(path), bytes);
        EXPECT_TRUE(folder.read("b.tfd") == bytes || (saved == 0 && !folder.has("b.tfd")));
    });
}

// Between the open and the look at what was opened, too.
TEST(ReplacedAtASeek, TheFileThatHoldsTheSamplesIsNotWrittenOver) {
    const TemporaryFolder folder;
    const std::string bytes = ctc_header_bytes(recording_header()) + sixSamples;
    const std::string otherBytes = ctc_header_bytes(recording_header()) + std::string(24, 'z');
    const std::string path = folder.path("a.ctc");
    const std::string moved = folder.path("moved.ctc");
    int seeks = 1;
    int ofTheFirst = 0;
    for (int at = 0; at < seeks; ++at) {
        SCOPED_TRACE("seek " + std::to_string(at));
        folder.write("a.ctc", bytes);
        folder.write("other.ctc", otherBytes);
        CTCStruct ctc;
        {
            const SeekProbe probe(at, [&] {
                std::filesystem::rename(path, moved);
                std::filesystem::rename(folder.path("other.ctc"), path);
            });
            ASSERT_EQ(ReadEntireCTC(&ctc, path.c_str(), 1), 1);
            seeks = probe.calls();
        }
        float sample = 0.0f;
        ASSERT_EQ(transio_read_buffer(ctc.FileView, 0, 1, &sample), 1u);
        const bool isFirst = std::memcmp(&sample, "abcd", 4) == 0;
        ofTheFirst += isFirst ? 1 : 0;
        EXPECT_EQ(WriteEntireCTC(&ctc, isFirst ? moved.c_str() : path.c_str(), 0), 0);
        FreeCTCMemory(&ctc);
        EXPECT_EQ(read_file(moved), bytes);
        EXPECT_EQ(read_file(path), otherBytes);
    }
    EXPECT_GT(ofTheFirst, 0);
    EXPECT_LT(ofTheFirst, seeks);
}

TEST(ReplacedAtASeek, AFileIsNotCutToTheLengthOfAnother) {
    const TemporaryFolder folder;
    const std::string path = folder.path("a");
    const std::string longer(5000, 'z');
    for (int at = 0; at < 3; ++at) { // the seeks of an open that lengthens
        SCOPED_TRACE("seek " + std::to_string(at));
        folder.write("a", "short");
        folder.write("other", longer);
        EXPECT_EQ(in_child([&] {
                      std::signal(SIGXFSZ, SIG_IGN);
                      transio_struct view;
                      const unsigned int dims[1] = {20000};
                      const SeekProbe probe(at, [&] { std::filesystem::rename(folder.path("other"), path); });
                      if (!support::limit(RLIMIT_FSIZE, 10000) ||
                          transio_open(&view, path.c_str(), 0, 1, dims, 0x0111) != 0) {
                          return 2;
                      }
                      return probe.calls() > at ? 0 : 3;
                  }),
                  0);
        EXPECT_EQ(folder.read("a"), longer);
    }
}

} // namespace
