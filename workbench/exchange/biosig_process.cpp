#include "workbench/exchange/biosig_process.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wpedantic"
#include <biosig.h>
#pragma GCC diagnostic pop

#include "workbench/exchange/pipe_message.h"
#include "workbench/exchange/text_encoding.h"

namespace workbench::exchange {

namespace {

// The library writes what it thinks to standard output and error; and a damaged file can make it ask for any amount of
// memory, or never come to an end.
void restrain(const std::filesystem::path& file) {
    const int nothing = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        ::dup2(nothing, descriptor);
    }
    std::error_code error;
    const std::uint64_t size = std::filesystem::file_size(file, error);
    rlimit processor{};
    getrlimit(RLIMIT_CPU, &processor);
    processor.rlim_cur = std::min<rlim_t>(processor.rlim_max, 300 + (error ? 0 : size / (1 << 20)));
    setrlimit(RLIMIT_CPU, &processor);
    const rlimit noCore{0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
#ifndef ORIDAN_UNDER_ASAN // the sanitizer takes terabytes of addresses
    constexpr std::uint64_t gigabyte = 1 << 30;
    rlimit memory{};
    getrlimit(RLIMIT_AS, &memory);
    // The whole recording is loaded, as it is and as numbers of 8 bytes.
    memory.rlim_cur = std::min<rlim_t>(memory.rlim_max, 4 * gigabyte + (error ? 0 : 20 * size));
    setrlimit(RLIMIT_AS, &memory);
#endif
}

std::string error_text(HDRTYPE* header) {
    char* message = biosig_get_errormsg(header);
    const std::string text = message == nullptr ? "" : message;
    std::free(message);
    return text;
}

// Samples of a channel per sample of the recording's common grid, which is the finest: 1 / n.
std::uint32_t step_of(const HDRTYPE& header, std::size_t channel) {
    const std::uint32_t own = header.CHANNEL[channel].SPR;
    return own == 0 || header.SPR % own != 0 ? 0 : header.SPR / own;
}

void send_channels(const HDRTYPE& header, PipeWriter& answers) {
    answers.number(header.NS);
    for (std::size_t i = 0; i < header.NS; ++i) {
        const CHANNEL_TYPE& channel = header.CHANNEL[i];
        const std::uint32_t step = step_of(header, i);
        std::string unusable;
        if (channel.OnOff == 2) {
            unusable = "holds the times of the samples";
        } else if (step == 0) {
            unusable = "is sampled at single moments";
        }
        const char* unit = channel.PhysDimCode == 0 ? "" : PhysDim3(channel.PhysDimCode);
        answers.text(trimmed(channel.Label));
        answers.text(unit == nullptr ? "" : unit);
        answers.real(step == 0 ? 0.0 : header.SampleRate / step);
        answers.number(step == 0 ? 0 : static_cast<std::uint64_t>(header.NRec) * channel.SPR);
        answers.text(unusable);
    }
}

void send_events(HDRTYPE* header, PipeWriter& answers) {
    constexpr std::uint16_t endOfEvent = 0x8000;   // marks where another event ends
    constexpr std::uint16_t sparseSample = 0x7fff; // a value, not something that happened
    constexpr std::uint16_t newSegment = 0x7ffe;
    std::vector<std::uint32_t> sent;
    for (std::uint32_t i = 0; i < header->EVENT.N; ++i) {
        const std::uint16_t type = header->EVENT.TYP[i];
        const bool start = type == newSegment && header->EVENT.POS[i] == 0;
        if (type < endOfEvent && type != sparseSample && !start) {
            sent.push_back(i);
        }
    }
    const double rate = header->EVENT.SampleRate > 0.0 ? header->EVENT.SampleRate : header->SampleRate;
    answers.number(sent.size());
    for (const std::uint32_t i : sent) {
        const char* description = GetEventDescription(header, i);
        const std::string text = description == nullptr ? "" : trimmed(description);
        answers.real(static_cast<double>(header->EVENT.POS[i]) / rate);
        answers.text(text.empty() ? "type " + std::to_string(header->EVENT.TYP[i]) : text);
    }
}

// Answers one request after another, from the whole recording in memory: the library reads correctly from the first
// data record only. (Version 2.5.0 takes the values of later ones from beside what it has loaded.)
class SampleServer {
public:
    SampleServer(HDRTYPE* header, PipeReader& requests, PipeWriter& answers)
        : header_(header), requests_(requests), answers_(answers) {}

    void serve() {
        std::vector<std::size_t> which(requests_.number());
        for (std::size_t& channel : which) {
            channel = requests_.number();
        }
        const std::uint64_t first = requests_.number();
        const std::uint64_t count = requests_.number();
        if (const std::string problem = load(); !problem.empty()) {
            answers_.text(problem);
            return;
        }
        answers_.text("");
        std::vector<double> values(count);
        for (const std::size_t channel : which) {
            const std::uint64_t step = step_of(*header_, channel);
            const double* column = header_->data.block + columns_[channel] * header_->data.size[0];
            for (std::uint64_t i = 0; i < count; ++i) {
                values[i] = column[(first + i) * step];
            }
            answers_.bytes(values.data(), count * sizeof(double));
        }
    }

private:
    // Only channels that are on appear in the library's block. @return why it could not be read
    std::string load() {
        if (loaded_) {
            return "";
        }
        std::uint64_t on = 0;
        for (std::size_t i = 0; i < header_->NS; ++i) {
            columns_.push_back(on);
            header_->CHANNEL[i].OnOff = step_of(*header_, i) == 0 ? 0 : 1;
            on += step_of(*header_, i) == 0 ? 0U : 1U;
        }
        const auto records = static_cast<std::uint64_t>(header_->NRec);
        const double gigabytes = 8.0 * static_cast<double>(records) * header_->SPR * static_cast<double>(on) / 1e9;
        const double present =
            static_cast<double>(sysconf(_SC_PHYS_PAGES)) * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1e9;
        if (gigabytes > present) {
            return "libbiosig reads it as a whole, which takes " + std::to_string(static_cast<int>(gigabytes) + 1) +
                   " GB of memory; convert it to EDF or BrainVision first";
        }
        const std::uint64_t read = sread(nullptr, 0, records, header_);
        loaded_ = read == records && biosig_check_error(header_) == 0 && header_->data.block != nullptr &&
                  header_->data.size[0] >= records * header_->SPR && header_->data.size[1] == on;
        const std::string why = loaded_ ? "" : error_text(header_);
        return loaded_ ? "" : "libbiosig cannot read its samples" + (why.empty() ? "" : " (" + why + ")");
    }

    HDRTYPE* header_;
    PipeReader& requests_;
    PipeWriter& answers_;
    bool loaded_ = false;
    std::vector<std::uint64_t> columns_; // of each channel, in the library's block
};

std::string problem_of(HDRTYPE* header) {
    if (header == nullptr) {
        return "there is no memory to read it";
    }
    if (const int error = biosig_check_error(header); error != 0) {
        const std::string text = error_text(header);
        return error == B4C_FORMAT_UNKNOWN ? "is in no format that the workbench or libbiosig knows"
                                           : "libbiosig cannot read it" + (text.empty() ? "" : " (" + text + ")");
    }
    const bool whole = header->NS > 0 && header->NRec > 0 && header->SPR > 0;
    if (!whole) {
        return "holds no samples";
    }
    constexpr double highestRate = 1e12; // infinity is none
    return header->SampleRate > 0.0 && header->SampleRate < highestRate ? "" : "states no sampling rate";
}

} // namespace

void serve_biosig_file(const std::filesystem::path& file, int requestPipe, int answerPipe) {
    restrain(file);
    PipeReader requests(requestPipe, nullptr);
    PipeWriter answers(answerPipe);
    try {
        HDRTYPE* header = constructHDR(0, 0);
        if (header != nullptr) {
            header->FLAG.OVERFLOWDETECTION = 0;
            header->FLAG.UCAL = 0;
            header->FLAG.ROW_BASED_CHANNELS = 0;
            header = sopen(file.c_str(), "r", header);
        }
        const std::string problem = problem_of(header);
        answers.text(problem);
        if (problem.empty()) {
            const char* format = GetFileTypeString(header->TYPE);
            answers.text(format == nullptr ? "" : format);
            send_channels(*header, answers);
            send_events(header, answers);
            SampleServer server(header, requests, answers);
            while (true) {
                server.serve();
            }
        }
    } catch (const std::exception&) {
        // The pipe was closed: nobody wants more.
    }
    _exit(0);
}

} // namespace workbench::exchange
