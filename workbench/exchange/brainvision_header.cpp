#include "workbench/exchange/brainvision_header.h"

#include <cmath>
#include <map>
#include <optional>
#include <sstream>
#include <utility>

#include "workbench/exchange/binary_file.h"
#include "workbench/exchange/decimal_number.h"
#include "workbench/exchange/text_encoding.h"
#include "workbench/input_error.h"
#include "workbench/input_file.h"

namespace workbench::exchange {

namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t largestText = 1 << 28;
constexpr double mostChannels = 100000.0;

// Sections and keys in lower case; the entries of a section in their order.
using Entries = std::vector<std::pair<std::string, std::string>>;
using Sections = std::map<std::string, Entries>;

std::string read_text(const fs::path& file) {
    BinaryFile input(file);
    if (input.size() > largestText) {
        throw InputError(file.string() + ": is too large for a text file of a BrainVision recording");
    }
    std::string text(input.size(), '\0');
    input.read(0, text.size(), text.data());
    return text.starts_with("\xEF\xBB\xBF") ? text.substr(3) : text;
}

Sections parse(const std::string& text) {
    Sections sections;
    std::string section;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        line = trimmed(line);
        if (line.starts_with('[') && line.ends_with(']')) {
            section = lower_case(line.substr(1, line.size() - 2));
        } else if (const std::size_t equals = line.find('=');
                   equals != std::string::npos && !line.starts_with(';') && section != "comment") {
            sections[section].emplace_back(lower_case(trimmed(line.substr(0, equals))),
                                           trimmed(line.substr(equals + 1)));
        }
    }
    return sections;
}

std::optional<std::string> value_of(const Sections& sections, const std::string& section, const std::string& key) {
    const auto found = sections.find(section);
    if (found != sections.end()) {
        for (const auto& [name, value] : found->second) {
            if (name == key) {
                return value;
            }
        }
    }
    return std::nullopt;
}

// Fields between commas; a comma within a field is written \1.
std::vector<std::string> fields_of(const std::string& value) {
    std::vector<std::string> fields;
    for (std::size_t at = 0; at <= value.size();) {
        const std::size_t end = std::min(value.find(',', at), value.size());
        fields.push_back(replaced(trimmed(as_utf8(value.substr(at, end - at))), "\\1", ","));
        at = end + 1;
    }
    return fields;
}

std::string field(const std::vector<std::string>& fields, std::size_t i) {
    return i < fields.size() ? fields[i] : "";
}

// Ch12 and Mk12 have a number, counted from 1.
std::optional<std::size_t> number_after(const std::string& prefix, const std::string& key) {
    const std::optional<double> number =
        key.starts_with(prefix) ? decimal_number(key.substr(prefix.size())) : std::nullopt;
    if (!number || *number < 1.0 || *number != std::floor(*number) || *number > 1e9) {
        return std::nullopt;
    }
    return static_cast<std::size_t>(*number);
}

class HeaderReader {
public:
    HeaderReader(const fs::path& file, const Sections& sections) : file_(file), sections_(sections) {}

    BrainVisionHeader header() const {
        BrainVisionHeader header;
        header.dataFile = beside(common("datafile"));
        header.markerFile = beside(common("markerfile"));
        if (header.dataFile.empty()) {
            refuse("names no data file (DataFile=)");
        }
        require("dataformat", "binary", "export it in a binary format");
        require("datatype", "timedomain", "only recordings in the time domain can be imported");
        header.vectorized = one_of("dataorientation", {"multiplexed", "vectorized"}) == 1;
        header.bigEndian = lower_case(binary("usebigendianorder")) == "yes";
        header.number = number_format();
        header.rate = 1e6 / positive("samplinginterval");
        header.channels.resize(channel_count());
        for (BrainVisionChannel& channel : header.channels) {
            channel.unit = "µV";
        }
        read_channels(header.channels);
        return header;
    }

private:
    [[noreturn]] void refuse(const std::string& problem) const { throw InputError(file_.string() + ": " + problem); }

    std::string common(const std::string& key) const { return value_of(sections_, "common infos", key).value_or(""); }
    std::string binary(const std::string& key) const { return value_of(sections_, "binary infos", key).value_or(""); }
    // $b stands for the header's own name without its ending.
    fs::path beside(const std::string& name) const {
        return name.empty() ? fs::path() : file_.parent_path() / replaced(as_utf8(name), "$b", file_.stem().string());
    }
    void require(const std::string& key, const std::string& wanted, const std::string& advice) const {
        const std::string value = common(key);
        if (!value.empty() && lower_case(value) != wanted) {
            refuse("has " + key + " " + printable(value) + "; " + advice);
        }
    }
    int one_of(const std::string& key, const std::vector<std::string>& choices) const {
        const std::string value = common(key);
        for (std::size_t i = 0; i < choices.size(); ++i) {
            if (lower_case(value) == choices[i] || (value.empty() && i == 0)) {
                return static_cast<int>(i);
            }
        }
        refuse("has the unknown " + key + " \"" + printable(value) + "\"");
    }
    BrainVisionNumber number_format() const {
        const std::string format = binary("binaryformat");
        const std::map<std::string, BrainVisionNumber> known = {{"", BrainVisionNumber::int16},
                                                                {"int_16", BrainVisionNumber::int16},
                                                                {"uint_16", BrainVisionNumber::uint16},
                                                                {"int_32", BrainVisionNumber::int32},
                                                                {"ieee_float_32", BrainVisionNumber::float32}};
        const auto found = known.find(lower_case(format));
        if (found == known.end()) {
            refuse("has the unknown BinaryFormat \"" + printable(format) + "\"");
        }
        return found->second;
    }
    double positive(const std::string& key) const {
        const std::string text = common(key);
        const std::optional<double> value = decimal_number(text);
        if (!value || *value <= 0.0) {
            refuse("has no usable " + key + " (\"" + printable(text) + "\")");
        }
        return *value;
    }
    std::size_t channel_count() const {
        const double count = positive("numberofchannels");
        if (count != std::floor(count) || count > mostChannels) {
            refuse("states " + shortest_text(count) + " channels");
        }
        return static_cast<std::size_t>(count);
    }
    void read_channels(std::vector<BrainVisionChannel>& channels) const {
        const auto found = sections_.find("channel infos");
        std::size_t named = 0;
        for (const auto& [key, value] : found == sections_.end() ? Entries{} : found->second) {
            const std::optional<std::size_t> number = number_after("ch", key);
            if (!number || *number > channels.size()) {
                continue;
            }
            BrainVisionChannel& channel = channels[*number - 1];
            const std::vector<std::string> fields = fields_of(value);
            named += channel.name.empty() ? 1U : 0U;
            channel.name = fields[0].empty() ? "Ch" + std::to_string(*number) : fields[0];
            if (const std::string text = field(fields, 2); !text.empty()) {
                const std::optional<double> resolution = decimal_number(text);
                if (!resolution || *resolution == 0.0) {
                    refuse("channel " + printable(channel.name) + " has the resolution \"" + printable(text) + "\"");
                }
                channel.resolution = *resolution;
            }
            if (const std::string unit = field(fields, 3); !unit.empty()) {
                channel.unit = unit;
            }
        }
        if (named != channels.size()) {
            refuse("announces " + std::to_string(channels.size()) + " channels and describes " + std::to_string(named));
        }
    }

    const fs::path& file_;
    const Sections& sections_;
};

bool first_line_says(const std::string& text, const std::string& what) {
    const std::string start = lower_case(text.substr(text.starts_with("\xEF\xBB\xBF") ? 3 : 0, 80));
    return start.starts_with("brain vision data exchange " + what) ||
           start.starts_with("brainvision data exchange " + what);
}

} // namespace

bool is_brainvision(const std::string& firstBytes) {
    return first_line_says(firstBytes, "header file");
}

BrainVisionHeader read_brainvision_header(const fs::path& file) {
    const std::string text = read_text(file);
    if (!is_brainvision(text)) {
        throw InputError(file.string() + ": is not a BrainVision header file");
    }
    const Sections sections = parse(text);
    return HeaderReader(file, sections).header();
}

std::vector<BrainVisionMarker> read_brainvision_markers(const fs::path& file) {
    const std::string text = read_text(file);
    if (!first_line_says(text, "marker file")) {
        throw InputError(file.string() + ": is not a BrainVision marker file");
    }
    const Sections sections = parse(text);
    const auto found = sections.find("marker infos");
    std::vector<BrainVisionMarker> markers;
    for (const auto& [key, value] : found == sections.end() ? Entries{} : found->second) {
        if (!number_after("mk", key)) {
            continue;
        }
        const std::vector<std::string> fields = fields_of(value);
        const std::optional<double> position = decimal_number(field(fields, 2));
        if (!position || *position < 0.0 || *position > 1e15) {
            throw InputError(file.string() + ": marker " + key + " has the position \"" + printable(field(fields, 2)) +
                             "\"");
        }
        markers.push_back({fields[0], field(fields, 1), static_cast<std::uint64_t>(*position)});
    }
    return markers;
}

} // namespace workbench::exchange
