#include "tools/ctc_dump.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <unistd.h>

#include "fileio/ctc_header.h"
#include "tools/data_section.h"
#include "tools/output_recording.h"
#include "tools/recording_text.h"
#include "tools/selection.h"
#include "workbench/input_error.h"
#include "workbench/interrupt.h"
#include "workbench/pending_file.h"
#include "workbench/recording.h"
#include "workbench/run_error.h"
#include "workbench/stored_element.h"

namespace tools {

namespace {

using workbench::RunError;

struct DumpOptions {
    std::string input;
    std::string output;
    SelectionOptions selection;
    bool overwrite = false;
};

constexpr std::size_t textAtOnce = 1 << 16;

// Where the lines go: a file, which appears when it is complete, or standard output.
class Lines {
public:
    /// @param file  empty for standard output
    Lines(const std::string& file, const std::filesystem::path& input, bool overwrite) {
        if (!file.empty()) {
            require_output_name(file, input, overwrite);
            file_.emplace(file, overwrite);
        }
    }

    // False when nobody reads them any more.
    bool write(const std::string& text) {
        if (file_) {
            file_->stream() << text;
            complete([&] { file_->check(); });
            return true;
        }
        errno = 0;
        if (std::cout << text << std::flush) {
            return true;
        }
        if (errno != EPIPE) {
            throw RunError("standard output could not be written", workbench::exitNotCompleted);
        }
        std::cout.clear(); // a reader such as head has had enough
        return false;
    }

    void commit() {
        if (file_) {
            complete([&] { file_->commit(); });
        }
    }

private:
    template <class Work>
    static void complete(const Work& work) {
        try {
            work();
        } catch (const workbench::InputError& error) {
            throw RunError(error.what(), workbench::exitNotCompleted);
        }
    }

    std::optional<workbench::PendingFile> file_;
};

// Rows of one trial, or of a continuous recording.
struct Rows {
    std::string prefix;         // of every line
    std::uint64_t firstElement; // of sample 0, channel 0
    Strides strides;
    SampleRange samples;
    std::int64_t samplesBeforeZero; // of the time axis
};

class Dump {
public:
    Dump(const DataSection& section, std::vector<std::uint32_t> channels, Lines& lines, Job& job)
        : section_(section), header_(section.recording().header()), channels_(std::move(channels)), lines_(lines),
          job_(job) {}

    void heading(const std::string& firstColumns) {
        text_ = firstColumns + "time_s";
        for (const std::uint32_t channel : channels_) {
            text_ += ",channel_" + std::to_string(channel + 1);
        }
        text_ += '\n';
    }

    // False when nobody reads on.
    bool rows(const Rows& rows) {
        const std::uint64_t length =
            std::min(gather_length(rows.strides, channels_.size()), rows.samples.end - rows.samples.first);
        const std::size_t size = section_.element_size();
        elements_.resize(length * channels_.size() * size);
        for (std::uint64_t first = rows.samples.first; first < rows.samples.end; first += length) {
            const std::uint64_t count = std::min(length, rows.samples.end - first);
            gather(section_, rows.firstElement + first * rows.strides.sample, rows.strides, channels_, count,
                   elements_.data());
            for (std::uint64_t i = 0; i < count; ++i) {
                text_ += rows.prefix + time_text(static_cast<std::int64_t>(first + i) - rows.samplesBeforeZero);
                for (std::size_t place = 0; place < channels_.size(); ++place) {
                    text_ += ',';
                    text_ += value_text(channels_[place], &elements_[(place * count + i) * size]);
                }
                text_ += '\n';
                if (text_.size() > textAtOnce && !flush()) {
                    return false;
                }
            }
            job_.advance(count * channels_.size());
        }
        return true;
    }

    bool flush() {
        const bool wanted = lines_.write(text_);
        text_.clear();
        return wanted;
    }

private:
    std::string time_text(std::int64_t sample) const {
        return number_text(static_cast<double>(sample) / static_cast<double>(header_.SamplingFrequency));
    }

    std::string value_text(std::uint32_t channel, const char* element) const {
        const bool scaled = header_.DataType != 1;
        return number_text(workbench::element_value(header_.DataType, element,
                                                    scaled ? header_.ChannelScales[channel] : 1.0f,
                                                    scaled ? header_.ChannelOffsets[channel] : 0.0f));
    }

    const DataSection& section_;
    const CTCStruct& header_;
    std::vector<std::uint32_t> channels_;
    Lines& lines_;
    Job& job_;
    std::vector<char> elements_;
    std::string text_; // not yet written
};

bool dump_continuous(Dump& dump, const CTCStruct& header, const SampleRange& samples) {
    dump.heading("");
    return dump.rows({"", 0, strides_of(header, 0), samples, 0});
}

bool dump_conditions(Dump& dump, const CTCStruct& header) {
    dump.heading("condition,trial,");
    for (std::uint32_t k = 0; k < header.NrOfConditions; ++k) {
        const std::uint64_t pre = header.PreTriggerSamples[k];
        const std::uint64_t length = pre + header.PostTriggerSamples[k];
        const Strides strides = strides_of(header, k);
        const std::uint64_t trials = std::max(1U, header.NrOfTrials[k]);
        for (std::uint64_t trial = 0; length > 0 && trial < trials; ++trial) {
            const std::string prefix = std::to_string(k + 1) + "," + std::to_string(trial + 1) + ",";
            const std::uint64_t first = header.ConditionStarts[k] + trial * strides.trial;
            if (!dump.rows({prefix, first, strides, {0, length}, static_cast<std::int64_t>(pre)})) {
                return false;
            }
        }
    }
    return true;
}

void dump(const DumpOptions& options) {
    const workbench::RecordingReader recording(options.input);
    const CTCStruct& header = recording.header();
    if (!std::isfinite(header.SamplingFrequency) || header.SamplingFrequency <= 0.0f) {
        throw workbench::InputError(recording.path().string() + ": has a sampling frequency of " +
                                    number_text(header.SamplingFrequency) + " Hz, which gives no time axis");
    }
    const std::vector<std::uint32_t> channels = selected_channels(recording, options.selection.channels);
    const SampleRange samples = selected_samples(recording, options.selection);
    const bool toFile = !options.output.empty() && options.output != "-";
    std::optional<workbench::InterruptHold> interrupt;
    if (toFile) {
        interrupt.emplace(); // the half-written file goes first
    }
    Lines lines(toFile ? options.output : "", recording.path(), options.overwrite);
    const DataSection section(recording);
    say_notes(shortcomings(recording));
    const std::uint64_t all = fileio::total_samples(header) / header.NrOfChannels;
    const std::uint64_t perChannel = recording.continuous() ? samples.end - samples.first : all;
    {
        Job job("writing", perChannel * channels.size(), interrupt ? &*interrupt : nullptr,
                toFile || isatty(STDOUT_FILENO) != 1);
        Dump work(section, channels, lines, job);
        const bool complete =
            recording.continuous() ? dump_continuous(work, header, samples) : dump_conditions(work, header);
        if (!complete || !work.flush()) {
            return;
        }
    }
    require_unchanged(recording);
    lines.commit();
}

} // namespace

void add_dump_command(CLI::App& app) {
    auto options = std::make_shared<DumpOptions>();
    CLI::App* command = app.add_subcommand("dump", "Print a recording's samples as CSV");
    command->add_option("FILE", options->input, "recording (.ctc)")->required();
    command->add_option("-o,--output", options->output, "write to this file (default: standard output)");
    add_selection_options(*command, options->selection);
    command->add_flag("--overwrite", options->overwrite, "replace an existing file");
    command->footer(
        "Example, after workbench simulate -o demo.ctc:\n  ctc dump demo.ctc --from 1 --to 1.1 --channels 1-3\n");
    command->callback([options] { dump(*options); });
}

} // namespace tools
