#pragma once

#include <cstdint>
#include <string>

#include "tests/truth/second_run.h"

namespace truth {

/// A small recording and what a user answers, made up from its number alone.
struct RandomRecording {
    Bytes bytes;
    Answers answers;
    std::string description;
    std::uint32_t dataType = 0;
    std::uint32_t ordering = 0;
    std::uint32_t channels = 0;
    bool cutShort = false;
};

RandomRecording random_recording(std::uint64_t number);

} // namespace truth
