#pragma once

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/command.h"
#include "tests/support/ctc_bytes.h"
#include "tests/support/temporary_folder.h"

/// The workbench program in a folder of its own.
namespace test {

using support::CommandResult;
using support::read_file;
using support::write_file;

class ExchangeProgram : public testing::Test {
protected:
    static CommandResult workbench(std::vector<std::string> arguments,
                                   const std::function<void(pid_t)>& whileRunning = {}) {
        arguments.insert(arguments.begin(), WORKBENCH_PROGRAM);
        return support::run_command(arguments, whileRunning);
    }

    // Runs a command line that must succeed. @return what it says, on standard output and then on standard error.
    static std::string done(const std::vector<std::string>& arguments) {
        const CommandResult result = workbench(arguments);
        EXPECT_EQ(result.status, 0) << result.err;
        return result.out + result.err;
    }

    // One line says why, and nothing appears or changes.
    static void expect_refused(const std::vector<std::string>& arguments, const std::string& reason) {
        SCOPED_TRACE(reason);
        const std::vector<std::string> before = contents();
        const CommandResult result = workbench(arguments);
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err, "workbench: " + reason + "\n");
        EXPECT_EQ(contents(), before);
    }

    // Names and bytes of the files in the current folder, hidden ones included.
    static std::vector<std::string> contents() {
        std::vector<std::string> files;
        for (const auto& entry : std::filesystem::directory_iterator(".")) {
            files.push_back(entry.path().filename().string() + ": " +
                            (entry.is_directory() ? "folder" : read_file(entry.path().string())));
        }
        std::sort(files.begin(), files.end());
        return files;
    }

    static std::string files() {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(".")) {
            names.push_back(entry.path().filename().string());
        }
        std::sort(names.begin(), names.end());
        std::string text;
        for (const std::string& name : names) {
            text += name + " ";
        }
        return text;
    }

    support::TemporaryFolder folder{support::TemporaryFolder::Use::asCurrentDirectory};
};

/// A CTC recording of plain floats as its bytes state it.
struct CtcContents {
    std::uint32_t ordering = 0;
    std::uint32_t channels = 0;
    std::uint32_t samples = 0;
    float rate = 0.0f;
    std::vector<float> values; ///< channel after channel

    float at(std::size_t channel, std::size_t sample) const { return values.at(channel * samples + sample); }
};

inline CtcContents ctc_contents(const std::string& file) {
    const std::string bytes = read_file(file);
    CtcContents contents;
    std::uint32_t fields[6] = {};
    if (bytes.size() < 32) {
        return contents;
    }
    std::memcpy(fields, bytes.data(), sizeof fields);
    EXPECT_EQ(fields[2], 1U) << "data type";
    contents.ordering = fields[3];
    contents.channels = fields[4];
    contents.samples = fields[5];
    std::memcpy(&contents.rate, bytes.data() + 24, 4);
    EXPECT_EQ(bytes.size(), 32U + 4U * contents.channels * contents.samples);
    contents.values.resize((bytes.size() - 32) / 4);
    std::memcpy(contents.values.data(), bytes.data() + 32, contents.values.size() * 4);
    return contents;
}

/// A CTC recording of plain floats, channel after channel.
inline std::string ctc_bytes(std::uint32_t channels, std::uint32_t samples, float rate,
                             const std::function<float(std::uint32_t, std::uint32_t)>& value) {
    support::CtcHeader header;
    header.nrOfChannels = channels;
    header.nrOfSamples = samples;
    header.samplingFrequency = rate;
    support::Bytes bytes;
    bytes.raw(support::ctc_header_bytes(header));
    for (std::uint32_t channel = 0; channel < channels; ++channel) {
        for (std::uint32_t sample = 0; sample < samples; ++sample) {
            bytes.f32(value(channel, sample));
        }
    }
    return bytes.str();
}

} // namespace test
