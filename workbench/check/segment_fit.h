#pragma once

#include <vector>

/// The fit of one segment of artifacts in memory, with the routines and in the order of a removal run: for what the
/// components look like, and for how long it takes.
namespace workbench {

struct SegmentFit {
    std::vector<double> eigenvalues; ///< of the covariance between epochs, descending
    double eigenSeconds = 0.0;       ///< that the decomposition took
    double otherSeconds = 0.0;       ///< that all else took
};

/// @param epochs      [epoch * length + sample], as many as a segment has. They lose their means.
/// @param components  removed in the end, 1 to the number of epochs
SegmentFit fit_segment_in_memory(std::vector<float>& epochs, int nEpochs, int length, int components);

} // namespace workbench
