#include "workbench/exchange/edf_reader.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "workbench/exchange/decimal_number.h"
#include "workbench/exchange/edf_annotations.h"
#include "workbench/exchange/text_encoding.h"
#include "workbench/input_error.h"

namespace workbench::exchange {

namespace {

constexpr std::uint64_t blockBytes = 1 << 22;
// The text by which the standard lets a recording end; the data record is filled up after it.
const char* const endText = "Recording ends";

} // namespace

EdfRecording::EdfRecording(const std::filesystem::path& path, const OpenOptions& options)
    : ForeignRecording(path), file_(path), header_(read_edf_header(file_, path)) {
    count_records(options);
    lastSeconds_ = header_.recordSeconds;
    pieces_ = {{0, 0.0}};
    if (header_.plus) {
        read_annotations();
        use_pieces(options);
        use_texts();
    }
    list_channels();
}

std::string EdfRecording::format() const {
    return std::string(header_.bdf ? "BDF" : "EDF") + (header_.plus ? "+" : "");
}

void EdfRecording::count_records(const OpenOptions& options) {
    const std::uint64_t present = (file_.size() - header_.headerBytes) / header_.recordBytes;
    const std::uint64_t stated = header_.records < 0 ? present : static_cast<std::uint64_t>(header_.records);
    if (stated > present && !options.incomplete) {
        throw InputError(path().string() + ": is cut short: it holds " + std::to_string(present) + " of the " +
                         std::to_string(stated) + " data records that it announces; --incomplete imports those");
    }
    records_ = std::min(stated, present);
    if (records_ == 0) {
        throw InputError(path().string() + ": holds no data records");
    }
    if (records_ < stated) {
        notes_.push_back("the file is cut short: " + std::to_string(records_) + " of " + std::to_string(stated) +
                         " data records are there");
    } else if (header_.records >= 0 && present > stated) {
        notes_.push_back("the file holds " + std::to_string(present - stated) +
                         " data records more than it announces; they are left out");
    }
}

void EdfRecording::read_annotations() {
    pieces_.clear();
    double expected = 0.0;
    const double tolerance = 0.01 * header_.recordSeconds;
    for (std::uint64_t record = 0; record < records_; ++record) {
        bool first = true;
        for (const EdfSignal& signal : header_.signals) {
            if (!signal.annotations) {
                continue;
            }
            std::string bytes(signal.samplesPerRecord * header_.sample_bytes(), '\0');
            file_.read(header_.headerBytes + record * header_.recordBytes + signal.byteInRecord, bytes.size(),
                       bytes.data());
            const std::vector<EdfAnnotation> annotations = edf_annotations(bytes);
            if (first) {
                const double start = record_start(annotations).value_or(expected);
                if (record == 0 || (header_.discontinuous && std::abs(start - expected) > tolerance)) {
                    pieces_.push_back({record, start});
                }
                // Times of a continuous file are not summed up from its records, whose starts may be rounded.
                expected = header_.discontinuous ? start + header_.recordSeconds : 0.0;
                first = false;
            }
            for (const EdfAnnotation& annotation : annotations) {
                for (const std::string& text : annotation.texts) {
                    if (!text.empty()) {
                        texts_.push_back({annotation.onset, text});
                    }
                }
            }
        }
    }
    if (pieces_.empty()) {
        pieces_.push_back({0, 0.0});
    }
}

void EdfRecording::use_pieces(const OpenOptions& options) {
    if (pieces_.size() == 1) {
        return;
    }
    const std::string gaps = pieces_.size() == 2 ? "a gap" : std::to_string(pieces_.size() - 1) + " gaps";
    if (!options.joinGaps) {
        throw InputError(path().string() + ": was recorded with " + gaps +
                         " in time; --join-gaps puts the pieces together and marks the joints");
    }
    notes_.push_back("recorded with " + gaps + " in time; the joints are in the condition \"gap\"");
    for (std::size_t i = 1; i < pieces_.size(); ++i) {
        events_.push_back({static_cast<double>(pieces_[i].firstRecord) * header_.recordSeconds, "gap"});
    }
}

// Seconds after the first sample once the pieces are joined; not a number within a gap.
double EdfRecording::joined_seconds(double onset) const {
    std::size_t i = 0;
    while (i + 1 < pieces_.size() && pieces_[i + 1].start <= onset) {
        ++i;
    }
    const double before = static_cast<double>(pieces_[i].firstRecord) * header_.recordSeconds;
    const double seconds = before + (onset - pieces_[i].start);
    const bool last = i + 1 == pieces_.size();
    const double end = last ? 0.0 : static_cast<double>(pieces_[i + 1].firstRecord) * header_.recordSeconds;
    return last || seconds < end ? seconds : std::numeric_limits<double>::quiet_NaN();
}

void EdfRecording::use_texts() {
    const double lastStart = static_cast<double>(records_ - 1) * header_.recordSeconds;
    for (const TimedText& timed : texts_) {
        const double seconds = joined_seconds(timed.onset);
        const double ofLast = seconds - lastStart;
        if (timed.text == endText && ofLast > 0.0 && ofLast < header_.recordSeconds) {
            lastSeconds_ = ofLast;
        } else {
            events_.push_back({seconds, timed.text});
        }
    }
    texts_.clear();
}

void EdfRecording::list_channels() {
    for (std::size_t i = 0; i < header_.signals.size(); ++i) {
        const EdfSignal& signal = header_.signals[i];
        if (signal.annotations) {
            continue;
        }
        ForeignChannel channel;
        channel.name = signal.label;
        channel.unit = signal.unit;
        const auto perRecord = static_cast<double>(signal.samplesPerRecord);
        if (header_.recordSeconds > 0.0) {
            channel.rate = perRecord / header_.recordSeconds;
            const double ofLast = std::round(lastSeconds_ * channel.rate);
            channel.samples = (records_ - 1) * signal.samplesPerRecord + static_cast<std::uint64_t>(ofLast);
        }
        channel.unusable = channel.samples == 0 ? "has no samples" : !signal.calibrated ? "has no physical range" : "";
        channels_.push_back(channel);
        signalOf_.push_back(i);
    }
    if (channels_.empty()) {
        throw InputError(path().string() + ": holds annotations only, no signal");
    }
    if (header_.recordSeconds == 0.0) {
        throw InputError(path().string() + ": states data records of 0 seconds, so that it has no sampling rate");
    }
}

std::optional<std::size_t> EdfRecording::code_channel() const {
    for (std::size_t i = 0; header_.bdf && i < channels_.size(); ++i) {
        if (lower_case(channels_[i].name) == "status" && channels_[i].unusable.empty()) {
            return i;
        }
    }
    return std::nullopt;
}

void EdfRecording::decode(const EdfSignal& signal, const char* bytes, std::uint64_t samples, double* dest) const {
    const double gain = (signal.physicalMax - signal.physicalMin) / (signal.digitalMax - signal.digitalMin);
    const auto byte = [&](std::uint64_t at) {
        return static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[at]));
    };
    for (std::uint64_t i = 0; i < samples; ++i) {
        std::int32_t digital = 0;
        if (header_.bdf) {
            const std::uint32_t bits = byte(3 * i) << 8 | byte(3 * i + 1) << 16 | byte(3 * i + 2) << 24;
            digital = static_cast<std::int32_t>(bits) >> 8;
        } else {
            digital = static_cast<std::int16_t>(byte(2 * i) | byte(2 * i + 1) << 8);
        }
        dest[i] = (static_cast<double>(digital) - signal.digitalMin) * gain + signal.physicalMin;
    }
}

void EdfRecording::read(const std::vector<std::size_t>& which, std::uint64_t first, std::uint32_t count, double* dest) {
    if (count == 0) {
        return; // of a channel that has no samples, perhaps
    }
    if (header_.recordBytes <= blockBytes) {
        read_records(which, first, count, dest);
    } else {
        read_slices(which, first, count, dest);
    }
}

// Whole data records, many at a time.
void EdfRecording::read_records(const std::vector<std::size_t>& which, std::uint64_t first, std::uint32_t count,
                                double* dest) {
    const std::uint64_t perRecord = header_.signals[signalOf_[which[0]]].samplesPerRecord;
    const std::uint64_t recordsAtOnce = std::max<std::uint64_t>(1, blockBytes / header_.recordBytes);
    const std::uint64_t end = first + count;
    const std::uint64_t endRecord = (end + perRecord - 1) / perRecord;
    for (std::uint64_t record = first / perRecord; record < endRecord; record += recordsAtOnce) {
        const std::uint64_t group = std::min(recordsAtOnce, endRecord - record);
        block_.resize(group * header_.recordBytes);
        file_.read(header_.headerBytes + record * header_.recordBytes, block_.size(), block_.data());
        for (std::size_t k = 0; k < which.size(); ++k) {
            const EdfSignal& signal = header_.signals[signalOf_[which[k]]];
            for (std::uint64_t r = 0; r < group; ++r) {
                const std::uint64_t recordFirst = (record + r) * perRecord;
                const std::uint64_t from = std::max(first, recordFirst);
                const std::uint64_t to = std::min(end, recordFirst + perRecord);
                const char* bytes = block_.data() + r * header_.recordBytes + signal.byteInRecord;
                decode(signal, bytes + (from - recordFirst) * header_.sample_bytes(), to - from,
                       dest + k * count + (from - first));
            }
        }
    }
}

// Of large data records only the samples asked for.
void EdfRecording::read_slices(const std::vector<std::size_t>& which, std::uint64_t first, std::uint32_t count,
                               double* dest) {
    for (std::size_t k = 0; k < which.size(); ++k) {
        const EdfSignal& signal = header_.signals[signalOf_[which[k]]];
        const std::uint64_t perRecord = signal.samplesPerRecord;
        for (std::uint64_t at = first; at < first + count;) {
            const std::uint64_t record = at / perRecord;
            const std::uint64_t inRecord = at % perRecord;
            const std::uint64_t samples = std::min(perRecord - inRecord, first + count - at);
            block_.resize(samples * header_.sample_bytes());
            file_.read(header_.headerBytes + record * header_.recordBytes + signal.byteInRecord +
                           inRecord * header_.sample_bytes(),
                       block_.size(), block_.data());
            decode(signal, block_.data(), samples, dest + k * count + (at - first));
            at += samples;
        }
    }
}

} // namespace workbench::exchange
