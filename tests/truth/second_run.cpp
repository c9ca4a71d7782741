#include "tests/truth/second_run.h"

#include <cmath>
#include <cstdio>

#include "tests/truth/second_algebra.h"

namespace truth {

namespace {

/// Whatever NaN a fit ends in, this one is written: what the processor makes of an invalid operation.
const float writtenNaN = float_of(0xFFC00000U);

/// The window around every trigger, in samples.
struct Window {
    std::int64_t pre;
    std::int64_t post;
    std::int64_t length;
};

int in_samples(int milliseconds, float frequency) {
    const float product = static_cast<float>(milliseconds) * frequency;
    return truncated(product / 1000.0f);
}

/// The condition's name is the format text of the trial file's name, and there is nothing to be formatted.
std::string formatted_name(const std::string& name) {
    std::string text;
    for (std::size_t i = 0; i < name.size(); ++i) {
        if (name[i] == '%' && i + 1 < name.size()) {
            ++i;
            text += name[i] == '%' ? "%" : name[i] == 'd' ? "0" : "";
        } else {
            text += name[i];
        }
    }
    return text;
}

std::string trial_line(std::int32_t value, const Answers& answers, float frequency, const std::string& name) {
    if (answers.timeResolution != 1) {
        return std::to_string(value) + " " + name + "\n";
    }
    const double before = static_cast<double>(static_cast<std::int64_t>(value) - 1);
    const float time = static_cast<float>(before * 1e6 / static_cast<double>(frequency));
    char text[64];
    std::snprintf(text, sizeof text, "%g", static_cast<double>(time));
    return text + (" " + name) + "\n";
}

std::int32_t trigger_position(std::int32_t value, const Answers& answers, float frequency) {
    if (answers.timeResolution == 1) {
        return value;
    }
    const float product = static_cast<float>(value) * frequency;
    return truncated(static_cast<double>(product) / 1e6);
}

/// What lives longer than one segment of one channel.
struct Run {
    Recording recording;
    Window window{};
    std::vector<std::int32_t> triggers;
    int perSegment = 0;
    int components = 0;
    std::vector<Sample> x; ///< keeps what its last use left
    Counts counts;
};

bool is_valid(const Run& run, std::int64_t trigger) {
    return trigger - run.window.pre >= 0 &&
           trigger + run.window.post <= static_cast<std::int64_t>(run.recording.samples);
}

std::uint32_t first_sample(const Run& run, std::int64_t trigger) {
    return static_cast<std::uint32_t>(trigger - run.window.pre);
}

struct Epochs {
    Table rows;
    std::vector<float> means;
    bool open = false; ///< one of the samples is
};

Epochs gather(Run& run, std::uint32_t channel, std::int64_t segmentStart) {
    const int length = static_cast<int>(run.window.length);
    Epochs epochs{make_table(run.perSegment, length), std::vector<float>(run.perSegment, 0.0f)};
    bool finite = true;
    for (int k = 0; k < run.perSegment; ++k) {
        std::int64_t which = segmentStart + k;
        if (which >= static_cast<std::int64_t>(run.triggers.size())) {
            which -= run.perSegment;
            ++run.counts.borrowed;
        }
        const std::int64_t trigger = run.triggers[which];
        if (!is_valid(run, trigger)) {
            ++run.counts.outside;
            continue;
        }
        if (!get_samples(run.x, run.recording, channel, first_sample(run, trigger), length)) {
            ++run.counts.endingAtTheEnd;
        }
        for (int j = 0; j < length; ++j) {
            epochs.rows[k][j] = run.x[j].value;
            epochs.open = epochs.open || run.x[j].open;
            finite = finite && std::isfinite(run.x[j].value);
        }
    }
    ++run.counts.segments;
    run.counts.open += epochs.open ? 1 : 0;
    run.counts.nonFinite += finite ? 0 : 1;
    return epochs;
}

void remove_means(Epochs& epochs) {
    for (std::size_t k = 0; k < epochs.rows.size(); ++k) {
        float mean = 0.0f;
        for (const float value : epochs.rows[k]) {
            mean = mean + value;
        }
        mean = mean / static_cast<float>(epochs.rows[k].size());
        for (float& value : epochs.rows[k]) {
            value = value - mean;
        }
        epochs.means[k] = mean;
    }
}

/// Between epochs, over time, counted from 1.
Table covariance(const Table& rows) {
    const int n = static_cast<int>(rows.size());
    Table k = make_table(n + 1, n + 1);
    for (int a = 0; a < n; ++a) {
        for (int b = 0; b < n; ++b) {
            double sum = 0.0;
            for (std::size_t j = 0; j < rows[a].size(); ++j) {
                const double term = static_cast<double>(rows[a][j]) * static_cast<double>(rows[b][j]);
                sum = sum + term;
            }
            k[b + 1][a + 1] = static_cast<float>(sum / static_cast<double>(rows[a].size()));
        }
    }
    return k;
}

/// The first components of the epochs, one per row.
Table basis_of(const Table& rows, int components) {
    const int n = static_cast<int>(rows.size());
    Table k = covariance(rows);
    std::vector<float> values;
    Table vectors;
    eigen_sorted(k, n, values, vectors);
    Table weights = make_table(n, n);
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) {
            weights[i][j] = vectors[j + 1][i + 1];
        }
    }
    return product(weights, rows, components, n, static_cast<int>(rows[0].size()));
}

/// The inverse of the basis's products with itself.
Table inverse_of_products(const Table& basis, int components, int length) {
    Table turned = make_table(length, components);
    for (int j = 0; j < length; ++j) {
        for (int p = 0; p < components; ++p) {
            turned[j][p] = basis[p][j];
        }
    }
    return pseudo_inverse(product(basis, turned, components, length, components), components);
}

std::vector<float> times(const Table& a, const std::vector<float>& x) {
    std::vector<float> y;
    for (const std::vector<float>& row : a) {
        float sum = 0.0f;
        for (std::size_t k = 0; k < row.size(); ++k) {
            const float term = row[k] * x[k];
            sum = sum + term;
        }
        y.push_back(sum);
    }
    return y;
}

void clean_segment(Run& run, std::uint32_t channel, std::int64_t segmentStart) {
    const int length = static_cast<int>(run.window.length);
    Epochs epochs = gather(run, channel, segmentStart);
    remove_means(epochs);
    const Table basis = basis_of(epochs.rows, run.components);
    const Table inverse = inverse_of_products(basis, run.components, length);
    for (int k = 0; k < run.perSegment; ++k) {
        if (segmentStart + k >= static_cast<std::int64_t>(run.triggers.size())) {
            break;
        }
        const std::int64_t trigger = run.triggers[segmentStart + k];
        if (!is_valid(run, trigger)) {
            continue;
        }
        const std::vector<float> weights = times(inverse, times(basis, epochs.rows[k]));
        for (int j = 0; j < length; ++j) {
            float value = epochs.rows[k][j];
            for (int p = 0; p < run.components; ++p) {
                const float part = weights[p] * basis[p][j];
                value = value - part;
            }
            value = value + epochs.means[k];
            run.x[j] = {std::isnan(value) ? writtenNaN : value, epochs.open};
        }
        if (set_samples(run.x, run.recording, channel, first_sample(run, trigger), length)) {
            ++run.counts.written;
        }
    }
}

void clean(Run& run) {
    const std::int64_t count = static_cast<std::int64_t>(run.triggers.size());
    for (std::uint32_t channel = 0; channel < run.recording.channels; ++channel) {
        for (std::int64_t start = 0; start < count; start += run.perSegment) {
            clean_segment(run, channel, start);
        }
    }
}

} // namespace

Outcome run(const Bytes& input, const Answers& answers) {
    Outcome outcome;
    outcome.output = input;
    Run state;
    state.recording.bytes = input;
    if (!open_recording(state.recording)) {
        return outcome;
    }
    outcome.output = state.recording.bytes;
    if (answers.selected < 1 || answers.selected > static_cast<int>(answers.conditions.size())) {
        return outcome;
    }
    const float frequency = state.recording.frequency;
    state.window.pre = in_samples(answers.pre, frequency);
    state.window.post = in_samples(answers.post, frequency);
    state.window.length = state.window.pre + state.window.post + 1;
    if (state.window.length < 1 || state.window.length > INT32_MAX) {
        return outcome;
    }
    const Condition& condition = answers.conditions[answers.selected - 1];
    outcome.trialFileWritten = true;
    outcome.trialFile = "_" + formatted_name(condition.name) + ".trl";
    for (const std::int32_t value : condition.intervals) {
        state.triggers.push_back(trigger_position(value, answers, frequency));
        outcome.trialText += trial_line(value, answers, frequency, condition.name);
    }
    state.perSegment = answers.perSegment;
    state.components = answers.components;
    const int count = static_cast<int>(state.triggers.size());
    if (count < state.perSegment || state.perSegment < 1 || state.components > state.perSegment) {
        return outcome;
    }
    state.x.assign(state.window.length, Sample{});
    clean(state);
    outcome.output = state.recording.bytes;
    outcome.open = state.recording.open;
    outcome.completed = true;
    outcome.counts = state.counts;
    return outcome;
}

} // namespace truth
