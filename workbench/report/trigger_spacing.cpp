#include "workbench/report/trigger_spacing.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace workbench {

namespace {

constexpr std::size_t fewestDistances = 3;
constexpr double evenShare = 0.1;
constexpr double alikeShare = 0.02;
constexpr double roundingSpread = 0.6; // samples; the distances of rounded triggers spread by half a sample

std::vector<double> sorted_distances(std::vector<std::int64_t> triggers) {
    std::sort(triggers.begin(), triggers.end());
    std::vector<double> distances;
    for (std::size_t i = 1; i < triggers.size(); ++i) {
        distances.push_back(static_cast<double>(triggers[i] - triggers[i - 1]));
    }
    std::sort(distances.begin(), distances.end());
    return distances;
}

} // namespace

double median_distance(const std::vector<std::int64_t>& triggers) {
    const std::vector<double> distances = sorted_distances(triggers);
    if (distances.empty()) {
        return 0.0;
    }
    const std::size_t half = distances.size() / 2;
    return distances.size() % 2 == 1 ? distances[half] : (distances[half - 1] + distances[half]) / 2.0;
}

double artifact_frequency(const std::vector<std::int64_t>& triggers, double rate) {
    const double median = median_distance(triggers);
    std::vector<double> distances = sorted_distances(triggers);
    const std::size_t all = distances.size();
    std::erase_if(distances, [&](double distance) { return std::abs(distance - median) > evenShare * median; });
    if (distances.size() < fewestDistances || 5 * distances.size() < 4 * all || median <= 0.0) {
        return 0.0;
    }
    double mean = 0.0;
    for (const double distance : distances) {
        mean += distance / static_cast<double>(distances.size());
    }
    double variance = 0.0;
    for (const double distance : distances) {
        variance += (distance - mean) * (distance - mean) / static_cast<double>(distances.size());
    }
    return std::sqrt(variance) <= std::max(roundingSpread, alikeShare * mean) ? rate / mean : 0.0;
}

} // namespace workbench
