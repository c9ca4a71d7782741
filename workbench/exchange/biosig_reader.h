#pragma once

#include <optional>

#include <sys/types.h>

#include "workbench/exchange/foreign_recording.h"
#include "workbench/exchange/pipe_message.h"
#include "workbench/interrupt.h"

namespace workbench::exchange {

/// What libbiosig reads. The library runs in a process of its own, so that a file that makes it crash is a file that
/// cannot be read, and no more. The library holds the whole recording in memory, 8 bytes for each value.
class BiosigRecording : public ForeignRecording {
public:
    /// @param interrupt  looked at while the library works; must outlive the recording.
    /// Throws InputError for a file that cannot be read.
    BiosigRecording(const std::filesystem::path& path, InterruptHold& interrupt);
    ~BiosigRecording() override;

    std::string format() const override { return format_; }
    std::vector<ForeignEvent> events() override { return events_; }
    void read(const std::vector<std::size_t>& which, std::uint64_t first, std::uint32_t count, double* dest) override;

private:
    // The child process, and our ends of its pipes.
    struct Process {
        explicit Process(const std::filesystem::path& file);
        ~Process();
        Process(const Process&) = delete;
        Process& operator=(const Process&) = delete;

        pid_t id = -1;
        int requests = -1;
        int answers = -1;
    };

    void receive_contents();
    [[noreturn]] void refuse_crashed();

    Process process_;
    PipeWriter requests_;
    PipeReader answers_;
    std::string format_;
    std::vector<ForeignEvent> events_;
};

} // namespace workbench::exchange
