#include "fileio/header_fields.h"

#include <cstring>
#include <new>

#include "fileio/paths.h"
#include "fileio/stream_values.h"

namespace fileio {

bool open_regular_file(std::fstream& stream, const char* fileName) {
    if (!is_regular_file(fileName)) {
        return false;
    }
    try {
        stream.open(fileName, std::ios::in | std::ios::binary);
    } catch (const std::bad_alloc&) {
        return false; // no memory for its buffer
    }
    return stream.is_open();
}

unsigned long long bytes_left(std::fstream& stream) {
    const std::streamoff position = stream.tellg();
    stream.seekg(0, std::ios::end);
    const std::streamoff length = stream.tellg();
    stream.seekg(position);
    return position >= 0 && length > position ? static_cast<unsigned long long>(length - position) : 0;
}

void read_text(std::fstream& stream, char* text) {
    IOSReadCString(stream, text, textCapacity);
    if (std::strlen(text) == textCapacity - 1 && stream.peek() == '\0') {
        stream.get();
    }
}

void copy_text(char* dest, const char* text) {
    const std::size_t length = strnlen(text, textCapacity - 1);
    std::memcpy(dest, text, length);
    dest[length] = '\0';
}

void write_bytes(std::ostream& out, const void* data, unsigned long long bytes) {
    if (bytes != 0) {
        out.write(static_cast<const char*>(data), static_cast<std::streamsize>(bytes));
    }
}

} // namespace fileio
