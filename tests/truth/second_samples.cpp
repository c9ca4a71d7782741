#include "tests/truth/second_samples.h"

#include <cmath>
#include <cstring>

namespace truth {

namespace {

/// Where the samples of one channel lie in the data section, counted in elements.
struct Places {
    std::uint32_t start = 0;
    std::uint32_t stride = 0;
    float offset = 0.0f;
    float scale = 1.0f;
};

bool find_places(Places& places, const Recording& recording, std::uint32_t channel, std::uint32_t first,
                 std::uint32_t count) {
    const std::uint32_t end = first + count; // wraps at 32 bits
    if (recording.version == 0 || channel >= recording.channels || recording.samples < end) {
        return false;
    }
    if (recording.ordering == 1) {
        places.start = channel * recording.samples + first;
        places.stride = 1;
    } else if (recording.ordering == 2) {
        places.start = first * recording.channels + channel;
        places.stride = recording.channels;
    } else {
        return false;
    }
    if (recording.dataType != 1 && recording.dataType != 3 && recording.dataType != 4 && recording.dataType != 5) {
        return false;
    }
    if (recording.dataType != 1) {
        places.offset = recording.offsets[channel];
        places.scale = recording.scales[channel];
    }
    return true;
}

bool fits(const Recording& recording, std::uint64_t element, std::uint64_t count) {
    return element + count <= recording.elements;
}

std::size_t byte_of(const Recording& recording, std::uint64_t element) {
    return static_cast<std::size_t>(recording.dataStart + element * recording.elementSize);
}

/// Copies a byte of the file over one of a number; the others stay.
void take_byte(Sample& sample, int which, const Recording& recording, std::size_t place) {
    const std::uint32_t hole = ~(0xFFU << (8 * which));
    sample.value =
        float_of((bits_of(sample.value) & hole) | (static_cast<std::uint32_t>(recording.bytes[place]) << (8 * which)));
    sample.open = sample.open || recording.open[place] != 0;
}

void put_byte(const Sample& sample, int which, Recording& recording, std::size_t place) {
    recording.bytes[place] = static_cast<std::uint8_t>(bits_of(sample.value) >> (8 * which));
    recording.open[place] = sample.open ? 1 : 0;
}

/// Two NaNs that stay unlike when they are made quiet.
bool unlike_nans(float a, float b) {
    constexpr std::uint32_t quiet = 0x00400000U;
    return std::isnan(a) && std::isnan(b) && (bits_of(a) | quiet) != (bits_of(b) | quiet);
}

Sample scaled(const Sample& stored, const Places& places) {
    const float product = stored.value * places.scale;
    const bool open = unlike_nans(stored.value, places.scale) || unlike_nans(product, places.offset);
    return {product + places.offset, stored.open || open};
}

Sample unscaled(const Sample& sample, const Places& places) {
    const float difference = sample.value - places.offset;
    const bool open = unlike_nans(sample.value, places.offset) || unlike_nans(difference, places.scale);
    return {difference / places.scale, sample.open || open};
}

std::int32_t read_integer(const Recording& recording, std::uint64_t element) {
    const std::size_t place = byte_of(recording, element);
    int value = recording.bytes[place];
    if (recording.elementSize == 2) {
        value += 256 * recording.bytes[place + 1];
        return value >= 32768 ? value - 65536 : value;
    }
    return value >= 128 ? value - 256 : value;
}

void write_integer(Recording& recording, std::uint64_t element, std::int32_t value) {
    const std::size_t place = byte_of(recording, element);
    const std::uint32_t low = static_cast<std::uint32_t>(value);
    for (std::uint32_t b = 0; b < recording.elementSize; ++b) {
        recording.bytes[place + b] = static_cast<std::uint8_t>(low >> (8 * b));
    }
}

} // namespace

std::uint32_t bits_of(float value) {
    std::uint32_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

float float_of(std::uint32_t bits) {
    float value = 0.0f;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

std::int32_t truncated(double value) {
    const double towardZero = std::trunc(value);
    if (towardZero >= -2147483648.0 && towardZero <= 2147483647.0) {
        return static_cast<std::int32_t>(towardZero);
    }
    return INT32_MIN;
}

bool get_samples(std::vector<Sample>& x, const Recording& recording, std::uint32_t channel, std::uint32_t first,
                 std::uint32_t count) {
    Places places;
    if (!find_places(places, recording, channel, first, count)) {
        return false;
    }
    if (recording.dataType == 5 && places.stride == 1) {
        // The view counts bytes: as many bytes as samples arrive, but every sample is scaled.
        if (fits(recording, places.start, count)) {
            for (std::uint32_t b = 0; b < count; ++b) {
                if (b % 4 == 0 && b + 4 <= count) {
                    x[b / 4] = Sample{}; // all of it is replaced
                }
                take_byte(x[b / 4], static_cast<int>(b % 4), recording, byte_of(recording, places.start + b));
            }
        }
        for (std::uint32_t i = 0; i < count; ++i) {
            x[i] = scaled(x[i], places);
        }
        return true;
    }
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::uint32_t element = places.start + i * places.stride;
        if (!fits(recording, element, 1)) {
            continue;
        }
        Sample stored;
        if (recording.dataType == 3 || recording.dataType == 4) {
            stored.value = static_cast<float>(read_integer(recording, element));
        } else {
            for (std::uint32_t b = 0; b < recording.elementSize; ++b) {
                take_byte(stored, static_cast<int>(b), recording, byte_of(recording, element) + b);
            }
        }
        x[i] = recording.dataType == 1 ? stored : scaled(stored, places);
    }
    return true;
}

bool set_samples(const std::vector<Sample>& x, Recording& recording, std::uint32_t channel, std::uint32_t first,
                 std::uint32_t count) {
    Places places;
    if (!find_places(places, recording, channel, first, count)) {
        return false;
    }
    const bool integers = recording.dataType == 3 || recording.dataType == 4;
    if (integers && recording.ordering == 1) {
        places.start += count; // such runs have always been stored one run further on
        if (!fits(recording, places.start, count)) {
            return true;
        }
    }
    if (recording.dataType == 5 && places.stride == 1) {
        for (std::uint32_t b = 0; b < count && fits(recording, places.start, count); ++b) {
            put_byte(unscaled(x[b / 4], places), static_cast<int>(b % 4), recording,
                     byte_of(recording, places.start + b));
        }
        return true;
    }
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::uint32_t element = places.start + i * places.stride;
        if (!fits(recording, element, 1)) {
            continue;
        }
        const Sample stored = recording.dataType == 1 ? x[i] : unscaled(x[i], places);
        if (integers) {
            write_integer(recording, element, truncated(stored.value));
        } else {
            for (std::uint32_t b = 0; b < recording.elementSize; ++b) {
                put_byte(stored, static_cast<int>(b), recording, byte_of(recording, element) + b);
            }
        }
    }
    return true;
}

} // namespace truth
