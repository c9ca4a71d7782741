#include "workbench/check/segment_findings.h"

#include <algorithm>
#include <cmath>

#include "workbench/channel_list.h"

namespace workbench {

namespace {

// One channel in one segment, window by window.
struct Segment {
    bool seen = false;
    bool varies = false;
    bool spoiled = false;
    float first = 0.0f;

    void take(const float* samples, std::size_t count) {
        first = seen ? first : samples[0];
        seen = true;
        varies = varies || !std::all_of(samples, samples + count, [this](float x) { return x == first; });
        spoiled = spoiled || !std::all_of(samples, samples + count, [](float x) { return std::isfinite(x); });
    }
};

template <class Count>
void add(const std::vector<SegmentFindings>& findings, const Count& count, const char* what,
         std::vector<std::string>& sentences) {
    std::vector<std::uint32_t> channels;
    for (const SegmentFindings& f : findings) {
        if (count(f) != 0) {
            channels.push_back(f.channel);
        }
    }
    if (!channels.empty()) {
        sentences.push_back((channels.size() == 1 ? "channel " : "channels ") + channel_list(channels) + " " + what);
    }
}

} // namespace

std::vector<SegmentFindings> examine_segments(RecordingReader& recording, const std::vector<std::int64_t>& triggers,
                                              const Window& window, std::size_t perSegment) {
    const std::size_t nChannels = recording.header().NrOfChannels;
    const auto length = static_cast<std::size_t>(window.length());
    std::vector<float> samples(nChannels * length);
    std::vector<SegmentFindings> findings(nChannels);
    std::vector<Segment> segments(nChannels);
    for (std::size_t i = 0; i < triggers.size(); ++i) {
        if (window.fits(triggers[i], recording.header().NrOfSamples)) {
            recording.read(triggers[i] - window.preS, static_cast<std::uint32_t>(length), samples.data());
            for (std::size_t c = 0; c < nChannels; ++c) {
                segments[c].take(&samples[c * length], length);
            }
        }
        const bool segmentEnds = (i + 1) % perSegment == 0 || i + 1 == triggers.size();
        for (std::size_t c = 0; segmentEnds && c < nChannels; ++c) {
            findings[c].channel = static_cast<std::uint32_t>(c);
            findings[c].flatSegments += segments[c].seen && !segments[c].varies ? 1U : 0U;
            findings[c].spoiledSegments += segments[c].spoiled ? 1U : 0U;
            segments[c] = Segment{};
        }
    }
    return findings;
}

std::vector<std::string> segment_warnings(const std::vector<SegmentFindings>& findings) {
    std::vector<std::string> sentences;
    add(
        findings, [](const SegmentFindings& f) { return f.flatSegments; },
        "flat in the windows of a whole segment: the fit there has nothing to stand on and may leave values that are "
        "not numbers",
        sentences);
    add(
        findings, [](const SegmentFindings& f) { return f.spoiledSegments; },
        "with windows that hold samples that are not numbers: all windows of their segments will not be numbers",
        sentences);
    return sentences;
}

} // namespace workbench
