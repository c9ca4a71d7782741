#include "tools/recording_text.h"

#include <charconv>
#include <iostream>

#include "fileio/ctc_header.h"

namespace tools {

namespace {

template <class Number>
std::string shortest(Number number) {
    char text[64];
    return std::string(text, std::to_chars(text, text + sizeof text, number).ptr);
}

} // namespace

std::string number_text(float number) {
    return shortest(number);
}

std::string number_text(double number) {
    return shortest(number);
}

std::string data_type_text(std::uint32_t dataType) {
    switch (dataType) {
    case 1:
        return "1 (floats)";
    case 3:
        return "3 (16-bit integers, scaled)";
    case 4:
        return "4 (8-bit integers, scaled)";
    default:
        return "5 (floats, scaled)";
    }
}

std::string ordering_text(std::uint32_t ordering) {
    switch (ordering) {
    case 1:
        return "1 (channel, sample)";
    case 2:
        return "2 (sample, channel)";
    case 3:
        return "3 (conditions; trial, channel, sample)";
    case 4:
        return "4 (conditions; trial, sample, channel)";
    case 5:
        return "5 (conditions; channel, sample, trial)";
    default:
        return "6 (conditions; sample, channel, trial)";
    }
}

std::string extent_text(std::uint32_t ordering, std::uint32_t channels, std::uint64_t samples,
                        std::uint32_t conditions) {
    const auto counted = [](std::uint64_t count, const char* what) {
        return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
    };
    const bool continuous = ordering == 1 || ordering == 2;
    return (continuous ? counted(samples, "sample") : counted(conditions, "condition")) + " of " +
           counted(channels, "channel");
}

std::vector<std::string> shortcomings(const workbench::RecordingReader& recording) {
    std::vector<std::string> notes;
    const CTCStruct& header = recording.header();
    if (recording.missing_elements() != 0) {
        notes.push_back("the data section is cut short: " + std::to_string(recording.missing_elements()) + " of " +
                        std::to_string(fileio::total_samples(header)) +
                        " sample values are missing and count as stored zeros");
    }
    if (header.CompressionType != 0) {
        notes.push_back("the header calls the data compressed (type " + std::to_string(header.CompressionType) +
                        "): they are read as if they were not");
    }
    return notes;
}

void say_notes(const std::vector<std::string>& notes) {
    for (const std::string& note : notes) {
        std::cerr << "ctc: note: " << note << "\n";
    }
}

} // namespace tools
