#include "workbench/report/packed_series.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <stdexcept>

#include <zlib.h>

namespace workbench {

namespace {

constexpr int compressionLevel = 5; // higher levels gain a few per cent only: what is left is mostly noise

// The value as its neighbours foretell it: nothing, the last value, or the line through the last two.
int prediction(const std::vector<std::int16_t>& values, std::size_t at, int order) {
    if (order == 0 || at == 0) {
        return 0;
    }
    if (order == 1 || at == 1) {
        return values[at - 1];
    }
    return 2 * values[at - 1] - values[at - 2];
}

// What is left after the prediction, modulo 65536.
std::int16_t rest(const std::vector<std::int16_t>& values, std::size_t at, int order) {
    return static_cast<std::int16_t>(static_cast<std::uint16_t>(values[at] - prediction(values, at, order)));
}

int best_order(const std::vector<std::int16_t>& values) {
    std::array<std::uint64_t, 3> sums{};
    for (std::size_t i = 0; i < values.size(); ++i) {
        for (int order = 0; order < 3; ++order) {
            sums[static_cast<std::size_t>(order)] +=
                static_cast<std::uint64_t>(std::abs(static_cast<int>(rest(values, i, order))));
        }
    }
    return static_cast<int>(std::min_element(sums.begin(), sums.end()) - sums.begin());
}

std::vector<unsigned char> deflated(const std::vector<unsigned char>& bytes) {
    uLongf size = compressBound(static_cast<uLong>(bytes.size()));
    std::vector<unsigned char> compressed(size);
    if (compress2(compressed.data(), &size, bytes.data(), static_cast<uLong>(bytes.size()), compressionLevel) != Z_OK) {
        throw std::runtime_error("a series of the report could not be compressed");
    }
    compressed.resize(size);
    return compressed;
}

} // namespace

Scale scale_for(double lowest, double highest, double finestStep) {
    if (!(lowest <= highest)) {
        return {}; // no finite value at all
    }
    const double step = std::max((highest - lowest) / 65534.0, finestStep);
    return {(lowest + highest) / 2.0, step > 0.0 ? step : 1.0};
}

std::vector<std::int16_t> quantised(const float* values, std::size_t count, const Scale& scale) {
    std::vector<std::int16_t> steps(count);
    for (std::size_t i = 0; i < count; ++i) {
        const double step = std::nearbyint((static_cast<double>(values[i]) - scale.offset) / scale.step);
        steps[i] = std::isfinite(values[i]) ? static_cast<std::int16_t>(std::clamp(step, -32767.0, 32767.0)) : gapStep;
    }
    return steps;
}

// One byte with the order of the prediction, then the low bytes of all values, then their high bytes: the high bytes
// are nearly always 0 and shrink to almost nothing.
std::string packed(const std::vector<std::int16_t>& values) {
    const int order = best_order(values);
    const std::size_t count = values.size();
    std::vector<unsigned char> bytes(1 + 2 * count);
    bytes[0] = static_cast<unsigned char>(order);
    for (std::size_t i = 0; i < count; ++i) {
        const int left = rest(values, i, order);
        const auto folded = static_cast<unsigned int>(left < 0 ? -2 * left - 1 : 2 * left); // small ones first
        bytes[1 + i] = static_cast<unsigned char>(folded & 0xFFU);
        bytes[1 + count + i] = static_cast<unsigned char>(folded >> 8);
    }
    return base64(deflated(bytes));
}

std::string base64(const std::vector<unsigned char>& bytes) {
    constexpr const char* digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const auto byte = [&](std::size_t at) { return at < bytes.size() ? static_cast<unsigned int>(bytes[at]) : 0U; };
        const unsigned int three = byte(i) << 16 | byte(i + 1) << 8 | byte(i + 2);
        text += digits[three >> 18];
        text += digits[three >> 12 & 63U];
        text += i + 1 < bytes.size() ? digits[three >> 6 & 63U] : '=';
        text += i + 2 < bytes.size() ? digits[three & 63U] : '=';
    }
    return text;
}

} // namespace workbench
