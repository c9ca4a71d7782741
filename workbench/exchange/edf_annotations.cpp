#include "workbench/exchange/edf_annotations.h"

#include "workbench/exchange/decimal_number.h"
#include "workbench/exchange/text_encoding.h"

namespace workbench::exchange {

namespace {

constexpr char afterOnset = '\x15'; // a duration follows
constexpr char afterText = '\x14';

// Onset[<21>Duration]<20>Text<20>Text<20>
std::optional<EdfAnnotation> annotation_of(const std::string& list) {
    const std::size_t timeEnd = list.find(afterText);
    if (timeEnd == std::string::npos || (list[0] != '+' && list[0] != '-')) {
        return std::nullopt;
    }
    const std::optional<double> onset = decimal_number(list.substr(0, std::min(timeEnd, list.find(afterOnset))));
    if (!onset) {
        return std::nullopt;
    }
    EdfAnnotation annotation{*onset, {}};
    for (std::size_t at = timeEnd + 1; at < list.size();) {
        const std::size_t end = std::min(list.find(afterText, at), list.size());
        annotation.texts.push_back(trimmed(as_utf8(list.substr(at, end - at))));
        at = end + 1;
    }
    return annotation;
}

} // namespace

std::vector<EdfAnnotation> edf_annotations(const std::string& bytes) {
    std::vector<EdfAnnotation> annotations;
    for (std::size_t at = 0; at < bytes.size();) {
        const std::size_t end = std::min(bytes.find('\0', at), bytes.size());
        if (end > at) {
            if (const std::optional<EdfAnnotation> one = annotation_of(bytes.substr(at, end - at))) {
                annotations.push_back(*one);
            }
        }
        at = end + 1;
    }
    return annotations;
}

std::optional<double> record_start(const std::vector<EdfAnnotation>& annotations) {
    if (annotations.empty() || annotations[0].texts.empty() || !annotations[0].texts[0].empty()) {
        return std::nullopt;
    }
    return annotations[0].onset;
}

} // namespace workbench::exchange
