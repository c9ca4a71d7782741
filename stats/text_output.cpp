#include "stats/text_output.h"

#include <fstream>

void WriteFloatMatrix2Txt(char* filename, float** m, int nrows, int ncols, int base) {
    std::ofstream file(filename);
    file.precision(5);
    for (long r = base; r < static_cast<long>(base) + nrows; ++r) {
        for (long c = base; c < static_cast<long>(base) + ncols; ++c) {
            file << m[r][c] << ' ';
        }
        file << '\n';
    }
}
