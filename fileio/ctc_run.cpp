#include "fileio/ctc_run.h"

#include <cstdint>
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

template <class Stored>
std::unique_ptr<Stored[]> temporary(unsigned int count) {
    return std::unique_ptr<Stored[]>(new (std::nothrow) Stored[count]);
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
        for (unsigned int i = 0; i < run.count; ++i) {
            Stored stored = 0;
            if (transio_read_buffer(ctc.FileView, run.element(i), 1, &stored) == 1) {
                dest[i] = fileio::value_of(stored, run.scale, run.offset);
            }
        }
    } else {
        const std::unique_ptr<Stored[]> stored = temporary<Stored>(run.count);
        if (stored == nullptr) {
            return 0;
        }
        if (transio_read_buffer(ctc.FileView, run.element(0), run.count, stored.get()) == run.count) {
            for (unsigned int i = 0; i < run.count; ++i) {
                dest[i] = fileio::value_of(stored[i], run.scale, run.offset);
            }
        }
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
        for (unsigned int i = 0; i < run.count; ++i) {
            const Stored stored = fileio::stored_from<Stored>(src[i], run.scale, run.offset);
            transio_write_buffer(ctc.FileView, run.element(i), 1, &stored);
        }
    } else {
        const std::unique_ptr<Stored[]> stored = temporary<Stored>(run.count);
        if (stored == nullptr) {
            return 0;
        }
        for (unsigned int i = 0; i < run.count; ++i) {
            stored[i] = fileio::stored_from<Stored>(src[i], run.scale, run.offset);
        }
        transio_write_buffer(ctc.FileView, run.element(0) + bulkShift, run.count, stored.get());
    }
    return run.count;
}

unsigned int get_floats(float* dest, const CTCStruct& ctc, const SampleRun& run) {
    if (ctc.FileView != nullptr && run.stride == 1) {
        transio_read_buffer(ctc.FileView, run.element(0), run.count, dest);
        return run.count;
    }
    if (ctc.FileView != nullptr) {
        for (unsigned int i = 0; i < run.count; ++i) {
            float stored = 0.0f;
            if (transio_read_buffer(ctc.FileView, run.element(i), 1, &stored) == 1) {
                dest[i] = stored;
            }
        }
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
        for (unsigned int i = 0; i < run.count; ++i) {
            transio_write_buffer(ctc.FileView, run.element(i), 1, &src[i]);
        }
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
        return true;
    case 3:
    case 4:
    case 5:
        if (ctc.ChannelOffsets == nullptr || ctc.ChannelScales == nullptr) {
            return false;
        }
        run->offset = ctc.ChannelOffsets[channel];
        run->scale = ctc.ChannelScales[channel];
        return true;
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
