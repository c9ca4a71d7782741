#include "fileio/ctc_condition.h"

#include <limits>

#include "fileio/ctc_run.h"

namespace {

// Distances inside a condition's block, in elements.
struct BlockLayout {
    unsigned long long channelStart; // first element of the channel
    unsigned int perTrial;
    unsigned int perSample;
};

// False for an ordering without condition blocks. Products of header counts wrap at 32 bits.
bool layout_of(const CTCStruct& ctc, unsigned int condition, unsigned int channel, BlockLayout* layout) {
    const unsigned int trials = ctc.NrOfTrials[condition]; // 0 counts as 0 here
    const unsigned int pre = ctc.PreTriggerSamples[condition];
    const unsigned int length = pre + ctc.PostTriggerSamples[condition];
    const unsigned int channels = ctc.NrOfChannels;
    switch (ctc.SampleOrdering) {
    case 3: // The sample's position counts from the start of the epoch, and pre is added once more: kept on purpose.
        *layout = {static_cast<unsigned long long>(channel * length) + pre, length * channels, 1};
        return true;
    case 4:
        *layout = {channel, length * channels, channels};
        return true;
    case 5:
        *layout = {channel * trials * length, 1, trials};
        return true;
    case 6:
        *layout = {channel * trials, 1, channels * trials};
        return true;
    default:
        return false;
    }
}

// False when a 64-bit address cannot name the place.
bool element_of(unsigned long long channelStart, long trial, unsigned int perTrial, long long position,
                unsigned int perSample, long long* element) {
    long long trialOffset = 0;
    long long sampleOffset = 0;
    return !__builtin_mul_overflow(trial, perTrial, &trialOffset) &&
           !__builtin_mul_overflow(position, perSample, &sampleOffset) &&
           !__builtin_add_overflow(trialOffset, sampleOffset, element) &&
           !__builtin_add_overflow(*element, channelStart, element);
}

bool has_conditions(const CTCStruct& ctc) {
    return ctc.NrOfTrials != nullptr && ctc.PreTriggerSamples != nullptr && ctc.PostTriggerSamples != nullptr &&
           ctc.ConditionStarts != nullptr;
}

// False when the request is refused.
bool locate(const CTCStruct& ctc, unsigned int condition, long trial, unsigned int channel, long firstSample,
            unsigned int count, fileio::SampleRun* run) {
    if (ctc.FileVersion == 0 || channel >= ctc.NrOfChannels || condition >= ctc.NrOfConditions ||
        !has_conditions(ctc)) {
        return false;
    }
    const unsigned int pre = ctc.PreTriggerSamples[condition];
    const unsigned int length = pre + ctc.PostTriggerSamples[condition];
    long long position = 0; // of the first sample in the epoch; negative before it
    long long end = 0;
    if (__builtin_add_overflow(firstSample, pre, &position) || __builtin_add_overflow(position, count, &end) ||
        length < end) {
        return false;
    }
    BlockLayout layout{};
    if (!layout_of(ctc, condition, channel, &layout)) {
        fileio::report_ordering();
        return false;
    }
    run->count = count;
    run->stride = layout.perSample;
    const unsigned long long channelStart = ctc.ConditionStarts[condition] + layout.channelStart;
    if (!element_of(channelStart, trial, layout.perTrial, position, layout.perSample, &run->start)) {
        run->start = std::numeric_limits<long long>::min(); // outside every data section, all of it
        run->stride = 0;
    }
    return fileio::find_scaling(ctc, channel, run);
}

} // namespace

unsigned int GetConditionChannelSamples(float* dest, CTCStruct* ctc, unsigned int condition, long trial,
                                        unsigned int channel, long firstSample, unsigned int count) {
    fileio::SampleRun run{};
    return locate(*ctc, condition, trial, channel, firstSample, count, &run) ? fileio::get_run(dest, *ctc, run) : 0;
}

unsigned int SetConditionChannelSamples(const float* src, CTCStruct* ctc, unsigned int condition, long trial,
                                        unsigned int channel, long firstSample, unsigned int count) {
    fileio::SampleRun run{};
    return locate(*ctc, condition, trial, channel, firstSample, count, &run) ? fileio::set_run(src, *ctc, run, 0) : 0;
}
