#include "fileio/tfd.h"

#include <cstdlib>
#include <cstring>
#include <fstream>

#include "fileio/header_fields.h"
#include "fileio/paths.h"
#include "fileio/save_target.h"
#include "fileio/stream_values.h"

using fileio::new_array;
using fileio::write_bytes;
using fileio::write_field;

namespace {

constexpr unsigned int zeroBlockFloats = 163840; // 655,360 bytes
constexpr unsigned long long maxFileLength = 0x7FFFFFFFFFFFFFFFULL;
constexpr unsigned long long twoTo32 = 1ULL << 32;

template <class T>
void free_and_null(T*& pointer) {
    std::free(pointer);
    pointer = nullptr;
}

TFDStruct* discard(TFDStruct* tfd) {
    FreeTFD(&tfd, 0);
    return nullptr;
}

// Elements of one tensor and of all together; false where there is nothing to view or no file could hold it.
bool count_elements(const TFDStruct& tfd, unsigned long long& perTensor, unsigned long long& total) {
    perTensor = static_cast<unsigned long long>(tfd.ExtentA) * tfd.ExtentB;
    return !__builtin_mul_overflow(perTensor, static_cast<unsigned long long>(tfd.ExtentC), &perTensor) &&
           !__builtin_mul_overflow(perTensor, 2ULL * tfd.NrOfTensorPairs, &total) && total != 0 &&
           total <= maxFileLength / sizeof(float);
}

// Views of longer names cannot be opened.
bool can_be_viewed(const char* fileName) {
    return std::strlen(fileName) < sizeof transio_struct::fileName;
}

// Allocates an array only where the file is long enough to hold it.
bool allocate_held(std::fstream& stream, unsigned int count, unsigned int** values) {
    *values = fileio::bytes_left(stream) < 4ULL * count ? nullptr : new_array<unsigned int>(count);
    return *values != nullptr;
}
bool allocate_held(std::fstream& stream, unsigned int count, float** values) {
    *values = fileio::bytes_left(stream) < 4ULL * count ? nullptr : new_array<float>(count);
    return *values != nullptr;
}

bool read_header(std::fstream& stream, TFDStruct* tfd) {
    IOSReadULong(stream, &tfd->FileVersion, 1);
    if (tfd->FileVersion != 1) {
        return false;
    }
    fileio::read_text(stream, tfd->FirstText);
    fileio::read_text(stream, tfd->SecondText);
    IOSReadULong(stream, &tfd->NrOfTensorPairs, 1);
    if (!allocate_held(stream, tfd->NrOfTensorPairs, &tfd->PairValues)) {
        return false;
    }
    IOSReadULong(stream, tfd->PairValues, tfd->NrOfTensorPairs);
    IOSReadULong(stream, &tfd->ExtentA, 1);
    IOSReadULong(stream, &tfd->ExtentB, 1);
    if (!allocate_held(stream, tfd->ExtentB, &tfd->ExtentBValues)) {
        return false;
    }
    IOSReadFloat(stream, tfd->ExtentBValues, tfd->ExtentB);
    IOSReadULong(stream, &tfd->ExtentC, 1);
    IOSReadFloat(stream, &tfd->FirstParameter, 1);
    IOSReadFloat(stream, &tfd->SecondParameter, 1);
    IOSReadFloat(stream, &tfd->ThirdParameter, 1);
    IOSReadULong(stream, &tfd->NrOfExtraValues, 1);
    if (tfd->NrOfExtraValues != 0) {
        if (!allocate_held(stream, tfd->NrOfExtraValues, &tfd->ExtraValues)) {
            return false;
        }
        IOSReadULong(stream, tfd->ExtraValues, tfd->NrOfExtraValues);
    }
    return true; // where the header was cut short, no bytes are left for tensors
}

void write_header(std::fstream& stream, const TFDStruct& header, const unsigned int* pairValues,
                  const float* extentBValues, const unsigned int* extraValues) {
    write_field(stream, header.FileVersion);
    IOSWriteCString(stream, header.FirstText, fileio::textCapacity);
    IOSWriteCString(stream, header.SecondText, fileio::textCapacity);
    write_field(stream, header.NrOfTensorPairs);
    write_bytes(stream, pairValues, 4ULL * header.NrOfTensorPairs);
    write_field(stream, header.ExtentA);
    write_field(stream, header.ExtentB);
    write_bytes(stream, extentBValues, 4ULL * header.ExtentB);
    write_field(stream, header.ExtentC);
    write_field(stream, header.FirstParameter);
    write_field(stream, header.SecondParameter);
    write_field(stream, header.ThirdParameter);
    write_field(stream, header.NrOfExtraValues);
    write_bytes(stream, extraValues, 4ULL * header.NrOfExtraValues);
}

bool allocate_header_arrays(TFDStruct* tfd) {
    tfd->PairValues = new_array<unsigned int>(tfd->NrOfTensorPairs);
    tfd->ExtentBValues = new_array<float>(tfd->ExtentB);
    if (tfd->NrOfExtraValues != 0) {
        tfd->ExtraValues = new_array<unsigned int>(tfd->NrOfExtraValues);
    }
    return tfd->PairValues != nullptr && tfd->ExtentBValues != nullptr &&
           (tfd->NrOfExtraValues == 0 || tfd->ExtraValues != nullptr);
}

// The tensor table and the block of its views, which are closed at first.
bool allocate_views(TFDStruct* tfd) {
    auto* views = new_array<transio_struct>(2ULL * tfd->NrOfTensorPairs);
    if (views == nullptr) {
        return false;
    }
    tfd->Tensors = new_array<TFDTensorStruct>(tfd->NrOfTensorPairs);
    if (tfd->Tensors == nullptr) {
        std::free(views);
        return false;
    }
    for (unsigned int i = 0; i < tfd->NrOfTensorPairs; ++i) {
        tfd->Tensors[i].FirstView = views + 2ULL * i;
        tfd->Tensors[i].SecondView = views + 2ULL * i + 1;
    }
    return true; // NOLINT(clang-analyzer-unix.Malloc): there is a first pair, which holds the block
}

bool open_views(TFDStruct* tfd, const char* fileName, unsigned long long dataPosition) {
    transio_struct* views = tfd->Tensors[0].FirstView;
    const unsigned int dims[3] = {tfd->ExtentC, tfd->ExtentB, tfd->ExtentA};
    if (transio_open(&views[0], fileName, dataPosition, 3, dims, transioFloat | 0x11) != 1) {
        return false;
    }
    for (unsigned long long k = 1; k < 2ULL * tfd->NrOfTensorPairs; ++k) {
        views[k] = views[0];
        views[k].baseOffset = dataPosition + k * views[0].elementCount * sizeof(float);
    }
    return true;
}

bool write_zeros(std::fstream& stream, const float* zeroBlock, unsigned int total) {
    const std::streamoff dataPosition = stream.tellp();
    unsigned int remaining = total;
    while (remaining > zeroBlockFloats && stream) {
        write_bytes(stream, zeroBlock, zeroBlockFloats * sizeof(float));
        remaining -= zeroBlockFloats;
    }
    write_bytes(stream, zeroBlock, remaining * sizeof(float));
    const std::streamoff end = dataPosition + static_cast<std::streamoff>(total * sizeof(float));
    const bool complete = std::streamoff{stream.tellp()} == end;
    stream.close(); // which writes what is pending
    return complete && !stream.fail();
}

bool can_be_written(const TFDStruct& tfd) {
    unsigned long long perTensor = 0;
    unsigned long long total = 0;
    const bool arraysMissing = tfd.PairValues == nullptr || tfd.ExtentBValues == nullptr || tfd.Tensors == nullptr ||
                               (tfd.NrOfExtraValues != 0 && tfd.ExtraValues == nullptr);
    return tfd.FileVersion == 1 && !arraysMissing && count_elements(tfd, perTensor, total) &&
           tfd.Tensors[0].FirstView != nullptr && tfd.Tensors[0].FirstView->elementCount == perTensor;
}

bool copy_tensors(std::fstream& stream, TFDStruct* tfd) {
    for (unsigned int i = 0; i < tfd->NrOfTensorPairs; ++i) {
        TFDTensorStruct* pair = &tfd->Tensors[i];
        if (TFDReadTensor(pair) != 1) {
            return false;
        }
        const unsigned long long bytes = pair->FirstView->elementCount * sizeof(float);
        write_bytes(stream, pair->FirstData, bytes);
        write_bytes(stream, pair->SecondData, bytes);
        TFDFreeTensor(pair);
        if (stream.fail()) {
            return false;
        }
    }
    return true;
}

} // namespace

TFDStruct* CreateTFD(const char* fileName, const char* firstText, const char* secondText, unsigned int nrOfTensorPairs,
                     const unsigned int* pairValues, unsigned int extentA, unsigned int extentB,
                     const float* extentBValues, unsigned int extentC, float firstParameter, float secondParameter,
                     float thirdParameter, unsigned int nrOfExtraValues, const unsigned int* extraValues) {
    auto* tfd = new_array<TFDStruct>(1);
    if (tfd == nullptr) {
        return nullptr;
    }
    tfd->FileVersion = 1;
    fileio::copy_text(tfd->FirstText, firstText);
    fileio::copy_text(tfd->SecondText, secondText);
    tfd->NrOfTensorPairs = nrOfTensorPairs;
    tfd->ExtentA = extentA;
    tfd->ExtentB = extentB;
    tfd->ExtentC = extentC;
    tfd->FirstParameter = firstParameter;
    tfd->SecondParameter = secondParameter;
    tfd->ThirdParameter = thirdParameter;
    tfd->NrOfExtraValues = nrOfExtraValues;

    // Everything that can be refused is refused before the file is touched. Elements are counted in 32 bits: a total
    // that wraps would give a file shorter than its header says.
    unsigned long long perTensor = 0;
    unsigned long long total = 0;
    if (!can_be_viewed(fileName) || !count_elements(*tfd, perTensor, total) || total >= twoTo32 ||
        !allocate_header_arrays(tfd) || !allocate_views(tfd)) {
        return discard(tfd);
    }
    auto* zeroBlock = new_array<float>(zeroBlockFloats);
    fileio::SaveTarget target;
    std::fstream& stream = target.stream;
    if (zeroBlock == nullptr || !fileio::open_target(target, fileName)) {
        std::free(zeroBlock);
        return discard(tfd);
    }

    // The caller's values go into the file only: the arrays in memory stay unfilled until the file is read.
    write_header(stream, *tfd, pairValues, extentBValues, extraValues);
    const std::streamoff dataPosition = stream.tellp();
    const bool written = write_zeros(stream, zeroBlock, static_cast<unsigned int>(total));
    std::free(zeroBlock);
    if (!written || !open_views(tfd, fileName, static_cast<unsigned long long>(dataPosition))) {
        fileio::remove_incomplete(fileName);
        return discard(tfd);
    }
    return tfd;
}

TFDStruct* ReadTFD(const char* fileName) {
    std::fstream stream;
    if (!fileio::open_regular_file(stream, fileName)) {
        return nullptr;
    }
    auto* tfd = new_array<TFDStruct>(1);
    if (tfd == nullptr) {
        return nullptr;
    }
    unsigned long long perTensor = 0;
    unsigned long long total = 0;
    if (!read_header(stream, tfd) || !count_elements(*tfd, perTensor, total) ||
        fileio::bytes_left(stream) < total * sizeof(float) || !allocate_views(tfd)) {
        return discard(tfd);
    }
    const std::streamoff dataPosition = stream.tellg();
    stream.close();
    return open_views(tfd, fileName, static_cast<unsigned long long>(dataPosition)) ? tfd : discard(tfd);
}

int WriteTFD(TFDStruct* tfd, const char* fileName) {
    if (!can_be_written(*tfd) || !can_be_viewed(fileName) ||
        fileio::may_be_backing_file(tfd->Tensors[0].FirstView, fileName)) {
        return 0;
    }
    fileio::SaveTarget target;
    std::fstream& stream = target.stream;
    if (!fileio::open_target(target, fileName)) {
        return 0;
    }
    write_header(stream, *tfd, tfd->PairValues, tfd->ExtentBValues, tfd->ExtraValues);
    const bool copied = copy_tensors(stream, tfd);
    stream.close();
    if (!copied || stream.fail()) {
        fileio::remove_incomplete(fileName);
        return 0;
    }
    TFDStruct* saved = ReadTFD(fileName);
    if (saved == nullptr) {
        return 0;
    }
    FreeTFD(&tfd, 1);
    *tfd = *saved;
    std::free(saved);
    return 1;
}

void FreeTFD(TFDStruct** tfd, unsigned int keepStructure) {
    TFDStruct* structure = *tfd;
    if (structure == nullptr) {
        return;
    }
    free_and_null(structure->ExtraValues);
    free_and_null(structure->ExtentBValues);
    free_and_null(structure->PairValues);
    if (structure->Tensors != nullptr) {
        transio_struct* views = structure->Tensors[0].FirstView;
        if (views != nullptr) {
            transio_close(views); // the stream of all views
            std::free(views);
        }
        free_and_null(structure->Tensors);
    }
    if (keepStructure != 1) {
        std::free(structure);
    }
}

int TFDReadTensor(TFDTensorStruct* pair) {
    TFDFreeTensor(pair);
    const unsigned long long n = pair->FirstView->elementCount;
    if (n >= twoTo32) {
        return 0;
    }
    const auto count = static_cast<unsigned int>(n);
    pair->FirstData = new_array<float>(n);
    pair->SecondData = new_array<float>(n);
    if (pair->FirstData == nullptr || pair->SecondData == nullptr ||
        transio_read_buffer(pair->FirstView, 0, count, pair->FirstData) != count ||
        transio_read_buffer(pair->SecondView, 0, count, pair->SecondData) != count) {
        TFDFreeTensor(pair);
        return 0;
    }
    return 1;
}

int TFDWriteTensor(TFDTensorStruct* pair) {
    const unsigned long long n = pair->FirstView->elementCount;
    if (pair->FirstData == nullptr || pair->SecondData == nullptr || n >= twoTo32) {
        return 0;
    }
    const auto count = static_cast<unsigned int>(n);
    const unsigned int first = transio_write_buffer(pair->FirstView, 0, count, pair->FirstData);
    const unsigned int second = transio_write_buffer(pair->SecondView, 0, count, pair->SecondData);
    return first == count && second == count ? 1 : 0;
}

void TFDFreeTensor(TFDTensorStruct* pair) {
    free_and_null(pair->FirstData);
    free_and_null(pair->SecondData);
}
