#include "workbench/report/result_findings.h"

#include <cstdint>

#include "workbench/channel_list.h"
#include "workbench/report/spectral_findings.h"

namespace workbench {

namespace {

std::string channels_text(const std::vector<std::uint32_t>& channels) {
    return (channels.size() == 1 ? "channel " : "channels ") + channel_list(channels);
}

} // namespace

std::vector<std::string> result_warnings(const Comparison& comparison, const std::vector<OutsideWindows>& outside,
                                         bool nothingDiffers) {
    if (nothingDiffers) {
        return {"The two recordings hold the same samples: nothing was removed. Is the second one the cleaned "
                "recording?"};
    }
    std::vector<std::uint32_t> notFinite;
    std::vector<std::uint32_t> littleGone;
    std::vector<std::uint32_t> worse;
    std::vector<std::uint32_t> changedOutside;
    for (std::uint32_t channel = 0; channel < comparison.channels.size(); ++channel) {
        const ChannelComparison& result = comparison.channels[channel];
        if (result.notFiniteAfter > result.notFiniteBefore) {
            notFinite.push_back(channel);
        } else if (result.rmsAfter > result.rmsBefore) {
            worse.push_back(channel);
        } else if (result.lockedDbRemoved < removalThreshold) {
            littleGone.push_back(channel);
        }
        if (outside[channel].keptShare < keptShareThreshold) {
            changedOutside.push_back(channel);
        }
    }
    std::vector<std::string> warnings;
    if (!notFinite.empty()) {
        warnings.push_back("After the removal " + channels_text(notFinite) + " hold" +
                           (notFinite.size() == 1 ? "s" : "") +
                           " values that are not numbers. Was the channel flat in a whole segment?");
    }
    if (!worse.empty()) {
        warnings.push_back("In " + channels_text(worse) +
                           " there is more in the windows after the removal than before it.");
    }
    if (!littleGone.empty()) {
        warnings.push_back("In " + channels_text(littleGone) + " the artifact fell by less than " +
                           decimal_text(removalThreshold, 0) +
                           " dB. Are the triggers and the window the right ones, and is there an artifact?");
    }
    if (!changedOutside.empty()) {
        warnings.push_back("Outside the windows " + channels_text(changedOutside) +
                           " changed too. Is this the window that the removal was run with?");
    }
    return warnings;
}

} // namespace workbench
