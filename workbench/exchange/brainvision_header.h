#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

/// The two text files of a BrainVision recording (Brain Vision Core Data Format 1.0): .vhdr and .vmrk.
namespace workbench::exchange {

struct BrainVisionChannel {
    std::string name;
    double resolution = 1.0; ///< of the stored numbers, in the unit
    std::string unit;        ///< "µV" where the file states none
};

enum class BrainVisionNumber { int16, uint16, int32, float32 };

struct BrainVisionHeader {
    std::filesystem::path dataFile;   ///< beside the header, as it names it
    std::filesystem::path markerFile; ///< empty where it names none
    bool vectorized = false;          ///< channel after channel; else sample after sample
    bool bigEndian = false;
    BrainVisionNumber number = BrainVisionNumber::int16;
    double rate = 0.0; ///< Hz
    std::vector<BrainVisionChannel> channels;
};

struct BrainVisionMarker {
    std::string kind; ///< "Stimulus", "New Segment"
    std::string description;
    std::uint64_t position = 1; ///< in samples, counted from 1
};

/// The first bytes are those of a header file.
bool is_brainvision(const std::string& firstBytes);

/// Throw InputError that says what is missing or cannot be used.
BrainVisionHeader read_brainvision_header(const std::filesystem::path& file);
std::vector<BrainVisionMarker> read_brainvision_markers(const std::filesystem::path& file);

} // namespace workbench::exchange
