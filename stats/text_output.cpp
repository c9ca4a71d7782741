#include "stats/text_output.h"

#include <fstream>
#include <ios>
#include <locale>

namespace {

constexpr int significantDigits = 5;

// A text file with its buffer: were the buffer taken from the heap when the file is opened, a lack of memory would show
// only after an existing file has been truncated.
class TextFile {
public:
    explicit TextFile(const char* filename) {
        stream.rdbuf()->pubsetbuf(buffer, sizeof buffer);
        stream.imbue(std::locale::classic()); // the texts are the same whatever locale the program has set
        stream.open(filename);
    }

private:
    char buffer[8192];

public:
    std::ofstream stream;
};

template <class T>
void write_vector(const char* filename, const T* v, int n, int base) {
    TextFile text(filename);
    std::ofstream& file = text.stream;
    file.precision(significantDigits);
    for (long i = base; i < static_cast<long>(base) + n; ++i) {
        file << v[i] << '\n';
    }
}

} // namespace

void WriteFloatMatrix2Txt(char* filename, float** m, int nrows, int ncols, int base) {
    TextFile text(filename);
    std::ofstream& file = text.stream;
    file.precision(significantDigits);
    for (long r = base; r < static_cast<long>(base) + nrows; ++r) {
        for (long c = base; c < static_cast<long>(base) + ncols; ++c) {
            file << m[r][c] << ' ';
        }
        file << '\n';
    }
}

void WriteFloatVector2Txt(char* filename, float* v, int n, int base) {
    write_vector(filename, v, n, base);
}
void WriteFloatVector2Txt(char* filename, double* v, int n, int base) {
    write_vector(filename, v, n, base);
}
void WriteDoubleVector2Txt(char* filename, double* v, int n, int base) {
    write_vector(filename, v, n, base);
}

void WriteFloatVector2SDM(char* filename, float* values, int n) {
    TextFile text(filename);
    std::ofstream& file = text.stream;
    file << "FileVersion:            " << 1 << "\n\n";
    file << "NrOfPredictors:         " << 2 << '\n';
    file << "NrOfDataPoints:         " << n << '\n';
    file << "IncludesConstant:       " << 1 << '\n';
    file << "FirstConfoundPredictor: " << 2 << "\n\n";
    file << "255 0 0 255 255 255\n";
    file << "\"Oridan\" \"Constant\"\n";
    file << std::fixed;
    file.precision(6);
    for (int i = 0; i < n; ++i) {
        file << values[i] << ' ' << 1.0 << '\n';
    }
}
