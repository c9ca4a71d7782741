#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "workbench/interrupt.h"

namespace workbench::exchange {

/// Thrown where the other end of a pipe is gone.
struct PipeClosed : std::runtime_error {
    PipeClosed() : std::runtime_error("the other end of a pipe is gone") {}
};

/// Values through a pipe, in the order in which they are read at its other end.
class PipeWriter {
public:
    explicit PipeWriter(int descriptor) : descriptor_(descriptor) {}

    void bytes(const void* data, std::uint64_t count);
    void number(std::uint64_t value) { bytes(&value, sizeof value); }
    void real(double value) { bytes(&value, sizeof value); }
    void text(const std::string& value);

private:
    int descriptor_;
};

class PipeReader {
public:
    /// @param interrupt  looked at while waiting: RunError when one has arrived. Null where nothing waits.
    PipeReader(int descriptor, InterruptHold* interrupt) : descriptor_(descriptor), interrupt_(interrupt) {}

    void bytes(void* data, std::uint64_t count);
    std::uint64_t number();
    double real();
    /// Throws PipeClosed for a text that no honest writer would send.
    std::string text();

private:
    void wait();

    int descriptor_;
    InterruptHold* interrupt_;
};

} // namespace workbench::exchange
