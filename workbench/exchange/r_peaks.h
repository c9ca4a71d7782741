#pragma once

#include <cstddef>
#include <vector>

/// Heartbeats in an electrocardiogram.
///
/// Method: the detector of Hamilton (Open source ECG analysis, Computers in Cardiology 2002, 29:101-104), which follows
/// Pan and Tompkins (A real-time QRS detection algorithm, IEEE Trans. Biomed. Eng. 1985, 32:230-236). The signal is
/// band-passed (8 to 16 Hz), differentiated, rectified and averaged over 80 ms. Of the maxima, none closer than 200 ms
/// to a larger one, those above a threshold between the medians of the last 8 beats and the last 8 other maxima are
/// beats, except that a maximum within 360 ms of a beat with less than half its slope is a T wave. Where no beat came
/// for 1.5 intervals, the largest maximum above half the threshold is one. All filters look both ways, for the
/// recording is there as a whole. Two things are added: the levels are learned anew where no beat was found for 4 s
/// (after a large disturbance), and the R peak itself is then looked for in the signal, on the side (up or down) on
/// which most beats have it.
namespace workbench::exchange {

/// The lowest rate at which beats can be found.
constexpr double lowestEcgRate = 100.0;

/// Averages samples in groups so that the rate becomes 200 to 400 per second; rates below 400 stay as they are.
class EcgReducer {
public:
    explicit EcgReducer(double rate);

    void add(const double* values, std::size_t count);
    const std::vector<float>& signal() const { return signal_; }
    double rate() const { return rate_ / static_cast<double>(group_); }
    /// Samples of the full rate in one of the reduced.
    std::size_t group() const { return group_; }

private:
    double rate_;
    std::size_t group_;
    std::size_t inGroup_ = 0;
    double sum_ = 0.0;
    std::vector<float> signal_;
};

struct Heartbeats {
    std::vector<std::size_t> peaks; ///< R peaks, in samples of the signal, ascending
    bool upward = true;             ///< they point up
};

/// @param rate  samples per second, 100 to 400
Heartbeats find_heartbeats(const std::vector<float>& signal, double rate);

/// The R peak among the samples of a stretch of the full rate: the highest (or lowest) value of the signal averaged
/// over 5 samples at most 8 ms apart. @return its place in the stretch.
std::size_t peak_place(const std::vector<double>& stretch, double rate, bool upward);

} // namespace workbench::exchange
