// A whole run of the module: any recording, triggers and answers. The recording must stay as it was.

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>

#include <fuzzer/FuzzedDataProvider.h>

#include "fuzz/scratch_file.h"
#include "tests/run/recording_host.h"
#include "tests/support/temporary_folder.h"

namespace {

float rate_in(const std::string& recording) {
    float rate = 0.0f;
    if (recording.size() >= 28) {
        std::memcpy(&rate, recording.data() + 24, sizeof rate); // where nothing is compressed
    }
    return rate;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider choices(data, size);
    HostScript script;
    script.timeResolution = choices.ConsumeIntegralInRange(0, 3);
    HostCondition condition;
    condition.name = choices.ConsumeRandomLengthString(20);
    const int triggers = choices.ConsumeIntegralInRange(0, 40);
    for (int i = 0; i < triggers; ++i) {
        condition.intervals.push_back(choices.ConsumeBool() ? choices.ConsumeIntegral<std::int32_t>()
                                                            : choices.ConsumeIntegralInRange(0, 2000));
    }
    script.conditions.push_back(condition);
    const int pre = choices.ConsumeIntegralInRange(-10, 5000);
    const int post = choices.ConsumeIntegralInRange(-10, 5000);
    script.answers = {choices.ConsumeIntegralInRange(0, 2), pre, post, choices.ConsumeIntegralInRange(-1, 41),
                      choices.ConsumeIntegralInRange(-1, 41)};
    const std::string recording = choices.ConsumeRemainingBytesAsString();
    // Windows beyond a few megabytes end the program for want of memory, as documented; that is no news here.
    const double samples = (std::fabs(pre) + std::fabs(post)) * static_cast<double>(rate_in(recording)) / 1000.0;
    if (!(std::fabs(samples) < 20000.0)) {
        return 0;
    }
    const std::string path = fuzz::write_scratch("R.ctc", recording);
    script.dataFile = path;
    script.protocolFile = fuzz::scratch_folder() + "/R.prt";
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(fuzz::scratch_folder()); // for the trial file
    execute_module(script);
    std::filesystem::current_path(before);
    fuzz::require(support::read_file(path) == recording, "the recording is never changed");
    return 0;
}
