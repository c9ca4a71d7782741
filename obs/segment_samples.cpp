#include "obs/segment_samples.h"

#include <algorithm>

#include "fileio/ctc_channel.h"
#include "numerics/arrays.h"
#include "obs/step_timer.h"

namespace {

using obs::FitSettings;

// Samples between two windows that are moved along with them: a transfer of its own costs as much as some thousand
// bytes.
constexpr std::int64_t widestGap = 512;

std::int64_t start_of(const FitSettings& s, int trigger) {
    return std::int64_t{trigger} - s.preS;
}

// The sample access takes the window, end and all.
bool is_accessible(const FitSettings& s, const CTCStruct& ctc, int trigger) {
    return obs::window_is_valid(s, ctc, trigger) &&
           start_of(s, trigger) + s.L <= static_cast<std::int64_t>(ctc.NrOfSamples);
}

// Only there every sample is moved as it is and to its own place, and neighbours are neighbours in the file.
bool can_be_grouped(const CTCStruct& ctc) {
    return ctc.DataType == 1 && ctc.SampleOrdering == 1 && ctc.FileView != nullptr;
}

bool moved_whole(const CTCStruct& ctc) {
    return ctc.FileView->stream->good();
}

} // namespace

namespace obs {

bool window_is_valid(const FitSettings& s, const CTCStruct& ctc, int trigger) {
    return start_of(s, trigger) >= 0 && std::int64_t{trigger} + s.postS <= static_cast<std::int64_t>(ctc.NrOfSamples);
}

SegmentSamples::SegmentSamples(int N, int L) : capacity_(std::int64_t{N} * L + (N - 1) * widestGap) {
    stretches_.reserve(static_cast<std::size_t>(N));
    samples_ = fvector(0, capacity_ - 1);
}

SegmentSamples::~SegmentSamples() {
    free_fvector(samples_, 0, capacity_ - 1);
}

// Windows are grouped where each starts no earlier than the one before it. Where a segment's own windows are not in
// that order there are no stretches: what lies between the windows of one could then belong to another.
void SegmentSamples::find_stretches(const FitSettings& s, const CTCStruct& ctc, const int* triggers, int own) {
    stretches_.clear();
    if (!can_be_grouped(ctc) || !std::is_sorted(triggers, triggers + own)) {
        return;
    }
    float* free = samples_;
    for (int k = 0; k < s.N; ++k) {
        if (!is_accessible(s, ctc, triggers[k])) {
            continue;
        }
        const std::int64_t first = start_of(s, triggers[k]);
        Stretch* last = stretches_.empty() ? nullptr : &stretches_.back();
        const bool joins = last != nullptr && last->to == k && k != own && triggers[k] >= triggers[k - 1] &&
                           first <= last->firstSample + last->count + widestGap;
        if (joins) {
            last->to = k + 1;
            free -= last->count;
            last->count = first + s.L - last->firstSample;
        } else {
            stretches_.push_back({k, k + 1, first, s.L, free, false});
            last = &stretches_.back();
        }
        free += last->count;
    }
    std::erase_if(stretches_, [](const Stretch& stretch) { return stretch.to - stretch.from < 2; });
}

Stretch* SegmentSamples::stretch_of(int k) {
    for (Stretch& stretch : stretches_) {
        if (stretch.from <= k && k < stretch.to) {
            return &stretch;
        }
    }
    return nullptr;
}

void SegmentSamples::read(const FitSettings& s, CTCStruct* ctc, unsigned int channel, const int* triggers, int own,
                          float** E, float* x) {
    ORIDAN_STEP(read);
    find_stretches(s, *ctc, triggers, own);
    std::erase_if(stretches_, [&](const Stretch& stretch) {
        const unsigned int read =
            GetChannelSamples(stretch.samples, ctc, channel, static_cast<unsigned int>(stretch.firstSample),
                              static_cast<unsigned int>(stretch.count));
        return read == 0 || !moved_whole(*ctc); // then each window is tried by itself
    });
    for (int k = 0; k < s.N; ++k) {
        if (!window_is_valid(s, *ctc, triggers[k])) {
            std::fill_n(E[k], s.L, 0.0f);
            continue;
        }
        const std::int64_t first = start_of(s, triggers[k]);
        if (const Stretch* stretch = stretch_of(k)) {
            std::copy_n(stretch->samples + (first - stretch->firstSample), s.L, x);
        } else {
            GetChannelSamples(x, ctc, channel, static_cast<unsigned int>(first), static_cast<unsigned int>(s.L));
        }
        std::copy_n(x, s.L, E[k]);
    }
}

void SegmentSamples::put_back(const FitSettings& s, CTCStruct* ctc, unsigned int channel, int k, int trigger,
                              const float* x) {
    ORIDAN_STEP(write);
    const std::int64_t first = start_of(s, trigger);
    if (Stretch* stretch = stretch_of(k)) {
        std::copy_n(x, s.L, stretch->samples + (first - stretch->firstSample));
        stretch->cleaned = true;
    } else {
        SetChannelSamples(x, ctc, channel, static_cast<unsigned int>(first), static_cast<unsigned int>(s.L));
    }
}

void SegmentSamples::write(CTCStruct* ctc, unsigned int channel) {
    ORIDAN_STEP(write);
    for (const Stretch& stretch : stretches_) {
        if (stretch.cleaned) {
            SetChannelSamples(stretch.samples, ctc, channel, static_cast<unsigned int>(stretch.firstSample),
                              static_cast<unsigned int>(stretch.count));
        }
    }
}

} // namespace obs
