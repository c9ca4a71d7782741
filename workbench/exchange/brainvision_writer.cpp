#include "workbench/exchange/brainvision_writer.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "workbench/exchange/decimal_number.h"
#include "workbench/exchange/file_set.h"
#include "workbench/exchange/progress.h"
#include "workbench/exchange/text_encoding.h"
#include "workbench/pending_file.h"

namespace workbench::exchange {

namespace {

// Commas separate the parts of an entry.
std::string part(const std::string& text) {
    return replaced(text, ",", "\\1");
}

std::string header_text(const ExportJob& job, const BrainVisionFiles& files) {
    const double rate = static_cast<double>(job.recording.header().SamplingFrequency);
    std::string text = "Brain Vision Data Exchange Header File Version 1.0\r\n"
                       "; Written by the workbench\r\n\r\n"
                       "[Common Infos]\r\nCodepage=UTF-8\r\n";
    text += "DataFile=" + files.data.filename().string() + "\r\n";
    text += "MarkerFile=" + files.markers.filename().string() + "\r\n";
    text += "DataFormat=BINARY\r\n; Sample after sample, all channels of each\r\nDataOrientation=MULTIPLEXED\r\n";
    text += "DataType=TIMEDOMAIN\r\nNumberOfChannels=" + std::to_string(job.channels.size()) + "\r\n";
    text += "DataPoints=" + std::to_string(job.samples()) + "\r\n";
    text += "; In microseconds\r\nSamplingInterval=" + shortest_text(1e6 / rate) + "\r\n\r\n";
    text += "[Binary Infos]\r\nBinaryFormat=IEEE_FLOAT_32\r\n\r\n";
    text += "[Channel Infos]\r\n; Ch<number>=<name>,<reference>,<resolution in the unit>,<unit>\r\n";
    for (std::size_t i = 0; i < job.channels.size(); ++i) {
        text += "Ch" + std::to_string(i + 1) + "=" + part(job.channels[i].name) + ",,1,µV\r\n";
    }
    return text;
}

std::string markers_text(const ExportJob& job, const BrainVisionFiles& files) {
    std::string text = "Brain Vision Data Exchange Marker File, Version 1.0\r\n\r\n"
                       "[Common Infos]\r\nCodepage=UTF-8\r\n";
    text += "DataFile=" + files.data.filename().string() + "\r\n\r\n";
    text += "[Marker Infos]\r\n; Mk<number>=<kind>,<description>,<sample from 1>,<samples>,<channel, 0 for all>\r\n";
    text += "Mk1=New Segment,,1,1,0,00000000000000000000\r\n"; // no date; some programs insist on the field
    for (std::size_t i = 0; i < job.markers.size(); ++i) {
        text += "Mk" + std::to_string(i + 2) + "=Stimulus," + part(job.markers[i].text) + "," +
                std::to_string(job.markers[i].sample + 1) + ",1,0\r\n";
    }
    return text;
}

void write_samples(ExportJob& job, PendingFile& file) {
    const std::size_t channels = job.channels.size();
    const std::uint64_t length = job.block_length();
    Progress progress("exporting", job.samples(), job.interrupt);
    std::vector<float> values;
    std::vector<float> frames;
    for (std::uint64_t first = 0; first < job.samples(); first += length) {
        const auto count = static_cast<std::uint32_t>(std::min(length, job.samples() - first));
        values.resize(channels * count);
        frames.resize(values.size());
        job.recording.read(static_cast<std::int64_t>(first), count, values.data());
        for (std::size_t channel = 0; channel < channels; ++channel) {
            for (std::size_t i = 0; i < count; ++i) {
                frames[i * channels + channel] = values[channel * count + i];
            }
        }
        file.stream().write(reinterpret_cast<const char*>(frames.data()),
                            static_cast<std::streamsize>(frames.size() * sizeof(float)));
        file.check();
        progress.advance(count);
    }
}

} // namespace

BrainVisionFiles brainvision_files(const std::filesystem::path& header) {
    return {header, std::filesystem::path(header).replace_extension(".vmrk"),
            std::filesystem::path(header).replace_extension(".eeg")};
}

void write_brainvision(ExportJob& job, const std::filesystem::path& headerPath) {
    const BrainVisionFiles files = brainvision_files(headerPath);
    PendingFile data(files.data, job.overwrite);
    PendingFile markers(files.markers, job.overwrite);
    PendingFile header(files.header, job.overwrite);
    header.stream() << header_text(job, files);
    markers.stream() << markers_text(job, files);
    write_samples(job, data);
    job.precision = "every value as it is";
    commit_together({{files.data, [&] { data.commit(); }},
                     {files.markers, [&] { markers.commit(); }},
                     {files.header, [&] { header.commit(); }}});
}

} // namespace workbench::exchange
