#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace workbench::exchange {

/// How the samples of a recording go into the data records of an EDF or BDF file.
struct EdfLayout {
    std::uint64_t samplesPerRecord = 1;
    std::uint64_t recordMicroseconds = 1000000; ///< duration of a data record
    std::uint64_t records = 0;
    std::uint64_t filled = 0; ///< samples at the end of the last record that the recording does not have
    bool exactRate = true;    ///< the rate that the file states is the recording's

    double rate() const {
        return static_cast<double>(samplesPerRecord) * 1e6 / static_cast<double>(recordMicroseconds);
    }
};

/// Records of about a second, smaller where they would become larger than the format recommends (61440 bytes). Their
/// duration has at most eight characters and with their samples gives the rate as a float exactly, where that can be;
/// and the records divide the recording, where that can be, so that nothing has to be filled up.
/// @param rate         Hz
/// @param frameBytes   of one sample of all channels
EdfLayout edf_layout(float rate, std::uint64_t samples, std::uint64_t frameBytes);

/// Microseconds as seconds in decimals, without zeros at the end.
std::string seconds_text(std::uint64_t microseconds);

} // namespace workbench::exchange
