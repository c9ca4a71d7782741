#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "workbench/comparison.h"
#include "workbench/report/locked_average.h"
#include "workbench/report/measures.h"
#include "workbench/report/spectral_findings.h"
#include "workbench/report/trace_store.h"

/// What the page is given to show, as JSON. page/js reads it.
namespace workbench {

/// Series that the page unpacks: [offset, step, base64].
nlohmann::json packed_json(const std::vector<float>& values);

/// One row of the table for each channel, and one for all together.
nlohmann::json channels_json(const Comparison& comparison, const std::vector<OutsideWindows>& outside,
                             const std::vector<Densities>& densities, double binWidth);

nlohmann::json bands_json(const SpectralFindings& findings, bool hasTruth);

/// Averages of at most `mostPoints` points per window, several samples joined into one where the window has more.
nlohmann::json average_json(const LockedAverage& before, const LockedAverage& after, std::size_t channels,
                            std::int64_t preS, double rate, std::size_t mostPoints);

/// The densities up to 250 Hz, in dB against 1 microvolt squared per hertz, each channel and the median over them all.
/// Neighbouring bins are joined until all together have no more than `mostBins`.
nlohmann::json spectrum_json(const std::vector<Densities>& densities, const Spectrum& spectrum, double spacing,
                             std::size_t mostBins);

/// Positions in ascending order as the first and the distances from one to the next.
nlohmann::json positions_json(std::vector<std::int64_t> positions);

/// Of the traces all but the texts themselves.
nlohmann::json traces_json(const TraceStore& store);

} // namespace workbench
