#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/// Made-up recordings: a background like an EEG (a 1/f spectrum and an alpha rhythm that waxes and wanes, mixed into
/// the channels from a few sources) and an artifact that recurs, of which everything is known.
namespace workbench {

enum class Artifact {
    gradient, ///< of a scanner: one waveform per slice, about 50 times the background
    heartbeat ///< one waveform per beat, peaks of about 5 to 10 times the background
};

struct SimulationSettings {
    std::uint32_t channels = 32;
    std::uint32_t samples = 120000;
    float rate = 1000.0f; ///< Hz
    std::uint64_t seed = 1;
    Artifact artifact = Artifact::gradient;
};

/// Removal settings that suit a simulation.
struct SuggestedSettings {
    int pre = 0;  ///< ms
    int post = 0; ///< ms
    int segment = 0;
    int components = 0;
};

/// Computes a recording from its first sample to its last. The same settings give the same values on every machine,
/// whatever the block lengths.
class Simulation {
public:
    /// The settings must be within the limits below; throws InputError otherwise.
    explicit Simulation(const SimulationSettings& settings);
    ~Simulation();
    Simulation(const Simulation&) = delete;
    Simulation& operator=(const Simulation&) = delete;

    /// Positions of the artifacts, counted from 0, ascending: the true times rounded to samples.
    const std::vector<std::int32_t>& triggers() const { return triggers_; }
    /// The next samples in microvolts: clean[channel * count + i] without and recorded[...] with the artifact.
    void next(std::uint32_t count, float* clean, float* recorded);

private:
    struct Parts;
    std::unique_ptr<Parts> parts_;
    std::vector<std::int32_t> triggers_;
};

constexpr std::uint32_t mostSimulatedChannels = 1024;
constexpr float lowestSimulatedRate = 100.0f;
constexpr float highestSimulatedRate = 100000.0f;

/// The condition that the artifact's triggers go under: "slice" or "heartbeat".
std::string simulated_condition(Artifact artifact);

/// Settings with which a removal run works well. A segment of 0 means too few artifacts for any run.
SuggestedSettings suggested_settings(Artifact artifact, float rate, std::size_t triggers);

} // namespace workbench
