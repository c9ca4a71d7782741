#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "workbench/recording.h"

namespace tools {

/// The shortest text from which the same number is read again: "0.1", "1e-09", "nan", "inf".
std::string number_text(float number);
std::string number_text(double number);

/// "3 (16-bit integers, scaled)" and "1 (channel, sample)".
std::string data_type_text(std::uint32_t dataType);
std::string ordering_text(std::uint32_t ordering);

/// "3 samples of 4 channels", with the number of conditions where there are some.
std::string extent_text(std::uint32_t ordering, std::uint32_t channels, std::uint64_t samples,
                        std::uint32_t conditions);

/// What is not as the header of a recording promises, one sentence each: a data section that is cut short, compression.
std::vector<std::string> shortcomings(const workbench::RecordingReader& recording);

/// Prints notes on standard error.
void say_notes(const std::vector<std::string>& notes);

} // namespace tools
