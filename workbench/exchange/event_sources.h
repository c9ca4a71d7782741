#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "workbench/exchange/foreign_recording.h"
#include "workbench/exchange/trigger_channel.h"
#include "workbench/interrupt.h"

namespace workbench::exchange {

/// Where events come from.
struct EventSource {
    enum class Kind {
        file,    ///< the recording itself
        none,    ///< nowhere
        channel, ///< edges of a channel
        codes,   ///< changes of a channel's whole number
        ecg,     ///< heartbeats in a channel
        table    ///< a table of events
    };
    Kind kind = Kind::file;
    std::string condition; ///< name for the events of channel and ecg, first part of the names of codes
    std::string argument;  ///< name of the channel or of the table
};

/// A source as it is written on the command line: file, none, [NAME=]channel:CHANNEL, [NAME=]codes:CHANNEL,
/// [NAME=]ecg:CHANNEL, or the name of a table. Throws InputError for one without a channel.
EventSource event_source_of(const std::string& text);

struct TriggerOptions {
    std::optional<double> threshold; ///< in the channel's unit; halfway between its lowest and highest value if absent
    Edge edge = Edge::rising;
    double minDistance = 0.0; ///< ms
};

/// Events from all sources, one after another.
/// @param rate   of the imported channels, for tables that number samples
/// @param notes  gets lines that tell what was found and chosen
/// Throws InputError where a source cannot be used.
std::vector<ForeignEvent> collect_events(ForeignRecording& recording, const std::vector<EventSource>& sources,
                                         const TriggerOptions& options, double rate, InterruptHold& interrupt,
                                         std::vector<std::string>& notes);

} // namespace workbench::exchange
