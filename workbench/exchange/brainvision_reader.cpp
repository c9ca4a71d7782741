#include "workbench/exchange/brainvision_reader.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <set>
#include <system_error>

#include "workbench/input_error.h"

namespace workbench::exchange {

namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t blockBytes = 1 << 22;

const fs::path& present(const fs::path& file, const fs::path& header) {
    std::error_code error;
    if (!fs::exists(file, error)) {
        throw InputError(file.string() + ": no such file, though " + header.string() +
                         " names it; put it back, or correct the name in the header");
    }
    return file;
}

} // namespace

BrainVisionRecording::BrainVisionRecording(const fs::path& path, const OpenOptions& options)
    : ForeignRecording(path), header_(read_brainvision_header(path)), data_(present(header_.dataFile, path)) {
    const std::uint64_t frameBytes = header_.channels.size() * number_bytes();
    samples_ = data_.size() / frameBytes;
    if (const std::uint64_t rest = data_.size() % frameBytes; rest != 0) {
        const std::string problem = "its size does not fit " + std::to_string(header_.channels.size()) +
                                    " channels; it is cut short or the header is another recording's";
        if (!options.incomplete || header_.vectorized) {
            throw InputError(header_.dataFile.string() + ": " + problem +
                             (header_.vectorized ? "" : "; --incomplete imports what is whole"));
        }
        notes_.push_back("the data file is cut short; its last " + std::to_string(rest) + " bytes are left out");
    }
    if (samples_ == 0) {
        throw InputError(header_.dataFile.string() + ": holds no samples");
    }
    for (const BrainVisionChannel& channel : header_.channels) {
        channels_.push_back({channel.name, channel.unit, header_.rate, samples_});
    }
}

std::vector<fs::path> BrainVisionRecording::files() const {
    return {path(), header_.dataFile, header_.markerFile};
}

std::vector<ForeignEvent> BrainVisionRecording::events() {
    if (header_.markerFile.empty()) {
        return {};
    }
    const std::vector<BrainVisionMarker> markers = read_brainvision_markers(present(header_.markerFile, path()));
    std::map<std::string, std::set<std::string>> kinds; // of each description
    for (const BrainVisionMarker& marker : markers) {
        kinds[marker.description].insert(marker.kind);
    }
    std::vector<ForeignEvent> events;
    for (const BrainVisionMarker& marker : markers) {
        if (marker.kind == "New Segment" && marker.position <= 1) {
            continue; // a recording always starts with one
        }
        std::string type = marker.description.empty() ? marker.kind : marker.description;
        if (!marker.description.empty() && kinds[marker.description].size() > 1) {
            type = marker.kind + " " + marker.description;
        }
        events.push_back({(static_cast<double>(marker.position) - 1.0) / header_.rate, type});
    }
    return events;
}

double BrainVisionRecording::number_at(const char* bytes) const {
    std::uint32_t bits = 0;
    const std::uint64_t size = number_bytes();
    for (std::uint64_t i = 0; i < size; ++i) {
        const std::uint64_t shift = 8 * (header_.bigEndian ? size - 1 - i : i);
        bits |= static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[i])) << shift;
    }
    switch (header_.number) {
    case BrainVisionNumber::int16:
        return static_cast<std::int16_t>(bits);
    case BrainVisionNumber::uint16:
        return bits;
    case BrainVisionNumber::int32:
        return static_cast<std::int32_t>(bits);
    case BrainVisionNumber::float32:
        break;
    }
    float value = 0.0f;
    std::memcpy(&value, &bits, sizeof value);
    return static_cast<double>(value);
}

void BrainVisionRecording::read(const std::vector<std::size_t>& which, std::uint64_t first, std::uint32_t count,
                                double* dest) {
    const std::uint64_t size = number_bytes();
    if (header_.vectorized) {
        block_.resize(count * size);
        for (std::size_t k = 0; k < which.size(); ++k) {
            data_.read((which[k] * samples_ + first) * size, block_.size(), block_.data());
            for (std::uint64_t i = 0; i < count; ++i) {
                dest[k * count + i] = number_at(&block_[i * size]) * header_.channels[which[k]].resolution;
            }
        }
        return;
    }
    const std::uint64_t frameBytes = header_.channels.size() * size;
    const std::uint64_t framesAtOnce = std::max<std::uint64_t>(1, blockBytes / frameBytes);
    for (std::uint64_t done = 0; done < count; done += framesAtOnce) {
        const std::uint64_t frames = std::min(framesAtOnce, count - done);
        block_.resize(frames * frameBytes);
        data_.read((first + done) * frameBytes, block_.size(), block_.data());
        for (std::size_t k = 0; k < which.size(); ++k) {
            const double resolution = header_.channels[which[k]].resolution;
            const char* column = block_.data() + which[k] * size;
            for (std::uint64_t i = 0; i < frames; ++i) {
                dest[k * count + done + i] = number_at(column + i * frameBytes) * resolution;
            }
        }
    }
}

} // namespace workbench::exchange
