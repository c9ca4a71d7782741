// Long recordings and many channels. Those that take gigabytes run where FAULTS_LARGE is set (scripts/large.sh).

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include <sys/resource.h>

#include "tests/faults/faulty_run.h"
#include "tests/support/checkers.h"
#include "tests/support/ctc_bytes.h"

namespace {

namespace fs = std::filesystem;
using support::CommandResult;
using support::read_file;
using support::write_file;

constexpr bool countsMemory = !support::withAddressSanitizer; // whose own memory is what one would see

constexpr int nTriggers = 12;
constexpr int apart = 100;                            // samples between triggers, in the small recording
constexpr int smallSamples = apart * (nTriggers + 1); // with all of its windows

struct Shape {
    std::uint32_t dataType;
    std::uint32_t channels;
    std::uint64_t samples;
    std::uint64_t firstSample; // where the samples of the small recording are in the large one; zeros around
};

std::string header_bytes(const Shape& shape) {
    support::CtcHeader header;
    header.dataType = shape.dataType;
    header.sampleOrdering = 2;
    header.nrOfChannels = shape.channels;
    header.nrOfSamples = static_cast<std::uint32_t>(shape.samples);
    header.offsets.assign(shape.channels, 0.0f);
    header.scales.assign(shape.channels, 1.0f);
    return support::ctc_header_bytes(header);
}

// The samples around the triggers: noise, and a shape of 20 samples at each.
std::string stretch_bytes(const Shape& shape) {
    support::Bytes bytes;
    std::uint32_t state = 5;
    for (int sample = 0; sample < smallSamples; ++sample) {
        for (std::uint32_t c = 0; c < shape.channels; ++c) {
            state = state * 1664525U + 1013904223U;
            const int inShape = sample % apart < 20 ? (sample % 5 - 2) * 25 : 0;
            support::append_stored(bytes, shape.dataType, static_cast<int>(state >> 28) + inShape);
        }
    }
    return bytes.str();
}

// A file with holes where it is zero.
void write_recording(const std::string& name, const Shape& shape) {
    const std::string header = header_bytes(shape);
    const std::uint64_t frame = shape.channels * (shape.dataType == 4 ? 1U : 4U);
    write_file(name, header);
    fs::resize_file(name, header.size() + shape.samples * frame);
    std::fstream file(name, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(static_cast<std::streamoff>(header.size() + shape.firstSample * frame));
    file << stretch_bytes(shape);
    ASSERT_TRUE(file.flush());
}

void write_protocol(const std::string& name, std::uint64_t firstSample) {
    std::string text = "FileVersion: 1\nExperiment: Test\nTimeResolution: samples\nCondition: slice\n";
    for (int i = 1; i <= nTriggers; ++i) {
        text += std::to_string(firstSample + static_cast<std::uint64_t>(i) * apart) + "\n";
    }
    write_file(name, text);
}

std::vector<std::string> command(const std::string& name, const std::string& pre = "10",
                                 const std::string& post = "30") {
    return {WORKBENCH_PROGRAM,
            "run",
            ORIDAN_MODULE_PATH,
            "--data",
            name + ".ctc",
            "--protocol",
            name + ".prt",
            "--condition",
            "slice",
            "--pre",
            pre,
            "--post",
            post,
            "--segment",
            "10",
            "--components",
            "2",
            "--quiet"};
}

// Of the largest process that this one has waited for.
long peak_kib() {
    rusage usage{};
    getrusage(RUSAGE_CHILDREN, &usage);
    return usage.ru_maxrss;
}

std::string bytes_at(const std::string& name, std::uint64_t from, std::uint64_t count) {
    std::string bytes(count, '\0');
    std::ifstream file(name, std::ios::binary);
    file.seekg(static_cast<std::streamoff>(from));
    file.read(bytes.data(), static_cast<std::streamsize>(count));
    bytes.resize(static_cast<std::size_t>(file.gcount()));
    return bytes;
}

class Large : public testing::Test {
protected:
    // Cleans the stretch in a recording of its own and in the large one: the same bytes must come out.
    void expect_same_as_small(const Shape& shape, long mostKib) {
        Shape small = shape;
        small.samples = smallSamples;
        small.firstSample = 0;
        write_recording("small.ctc", small);
        write_protocol("small.prt", 0);
        ASSERT_EQ(support::run_command(command("small")).status, 0);
        write_recording("large.ctc", shape);
        write_protocol("large.prt", shape.firstSample);
        const auto start = std::chrono::steady_clock::now();
        const CommandResult result = support::run_command(command("large"));
        const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(result.err, "");

        const std::uint64_t header = header_bytes(shape).size();
        const std::uint64_t stretch = stretch_bytes(shape).size();
        const std::uint64_t frame = stretch / smallSamples;
        const std::string cleaned = bytes_at("small_OBS.ctc", header, stretch);
        EXPECT_TRUE(cleaned != stretch_bytes(shape)) << "nothing was cleaned";
        EXPECT_TRUE(bytes_at("large_OBS.ctc", header + shape.firstSample * frame, stretch) == cleaned);
        EXPECT_EQ(fs::file_size("large_OBS.ctc"), fs::file_size("large.ctc"));
        if (countsMemory) {
            EXPECT_LT(peak_kib(), mostKib);
        }
        std::cout << "[ measured ] " << shape.channels << " channels, " << fs::file_size("large.ctc") / 1000000
                  << " MB: " << seconds << " s, peak " << peak_kib() / 1024 << " MiB\n";
        for (const char* written : {"small_OBS.ctc", "small_slice.trl", "large_OBS.ctc", "large_slice.trl"}) {
            fs::remove(written);
        }
    }

    support::TemporaryFolder folder{support::TemporaryFolder::Use::asCurrentDirectory};
};

class Huge : public Large {
protected:
    void SetUp() override {
        if (std::getenv("FAULTS_LARGE") == nullptr) {
            GTEST_SKIP() << "takes gigabytes of disk and minutes; scripts/large.sh runs it";
        }
    }

    void require_room(std::uint64_t bytes) {
        if (fs::space(".").available < bytes) {
            GTEST_SKIP() << "needs " << bytes / 1000000 << " MB of disk for temporary files";
        }
    }
};

TEST_F(Large, TwoThousandChannelsRunInBoundedMemory) {
    expect_same_as_small({1, 2000, smallSamples + 1000, 700}, 96 * 1024);
}

// The look for flat channels took all channels of a whole window at once: 160 MB here, gigabytes for higher rates.
TEST_F(Large, LookAtLongWindowsOfManyChannelsIsBounded) {
    write_recording("wide.ctc", {1, 4000, 12000, 0});
    write_protocol("wide.prt", 0);
    const CommandResult result = support::run_command(command("wide", "0", "5000"), {}, [] {
        const rlimit little{4096, 4096};
        setrlimit(RLIMIT_FSIZE, &little); // ends the run at the copy, right after the look
    });
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("its copy could not be made"), std::string::npos) << result.err;
    if (countsMemory) {
        EXPECT_LT(peak_kib(), 64 * 1024);
    }
}

// 2^32 samples in a whole file with holes: their number cannot be told with 32 bits.
TEST_F(Large, RecordingThatCannotBeAddressedIsRefusedBeforeTheRun) {
    Shape shape{4, 65536, 65536, 0};
    const std::string header = header_bytes(shape);
    write_file("rec.ctc", header);
    std::error_code error;
    fs::resize_file("rec.ctc", header.size() + 65536ULL * 65536ULL, error);
    if (error) {
        GTEST_SKIP() << "the temporary folder takes no file of 4 GB with holes";
    }
    write_protocol("rec.prt", 0);
    const CommandResult result = support::run_command(command("rec"));
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.err, "workbench: " + fs::absolute("rec.ctc").string() +
                              ": announces 2^32 or more sample values, which cannot be addressed\n");
    EXPECT_EQ(std::distance(fs::directory_iterator("."), fs::directory_iterator()), 2);
}

TEST_F(Huge, ThreeGigabytesInterleavedRunInBoundedMemory) {
    const Shape shape{1, 64, 12000000, 7000000};
    require_room(4000000000);
    expect_same_as_small(shape, 96 * 1024);
}

TEST_F(Huge, TwoThousandChannelsForAMinuteRunInBoundedMemory) {
    const Shape shape{1, 2000, 60000, 50000};
    require_room(1200000000);
    expect_same_as_small(shape, 96 * 1024);
}

// Sample values whose place passes 2^31, and the last before 2^32.
TEST_F(Huge, PlacesBeyondTwoToThe31AreCleanedWhereTheyBelong) {
    require_room(5000000000);
    expect_same_as_small({4, 2, 2147483647, 1200000000}, 96 * 1024);
    expect_same_as_small({4, 2, 2147483647, 2147483647 - smallSamples}, 96 * 1024);
}

} // namespace
