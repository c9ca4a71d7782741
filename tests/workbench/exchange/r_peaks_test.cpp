// Simulated electrocardiograms, of which every beat is known.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string>
#include <vector>

#include "tests/support/bits.h"
#include "workbench/exchange/r_peaks.h"

namespace {

using namespace workbench::exchange;

struct Ecg {
    double rate = 500.0; ///< Hz
    double seconds = 120.0;
    double beatsPerMinute = 70.0;
    double variability = 0.05; ///< of the interval, standard deviation
    double tWave = 0.3;        ///< height, of the R peak's
    double wander = 0.0;       ///< slow sway, of the R peak's height
    double noise = 0.0;        ///< standard deviation, of the R peak's height
    double hum = 0.0;          ///< 50 Hz, of the R peak's height
    double sign = 1.0;
    double millivolts = 1.0;     ///< height of the R peak
    double breathing = 0.0;      ///< by which share the height comes and goes
    double disturbedFrom = -1.0; ///< s; 5 seconds with 30 times the height
};

class EcgSimulation {
public:
    explicit EcgSimulation(const Ecg& ecg) : ecg_(ecg) {
        const double interval = 60.0 / ecg.beatsPerMinute;
        for (double time = 0.6; time < ecg.seconds - 0.6; time += interval * (1.0 + ecg.variability * normal())) {
            beats.push_back(time);
        }
        signal.assign(static_cast<std::size_t>(ecg.seconds * ecg.rate), 0.0);
        for (const double beat : beats) {
            const double height = 1.0 + ecg.breathing * std::sin(2.0 * M_PI * 0.25 * beat);
            // Bazett: the T wave comes sooner where the heart beats faster.
            const double tTime = 0.28 * std::sqrt(std::min(1.0, interval));
            add(beat - 0.16 * std::sqrt(std::min(1.0, interval)), 0.02, 0.12 * height);
            add(beat - 0.026, 0.008, -0.15 * height);
            add(beat, 0.010, height);
            add(beat + 0.028, 0.009, -0.25 * height);
            add(beat + tTime, 0.045, ecg.tWave * height);
        }
        for (std::size_t i = 0; i < signal.size(); ++i) {
            const double time = static_cast<double>(i) / ecg.rate;
            double value = signal[i] + ecg.wander * std::sin(2.0 * M_PI * 0.3 * time) + ecg.noise * normal() +
                           ecg.hum * std::sin(2.0 * M_PI * 50.0 * time);
            if (ecg.disturbedFrom >= 0.0 && time >= ecg.disturbedFrom && time < ecg.disturbedFrom + 5.0) {
                value += 30.0 * normal();
            }
            signal[i] = ecg.sign * ecg.millivolts * value;
        }
    }

    std::vector<double> beats;  ///< s
    std::vector<double> signal; ///< mV

private:
    double normal() {
        double sum = -6.0;
        for (int i = 0; i < 12; ++i) {
            sum += static_cast<double>(random_.between(0.0f, 1.0f));
        }
        return sum;
    }
    void add(double centre, double width, double height) {
        const auto from = static_cast<long>((centre - 5.0 * width) * ecg_.rate);
        const auto to = static_cast<long>((centre + 5.0 * width) * ecg_.rate);
        for (long i = std::max(0L, from); i <= to && i < static_cast<long>(signal.size()); ++i) {
            const double z = (static_cast<double>(i) / ecg_.rate - centre) / width;
            signal[static_cast<std::size_t>(i)] += height * std::exp(-0.5 * z * z);
        }
    }

    Ecg ecg_;
    support::Random random_{3};
};

struct Detection {
    double sensitivity; ///< share of the true beats that were found
    double precision;   ///< share of the found beats that are true
    double worst;       ///< ms between a true beat and its detection
};

// What a recording's import does with the channel, and how well that went: a detection within 40 ms is the beat's.
Detection detect(const Ecg& ecg, double ignoreFrom = 1e9, double ignoreTo = 1e9) {
    EcgSimulation simulation(ecg);
    EcgReducer reducer(ecg.rate);
    reducer.add(simulation.signal.data(), simulation.signal.size());
    const Heartbeats found = find_heartbeats(reducer.signal(), reducer.rate());
    std::vector<double> times;
    for (const std::size_t peak : found.peaks) {
        const std::size_t centre = peak * reducer.group() + reducer.group() / 2;
        const auto reach = static_cast<std::size_t>(0.03 * ecg.rate) + 1;
        const std::size_t from = centre - std::min(centre, reach);
        const std::size_t to = std::min(simulation.signal.size(), centre + reach + 1);
        const std::vector<double> stretch(simulation.signal.begin() + static_cast<long>(from),
                                          simulation.signal.begin() + static_cast<long>(to));
        times.push_back(static_cast<double>(from + peak_place(stretch, ecg.rate, found.upward)) / ecg.rate);
    }
    const auto ignored = [&](double time) { return time >= ignoreFrom && time < ignoreTo; };
    Detection result{0.0, 0.0, 0.0};
    std::size_t trueBeats = 0;
    std::size_t hits = 0;
    std::size_t counted = 0;
    for (const double time : times) {
        counted += ignored(time) ? 0U : 1U;
    }
    for (const double beat : simulation.beats) {
        if (ignored(beat)) {
            continue;
        }
        ++trueBeats;
        double nearest = 1.0;
        for (const double time : times) {
            nearest = std::min(nearest, std::abs(time - beat));
        }
        if (nearest <= 0.04) {
            ++hits;
            result.worst = std::max(result.worst, 1000.0 * nearest);
        }
    }
    result.sensitivity = static_cast<double>(hits) / static_cast<double>(trueBeats);
    result.precision = counted == 0 ? 0.0 : static_cast<double>(hits) / static_cast<double>(counted);
    return result;
}

void expect_found(const std::string& what, const Ecg& ecg, double sensitivity = 1.0, double precision = 1.0,
                  double worst = 4.0) {
    SCOPED_TRACE(what);
    const Detection result = detect(ecg);
    testing::Test::RecordProperty(what, std::to_string(result.sensitivity) + " of the beats, " +
                                            std::to_string(result.precision) + " of the detections, worst " +
                                            std::to_string(result.worst) + " ms");
    EXPECT_GE(result.sensitivity, sensitivity);
    EXPECT_GE(result.precision, precision);
    EXPECT_LE(result.worst, worst);
}

TEST(RPeaks, CleanBeatsAreAllFoundAtTheirSample) {
    expect_found("clean", Ecg{});
}

TEST(RPeaks, SlowAndFastHeartsAreFound) {
    for (const double beats : {40.0, 50.0, 100.0, 140.0, 180.0}) {
        Ecg ecg;
        ecg.beatsPerMinute = beats;
        ecg.variability = 0.03;
        expect_found("bpm_" + std::to_string(static_cast<int>(beats)), ecg);
    }
}

TEST(RPeaks, EveryRateOfSamplingWillDo) {
    for (const double rate : {100.0, 128.0, 250.0, 256.0, 1000.0, 2048.0, 5000.0}) {
        Ecg ecg;
        ecg.rate = rate;
        ecg.seconds = 60.0;
        expect_found("rate_" + std::to_string(static_cast<int>(rate)), ecg, 1.0, 1.0, 1000.0 / rate + 1.0);
    }
}

TEST(RPeaks, PeaksThatPointDownAreFoundToo) {
    Ecg ecg;
    ecg.sign = -1.0;
    expect_found("inverted", ecg);
    EcgSimulation simulation(ecg);
    EcgReducer reducer(ecg.rate);
    reducer.add(simulation.signal.data(), simulation.signal.size());
    EXPECT_FALSE(find_heartbeats(reducer.signal(), reducer.rate()).upward);
}

TEST(RPeaks, TallTWavesAreNoBeats) {
    for (const double height : {0.6, 0.9, 1.2}) {
        Ecg ecg;
        ecg.tWave = height;
        expect_found("t_wave_" + std::to_string(height), ecg);
        ecg.beatsPerMinute = 110.0;
        expect_found("t_wave_fast_" + std::to_string(height), ecg);
    }
}

TEST(RPeaks, ABaselineThatSwaysDoesNoHarm) {
    Ecg ecg;
    ecg.wander = 3.0;
    expect_found("wander", ecg);
}

TEST(RPeaks, NoiseAndHumDoLittle) {
    Ecg ecg;
    ecg.noise = 0.1;
    ecg.hum = 0.2;
    expect_found("noise_0.1", ecg, 1.0, 1.0, 12.0);
    ecg.noise = 0.2;
    expect_found("noise_0.2", ecg, 0.99, 0.99, 40.0);
    ecg.noise = 0.3;
    expect_found("noise_0.3", ecg, 0.95, 0.9, 40.0);
}

TEST(RPeaks, TheSizeOfTheSignalDoesNotMatter) {
    for (const double millivolts : {1e-3, 1.0, 1e6}) {
        Ecg ecg;
        ecg.millivolts = millivolts;
        ecg.breathing = 0.4;
        expect_found("size_" + std::to_string(millivolts), ecg);
    }
}

TEST(RPeaks, BeatsAreFoundAgainAfterALargeDisturbance) {
    Ecg ecg;
    ecg.disturbedFrom = 30.0;
    const Detection result = detect(ecg, 29.0, 40.0);
    EXPECT_GE(result.sensitivity, 0.98);
    EXPECT_GE(result.precision, 0.98);
    ecg.disturbedFrom = 0.0; // while the levels are learned
    const Detection atStart = detect(ecg, -1.0, 12.0);
    EXPECT_GE(atStart.sensitivity, 0.98);
    EXPECT_GE(atStart.precision, 0.98);
}

TEST(RPeaks, ThereAreNoneInAFlatOrEmptySignal) {
    EXPECT_TRUE(find_heartbeats({}, 250.0).peaks.empty());
    EXPECT_TRUE(find_heartbeats(std::vector<float>(5000, 3.0f), 250.0).peaks.empty());
}

TEST(RPeaks, ReductionAveragesGroups) {
    EcgReducer reducer(1000.0);
    EXPECT_EQ(reducer.group(), 5U);
    EXPECT_EQ(reducer.rate(), 200.0);
    const std::vector<double> values = {1, 2, 3, 4, 5, 10, 10, 10, 10, 20, 7};
    reducer.add(values.data(), 3); // blocks of any length
    reducer.add(values.data() + 3, values.size() - 3);
    EXPECT_EQ(reducer.signal(), (std::vector<float>{3.0f, 12.0f}));
}

} // namespace
