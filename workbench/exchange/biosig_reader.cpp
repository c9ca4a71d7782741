#include "workbench/exchange/biosig_reader.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "workbench/exchange/biosig_process.h"
#include "workbench/exchange/text_encoding.h"
#include "workbench/input_error.h"
#include "workbench/input_file.h"
#include "workbench/run_error.h"

namespace workbench::exchange {

namespace {

constexpr std::uint64_t mostChannels = 1 << 16; // the library counts them in 16 bits

} // namespace

BiosigRecording::Process::Process(const std::filesystem::path& file) {
    int toChild[2];
    int toParent[2];
    const auto fail = [] {
        throw RunError(std::string("cannot start a process for libbiosig (") + std::strerror(errno) + ")",
                       exitNotCompleted);
    };
    if (::pipe2(toChild, O_CLOEXEC) != 0) {
        fail();
    }
    if (::pipe2(toParent, O_CLOEXEC) != 0) {
        ::close(toChild[0]);
        ::close(toChild[1]);
        fail();
    }
    std::fflush(nullptr);
    const pid_t parent = ::getpid();
    id = ::fork();
    if (id == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (::getppid() != parent) {
            ::_exit(1);
        }
        ::close(toChild[1]);
        ::close(toParent[0]);
        serve_biosig_file(file, toChild[0], toParent[1]);
    }
    ::close(toChild[0]);
    ::close(toParent[1]);
    requests = toChild[1];
    answers = toParent[0];
    if (id < 0) {
        ::close(requests);
        ::close(answers);
        fail();
    }
}

BiosigRecording::Process::~Process() {
    ::close(requests);
    ::close(answers);
    if (id > 0) {
        ::kill(id, SIGKILL);
        ::waitpid(id, nullptr, 0);
    }
}

BiosigRecording::BiosigRecording(const std::filesystem::path& path, InterruptHold& interrupt)
    : ForeignRecording(path), process_((open_input_file(path), path)), requests_(process_.requests),
      answers_(process_.answers, &interrupt) {
    try {
        const std::string problem = answers_.text();
        if (!problem.empty()) {
            throw InputError(path.string() + ": " + printable(as_utf8(problem)));
        }
        receive_contents();
    } catch (const PipeClosed&) {
        refuse_crashed();
    }
}

BiosigRecording::~BiosigRecording() = default;

void BiosigRecording::receive_contents() {
    format_ = printable(answers_.text());
    const std::uint64_t channels = answers_.number();
    if (channels > mostChannels) {
        throw PipeClosed();
    }
    for (std::uint64_t i = 0; i < channels; ++i) {
        ForeignChannel channel;
        channel.name = as_utf8(answers_.text());
        channel.unit = as_utf8(answers_.text());
        channel.rate = answers_.real();
        channel.samples = answers_.number();
        channel.unusable = answers_.text();
        channels_.push_back(channel);
    }
    const std::uint64_t events = answers_.number();
    for (std::uint64_t i = 0; i < events; ++i) {
        ForeignEvent event;
        event.seconds = answers_.real();
        event.type = as_utf8(answers_.text());
        events_.push_back(event);
    }
}

void BiosigRecording::refuse_crashed() {
    int status = 0;
    std::string how = "ended early";
    if (::waitpid(process_.id, &status, 0) == process_.id && WIFSIGNALED(status)) {
        how = WTERMSIG(status) == SIGXCPU ? "did not come to an end"
                                          : std::string("crashed: ") + ::strsignal(WTERMSIG(status));
    }
    process_.id = -1;
    throw InputError(path().string() + ": is damaged or not a recording: libbiosig, which reads it, " + how);
}

void BiosigRecording::read(const std::vector<std::size_t>& which, std::uint64_t first, std::uint32_t count,
                           double* dest) {
    try {
        requests_.number(which.size());
        for (const std::size_t channel : which) {
            requests_.number(channel);
        }
        requests_.number(first);
        requests_.number(count);
        const std::string problem = answers_.text();
        if (!problem.empty()) {
            throw InputError(path().string() + ": " + printable(as_utf8(problem)));
        }
        answers_.bytes(dest, which.size() * std::uint64_t{count} * sizeof(double));
    } catch (const PipeClosed&) {
        refuse_crashed();
    }
}

} // namespace workbench::exchange
