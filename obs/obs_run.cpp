// One interactive run, from the first dialog to the cleaned copy.

#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <ios>
#include <locale>
#include <new>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "fileio/ctc.h"
#include "numerics/arrays.h"
#include "numerics/truncation.h"
#include "obs/classic_locale.h"
#include "obs/obs_fit.h"
#include "obs/run_texts.h"
#include "obs/step_timer.h"
#include "obs/user_interface.h"
#include "plugin/host_binding.h"
#include "plugin/host_records.h"
#include "plugin/oridan_plugin.h"

namespace {

using namespace obs;

// What execute returns where a run ends. The results are uneven by design.
constexpr bool endedAsFailure = false;
constexpr bool endedAsDone = true;

// One log line; the longest that the records allow fits.
[[gnu::format(printf, 1, 2)]] void log_formatted(const char* format, ...) {
    char line[1024];
    std::va_list arguments;
    va_start(arguments, format);
    {
        const ClassicLocale classic;
        std::vsnprintf(line, sizeof line, format, arguments);
    }
    va_end(arguments);
    log_line(line);
}

bool version_suffices() {
    int major = 0;
    int minor = 0;
    int patch = 0;
    host::nvGetVersionOfNivora(&major, &minor, &patch);
    return major > 1 || (major == 1 && minor > 8) || (major == 1 && minor == 8 && patch >= 3);
}

bool is_regular_file(const std::string& path) {
    std::error_code error;
    return std::filesystem::is_regular_file(path, error);
}

// Anything but a regular file (a pipe, say) could block the workbench.
bool can_be_opened_for_writing(const std::string& path) {
    std::error_code error;
    return !std::filesystem::exists(path, error) || is_regular_file(path);
}

// Copies the recording. A failed open or copy is left to the reader of the copy to notice.
// Returns false, with nothing touched, where both names are the same file.
bool copy_recording(const std::string& inputPath, const std::string& outputPath) {
    ORIDAN_STEP(copy);
    std::error_code error;
    if (std::filesystem::equivalent(inputPath, outputPath, error)) {
        return false;
    }
    constexpr std::streamsize bufferBytes = 1 << 20;
    std::vector<char> inputBuffer(bufferBytes);
    std::vector<char> outputBuffer(bufferBytes);
    std::ifstream input;
    std::ofstream output;
    input.rdbuf()->pubsetbuf(inputBuffer.data(), bufferBytes);
    output.rdbuf()->pubsetbuf(outputBuffer.data(), bufferBytes);
    if (is_regular_file(inputPath)) {
        input.open(inputPath, std::ios::binary);
    }
    if (can_be_opened_for_writing(outputPath)) {
        output.open(outputPath, std::ios::binary | std::ios::trunc);
    }
    input >> std::noskipws >> output.rdbuf(); // a recording may begin with a byte that is a blank or a tab
    return true;
}

void log_header(const CTCStruct& ctc) {
    const float fs = ctc.SamplingFrequency;
    const float minutes = static_cast<float>(static_cast<double>(ctc.NrOfSamples) / static_cast<double>(60.0f * fs));
    // The product wraps at 32 bits, beyond 4,294,967 samples.
    const int milliseconds = truncate_to_int32(static_cast<double>(ctc.NrOfSamples * 1000U) / static_cast<double>(fs));
    log_formatted("// OridanSuite> FileVersion: %i", static_cast<int>(ctc.FileVersion));
    log_formatted("// OridanSuite> CompressionType: %i", static_cast<int>(ctc.CompressionType));
    log_formatted("// OridanSuite> NrOfCompressionParams: %i", static_cast<int>(ctc.NrOfCompressionParams));
    log_formatted("// OridanSuite> DataType: %i", static_cast<int>(ctc.DataType));
    log_formatted("// OridanSuite> Number of channels : %i", static_cast<int>(ctc.NrOfChannels));
    log_formatted("// OridanSuite> Sampling frequency [Hz] : %f", static_cast<double>(fs));
    log_formatted("// OridanSuite> Number of samples : %i", static_cast<int>(ctc.NrOfSamples));
    log_formatted("// OridanSuite> Total data segment duration [min] : %f", static_cast<double>(minutes));
    log_formatted("// OridanSuite> Total data segment duration [msec] : %i", milliseconds);
}

std::string condition_name(const ProtocolConditionStruct& condition) {
    return field_text(condition.name, sizeof condition.name);
}

void log_conditions(const ProtocolStruct& protocol) {
    const std::string experiment = field_text(protocol.experimentName, sizeof protocol.experimentName);
    log_formatted("// OridanSuite> Experiment Name : %s", experiment.c_str());
    log_formatted("// OridanSuite> Number of conditions : %i", protocol.nrOfConditions);
    for (int c = 0; c < protocol.nrOfConditions; ++c) {
        ProtocolConditionStruct condition{};
        get_protocol_condition(c, &condition);
        log_formatted("// OridanSuite>>> Condition n.%i : %s", c + 1, condition_name(condition).c_str());
        log_formatted("// OridanSuite>>>>> Nr. of trials : %i", condition.nrOfIntervals);
    }
}

int to_samples(int milliseconds, float fs) {
    return truncate_to_int32(static_cast<double>(static_cast<float>(milliseconds) * fs / 1000.0f));
}

// Epoch length, or 0 for a window without samples or one that an int cannot count.
int epoch_length(int preS, int postS) {
    const std::int64_t length = std::int64_t{preS} + postS + 1;
    return length >= 1 && length <= INT32_MAX ? static_cast<int>(length) : 0;
}

// The trial file's name: a prefix that no step of a run fills, and the condition name taken as a format text.
std::string trial_file_name(const std::string& name) {
    const char prefix[256] = "";
    const std::string nameCopy = formatted_without_arguments(name, 256);
    char fileName[304];
    std::snprintf(fileName, sizeof fileName, "%s_%s.trl", prefix, nameCopy.c_str());
    return fileName;
}

// Fills trig and writes one line per trigger. A file that cannot be opened swallows its lines.
void write_triggers(const ProtocolStruct& protocol, const ProtocolConditionStruct& condition, float fs, int* trig) {
    const std::string name = condition_name(condition);
    const std::string fileName = trial_file_name(name);
    std::ofstream file;
    file.imbue(std::locale::classic()); // the same text whatever locale the program has set
    if (can_be_opened_for_writing(fileName)) {
        file.open(fileName, std::ios::trunc);
    }
    for (int i = 0; i < condition.nrOfIntervals; ++i) {
        const std::int32_t v = condition.intervals[i];
        // The two branches are unlike on purpose: a sample number is used as it stands as a 0-based position, while
        // the time logged for it is that of the sample before.
        if (protocol.timeResolution == timeResolutionSamples) {
            trig[i] = v;
            const double microseconds = static_cast<double>(std::int64_t{v} - 1) * 1e6 / static_cast<double>(fs);
            file << static_cast<double>(static_cast<float>(microseconds));
        } else {
            trig[i] = truncate_to_int32(static_cast<double>(static_cast<float>(v) * fs) / 1e6);
            file << v;
        }
        file << " " << name << std::endl;
    }
}

// What a run holds from the opened copy on; released at every exit.
struct RunStorage {
    CTCStruct ctc{};
    float* x = nullptr;
    int* trig = nullptr;
    FitWorkspace workspace{};

    RunStorage() = default;
    RunStorage(const RunStorage&) = delete;
    RunStorage& operator=(const RunStorage&) = delete;
    ~RunStorage() {
        if (workspace.E != nullptr) {
            free_fit_workspace(workspace);
        }
        if (trig != nullptr) {
            free_ivector(trig, 0, 0);
        }
        if (x != nullptr) {
            free_fvector(x, 0, 0);
        }
        FreeCTCMemory(&ctc);
    }
};

void clean_channels(RunStorage& run, const FitSettings& settings, int nSeg) {
    const int nChannels = static_cast<int>(run.ctc.NrOfChannels);
    for (unsigned int channel = 0; channel < run.ctc.NrOfChannels; ++channel) {
        ORIDAN_STEP(log);
        log_line("");
        log_line("");
        for (int segment = 0; segment < nSeg; ++segment) {
            log_formatted("// OridanSuite>>>>>> Processing segment %i/%i of channel %i / %i  ...", segment + 1, nSeg,
                          static_cast<int>(channel) + 1, nChannels);
            update_window();
            fit_segment(settings, run.workspace, run.x, &run.ctc, channel, segment);
        }
    }
}

bool clean_recording() {
    show_log_tab();
    log_line(" ");
    log_line("// OridanSuite> Running EEG/MEG plugin (Artifact template removal with OBS method) ...");
    if (!has_volume_document()) { // the protocol is applied to it
        log_line("// OridanSuite>  Could not get VMR!");
        return endedAsFailure;
    }

    const std::string inputPath =
        ask_open_file("Please select the file with input data set:", "*.ctc").value_or(std::string());
    if (inputPath.size() < 4) { // too short to cut an extension from counts as none
        log_line("// OridanSuite> Data file not selected correctly. Exiting plugin.");
        return endedAsFailure;
    }
    show_busy_cursor();
    log_line("// OridanSuite> Creating the output file ...");
    update_window();
    // The last four characters are meant to be the extension; they are cut whatever they are.
    const std::string outputPath = inputPath.substr(0, inputPath.size() - 4) + "_OBS.ctc";
    const bool copied = copy_recording(inputPath, outputPath);
    stop_busy_cursor();

    log_line("// OridanSuite> Accessing data ...");
    show_busy_cursor();
    RunStorage run;
    if (!copied || ReadEntireCTC(&run.ctc, outputPath.c_str(), 1) != 1) {
        log_line("// OridanSuite> Error reading CTC file. Exiting plugin.");
        return endedAsDone; // the only exit that leaves the busy cursor on
    }
    log_line("// OridanSuite> Reading OK.");
    log_header(run.ctc);
    stop_busy_cursor();

    const std::optional<std::string> protocolPath =
        ask_open_file("Please select the protocol file with artifact timing information:", "*.prt");
    if (!protocolPath) {
        log_line("// OridanSuite> Protocol file not specified correctly. Exiting plugin.");
        return endedAsFailure;
    }
    log_line("// OridanSuite> Accessing protocol information ...");
    show_busy_cursor();
    load_protocol(*protocolPath);
    ProtocolStruct protocol{};
    if (!get_protocol(&protocol)) {
        log_line("// OridanSuite> Protocol not applied to the current VMR/SRF. Exiting plugin.");
        stop_busy_cursor();
        return endedAsDone;
    }
    log_conditions(protocol);
    stop_busy_cursor();

    const int selected = ask_integer("Please select the condition with the artifact triggers:", protocol.nrOfConditions,
                                     1, protocol.nrOfConditions);
    if (selected <= 0 || selected > protocol.nrOfConditions) {
        log_line("// OridanSuite> Protocol condition not selected. Exiting plugin.");
        return endedAsDone;
    }

    const int pre = ask_integer("Temporal window definition:\nPlease enter pre-trigger time [ms]:", 500, 0, 5000);
    const int post = ask_integer("Temporal window definition:\nPlease enter post-trigger time [ms]:", 1200, 0, 5000);
    const float fs = run.ctc.SamplingFrequency;
    FitSettings settings{};
    settings.preS = to_samples(pre, fs);
    settings.postS = to_samples(post, fs);
    settings.L = epoch_length(settings.preS, settings.postS);
    if (settings.L < 1) {
        log_line("// OridanSuite> Temporal window not specified correctly. Exiting plugin.");
        return endedAsDone;
    }
    run.x = fvector(0, settings.L - 1L);
    std::fill_n(run.x, settings.L, 0.0f);

    show_busy_cursor();
    ProtocolConditionStruct condition{};
    get_protocol_condition(selected - 1, &condition);
    if (condition.intervals == nullptr) {
        condition.nrOfIntervals = 0;
    }
    settings.nTrials = condition.nrOfIntervals;
    run.trig = ivector(0, settings.nTrials - 1L);
    settings.trig = run.trig;
    write_triggers(protocol, condition, fs, run.trig);
    stop_busy_cursor();

    settings.N =
        ask_integer("OBS Settings (1).\nPlease enter number of artifacts per segment:", 100, 10, settings.nTrials);
    settings.P = ask_integer("OBS Settings (2).\nPlease enter number of desired PCs to keep in OBS:", 3, 1, settings.N);
    if (settings.nTrials < settings.N) {
        message_box("Too few artifact examples to cover the OBS segment!\nYou may try with a smaller OBS segment. "
                    "Exiting plugin.");
        return endedAsDone;
    }
    if (settings.N < 1 || settings.P > settings.N) {
        log_line("// OridanSuite> OBS settings not specified correctly. Exiting plugin.");
        return endedAsDone;
    }

    show_busy_cursor();
    const int nSeg = settings.nTrials / settings.N + (settings.nTrials % settings.N != 0 ? 1 : 0);
    log_formatted("// OridanSuite> Resulting number of segments: %i", nSeg);
    update_window();
    run.workspace = make_fit_workspace(settings.N, settings.L);
    clean_channels(run, settings, nSeg);

    log_line("");
    log_line("");
    log_line("// OridanSuite> Closing the output file ...");
    update_window();
    FreeCTCMemory(&run.ctc); // completes the output
    stop_busy_cursor();
    log_line("// OridanSuite> Artifact template removal completed!");
    log_line(" ");
    return endedAsDone;
}

} // namespace

bool OridanArtifactRemovalPlugin::execute() {
    if (!InitNVAccess()) {
        return endedAsFailure; // no function of the workbench is known to work: nothing can be said
    }
    if (!InitMKLCBLASAccess()) {
        message_box("Did not get access to MKL CBLAS functions!");
        return endedAsFailure;
    }
    if (!version_suffices()) {
        message_box("Can not execute this plugin - Nivora version 1.8.3 or higher required.");
        return endedAsFailure;
    }
    try {
        return clean_recording();
    } catch (const std::bad_alloc&) { // of a text or a stream; everything is released, and nothing may leave the module
        log_line("// OridanSuite> Not enough memory. Exiting plugin.");
        stop_busy_cursor();
        return endedAsFailure;
    }
}
