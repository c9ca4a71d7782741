// The recordings, tensors and matrices in files, and what they stand on.

#include <cstdint>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "fileio/ctc.h"
#include "fileio/ctc_channel.h"
#include "fileio/ctc_condition.h"
#include "fileio/cvx.h"
#include "fileio/stream_values.h"
#include "fileio/tfd.h"
#include "fileio/transio.h"
#include "stats/text_input.h"
#include "stats/text_output.h"
#include "tests/allocation/cases.h"
#include "tests/support/ctc_bytes.h"
#include "tests/support/temporary_folder.h"

namespace {

using refusals::Case;
using refusals::Watch;
using support::Bytes;
using support::CtcHeader;
using support::read_file;
using support::TemporaryFolder;

const std::string oldFile = "an older file, which is somebody's";

std::string digest(const std::string& bytes) {
    std::uint64_t hash = 14695981039346656037U;
    for (const char byte : bytes) {
        hash = (hash ^ static_cast<unsigned char>(byte)) * 1099511628211U;
    }
    return std::to_string(bytes.size()) + ":" + std::to_string(hash);
}

// What stands in a folder under a name.
std::string state_of(const TemporaryFolder& folder, const std::string& name) {
    if (!folder.has(name)) {
        return "none";
    }
    const std::string bytes = folder.read(name);
    return bytes == oldFile ? "old" : digest(bytes);
}

std::string numbers(const float* values, std::size_t count) {
    return digest(std::string(reinterpret_cast<const char*>(values), count * sizeof(float)));
}

struct Kind {
    unsigned int dataType;
    unsigned int ordering;
    bool fileBacked;

    std::string text() const {
        return "type " + std::to_string(dataType) + ", ordering " + std::to_string(ordering) +
               (fileBacked ? ", in the file" : ", in memory");
    }
};

std::vector<Kind> kinds(const std::vector<unsigned int>& orderings) {
    std::vector<Kind> all;
    for (const unsigned int dataType : {1U, 3U, 4U, 5U}) {
        for (const unsigned int ordering : orderings) {
            all.push_back({dataType, ordering, false});
            all.push_back({dataType, ordering, true});
        }
    }
    return all;
}

constexpr unsigned int channels = 3;
constexpr unsigned int samples = 3000; // more than fit into the small room that a lack of memory leaves

// Continuous recordings have 3 x 3000 samples, others 3 channels of two conditions; compression parameters on demand.
std::string recording(const Kind& kind, bool compressed = false) {
    CtcHeader header;
    header.dataType = kind.dataType;
    header.sampleOrdering = kind.ordering;
    header.nrOfChannels = channels;
    header.nrOfSamples = kind.ordering < 3 ? samples : 0;
    header.offsets = {0.0f, 1.0f, 2.0f};
    header.scales = {1.0f, 0.5f, 2.0f};
    if (compressed) {
        header.compressionType = 1;
        header.compressionParams = {7, 8};
    }
    header.trials = {2, 3};
    header.pre = {5, 4};
    header.post = {10, 12};
    Bytes bytes;
    bytes.raw(support::ctc_header_bytes(header));
    const unsigned int total = kind.ordering < 3 ? channels * samples : channels * (2 * 15 + 3 * 16);
    for (unsigned int i = 0; i < total; ++i) {
        support::append_stored(bytes, kind.dataType, static_cast<double>(i * 37U % 101U) - 50.0);
    }
    return bytes.str();
}

// A recording that is open, in a folder of its own, and released at the end.
struct Opened {
    explicit Opened(const Kind& kind) {
        const std::string path = folder.write("recording.ctc", recording(kind));
        if (ReadEntireCTC(&ctc, path.c_str(), kind.fileBacked ? 1 : 0) != 1) {
            throw std::runtime_error("cannot open " + kind.text());
        }
    }
    ~Opened() { FreeCTCMemory(&ctc); }
    Opened(const Opened&) = delete;
    Opened& operator=(const Opened&) = delete;

    TemporaryFolder folder;
    CTCStruct ctc{};
};

std::string all_samples(CTCStruct& ctc) {
    std::string text;
    std::vector<float> values(samples);
    if (ctc.SampleOrdering < 3) {
        for (unsigned int channel = 0; channel < channels; ++channel) {
            text += std::to_string(GetChannelSamples(values.data(), &ctc, channel, 0, samples)) + " ";
            text += numbers(values.data(), values.size()) + " ";
        }
        return text;
    }
    text += std::to_string(GetConditionChannelSamples(values.data(), &ctc, 1, 2, 1, -4, 16)) + " ";
    text += numbers(values.data(), values.size());
    return text;
}

std::string tell(CTCStruct& ctc, int result) {
    if (result != 1) {
        const bool empty = ctc.CompressionParams == nullptr && ctc.ChannelOffsets == nullptr &&
                           ctc.ChannelScales == nullptr && ctc.NrOfTrials == nullptr &&
                           ctc.PreTriggerSamples == nullptr && ctc.PostTriggerSamples == nullptr &&
                           ctc.ConditionStarts == nullptr && ctc.FloatSamples == nullptr &&
                           ctc.Int16Samples == nullptr && ctc.Int8Samples == nullptr && ctc.FileView == nullptr;
        return empty && ctc.FileVersion == 1 ? "refused" : "refused, but not empty";
    }
    return "read " + all_samples(ctc);
}

void add_recordings(std::vector<Case>& cases) {
    for (const Kind& kind : kinds({1, 2, 3, 6})) {
        for (const bool compressed : {false, true}) {
            cases.push_back({"ReadEntireCTC FreeCTCMemory/" + kind.text() + (compressed ? ", compressed" : ""),
                             [=](Watch& watch) {
                                 const TemporaryFolder folder;
                                 const std::string bytes = recording(kind, compressed);
                                 const std::string path = folder.write("recording.ctc", bytes);
                                 CTCStruct ctc{};
                                 const int result = watch(
                                     [&] { return ReadEntireCTC(&ctc, path.c_str(), kind.fileBacked ? 1U : 0U); });
                                 const std::string told = tell(ctc, result);
                                 FreeCTCMemory(&ctc);
                                 return told + (folder.read("recording.ctc") == bytes ? "" : " and changed");
                             },
                             {"refused"}});
        }
    }
    cases.push_back({"ReadEntireCTC/cut short, in the file",
                     [](Watch& watch) {
                         const TemporaryFolder folder;
                         const std::string bytes = recording({1, 1, true});
                         const std::string path = folder.write("recording.ctc", bytes.substr(0, bytes.size() - 100));
                         CTCStruct ctc{};
                         const int result = watch([&] { return ReadEntireCTC(&ctc, path.c_str(), 1); });
                         const std::string told = tell(ctc, result);
                         FreeCTCMemory(&ctc);
                         return told + " " + std::to_string(folder.read("recording.ctc").size());
                     },
                     {"refused " + std::to_string(recording({1, 1, true}).size() - 100)}});
    cases.push_back({"PrintCTCHeader", [](Watch& watch) {
                         Opened opened({1, 1, false});
                         watch([&] { PrintCTCHeader(&opened.ctc); });
                         return std::string("printed");
                     }});
}

void add_sample_access(std::vector<Case>& cases) {
    // A lack of memory costs these time, and no samples: their results are not looked at by everybody.
    for (const Kind& kind : kinds({1, 2})) {
        cases.push_back({"GetChannelSamples/" + kind.text(), [=](Watch& watch) {
                             Opened opened(kind);
                             std::vector<float> values(samples, -1.0f);
                             const unsigned int got =
                                 watch([&] { return GetChannelSamples(values.data(), &opened.ctc, 1, 5, 2900); });
                             return std::to_string(got) + " " + numbers(values.data(), values.size());
                         }});
        cases.push_back({"SetChannelSamples/" + kind.text(), [=](Watch& watch) {
                             Opened opened(kind);
                             const std::vector<float> values(samples, 17.0f);
                             unsigned int set = 0;
                             for (const unsigned int count : {1400U, 2900U}) { // the second is stored nowhere
                                 set +=
                                     watch([&] { return SetChannelSamples(values.data(), &opened.ctc, 1, 5, count); });
                             }
                             const std::string told = std::to_string(set) + " " + all_samples(opened.ctc);
                             FreeCTCMemory(&opened.ctc);
                             return told + digest(opened.folder.read("recording.ctc"));
                         }});
    }
    for (const Kind& kind : kinds({3, 4, 5, 6})) {
        cases.push_back({"GetConditionChannelSamples/" + kind.text(), [=](Watch& watch) {
                             Opened opened(kind);
                             std::vector<float> values(16, -1.0f);
                             const unsigned int got = watch([&] {
                                 return GetConditionChannelSamples(values.data(), &opened.ctc, 1, 1, 1, -4, 16);
                             });
                             return std::to_string(got) + " " + numbers(values.data(), values.size());
                         }});
        cases.push_back({"SetConditionChannelSamples/" + kind.text(), [=](Watch& watch) {
                             Opened opened(kind);
                             const std::vector<float> values(16, 17.0f);
                             const unsigned int set = watch([&] {
                                 return SetConditionChannelSamples(values.data(), &opened.ctc, 1, 1, 1, -4, 16);
                             });
                             const std::string told = std::to_string(set) + " " + all_samples(opened.ctc);
                             FreeCTCMemory(&opened.ctc);
                             return told + digest(opened.folder.read("recording.ctc"));
                         }});
    }
}

// A save under a new name and over an older file; what is lost where it is refused is nothing.
void add_recording_saves(std::vector<Case>& cases) {
    for (const Kind& kind : kinds({1, 2, 3})) {
        // Only the save of a recording in a file needs memory: where the whole copy stands and the view of it cannot be
        // had, the recording stays with its old file.
        Case one{"WriteEntireCTC/" + kind.text(), [=](Watch& watch) {
                     Opened opened(kind);
                     opened.folder.write("copy.ctc", oldFile);
                     const std::string path = opened.folder.path("copy.ctc");
                     const int result = watch([&] { return WriteEntireCTC(&opened.ctc, path.c_str(), 0); });
                     const bool whole = all_samples(opened.ctc) == [&] {
                         Opened other(kind);
                         return all_samples(other.ctc);
                     }();
                     FreeCTCMemory(&opened.ctc);
                     const std::string made = state_of(opened.folder, "copy.ctc");
                     return std::to_string(result) + (whole ? " " : " lost ") +
                            (result == 0 && made != "old" && made != "none" ? "new" : made);
                 }};
        if (kind.fileBacked) {
            one.refused = {"0 old", "0 new"};
        } else {
            one.refused = {"0 old"};
        }
        cases.push_back(one);
    }
}

const unsigned int pairValues[] = {3, 4};
const unsigned int extraValues[] = {5, 6, 7};
const float rows[] = {1.0f, 2.0f, 3.0f, 4.0f};

TFDStruct* make_tfd(const std::string& path) {
    return CreateTFD(path.c_str(), "first", "second", 2, pairValues, 2, 4, rows, 3, 0.0f, 1.0f, 1.0f, 3, extraValues);
}

// A file with numbers in its tensors.
std::string tfd_file(const TemporaryFolder& folder, const std::string& name) {
    TFDStruct* tfd = make_tfd(folder.path(name));
    FreeTFD(&tfd, 0);
    std::string bytes = folder.read(name);
    for (std::size_t i = bytes.size() - 4 * 24 * sizeof(float); i < bytes.size(); i += 4) {
        const float value = static_cast<float>(i);
        std::memcpy(&bytes[i], &value, sizeof value);
    }
    return folder.write(name, bytes);
}

std::string tell_tensors(TFDStruct* tfd) {
    std::string text;
    for (unsigned int i = 0; i < tfd->NrOfTensorPairs; ++i) {
        TFDTensorStruct& pair = tfd->Tensors[i];
        text += TFDReadTensor(&pair) == 1 ? numbers(pair.FirstData, 24) + " " + numbers(pair.SecondData, 24) : "unread";
        TFDFreeTensor(&pair);
    }
    return text;
}

void add_tensors(std::vector<Case>& cases) {
    cases.push_back({"CreateTFD",
                     [](Watch& watch) {
                         const TemporaryFolder folder;
                         folder.write("t.tfd", oldFile);
                         const std::string path = folder.path("t.tfd");
                         TFDStruct* tfd = watch([&] { return make_tfd(path); });
                         const std::string told = tfd != nullptr ? tell_tensors(tfd) : "null";
                         FreeTFD(&tfd, 0);
                         return told + " " + state_of(folder, "t.tfd");
                     },
                     {"null old", "null none"}}); // none: only the view of a whole new file was missing
    cases.push_back({"ReadTFD FreeTFD",
                     [](Watch& watch) {
                         const TemporaryFolder folder;
                         const std::string path = tfd_file(folder, "t.tfd");
                         const std::string before = folder.read("t.tfd");
                         TFDStruct* tfd = watch([&] { return ReadTFD(path.c_str()); });
                         const std::string told = tfd != nullptr ? tell_tensors(tfd) : "null";
                         FreeTFD(&tfd, 0);
                         return told + (folder.read("t.tfd") == before ? "" : " and changed");
                     },
                     {"null"}});
    cases.push_back({"WriteTFD",
                     [](Watch& watch) {
                         const TemporaryFolder folder;
                         TFDStruct* tfd = ReadTFD(tfd_file(folder, "t.tfd").c_str());
                         const std::string before = folder.read("t.tfd");
                         const std::string path = folder.path("copy.tfd");
                         const int result = watch([&] { return WriteTFD(tfd, path.c_str()); });
                         const std::string tensors = tell_tensors(tfd);
                         FreeTFD(&tfd, 0);
                         const std::string made = state_of(folder, "copy.tfd");
                         const bool whole = made == digest(before);
                         return std::to_string(result) + (whole ? " whole" : " " + made) +
                                (folder.read("t.tfd") == before ? "" : " and changed") + (result == 1 ? tensors : "");
                     },
                     {"0 none", "0 whole"}});
    cases.push_back({"TFDReadTensor TFDFreeTensor",
                     [](Watch& watch) {
                         const TemporaryFolder folder;
                         TFDStruct* tfd = ReadTFD(tfd_file(folder, "t.tfd").c_str());
                         TFDTensorStruct* pair = &tfd->Tensors[1];
                         const int result = watch([&] { return TFDReadTensor(pair); });
                         std::string told = std::to_string(result);
                         if (result == 1) {
                             told += numbers(pair->FirstData, 24) + numbers(pair->SecondData, 24);
                         } else if (pair->FirstData != nullptr || pair->SecondData != nullptr) {
                             told += " but loaded";
                         }
                         TFDFreeTensor(pair);
                         FreeTFD(&tfd, 0);
                         return told;
                     },
                     {"0"}});
    cases.push_back({"TFDWriteTensor", [](Watch& watch) {
                         const TemporaryFolder folder;
                         TFDStruct* tfd = ReadTFD(tfd_file(folder, "t.tfd").c_str());
                         TFDTensorStruct* pair = &tfd->Tensors[1];
                         TFDReadTensor(pair);
                         pair->FirstData[0] = 99.0f;
                         const int result = watch([&] { return TFDWriteTensor(pair); });
                         TFDFreeTensor(pair);
                         FreeTFD(&tfd, 0);
                         return std::to_string(result) + " " + state_of(folder, "t.tfd");
                     }});
}

std::string tell(const CVXStruct* cvx) {
    if (cvx == nullptr) {
        return "null";
    }
    std::string text = std::string(cvx->FirstText) + cvx->SecondText;
    for (const double* matrix : {cvx->SingleMatrix, cvx->FirstMatrix, cvx->SecondMatrix}) {
        text += matrix == nullptr
                    ? " -"
                    : " " + digest(std::string(reinterpret_cast<const char*>(matrix), 9 * sizeof(double)));
    }
    return text;
}

void add_matrices(std::vector<Case>& cases) {
    for (const unsigned int pairs : {0U, 2U}) {
        const auto make = [pairs] {
            CVXStruct* cvx = CreateCVX("first", "second", 3, 4, pairs, 2);
            if (cvx != nullptr) {
                (pairs == 0 ? cvx->SingleMatrix : cvx->SecondMatrix)[4] = 2.5;
            }
            return cvx;
        };
        const std::string kind = pairs == 0 ? "/one matrix" : "/a pair";
        cases.push_back({"CreateCVX FreeCVX" + kind,
                         [=](Watch& watch) {
                             CVXStruct* cvx = watch([&] { return CreateCVX("first", "second", 3, 4, pairs, 2); });
                             const std::string told = tell(cvx);
                             FreeCVX(&cvx);
                             return told;
                         },
                         {"null"}});
        cases.push_back({"ReadCVX" + kind,
                         [=](Watch& watch) {
                             const TemporaryFolder folder;
                             const std::string path = folder.path("m.cvx");
                             CVXStruct* made = make();
                             WriteCVX(made, path.c_str());
                             FreeCVX(&made);
                             CVXStruct* cvx = watch([&] { return ReadCVX(path.c_str()); });
                             const std::string told = tell(cvx);
                             FreeCVX(&cvx);
                             return told;
                         },
                         {"null"}});
        cases.push_back({"WriteCVX" + kind,
                         [=](Watch& watch) {
                             const TemporaryFolder folder;
                             folder.write("m.cvx", oldFile);
                             const std::string path = folder.path("m.cvx");
                             CVXStruct* cvx = make();
                             const int result = watch([&] { return WriteCVX(cvx, path.c_str()); });
                             FreeCVX(&cvx);
                             return std::to_string(result) + " " + state_of(folder, "m.cvx");
                         },
                         {"0 old"}});
    }
}

const unsigned int oneExtent[] = {16};

// A file of 16 elements, open as an array of one type.
struct OpenedArray {
    OpenedArray(unsigned int typeCode, unsigned int elementSize) {
        std::string bytes;
        for (unsigned int i = 0; i < 16 * elementSize; ++i) {
            bytes += static_cast<char>(i * 7U);
        }
        const std::string path = folder.write("array", bytes);
        transio_open(&t, path.c_str(), 0, 1, oneExtent, typeCode | 0x10);
    }
    ~OpenedArray() { transio_close(&t); }
    OpenedArray(const OpenedArray&) = delete;
    OpenedArray& operator=(const OpenedArray&) = delete;

    TemporaryFolder folder;
    transio_struct t{};
};

template <class T>
void add_typed(std::vector<Case>& cases, const std::string& type, unsigned int typeCode,
               T* (*read)(const transio_struct*, unsigned long long, unsigned int),
               unsigned int (*write)(const transio_struct*, unsigned long long, unsigned int, const T*)) {
    cases.push_back({"transio_read_" + type,
                     [=](Watch& watch) {
                         const OpenedArray array(typeCode, sizeof(T));
                         const std::unique_ptr<T[]> values(watch([&] { return read(&array.t, 2, 9); }));
                         return values == nullptr
                                    ? "null"
                                    : digest(std::string(reinterpret_cast<const char*>(values.get()), 9 * sizeof(T)));
                     },
                     {"null"}});
    cases.push_back({"transio_write_" + type, [=](Watch& watch) {
                         OpenedArray array(typeCode, sizeof(T));
                         const std::vector<T> values(9, T{3});
                         const unsigned int written = watch([&] { return write(&array.t, 2, 9, values.data()); });
                         transio_close(&array.t);
                         return std::to_string(written) + " " + digest(array.folder.read("array"));
                     }});
}

void add_arrays_in_files(std::vector<Case>& cases) {
    for (const unsigned int mode : {0x400U, 0x410U}) {
        const bool lengthens = mode == 0x410U;
        cases.push_back({std::string("transio_open transio_close/") + (lengthens ? "lengthened" : "to read"),
                         [=](Watch& watch) {
                             const TemporaryFolder folder;
                             const std::string path = folder.write("array", std::string(lengthens ? 10 : 64, 'a'));
                             transio_struct t{};
                             const int result =
                                 watch([&] { return transio_open(&t, path.c_str(), 0, 1, oneExtent, mode); });
                             const bool reset = t.flags == 8 && t.stream == nullptr && t.elementCount == 0;
                             if (result == 1) {
                                 watch([&] { return transio_close(&t); });
                             }
                             return std::to_string(result) + (reset ? " reset " : " open ") +
                                    std::to_string(folder.read("array").size());
                         },
                         {lengthens ? "0 reset 10" : "0 reset 64"}});
    }
    cases.push_back({"transio_read_buffer transio_write_buffer", [](Watch& watch) {
                         OpenedArray array(transioFloat, 4);
                         std::vector<float> values(9);
                         unsigned int moved = watch([&] { return transio_read_buffer(&array.t, 2, 9, values.data()); });
                         moved += watch([&] { return transio_write_buffer(&array.t, 5, 9, values.data()); });
                         transio_close(&array.t);
                         return std::to_string(moved) + " " + digest(array.folder.read("array"));
                     }});
    add_typed(cases, "uint8", transioUint8, transio_read_uint8, transio_write_uint8);
    add_typed(cases, "uint16", transioUint16, transio_read_uint16, transio_write_uint16);
    add_typed(cases, "uint32", transioUint32, transio_read_uint32, transio_write_uint32);
    add_typed(cases, "float", transioFloat, transio_read_float, transio_write_float);
    add_typed(cases, "int8", transioInt8, transio_read_int8, transio_write_int8);
    add_typed(cases, "int16", transioInt16, transio_read_int16, transio_write_int16);
    add_typed(cases, "int32", transioInt32, transio_read_int32, transio_write_int32);
    add_typed(cases, "double", transioDouble, transio_read_double, transio_write_double);
}

void add_streams_and_texts(std::vector<Case>& cases) {
    cases.push_back({"IOSReadFloat IOSReadChar IOSReadShort IOSReadLong IOSReadULong IOSReadCString IOSWriteCString",
                     [](Watch& watch) {
                         const TemporaryFolder folder;
                         const std::string path = folder.write("values", std::string(4 + 1 + 2 + 4 + 4, 'a') + "text");
                         std::fstream stream(path, std::ios::in | std::ios::out | std::ios::binary);
                         float f = 0.0f;
                         signed char c = 0;
                         short s = 0;
                         int i = 0;
                         unsigned int u = 0;
                         char text[16] = {};
                         watch([&] {
                             IOSReadFloat(stream, &f, 1);
                             IOSReadChar(stream, &c, 1);
                             IOSReadShort(stream, &s, 1);
                             IOSReadLong(stream, &i, 1);
                             IOSReadULong(stream, &u, 1);
                             IOSReadCString(stream, text, sizeof text);
                             stream.clear();
                             stream.seekp(0);
                             IOSWriteCString(stream, "written", 100);
                         });
                         stream.close();
                         return std::to_string(f) + std::to_string(c) + std::to_string(s) + std::to_string(i) +
                                std::to_string(u) + text + digest(folder.read("values"));
                     }});
    cases.push_back({"getNextString", [](Watch& watch) {
                         const TemporaryFolder folder;
                         std::FILE* file = std::fopen(folder.write("text", "a|bcd|e").c_str(), "rb");
                         char text[16] = {};
                         const int result = watch([&] { return getNextString('|', text, file, 10); });
                         std::fclose(file);
                         return std::to_string(result) + text;
                     }});
    // No result tells of a text that is not written: it is there without a block of memory, or, where not even the
    // system's own needs are served, the older one still is.
    const auto text_case = [&cases](const std::string& name, auto write) {
        cases.push_back({name,
                         [=](Watch& watch) {
                             const TemporaryFolder folder;
                             std::string path = folder.write("text", oldFile);
                             watch([&] { write(path.data()); });
                             return state_of(folder, "text");
                         },
                         {"old"}});
    };
    text_case("WriteFloatVector2Txt/float", [](char* path) {
        float values[] = {1.5f, 2.25f};
        WriteFloatVector2Txt(path, values, 2, 0);
    });
    text_case("WriteFloatVector2Txt/double", [](char* path) {
        double values[] = {1.5, 2.25};
        WriteFloatVector2Txt(path, values, 2, 0);
    });
    text_case("WriteDoubleVector2Txt", [](char* path) {
        double values[] = {1.5, 2.25};
        WriteDoubleVector2Txt(path, values, 2, 0);
    });
    text_case("WriteFloatMatrix2Txt", [](char* path) {
        float values[] = {1.5f, 2.25f};
        float* matrix[] = {values};
        WriteFloatMatrix2Txt(path, matrix, 1, 2, 0);
    });
    text_case("WriteFloatVector2SDM", [](char* path) {
        float values[] = {1.5f, 2.25f};
        WriteFloatVector2SDM(path, values, 2);
    });
}

} // namespace

void add_file_cases(std::vector<Case>& cases) {
    add_recordings(cases);
    add_sample_access(cases);
    add_recording_saves(cases);
    add_tensors(cases);
    add_matrices(cases);
    add_arrays_in_files(cases);
    add_streams_and_texts(cases);
}
