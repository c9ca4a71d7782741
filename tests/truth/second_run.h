#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/truth/second_samples.h"

namespace truth {

struct Condition {
    std::string name;
    std::vector<std::int32_t> intervals;
};

/// What a user chooses and enters.
struct Answers {
    std::vector<Condition> conditions;
    std::int32_t timeResolution = 1; ///< 1: intervals are sample numbers; otherwise microseconds
    int selected = 1;                ///< the condition's number, from 1
    int pre = 0;                     ///< ms
    int post = 0;                    ///< ms
    int perSegment = 1;
    int components = 1;
};

/// How often the unusual happened, so that a comparison can show that it met it.
struct Counts {
    int segments = 0;
    int written = 0;        ///< epochs handed to the writer
    int borrowed = 0;       ///< epochs that the last segment took from the one before
    int outside = 0;        ///< windows outside the recording
    int endingAtTheEnd = 0; ///< windows one sample too long, which are neither read nor written
    int open = 0;           ///< segments with a sample whose value the processor chooses
    int nonFinite = 0;      ///< segments with NaN or infinity in them
};

struct Outcome {
    Bytes output;
    Bytes open; ///< 1 for every byte of the output that the processor chooses; empty: none
    bool completed = false;
    bool trialFileWritten = false;
    std::string trialFile;
    std::string trialText;
    Counts counts;
};

/// The whole run on the bytes of a recording.
Outcome run(const Bytes& input, const Answers& answers);

} // namespace truth
