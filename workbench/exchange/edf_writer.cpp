#include "workbench/exchange/edf_writer.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <string>

#include "workbench/channel_list.h"
#include "workbench/exchange/decimal_number.h"
#include "workbench/exchange/edf_layout.h"
#include "workbench/exchange/edf_range.h"
#include "workbench/exchange/edf_tal.h"
#include "workbench/exchange/progress.h"
#include "workbench/input_error.h"
#include "workbench/input_file.h"
#include "workbench/pending_file.h"

namespace workbench::exchange {

namespace {

constexpr std::size_t labelBytes = 16;
constexpr std::uint64_t mostRecords = 99999999; // what the header has room for
constexpr std::size_t mostSignals = 9999;

class EdfWriter {
public:
    EdfWriter(ExportJob& job, const std::filesystem::path& file, bool bdf)
        : job_(job), channels_(job.channels.size()), bdf_(bdf), sampleBytes_(bdf ? 3 : 2),
          layout_(edf_layout(job.recording.header().SamplingFrequency, job.samples(), channels_ * sampleBytes_)),
          file_(file, job.overwrite) {
        if (channels_ >= mostSignals || layout_.records > mostRecords) {
            throw InputError(file.string() + ": EDF and BDF files hold at most 9998 channels and 99999999 data "
                                             "records; export to BrainVision (.vhdr) instead");
        }
    }

    void write() {
        find_ranges();
        annotations_ = annotation_signal(job_.markers, layout_, sampleBytes_);
        write_header();
        write_records();
        say_layout();
        file_.commit();
    }

private:
    // Calls use(first, count, values) for one block of whole records after another.
    template <class Use>
    void for_each_block(const std::string& title, const Use& use) {
        const std::uint64_t perRecord = layout_.samplesPerRecord;
        const std::uint64_t length = std::max<std::uint64_t>(1, job_.block_length() / perRecord) * perRecord;
        Progress progress(title, job_.samples(), job_.interrupt);
        std::vector<float> values;
        for (std::uint64_t first = 0; first < job_.samples(); first += length) {
            const auto count = static_cast<std::uint32_t>(std::min(length, job_.samples() - first));
            values.resize(channels_ * count);
            job_.recording.read(static_cast<std::int64_t>(first), count, values.data());
            use(first, std::uint64_t{count}, values.data());
            progress.advance(count);
        }
    }

    void find_ranges() {
        std::vector<float> lowest(channels_, std::numeric_limits<float>::infinity());
        std::vector<float> highest(channels_, -std::numeric_limits<float>::infinity());
        std::vector<std::uint64_t> missing(channels_, 0);
        for_each_block("looking for the range", [&](std::uint64_t, std::uint64_t count, const float* values) {
            for (std::size_t channel = 0; channel < channels_; ++channel) {
                for (std::uint64_t i = 0; i < count; ++i) {
                    const float value = usable(values[channel * count + i]);
                    missing[channel] += std::isfinite(values[channel * count + i]) ? 0U : 1U;
                    lowest[channel] = std::min(lowest[channel], value);
                    highest[channel] = std::max(highest[channel], value);
                }
            }
        });
        std::uint64_t all = 0;
        std::vector<std::uint32_t> concerned;
        for (std::size_t channel = 0; channel < channels_; ++channel) {
            ranges_.push_back(range_of(channel, lowest[channel], highest[channel]));
            all += missing[channel];
            if (missing[channel] > 0) {
                concerned.push_back(static_cast<std::uint32_t>(channel));
            }
        }
        if (all > 0) {
            job_.notes.push_back(std::to_string(all) + " values in channels " + channel_list(concerned) +
                                 " are not numbers; the file cannot hold them, they are written as 0 uV");
        }
    }

    EdfRange range_of(std::size_t channel, float lowest, float highest) const {
        try {
            return edf_range(lowest, highest, bdf_);
        } catch (const InputError& error) {
            throw InputError(file_.final_path().string() + ": channel " + std::to_string(channel + 1) + ": " +
                             error.what());
        }
    }

    static float usable(float value) { return std::isfinite(value) ? value : 0.0f; }

    void field(const std::string& text, std::size_t bytes) {
        std::string padded = text.substr(0, bytes);
        padded.resize(bytes, ' ');
        file_.stream() << padded;
    }

    // Labels have 16 printable ASCII characters.
    std::string label_of(const std::string& name) {
        std::string label;
        for (std::size_t at = 0; at < name.size();) {
            const std::size_t length = std::max<std::size_t>(1, utf8_length(name, at));
            label +=
                length == 1 && !is_control(name, at) && static_cast<unsigned char>(name[at]) < 0x7F ? name[at] : '?';
            at += length;
        }
        label = label.substr(0, labelBytes);
        if (label != name) {
            job_.notes.push_back("channel " + printable(name) + " is called \"" + label +
                                 "\" in the file, which holds 16 plain characters");
        }
        return label;
    }

    void write_header() {
        const std::size_t signals = channels_ + 1;
        file_.stream() << (bdf_ ? "\xFF"
                                  "BIOSEMI"
                                : "0       ");
        field("X X X X", 80);
        field("Startdate X X X X", 80);
        field("01.01.85", 8); // the date that stands for none
        field("00.00.00", 8);
        field(std::to_string(256 * (signals + 1)), 8);
        field(bdf_ ? "BDF+C" : "EDF+C", 44);
        field(std::to_string(layout_.records), 8);
        field(seconds_text(layout_.recordMicroseconds), 8);
        field(std::to_string(signals), 4);
        const std::string digitalLow = bdf_ ? "-8388608" : "-32768";
        const std::string digitalHigh = bdf_ ? "8388607" : "32767";
        const auto column = [&](std::size_t bytes, const auto& of, const std::string& ofAnnotations) {
            for (std::size_t channel = 0; channel < channels_; ++channel) {
                field(of(channel), bytes);
            }
            field(ofAnnotations, bytes);
        };
        const auto same = [](const std::string& text) { return [text](std::size_t) { return text; }; };
        column(
            16, [&](std::size_t i) { return label_of(job_.channels[i].name); },
            bdf_ ? "BDF Annotations" : "EDF Annotations");
        column(80, same(""), ""); // transducers
        column(
            8, [&](std::size_t i) { return ranges_[i].unit; }, "");
        column(
            8, [&](std::size_t i) { return ranges_[i].lowest; }, "-1");
        column(
            8, [&](std::size_t i) { return ranges_[i].highest; }, "1");
        column(8, same(digitalLow), digitalLow);
        column(8, same(digitalHigh), digitalHigh);
        column(80, same(""), ""); // filters
        column(8, same(std::to_string(layout_.samplesPerRecord)), std::to_string(annotations_.bytes / sampleBytes_));
        column(32, same(""), "");
    }

    void write_records() {
        const std::uint64_t perRecord = layout_.samplesPerRecord;
        std::string bytes;
        for_each_block("exporting", [&](std::uint64_t first, std::uint64_t count, const float* values) {
            bytes.clear();
            for (std::uint64_t start = 0; start < count; start += perRecord) {
                for (std::size_t channel = 0; channel < channels_; ++channel) {
                    for (std::uint64_t i = start; i < start + perRecord; ++i) {
                        // The last record is filled up with the last value.
                        const float value = usable(values[channel * count + std::min(i, count - 1)]);
                        append(bytes, ranges_[channel].stored(value));
                    }
                }
                std::string list = annotations_.records[(first + start) / perRecord];
                list.resize(annotations_.bytes, '\0');
                bytes += list;
            }
            file_.stream().write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
            file_.check();
        });
    }

    void append(std::string& bytes, std::int32_t stored) const {
        const auto bits = static_cast<std::uint32_t>(stored);
        for (std::uint64_t i = 0; i < sampleBytes_; ++i) {
            bytes += static_cast<char>(static_cast<unsigned char>(bits >> (8 * i) & 0xFF));
        }
    }

    void say_layout() {
        double coarsest = 0.0;
        for (const EdfRange& range : ranges_) {
            coarsest = std::max(coarsest, range.step());
        }
        char step[40];
        std::snprintf(step, sizeof step, "%.3g", coarsest);
        job_.precision = "steps of at most " + std::string(step) + " uV";
        if (layout_.filled > 0) {
            job_.notes.push_back("the last data record is filled up with " + std::to_string(layout_.filled) +
                                 " samples; the annotation \"Recording ends\" tells where it really ends");
        }
        if (!layout_.exactRate) {
            job_.notes.push_back("the file states " + shortest_text(layout_.rate()) +
                                 " Hz, the nearest to the rate of " + "the recording that it can");
        }
    }

    ExportJob& job_;
    std::size_t channels_;
    bool bdf_;
    std::uint64_t sampleBytes_;
    EdfLayout layout_;
    PendingFile file_;
    std::vector<EdfRange> ranges_;
    AnnotationSignal annotations_;
};

} // namespace

void write_edf(ExportJob& job, const std::filesystem::path& file, bool bdf) {
    EdfWriter(job, file, bdf).write();
}

} // namespace workbench::exchange
