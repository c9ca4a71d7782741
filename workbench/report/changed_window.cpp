#include "workbench/report/changed_window.h"

#include <algorithm>
#include <cmath>

#include "workbench/report/blocks.h"

namespace workbench {

namespace {

constexpr std::int64_t widestGap = 3;

bool differ(float a, float b) {
    return a != b && !(std::isnan(a) && std::isnan(b));
}

} // namespace

std::vector<ChangedStretch> changed_stretches(RecordingReader& before, RecordingReader& after,
                                              const std::function<void()>& betweenBlocks) {
    const std::size_t channels = before.header().NrOfChannels;
    std::vector<ChangedStretch> stretches;
    std::vector<float> a;
    std::vector<float> b;
    for_each_block(before.header(), [&](std::int64_t first, std::uint32_t count) {
        betweenBlocks();
        a.resize(channels * count);
        b.resize(channels * count);
        before.read(first, count, a.data());
        after.read(first, count, b.data());
        for (std::size_t i = 0; i < count; ++i) {
            bool changed = false;
            for (std::size_t channel = 0; channel < channels && !changed; ++channel) {
                changed = differ(a[channel * count + i], b[channel * count + i]);
            }
            const std::int64_t sample = first + static_cast<std::int64_t>(i);
            if (changed && !stretches.empty() && sample - stretches.back().last <= widestGap + 1) {
                stretches.back().last = sample;
            } else if (changed) {
                stretches.push_back({sample, sample});
            }
        }
    });
    return stretches;
}

std::optional<Window> window_of_changes(const std::vector<ChangedStretch>& stretches,
                                        std::vector<std::int64_t> triggers) {
    if (stretches.empty() || triggers.empty()) {
        return std::nullopt;
    }
    std::sort(triggers.begin(), triggers.end());
    Window window{0, 0};
    for (const ChangedStretch& stretch : stretches) {
        const auto first = std::lower_bound(triggers.begin(), triggers.end(), stretch.first);
        const auto behind = std::upper_bound(triggers.begin(), triggers.end(), stretch.last);
        if (first != behind) {
            window.preS = std::max(window.preS, *first - stretch.first);
            window.postS = std::max(window.postS, stretch.last - *(behind - 1));
        } else if (behind == triggers.end() ||
                   (first != triggers.begin() && stretch.first - *(first - 1) <= *behind - stretch.last)) {
            window.postS = std::max(window.postS, stretch.last - *(first - 1));
        } else {
            window.preS = std::max(window.preS, *behind - stretch.first);
        }
    }
    return window;
}

} // namespace workbench
