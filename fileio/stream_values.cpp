#include "fileio/stream_values.h"

namespace {

template <class T>
void read_values(std::fstream& stream, T* dest, unsigned int count) {
    stream.read(reinterpret_cast<char*>(dest), static_cast<std::streamsize>(count) * std::streamsize{sizeof(T)});
}

} // namespace

void IOSReadFloat(std::fstream& stream, float* dest, unsigned int count) {
    read_values(stream, dest, count);
}
void IOSReadChar(std::fstream& stream, signed char* dest, unsigned int count) {
    read_values(stream, dest, count);
}
void IOSReadShort(std::fstream& stream, short* dest, unsigned int count) {
    read_values(stream, dest, count);
}
void IOSReadLong(std::fstream& stream, int* dest, unsigned int count) {
    read_values(stream, dest, count);
}
void IOSReadULong(std::fstream& stream, unsigned int* dest, unsigned int count) {
    read_values(stream, dest, count);
}

void IOSReadCString(std::fstream& stream, char* buf, long size) {
    if (size <= 0) {
        return;
    }
    buf[size - 1] = '\0';
    for (long i = 0; i < size - 1; ++i) {
        char c = '\0';
        if (!stream.read(&c, 1)) {
            buf[i] = '\0';
            return;
        }
        buf[i] = c;
        if (c == '\0') {
            return;
        }
    }
}

void IOSWriteCString(std::fstream& stream, const char* str, long size) {
    long length = 0;
    while (size > 0 && length < size - 1 && str[length] != '\0') {
        ++length;
    }
    stream.write(str, length);
    stream.put('\0');
}
