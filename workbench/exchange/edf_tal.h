#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "workbench/exchange/edf_layout.h"
#include "workbench/exchange/export_job.h"

namespace workbench::exchange {

/// The annotation signal of an EDF+ or BDF+ file: what stands in each data record.
struct AnnotationSignal {
    std::uint64_t bytes = 0;          ///< in each record; a multiple of the size of a sample
    std::vector<std::string> records; ///< their lists, not filled up
};

/// Lists for all records: when each starts, and the markers, in the record that they fall in or, where that is full, in
/// a later one. Where the last record is filled up, it says where the recording ends.
AnnotationSignal annotation_signal(const std::vector<Marker>& markers, const EdfLayout& layout,
                                   std::uint64_t sampleBytes);

} // namespace workbench::exchange
