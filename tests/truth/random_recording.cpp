#include "tests/truth/random_recording.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <initializer_list>
#include <limits>
#include <utility>
#include <vector>

#include "tests/support/bits.h"
#include "tests/support/ctc_bytes.h"

namespace truth {

namespace {

using support::Random;

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float nan = std::numeric_limits<float>::quiet_NaN();

template <class T>
T one_of(Random& random, std::initializer_list<T> values) {
    return values.begin()[random.below(static_cast<int>(values.size()))];
}

int between(Random& random, int low, int high) {
    return low + random.below(high - low + 1);
}

bool one_in(Random& random, int n) {
    return random.below(n) == 0;
}

struct Sizes {
    int channels;
    int samples;
    int pre;
    int post;
    int triggers;
    int perSegment;
    int components;
    bool orthogonal; ///< equal epochs in no relation to each other, one after another: equal eigenvalues

    int length() const { return pre + post + 1; }
};

Sizes random_sizes(Random& random) {
    Sizes sizes{};
    sizes.channels = between(random, 1, 4);
    sizes.pre = random.below(12);
    sizes.post = random.below(30);
    sizes.triggers = between(random, 1, 20);
    sizes.perSegment = between(random, 1, std::min(sizes.triggers, 12));
    if (one_in(random, 8)) { // so many that every kernel and its remainders have work
        sizes.channels = 1;
        sizes.pre = random.below(60);
        sizes.post = random.below(60);
        sizes.triggers = between(random, 17, 60);
        sizes.perSegment = between(random, 16, sizes.triggers);
    }
    if (one_in(random, 6)) {
        sizes.pre = 0;
        sizes.post = 0;
    }
    sizes.orthogonal = one_in(random, 12);
    if (sizes.orthogonal) {
        sizes.pre = 0;
        sizes.post = 31;
        sizes.triggers = between(random, 4, 20);
        sizes.perSegment = between(random, 2, sizes.triggers);
    }
    const int apart = sizes.orthogonal ? sizes.length() : between(random, 1, sizes.length() + 5);
    sizes.samples = std::max(1, sizes.length() + apart * sizes.triggers + between(random, -20, 20));
    sizes.components = one_in(random, 4) ? sizes.perSegment : between(random, 1, sizes.perSegment);
    if (one_in(random, 4)) {
        sizes.components = std::min(3, sizes.perSegment);
    }
    return sizes;
}

/// Positions in samples, mostly one after another, some where they should not be.
std::vector<std::int64_t> random_triggers(Random& random, const Sizes& sizes) {
    std::vector<std::int64_t> triggers;
    for (int i = 0; sizes.orthogonal && i < sizes.triggers; ++i) {
        triggers.push_back(i * sizes.length());
    }
    if (sizes.orthogonal) {
        return triggers;
    }
    const int apart = std::max(1, (sizes.samples - sizes.length()) / sizes.triggers);
    for (int i = 0; i < sizes.triggers; ++i) {
        triggers.push_back(sizes.pre + i * apart + random.below(3));
    }
    if (one_in(random, 4)) {
        for (std::size_t i = triggers.size() - 1; i > 0; --i) {
            std::swap(triggers[i], triggers[static_cast<std::size_t>(random.below(static_cast<int>(i) + 1))]);
        }
    }
    if (one_in(random, 3)) {
        triggers.back() = sizes.samples - sizes.post; // ends one sample too late to be read
    }
    const int odd = one_in(random, 2) ? random.below(sizes.triggers + 1) : 0;
    for (int i = 0; i < odd; ++i) {
        const std::int64_t last = sizes.samples - sizes.post;
        triggers[static_cast<std::size_t>(random.below(sizes.triggers))] = one_of<std::int64_t>(
            random, {triggers[0], triggers[triggers.size() / 2], sizes.pre, sizes.pre - 1, sizes.pre + 1, last, last,
                     last - 1, last + 1, -1, 0, -1000, sizes.samples, sizes.samples + 1000, random.below(sizes.samples),
                     random.below(sizes.samples), random.below(sizes.samples)});
    }
    return triggers;
}

float random_float(Random& random) {
    return support::float_of(static_cast<std::uint32_t>(random.next()));
}

/// Every epoch another pattern of pluses and minuses, of which each two agree in half of their places.
std::vector<double> orthogonal_signal(const Sizes& sizes) {
    std::vector<double> signal(static_cast<std::size_t>(sizes.samples));
    for (std::size_t i = 0; i < signal.size(); ++i) {
        const std::size_t epoch = i / static_cast<std::size_t>(sizes.length()) + 1;
        const bool odd = std::popcount(epoch & i % static_cast<std::size_t>(sizes.length())) % 2 != 0;
        signal[i] = odd ? -8.0 : 8.0;
    }
    return signal;
}

/// A background with an artifact at every trigger.
std::vector<double> plausible_signal(Random& random, const Sizes& sizes, const std::vector<std::int64_t>& triggers) {
    if (sizes.orthogonal) {
        return orthogonal_signal(sizes);
    }
    std::vector<double> signal(static_cast<std::size_t>(sizes.samples));
    const float mean = random.between(-100.0f, 100.0f);
    for (double& value : signal) {
        value = static_cast<double>(mean + random.between(-1.0f, 1.0f));
    }
    const double amplitude = static_cast<double>(random.between(0.0f, 50.0f));
    const double rate = static_cast<double>(random.between(0.1f, 2.0f));
    for (const std::int64_t trigger : triggers) {
        const double own = amplitude * static_cast<double>(random.between(0.7f, 1.3f));
        for (int j = 0; j < sizes.length(); ++j) {
            const std::int64_t place = trigger - sizes.pre + j;
            if (place >= 0 && place < sizes.samples) {
                signal[static_cast<std::size_t>(place)] += own * std::sin(rate * j) + 0.2 * own * std::cos(3.0 * j);
            }
        }
    }
    return signal;
}

/// Makes one channel's samples strange: flat, too large or small, not numbers.
void spoil(Random& random, std::vector<float>& signal, std::string& description) {
    const int kind = random.below(8);
    const float factor = one_of(random, {1e-44f, 1e-40f, 1e-21f, 1e-20f, 1e-19f, 1e-7f, 1e8f, 1e18f, 1e37f});
    const float special = one_of(random, {nan, -nan, infinity, -infinity, 3.4e38f, -3.4e38f, 1e-45f, -0.0f});
    static const char* const names[] = {"flat",           "zeros",    "scaled",       "scaled", "one strange value",
                                        "strange values", "any bits", "flat at first"};
    description += std::string(", ") + names[kind];
    for (std::size_t i = 0; i < signal.size(); ++i) {
        if (kind == 0 || (kind == 7 && i < signal.size() / 2)) {
            signal[i] = signal[0];
        } else if (kind == 1) {
            signal[i] = 0.0f;
        } else if (kind == 2 || kind == 3) {
            signal[i] *= factor;
        } else if (kind == 5 && one_in(random, 20)) {
            signal[i] = special;
        } else if (kind == 6) {
            signal[i] = random_float(random);
        }
    }
    if (kind == 4) {
        signal[static_cast<std::size_t>(random.below(static_cast<int>(signal.size())))] = special;
    }
}

void append_element(support::Bytes& out, std::uint32_t dataType, float value) {
    if (dataType == 3 || dataType == 4) {
        const float bounded = std::isfinite(value) ? std::fmod(value, 1e9f) : 32767.0f;
        support::append_stored(out, dataType, static_cast<double>(bounded));
    } else {
        out.f32(value); // bit for bit, signalling NaNs too
    }
}

std::string data_section(Random& random, const Sizes& sizes, const support::CtcHeader& header,
                         const std::vector<std::int64_t>& triggers, std::string& description) {
    std::vector<std::vector<float>> channels;
    const bool spoiled = one_in(random, 4);
    for (int c = 0; c < sizes.channels; ++c) {
        std::vector<float> signal;
        for (const double value : plausible_signal(random, sizes, triggers)) {
            signal.push_back(static_cast<float>(value));
        }
        if (spoiled && one_in(random, 2)) {
            spoil(random, signal, description);
        }
        channels.push_back(signal);
    }
    support::Bytes out;
    const std::size_t samples = static_cast<std::size_t>(sizes.samples);
    for (std::size_t i = 0; i < samples * channels.size(); ++i) {
        const bool interleaved = header.sampleOrdering == 2;
        const std::size_t channel = interleaved ? i % channels.size() : i / samples;
        const std::size_t sample = interleaved ? i / channels.size() : i % samples;
        append_element(out, header.dataType, channels[channel][sample]);
    }
    return out.str();
}

/// Bytes of which any four in a row make a number of moderate size: runs read scaled floats from places between them.
std::string moderate_bytes(Random& random, const Sizes& sizes) {
    support::Bytes out;
    for (int i = 0; i < 4 * sizes.samples * sizes.channels; ++i) {
        const int sign = one_in(random, 4) ? 0x80 : 0;
        out.u8(static_cast<unsigned int>(sign + between(random, 0x3D, 0x42)));
    }
    return out.str();
}

support::CtcHeader random_header(Random& random, const Sizes& sizes) {
    support::CtcHeader header;
    // Some begin with the byte of a tab, an end of line or a blank.
    header.fileVersion =
        one_in(random, 40) ? 0 : one_of<std::uint32_t>(random, {1, 1, 1, 2, 7, 0xFFFFFFFFU, 9, 10, 13, 0x20202020U});
    if (one_in(random, 12)) {
        header.compressionType = static_cast<std::uint32_t>(between(random, 1, 3));
        header.compressionParams.assign(static_cast<std::size_t>(random.below(4)), 0xABCD1234U);
    }
    header.dataType = one_of<std::uint32_t>(random, {1, 1, 1, 1, 3, 3, 4, 5, 5});
    header.sampleOrdering = one_of<std::uint32_t>(random, {1, 1, 2});
    if (one_in(random, 25)) {
        header.dataType = one_of<std::uint32_t>(random, {0, 2, 6, 0x80000000U});
    }
    if (one_in(random, 25)) {
        header.sampleOrdering = one_of<std::uint32_t>(random, {0, 3, 4, 5, 6, 7, 0x80000001U});
    }
    header.nrOfChannels = static_cast<std::uint32_t>(sizes.channels);
    header.nrOfSamples = static_cast<std::uint32_t>(sizes.samples);
    for (int c = 0; c < sizes.channels; ++c) {
        const bool strange = one_in(random, 15);
        header.offsets.push_back(strange ? one_of(random, {nan, infinity, 1e38f, 1e-42f})
                                         : random.between(-20.0f, 20.0f));
        const bool strangeScale = one_in(random, 15);
        header.scales.push_back(strangeScale ? one_of(random, {0.0f, -0.0f, nan, infinity, 1e-42f, -1e30f})
                                             : one_of(random, {1.0f, 0.5f, -0.25f, 0.01f, 3.3f}));
    }
    const int conditions = one_in(random, 5) || header.sampleOrdering > 2 ? between(random, 1, 3) : 0;
    for (int k = 0; k < conditions; ++k) {
        header.trials.push_back(static_cast<std::uint32_t>(random.below(3)));
        header.pre.push_back(static_cast<std::uint32_t>(random.below(10)));
        header.post.push_back(static_cast<std::uint32_t>(random.below(10)));
    }
    return header;
}

/// Milliseconds that give the wanted number of samples, as far as whole milliseconds can.
int milliseconds(int samples, float frequency) {
    return static_cast<int>(std::lround(static_cast<double>(samples) * 1000.0 / static_cast<double>(frequency)));
}

std::int32_t interval_value(std::int64_t trigger, const Answers& answers, float frequency) {
    if (answers.timeResolution == 1) {
        return static_cast<std::int32_t>(trigger);
    }
    const double value = static_cast<double>(trigger) * 1e6 / static_cast<double>(frequency);
    return static_cast<std::int32_t>(std::lround(std::clamp(value, -2147483648.0, 2147483647.0)));
}

/// Settings that a dialog would hardly let through.
void spoil_answers(Random& random, Answers& answers, support::CtcHeader& header, std::string& description) {
    const int kind = random.below(9);
    description += ", strange answers " + std::to_string(kind);
    if (kind == 0) {
        answers.components = one_of(random, {0, -1, answers.perSegment + 1});
    } else if (kind == 1) {
        answers.perSegment = one_of(random, {0, -1, static_cast<int>(answers.conditions[1].intervals.size()) + 1});
    } else if (kind == 2) {
        answers.selected = one_of(random, {0, -1, 3});
    } else if (kind == 3) {
        answers.pre = -answers.pre;
    } else if (kind == 4) {
        std::swap(answers.pre, answers.post);
        answers.post = -answers.post;
    } else if (kind == 5) {
        header.samplingFrequency = one_of(random, {0.0f, -500.0f, nan, infinity, 1e-30f, 0.001f});
    } else if (kind == 6) {
        answers.timeResolution = one_of(random, {0, 1, 2, -1});
    } else if (kind == 7) {
        answers.pre = 5000;
        answers.post = one_of(random, {-4990, 0, 20});
        header.samplingFrequency = 100.0f;
    } else {
        answers.conditions[1].intervals.assign(answers.conditions[1].intervals.size(), INT32_MIN);
        answers.conditions[1].intervals.back() = one_of<std::int32_t>(random, {INT32_MAX, INT32_MIN, 0, 5});
    }
}

/// A file with another length than its header tells.
void change_length(Random& random, std::string& file, std::size_t headerLength, RandomRecording& made) {
    if (one_in(random, 8)) {
        const int dataLength = static_cast<int>(file.size() - headerLength);
        file.resize(file.size() - static_cast<std::size_t>(random.below(dataLength + 1)));
        made.cutShort = true;
        made.description += ", cut short";
    } else if (one_in(random, 12)) {
        file.append(static_cast<std::size_t>(between(random, 1, 50)), '\x5A');
        made.description += ", with a tail";
    } else if (one_in(random, 40)) {
        file.resize(static_cast<std::size_t>(random.below(static_cast<int>(headerLength))));
        made.description += ", header cut";
    }
}

} // namespace

RandomRecording random_recording(std::uint64_t number) {
    Random random(number * 0x9E3779B97F4A7C15U + 1);
    const Sizes sizes = random_sizes(random);
    support::CtcHeader header = random_header(random, sizes);
    header.samplingFrequency = one_of(random, {1000.0f, 250.0f, 512.0f, 5000.0f, 416.66666f, 714.2857f});
    if (sizes.orthogonal) {
        header.samplingFrequency = 1000.0f; // whole milliseconds
    }
    const std::vector<std::int64_t> triggers = random_triggers(random, sizes);

    RandomRecording made;
    Answers& answers = made.answers;
    answers.timeResolution = one_in(random, 3) ? 2 : 1;
    answers.selected = 2;
    answers.pre = milliseconds(sizes.pre, header.samplingFrequency);
    answers.post = milliseconds(sizes.post, header.samplingFrequency);
    answers.perSegment = sizes.perSegment;
    answers.components = sizes.components;
    answers.conditions = {{"rest", {1, 2, 3}}, {one_of<std::string>(random, {"slice", "R%d", "50%% on"}), {}}};
    for (const std::int64_t trigger : triggers) {
        answers.conditions[1].intervals.push_back(interval_value(trigger, answers, header.samplingFrequency));
    }
    made.dataType = header.dataType;
    made.ordering = header.sampleOrdering;
    made.channels = header.nrOfChannels;
    made.description = "data type " + std::to_string(header.dataType) + ", ordering " +
                       std::to_string(header.sampleOrdering) + ", " + std::to_string(sizes.channels) + " channels of " +
                       std::to_string(sizes.samples) + " samples, window " + std::to_string(sizes.pre) + "+1+" +
                       std::to_string(sizes.post) + ", " + std::to_string(sizes.triggers) + " triggers, N " +
                       std::to_string(sizes.perSegment) + ", P " + std::to_string(sizes.components);
    const bool moderate = header.dataType == 5 && !one_in(random, 4);
    const std::string data =
        moderate ? moderate_bytes(random, sizes) : data_section(random, sizes, header, triggers, made.description);
    if (one_in(random, 8)) {
        spoil_answers(random, answers, header, made.description);
    }
    std::string file = support::ctc_header_bytes(header);
    const std::size_t headerLength = file.size();
    file += data;
    change_length(random, file, headerLength, made);
    made.bytes.assign(file.begin(), file.end());
    return made;
}

} // namespace truth
