#pragma once

#include <cstdint>
#include <vector>

/// A second, slow and plain implementation of a removal run, for comparison with the module's. It works on the bytes of
/// a recording and shares no line with the module: this folder's second_* files include none of its headers.
namespace truth {

using Bytes = std::vector<std::uint8_t>;

/// A number. It is open where the processor chooses its bits: which of two unlike NaNs a sum hands on is nowhere laid
/// down.
struct Sample {
    float value = 0.0f;
    bool open = false;
};

std::uint32_t bits_of(float value);
float float_of(std::uint32_t bits);

/// Toward zero; what does not fit, NaN too, is the smallest integer.
std::int32_t truncated(double value);

/// A recording's file with the header taken apart.
struct Recording {
    Bytes bytes;
    Bytes open; ///< 1 for every byte that was written from an open sample
    std::uint32_t version = 0;
    std::uint32_t dataType = 0;
    std::uint32_t ordering = 0;
    std::uint32_t channels = 0;
    std::uint32_t samples = 0;
    float frequency = 0.0f;
    std::vector<float> offsets;
    std::vector<float> scales;
    std::uint64_t dataStart = 0;
    std::uint64_t elements = 0;
    std::uint32_t elementSize = 0;
};

/// Takes the header apart and lengthens the file where its data section is cut short. @return false, and the bytes
/// as they were, where the recording cannot be used.
bool open_recording(Recording& recording);

/// Samples first..first+count-1 of a channel to the start of x; some stay as they are where the view does not reach.
bool get_samples(std::vector<Sample>& x, const Recording& recording, std::uint32_t channel, std::uint32_t first,
                 std::uint32_t count);

/// The opposite way, into the recording's bytes.
bool set_samples(const std::vector<Sample>& x, Recording& recording, std::uint32_t channel, std::uint32_t first,
                 std::uint32_t count);

} // namespace truth
