#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// Series of numbers as the report's page holds them: 16 bits each, compressed, as text.
namespace workbench {

/// How numbers become 16-bit steps: value = offset + step * stored.
struct Scale {
    double offset = 0.0;
    double step = 1.0;
};

/// Stored for a value that is not a finite number: a gap.
constexpr std::int16_t gapStep = -32768;

/// The finest scale that holds everything from lowest to highest, but no finer than finestStep.
Scale scale_for(double lowest, double highest, double finestStep);

/// Nearest steps. Values outside the scale become its ends.
std::vector<std::int16_t> quantised(const float* values, std::size_t count, const Scale& scale);

/// Predicts each value from its neighbours before it, deflates what is left and gives it as base64. The text holds
/// letters, digits, '+', '/' and '=' only. unpack.js reads it.
std::string packed(const std::vector<std::int16_t>& values);

std::string base64(const std::vector<unsigned char>& bytes);

} // namespace workbench
