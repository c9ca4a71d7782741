#include "workbench/batch/jobs_file.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>

#include "workbench/csv_line.h"
#include "workbench/input_error.h"
#include "workbench/input_file.h"
#include "workbench/line_reader.h"
#include "workbench/run_settings.h"
#include "workbench/whole_number.h"

namespace workbench {

namespace {

namespace fs = std::filesystem;

constexpr const char* neededColumns[] = {"recording", "protocol", "condition", "pre", "post", "segment", "components"};
constexpr const char* furtherColumns[] = {"output", "truth", "product", "report", "as_is"};

std::string in_quotes(const std::string& text) {
    return "\"" + printable(text) + "\"";
}

std::string listed(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : ", ") + word;
    }
    return text;
}

// Where each column stands; throws for a header that lacks one, has one twice, or one that nobody knows.
std::map<std::string, std::size_t> read_header(LineReader& reader) {
    const std::optional<std::string> line = reader.next();
    if (!line) {
        reader.complain("a header line with the columns' names", "an empty file");
    }
    const std::optional<std::vector<std::string>> names = csv_fields(*line);
    if (!names) {
        reader.complain_about("columns' names with closed quotes", line);
    }
    if (names->size() == 1 && line->find_first_of(";\t") != std::string::npos) {
        reader.complain_about("commas between the columns", line);
    }
    std::map<std::string, std::size_t> columns;
    for (std::size_t i = 0; i < names->size(); ++i) {
        const std::string& name = names->at(i);
        const bool known = std::count(std::begin(neededColumns), std::end(neededColumns), name) != 0 ||
                           std::count(std::begin(furtherColumns), std::end(furtherColumns), name) != 0;
        if (!known) {
            reader.complain("a column of the names recording, protocol, condition, pre, post, segment, components, "
                            "output, truth, product, report, as_is",
                            in_quotes(name));
        }
        if (!columns.emplace(name, i).second) {
            reader.complain("each column once", in_quotes(name) + " twice");
        }
    }
    std::vector<std::string> missing;
    for (const char* name : neededColumns) {
        if (columns.count(name) == 0) {
            missing.push_back(name);
        }
    }
    if (!missing.empty()) {
        reader.complain("the columns recording, protocol, condition, pre, post, segment and components",
                        "none of the name " + listed(missing));
    }
    return columns;
}

// The values of one line, and what is wrong with them.
class Row {
public:
    Row(const std::map<std::string, std::size_t>& columns, const std::vector<std::string>& fields)
        : columns_(columns), fields_(fields) {}

    std::string text(const std::string& column) const {
        const auto place = columns_.find(column);
        return place == columns_.end() ? "" : fields_[place->second];
    }

    std::string needed_text(const std::string& column) {
        if (text(column).empty()) {
            problems_.push_back("the column " + column + " is empty");
        }
        return text(column);
    }

    int number(const std::string& column, int lowest, int highest) {
        const std::optional<int> value = whole_number(text(column));
        if (!value || *value < lowest || *value > highest) {
            const std::string range = highest == INT32_MAX ? "at least " + std::to_string(lowest)
                                                           : std::to_string(lowest) + " to " + std::to_string(highest);
            problems_.push_back(column + " must be a whole number, " + range + ", not " + in_quotes(text(column)));
        }
        return value.value_or(0);
    }

    bool yes(const std::string& column, bool otherwise) {
        const std::string value = text(column);
        if (value != "" && value != "yes" && value != "no") {
            problems_.push_back(column + " must be yes or no, not " + in_quotes(value));
        }
        return value.empty() ? otherwise : value == "yes";
    }

    void add_problem(const std::string& problem) { problems_.push_back(problem); }
    const std::vector<std::string>& problems() const { return problems_; }

private:
    const std::map<std::string, std::size_t>& columns_;
    const std::vector<std::string>& fields_;
    std::vector<std::string> problems_;
};

// No way out of the results folder, and none into the folder where the batch keeps what it needs itself.
bool stays_inside(const fs::path& path) {
    return path.is_relative() && !path.empty() &&
           std::none_of(path.begin(), path.end(), [](const fs::path& part) { return part.string().starts_with('.'); });
}

Job job_of(Row& row, std::size_t line, const fs::path& folder) {
    Job job;
    job.line = line;
    job.recording = row.needed_text("recording");
    job.protocol = row.needed_text("protocol");
    job.condition = row.needed_text("condition");
    job.pre = row.number("pre", 0, longestWindow);
    job.post = row.number("post", 0, longestWindow);
    job.segment = row.number("segment", smallestSegment, INT32_MAX);
    job.components = row.number("components", 1, INT32_MAX);
    if (row.problems().empty() && job.components > job.segment) {
        row.add_problem("components (" + std::to_string(job.components) + ") must not be more than segment (" +
                        std::to_string(job.segment) + ")");
    }
    job.truth = row.text("truth");
    if (const std::string product = row.text("product"); !product.empty()) {
        job.product = product;
        if (product != "fixed" && product != "blas") {
            row.add_problem("product must be fixed or blas, not " + in_quotes(product));
        }
    }
    job.report = row.yes("report", true);
    job.asIs = row.yes("as_is", false);
    const std::string output = row.text("output");
    job.output = output.empty() ? default_output(job.recording) : fs::path(output).lexically_normal();
    if (!job.recording.empty() && (!stays_inside(job.output) || job.output.extension() != ".ctc")) {
        row.add_problem("output must be a name in the results folder that ends in .ctc and has no part with a leading "
                        "dot, not " +
                        in_quotes(output.empty() ? job.output.string() : output));
    }
    if (job.output == "summary.ctc") {
        row.add_problem("the name summary is taken by the batch's own tables; give another in the column output");
    }
    job.recordingFile = folder / job.recording;
    job.protocolFile = folder / job.protocol;
    job.truthFile = job.truth.empty() ? fs::path() : folder / job.truth;
    return job;
}

} // namespace

fs::path default_output(const fs::path& recording) {
    fs::path folder = recording.lexically_normal().parent_path();
    if (!stays_inside(folder)) {
        folder.clear();
    }
    return folder / (recording.stem().string() + "_OBS.ctc");
}

JobsFile read_jobs(const fs::path& file) {
    LineReader reader(file);
    const std::map<std::string, std::size_t> columns = read_header(reader);
    const fs::path folder = fs::absolute(file).parent_path();
    JobsFile result;
    std::map<std::string, std::size_t> outputs;
    std::size_t number = 1;
    for (std::optional<std::string> line = reader.next(); line; line = reader.next()) {
        ++number;
        if (line->find_first_not_of(", \t") == std::string::npos) {
            continue; // spreadsheets leave such lines at the end
        }
        const auto note = [&](const std::string& problem) {
            result.problems.push_back(file.string() + ":" + std::to_string(number) + ": " + problem);
        };
        const std::optional<std::vector<std::string>> fields = csv_fields(*line);
        if (!fields) {
            note("a quote is not closed, or stands in the middle of a field");
            continue;
        }
        if (fields->size() != columns.size()) {
            note("the line has " + std::to_string(fields->size()) + " fields, the header " +
                 std::to_string(columns.size()));
            continue;
        }
        Row row(columns, *fields);
        const Job job = job_of(row, number, folder);
        for (const std::string& problem : row.problems()) {
            note(problem);
        }
        if (!row.problems().empty()) {
            continue;
        }
        const auto [place, isNew] = outputs.emplace(job.output.string(), number);
        if (!isNew) {
            note("gives the same result " + job.output.string() + " as line " + std::to_string(place->second) +
                 "; give it another name in the column output");
            continue;
        }
        result.jobs.push_back(job);
    }
    if (result.jobs.empty() && result.problems.empty()) {
        reader.complain("at least one line with a recording", "the end of the file");
    }
    return result;
}

} // namespace workbench
