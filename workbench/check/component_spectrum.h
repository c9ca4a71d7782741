#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "workbench/recording.h"
#include "workbench/window.h"

/// How much of the artifacts each principal component holds, in a few channels and segments.
namespace workbench {

struct ComponentSpectrum {
    std::vector<std::uint32_t> channels; ///< that were looked at, counted from 0
    std::size_t segments = 0;            ///< of each
    std::size_t epochs = 0;              ///< of each segment: all, or the first 400
    /// Per component, the strongest first: its share of a segment's variance (0 to 1, mean over channels and segments),
    /// and the logarithm (base 10) of its eigenvalue over the mean eigenvalue, mean alike. Empty when nothing was fit
    /// to be looked at.
    std::vector<double> shares;
    std::vector<double> levels;
    double fitSeconds = 0.0; ///< the median time of a whole segment's fit here
};

/// @param triggers    as a run takes them: at least perSegment
/// @param candidates  channels to choose from, evenly spread
/// @param components  for the time of the fit
/// Takes about a second at most where single fits do not take longer. Memory: a segment of all chosen channels.
ComponentSpectrum examine_components(RecordingReader& recording, const std::vector<std::int64_t>& triggers,
                                     const Window& window, int perSegment, int components,
                                     const std::vector<std::uint32_t>& candidates);

/// How many components stand out: up to the last one whose eigenvalue is at least twice the next one's, among the first
/// ten, a third of the segment and an eighth of the window. 0 where none does.
int outstanding_components(const ComponentSpectrum& spectrum, const Window& window);

/// A bar for every one of the first components, on a logarithmic scale, with its share; lines end in a newline.
std::string spectrum_picture(const ComponentSpectrum& spectrum, int removed);

} // namespace workbench
