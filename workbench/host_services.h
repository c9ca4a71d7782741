#pragma once

#include <optional>
#include <string>

#include "workbench/dialogs.h"
#include "workbench/log_pane.h"
#include "workbench/protocol_file.h"

/// The functions that modules find by name in this program (nvLogText, nvGetIntegerInput, ...): a workbench whose one
/// document is a volume that takes any protocol.
namespace workbench {

/// What the functions work on. Must outlive every call of the module.
struct HostState {
    LogPane& log;
    DialogAnswers answers;
    const Protocol& checkedProtocol;  ///< what answers.protocolFile held when the run was checked; it counts
    std::optional<Protocol> protocol; ///< the current one, once loaded
    bool dialogCancelled = false;     ///< every later dialog is then cancelled too, and the run ended
};

constexpr int exitCancelled = 4; ///< the process ends with it where a user who cancelled need not wait

void set_host_state(HostState* state);

} // namespace workbench
