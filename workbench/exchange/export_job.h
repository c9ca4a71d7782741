#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "workbench/exchange/channels_table.h"
#include "workbench/interrupt.h"
#include "workbench/recording.h"

/// What the writers of other formats are given.
namespace workbench::exchange {

struct Marker {
    std::int64_t sample; ///< counted from 0
    std::string text;
};

struct ExportJob {
    RecordingReader& recording;
    std::vector<NamedChannel> channels;
    std::vector<Marker> markers; ///< by ascending sample, all within the recording
    bool overwrite = false;
    InterruptHold& interrupt;
    std::vector<std::string> notes = {}; ///< the writer adds what people should know
    std::string precision = {};          ///< and how exactly values are kept

    std::uint64_t samples() const { return recording.header().NrOfSamples; }
    /// Samples that are read at once: about 2^20 values.
    std::uint32_t block_length() const;
};

} // namespace workbench::exchange
