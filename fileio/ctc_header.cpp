#include "fileio/ctc_header.h"

#include <cstdlib>

namespace {

using fileio::HeaderStatus;

constexpr unsigned long long unaddressable = 1ULL << 32;

struct HeaderReader {
    std::istream& stream;
    unsigned long long remaining; // bytes between the read position and the end of the file

    template <class T>
    bool field(T* value) {
        static_assert(sizeof(T) == 4);
        if (remaining < 4 || !stream.read(reinterpret_cast<char*>(value), 4)) {
            return false;
        }
        remaining -= 4;
        return true;
    }

    // An array is allocated only where the file is long enough to hold it.
    template <class T>
    HeaderStatus array(T** values, unsigned int count) {
        static_assert(sizeof(T) == 4);
        const unsigned long long bytes = 4ULL * count;
        if (remaining < bytes) {
            return HeaderStatus::cutShort;
        }
        *values = static_cast<T*>(std::calloc(count == 0 ? 1 : count, 4));
        if (*values == nullptr) {
            return HeaderStatus::noMemory;
        }
        if (!stream.read(reinterpret_cast<char*>(*values), static_cast<std::streamsize>(bytes))) {
            return HeaderStatus::cutShort;
        }
        remaining -= bytes;
        return HeaderStatus::ok;
    }
};

unsigned int epochs_of(const CTCStruct& ctc, unsigned int condition) {
    return ctc.NrOfTrials[condition] == 0 ? 1 : ctc.NrOfTrials[condition];
}

// First element of each condition block, in the 32-bit arithmetic in which elements are addressed.
void fill_condition_starts(CTCStruct* ctc) {
    unsigned int start = 0;
    for (unsigned int k = 0; k < ctc->NrOfConditions; ++k) {
        ctc->ConditionStarts[k] = start;
        start += (ctc->PreTriggerSamples[k] + ctc->PostTriggerSamples[k]) * ctc->NrOfChannels * epochs_of(*ctc, k);
    }
}

HeaderStatus read_conditions(HeaderReader& reader, CTCStruct* ctc) {
    const unsigned int count = ctc->NrOfConditions;
    for (unsigned int** values : {&ctc->NrOfTrials, &ctc->PreTriggerSamples, &ctc->PostTriggerSamples}) {
        const HeaderStatus status = reader.array(values, count);
        if (status != HeaderStatus::ok) {
            return status;
        }
    }
    ctc->ConditionStarts = static_cast<unsigned int*>(std::calloc(count, sizeof(unsigned int)));
    if (ctc->ConditionStarts == nullptr) {
        return HeaderStatus::noMemory;
    }
    fill_condition_starts(ctc);
    return HeaderStatus::ok;
}

} // namespace

namespace fileio {

void reset_ctc(CTCStruct* ctc) {
    *ctc = CTCStruct{};
    ctc->FileVersion = 1;
    ctc->SamplingFrequency = 1.0f;
}

HeaderStatus read_ctc_header(std::istream& stream, CTCStruct* ctc, unsigned int* fileVersion) {
    reset_ctc(ctc);
    stream.seekg(0, std::ios::end);
    const std::streamoff length = stream.tellg();
    stream.seekg(0);
    HeaderReader reader{stream, length > 0 ? static_cast<unsigned long long>(length) : 0};

    if (!reader.field(fileVersion) || !reader.field(&ctc->CompressionType)) {
        return HeaderStatus::cutShort;
    }
    if (ctc->CompressionType != 0) {
        if (!reader.field(&ctc->NrOfCompressionParams)) {
            return HeaderStatus::cutShort;
        }
        if (ctc->NrOfCompressionParams != 0) {
            const HeaderStatus status = reader.array(&ctc->CompressionParams, ctc->NrOfCompressionParams);
            if (status != HeaderStatus::ok) {
                return status;
            }
        }
    }
    if (!reader.field(&ctc->DataType)) {
        return HeaderStatus::cutShort;
    }
    if (ctc->DataType == 2 || ctc->DataType >= 6) {
        return HeaderStatus::unsupportedDataType;
    }
    if (!reader.field(&ctc->SampleOrdering)) {
        return HeaderStatus::cutShort;
    }
    if (ctc->SampleOrdering >= 7) {
        return HeaderStatus::unsupportedOrdering;
    }
    if (!reader.field(&ctc->NrOfChannels) || !reader.field(&ctc->NrOfSamples) ||
        !reader.field(&ctc->SamplingFrequency)) {
        return HeaderStatus::cutShort;
    }
    if (ctc->DataType > 2) {
        for (float** values : {&ctc->ChannelOffsets, &ctc->ChannelScales}) {
            const HeaderStatus status = reader.array(values, ctc->NrOfChannels);
            if (status != HeaderStatus::ok) {
                return status;
            }
        }
    }
    if (!reader.field(&ctc->NrOfConditions)) {
        return HeaderStatus::cutShort;
    }
    if (ctc->NrOfConditions != 0) {
        const HeaderStatus status = read_conditions(reader, ctc);
        if (status != HeaderStatus::ok) {
            return status;
        }
    }
    if (ctc->SampleOrdering == 0) { // only now: a header that is also cut short stays silent
        return HeaderStatus::unsupportedOrdering;
    }
    return total_samples(*ctc) < unaddressable ? HeaderStatus::ok : HeaderStatus::tooLarge;
}

unsigned long long total_samples(const CTCStruct& ctc) {
    if (ctc.SampleOrdering == 1 || ctc.SampleOrdering == 2) {
        const unsigned long long total = static_cast<unsigned long long>(ctc.NrOfChannels) * ctc.NrOfSamples;
        return total < unaddressable ? total : unaddressable;
    }
    if (ctc.SampleOrdering < 3 || ctc.SampleOrdering > 6) {
        return 0;
    }
    unsigned long long perChannel = 0;
    for (unsigned int k = 0; k < ctc.NrOfConditions; ++k) {
        const unsigned long long epoch =
            static_cast<unsigned long long>(ctc.PreTriggerSamples[k]) + ctc.PostTriggerSamples[k];
        unsigned long long block = 0;
        if (__builtin_mul_overflow(epoch, static_cast<unsigned long long>(epochs_of(ctc, k)), &block) ||
            __builtin_add_overflow(perChannel, block, &perChannel)) {
            perChannel = ~0ULL;
            break;
        }
    }
    unsigned long long total = 0;
    const bool overflows =
        __builtin_mul_overflow(perChannel, static_cast<unsigned long long>(ctc.NrOfChannels), &total);
    return overflows || total >= unaddressable ? unaddressable : total;
}

unsigned int stored_size(unsigned int dataType) {
    switch (dataType) {
    case 1:
    case 5:
        return 4;
    case 3:
        return 2;
    case 4:
        return 1;
    default:
        return 0;
    }
}

bool view_fits(const CTCStruct& ctc) {
    return ctc.FileView == nullptr || ctc.FileView->elementSize <= stored_size(ctc.DataType);
}

} // namespace fileio
