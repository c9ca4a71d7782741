#pragma once

#include "workbench/exchange/binary_file.h"
#include "workbench/exchange/brainvision_header.h"
#include "workbench/exchange/foreign_recording.h"

namespace workbench::exchange {

/// A BrainVision recording, opened by its .vhdr file.
class BrainVisionRecording : public ForeignRecording {
public:
    /// Throws InputError for a recording that is damaged, lacks a file, or is cut short where that is not allowed.
    BrainVisionRecording(const std::filesystem::path& path, const OpenOptions& options);

    std::string format() const override { return "BrainVision"; }
    std::vector<std::filesystem::path> files() const override;
    /// Markers by their description, or by their kind where they have none. A "New Segment" at the first sample is
    /// no event.
    std::vector<ForeignEvent> events() override;
    void read(const std::vector<std::size_t>& which, std::uint64_t first, std::uint32_t count, double* dest) override;

private:
    std::uint64_t number_bytes() const { return header_.number <= BrainVisionNumber::uint16 ? 2 : 4; }
    double number_at(const char* bytes) const;

    BrainVisionHeader header_;
    BinaryFile data_;
    std::uint64_t samples_ = 0;
    std::vector<char> block_;
};

} // namespace workbench::exchange
