#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "tests/support/ctc_bytes.h"

/// Recordings in other programs' formats, put together byte by byte from the formats' descriptions.
namespace test {

using support::Bytes;

inline std::string padded(std::string text, std::size_t bytes, char with = ' ') {
    text.resize(bytes, with);
    return text;
}

struct EdfTestSignal {
    std::string label;
    std::string unit = "uV";
    std::string physicalMin = "-3276.8";
    std::string physicalMax = "3276.7";
    std::vector<int> digital; ///< all samples
    int perRecord = 10;
};

struct EdfTestFile {
    bool bdf = false;
    std::string kind;         ///< "EDF+C", "BDF+D"; empty for the plain format
    std::string records = ""; ///< as stated; the true number if empty
    int recordCount = 3;      ///< that are there
    std::string duration = "1";
    std::vector<EdfTestSignal> signals;
    std::vector<std::string> lists; ///< annotation signal, one text per record; none if empty
    int listBytes = 60;
};

/// An entry of an annotation signal: "+1.5" and texts.
inline std::string tal(const std::string& onset, const std::vector<std::string>& texts,
                       const std::string& duration = "") {
    std::string result = onset;
    if (!duration.empty()) {
        result += "\x15" + duration;
    }
    result += "\x14";
    for (const std::string& text : texts) {
        result += text + "\x14";
    }
    return result + std::string(1, '\0');
}

inline std::string edf_bytes(EdfTestFile file) {
    const int size = file.bdf ? 3 : 2;
    const bool withLists = !file.lists.empty();
    if (withLists) {
        EdfTestSignal lists;
        lists.label = file.bdf ? "BDF Annotations" : "EDF Annotations";
        lists.unit = "";
        lists.physicalMin = "-1";
        lists.physicalMax = "1";
        lists.perRecord = file.listBytes / size;
        file.signals.push_back(lists);
    }
    const std::vector<EdfTestSignal>& signals = file.signals;
    std::string out = file.bdf ? "\xFF"
                                 "BIOSEMI"
                               : padded("0", 8);
    out += padded("X X X X", 80) + padded("Startdate X X X X", 80) + "02.03.2004.05.06";
    out += padded(std::to_string(256 * (signals.size() + 1)), 8) + padded(file.kind, 44);
    out += padded(file.records.empty() ? std::to_string(file.recordCount) : file.records, 8) + padded(file.duration, 8);
    out += padded(std::to_string(signals.size()), 4);
    const auto column = [&](std::size_t bytes, const auto& of) {
        for (const EdfTestSignal& signal : signals) {
            out += padded(of(signal), bytes);
        }
    };
    column(16, [](const EdfTestSignal& s) { return s.label; });
    column(80, [](const EdfTestSignal&) { return std::string("AgCl"); });
    column(8, [](const EdfTestSignal& s) { return s.unit; });
    column(8, [](const EdfTestSignal& s) { return s.physicalMin; });
    column(8, [](const EdfTestSignal& s) { return s.physicalMax; });
    column(8, [&](const EdfTestSignal&) { return std::string(file.bdf ? "-8388608" : "-32768"); });
    column(8, [&](const EdfTestSignal&) { return std::string(file.bdf ? "8388607" : "32767"); });
    column(80, [](const EdfTestSignal&) { return std::string(); });
    column(8, [](const EdfTestSignal& s) { return std::to_string(s.perRecord); });
    column(32, [](const EdfTestSignal&) { return std::string(); });
    for (int record = 0; record < file.recordCount; ++record) {
        for (std::size_t k = 0; k < signals.size(); ++k) {
            if (withLists && k + 1 == signals.size()) {
                out += padded(file.lists[static_cast<std::size_t>(record)],
                              static_cast<std::size_t>(signals[k].perRecord * size), '\0');
                continue;
            }
            for (int i = 0; i < signals[k].perRecord; ++i) {
                const int value = signals[k].digital[static_cast<std::size_t>(record * signals[k].perRecord + i)];
                for (int byte = 0; byte < size; ++byte) {
                    out += static_cast<char>(static_cast<unsigned char>((value >> (8 * byte)) & 0xFF));
                }
            }
        }
    }
    return out;
}

/// count values that differ: start, start + step, ...
inline std::vector<int> ramp(int count, int start, int step) {
    std::vector<int> values;
    for (int i = 0; i < count; ++i) {
        values.push_back(start + step * i);
    }
    return values;
}

/// Two EEG channels (0.1 uV and 1/65535 mV steps, one from -3276.8 uV, the other from 0 to 1 mV) and a temperature, 30
/// samples at 10 Hz.
inline EdfTestFile small_edf() {
    EdfTestFile file;
    file.signals = {{"EEG Fp1", "uV", "-3276.8", "3276.7", ramp(30, -500, 3)},
                    {"EEG Fp2", "mV", "0", "1", ramp(30, 10, -2)},
                    {"Temp", "degC", "0", "50", ramp(30, 0, 1)}};
    return file;
}

/// The header of a BrainVision recording of three channels at 250 Hz.
inline std::string vhdr_text(const std::string& orientation, const std::string& number,
                             const std::string& more = "UseBigEndianOrder=NO\r\n") {
    return "Brain Vision Data Exchange Header File Version 1.0\r\n; Created by a test\r\n\r\n[Common Infos]\r\n"
           "Codepage=UTF-8\r\nDataFile=$b.eeg\r\nMarkerFile=$b.vmrk\r\nDataFormat=BINARY\r\nDataOrientation=" +
           orientation +
           "\r\nNumberOfChannels=3\r\nSamplingInterval=4000\r\n\r\n[Binary Infos]\r\nBinaryFormat=" + number + "\r\n" +
           more +
           "\r\n[Channel Infos]\r\n; name, reference, resolution, unit\r\nCh1=Fp1,,0.1,µV\r\nCh2=A\\1B,Ref,2,mV\r\n"
           "Ch3=Oz,,,\r\n\r\n[Comment]\r\nCh1=not this one,,5,V\r\n";
}

inline std::string vmrk_text(const std::string& markers) {
    return "Brain Vision Data Exchange Marker File, Version 1.0\r\n\r\n[Common Infos]\r\nCodepage=UTF-8\r\n"
           "DataFile=x.eeg\r\n\r\n[Marker Infos]\r\n; comment=1\r\n" +
           markers;
}

/// Samples value(channel, sample), sample after sample or channel after channel; put(bytes, value) stores one.
template <class Put>
std::string eeg_bytes(bool vectorized, int channels, int samples, const Put& put) {
    Bytes bytes;
    for (int i = 0; i < channels * samples; ++i) {
        const int channel = vectorized ? i / samples : i % channels;
        const int sample = vectorized ? i % samples : i / channels;
        put(bytes, (channel + 1) * 100 - 7 * sample);
    }
    return bytes.str();
}

struct GdfTestEvent {
    std::uint32_t sample; ///< counted from 1, as the format does
    unsigned int type;
};

/// A GDF 2.10 file: channels in uV, mV and degrees Celsius of 16-bit samples (digital value: 100 * channel - sample),
/// records of 50 samples at 100 Hz.
inline std::string gdf_bytes(std::uint32_t records, const std::vector<GdfTestEvent>& events) {
    constexpr unsigned int channels = 3;
    constexpr unsigned int perRecord = 50;
    Bytes out;
    const auto zeros = [&](std::size_t count) { out.raw(std::string(count, '\0')); };
    out.raw("GDF 2.10").raw(padded("X", 66));
    zeros(10 + 4);
    out.raw(padded("", 64));
    zeros(16 + 8 + 8);
    out.u16(channels + 1); // header length in blocks of 256 bytes
    zeros(6 + 8 + 6 + 6 + 12 + 12);
    out.u64(records).u32(1).u32(2); // records of 1/2 s
    out.u16(channels).u16(0);
    for (const char* label : {"Fp1", "Fp2", "Temp"}) {
        out.raw(padded(label, 16, '\0'));
    }
    zeros(channels * (80 + 6));
    out.u16(4275).u16(4274).u16(6048); // uV, mV, degrees Celsius
    for (const double low : {-3276.8, -32.768, 0.0}) {
        out.f64(low);
    }
    for (const double high : {3276.7, 32.767, 50.0}) {
        out.f64(high);
    }
    for (const double end : {-32768.0, 32767.0}) {
        for (unsigned int i = 0; i < channels; ++i) {
            out.f64(end);
        }
    }
    zeros(channels * (68 + 12));
    for (unsigned int i = 0; i < channels; ++i) {
        out.u32(perRecord);
    }
    for (unsigned int i = 0; i < channels; ++i) {
        out.u32(3); // 16-bit integers
    }
    zeros(channels * (12 + 20));
    for (std::uint32_t record = 0; record < records; ++record) {
        for (unsigned int channel = 0; channel < channels; ++channel) {
            for (unsigned int i = 0; i < perRecord; ++i) {
                out.i16(static_cast<int>(100 * channel) - static_cast<int>(record * perRecord + i));
            }
        }
    }
    out.u8(1).u8(static_cast<unsigned int>(events.size())).u16(0).f32(100.0f);
    for (const GdfTestEvent& event : events) {
        out.u32(event.sample);
    }
    for (const GdfTestEvent& event : events) {
        out.u16(event.type);
    }
    return out.str();
}

} // namespace test
