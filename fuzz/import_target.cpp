// Opens any bytes as EDF, BDF or BrainVision, reads all channels and events; any text as tables of events and channels.
// What is refused must be refused with an InputError.

#include <algorithm>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>

#include "fuzz/scratch_file.h"
#include "workbench/exchange/brainvision_reader.h"
#include "workbench/exchange/channels_table.h"
#include "workbench/exchange/edf_reader.h"
#include "workbench/exchange/events_table.h"
#include "workbench/input_error.h"

namespace {

using namespace workbench::exchange;

void read_all(ForeignRecording& recording) {
    recording.events();
    recording.code_channel();
    for (std::size_t channel = 0; channel < std::min<std::size_t>(recording.channels().size(), 8); ++channel) {
        const std::uint64_t samples = recording.channels()[channel].samples;
        const std::uint32_t count = static_cast<std::uint32_t>(std::min<std::uint64_t>(samples, 1000));
        std::vector<double> values(count);
        if (count != 0) {
            recording.read({channel}, 0, count, values.data());
            recording.read({channel}, samples - count, count, values.data());
        }
    }
}

void open_edf(FuzzedDataProvider& choices, const OpenOptions& options) {
    EdfRecording recording(fuzz::write_scratch("in.edf", choices.ConsumeRemainingBytesAsString()), options);
    read_all(recording);
}

void open_brainvision(FuzzedDataProvider& choices, const OpenOptions& options) {
    const std::string header = choices.ConsumeRandomLengthString(4096);
    fuzz::write_scratch("in.vmrk", choices.ConsumeRandomLengthString(4096));
    fuzz::write_scratch("in.eeg", choices.ConsumeRemainingBytesAsString());
    BrainVisionRecording recording(fuzz::write_scratch("in.vhdr", header), options);
    read_all(recording);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider choices(data, size);
    const int kind = choices.ConsumeIntegralInRange(0, 3);
    const OpenOptions options{choices.ConsumeBool(), choices.ConsumeBool()};
    try {
        if (kind == 0) {
            open_edf(choices, options);
        } else if (kind == 1) {
            open_brainvision(choices, options);
        } else {
            const std::string path = fuzz::write_scratch("in.tsv", choices.ConsumeRemainingBytesAsString());
            kind == 2 ? static_cast<void>(events_from_table(path, 1000.0))
                      : static_cast<void>(read_channels_table(path, 2));
        }
    } catch (const workbench::InputError&) {
    }
    return 0;
}
