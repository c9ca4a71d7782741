#include "stats/text_output.h"

#include <fstream>

void WriteFloatMatrix2Txt(char* filename, float** m, int nrows, int ncols, int base) {
    std::ofstream file(filename);
    file.precision(5);
    for (int r = base; r < base + nrows; ++r) {
        for (int c = base; c < base + ncols; ++c) {
            file << m[r][c] << ' ';
        }
        file << '\n';
    }
}
