#include "workbench/exchange/open_recording.h"

#include <string>
#include <system_error>

#include "workbench/exchange/biosig_reader.h"
#include "workbench/exchange/brainvision_header.h"
#include "workbench/exchange/brainvision_reader.h"
#include "workbench/exchange/edf_header.h"
#include "workbench/exchange/edf_reader.h"
#include "workbench/exchange/text_encoding.h"
#include "workbench/input_error.h"
#include "workbench/input_file.h"

namespace workbench::exchange {

namespace {

namespace fs = std::filesystem;

std::string first_bytes(const fs::path& file) {
    std::ifstream stream = open_input_file(file);
    std::string bytes(256, '\0');
    stream.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    bytes.resize(static_cast<std::size_t>(stream.gcount()));
    return bytes;
}

// Some people give the part that is largest, or the part that they see first.
void refuse_part_of_brainvision(const fs::path& file, const std::string& ending) {
    fs::path header = file;
    header.replace_extension(".vhdr");
    std::error_code error;
    if ((ending == ".eeg" || ending == ".vmrk") && fs::exists(header, error)) {
        throw InputError(file.string() + ": is a part of a BrainVision recording; give " + header.string());
    }
}

} // namespace

std::unique_ptr<ForeignRecording> open_recording(const fs::path& file, const OpenOptions& options,
                                                 InterruptHold& interrupt) {
    const std::string bytes = first_bytes(file);
    const std::string ending = lower_case(file.extension().string());
    if (bytes.empty()) {
        throw InputError(file.string() + ": is empty");
    }
    if (ending == ".ctc") {
        throw InputError(file.string() + ": is a CTC recording already; nothing has to be imported");
    }
    refuse_part_of_brainvision(file, ending);
    if (is_edf(bytes)) {
        return std::make_unique<EdfRecording>(file, options);
    }
    if (is_brainvision(bytes) || ending == ".vhdr") {
        return std::make_unique<BrainVisionRecording>(file, options);
    }
    if (ending == ".edf" || ending == ".bdf") {
        throw InputError(file.string() + ": does not begin as EDF and BDF files do");
    }
    return std::make_unique<BiosigRecording>(file, interrupt);
}

} // namespace workbench::exchange
