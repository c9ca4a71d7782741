#pragma once

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/command.h"
#include "tests/support/ctc_bytes.h"
#include "tests/support/temporary_folder.h"

/// The ctc program in a folder of its own, and recordings put together by the tests.
namespace test {

using support::Bytes;
using support::CommandResult;
using support::CtcHeader;
using support::read_file;
using support::write_file;

class CtcProgram : public testing::Test {
protected:
    static CommandResult ctc(std::vector<std::string> arguments, const std::function<void()>& inChild = {}) {
        arguments.insert(arguments.begin(), CTC_PROGRAM);
        return support::run_command(arguments, {}, inChild);
    }

    // Runs a command line that must succeed without a note. @return standard output.
    static std::string quiet_ctc(const std::vector<std::string>& arguments) {
        const CommandResult result = ctc(arguments);
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(result.err, "");
        return result.out;
    }

    // One line says why, and nothing appears or changes.
    static void expect_refused(const std::vector<std::string>& arguments, const std::string& reason, int status = 2) {
        SCOPED_TRACE(reason);
        const std::vector<std::string> before = contents();
        const CommandResult result = ctc(arguments);
        EXPECT_EQ(result.status, status);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err, "ctc: " + reason + "\n");
        EXPECT_EQ(contents(), before);
    }

    // Names and bytes of the files in the current folder, hidden ones included; of folders the names.
    static std::vector<std::string> contents() {
        std::vector<std::string> files;
        for (const auto& entry : std::filesystem::directory_iterator(".")) {
            files.push_back(entry.path().filename().string() + ": " +
                            (entry.is_directory() ? "folder" : read_file(entry.path().string())));
        }
        std::sort(files.begin(), files.end());
        return files;
    }

    static std::vector<std::string> files() {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(".")) {
            names.push_back(entry.path().filename().string());
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    support::TemporaryFolder folder{support::TemporaryFolder::Use::asCurrentDirectory};
};

/// A header with scales for every channel (they are written for data types 3, 4 and 5 only).
inline CtcHeader header_of(std::uint32_t dataType, std::uint32_t ordering, std::uint32_t channels,
                           std::uint32_t samples) {
    CtcHeader header;
    header.fileVersion = 3;
    header.dataType = dataType;
    header.sampleOrdering = ordering;
    header.nrOfChannels = channels;
    header.nrOfSamples = samples;
    header.samplingFrequency = 100.0f;
    for (std::uint32_t channel = 0; channel < channels; ++channel) {
        header.offsets.push_back(3.0f * static_cast<float>(channel) - 1.0f);
        header.scales.push_back(0.5f * static_cast<float>(channel + 1));
    }
    return header;
}

/// A stored element that differs for neighbours in every direction and fits 8 bits.
inline int stored_value(std::uint64_t channel, std::uint64_t sample, std::uint64_t trial = 0,
                        std::uint64_t condition = 0) {
    return static_cast<int>((channel * 31 + sample * 7 + trial * 59 + condition * 101) % 251) - 125;
}

inline float physical_value(const CtcHeader& header, std::uint32_t channel, int stored) {
    const auto value = static_cast<float>(stored);
    return header.dataType == 1 ? value : value * header.scales[channel] + header.offsets[channel];
}

/// Called once per element of a data section, in the order of the file: use(channel, sample, trial, condition).
template <class Use>
void for_each_element(const CtcHeader& header, const Use& use) {
    const std::uint32_t channels = header.nrOfChannels;
    if (header.sampleOrdering == 1) {
        for (std::uint32_t c = 0; c < channels; ++c) {
            for (std::uint32_t s = 0; s < header.nrOfSamples; ++s) {
                use(c, s, 0U, 0U);
            }
        }
        return;
    }
    if (header.sampleOrdering == 2) {
        for (std::uint32_t s = 0; s < header.nrOfSamples; ++s) {
            for (std::uint32_t c = 0; c < channels; ++c) {
                use(c, s, 0U, 0U);
            }
        }
        return;
    }
    for (std::uint32_t k = 0; k < header.trials.size(); ++k) {
        const std::uint32_t trials = std::max(1U, header.trials[k]);
        const std::uint32_t length = header.pre[k] + header.post[k];
        // The three loops, outermost first: t trial, c channel, s sample.
        const std::string order = header.sampleOrdering == 3   ? "tcs"
                                  : header.sampleOrdering == 4 ? "tsc"
                                  : header.sampleOrdering == 5 ? "cst"
                                                               : "sct";
        const auto extent = [&](char axis) { return axis == 't' ? trials : axis == 'c' ? channels : length; };
        for (std::uint32_t i = 0; i < extent(order[0]); ++i) {
            for (std::uint32_t j = 0; j < extent(order[1]); ++j) {
                for (std::uint32_t l = 0; l < extent(order[2]); ++l) {
                    const auto index = [&](char axis) { return axis == order[0] ? i : axis == order[1] ? j : l; };
                    use(index('c'), index('s'), index('t'), k);
                }
            }
        }
    }
}

/// A whole recording of stored_value.
inline std::string recording_bytes(const CtcHeader& header) {
    Bytes bytes;
    bytes.raw(support::ctc_header_bytes(header));
    for_each_element(header, [&](std::uint32_t channel, std::uint32_t sample, std::uint32_t trial, std::uint32_t k) {
        support::append_stored(bytes, header.dataType, stored_value(channel, sample, trial, k));
    });
    return bytes.str();
}

/// Three conditions: several trials; none, which takes the space of one; and epochs without samples.
inline CtcHeader epoched_header(std::uint32_t dataType, std::uint32_t ordering) {
    CtcHeader header = header_of(dataType, ordering, 3, 77);
    header.trials = {4, 0, 2};
    header.pre = {2, 1, 0};
    header.post = {5, 3, 0};
    return header;
}

} // namespace test
