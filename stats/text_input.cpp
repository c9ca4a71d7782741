#include "stats/text_input.h"

namespace {

// The end of the file and a read error come out of fgetc as -1, as a byte 255: like that byte itself.
bool ends_reading(int c) {
    return static_cast<unsigned char>(c) == 255;
}

} // namespace

int getNextString(char delim, char* buf, FILE* f, int maxlen) {
    int c = 0;
    do {
        c = std::fgetc(f);
        if (ends_reading(c)) {
            return 0;
        }
    } while (static_cast<char>(c) != delim);
    for (long count = 0;; ++count) {
        c = std::fgetc(f);
        if (ends_reading(c)) {
            return 0;
        }
        if (static_cast<char>(c) == delim) {
            buf[count] = '\0'; // also beyond maxlen
            return 1;
        }
        if (count < maxlen) {
            buf[count] = static_cast<char>(c);
        } else if (count == maxlen) {
            buf[count] = '\0';
        }
    }
}
