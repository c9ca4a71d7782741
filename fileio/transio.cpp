#include "fileio/transio.h"

#include <cstddef>
#include <cstring>
#include <memory>
#include <new>

#include "fileio/paths.h"
#include "fileio/view_stream.h"

namespace {

using fileio::ViewStream;

constexpr unsigned int flagsWhenReset = 8;
constexpr unsigned long long maxFileLength = 0x7FFFFFFFFFFFFFFFULL;

// Bytes per element, or 0 for an unknown type code.
unsigned int element_size(unsigned int typeCode) {
    switch (typeCode) {
    case transioByte:
    case transioUint8:
    case transioInt8:
        return 1;
    case transioUint16:
    case transioInt16:
        return 2;
    case transioUint32:
    case transioInt32:
    case transioFloat:
        return 4;
    case transioDouble:
        return 8;
    default:
        return 0;
    }
}

void reset(transio_struct* t) {
    t->fileName[0] = '\0';
    t->flags = flagsWhenReset;
    t->stream = nullptr;
    t->baseOffset = 0;
    t->elementSize = 0;
    t->nDims = 0;
    t->dims[0] = 0;
    t->elementCount = 0;
}

// Product of the extents and the file length that holds them; false when there is nothing to open or a number
// passes what a file can be.
bool sizes_of(unsigned int nDims, const unsigned int* dims, unsigned int elementSize, unsigned long long baseOffset,
              unsigned long long& count, unsigned long long& length) {
    count = 1;
    for (unsigned int i = 0; i < nDims; ++i) {
        if (__builtin_mul_overflow(count, static_cast<unsigned long long>(dims[i]), &count) || count > maxFileLength) {
            return false;
        }
    }
    return count != 0 && !__builtin_mul_overflow(count, static_cast<unsigned long long>(elementSize), &length) &&
           !__builtin_add_overflow(length, baseOffset, &length) && length <= maxFileLength;
}

// False where the length cannot be found out. It must not pass for 0: the file would be cut to that.
bool length_of(std::fstream& stream, unsigned long long& length) {
    stream.seekg(0, std::ios::end);
    const std::streamoff end = stream.tellg();
    length = static_cast<unsigned long long>(end);
    return end >= 0;
}

// Writes the last byte of the missing stretch; the system supplies the zeros before it.
bool lengthen(ViewStream& stream, const char* fileName, unsigned long long oldLength, unsigned long long length) {
    stream.seekp(static_cast<std::streamoff>(length - 1));
    stream.put('\0');
    stream.flush();
    if (stream) {
        return true;
    }
    stream.close(); // before the cut: closing tries once more to write what is pending
    if (stream.file.has_value() && stream.file == fileio::regular_file(fileName)) {
        fileio::set_length(fileName, oldLength);
    }
    return false;
}

// A new stream, closed where the file cannot be opened; null where there is no memory for it or for its buffer.
std::unique_ptr<ViewStream> new_stream(const char* fileName, std::ios::openmode mode) {
    try {
        return std::make_unique<ViewStream>(fileName, mode);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

// The open stream, or null.
std::unique_ptr<ViewStream> open_stream(const char* fileName, bool writing, unsigned long long length) {
    const std::optional<fileio::FileIdentity> before = fileio::regular_file(fileName);
    if (!before.has_value()) {
        return nullptr;
    }
    const std::ios::openmode mode = std::ios::in | std::ios::binary;
    std::unique_ptr<ViewStream> stream = new_stream(fileName, writing ? mode | std::ios::out | std::ios::ate : mode);
    if (stream == nullptr || !stream->is_open()) {
        return nullptr;
    }
    if (fileio::regular_file(fileName) == before) {
        stream->file = before;
    }
    unsigned long long present = 0;
    if (!length_of(*stream, present) ||
        (present < length && !(writing && lengthen(*stream, fileName, present, length)))) {
        return nullptr;
    }
    return stream;
}

bool in_range(const transio_struct* t, unsigned long long firstIndex, unsigned int count) {
    return firstIndex <= t->elementCount && count <= t->elementCount - firstIndex;
}

template <class T>
T* read_array(const transio_struct* t, unsigned long long firstIndex, unsigned int count, unsigned int typeCode) {
    if (!in_range(t, firstIndex, count) || (t->flags & transioTypeMask) != typeCode) {
        return nullptr;
    }
    std::unique_ptr<T[]> values(new (std::nothrow) T[count]);
    if (values == nullptr || transio_read_buffer(t, firstIndex, count, values.get()) != count) {
        return nullptr;
    }
    return values.release();
}

unsigned int write_array(const transio_struct* t, unsigned long long firstIndex, unsigned int count, const void* src,
                         unsigned int typeCode) {
    return (t->flags & transioTypeMask) == typeCode ? transio_write_buffer(t, firstIndex, count, src) : 0;
}

} // namespace

int transio_open(transio_struct* t, const char* fileName, unsigned long long baseOffset, unsigned int nDims,
                 const unsigned int* dims, unsigned int mode) {
    reset(t);
    const unsigned int elementSize = element_size(mode & transioTypeMask);
    if (nDims < 1 || nDims > 8 || elementSize == 0) {
        return 0;
    }
    const std::size_t nameLength = std::strlen(fileName);
    unsigned long long count = 0;
    unsigned long long length = 0;
    if (nameLength >= sizeof t->fileName || !sizes_of(nDims, dims, elementSize, baseOffset, count, length)) {
        return 0;
    }
    const bool writing = (mode & transioWriteMask) != 0;
    std::unique_ptr<ViewStream> stream = open_stream(fileName, writing, length);
    if (stream == nullptr) {
        return 0;
    }
    stream->seekg(static_cast<std::streamoff>(baseOffset));

    std::memcpy(t->fileName, fileName, nameLength + 1);
    t->flags = (mode & 0xFFF0U) | transioOpen;
    t->stream = stream.release();
    t->baseOffset = baseOffset;
    t->elementSize = elementSize;
    t->nDims = nDims;
    std::memcpy(t->dims, dims, nDims * sizeof dims[0]);
    t->elementCount = count;
    return 1;
}

int transio_close(transio_struct* t) {
    if ((t->flags & transioOpen) != 0) {
        t->stream->close();
        delete t->stream;
        t->stream = nullptr;
        t->flags &= ~static_cast<unsigned int>(transioOpen);
    }
    return 1;
}

unsigned int transio_read_buffer(const transio_struct* t, unsigned long long firstIndex, unsigned int count,
                                 void* dest) {
    if (!in_range(t, firstIndex, count)) {
        return 0;
    }
    std::fstream& stream = *t->stream;
    stream.clear(); // a refused access does not spoil this one
    const auto target = static_cast<std::streamoff>(t->baseOffset + firstIndex * t->elementSize);
    const auto bytes = static_cast<std::streamsize>(count) * t->elementSize;
    stream.seekg(target);
    stream.read(static_cast<char*>(dest), bytes); // nothing where the seek failed
    return stream.good() ? count : 0;
}

unsigned int transio_write_buffer(const transio_struct* t, unsigned long long firstIndex, unsigned int count,
                                  const void* src) {
    if (!in_range(t, firstIndex, count)) {
        return 0;
    }
    std::fstream& stream = *t->stream;
    stream.clear();
    const auto target = static_cast<std::streamoff>(t->baseOffset + firstIndex * t->elementSize);
    const auto bytes = static_cast<std::streamsize>(count) * t->elementSize;
    stream.seekp(target);
    stream.write(static_cast<const char*>(src), bytes);
    return stream.good() ? count : 0;
}

unsigned char* transio_read_uint8(const transio_struct* t, unsigned long long firstIndex, unsigned int count) {
    return read_array<unsigned char>(t, firstIndex, count, transioUint8);
}
unsigned short* transio_read_uint16(const transio_struct* t, unsigned long long firstIndex, unsigned int count) {
    return read_array<unsigned short>(t, firstIndex, count, transioUint16);
}
unsigned int* transio_read_uint32(const transio_struct* t, unsigned long long firstIndex, unsigned int count) {
    return read_array<unsigned int>(t, firstIndex, count, transioUint32);
}
float* transio_read_float(const transio_struct* t, unsigned long long firstIndex, unsigned int count) {
    return read_array<float>(t, firstIndex, count, transioFloat);
}
signed char* transio_read_int8(const transio_struct* t, unsigned long long firstIndex, unsigned int count) {
    return read_array<signed char>(t, firstIndex, count, transioInt8);
}
short* transio_read_int16(const transio_struct* t, unsigned long long firstIndex, unsigned int count) {
    return read_array<short>(t, firstIndex, count, transioInt16);
}
int* transio_read_int32(const transio_struct* t, unsigned long long firstIndex, unsigned int count) {
    return read_array<int>(t, firstIndex, count, transioInt32);
}
double* transio_read_double(const transio_struct* t, unsigned long long firstIndex, unsigned int count) {
    return read_array<double>(t, firstIndex, count, transioDouble);
}

unsigned int transio_write_uint8(const transio_struct* t, unsigned long long firstIndex, unsigned int count,
                                 const unsigned char* src) {
    return write_array(t, firstIndex, count, src, transioUint8);
}
unsigned int transio_write_uint16(const transio_struct* t, unsigned long long firstIndex, unsigned int count,
                                  const unsigned short* src) {
    return write_array(t, firstIndex, count, src, transioUint16);
}
unsigned int transio_write_uint32(const transio_struct* t, unsigned long long firstIndex, unsigned int count,
                                  const unsigned int* src) {
    return write_array(t, firstIndex, count, src, transioUint32);
}
unsigned int transio_write_float(const transio_struct* t, unsigned long long firstIndex, unsigned int count,
                                 const float* src) {
    return write_array(t, firstIndex, count, src, transioFloat);
}
unsigned int transio_write_int8(const transio_struct* t, unsigned long long firstIndex, unsigned int count,
                                const signed char* src) {
    return write_array(t, firstIndex, count, src, transioInt8);
}
unsigned int transio_write_int16(const transio_struct* t, unsigned long long firstIndex, unsigned int count,
                                 const short* src) {
    return write_array(t, firstIndex, count, src, transioInt16);
}
unsigned int transio_write_int32(const transio_struct* t, unsigned long long firstIndex, unsigned int count,
                                 const int* src) {
    return write_array(t, firstIndex, count, src, transioInt32);
}
unsigned int transio_write_double(const transio_struct* t, unsigned long long firstIndex, unsigned int count,
                                  const double* src) {
    return write_array(t, firstIndex, count, src, transioDouble);
}
