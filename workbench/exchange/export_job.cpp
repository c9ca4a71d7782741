#include "workbench/exchange/export_job.h"

#include <algorithm>

namespace workbench::exchange {

std::uint32_t ExportJob::block_length() const {
    constexpr std::uint64_t blockValues = 1 << 20; // of all channels together
    return static_cast<std::uint32_t>(std::max<std::uint64_t>(1, blockValues / channels.size()));
}

} // namespace workbench::exchange
