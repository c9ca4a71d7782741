// Damaged EDF, BDF and BrainVision files: read, or refused in one line.

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/bits.h"
#include "tests/workbench/exchange/foreign_bytes.h"
#include "tests/workbench/exchange/reading.h"

namespace {

using namespace test;

class Damaged : public testing::Test {
protected:
    // Reads a recording as far as it can be read. @return it was refused
    bool attempt(const std::string& path) {
        try {
            OpenOptions options;
            options.incomplete = true;
            options.joinGaps = true;
            const Opened opened(path, options);
            opened->events();
            for (std::size_t i = 0; i < opened->channels().size(); ++i) {
                const std::uint64_t samples = opened->channels()[i].samples;
                const auto count = static_cast<std::uint32_t>(std::min<std::uint64_t>(samples, 1000));
                opened.read(i, samples - count, count);
            }
        } catch (const workbench::InputError& error) {
            EXPECT_EQ(std::string(error.what()).find('\n'), std::string::npos) << error.what();
            return true;
        }
        return false;
    }

    // Cuts at every 16 bytes of the first ones, and random bytes in random places.
    void damage(const std::string& name, const std::string& whole, int trials) {
        int refused = 0;
        for (std::size_t size = 1; size < whole.size(); size += 16) {
            refused += attempt(folder.write(name, whole.substr(0, size))) ? 1 : 0;
        }
        for (int i = 0; i < trials; ++i) {
            std::string bytes = whole;
            for (int k = 0; k <= random.below(4); ++k) {
                const char digits[] = "0123456789-+. e=,[";
                const bool text = random.below(2) == 0;
                bytes[static_cast<std::size_t>(random.below(static_cast<int>(whole.size())))] =
                    text ? digits[random.below(18)] : static_cast<char>(random.below(256));
            }
            refused += attempt(folder.write(name, bytes)) ? 1 : 0;
        }
        EXPECT_GT(refused, 0);
    }

    support::TemporaryFolder folder;
    support::Random random{11};
};

// What is at opened[..] must be as the test expects where nothing is damaged.
EdfTestFile annotated(bool bdf) {
    EdfTestFile file = small_edf();
    file.bdf = bdf;
    file.kind = bdf ? "BDF+D" : "EDF+D";
    file.lists = {tal("+0", {""}) + tal("+0.25", {"A"}, "1"), tal("+5", {""}), tal("+6", {""})};
    return file;
}

TEST_F(Damaged, EdfFilesAreReadOrRefused) {
    damage("bad.edf", edf_bytes(annotated(false)), 2000);
}

TEST_F(Damaged, BdfFilesAreReadOrRefused) {
    damage("bad.bdf", edf_bytes(annotated(true)), 1000);
}

TEST_F(Damaged, BrainVisionHeadersAreReadOrRefused) {
    folder.write("bad.eeg", eeg_bytes(false, 3, 40, [](Bytes& out, int value) { out.i16(value); }));
    folder.write("bad.vmrk", vmrk_text("Mk1=Stimulus,S  1,51,1,0\r\n"));
    damage("bad.vhdr", vhdr_text("MULTIPLEXED", "INT_16"), 2000);
}

TEST_F(Damaged, BrainVisionMarkersAreReadOrRefused) {
    folder.write("bad.eeg", eeg_bytes(false, 3, 40, [](Bytes& out, int value) { out.i16(value); }));
    folder.write("bad.vhdr", vhdr_text("MULTIPLEXED", "INT_16"));
    const std::string whole = vmrk_text("Mk1=Stimulus,S  1,51,1,0\r\nMk2=Comment,a\\1b,52,1,0\r\n");
    int refused = 0;
    for (int i = 0; i < 2000; ++i) {
        std::string bytes = whole;
        bytes[static_cast<std::size_t>(random.below(static_cast<int>(whole.size())))] =
            static_cast<char>(random.below(256));
        folder.write("bad.vmrk", bytes);
        refused += attempt(folder.path("bad.vhdr")) ? 1 : 0;
    }
    EXPECT_GT(refused, 0);
}

} // namespace
