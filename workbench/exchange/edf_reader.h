#pragma once

#include "workbench/exchange/edf_header.h"
#include "workbench/exchange/foreign_recording.h"

namespace workbench::exchange {

/// EDF, EDF+, BDF and BDF+. Signals with annotations are no channels. A recording that its last annotation says ends
/// within the last data record ends there.
class EdfRecording : public ForeignRecording {
public:
    /// Throws InputError for a file that is damaged, or cut short or with gaps where the options do not allow that.
    EdfRecording(const std::filesystem::path& path, const OpenOptions& options);

    std::string format() const override;
    std::vector<ForeignEvent> events() override { return events_; }
    std::optional<std::size_t> code_channel() const override;
    void read(const std::vector<std::size_t>& which, std::uint64_t first, std::uint32_t count, double* dest) override;

private:
    // Data records without time between them.
    struct Piece {
        std::uint64_t firstRecord = 0;
        double start = 0.0; // seconds after the start time in the header
    };
    struct TimedText {
        double onset = 0.0;
        std::string text;
    };

    void count_records(const OpenOptions& options);
    void read_annotations();
    void use_pieces(const OpenOptions& options);
    void use_texts();
    void list_channels();
    double joined_seconds(double onset) const;
    void read_records(const std::vector<std::size_t>& which, std::uint64_t first, std::uint32_t count, double* dest);
    void read_slices(const std::vector<std::size_t>& which, std::uint64_t first, std::uint32_t count, double* dest);
    void decode(const EdfSignal& signal, const char* bytes, std::uint64_t samples, double* dest) const;

    BinaryFile file_;
    EdfHeader header_;
    std::uint64_t records_ = 0;
    double lastSeconds_ = 0.0; // of the last data record that belong to the recording
    std::vector<Piece> pieces_;
    std::vector<TimedText> texts_;
    std::vector<ForeignEvent> events_;
    std::vector<std::size_t> signalOf_; // one per channel
    std::vector<char> block_;
};

} // namespace workbench::exchange
