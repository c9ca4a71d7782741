#include "fileio/ctc_run.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iostream>
#include <memory>
#include <new>

#include "fileio/ctc_convert.h"
#include "fileio/ctc_header.h"

namespace {

using fileio::SampleRun;

// How many elements of a holder may be touched; none when it is absent.
unsigned long long elements_held(const CTCStruct& ctc, const void* holder) {
    return holder == nullptr ? 0 : fileio::total_samples(ctc);
}

// Room for the stored elements of a run: for all of them, or for a few where there is no memory. A run that is not
// moved would go unnoticed, so it then moves piece by piece.
template <class Stored>
class Room {
public:
    explicit Room(unsigned int count)
        : all_(new (std::nothrow) Stored[count]),
          size_(all_ != nullptr ? count : static_cast<unsigned int>(fewElements)) {}

    Stored* data() { return all_ != nullptr ? all_.get() : few_; }
    unsigned int size() const { return size_; }

private:
    static constexpr std::size_t fewElements = 1024;

    std::unique_ptr<Stored[]> all_;
    unsigned int size_;
    Stored few_[fewElements];
};

// Consecutive elements move as a whole or not at all.
bool holds(const transio_struct& view, unsigned long long first, unsigned int count) {
    return first <= view.elementCount && count <= view.elementCount - first;
}

// Samples that lie apart move a block at a time, with what lies between them: a transfer of its own for every sample
// would take minutes for an hour of recording. What is between goes back as it was just read.
constexpr std::size_t blockBytes = 65536;

// How many samples from number `first` on one block can hold: those that follow each other, `stride` elements apart,
// inside the view. 0 or 1 where a block is no use.
unsigned int samples_in_block(const transio_struct& view, const SampleRun& run, unsigned int first) {
    const unsigned long long start = run.element(first);
    const std::size_t apart = std::size_t{run.stride} * view.elementSize;
    if (apart == 0 || apart > blockBytes / 2 || start >= view.elementCount) {
        return 0;
    }
    const unsigned long long inBlock = (blockBytes - view.elementSize) / apart + 1;
    const unsigned long long inView = (view.elementCount - 1 - start) / run.stride + 1;
    unsigned int samples = static_cast<unsigned int>(std::min({inBlock, inView, 0ULL + (run.count - first)}));
    while (samples > 1 && run.element(first + samples - 1) != start + (samples - 1ULL) * run.stride) {
        --samples; // addresses that wrap
    }
    return samples;
}

// Reads sample `first` and those after it into `block`. @return samples read; 0 where the file does not hold them.
unsigned int read_block(const transio_struct& view, const SampleRun& run, unsigned int first, char* block) {
    const unsigned int samples = block == nullptr ? 0 : samples_in_block(view, run, first);
    const unsigned int elements = samples < 2 ? 0 : (samples - 1) * run.stride + 1;
    return elements != 0 && transio_read_buffer(&view, run.element(first), elements, block) == elements ? samples : 0;
}

std::unique_ptr<char[]> new_block(const SampleRun& run) {
    return std::unique_ptr<char[]>(run.count < 2 ? nullptr : new (std::nothrow) char[blockBytes]);
}

// take(i, bytes) gets the stored element of every sample that can be read.
template <class Take>
void read_spread(const transio_struct& view, const SampleRun& run, Take take) {
    const std::unique_ptr<char[]> block = new_block(run);
    const std::size_t apart = std::size_t{run.stride} * view.elementSize;
    for (unsigned int i = 0; i < run.count;) {
        const unsigned int samples = read_block(view, run, i, block.get());
        for (unsigned int j = 0; j < samples; ++j) {
            take(i + j, block.get() + j * apart);
        }
        double single = 0.0; // room for any element
        if (samples == 0 && transio_read_buffer(&view, run.element(i), 1, &single) == 1) {
            take(i, &single);
        }
        i += samples == 0 ? 1 : samples;
    }
}

// put(i, bytes) makes the stored element of a sample.
template <class Put>
void write_spread(const transio_struct& view, const SampleRun& run, Put put) {
    const std::unique_ptr<char[]> block = new_block(run);
    const std::size_t apart = std::size_t{run.stride} * view.elementSize;
    for (unsigned int i = 0; i < run.count;) {
        const unsigned int samples = read_block(view, run, i, block.get());
        if (samples == 0) {
            double single = 0.0;
            put(i, &single);
            transio_write_buffer(&view, run.element(i), 1, &single);
            ++i;
            continue;
        }
        for (unsigned int j = 0; j < samples; ++j) {
            put(i + j, block.get() + j * apart);
        }
        transio_write_buffer(&view, run.element(i), (samples - 1) * run.stride + 1, block.get());
        i += samples;
    }
}

template <class Stored>
void read_consecutive(float* dest, const transio_struct& view, const SampleRun& run) {
    const unsigned long long start = run.element(0);
    Room<Stored> room(run.count);
    if (!holds(view, start, run.count)) {
        return;
    }
    for (unsigned int done = 0; done < run.count;) {
        const unsigned int count = std::min(room.size(), run.count - done);
        if (transio_read_buffer(&view, start + done, count, room.data()) == count) {
            for (unsigned int i = 0; i < count; ++i) {
                dest[done + i] = fileio::value_of(room.data()[i], run.scale, run.offset);
            }
        }
        done += count;
    }
}

template <class Stored>
void write_consecutive(const float* src, const transio_struct& view, const SampleRun& run, unsigned long long start) {
    Room<Stored> room(run.count);
    if (!holds(view, start, run.count)) {
        return;
    }
    for (unsigned int done = 0; done < run.count;) {
        const unsigned int count = std::min(room.size(), run.count - done);
        const float* from =
            src + std::size_t{done} * view.elementSize / sizeof(Stored); // scaled floats go byte by byte
        for (unsigned int i = 0; i < count; ++i) {
            room.data()[i] = fileio::stored_from<Stored>(from[i], run.scale, run.offset);
        }
        transio_write_buffer(&view, start + done, count, room.data());
        done += count;
    }
}

template <class Stored>
unsigned int get_samples(float* dest, const CTCStruct& ctc, const SampleRun& run, const Stored* holder) {
    if (ctc.FileView == nullptr) {
        const unsigned long long held = elements_held(ctc, holder);
        for (unsigned int i = 0; i < run.count; ++i) {
            if (run.element(i) < held) {
                dest[i] = fileio::value_of(holder[run.element(i)], run.scale, run.offset);
            }
        }
    } else if (run.stride != 1) {
        read_spread(*ctc.FileView, run, [&](unsigned int i, const void* bytes) {
            Stored stored = 0;
            std::memcpy(&stored, bytes, ctc.FileView->elementSize);
            dest[i] = fileio::value_of(stored, run.scale, run.offset);
        });
    } else {
        read_consecutive<Stored>(dest, *ctc.FileView, run);
    }
    return run.count;
}

// Scaled floats are read straight into dest and converted in place, whatever was read: the view of such a
// recording has elements of one byte.
unsigned int get_scaled_floats_from_run(float* dest, const CTCStruct& ctc, const SampleRun& run) {
    transio_read_buffer(ctc.FileView, run.element(0), run.count, dest);
    for (unsigned int i = 0; i < run.count; ++i) {
        dest[i] = fileio::value_of(dest[i], run.scale, run.offset);
    }
    return run.count;
}

template <class Stored>
unsigned int set_samples(const float* src, const CTCStruct& ctc, const SampleRun& run, Stored* holder,
                         unsigned int bulkShift) {
    if (ctc.FileView == nullptr) {
        const unsigned long long held = elements_held(ctc, holder);
        for (unsigned int i = 0; i < run.count; ++i) {
            if (run.element(i) < held) {
                holder[run.element(i)] = fileio::stored_from<Stored>(src[i], run.scale, run.offset);
            }
        }
    } else if (run.stride != 1) {
        write_spread(*ctc.FileView, run, [&](unsigned int i, void* bytes) {
            const Stored stored = fileio::stored_from<Stored>(src[i], run.scale, run.offset);
            std::memcpy(bytes, &stored, ctc.FileView->elementSize);
        });
    } else {
        write_consecutive<Stored>(src, *ctc.FileView, run, run.element(0) + bulkShift);
    }
    return run.count;
}

// As many bytes as an element of the view has: nearly always those of a float, which are told apart to be one move.
void copy_element(void* dest, const void* src, const transio_struct& view) {
    if (view.elementSize == sizeof(float)) {
        std::memcpy(dest, src, sizeof(float));
    } else {
        std::memcpy(dest, src, view.elementSize);
    }
}

unsigned int get_floats(float* dest, const CTCStruct& ctc, const SampleRun& run) {
    if (ctc.FileView != nullptr && run.stride == 1) {
        transio_read_buffer(ctc.FileView, run.element(0), run.count, dest);
        return run.count;
    }
    if (ctc.FileView != nullptr) {
        read_spread(*ctc.FileView, run, [&](unsigned int i, const void* bytes) {
            dest[i] = 0.0f;
            copy_element(&dest[i], bytes, *ctc.FileView);
        });
        return run.count;
    }
    const unsigned long long held = elements_held(ctc, ctc.FloatSamples);
    for (unsigned int i = 0; i < run.count; ++i) {
        if (run.element(i) < held) {
            dest[i] = ctc.FloatSamples[run.element(i)];
        }
    }
    return run.count;
}

unsigned int set_floats(const float* src, const CTCStruct& ctc, const SampleRun& run) {
    if (ctc.FileView != nullptr && run.stride == 1) {
        transio_write_buffer(ctc.FileView, run.element(0), run.count, src);
        return run.count;
    }
    if (ctc.FileView != nullptr) {
        write_spread(*ctc.FileView, run,
                     [&](unsigned int i, void* bytes) { copy_element(bytes, &src[i], *ctc.FileView); });
        return run.count;
    }
    const unsigned long long held = elements_held(ctc, ctc.FloatSamples);
    for (unsigned int i = 0; i < run.count; ++i) {
        if (run.element(i) < held) {
            ctc.FloatSamples[run.element(i)] = src[i];
        }
    }
    return run.count;
}

} // namespace

namespace fileio {

unsigned long long SampleRun::element(unsigned int i) const {
    if (wraps) {
        return static_cast<unsigned int>(start) + i * stride;
    }
    constexpr unsigned long long nowhere = 1ULL << 63; // no data section is that long
    unsigned long long address = 0;
    const bool unusable = __builtin_add_overflow(start, static_cast<unsigned long long>(i) * stride, &address);
    return unusable ? nowhere : address;
}

void report_ordering() {
    std::cerr << "Unsupported SampleOrdering for this function." << std::endl;
}

bool find_scaling(const CTCStruct& ctc, unsigned int channel, SampleRun* run) {
    run->offset = 0.0f;
    run->scale = 1.0f;
    switch (ctc.DataType) {
    case 1:
        return view_fits(ctc);
    case 3:
    case 4:
    case 5:
        if (ctc.ChannelOffsets == nullptr || ctc.ChannelScales == nullptr) {
            return false;
        }
        run->offset = ctc.ChannelOffsets[channel];
        run->scale = ctc.ChannelScales[channel];
        return view_fits(ctc);
    default:
        std::cerr << "Unsupported Datatype." << std::endl;
        return false;
    }
}

unsigned int get_run(float* dest, const CTCStruct& ctc, const SampleRun& run) {
    switch (ctc.DataType) {
    case 1:
        return get_floats(dest, ctc, run);
    case 3:
        return get_samples<std::int16_t>(dest, ctc, run, ctc.Int16Samples);
    case 4:
        return get_samples<std::int8_t>(dest, ctc, run, ctc.Int8Samples);
    default:
        return ctc.FileView != nullptr && run.stride == 1 ? get_scaled_floats_from_run(dest, ctc, run)
                                                          : get_samples<float>(dest, ctc, run, ctc.FloatSamples);
    }
}

unsigned int set_run(const float* src, CTCStruct& ctc, const SampleRun& run, unsigned int integerShift) {
    switch (ctc.DataType) {
    case 1:
        return set_floats(src, ctc, run);
    case 3:
        return set_samples<std::int16_t>(src, ctc, run, ctc.Int16Samples, integerShift);
    case 4:
        return set_samples<std::int8_t>(src, ctc, run, ctc.Int8Samples, integerShift);
    default:
        return set_samples<float>(src, ctc, run, ctc.FloatSamples, 0);
    }
}

} // namespace fileio
