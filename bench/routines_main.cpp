// The routines that a removal spends its time in, and a few others, each beside its plain definition and a library that
// does the same work on the same data. scripts/bench.sh makes a table of it.
//   cmake --preset release -DORIDAN_BENCH=ON && cmake --build --preset release --target bench_routines

#include <utility>

#include <benchmark/benchmark.h>
#include <cblas.h>

#include "bench/routines.h"
#include "numerics/cpu.h"

namespace {

using bench::MakeWork;
using bench::Work;

void time_work(benchmark::State& state, const Work& work) {
    for (auto _ : state) {
        work.run();
        benchmark::ClobberMemory();
    }
}

void add_variant(const std::string& name, const MakeWork& make, const MakeWork& expected) {
    benchmark::RegisterBenchmark(name.c_str(), [make, expected](benchmark::State& state) {
        const Work work = make();
        if (expected) {
            const Work definition = expected();
            work.run();
            definition.run();
            if (work.result() != definition.result()) {
                state.SkipWithError("other bits than the plain definition's");
                return;
            }
        }
        time_work(state, work);
    });
}

} // namespace

namespace bench {

void add_routine(const std::string& routine, const std::string& size, const MakeWork& ours, const MakeWork& plain) {
    const std::string name = routine + "/" + size + "/";
    add_variant(name + "ours", ours, plain);
    add_variant(name + "plain", plain, {});
}

void add_routine(const std::string& routine, const std::string& size, const MakeWork& ours, const MakeWork& plain,
                 const std::string& libraryName, const MakeWork& library) {
    add_routine(routine, size, ours, plain);
    add_variant(routine + "/" + size + "/library:" + libraryName, library, {});
}

} // namespace bench

int main(int argc, char** argv) {
    openblas_set_num_threads(1);
    bench::add_eigen_routines();
    bench::add_dense_routines();
    bench::add_svd_routines();
    bench::add_signal_routines();
    bench::add_sample_routines();
    bench::add_product_routines();
    benchmark::AddCustomContext("instruction_set", numerics::name_of(numerics::instruction_set()));
    benchmark::AddCustomContext("blas", openblas_get_config());
    benchmark::AddCustomContext("blas_kernels", openblas_get_corename());
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
