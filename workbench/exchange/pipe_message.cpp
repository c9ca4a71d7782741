#include "workbench/exchange/pipe_message.h"

#include <cerrno>

#include <poll.h>
#include <unistd.h>

namespace workbench::exchange {

namespace {

constexpr std::uint64_t longestText = 1 << 20;

} // namespace

void PipeWriter::bytes(const void* data, std::uint64_t count) {
    const char* from = static_cast<const char*>(data);
    while (count > 0) {
        const ssize_t n = ::write(descriptor_, from, count);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            throw PipeClosed();
        }
        from += n;
        count -= static_cast<std::uint64_t>(n);
    }
}

void PipeWriter::text(const std::string& value) {
    const std::string sent = value.substr(0, longestText);
    number(sent.size());
    bytes(sent.data(), sent.size());
}

// Until something is there to read, or the other end is closed.
void PipeReader::wait() {
    if (interrupt_ == nullptr) {
        return;
    }
    constexpr int milliseconds = 100;
    pollfd waiting{descriptor_, POLLIN, 0};
    while (::poll(&waiting, 1, milliseconds) == 0) {
        interrupt_->throw_if_arrived();
    }
}

void PipeReader::bytes(void* data, std::uint64_t count) {
    char* to = static_cast<char*>(data);
    while (count > 0) {
        wait();
        const ssize_t n = ::read(descriptor_, to, count);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            throw PipeClosed();
        }
        to += n;
        count -= static_cast<std::uint64_t>(n);
    }
}

std::uint64_t PipeReader::number() {
    std::uint64_t value = 0;
    bytes(&value, sizeof value);
    return value;
}

double PipeReader::real() {
    double value = 0.0;
    bytes(&value, sizeof value);
    return value;
}

std::string PipeReader::text() {
    const std::uint64_t length = number();
    if (length > longestText) {
        throw PipeClosed();
    }
    std::string value(length, '\0');
    bytes(value.data(), length);
    return value;
}

} // namespace workbench::exchange
