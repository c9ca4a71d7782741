#pragma once

#include <cstddef>

namespace workbench {

/// The page as JoinPage.cmake put it together.
extern const unsigned char pageBytes[];
extern const std::size_t pageByteCount;

} // namespace workbench
