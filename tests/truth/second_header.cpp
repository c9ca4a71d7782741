#include "tests/truth/second_samples.h"

namespace truth {

namespace {

constexpr std::uint64_t elementLimit = 0x100000000U; // elements are addressed with 32 bits

/// Takes four-byte fields one after another; `left` turns false where the file ends before a field does.
struct FieldReader {
    const Bytes& bytes;
    std::uint64_t position = 0;
    bool left = true;

    std::uint32_t next() {
        if (position + 4 > bytes.size()) {
            left = false;
            return 0;
        }
        std::uint32_t value = 0;
        for (std::uint64_t b = 0; b < 4; ++b) {
            value += static_cast<std::uint32_t>(bytes[position + b]) << (8 * b);
        }
        position += 4;
        return value;
    }

    bool has(std::uint64_t fields) const { return left && fields <= (bytes.size() - position) / 4; }
};

/// @return 0 where the type cannot be viewed in the file.
std::uint32_t element_size(std::uint32_t dataType) {
    switch (dataType) {
    case 1:
        return 4;
    case 3:
        return 2;
    case 0:
    case 4:
    case 5: // floats, but viewed as bytes: a fact of this system
        return 1;
    default:
        return 0;
    }
}

std::vector<std::uint32_t> next_fields(FieldReader& reader, std::uint64_t count) {
    std::vector<std::uint32_t> fields;
    if (!reader.has(count)) {
        reader.left = false;
        return fields;
    }
    for (std::uint64_t i = 0; i < count; ++i) {
        fields.push_back(reader.next());
    }
    return fields;
}

std::vector<float> next_floats(FieldReader& reader, std::uint64_t count) {
    std::vector<float> values;
    for (const std::uint32_t bits : next_fields(reader, count)) {
        values.push_back(float_of(bits));
    }
    return values;
}

} // namespace

bool open_recording(Recording& recording) {
    FieldReader reader{recording.bytes};
    recording.version = reader.next();
    const std::uint32_t compression = reader.next();
    if (compression != 0) {
        next_fields(reader, reader.next());
    }
    recording.dataType = reader.next();
    recording.elementSize = element_size(recording.dataType);
    recording.ordering = reader.next();
    recording.channels = reader.next();
    recording.samples = reader.next();
    recording.frequency = float_of(reader.next());
    if (recording.dataType > 2) {
        recording.offsets = next_floats(reader, recording.channels);
        recording.scales = next_floats(reader, recording.channels);
    }
    const std::uint32_t conditions = reader.next();
    const std::vector<std::uint32_t> trials = next_fields(reader, conditions);
    const std::vector<std::uint32_t> pre = next_fields(reader, conditions);
    const std::vector<std::uint32_t> post = next_fields(reader, conditions);
    if (!reader.left || recording.elementSize == 0 || recording.ordering < 1 || recording.ordering > 6) {
        return false;
    }
    std::uint64_t perChannel = recording.samples;
    if (recording.ordering > 2) {
        perChannel = 0;
        for (std::size_t k = 0; k < trials.size(); ++k) {
            const std::uint64_t length = static_cast<std::uint64_t>(pre[k]) + post[k];
            const std::uint64_t times = trials[k] == 0 ? 1 : trials[k];
            if (length >= elementLimit / times) {
                return false;
            }
            perChannel += length * times;
        }
    }
    recording.elements = perChannel * recording.channels;
    if (perChannel >= elementLimit || recording.elements == 0 || recording.elements >= elementLimit) {
        return false;
    }
    recording.dataStart = reader.position;
    const std::uint64_t needed = recording.dataStart + recording.elements * recording.elementSize;
    if (recording.bytes.size() < needed) {
        recording.bytes.resize(needed, 0);
    }
    recording.open.assign(recording.bytes.size(), 0);
    return true;
}

} // namespace truth
