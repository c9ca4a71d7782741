#include "fileio/cvx.h"

#include <cstdlib>
#include <fstream>

#include "fileio/header_fields.h"
#include "fileio/paths.h"
#include "fileio/save_target.h"
#include "fileio/stream_values.h"

using fileio::new_array;
using fileio::write_bytes;
using fileio::write_field;

namespace {

constexpr unsigned long long maxBytes = 0x7FFFFFFFFFFFFFFFULL;

unsigned long long matrix_elements(const CVXStruct& cvx) {
    return static_cast<unsigned long long>(cvx.MatrixOrder) * cvx.MatrixOrder;
}

bool matrix_fits(const CVXStruct& cvx) {
    return matrix_elements(cvx) <= maxBytes / sizeof(double);
}

CVXStruct* discard(CVXStruct* cvx) {
    FreeCVX(&cvx);
    return nullptr;
}

// The pair or the single matrix, as the count of pair values says.
bool allocate_matrices(CVXStruct* cvx) {
    const unsigned long long elements = matrix_elements(*cvx);
    if (cvx->NrOfPairValues == 0) {
        cvx->SingleMatrix = new_array<double>(elements);
        return cvx->SingleMatrix != nullptr;
    }
    cvx->FirstMatrix = new_array<double>(elements);
    cvx->SecondMatrix = new_array<double>(elements);
    return cvx->FirstMatrix != nullptr && cvx->SecondMatrix != nullptr;
}

// Once the file has ended, the reads that follow leave the zeros of the allocation.
bool read_values(std::fstream& stream, unsigned int count, unsigned int** values) {
    *values = new_array<unsigned int>(count);
    if (*values == nullptr) {
        return false;
    }
    IOSReadULong(stream, *values, count);
    return true;
}

void read_matrix(std::fstream& stream, const CVXStruct& cvx, double* matrix) {
    stream.read(reinterpret_cast<char*>(matrix), static_cast<std::streamsize>(matrix_elements(cvx) * sizeof(double)));
}

// Everything behind FileVersion.
bool read_rest(std::fstream& stream, CVXStruct* cvx) {
    fileio::read_text(stream, cvx->FirstText);
    fileio::read_text(stream, cvx->SecondText);
    IOSReadULong(stream, &cvx->MatrixOrder, 1);
    if (!matrix_fits(*cvx) || !read_values(stream, cvx->MatrixOrder, &cvx->OrderValues)) {
        return false;
    }
    IOSReadULong(stream, &cvx->FourthCount, 1);
    IOSReadULong(stream, &cvx->NrOfPairValues, 1);
    if (cvx->NrOfPairValues != 0 && !read_values(stream, cvx->NrOfPairValues, &cvx->PairValues)) {
        return false;
    }
    IOSReadULong(stream, &cvx->FirstSetting, 1);
    IOSReadULong(stream, &cvx->SecondSetting, 1);
    IOSReadFloat(stream, &cvx->ThirdSetting, 1);
    IOSReadFloat(stream, &cvx->FourthSetting, 1);
    IOSReadULong(stream, &cvx->NrOfExtraValues, 1);
    if (cvx->NrOfExtraValues != 0 && !read_values(stream, cvx->NrOfExtraValues, &cvx->ExtraValues)) {
        return false;
    }
    if (!allocate_matrices(cvx)) {
        return false;
    }
    if (cvx->NrOfPairValues != 0) {
        read_matrix(stream, *cvx, cvx->FirstMatrix);
        read_matrix(stream, *cvx, cvx->SecondMatrix);
    } else {
        read_matrix(stream, *cvx, cvx->SingleMatrix);
    }
    return true;
}

bool can_be_written(const CVXStruct& cvx) {
    const bool arraysMissing = (cvx.MatrixOrder != 0 && cvx.OrderValues == nullptr) ||
                               (cvx.NrOfPairValues != 0 && cvx.PairValues == nullptr) ||
                               (cvx.NrOfExtraValues != 0 && cvx.ExtraValues == nullptr);
    const bool matrixMissing = cvx.NrOfPairValues != 0 ? cvx.FirstMatrix == nullptr || cvx.SecondMatrix == nullptr
                                                       : cvx.SingleMatrix == nullptr;
    return cvx.FileVersion == 1 && matrix_fits(cvx) && !arraysMissing && !(matrixMissing && cvx.MatrixOrder != 0);
}

} // namespace

CVXStruct* CreateCVX(const char* firstText, const char* secondText, unsigned int matrixOrder, unsigned int fourthCount,
                     unsigned int nrOfPairValues, unsigned int nrOfExtraValues) {
    auto* cvx = new_array<CVXStruct>(1);
    if (cvx == nullptr) {
        return nullptr;
    }
    cvx->FileVersion = 1;
    fileio::copy_text(cvx->FirstText, firstText);
    fileio::copy_text(cvx->SecondText, secondText);
    cvx->MatrixOrder = matrixOrder;
    cvx->FourthCount = fourthCount;
    cvx->NrOfPairValues = nrOfPairValues;
    cvx->FirstSetting = 1;
    cvx->SecondSetting = 0;
    cvx->ThirdSetting = 1.0f;
    cvx->FourthSetting = 1000.0f;
    cvx->NrOfExtraValues = nrOfExtraValues;
    if (!matrix_fits(*cvx)) {
        return discard(cvx);
    }
    cvx->OrderValues = new_array<unsigned int>(matrixOrder);
    if (nrOfPairValues != 0) {
        cvx->PairValues = new_array<unsigned int>(nrOfPairValues);
    }
    if (nrOfExtraValues != 0) {
        cvx->ExtraValues = new_array<unsigned int>(nrOfExtraValues);
    }
    const bool arraysMissing = cvx->OrderValues == nullptr || (nrOfPairValues != 0 && cvx->PairValues == nullptr) ||
                               (nrOfExtraValues != 0 && cvx->ExtraValues == nullptr);
    return arraysMissing || !allocate_matrices(cvx) ? discard(cvx) : cvx;
}

CVXStruct* ReadCVX(const char* fileName) {
    std::fstream stream;
    if (!fileio::open_regular_file(stream, fileName)) {
        return nullptr;
    }
    unsigned int fileVersion = 0;
    IOSReadULong(stream, &fileVersion, 1);
    if (fileVersion != 1) {
        return nullptr;
    }
    auto* cvx = new_array<CVXStruct>(1);
    if (cvx == nullptr) {
        return nullptr;
    }
    cvx->FileVersion = fileVersion;
    return read_rest(stream, cvx) ? cvx : discard(cvx);
}

int WriteCVX(const CVXStruct* cvx, const char* fileName) {
    fileio::SaveTarget target;
    std::fstream& stream = target.stream;
    if (!can_be_written(*cvx) || !fileio::open_target(target, fileName)) {
        return 0;
    }
    write_field(stream, cvx->FileVersion);
    IOSWriteCString(stream, cvx->FirstText, fileio::textCapacity);
    IOSWriteCString(stream, cvx->SecondText, fileio::textCapacity);
    write_field(stream, cvx->MatrixOrder);
    write_bytes(stream, cvx->OrderValues, 4ULL * cvx->MatrixOrder);
    write_field(stream, cvx->FourthCount);
    write_field(stream, cvx->NrOfPairValues);
    write_bytes(stream, cvx->PairValues, 4ULL * cvx->NrOfPairValues);
    write_field(stream, cvx->FirstSetting);
    write_field(stream, cvx->SecondSetting);
    write_field(stream, cvx->ThirdSetting);
    write_field(stream, cvx->FourthSetting);
    write_field(stream, cvx->NrOfExtraValues);
    write_bytes(stream, cvx->ExtraValues, 4ULL * cvx->NrOfExtraValues);
    const unsigned long long matrixBytes = matrix_elements(*cvx) * sizeof(double);
    if (cvx->NrOfPairValues != 0) {
        write_bytes(stream, cvx->FirstMatrix, matrixBytes);
        write_bytes(stream, cvx->SecondMatrix, matrixBytes);
    } else {
        write_bytes(stream, cvx->SingleMatrix, matrixBytes);
    }
    stream.close();
    if (stream.fail()) {
        fileio::remove_incomplete(fileName); // it would read back as zeros
        return 0;
    }
    return 1;
}

void FreeCVX(CVXStruct** cvx) {
    CVXStruct* structure = *cvx;
    if (structure == nullptr) {
        return;
    }
    std::free(structure->OrderValues);
    std::free(structure->PairValues);
    std::free(structure->ExtraValues);
    std::free(structure->SingleMatrix);
    std::free(structure->FirstMatrix);
    std::free(structure->SecondMatrix);
    std::free(structure);
}
