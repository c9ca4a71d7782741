// Reads any bytes as a CTC file, in memory and file-backed, moves runs of channels and conditions, saves the recording
// and reads it back.

#include <algorithm>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>

#include "fileio/ctc.h"
#include "fileio/ctc_channel.h"
#include "fileio/ctc_condition.h"
#include "fuzz/scratch_file.h"

namespace {

constexpr unsigned int mostSamples = 4096;

void move_channel(FuzzedDataProvider& choices, CTCStruct& ctc) {
    const unsigned int channel = choices.ConsumeIntegral<unsigned int>() % (ctc.NrOfChannels + 1U);
    const unsigned int first = choices.ConsumeBool() ? choices.ConsumeIntegral<unsigned int>()
                                                     : choices.ConsumeIntegralInRange<unsigned int>(0, mostSamples);
    const unsigned int count = choices.ConsumeIntegralInRange<unsigned int>(0, mostSamples);
    std::vector<float> run(count, 1.5f);
    const unsigned int got = GetChannelSamples(run.data(), &ctc, channel, first, count);
    fuzz::require(got == 0 || got == count, "a run is read whole or refused");
    if (choices.ConsumeBool()) {
        SetChannelSamples(run.data(), &ctc, channel, first, count);
    }
}

void move_condition(FuzzedDataProvider& choices, CTCStruct& ctc) {
    const unsigned int condition = choices.ConsumeIntegralInRange<unsigned int>(0, 8);
    const unsigned int channel = choices.ConsumeIntegral<unsigned int>() % (ctc.NrOfChannels + 1U);
    const long trial = choices.ConsumeBool() ? choices.ConsumeIntegral<long>() : choices.ConsumeIntegral<signed char>();
    const long first = choices.ConsumeBool() ? choices.ConsumeIntegral<long>() : choices.ConsumeIntegral<signed char>();
    const unsigned int count = choices.ConsumeIntegralInRange<unsigned int>(0, mostSamples);
    std::vector<float> run(count, 1.5f);
    const unsigned int got = GetConditionChannelSamples(run.data(), &ctc, condition, trial, channel, first, count);
    fuzz::require(got == 0 || got == count, "a run is read whole or refused");
    if (choices.ConsumeBool()) {
        SetConditionChannelSamples(run.data(), &ctc, condition, trial, channel, first, count);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider choices(data, size);
    const unsigned int fileBacked = choices.ConsumeBool() ? 1 : 0;
    const int moves = choices.ConsumeIntegralInRange(0, 6);
    const std::string moveBytes = choices.ConsumeBytesAsString(static_cast<std::size_t>(moves) * 40);
    const std::string path = fuzz::write_scratch("in.ctc", choices.ConsumeRemainingBytesAsString());
    FuzzedDataProvider moveChoices(reinterpret_cast<const std::uint8_t*>(moveBytes.data()), moveBytes.size());
    CTCStruct ctc{};
    const int opened = ReadEntireCTC(&ctc, path.c_str(), fileBacked);
    fuzz::require(opened == 0 || opened == 1, "the result is 0 or 1");
    if (opened == 1) {
        PrintCTCHeader(&ctc);
        for (int i = 0; i < moves; ++i) {
            move_channel(moveChoices, ctc);
            move_condition(moveChoices, ctc);
        }
        const std::string copy = fuzz::scratch_folder() + "/out.ctc";
        if (WriteEntireCTC(&ctc, copy.c_str(), 0) == 1) {
            CTCStruct again{};
            ReadEntireCTC(&again, copy.c_str(), 0);
            FreeCTCMemory(&again);
        }
    } else {
        fuzz::require(ctc.FloatSamples == nullptr && ctc.Int16Samples == nullptr && ctc.Int8Samples == nullptr &&
                          ctc.FileView == nullptr && ctc.ChannelOffsets == nullptr && ctc.NrOfTrials == nullptr,
                      "after a refusal every pointer is null");
    }
    FreeCTCMemory(&ctc);
    FreeCTCMemory(&ctc); // harmless on one that was freed
    return 0;
}
