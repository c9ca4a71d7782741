#include "workbench/exchange/edf_tal.h"

#include <algorithm>
#include <cstdio>

#include "workbench/exchange/text_encoding.h"

namespace workbench::exchange {

namespace {

// The bytes 20 and 21 separate the parts of a list.
std::string entry(const std::string& onset, const std::string& text) {
    return "+" + onset + "\x14" + replaced(replaced(text, "\x14", " "), "\x15", " ") + "\x14" + std::string(1, '\0');
}

std::string onset_text(std::uint64_t sample, const EdfLayout& layout) {
    char text[64];
    std::snprintf(text, sizeof text, "%.9f", static_cast<double>(sample) / layout.rate());
    std::string onset = text;
    onset.erase(onset.find_last_not_of('0') + 1);
    if (onset.back() == '.') {
        onset.pop_back();
    }
    return onset;
}

struct Entry {
    std::uint64_t record;
    std::string bytes;
};

std::vector<Entry> entries_of(const std::vector<Marker>& markers, const EdfLayout& layout) {
    std::vector<Entry> entries;
    for (const Marker& marker : markers) {
        const auto sample = static_cast<std::uint64_t>(marker.sample);
        entries.push_back({sample / layout.samplesPerRecord, entry(onset_text(sample, layout), marker.text)});
    }
    if (layout.filled > 0) {
        const std::uint64_t end = layout.records * layout.samplesPerRecord - layout.filled;
        entries.push_back({layout.records - 1, entry(onset_text(end, layout), "Recording ends")});
    }
    return entries;
}

// Puts the entries into records of a size. @return all found room.
bool place(const std::vector<Entry>& entries, const std::vector<std::string>& starts, std::uint64_t bytes,
           std::vector<std::string>& records) {
    records = starts;
    std::size_t next = 0;
    for (std::uint64_t record = 0; record < records.size(); ++record) {
        while (next < entries.size() && entries[next].record <= record &&
               records[record].size() + entries[next].bytes.size() <= bytes) {
            records[record] += entries[next++].bytes;
        }
    }
    return next == entries.size();
}

} // namespace

AnnotationSignal annotation_signal(const std::vector<Marker>& markers, const EdfLayout& layout,
                                   std::uint64_t sampleBytes) {
    std::vector<std::string> starts;
    std::uint64_t longest = 0;
    for (std::uint64_t record = 0; record < layout.records; ++record) {
        starts.push_back(entry(seconds_text(record * layout.recordMicroseconds), ""));
        longest = std::max<std::uint64_t>(longest, starts.back().size());
    }
    const std::vector<Entry> entries = entries_of(markers, layout);
    std::uint64_t room = 0;
    for (const Entry& one : entries) {
        room = std::max<std::uint64_t>(room, one.bytes.size());
    }
    AnnotationSignal signal;
    do {
        const std::uint64_t wanted = longest + room;
        signal.bytes = (wanted + sampleBytes - 1) / sampleBytes * sampleBytes;
        room += std::max<std::uint64_t>(room / 4, 8);
    } while (!place(entries, starts, signal.bytes, signal.records));
    return signal;
}

} // namespace workbench::exchange
