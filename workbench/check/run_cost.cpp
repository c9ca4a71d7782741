#include "workbench/check/run_cost.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <fstream>
#include <string>
#include <vector>

#include <sys/mman.h>
#include <unistd.h>

#include "fileio/ctc.h"
#include "fileio/ctc_channel.h"
#include "fileio/ctc_header.h"

namespace workbench {

namespace {

using Clock = std::chrono::steady_clock;

// Measured: the program with its libraries, and its child with the module, before it holds anything.
constexpr std::uint64_t programBytes = 15'000'000;
constexpr std::uint64_t childBytes = 9'500'000;
// Measured: starting the program and a process for the module, and what a run says of itself.
constexpr double startSeconds = 0.02;
constexpr double logSeconds = 1e-6; // per segment of a channel
// Where transfers cannot be tried out.
constexpr double usualSecondsPerByte = 1e-9;
// Windows at most so far apart are moved together by the module, where a channel's samples follow each other.
constexpr double widestGap = 512.0;

constexpr std::uint64_t trialBytes = 64ULL << 20;
constexpr double trialSeconds = 0.05;

double seconds_since(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// A file in memory that nobody else sees, and that is gone with this object.
class MemoryFile {
public:
    MemoryFile() : descriptor_(memfd_create("trial", MFD_CLOEXEC)) {}
    ~MemoryFile() {
        if (descriptor_ >= 0) {
            close(descriptor_);
        }
    }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    bool usable() const { return descriptor_ >= 0; }
    std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

private:
    int descriptor_;
};

struct Transfers {
    std::uint32_t samples; ///< of one transfer
    double perSegment;     ///< transfers of that size
};

// The module moves a segment's windows of a channel together where they lie close to each other.
bool moved_together(const CTCStruct& header, const RunSize& size) {
    return header.DataType == 1 && header.SampleOrdering == 1 &&
           size.triggerDistance - static_cast<double>(size.window.length()) <= widestGap;
}

Transfers transfers_of(const CTCStruct& header, const RunSize& size) {
    const auto n = static_cast<double>(size.perSegment);
    const auto length = static_cast<double>(size.window.length());
    if (moved_together(header, size)) {
        const double stretch = std::min((n - 1.0) * size.triggerDistance + length, 1e6);
        return {static_cast<std::uint32_t>(stretch), n * std::max(size.triggerDistance, 1.0) / stretch};
    }
    return {static_cast<std::uint32_t>(length), n};
}

// A small recording of the same kind, all zeros. False when it cannot be written.
bool write_trial(const std::string& path, const CTCStruct& header, std::uint32_t samples) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    const auto put = [&](auto value) { file.write(reinterpret_cast<const char*>(&value), sizeof value); };
    for (const std::uint32_t field : {1U, 0U, header.DataType, header.SampleOrdering, header.NrOfChannels, samples}) {
        put(field);
    }
    put(header.SamplingFrequency);
    for (std::uint32_t i = 0; header.DataType > 2 && i < 2 * header.NrOfChannels; ++i) {
        put(1.0f); // offsets and scales
    }
    put(0U);
    const std::uint64_t bytes = std::uint64_t{samples} * header.NrOfChannels * fileio::stored_size(header.DataType);
    const std::vector<char> zeros(1 << 20);
    for (std::uint64_t done = 0; done < bytes; done += zeros.size()) {
        file.write(zeros.data(), static_cast<std::streamsize>(std::min<std::uint64_t>(zeros.size(), bytes - done)));
    }
    file.close();
    return !file.fail();
}

// Seconds to read and write back a transfer of a channel.
double transfer_seconds(const std::string& path, std::uint32_t samples) {
    CTCStruct trial{};
    if (ReadEntireCTC(&trial, path.c_str(), 1) != 1) {
        return 0.0;
    }
    const std::uint32_t count = std::min(samples, trial.NrOfSamples);
    std::vector<float> values(samples);
    double shortest = 1e9;
    int tries = 0;
    const Clock::time_point begin = Clock::now();
    do {
        const Clock::time_point start = Clock::now();
        const std::uint32_t channel = static_cast<std::uint32_t>(tries) % trial.NrOfChannels;
        GetChannelSamples(values.data(), &trial, channel, 0, count);
        SetChannelSamples(values.data(), &trial, channel, 0, count);
        shortest = std::min(shortest, seconds_since(start));
    } while (++tries < 3 || (tries < 100 && seconds_since(begin) < trialSeconds));
    FreeCTCMemory(&trial);
    return shortest * static_cast<double>(samples) / static_cast<double>(count);
}

// Seconds per element to read a recording as the workbench itself does.
double reading_seconds(RecordingReader& recording) {
    const CTCStruct& header = recording.header();
    const std::uint32_t count =
        std::min(header.NrOfSamples, std::max<std::uint32_t>(1, (1U << 20) / header.NrOfChannels));
    std::vector<float> samples(std::size_t{count} * header.NrOfChannels);
    double shortest = 1e9;
    for (int i = 0; i < 3; ++i) {
        const Clock::time_point start = Clock::now();
        recording.read(0, count, samples.data());
        shortest = std::min(shortest, seconds_since(start));
    }
    return shortest / static_cast<double>(samples.size());
}

} // namespace

std::uint64_t memory_needed(const RecordingReader& recording, const RunSize& size) {
    const CTCStruct& header = recording.header();
    const std::uint64_t n = size.perSegment;
    const std::uint64_t p = size.components;
    const auto l = static_cast<std::uint64_t>(size.window.length());
    const std::uint64_t channels = header.NrOfChannels;
    const std::uint64_t epochs = 4 * n * l + 8 * n * l + 4 * p * l; // as they are, widened, the components
    const std::uint64_t stretches = moved_together(header, size) ? 4 * n * (l + 512) : 0;
    const std::uint64_t matrices = 8 * n * n + 6 * 4 * n * n; // products; covariance, vectors and what comes of them
    const std::uint64_t decomposition = 3 * 4 * n * n;
    const std::uint64_t fit = epochs + stretches + matrices + decomposition + 4 * l;
    const std::uint64_t windows = 4 * channels * l; // of all channels, before the run
    const std::uint64_t result =
        header.DataType == 1
            ? 4 * channels * std::clamp<std::uint64_t>((1ULL << 22) / std::max<std::uint64_t>(1, channels), 1, 65536)
            : 0;
    return std::max(programBytes + windows, childBytes + std::max(fit, result));
}

std::uint64_t disk_needed(const RecordingReader& recording, const ProtocolCondition& condition) {
    return recording.size_when_whole() + condition.intervals.size() * (condition.name.size() + 16);
}

double estimated_seconds(RecordingReader& recording, const RunSize& size, double fitSeconds) {
    const CTCStruct& header = recording.header();
    const double channels = static_cast<double>(header.NrOfChannels);
    const Transfers transfers = transfers_of(header, size);
    const double bytesPerSample = channels * static_cast<double>(fileio::stored_size(header.DataType));

    double perTransfer = static_cast<double>(transfers.samples) * 8.0 * usualSecondsPerByte;
    double perByte = usualSecondsPerByte;
    const MemoryFile file;
    const auto fitting = static_cast<std::uint32_t>(
        std::max(1.0, std::min(static_cast<double>(trialBytes) / bytesPerSample, 4294967295.0 / channels)));
    const std::uint32_t samples = std::min(std::max(transfers.samples, 1U << 16), fitting);
    if (file.usable()) {
        const Clock::time_point start = Clock::now();
        if (write_trial(file.path(), header, samples)) {
            perByte = seconds_since(start) / (static_cast<double>(samples) * bytesPerSample);
            perTransfer = transfer_seconds(file.path(), transfers.samples);
        }
    }
    const double fits = channels * static_cast<double>(size.segments());
    const double copying = 1.5 * perByte * bytesPerSample * static_cast<double>(header.NrOfSamples); // read and written
    const double windows = static_cast<double>(size.triggers) * static_cast<double>(size.window.length());
    const double looked = windows + (header.DataType == 1 ? static_cast<double>(header.NrOfSamples) : 0.0);
    return startSeconds + copying + fits * (fitSeconds + logSeconds + transfers.perSegment * perTransfer) +
           channels * looked * reading_seconds(recording);
}

} // namespace workbench
