#include "workbench/simulation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <numeric>

#include "tests/workbench/refusal.h"
#include "workbench/window.h"

namespace {

using test::refusal;
using workbench::Artifact;
using workbench::Simulation;
using workbench::SimulationSettings;

struct Data {
    std::vector<std::vector<double>> clean; // [channel][sample]
    std::vector<std::vector<double>> recorded;
    std::vector<std::int32_t> triggers;
    double rate;

    double artifact(std::size_t channel, std::size_t sample) const {
        return recorded[channel][sample] - clean[channel][sample];
    }
    std::vector<double> artifact(std::size_t channel) const {
        std::vector<double> difference;
        for (std::size_t i = 0; i < clean[channel].size(); ++i) {
            difference.push_back(artifact(channel, i));
        }
        return difference;
    }
};

Data simulate(const SimulationSettings& settings, std::uint32_t blockLength = 5000) {
    Simulation simulation(settings);
    Data data;
    data.triggers = simulation.triggers();
    data.rate = static_cast<double>(settings.rate);
    data.clean.resize(settings.channels);
    data.recorded.resize(settings.channels);
    for (std::uint32_t done = 0; done < settings.samples;) {
        const std::uint32_t count = std::min(blockLength, settings.samples - done);
        std::vector<float> clean(settings.channels * count);
        std::vector<float> recorded(clean.size());
        simulation.next(count, clean.data(), recorded.data());
        for (std::uint32_t channel = 0; channel < settings.channels; ++channel) {
            for (std::uint32_t i = 0; i < count; ++i) {
                data.clean[channel].push_back(static_cast<double>(clean[channel * count + i]));
                data.recorded[channel].push_back(static_cast<double>(recorded[channel * count + i]));
            }
        }
        done += count;
    }
    return data;
}

// Simulated once for all tests that look at them.
const Data& gradient() {
    static const Data data = simulate({12, 60000, 1000.0f, 7, Artifact::gradient});
    return data;
}
const Data& heartbeat() {
    static const Data data = simulate({12, 60000, 500.0f, 7, Artifact::heartbeat});
    return data;
}

double rms(const std::vector<double>& x) {
    return std::sqrt(std::inner_product(x.begin(), x.end(), x.begin(), 0.0) / static_cast<double>(x.size()));
}

// Power at one frequency by the definition of the Fourier transform, over windows of two seconds under a bell.
double power_at(const std::vector<double>& x, double frequency, double rate) {
    const auto length = static_cast<std::size_t>(2.0 * rate);
    double power = 0.0;
    for (std::size_t start = 0; start + length <= x.size(); start += length) {
        std::complex<double> sum = 0.0;
        for (std::size_t i = 0; i < length; ++i) {
            const double place = static_cast<double>(i) / static_cast<double>(length);
            const double bell = 0.5 - 0.5 * std::cos(2.0 * M_PI * place);
            sum += x[start + i] * bell * std::polar(1.0, -2.0 * M_PI * frequency * static_cast<double>(i) / rate);
        }
        power += std::norm(sum);
    }
    return power;
}

double mean_power(const std::vector<double>& x, double from, double to, double rate) {
    double sum = 0.0;
    int count = 0;
    for (double frequency = from; frequency <= to; frequency += 0.5) {
        sum += power_at(x, frequency, rate);
        ++count;
    }
    return sum / count;
}

double correlation(const std::vector<double>& a, const std::vector<double>& b) {
    const double n = static_cast<double>(a.size());
    const double meanA = std::accumulate(a.begin(), a.end(), 0.0) / n;
    const double meanB = std::accumulate(b.begin(), b.end(), 0.0) / n;
    double ab = 0.0;
    double aa = 0.0;
    double bb = 0.0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        ab += (a[i] - meanA) * (b[i] - meanB);
        aa += (a[i] - meanA) * (a[i] - meanA);
        bb += (b[i] - meanB) * (b[i] - meanB);
    }
    return ab / std::sqrt(aa * bb);
}

TEST(Simulation, IsTheSameWhateverTheBlockLengths) {
    for (const Artifact artifact : {Artifact::gradient, Artifact::heartbeat}) {
        const SimulationSettings settings{3, 4000, 500.0f, 9, artifact};
        const Data a = simulate(settings, 4000);
        const Data b = simulate(settings, 333);
        EXPECT_EQ(a.clean, b.clean);
        EXPECT_EQ(a.recorded, b.recorded);
        EXPECT_EQ(a.triggers, b.triggers);
    }
}

TEST(Simulation, DependsOnTheSeed) {
    const Data a = simulate({2, 3000, 500.0f, 1, Artifact::gradient});
    const Data b = simulate({2, 3000, 500.0f, 2, Artifact::gradient});
    EXPECT_NE(a.clean, b.clean);
    EXPECT_NE(a.artifact(0), b.artifact(0));
}

TEST(Simulation, BackgroundDoesNotDependOnTheArtifact) {
    EXPECT_EQ(simulate({2, 3000, 500.0f, 1, Artifact::gradient}).clean,
              simulate({2, 3000, 500.0f, 1, Artifact::heartbeat}).clean);
}

TEST(Simulation, BackgroundHasAboutTenToFifteenMicrovolts) {
    for (const std::vector<double>& channel : gradient().clean) {
        EXPECT_GT(rms(channel), 8.0);
        EXPECT_LT(rms(channel), 18.0);
    }
}

TEST(Simulation, BackgroundFallsAsOneOverFrequency) {
    double low = 0.0;
    double high = 0.0;
    for (const std::vector<double>& channel : gradient().clean) {
        low += mean_power(channel, 2.0, 4.0, 1000.0);
        high += mean_power(channel, 20.0, 40.0, 1000.0);
    }
    EXPECT_GT(low / high, 5.0); // 10 for exactly 1/f
    EXPECT_LT(low / high, 20.0);
}

TEST(Simulation, BackgroundHasAnAlphaRhythmMostlyInTheLastChannels) {
    const auto prominence = [](std::size_t first, std::size_t end) {
        double rhythm = 0.0;
        double beside = 0.0;
        for (std::size_t channel = first; channel < end; ++channel) {
            rhythm += mean_power(gradient().clean[channel], 9.0, 11.0, 1000.0);
            beside += 0.5 * mean_power(gradient().clean[channel], 5.0, 6.5, 1000.0) +
                      0.5 * mean_power(gradient().clean[channel], 14.0, 16.0, 1000.0);
        }
        return rhythm / beside;
    };
    EXPECT_GT(prominence(8, 12), 3.0);
    EXPECT_GT(prominence(8, 12), prominence(0, 4));
}

TEST(Simulation, AlphaRhythmWaxesAndWanes) {
    const std::vector<double>& channel = gradient().clean[11];
    std::vector<double> amplitudes;
    for (std::size_t start = 0; start + 500 <= channel.size(); start += 500) {
        std::complex<double> sum = 0.0;
        for (std::size_t i = 0; i < 500; ++i) {
            sum += channel[start + i] * std::polar(1.0, -2.0 * M_PI * 0.010 * static_cast<double>(i));
        }
        amplitudes.push_back(std::abs(sum));
    }
    const double n = static_cast<double>(amplitudes.size());
    const double mean = std::accumulate(amplitudes.begin(), amplitudes.end(), 0.0) / n;
    double spread = 0.0;
    for (const double amplitude : amplitudes) {
        spread += (amplitude - mean) * (amplitude - mean) / n;
    }
    EXPECT_GT(std::sqrt(spread), 0.3 * mean);
}

TEST(Simulation, NeighbouringChannelsAreAlike) {
    const auto& clean = gradient().clean;
    double near = 0.0;
    for (std::size_t channel = 0; channel + 1 < clean.size(); ++channel) {
        near += correlation(clean[channel], clean[channel + 1]) / static_cast<double>(clean.size() - 1);
    }
    EXPECT_GT(near, 0.9);
    EXPECT_LT(std::abs(correlation(clean.front(), clean.back())), near - 0.1);
    EXPECT_LT(correlation(clean[0], clean[1]), 1.0 - 1e-4); // every sensor adds a little noise
}

TEST(GradientSimulation, IsAboutFiftyTimesTheBackgroundAndMixedDifferently) {
    double sum = 0.0;
    for (std::size_t channel = 0; channel < 12; ++channel) {
        std::vector<double> scan = gradient().artifact(channel);
        scan = {scan.begin() + 5000, scan.end() - 5000};
        const double ratio = rms(scan) / rms(gradient().clean[channel]);
        EXPECT_GT(ratio, 20.0);
        EXPECT_LT(ratio, 100.0);
        sum += ratio / 12.0;
    }
    EXPECT_NEAR(sum, 50.0, 12.0);
    EXPECT_LT(std::abs(correlation(gradient().artifact(0), gradient().artifact(11))), 0.99);
}

TEST(GradientSimulation, TriggersAreSlicesOfAClockOfItsOwn) {
    const std::vector<std::int32_t>& triggers = gradient().triggers;
    ASSERT_GT(triggers.size(), 800U);
    for (std::size_t i = 1; i < triggers.size(); ++i) {
        EXPECT_GE(triggers[i] - triggers[i - 1], 64);
        EXPECT_LE(triggers[i] - triggers[i - 1], 65);
    }
    const double period =
        static_cast<double>(triggers.back() - triggers.front()) / static_cast<double>(triggers.size() - 1);
    EXPECT_NEAR(period, 64.37 * (1.0 + 12e-6), 0.002);
    EXPECT_GT(triggers.front(), 2000);
    EXPECT_LT(triggers.back() + 64, 58000);
}

TEST(GradientSimulation, BeginsAndEndsWithQuiet) {
    for (std::size_t i = 0; i < 1990; ++i) {
        EXPECT_EQ(gradient().artifact(3, i), 0.0);
        EXPECT_EQ(gradient().artifact(3, 59999 - i), 0.0);
    }
    EXPECT_GT(rms(std::vector<double>(gradient().artifact(3))), 0.0);
}

TEST(GradientSimulation, ConsistsOfSliceHarmonics) {
    const std::vector<double> artifact = gradient().artifact(5);
    const double slice = 1000.0 / 64.37;
    double on = 0.0;
    double between = 0.0;
    for (int harmonic = 2; harmonic <= 8; ++harmonic) {
        on += power_at(artifact, harmonic * slice, 1000.0);
        between += power_at(artifact, (harmonic + 0.5) * slice, 1000.0);
    }
    EXPECT_GT(on, 200.0 * between);
}

// The samples of an artifact, from so many samples after a trigger on.
std::vector<double> epoch(const Data& data, std::size_t channel, std::size_t trigger, std::size_t length,
                          std::size_t later = 0) {
    std::vector<double> values;
    for (std::size_t i = 0; i < length; ++i) {
        values.push_back(data.artifact(channel, static_cast<std::size_t>(data.triggers[trigger]) + later + i));
    }
    return values;
}

TEST(GradientSimulation, LiesBetweenTheSamplesInContinuousTime) {
    // 100 slices later the artifact comes back after 6437.0 samples, 50 slices later after 3218.5.
    double whole = 0.0;
    double half = 0.0;
    for (std::size_t k = 0; k + 100 < 800; ++k) {
        const std::vector<double> now = epoch(gradient(), 0, k, 64);
        whole += 1.0 - correlation(now, epoch(gradient(), 0, k, 64, 6437));
        half += 1.0 - correlation(now, epoch(gradient(), 0, k, 64, 3218));
    }
    EXPECT_GT(half, 5.0 * whole);
    EXPECT_GT(whole, 0.0);
}

TEST(GradientSimulation, DriftsSlowlyInAmplitudeAndShape) {
    std::vector<double> sizes;
    for (std::size_t k = 0; k < 800; k += 50) {
        double sum = 0.0;
        for (std::size_t i = 0; i < 50; ++i) {
            sum += rms(epoch(gradient(), 2, k + i, 64)) / 50.0;
        }
        sizes.push_back(sum);
    }
    const double ratio = *std::max_element(sizes.begin(), sizes.end()) / *std::min_element(sizes.begin(), sizes.end());
    EXPECT_GT(ratio, 1.03);
    EXPECT_LT(ratio, 1.6);
    for (std::size_t i = 1; i < sizes.size(); ++i) {
        EXPECT_NEAR(sizes[i] / sizes[i - 1], 1.0, 0.1);
    }
}

TEST(GradientSimulation, ThreeComponentsOfFiftySlicesRemoveMostOfIt) {
    // A principal component removal by its textbook definition, in double precision: one channel, one segment.
    const std::size_t slices = 50;
    const workbench::SuggestedSettings suggested = workbench::suggested_settings(Artifact::gradient, 1000.0f, 800);
    EXPECT_EQ(suggested.segment, 50);
    const auto length =
        static_cast<std::size_t>(workbench::window_in_samples(suggested.pre, suggested.post, 1000.0f).length());
    std::vector<std::vector<double>> epochs;
    std::vector<std::vector<double>> truth;
    for (std::size_t k = 0; k < slices; ++k) {
        const auto start = static_cast<std::size_t>(gradient().triggers[k + 100]);
        const auto cut = [&](const std::vector<double>& x) {
            return std::vector<double>(x.begin() + static_cast<long>(start),
                                       x.begin() + static_cast<long>(start + length));
        };
        epochs.push_back(cut(gradient().recorded[4]));
        truth.push_back(cut(gradient().clean[4]));
    }
    std::vector<std::vector<double>> residues = epochs;
    for (std::vector<double>& residue : residues) {
        const double mean = std::accumulate(residue.begin(), residue.end(), 0.0) / static_cast<double>(length);
        std::for_each(residue.begin(), residue.end(), [&](double& x) { x -= mean; });
    }
    for (int component = 0; component < suggested.components; ++component) {
        std::vector<double> direction(length);
        for (std::size_t i = 0; i < length; ++i) {
            direction[i] = std::sin(static_cast<double>(i * i + 1)); // anything
        }
        for (int step = 0; step < 500; ++step) { // power iteration
            std::vector<double> next(length, 0.0);
            for (const std::vector<double>& residue : residues) {
                const double weight = std::inner_product(residue.begin(), residue.end(), direction.begin(), 0.0);
                for (std::size_t i = 0; i < length; ++i) {
                    next[i] += weight * residue[i];
                }
            }
            const double size = rms(next) * std::sqrt(static_cast<double>(length));
            std::transform(next.begin(), next.end(), direction.begin(), [&](double x) { return x / size; });
        }
        for (std::vector<double>& residue : residues) {
            const double weight = std::inner_product(residue.begin(), residue.end(), direction.begin(), 0.0);
            for (std::size_t i = 0; i < length; ++i) {
                residue[i] -= weight * direction[i];
            }
        }
    }
    double before = 0.0;
    double after = 0.0;
    for (std::size_t k = 0; k < slices; ++k) {
        const double mean = std::accumulate(epochs[k].begin(), epochs[k].end(), 0.0) / static_cast<double>(length);
        for (std::size_t i = 0; i < length; ++i) {
            before += std::pow(epochs[k][i] - truth[k][i], 2);
            after += std::pow(residues[k][i] + mean - truth[k][i], 2);
        }
    }
    EXPECT_GT(10.0 * std::log10(before / after), 30.0);
}

TEST(HeartbeatSimulation, IntervalsVaryAboutAHeartsPace) {
    const std::vector<std::int32_t>& triggers = heartbeat().triggers;
    ASSERT_GT(triggers.size(), 120U);
    std::vector<double> intervals;
    for (std::size_t i = 1; i < triggers.size(); ++i) {
        intervals.push_back((triggers[i] - triggers[i - 1]) / 500.0);
        EXPECT_GT(intervals.back(), 0.67);
        EXPECT_LT(intervals.back(), 1.11);
    }
    const double mean =
        std::accumulate(intervals.begin(), intervals.end(), 0.0) / static_cast<double>(intervals.size());
    EXPECT_NEAR(mean, 0.85, 0.03);
    std::for_each(intervals.begin(), intervals.end(), [&](double& x) { x -= mean; });
    EXPECT_GT(rms(intervals), 0.02);
}

TEST(HeartbeatSimulation, PeaksAreFiveToTenTimesTheBackground) {
    for (std::size_t channel = 0; channel < 12; ++channel) {
        double sum = 0.0;
        for (std::size_t k = 0; k < 100; ++k) {
            const std::vector<double> beat = epoch(heartbeat(), channel, k, 300);
            sum += std::max(*std::max_element(beat.begin(), beat.end()), -*std::min_element(beat.begin(), beat.end()));
        }
        const double ratio = sum / 100.0 / rms(heartbeat().clean[channel]);
        EXPECT_GT(ratio, 4.5) << channel;
        EXPECT_LT(ratio, 11.0) << channel;
    }
}

TEST(HeartbeatSimulation, LastsSixTenthsOfASecondAndHasNoConstantPart) {
    for (std::size_t k = 0; k < 100; ++k) {
        const std::vector<double> beat = epoch(heartbeat(), 6, k, 300);
        EXPECT_LT(std::abs(std::accumulate(beat.begin(), beat.end(), 0.0) / 300.0), 0.02 * rms(beat));
        for (std::size_t i = 298; i < 330; ++i) {
            EXPECT_EQ(heartbeat().artifact(6, static_cast<std::size_t>(heartbeat().triggers[k]) + i), 0.0);
        }
    }
}

TEST(HeartbeatSimulation, BeatsDifferInSizeAndShape) {
    std::vector<double> sizes;
    double unlike = 0.0;
    for (std::size_t k = 0; k < 100; ++k) {
        sizes.push_back(rms(epoch(heartbeat(), 6, k, 300)));
        unlike += (1.0 - correlation(epoch(heartbeat(), 6, 0, 300), epoch(heartbeat(), 6, k, 300))) / 100.0;
    }
    const double mean = std::accumulate(sizes.begin(), sizes.end(), 0.0) / 100.0;
    std::for_each(sizes.begin(), sizes.end(), [&](double& x) { x -= mean; });
    EXPECT_GT(rms(sizes), 0.03 * mean);
    EXPECT_LT(rms(sizes), 0.3 * mean);
    EXPECT_GT(unlike, 1e-4);
    EXPECT_LT(unlike, 0.1);
}

TEST(Simulation, ShortAndSlowOnesWorkToo) {
    for (const Artifact artifact : {Artifact::gradient, Artifact::heartbeat}) {
        const Data tiny = simulate({1, 1, 100.0f, 1, artifact});
        EXPECT_TRUE(tiny.triggers.empty());
        const Data data = simulate({2, 1500, 100.0f, 1, artifact});
        EXPECT_GT(data.triggers.size(), 10U);
        EXPECT_GT(rms(data.artifact(0)), rms(data.clean[0]));
    }
}

TEST(Simulation, RefusesSettingsBeyondItsLimits) {
    const auto reason = [](const SimulationSettings& settings) { return refusal([&] { Simulation s(settings); }); };
    EXPECT_EQ(reason({0, 100, 1000.0f, 1, Artifact::gradient}), "a simulation has 1 to 1024 channels");
    EXPECT_EQ(reason({1025, 100, 1000.0f, 1, Artifact::gradient}), "a simulation has 1 to 1024 channels");
    EXPECT_EQ(reason({1, 0, 1000.0f, 1, Artifact::gradient}), "a simulation has 1 to 2147483647 samples per channel");
    EXPECT_EQ(reason({1, 100, 99.0f, 1, Artifact::gradient}), "a simulation has 100 to 100000 samples per second");
    EXPECT_EQ(reason({1, 100, std::nanf(""), 1, Artifact::gradient}),
              "a simulation has 100 to 100000 samples per second");
}

TEST(SuggestedSettings, WindowsCoverEverySliceAndBarelyReachIntoTheNext) {
    for (const float rate : {100.0f, 250.0f, 256.0f, 500.0f, 1000.0f, 2048.0f, 5000.0f}) {
        const workbench::SuggestedSettings slice = workbench::suggested_settings(Artifact::gradient, rate, 1000);
        const double window = static_cast<double>(workbench::window_in_samples(slice.pre, slice.post, rate).length());
        EXPECT_GE(window, 0.06437 * static_cast<double>(rate));
        EXPECT_LE(window, 0.06437 * static_cast<double>(rate) + 0.001 * static_cast<double>(rate) + 2.0);
        const workbench::SuggestedSettings beat = workbench::suggested_settings(Artifact::heartbeat, rate, 1000);
        EXPECT_LT(beat.pre + beat.post, 680);
    }
}

TEST(SuggestedSettings, SegmentIsWithinWhatARunAccepts) {
    EXPECT_EQ(workbench::suggested_settings(Artifact::gradient, 1000.0f, 9).segment, 0);
    EXPECT_EQ(workbench::suggested_settings(Artifact::gradient, 1000.0f, 10).segment, 10);
    EXPECT_EQ(workbench::suggested_settings(Artifact::gradient, 1000.0f, 1000).segment, 50);
    EXPECT_EQ(workbench::suggested_settings(Artifact::heartbeat, 1000.0f, 20).segment, 20);
    EXPECT_EQ(workbench::suggested_settings(Artifact::heartbeat, 1000.0f, 1000).segment, 30);
}

} // namespace
