#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include <cblas.h>
#include <fcntl.h>
#include <unistd.h>

#include "bench/bench_data.h"
#include "bench/routines.h"
#include "fileio/ctc.h"
#include "fileio/ctc_channel.h"
#include "tests/support/ctc_bytes.h"
#include "tests/support/temporary_folder.h"

// One round reads or writes one epoch of one channel, the next round the next epoch, and after the last the next
// channel: the order of a run.

namespace bench {

namespace {

constexpr unsigned int nChannels = 32;
constexpr unsigned int nSamples = 60000;
constexpr unsigned int epochSamples = 2001;
constexpr unsigned int nEpochs = nSamples / epochSamples;
constexpr std::size_t headerBytes = 32;

// A recording of its own, in a folder of its own that goes with it.
struct Recording {
    explicit Recording(unsigned int ordering) : sampleOrdering(ordering), path(folder.path() + "/r.ctc") {
        const std::vector<float> values = random_values(std::size_t{nChannels} * nSamples, 7);
        support::Bytes header;
        header.u32(1).u32(0).u32(1).u32(ordering).u32(nChannels).u32(nSamples).f32(1000.0f).u32(0);
        support::write_file(path, header.str() + bytes_of(values.data(), values.size()));
    }

    std::size_t stride() const { return sampleOrdering == 1 ? 1 : nChannels; }
    // Of the first sample of the round's epoch.
    std::size_t element() const {
        return sampleOrdering == 1 ? std::size_t{channel} * nSamples + first()
                                   : std::size_t{first()} * nChannels + channel;
    }
    std::size_t byte() const { return headerBytes + 4 * element(); }
    unsigned int first() const { return epoch * epochSamples; }
    void next() {
        if (++epoch == nEpochs) {
            epoch = 0;
            channel = (channel + 1) % nChannels;
        }
    }
    std::string bytes() const { return support::read_file(path); }

    support::TemporaryFolder folder;
    unsigned int sampleOrdering;
    std::string path;
    unsigned int channel = 0;
    unsigned int epoch = 0;
    std::vector<float> x = random_values(epochSamples, 8);
};

enum class Direction { get, set };

// What is compared: the values read, or the recording after one write.
Work work_of(const std::shared_ptr<Recording>& recording, Direction direction, const std::function<void()>& transfer,
             const std::function<std::string()>& stored) {
    return {[recording, transfer] {
                transfer();
                recording->next();
            },
            [recording, direction, stored] {
                return direction == Direction::get ? bytes_of(recording->x.data(), recording->x.size()) : stored();
            }};
}

Work ours(unsigned int ordering, bool inFile, Direction direction) {
    const auto recording = std::make_shared<Recording>(ordering);
    const std::shared_ptr<CTCStruct> ctc(new CTCStruct{}, [](CTCStruct* c) {
        FreeCTCMemory(c);
        delete c;
    });
    ReadEntireCTC(ctc.get(), recording->path.c_str(), inFile ? 1 : 0);
    const auto transfer = [recording, ctc, direction] {
        Recording& r = *recording;
        if (direction == Direction::get) {
            GetChannelSamples(r.x.data(), ctc.get(), r.channel, r.first(), epochSamples);
        } else {
            SetChannelSamples(r.x.data(), ctc.get(), r.channel, r.first(), epochSamples);
        }
    };
    return work_of(recording, direction, transfer, [recording, ctc, inFile] {
        return inFile ? recording->bytes().substr(headerBytes)
                      : bytes_of(ctc->FloatSamples, std::size_t{nChannels} * nSamples);
    });
}

// Sample by sample where they lie apart, one call of the stream for each run of neighbours.
Work plain_in_file(unsigned int ordering, Direction direction) {
    const auto recording = std::make_shared<Recording>(ordering);
    const auto stream =
        std::make_shared<std::fstream>(recording->path, std::ios::in | std::ios::out | std::ios::binary);
    const auto transfer = [recording, stream, direction] {
        Recording& r = *recording;
        const std::size_t atOnce = r.sampleOrdering == 1 ? epochSamples : 1;
        for (std::size_t i = 0; i < epochSamples; i += atOnce) {
            const auto at = static_cast<std::streamoff>(r.byte() + 4 * i * r.stride());
            const auto size = static_cast<std::streamsize>(4 * atOnce);
            if (direction == Direction::get) {
                stream->seekg(at);
                stream->read(reinterpret_cast<char*>(&r.x[i]), size);
            } else {
                stream->seekp(at);
                stream->write(reinterpret_cast<const char*>(&r.x[i]), size);
            }
        }
    };
    return work_of(recording, direction, transfer, [recording, stream] {
        stream->flush();
        return recording->bytes().substr(headerBytes);
    });
}

Work plain_in_memory(unsigned int ordering, Direction direction) {
    const auto recording = std::make_shared<Recording>(ordering);
    const auto values = std::make_shared<std::vector<float>>(random_values(std::size_t{nChannels} * nSamples, 7));
    const auto transfer = [recording, values, direction] {
        Recording& r = *recording;
        float* at = values->data() + r.element();
        for (std::size_t i = 0; i < epochSamples; ++i) {
            if (direction == Direction::get) {
                r.x[i] = at[i * r.stride()];
            } else {
                at[i * r.stride()] = r.x[i];
            }
        }
    };
    return work_of(recording, direction, transfer, [values] { return bytes_of(values->data(), values->size()); });
}

struct Descriptor {
    explicit Descriptor(const std::string& path) : number(open(path.c_str(), O_RDWR | O_CLOEXEC)) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { close(number); }
    int number;
};

// The system's own calls: the stretch of the file that holds the epoch at once; written back where samples lie apart.
Work system_calls(unsigned int ordering, Direction direction) {
    const auto recording = std::make_shared<Recording>(ordering);
    const auto file = std::make_shared<Descriptor>(recording->path);
    const auto stretch = std::make_shared<std::vector<float>>((epochSamples - 1) * recording->stride() + 1);
    const auto transfer = [recording, file, stretch, direction] {
        Recording& r = *recording;
        const auto at = static_cast<off_t>(r.byte());
        const std::size_t size = 4 * stretch->size();
        const bool whole = r.stride() == 1;
        float* values = whole ? r.x.data() : stretch->data();
        if ((direction == Direction::get || !whole) &&
            pread(file->number, values, size, at) != static_cast<ssize_t>(size)) {
            std::abort();
        }
        for (std::size_t i = 0; !whole && i < epochSamples; ++i) {
            if (direction == Direction::get) {
                r.x[i] = values[i * r.stride()];
            } else {
                values[i * r.stride()] = r.x[i];
            }
        }
        if (direction == Direction::set && pwrite(file->number, values, size, at) != static_cast<ssize_t>(size)) {
            std::abort();
        }
    };
    return work_of(recording, direction, transfer, {});
}

Work blas_copy(unsigned int ordering, Direction direction) {
    const auto recording = std::make_shared<Recording>(ordering);
    const auto values = std::make_shared<std::vector<float>>(random_values(std::size_t{nChannels} * nSamples, 7));
    const auto transfer = [recording, values, direction] {
        Recording& r = *recording;
        float* at = values->data() + r.element();
        const int stride = static_cast<int>(r.stride());
        if (direction == Direction::get) {
            cblas_scopy(epochSamples, at, stride, r.x.data(), 1);
        } else {
            cblas_scopy(epochSamples, r.x.data(), 1, at, stride);
        }
    };
    return work_of(recording, direction, transfer, {});
}

void add_transfer(const std::string& routine, Direction direction, unsigned int ordering) {
    const std::string size = "ordering " + std::to_string(ordering) + ", ";
    add_routine(
        routine, size + "file", [=] { return ours(ordering, true, direction); },
        [=] { return plain_in_file(ordering, direction); },
        direction == Direction::get ? "pread" : (ordering == 1 ? "pwrite" : "pread + pwrite"),
        [=] { return system_calls(ordering, direction); });
    add_routine(
        routine, size + "memory", [=] { return ours(ordering, false, direction); },
        [=] { return plain_in_memory(ordering, direction); }, "OpenBLAS scopy",
        [=] { return blas_copy(ordering, direction); });
}

} // namespace

void add_sample_routines() {
    for (const unsigned int ordering : {1U, 2U}) {
        add_transfer("GetChannelSamples", Direction::get, ordering);
        add_transfer("SetChannelSamples", Direction::set, ordering);
    }
}

} // namespace bench
