#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

/// Protocol files (.prt): which artifacts occur when. The text format is described in docs/protocol-file.md.
namespace workbench {

struct ProtocolCondition {
    std::string name;                    ///< 1 to 240 bytes of UTF-8, unique in the protocol
    std::vector<std::int32_t> intervals; ///< used as triggers exactly as they stand, 0 to 2147483647
};

enum class TimeResolution { samples, microseconds };

struct Protocol {
    std::string experiment; ///< at most 302 bytes
    TimeResolution resolution = TimeResolution::samples;
    std::vector<ProtocolCondition> conditions;
};

/// Reads a protocol file; every line must be as the format says.
/// Throws InputError "FILE:LINE: expected ..., found ...", or with the reason when the file cannot be read.
Protocol read_protocol(const std::filesystem::path& file);

/// The file's text for a protocol; read_protocol gives the same protocol back.
std::string protocol_text(const Protocol& protocol);

/// What stops a text from being a condition's name, as a phrase ("a name without '/'"); empty when nothing does.
std::string condition_name_problem(const std::string& name);

/// What stops a text from being an experiment's name, as a phrase; empty when nothing does.
std::string experiment_problem(const std::string& text);

/// Place of a condition, counted from 0. A name that fits exactly wins over a number counted from 1.
/// Throws InputError that lists the conditions.
int find_condition(const Protocol& protocol, const std::string& nameOrNumber);

} // namespace workbench
