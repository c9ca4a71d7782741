#include "fileio/ctc_channel.h"

#include <algorithm>
#include <cstdint>
#include <iostream>
#include <memory>
#include <new>

#include "fileio/ctc_convert.h"
#include "fileio/ctc_header.h"

namespace {

// Where a run of samples lies among the elements of the data section, and how its values are scaled.
// Element addresses are 32-bit and wrap.
struct Run {
    unsigned int start;
    unsigned int stride;
    unsigned int count;
    float offset;
    float scale;
    bool consecutive; // stride 1: a file-backed access is one transfer

    unsigned int element(unsigned int i) const { return start + i * stride; }
};

// False when the request is refused.
bool locate(const CTCStruct* ctc, unsigned int channel, unsigned int firstSample, unsigned int count, Run* run) {
    if (ctc->FileVersion == 0 || channel >= ctc->NrOfChannels || ctc->NrOfSamples < firstSample + count) {
        return false;
    }
    if (ctc->SampleOrdering == 1) {
        *run = {channel * ctc->NrOfSamples + firstSample, 1, count, 0.0f, 1.0f, true};
    } else if (ctc->SampleOrdering == 2) {
        const bool oneChannel = ctc->NrOfChannels == 1;
        *run = {firstSample * ctc->NrOfChannels + channel, ctc->NrOfChannels, count, 0.0f, 1.0f, oneChannel};
    } else {
        std::cerr << "Unsupported SampleOrdering for this function." << std::endl;
        return false;
    }
    switch (ctc->DataType) {
    case 1:
        return true;
    case 3:
    case 4:
    case 5:
        if (ctc->ChannelOffsets == nullptr || ctc->ChannelScales == nullptr) {
            return false;
        }
        run->offset = ctc->ChannelOffsets[channel];
        run->scale = ctc->ChannelScales[channel];
        return true;
    default:
        std::cerr << "Unsupported Datatype." << std::endl;
        return false;
    }
}

// How many elements of a holder may be touched; none when it is absent.
unsigned long long elements_held(const CTCStruct* ctc, const void* holder) {
    return holder == nullptr ? 0 : fileio::total_samples(*ctc);
}

template <class Stored>
std::unique_ptr<Stored[]> temporary(unsigned int count) {
    return std::unique_ptr<Stored[]>(new (std::nothrow) Stored[count]);
}

template <class Stored>
unsigned int get_samples(float* dest, const CTCStruct* ctc, const Run& run, const Stored* holder) {
    if (ctc->FileView == nullptr) {
        const unsigned long long held = elements_held(ctc, holder);
        for (unsigned int i = 0; i < run.count; ++i) {
            if (run.element(i) < held) {
                dest[i] = fileio::value_of(holder[run.element(i)], run.scale, run.offset);
            }
        }
    } else if (!run.consecutive) {
        for (unsigned int i = 0; i < run.count; ++i) {
            Stored stored = 0;
            if (transio_read_buffer(ctc->FileView, run.element(i), 1, &stored) == 1) {
                dest[i] = fileio::value_of(stored, run.scale, run.offset);
            }
        }
    } else {
        const std::unique_ptr<Stored[]> stored = temporary<Stored>(run.count);
        if (stored == nullptr) {
            return 0;
        }
        if (transio_read_buffer(ctc->FileView, run.start, run.count, stored.get()) == run.count) {
            for (unsigned int i = 0; i < run.count; ++i) {
                dest[i] = fileio::value_of(stored[i], run.scale, run.offset);
            }
        }
    }
    return run.count;
}

// Scaled floats are read straight into dest and converted in place, whatever was read: the view of such a
// recording has elements of one byte.
unsigned int get_scaled_floats_from_run(float* dest, const CTCStruct* ctc, const Run& run) {
    transio_read_buffer(ctc->FileView, run.start, run.count, dest);
    for (unsigned int i = 0; i < run.count; ++i) {
        dest[i] = fileio::value_of(dest[i], run.scale, run.offset);
    }
    return run.count;
}

template <class Stored>
unsigned int set_samples(const float* src, CTCStruct* ctc, const Run& run, Stored* holder, unsigned int bulkShift) {
    if (ctc->FileView == nullptr) {
        const unsigned long long held = elements_held(ctc, holder);
        for (unsigned int i = 0; i < run.count; ++i) {
            if (run.element(i) < held) {
                holder[run.element(i)] = fileio::stored_from<Stored>(src[i], run.scale, run.offset);
            }
        }
    } else if (!run.consecutive) {
        for (unsigned int i = 0; i < run.count; ++i) {
            const Stored stored = fileio::stored_from<Stored>(src[i], run.scale, run.offset);
            transio_write_buffer(ctc->FileView, run.element(i), 1, &stored);
        }
    } else {
        const std::unique_ptr<Stored[]> stored = temporary<Stored>(run.count);
        if (stored == nullptr) {
            return 0;
        }
        for (unsigned int i = 0; i < run.count; ++i) {
            stored[i] = fileio::stored_from<Stored>(src[i], run.scale, run.offset);
        }
        const unsigned long long target = static_cast<unsigned long long>(run.start) + bulkShift;
        transio_write_buffer(ctc->FileView, target, run.count, stored.get());
    }
    return run.count;
}

unsigned int get_floats(float* dest, const CTCStruct* ctc, const Run& run) {
    if (ctc->FileView != nullptr && run.consecutive) {
        transio_read_buffer(ctc->FileView, run.start, run.count, dest);
        return run.count;
    }
    if (ctc->FileView != nullptr) {
        for (unsigned int i = 0; i < run.count; ++i) {
            float stored = 0.0f;
            if (transio_read_buffer(ctc->FileView, run.element(i), 1, &stored) == 1) {
                dest[i] = stored;
            }
        }
        return run.count;
    }
    const unsigned long long held = elements_held(ctc, ctc->FloatSamples);
    for (unsigned int i = 0; i < run.count; ++i) {
        if (run.element(i) < held) {
            dest[i] = ctc->FloatSamples[run.element(i)];
        }
    }
    return run.count;
}

unsigned int set_floats(const float* src, CTCStruct* ctc, const Run& run) {
    if (ctc->FileView != nullptr && run.consecutive) {
        transio_write_buffer(ctc->FileView, run.start, run.count, src);
        return run.count;
    }
    if (ctc->FileView != nullptr) {
        for (unsigned int i = 0; i < run.count; ++i) {
            transio_write_buffer(ctc->FileView, run.element(i), 1, &src[i]);
        }
        return run.count;
    }
    const unsigned long long held = elements_held(ctc, ctc->FloatSamples);
    for (unsigned int i = 0; i < run.count; ++i) {
        if (run.element(i) < held) {
            ctc->FloatSamples[run.element(i)] = src[i];
        }
    }
    return run.count;
}

} // namespace

unsigned int GetChannelSamples(float* dest, CTCStruct* ctc, unsigned int channel, unsigned int firstSample,
                               unsigned int count) {
    Run run{};
    if (!locate(ctc, channel, firstSample, count, &run)) {
        return 0;
    }
    switch (ctc->DataType) {
    case 1:
        return get_floats(dest, ctc, run);
    case 3:
        return get_samples<std::int16_t>(dest, ctc, run, ctc->Int16Samples);
    case 4:
        return get_samples<std::int8_t>(dest, ctc, run, ctc->Int8Samples);
    default:
        return ctc->FileView != nullptr && run.consecutive ? get_scaled_floats_from_run(dest, ctc, run)
                                                           : get_samples<float>(dest, ctc, run, ctc->FloatSamples);
    }
}

unsigned int SetChannelSamples(const float* src, CTCStruct* ctc, unsigned int channel, unsigned int firstSample,
                               unsigned int count) {
    Run run{};
    if (!locate(ctc, channel, firstSample, count, &run)) {
        return 0;
    }
    // Whole runs of 16- and 8-bit samples, channel by channel, are stored one run further on: kept on purpose. No
    // other path shifts.
    const unsigned int shift = ctc->SampleOrdering == 1 ? run.count : 0;
    switch (ctc->DataType) {
    case 1:
        return set_floats(src, ctc, run);
    case 3:
        return set_samples<std::int16_t>(src, ctc, run, ctc->Int16Samples, shift);
    case 4:
        return set_samples<std::int8_t>(src, ctc, run, ctc->Int8Samples, shift);
    default:
        return set_samples<float>(src, ctc, run, ctc->FloatSamples, 0);
    }
}
