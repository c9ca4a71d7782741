// spectrum RECORDING.ctc [options]: the amplitude spectrum of one channel, and a t-test between two of its windows.
//
// An example of the library from outside: reading a recording (0-based), filtering and decimating (0-based), transforms
// and statistics (1-based: vectors here have one element more, and element 0 is not used).

#include <cerrno>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <oridan/fileio/ctc.h>
#include <oridan/fileio/ctc_channel.h>
#include <oridan/stats/filters.h>
#include <oridan/stats/fourier.h>
#include <oridan/stats/hypothesis.h>
#include <oridan/stats/moments.h>
#include <oridan/stats/pvalues.h>

namespace {

const char* const usage = R"(usage: spectrum RECORDING.ctc [options]

Prints the amplitude spectrum of one channel and a t-test between the means of two windows of it.

  --channel N        channel, counted from 1                          (default 1)
  --smooth W         moving average over W samples                    (default 1: none)
  --decimate D       then the mean of every D samples                 (default 1: all samples)
  --points N         samples per spectrum, a power of two from 4      (default 1024)
  --windows A B C D  seconds A to B against seconds C to D            (default: first half, second half)
  --help             this text

example: spectrum recording.ctc --channel 3 --smooth 2 --decimate 4 --points 512
)";

struct Window {
    double from; // seconds
    double to;
};

struct Options {
    std::string file;
    int channel = 1;
    int smooth = 1;
    int decimate = 1;
    int points = 1024;
    bool windowsGiven = false;
    Window first{0, 0};
    Window second{0, 0};
};

[[noreturn]] void refuse(const std::string& reason) {
    throw std::runtime_error(reason);
}

double number(const std::string& option, const char* text) {
    char* end = nullptr;
    const double value = text != nullptr ? std::strtod(text, &end) : 0.0;
    if (text == nullptr || end == text || *end != '\0' || !std::isfinite(value)) {
        refuse(option + " needs a number" + (text != nullptr ? ", not \"" + std::string(text) + "\"" : ""));
    }
    return value;
}

int whole_number(const std::string& option, const char* text, int smallest) {
    const double value = number(option, text);
    if (value != std::floor(value) || value < smallest || value > INT_MAX) {
        refuse(option + " needs a whole number from " + std::to_string(smallest));
    }
    return static_cast<int>(value);
}

Options read_options(int argc, char** argv) {
    Options options;
    int next = 1;
    const auto argument = [&]() { return next < argc ? argv[next++] : nullptr; };
    while (next < argc) {
        const std::string name = argv[next++];
        if (name == "--channel") {
            options.channel = whole_number(name, argument(), 1);
        } else if (name == "--smooth") {
            options.smooth = whole_number(name, argument(), 1);
        } else if (name == "--decimate") {
            options.decimate = whole_number(name, argument(), 1);
        } else if (name == "--points") {
            options.points = whole_number(name, argument(), 4);
            if ((options.points & (options.points - 1)) != 0) {
                refuse("--points must be a power of two: 256, 512, 1024, ...");
            }
        } else if (name == "--windows") {
            options.windowsGiven = true;
            for (double* edge : {&options.first.from, &options.first.to, &options.second.from, &options.second.to}) {
                *edge = number(name, argument());
            }
        } else if (!name.empty() && name[0] == '-') {
            refuse("there is no option " + name);
        } else if (options.file.empty()) {
            options.file = name;
        } else {
            refuse("one recording at a time: " + options.file + " or " + name);
        }
    }
    if (options.file.empty()) {
        refuse("which recording?");
    }
    return options;
}

/// The chosen channel of a recording, whole, and what the output says of it.
struct Channel {
    std::vector<float> samples; // [0..n-1]
    double rate;                // Hz
    unsigned int channels;      // in the recording
};

Channel read_channel(const std::string& file, int channel) {
    if (!std::ifstream(file)) {
        refuse(file + ": " + std::strerror(errno));
    }
    CTCStruct ctc;
    if (ReadEntireCTC(&ctc, file.c_str(), 0) == 0) {
        refuse(file + ": not a recording that can be read");
    }
    Channel result;
    result.rate = static_cast<double>(ctc.SamplingFrequency);
    result.channels = ctc.NrOfChannels;
    const unsigned int samples = ctc.NrOfSamples;
    const bool continuous = ctc.SampleOrdering <= 2;
    const bool present = static_cast<unsigned int>(channel) <= ctc.NrOfChannels;
    unsigned int read = 0;
    if (continuous && present && samples > 0 && samples <= INT_MAX) {
        result.samples.resize(samples);
        read = GetChannelSamples(result.samples.data(), &ctc, static_cast<unsigned int>(channel - 1), 0, samples);
    }
    FreeCTCMemory(&ctc);
    if (!continuous) {
        refuse(file + " is cut into epochs; a continuous recording is needed");
    }
    if (!present) {
        refuse(file + " has " + std::to_string(result.channels) + " channels, none with number " +
               std::to_string(channel));
    }
    if (read == 0 || !(result.rate > 0)) {
        refuse(file + " holds no samples");
    }
    return result;
}

/// The channel smoothed and decimated, as a 1-based vector [1..n]; element 0 is not used.
std::vector<float> filtered(const std::vector<float>& samples, int smooth, int decimate) {
    const int n = static_cast<int>(samples.size());
    std::vector<double> wide(samples.begin(), samples.end());
    lpfilt(wide.data(), n, smooth);
    std::vector<float> narrow(wide.begin(), wide.end());
    std::vector<float> result(samples.size() / static_cast<std::size_t>(decimate) + 2);
    filter_n_decimate(narrow.data(), result.data() + 1, n, decimate);
    result.resize(1 + (samples.size() + static_cast<std::size_t>(decimate) - 1) / static_cast<std::size_t>(decimate));
    return result;
}

/// Amplitude of each frequency, [0..points/2]: root of the mean power over consecutive pieces of x[first..n].
std::vector<double> spectrum(const std::vector<float>& x, std::size_t first, int points) {
    const std::size_t size = static_cast<std::size_t>(points);
    const std::size_t pieces = (x.size() - first) / size;
    std::vector<double> power(size / 2 + 1);
    std::vector<float> piece(size + 1);
    for (std::size_t p = 0; p < pieces; ++p) {
        for (std::size_t i = 1; i <= size; ++i) {
            piece[i] = x[first + p * size + i - 1];
        }
        realft(piece.data(), size, 1);
        // Two real values in front: frequency 0 and the highest one. Then pairs, real and imaginary part.
        const auto amplitude_squared = [&](double re, double im, double sides) {
            return (re * re + im * im) * sides * sides / (static_cast<double>(size) * static_cast<double>(size));
        };
        power[0] += amplitude_squared(static_cast<double>(piece[1]), 0, 1);
        power[size / 2] += amplitude_squared(static_cast<double>(piece[2]), 0, 1);
        for (std::size_t k = 1; k < size / 2; ++k) {
            power[k] +=
                amplitude_squared(static_cast<double>(piece[2 * k + 1]), static_cast<double>(piece[2 * k + 2]), 2);
        }
    }
    for (double& value : power) {
        value = std::sqrt(value / static_cast<double>(pieces));
    }
    return power;
}

/// The samples of a window, as a 1-based vector.
std::vector<float> cut(const std::vector<float>& x, const Window& window, double rate) {
    const double duration = static_cast<double>(x.size() - 1) / rate;
    if (!(window.from >= 0 && window.from < window.to && window.to <= duration)) {
        char text[160];
        std::snprintf(text, sizeof text, "a window from %g to %g s does not lie within the recording (0 to %g s)",
                      window.from, window.to, duration);
        refuse(text);
    }
    const auto from = static_cast<std::ptrdiff_t>(std::llround(window.from * rate));
    const auto to = static_cast<std::ptrdiff_t>(std::llround(window.to * rate));
    std::vector<float> result(1);
    result.insert(result.end(), x.begin() + 1 + from, x.begin() + 1 + to);
    if (result.size() < 3) {
        refuse("a window of the t-test needs at least two samples");
    }
    return result;
}

void run(const Options& options) {
    const Channel channel = read_channel(options.file, options.channel);
    const std::vector<float> x = filtered(channel.samples, options.smooth, options.decimate);
    const std::size_t n = x.size() - 1;
    const double rate = channel.rate / options.decimate;
    const double duration = static_cast<double>(n) / rate;

    // The moving average starts low while it fills: outputs that it touches are no part of the spectrum.
    const std::size_t filling =
        static_cast<std::size_t>((options.smooth + 2LL * (options.decimate - 1)) / options.decimate);
    if (1 + filling + static_cast<std::size_t>(options.points) > x.size()) {
        refuse("too short for a spectrum of " + std::to_string(options.points) + " points; choose fewer with --points");
    }
    const std::vector<double> amplitudes = spectrum(x, 1 + filling, options.points);

    const Window early = options.windowsGiven ? options.first : Window{0, duration / 2};
    const Window late = options.windowsGiven ? options.second : Window{duration / 2, duration};
    std::vector<float> sample1 = cut(x, early, rate);
    std::vector<float> sample2 = cut(x, late, rate);
    const unsigned long n1 = sample1.size() - 1;
    const unsigned long n2 = sample2.size() - 1;
    float mean1 = 0, mean2 = 0, variance = 0, t = 0, notComputed = 0;
    avevar(sample1.data(), n1, &mean1, &variance);
    avevar(sample2.data(), n2, &mean2, &variance);
    ttest(sample1.data(), n1, sample2.data(), n2, &t, &notComputed);
    const unsigned long df = n1 + n2 - 2;

    std::printf("%s: channel %d of %u, %g s at %g Hz\n", options.file.c_str(), options.channel, channel.channels,
                static_cast<double>(channel.samples.size()) / channel.rate, channel.rate);
    std::printf("smoothed over %d, decimated by %d: %zu samples at %g Hz\n\n", options.smooth, options.decimate, n,
                rate);
    std::printf("%12s %14s\n", "Hz", "amplitude");
    std::size_t peak = 1;
    for (std::size_t k = 0; k < amplitudes.size(); ++k) {
        std::printf("%12.4f %14.6g\n", static_cast<double>(k) * rate / options.points, amplitudes[k]);
        if (k > 0 && amplitudes[k] > amplitudes[peak]) {
            peak = k;
        }
    }
    std::printf("\npeak: %.4f Hz, amplitude %.6g\n", static_cast<double>(peak) * rate / options.points,
                amplitudes[peak]);
    std::printf("t-test, %g to %g s against %g to %g s: means %.5g and %.5g, t = %.5g, df = %lu, p = %.5g\n",
                early.from, early.to, late.from, late.to, static_cast<double>(mean1), static_cast<double>(mean2),
                static_cast<double>(t), df, static_cast<double>(t_to_p(t, df)));
}

} // namespace

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0) {
            std::fputs(usage, stdout);
            return 0;
        }
    }
    try {
        run(read_options(argc, argv));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "spectrum: %s\n(spectrum --help shows the options)\n", error.what());
        return 2;
    }
    return 0;
}
