// Opens arrays in any file with any mode, shape and offset, and moves any ranges.

#include <vector>

#include <fuzzer/FuzzedDataProvider.h>

#include "fileio/transio.h"
#include "fuzz/scratch_file.h"

namespace {

template <class Value>
void read_values(Value* (*read)(const transio_struct*, unsigned long long, unsigned int), const transio_struct& t,
                 unsigned long long first, unsigned int count) {
    delete[] read(&t, first, count);
}

void move(FuzzedDataProvider& choices, const transio_struct& t) {
    const unsigned long long first = choices.ConsumeBool() ? choices.ConsumeIntegral<unsigned long long>()
                                                           : choices.ConsumeIntegral<unsigned char>();
    const unsigned int count =
        choices.ConsumeBool() ? choices.ConsumeIntegral<unsigned int>() : choices.ConsumeIntegral<unsigned char>();
    std::vector<double> values(count <= 4096 ? count : 0, 1.0);
    switch (choices.ConsumeIntegralInRange(0, 11)) {
    case 0:
        return read_values(transio_read_uint8, t, first, count);
    case 1:
        return read_values(transio_read_uint16, t, first, count);
    case 2:
        return read_values(transio_read_uint32, t, first, count);
    case 3:
        return read_values(transio_read_float, t, first, count);
    case 4:
        return read_values(transio_read_int8, t, first, count);
    case 5:
        return read_values(transio_read_int16, t, first, count);
    case 6:
        return read_values(transio_read_int32, t, first, count);
    case 7:
        return read_values(transio_read_double, t, first, count);
    default:
        break;
    }
    if (values.empty()) {
        return;
    }
    const unsigned int moved = choices.ConsumeBool() ? transio_read_buffer(&t, first, count, values.data())
                                                     : transio_write_buffer(&t, first, count, values.data());
    fuzz::require(moved == 0 || moved == count, "a range moves whole or not at all");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider choices(data, size);
    const unsigned int mode = choices.ConsumeIntegral<unsigned int>();
    const unsigned long long offset = choices.ConsumeBool() ? choices.ConsumeIntegral<unsigned long long>()
                                                            : choices.ConsumeIntegral<unsigned char>();
    unsigned int dims[8];
    for (unsigned int& extent : dims) {
        extent =
            choices.ConsumeBool() ? choices.ConsumeIntegral<unsigned int>() : choices.ConsumeIntegral<unsigned char>();
    }
    const unsigned int nDims = choices.ConsumeIntegral<unsigned char>() % 10U;
    const int moves = choices.ConsumeIntegralInRange(0, 8);
    const std::string path = fuzz::write_scratch("array", choices.ConsumeRandomLengthString(4096));
    transio_struct t{};
    if (transio_open(&t, path.c_str(), offset, nDims, dims, mode) == 1) {
        for (int i = 0; i < moves; ++i) {
            move(choices, t);
        }
    } else {
        fuzz::require(t.flags == 8 && t.stream == nullptr && t.elementCount == 0, "a refused open resets");
    }
    transio_close(&t);
    transio_close(&t);
    return 0;
}
