#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "workbench/exchange/foreign_recording.h"
#include "workbench/protocol_file.h"

namespace workbench::exchange {

/// A protocol in samples with one condition per type of event, in the order in which the types first come; the samples
/// of each ascend. Events outside the recording and second events of a type at one sample are left out.
/// @param rate     samples per second; an event is at the sample nearest to its time
/// @param samples  of the recording
/// @param notes    gets lines that tell of names that were changed and of events that were left out
Protocol protocol_from_events(const std::vector<ForeignEvent>& events, double rate, std::uint64_t samples,
                              const std::string& experiment, std::vector<std::string>& notes);

} // namespace workbench::exchange
