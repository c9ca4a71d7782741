#pragma once

#include <cstdint>
#include <string>

namespace workbench::exchange {

/// The physical and digital range of a channel in an EDF or BDF file: the two ends of a line.
struct EdfRange {
    std::string unit = "uV";
    double microvolts = 1.0;   ///< per unit
    std::string lowest = "-1"; ///< as they stand in the header, in eight characters at most
    std::string highest = "1";
    double low = -1.0; ///< the same as numbers, in the unit
    double high = 1.0;
    double digitalLow = -32768.0;
    double digitalHigh = 32767.0;

    /// Microvolts between two neighbouring stored values.
    double step() const { return (high - low) / (digitalHigh - digitalLow) * microvolts; }
    /// The stored value nearest to one in microvolts.
    std::int32_t stored(float value) const;
};

/// A range into which all values from the lowest to the highest (in microvolts) fit: uV; nV or mV where the eight
/// characters would not do. Throws InputError for values that no such range holds.
EdfRange edf_range(float lowest, float highest, bool bdf);

} // namespace workbench::exchange
