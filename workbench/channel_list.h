#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace workbench {

/// Channels (counted from 0) as people count them, from 1; at most ten are spelled out.
inline std::string channel_list(const std::vector<std::uint32_t>& channels) {
    std::string text;
    for (std::size_t i = 0; i < channels.size() && i < 10; ++i) {
        text += (i == 0 ? "" : ", ") + std::to_string(channels[i] + 1);
    }
    return channels.size() > 10 ? text + " and " + std::to_string(channels.size() - 10) + " more" : text;
}

} // namespace workbench
