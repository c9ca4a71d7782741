#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "workbench/simulation.h"

namespace workbench {

/// An artifact as a function of continuous time, so that its occurrences need not fall on samples.
class ArtifactSource {
public:
    virtual ~ArtifactSource() = default;
    /// True times of the artifacts that have a trigger, in seconds, ascending.
    virtual const std::vector<double>& trigger_times() const = 0;
    /// Adds the artifact at one time to a value per channel, in microvolts. Times must not go back.
    virtual void add(double seconds, double* values) = 0;
};

/// @param channelRms  the background's root mean square per channel, which the artifact's size goes by.
std::unique_ptr<ArtifactSource> make_gradient(const SimulationSettings& settings,
                                              const std::vector<double>& channelRms);
std::unique_ptr<ArtifactSource> make_heartbeat(const SimulationSettings& settings,
                                               const std::vector<double>& channelRms);

/// From one slice to the next, in seconds.
extern const double slicePeriod;

/// Time without artifact at either end of a recording, in seconds.
double quiet_time(double duration);

} // namespace workbench
