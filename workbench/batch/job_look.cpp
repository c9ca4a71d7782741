#include "workbench/batch/job_look.h"

#include <optional>

#include "workbench/input_error.h"
#include "workbench/protocol_file.h"
#include "workbench/recording.h"
#include "workbench/window.h"

namespace workbench {

std::string problem_of(const Job& job) {
    try {
        const RecordingReader recording(job.recordingFile);
        require_sampling_frequency(recording);
        require_window(recording, window_in_samples(job.pre, job.post, recording.header().SamplingFrequency));
        const Protocol protocol = read_protocol(job.protocolFile);
        const ProtocolCondition& condition =
            protocol.conditions[static_cast<std::size_t>(find_condition(protocol, job.condition))];
        if (condition.intervals.size() < static_cast<std::size_t>(job.segment)) {
            return "condition \"" + condition.name + "\" has " + std::to_string(condition.intervals.size()) +
                   " triggers, fewer than a segment of " + std::to_string(job.segment);
        }
        if (!job.truth.empty()) {
            const RecordingReader truth(job.truthFile);
        }
        return "";
    } catch (const InputError& error) {
        return error.what();
    }
}

} // namespace workbench
