#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "workbench/exchange/binary_file.h"

/// The header of EDF, EDF+, BDF and BDF+ files (Kemp et al. 1992; Kemp and Olivan 2003; BDF is EDF with 24 bits).
namespace workbench::exchange {

struct EdfSignal {
    std::string label;
    std::string unit;
    double physicalMin = 0.0;
    double physicalMax = 0.0;
    double digitalMin = 0.0;
    double digitalMax = 0.0;
    std::uint64_t samplesPerRecord = 0;
    std::uint64_t byteInRecord = 0;
    bool annotations = false; ///< holds texts instead of samples
    bool calibrated = false;  ///< the four numbers above are there and describe a line
};

struct EdfHeader {
    bool bdf = false;           ///< 24 bits per sample
    bool plus = false;          ///< EDF+ or BDF+
    bool discontinuous = false; ///< EDF+D or BDF+D
    std::int64_t records = 0;   ///< as stated; -1 is "unknown"
    double recordSeconds = 0.0;
    std::uint64_t headerBytes = 0;
    std::uint64_t recordBytes = 0;
    std::vector<EdfSignal> signals;

    std::uint64_t sample_bytes() const { return bdf ? 3 : 2; }
};

/// The first bytes are those of such a file.
bool is_edf(const std::string& firstBytes);

/// Throws InputError that says what is wrong with the header.
EdfHeader read_edf_header(BinaryFile& file, const std::filesystem::path& path);

} // namespace workbench::exchange
