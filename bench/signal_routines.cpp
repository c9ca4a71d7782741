#include <algorithm>
#include <memory>
#include <vector>

#include <fftw3.h>

#include "bench/bench_data.h"
#include "bench/plain_routines.h"
#include "bench/routines.h"
#include "stats/fourier.h"
#include "stats/moments.h"
#include "stats/sorting.h"

namespace bench {

namespace {

// Values and a copy to work on, which has an element in front of it: the routines count from 1. Every round works on
// other values, or the processor would learn a short sort's branches by heart.
struct Signal {
    explicit Signal(std::size_t length)
        : count(length), input(random_values(length * (1 + (1UL << 20) / length), 4)), values(length + 1, 0.0f) {}

    void refresh() {
        std::copy_n(input.data() + next, count, first());
        next = next + 2 * count <= input.size() ? next + count : 0;
    }
    float* first() { return values.data() + 1; }

    std::size_t count;
    std::size_t next = 0;
    std::vector<float> input;
    std::vector<float> values;
};

template <class Function>
MakeWork in_place(std::size_t count, Function function) {
    return [=] {
        const auto signal = std::make_shared<Signal>(count);
        return Work{[signal, function] {
                        signal->refresh();
                        function(*signal);
                    },
                    [signal] { return bytes_of(signal->first(), signal->count); }};
    };
}

Work fftw(std::size_t n) {
    struct Data {
        explicit Data(std::size_t count) : input(random_values(2 * count, 4)), pairs(fftwf_alloc_complex(count)) {
            plan = fftwf_plan_dft_1d(static_cast<int>(count), pairs, pairs, FFTW_BACKWARD, FFTW_MEASURE);
        }
        Data(const Data&) = delete;
        Data& operator=(const Data&) = delete;
        ~Data() {
            fftwf_destroy_plan(plan);
            fftwf_free(pairs);
        }
        std::vector<float> input;
        fftwf_complex* pairs;
        fftwf_plan plan;
    };
    const auto data = std::make_shared<Data>(n);
    return {[data] {
                std::copy(data->input.begin(), data->input.end(), &data->pairs[0][0]);
                fftwf_execute(data->plan);
            },
            {}};
}

// Mean and variance, left in the first two values.
template <class Function>
MakeWork moments(std::size_t count, Function function) {
    return [=] {
        const auto signal = std::make_shared<Signal>(count);
        const auto found = std::make_shared<std::vector<float>>(2, 0.0f);
        signal->refresh();
        return Work{[signal, found, function] { function(*signal, found->data()); },
                    [found] { return bytes_of(found->data(), found->size()); }};
    };
}

} // namespace

void add_signal_routines() {
    for (const std::size_t n : {2001UL, 10001UL}) {
        add_routine("avevar", std::to_string(n),
                    moments(n, [n](Signal& x, float* found) { avevar(x.values.data(), n, found, found + 1); }),
                    moments(n, [n](Signal& x, float* found) { plain::avevar(x.values.data(), n, found, found + 1); }));
    }
    for (const std::size_t n : {1024UL, 65536UL}) {
        add_routine("four1", std::to_string(n), in_place(2 * n, [n](Signal& x) { four1(x.values.data(), n, 1); }),
                    in_place(2 * n, [n](Signal& x) { plain::four1(x.values.data(), n, 1); }), "FFTW",
                    [n] { return fftw(n); });
    }
    for (const std::size_t n : {1000UL, 100000UL}) {
        add_routine("sort", std::to_string(n), in_place(n, [n](Signal& x) { sort(n, x.values.data()); }),
                    in_place(n, [n](Signal& x) { plain::sort(x.first(), 0, static_cast<long>(n) - 1); }), "std::sort",
                    in_place(n, [](Signal& x) { std::sort(x.values.begin() + 1, x.values.end()); }));
    }
}

} // namespace bench
