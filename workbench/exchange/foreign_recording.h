#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

/// Recordings in the formats of other programs, read a block at a time.
namespace workbench::exchange {

/// One channel as its file states it.
struct ForeignChannel {
    std::string name;
    std::string unit;          ///< as written ("uV", "degC"); empty where none is stated
    double rate = 0.0;         ///< samples per second
    std::uint64_t samples = 0; ///< in the whole recording
    std::string unusable = {}; ///< why its values mean nothing ("has no physical range"); empty where they do
};

/// Something that a file says happened at a time.
struct ForeignEvent {
    double seconds = 0.0; ///< after the first sample; may lie outside the recording, and is not a number within a gap
    std::string type;     ///< free text
};

class ForeignRecording {
public:
    explicit ForeignRecording(std::filesystem::path path) : path_(std::move(path)) {}
    virtual ~ForeignRecording() = default;
    ForeignRecording(const ForeignRecording&) = delete;
    ForeignRecording& operator=(const ForeignRecording&) = delete;

    const std::filesystem::path& path() const { return path_; }
    /// For messages, e.g. "EDF+".
    virtual std::string format() const = 0;
    /// All files that it consists of.
    virtual std::vector<std::filesystem::path> files() const { return {path_}; }
    const std::vector<ForeignChannel>& channels() const { return channels_; }
    /// What people should know though the recording can be used; a line each.
    const std::vector<std::string>& notes() const { return notes_; }

    /// The events that the file holds, in its order. Throws InputError when they cannot be read.
    virtual std::vector<ForeignEvent> events() = 0;

    /// A channel whose whole numbers are trigger codes by the format's own rule (the Status channel of BDF files).
    virtual std::optional<std::size_t> code_channel() const { return std::nullopt; }

    /// dest[k * count + i] becomes sample first + i of channel which[k], in the channel's own unit. All of these
    /// channels have the same rate, and the samples exist. Throws InputError when the file cannot be read.
    virtual void read(const std::vector<std::size_t>& which, std::uint64_t first, std::uint32_t count,
                      double* dest) = 0;

protected:
    std::vector<ForeignChannel> channels_;
    std::vector<std::string> notes_;

private:
    std::filesystem::path path_;
};

/// What is done with recordings that are not quite whole.
struct OpenOptions {
    bool incomplete = false; ///< a file that is cut short is read as far as it goes
    bool joinGaps = false;   ///< pieces with time between them become one recording
};

} // namespace workbench::exchange
