#pragma once

#include <cstdint>
#include <vector>

#include "fileio/ctc.h"
#include "obs/obs_fit.h"

/// The samples of one segment's windows in one channel: read once, written once, in as few transfers as possible.
namespace obs {

/// Whether the whole window of a trigger lies in the recording, its end included.
/// A window that ends exactly at the recording's length is valid here and refused by the sample access, which needs one
/// sample more: its row repeats the epoch read before it, and nothing is written. Kept on purpose.
bool window_is_valid(const FitSettings& settings, const CTCStruct& ctc, int trigger);

/// Windows that follow each other closely, and the samples from the first one's start to the last one's end.
struct Stretch {
    int from; ///< first window, counted in the segment
    int to;   ///< behind the last
    std::int64_t firstSample;
    std::int64_t count;
    float* samples;
    bool cleaned; ///< some window of it has been put back
};

/// What a segment's windows need while they are worked on. Made once per run.
class SegmentSamples {
public:
    SegmentSamples(int N, int L);
    ~SegmentSamples();
    SegmentSamples(const SegmentSamples&) = delete;
    SegmentSamples& operator=(const SegmentSamples&) = delete;

    /// Fills row k of E with the window of trigger occurrence[k]: zeros where it is not valid.
    /// @param x          [0..L-1] as in fit_segment
    /// @param own        windows 0..own-1 will be put back
    void read(const FitSettings& settings, CTCStruct* ctc, unsigned int channel, const int* triggers, int own,
              float** E, float* x);

    /// Takes the cleaned samples of window k. Windows that are not part of a stretch are written at once.
    void put_back(const FitSettings& settings, CTCStruct* ctc, unsigned int channel, int k, int trigger,
                  const float* x);

    /// Writes the stretches that hold cleaned windows.
    void write(CTCStruct* ctc, unsigned int channel);

private:
    void find_stretches(const FitSettings& settings, const CTCStruct& ctc, const int* triggers, int own);
    Stretch* stretch_of(int k);

    std::vector<Stretch> stretches_; // in the order of their windows
    float* samples_;
    std::int64_t capacity_;
};

} // namespace obs
