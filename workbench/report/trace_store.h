#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "workbench/recording.h"
#include "workbench/report/measures.h"
#include "workbench/report/packed_series.h"

/// The traces of all channels as the page holds them, within a given number of bytes.
namespace workbench {

struct TraceStore {
    std::uint64_t samplesPerBin = 1; ///< of the whole recording; 1 means every sample
    std::size_t bins = 0;
    std::vector<Scale> before; ///< one per channel
    std::vector<Scale> after;
    /// Stretches of the recording of which every sample is held, too, when samplesPerBin is above 1.
    std::vector<Span> stretches;
    std::vector<Scale> stretchBefore; ///< one per channel
    std::vector<Scale> stretchAfter;
    /// One per channel: packed series, each on a line. Before and after (with samplesPerBin above 1: before's lowest
    /// values, before's ranges, after's lowest, after's ranges), then before and after of every stretch.
    std::vector<std::string> texts;
};

/// @param firstTrigger   the first stretch begins a little before it
/// @param bytes          the texts together take no more, or little more when they hold one bin only
/// @param betweenParts   called now and then; may throw to end the work
TraceStore store_traces(RecordingReader& before, RecordingReader& after, Measures& measures, std::int64_t firstTrigger,
                        std::uint64_t bytes, const std::function<void()>& betweenParts);

} // namespace workbench
