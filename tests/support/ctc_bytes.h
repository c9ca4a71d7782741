#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

/// The bytes of a CTC file, put together field by field without the library's writer.
namespace support {

/// Appends values in little-endian order.
class Bytes {
public:
    Bytes& u8(unsigned int value) {
        text += static_cast<char>(static_cast<unsigned char>(value & 0xFFU));
        return *this;
    }
    Bytes& u16(unsigned int value) { return u8(value).u8(value >> 8); }
    Bytes& u32(std::uint32_t value) { return u16(value).u16(value >> 16); }
    Bytes& u64(std::uint64_t value) {
        return u32(static_cast<std::uint32_t>(value)).u32(static_cast<std::uint32_t>(value >> 32));
    }
    Bytes& f32(float value) {
        std::uint32_t bits = 0;
        std::memcpy(&bits, &value, sizeof bits);
        return u32(bits);
    }
    Bytes& f64(double value) {
        std::uint64_t bits = 0;
        std::memcpy(&bits, &value, sizeof bits);
        return u64(bits);
    }
    Bytes& i8(int value) { return u8(static_cast<unsigned int>(value)); }
    Bytes& i16(int value) { return u16(static_cast<unsigned int>(value)); }
    Bytes& i32(std::int32_t value) { return u32(static_cast<std::uint32_t>(value)); }
    Bytes& raw(const std::string& bytes) {
        text += bytes;
        return *this;
    }

    const std::string& str() const { return text; }
    std::size_t size() const { return text.size(); }

private:
    std::string text;
};

/// What a CTC header states. The counts are taken as they are, so that a header may also lie.
struct CtcHeader {
    std::uint32_t fileVersion = 1;
    std::uint32_t compressionType = 0;
    std::vector<std::uint32_t> compressionParams = {}; ///< written only where compressionType is not 0
    std::uint32_t dataType = 1;
    std::uint32_t sampleOrdering = 1;
    std::uint32_t nrOfChannels = 1;
    std::uint32_t nrOfSamples = 1;
    float samplingFrequency = 1000.0f;
    std::vector<float> offsets = {}; ///< written only where dataType is above 2
    std::vector<float> scales = {};
    std::vector<std::uint32_t> trials = {}; ///< one per condition
    std::vector<std::uint32_t> pre = {};
    std::vector<std::uint32_t> post = {};
};

inline std::string ctc_header_bytes(const CtcHeader& header) {
    Bytes out;
    out.u32(header.fileVersion).u32(header.compressionType);
    if (header.compressionType != 0) {
        out.u32(static_cast<std::uint32_t>(header.compressionParams.size()));
        for (const std::uint32_t value : header.compressionParams) {
            out.u32(value);
        }
    }
    out.u32(header.dataType).u32(header.sampleOrdering).u32(header.nrOfChannels).u32(header.nrOfSamples);
    out.f32(header.samplingFrequency);
    if (header.dataType > 2) {
        for (const float value : header.offsets) {
            out.f32(value);
        }
        for (const float value : header.scales) {
            out.f32(value);
        }
    }
    out.u32(static_cast<std::uint32_t>(header.trials.size()));
    for (const auto* values : {&header.trials, &header.pre, &header.post}) {
        for (const std::uint32_t value : *values) {
            out.u32(value);
        }
    }
    return out.str();
}

/// One stored element as the data type keeps it: a float for 1 and 5, 16 bits for 3, 8 bits for 4.
inline void append_stored(Bytes& out, std::uint32_t dataType, double value) {
    if (dataType == 3) {
        out.i16(static_cast<int>(value));
    } else if (dataType == 4) {
        out.i8(static_cast<int>(value));
    } else {
        out.f32(static_cast<float>(value));
    }
}

} // namespace support
