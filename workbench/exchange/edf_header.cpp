#include "workbench/exchange/edf_header.h"

#include <cmath>
#include <optional>

#include "workbench/exchange/decimal_number.h"
#include "workbench/exchange/text_encoding.h"
#include "workbench/input_error.h"
#include "workbench/input_file.h"

namespace workbench::exchange {

namespace {

constexpr std::uint64_t fixedBytes = 256;
constexpr std::uint64_t bytesPerSignal = 256;
constexpr double mostSamplesPerRecord = 1e9;

class HeaderFields {
public:
    HeaderFields(const std::string& bytes, const std::filesystem::path& path) : bytes_(bytes), path_(path) {}

    std::string text(std::size_t length) {
        const std::string field = bytes_.substr(at_, length);
        at_ += length;
        return trimmed(as_utf8(field));
    }
    std::optional<double> number(std::size_t length) { return decimal_number(text(length)); }
    double whole(std::size_t length, const char* what, double least, double most) {
        const std::string field = text(length);
        const std::optional<double> value = decimal_number(field);
        if (!value || *value != std::floor(*value) || *value < least || *value > most) {
            refuse(std::string(what) + " is \"" + printable(field) + "\"");
        }
        return *value;
    }
    [[noreturn]] void refuse(const std::string& problem) const {
        throw InputError(path_.string() + ": its EDF or BDF header is damaged: " + problem);
    }

private:
    const std::string& bytes_;
    const std::filesystem::path& path_;
    std::size_t at_ = 0;
};

std::string read_bytes(BinaryFile& file, const std::filesystem::path& path, std::uint64_t bytes) {
    if (file.size() < bytes) {
        throw InputError(path.string() + ": its EDF or BDF header is cut short (" + std::to_string(file.size()) +
                         " of " + std::to_string(bytes) + " bytes)");
    }
    std::string text(bytes, '\0');
    file.read(0, bytes, text.data());
    return text;
}

void read_signals(HeaderFields& fields, EdfHeader& header) {
    std::vector<EdfSignal>& signals = header.signals;
    const auto each = [&](auto&& use) {
        for (EdfSignal& signal : signals) {
            use(signal);
        }
    };
    each([&](EdfSignal& signal) { signal.label = fields.text(16); });
    each([&](EdfSignal&) { fields.text(80); }); // transducer
    each([&](EdfSignal& signal) { signal.unit = fields.text(8); });
    each([&](EdfSignal& signal) { signal.calibrated = true; });
    const auto limit = [&](double EdfSignal::*member) {
        each([&](EdfSignal& signal) {
            const std::optional<double> value = fields.number(8);
            signal.*member = value.value_or(0.0);
            signal.calibrated = signal.calibrated && value.has_value();
        });
    };
    limit(&EdfSignal::physicalMin);
    limit(&EdfSignal::physicalMax);
    limit(&EdfSignal::digitalMin);
    limit(&EdfSignal::digitalMax);
    each([&](EdfSignal&) { fields.text(80); }); // filters
    each([&](EdfSignal& signal) {
        signal.samplesPerRecord = static_cast<std::uint64_t>(
            fields.whole(8, "the number of samples in each data record", 0.0, mostSamplesPerRecord));
    });
    const std::string annotationLabel = header.bdf ? "BDF Annotations" : "EDF Annotations";
    each([&](EdfSignal& signal) {
        signal.annotations = header.plus && signal.label == annotationLabel;
        signal.calibrated =
            signal.calibrated && signal.physicalMin != signal.physicalMax && signal.digitalMin != signal.digitalMax;
        signal.byteInRecord = header.recordBytes;
        header.recordBytes += signal.samplesPerRecord * header.sample_bytes();
    });
}

} // namespace

bool is_edf(const std::string& firstBytes) {
    return firstBytes.starts_with("0       ") || firstBytes.starts_with("\xFF"
                                                                        "BIOSEMI");
}

EdfHeader read_edf_header(BinaryFile& file, const std::filesystem::path& path) {
    EdfHeader header;
    const std::string fixed = read_bytes(file, path, fixedBytes);
    HeaderFields fields(fixed, path);
    header.bdf = fixed[0] != '0';
    fields.text(8 + 80 + 80 + 8 + 8); // version, patient, recording, date and time
    header.headerBytes = static_cast<std::uint64_t>(fields.whole(8, "its own length", 0.0, 99999999.0));
    const std::string kind = fields.text(44);
    const std::string family = header.bdf ? "BDF+" : "EDF+";
    header.plus = kind.starts_with(family);
    header.discontinuous = kind.starts_with(family + "D");
    header.records = static_cast<std::int64_t>(fields.whole(8, "the number of data records", -1.0, 99999999.0));
    const std::optional<double> seconds = fields.number(8);
    if (!seconds || *seconds < 0.0) {
        fields.refuse("the duration of a data record is no number of seconds");
    }
    header.recordSeconds = *seconds;
    const auto count = static_cast<std::uint64_t>(fields.whole(4, "the number of signals", 1.0, 9999.0));
    if (header.headerBytes != fixedBytes + count * bytesPerSignal) {
        fields.refuse("it states " + std::to_string(header.headerBytes) + " bytes, which " + std::to_string(count) +
                      " signals do not have");
    }
    const std::string whole = read_bytes(file, path, header.headerBytes);
    const std::string signalBytes = whole.substr(fixedBytes);
    HeaderFields signalFields(signalBytes, path);
    header.signals.resize(count);
    read_signals(signalFields, header);
    if (header.recordBytes == 0) {
        signalFields.refuse("a data record has no samples");
    }
    return header;
}

} // namespace workbench::exchange
