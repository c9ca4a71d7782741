#include "fileio/ctc.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>
#include <new>

#include "fileio/ctc_header.h"
#include "fileio/header_fields.h"
#include "fileio/paths.h"
#include "fileio/save_target.h"

using fileio::HeaderStatus;
using fileio::may_be_backing_file;
using fileio::stored_size;
using fileio::total_samples;
using fileio::write_bytes;
using fileio::write_field;

namespace {

constexpr unsigned int copyBlockBytes = 655360;

// Element code of the view of each DataType. DataType 5 (scaled float) is viewed as single bytes: kept on purpose.
unsigned int view_code(unsigned int dataType) {
    switch (dataType) {
    case 1:
        return transioFloat;
    case 2:
        return transioDouble;
    case 3:
        return transioInt16;
    case 4:
        return transioInt8;
    default:
        return transioByte;
    }
}

template <class T>
void free_and_null(T*& pointer) {
    std::free(pointer);
    pointer = nullptr;
}

int refuse(CTCStruct* ctc, const char* message = nullptr) {
    if (message != nullptr) {
        std::cerr << message << std::endl;
    }
    FreeCTCMemory(ctc);
    return 0;
}

bool open_view(CTCStruct* ctc, const char* fileName, unsigned long long dataPosition) {
    unsigned int nDims = 2;
    unsigned int dims[2] = {ctc->NrOfSamples, ctc->NrOfChannels};
    if (ctc->SampleOrdering == 2) {
        std::swap(dims[0], dims[1]);
    } else if (ctc->SampleOrdering != 1) {
        nDims = 1;
        dims[0] = static_cast<unsigned int>(total_samples(*ctc));
    }
    ctc->FileView = static_cast<transio_struct*>(std::malloc(sizeof(transio_struct)));
    return ctc->FileView != nullptr &&
           transio_open(ctc->FileView, fileName, dataPosition, nDims, dims, view_code(ctc->DataType) | 0x11) == 1;
}

// The holder of the DataType; null when there is none.
void* holder_of(const CTCStruct* ctc) {
    switch (ctc->DataType) {
    case 1:
    case 5:
        return ctc->FloatSamples;
    case 3:
        return ctc->Int16Samples;
    case 4:
        return ctc->Int8Samples;
    default:
        return nullptr;
    }
}

// Loads the data section from the stream's position. Samples that the file does not hold are zeros; calloc keeps
// a wild count from costing memory that no sample fills.
bool load_samples(CTCStruct* ctc, std::istream& stream) {
    const unsigned long long total = total_samples(*ctc);
    const unsigned int size = stored_size(ctc->DataType);
    void* samples = std::calloc(total == 0 ? 1 : total, size);
    if (samples == nullptr) {
        return false;
    }
    if (ctc->DataType == 3) {
        ctc->Int16Samples = static_cast<short*>(samples);
    } else if (ctc->DataType == 4) {
        ctc->Int8Samples = static_cast<signed char*>(samples);
    } else {
        ctc->FloatSamples = static_cast<float*>(samples);
    }
    stream.read(static_cast<char*>(samples), static_cast<std::streamsize>(total * size));
    return true;
}

bool can_be_written(const CTCStruct* ctc) {
    if (ctc->FileVersion == 0 || ctc->CompressionType != 0 || ctc->NrOfCompressionParams != 0 || ctc->DataType < 1 ||
        ctc->DataType > 5 || ctc->SampleOrdering < 1 || ctc->SampleOrdering > 6) {
        return false;
    }
    const bool scaled = ctc->DataType > 2;
    const bool arraysMissing =
        (scaled && (ctc->ChannelOffsets == nullptr || ctc->ChannelScales == nullptr)) ||
        (ctc->NrOfConditions != 0 &&
         (ctc->NrOfTrials == nullptr || ctc->PreTriggerSamples == nullptr || ctc->PostTriggerSamples == nullptr));
    if (arraysMissing || total_samples(*ctc) > 0xFFFFFFFFULL) {
        return false;
    }
    if (ctc->DataType == 2 || total_samples(*ctc) == 0) {
        return true; // nothing to copy
    }
    return ctc->FileView == nullptr ? holder_of(ctc) != nullptr : fileio::view_fits(*ctc);
}

void write_header(std::ostream& out, const CTCStruct* ctc) {
    write_field(out, ctc->FileVersion);
    write_field(out, ctc->CompressionType);
    write_field(out, ctc->DataType);
    write_field(out, ctc->SampleOrdering);
    write_field(out, ctc->NrOfChannels);
    write_field(out, ctc->NrOfSamples);
    write_field(out, ctc->SamplingFrequency);
    if (ctc->DataType > 2) {
        write_bytes(out, ctc->ChannelOffsets, 4ULL * ctc->NrOfChannels);
        write_bytes(out, ctc->ChannelScales, 4ULL * ctc->NrOfChannels);
    }
    write_field(out, ctc->NrOfConditions);
    if (ctc->NrOfConditions != 0) {
        write_bytes(out, ctc->NrOfTrials, 4ULL * ctc->NrOfConditions);
        write_bytes(out, ctc->PreTriggerSamples, 4ULL * ctc->NrOfConditions);
        write_bytes(out, ctc->PostTriggerSamples, 4ULL * ctc->NrOfConditions);
    }
}

// Copies the samples of the view in whole blocks and a remainder. For DataType 5, whose view has single bytes, a
// block of 163,840 elements carries that many bytes and is written as a full block, the rest of it as it was.
// `block` has copyBlockBytes.
bool copy_view(std::ostream& out, const CTCStruct* ctc, char* block) {
    const unsigned int size = stored_size(ctc->DataType);
    if (size == 0) {
        return true; // DataType 2: the header only
    }
    const unsigned int run = copyBlockBytes / size;
    const unsigned long long total = total_samples(*ctc);
    for (unsigned long long first = 0; first < total; first += run) {
        const unsigned int count = static_cast<unsigned int>(std::min<unsigned long long>(run, total - first));
        if (transio_read_buffer(ctc->FileView, first, count, block) != count) {
            return false; // the backing file was shortened meanwhile
        }
        write_bytes(out, block, static_cast<unsigned long long>(count) * size);
    }
    return true;
}

// Puts a view of the freshly written file in the place of the old one, which stays if that fails.
bool rebind(CTCStruct* ctc, const char* fileName, unsigned long long dataPosition) {
    transio_struct* old = ctc->FileView;
    auto* view = static_cast<transio_struct*>(std::malloc(sizeof(transio_struct)));
    const unsigned int mode = (old->flags & transioTypeMask) | 0x11;
    if (view == nullptr || transio_open(view, fileName, dataPosition, old->nDims, old->dims, mode) != 1) {
        std::free(view);
        return false;
    }
    transio_close(old);
    std::free(old);
    ctc->FileView = view;
    return true;
}

} // namespace

int ReadEntireCTC(CTCStruct* ctc, const char* fileName, unsigned int fileBacked) {
    fileio::reset_ctc(ctc);
    std::fstream stream;
    if (!fileio::open_regular_file(stream, fileName)) {
        return 0;
    }
    unsigned int fileVersion = 0;
    const HeaderStatus status = fileio::read_ctc_header(stream, ctc, &fileVersion);
    std::strncpy(ctc->fileName, fileName, sizeof ctc->fileName - 1);
    switch (status) {
    case HeaderStatus::ok:
        break;
    case HeaderStatus::unsupportedDataType:
        return refuse(ctc, "Datatype not yet supported.");
    case HeaderStatus::unsupportedOrdering:
        return refuse(ctc, "SampleOrdering not yet supported.");
    default:
        return refuse(ctc);
    }

    if (fileBacked == 1) {
        if (!open_view(ctc, fileName, static_cast<unsigned long long>(std::streamoff{stream.tellg()}))) {
            return refuse(ctc);
        }
    } else if (ctc->DataType == 0) {
        return refuse(ctc, "Unsupported datatype.");
    } else if (!load_samples(ctc, stream)) {
        return refuse(ctc);
    }
    ctc->FileVersion = fileVersion;
    return 1;
}

int WriteEntireCTC(CTCStruct* ctc, const char* fileName, unsigned int) {
    if (!can_be_written(ctc)) {
        return 0;
    }
    if (ctc->FileView != nullptr && may_be_backing_file(ctc->FileView, fileName)) {
        return 0; // the samples would be truncated before they are copied
    }
    // Had before the target is touched, like the buffer of its stream.
    const std::unique_ptr<char[]> block(ctc->FileView == nullptr ? nullptr : new (std::nothrow) char[copyBlockBytes]());
    fileio::SaveTarget target;
    if ((ctc->FileView != nullptr && block == nullptr) || !fileio::open_any_target(target, fileName)) {
        return 0;
    }
    std::fstream& file = target.stream;
    write_header(file, ctc);
    if (ctc->FileView != nullptr) {
        const std::streamoff dataPosition = file.tellp();
        const bool copied = copy_view(file, ctc, block.get());
        file.close();
        if (!copied || file.fail()) {
            fileio::remove_incomplete(fileName);
            return 0;
        }
        return rebind(ctc, fileName, static_cast<unsigned long long>(dataPosition)) ? 1 : 0;
    }
    write_bytes(file, holder_of(ctc), total_samples(*ctc) * stored_size(ctc->DataType));
    return 1;
}

void FreeCTCMemory(CTCStruct* ctc) {
    free_and_null(ctc->CompressionParams);
    free_and_null(ctc->ChannelOffsets);
    free_and_null(ctc->ChannelScales);
    free_and_null(ctc->NrOfTrials);
    free_and_null(ctc->PreTriggerSamples);
    free_and_null(ctc->PostTriggerSamples);
    free_and_null(ctc->ConditionStarts);
    free_and_null(ctc->FloatSamples);
    free_and_null(ctc->Int16Samples);
    free_and_null(ctc->Int8Samples);
    if (ctc->FileView != nullptr) {
        transio_close(ctc->FileView);
        free_and_null(ctc->FileView);
    }
}

void PrintCTCHeader(const CTCStruct* ctc) {
    std::cout << "FileVersion:           " << ctc->FileVersion << std::endl;
    std::cout << "CompressionType:       " << ctc->CompressionType << std::endl;
    std::cout << "NrOfCompressionParams: " << ctc->NrOfCompressionParams << std::endl;
    std::cout << "DataType:              " << ctc->DataType << std::endl;
}
