// Every byte of a cleaned recording that the run had no business with must be the recording's.

#include "workbench/copied_samples.h"

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/ctc_bytes.h"
#include "tests/support/temporary_folder.h"

namespace {

using support::write_file;
using workbench::is_copy_outside_windows;
using workbench::RecordingReader;
using workbench::Window;

constexpr Window window{2, 3};
constexpr std::int64_t length = 6;

struct Layout {
    std::uint32_t type;
    std::uint32_t ordering;
    std::uint32_t channels;
    std::uint32_t samples;

    std::size_t element_size() const { return type == 3 ? 2 : (type == 4 ? 1 : 4); }
};

std::string header_bytes(const Layout& layout) {
    support::CtcHeader header;
    header.dataType = layout.type;
    header.sampleOrdering = layout.ordering;
    header.nrOfChannels = layout.channels;
    header.nrOfSamples = layout.samples;
    header.offsets.assign(layout.channels, 0.0f);
    header.scales.assign(layout.channels, 1.0f);
    return support::ctc_header_bytes(header);
}

std::string data_bytes(const Layout& layout) {
    std::string data(std::size_t{layout.channels} * layout.samples * layout.element_size(), '\0');
    for (std::size_t i = 0; i < data.size(); ++i) {
        data[i] = static_cast<char>(i * 37 % 251);
    }
    return data;
}

// The bytes of the data section that a run writes, one by one. 16- and 8-bit samples that lie channel by channel land
// one window later; scaled floats are moved as if each were one byte.
std::set<std::size_t> written_bytes(const Layout& layout, const std::vector<std::int64_t>& triggers) {
    const std::size_t size = layout.type == 5 ? 1 : layout.element_size();
    const bool late = layout.ordering == 1 && (layout.type == 3 || layout.type == 4);
    std::set<std::size_t> bytes;
    for (const std::int64_t trigger : triggers) {
        if (trigger - window.preS < 0 || trigger + window.postS >= std::int64_t{layout.samples}) {
            continue;
        }
        for (std::size_t channel = 0; channel < layout.channels; ++channel) {
            for (std::int64_t i = 0; i < length; ++i) {
                const auto sample = static_cast<std::size_t>(trigger - window.preS + i + (late ? length : 0));
                const std::size_t element =
                    layout.ordering == 1 ? channel * layout.samples + sample : sample * layout.channels + channel;
                for (std::size_t byte = 0; byte < size; ++byte) {
                    bytes.insert(element * size + byte);
                }
            }
        }
    }
    return bytes;
}

class CopiedSamples : public testing::Test {
protected:
    bool is_copy(const Layout& layout, const std::vector<std::int64_t>& triggers, const std::string& after) const {
        folder.write("after.ctc", header_bytes(layout) + after);
        const RecordingReader recording(folder.path("before.ctc"));
        return is_copy_outside_windows(recording, folder.path("after.ctc"), triggers, window);
    }

    support::TemporaryFolder folder;
};

TEST_F(CopiedSamples, EachByteCountsOutsideTheWindowsAndNoneInside) {
    const std::vector<std::int64_t> triggers{22, 1, 8, 11, 35, 37}; // one outside at either end, two that overlap
    for (const std::uint32_t type : {1U, 3U, 4U, 5U}) {
        for (const std::uint32_t ordering : {1U, 2U}) {
            const Layout layout{type, ordering, 2, 40};
            const std::string data = data_bytes(layout);
            folder.write("before.ctc", header_bytes(layout) + data);
            const std::set<std::size_t> written = written_bytes(layout, triggers);
            EXPECT_TRUE(is_copy(layout, triggers, data));
            for (std::size_t at = 0; at < data.size(); ++at) {
                std::string changed = data;
                changed[at] ^= 1;
                EXPECT_EQ(is_copy(layout, triggers, changed), written.count(at) == 1)
                    << "type " << type << ", ordering " << ordering << ", byte " << at;
            }
        }
    }
}

TEST_F(CopiedSamples, LongRecordingsAreLookedAtToTheirEnd) {
    const Layout layout{1, 1, 2, 300000}; // a window lies across the first 1048576 bytes, that is 262144 samples
    const std::vector<std::int64_t> triggers{100, 262143, 299990};
    const std::string data = data_bytes(layout);
    folder.write("before.ctc", header_bytes(layout) + data);
    const std::set<std::size_t> written = written_bytes(layout, triggers);
    std::string changed = data;
    for (const std::size_t at : written) {
        changed[at] ^= 1;
    }
    EXPECT_TRUE(is_copy(layout, triggers, changed));
    for (const std::size_t sample : {262140U, 262147U, 262200U, 299996U, 599999U}) {
        std::string spoilt = changed;
        spoilt[sample * 4 + 1] ^= 1;
        EXPECT_FALSE(is_copy(layout, triggers, spoilt)) << sample;
    }
}

TEST_F(CopiedSamples, WhatIsMissingAtTheEndMustBeZero) {
    const Layout layout{1, 2, 2, 40};
    const std::string data = data_bytes(layout);
    folder.write("before.ctc", header_bytes(layout) + data.substr(0, 300));
    std::string lengthened = data.substr(0, 300) + std::string(20, '\0');
    EXPECT_TRUE(is_copy(layout, {8}, lengthened));
    lengthened[310] = 1;
    EXPECT_FALSE(is_copy(layout, {8}, lengthened));
    EXPECT_FALSE(is_copy(layout, {8}, data.substr(0, 200))) << "the copy itself was cut short";
}

} // namespace
