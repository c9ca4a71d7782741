#pragma once

#include <optional>
#include <string>
#include <vector>

namespace workbench::exchange {

/// One entry of a time-stamped annotations list: when, and the texts, of which the time-keeping entry at the start of
/// a data record has one that is empty.
struct EdfAnnotation {
    double onset = 0.0; ///< seconds after the start time in the file's header
    std::vector<std::string> texts;
};

/// The entries in the bytes of an annotation signal in one data record. What is not one is passed over.
std::vector<EdfAnnotation> edf_annotations(const std::string& bytes);

/// When a record starts: the onset of its time-keeping entry, the first one of its first annotation signal.
std::optional<double> record_start(const std::vector<EdfAnnotation>& annotations);

} // namespace workbench::exchange
