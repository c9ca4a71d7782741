// Arrays, and routines that need work space.

#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "numerics/arrays.h"
#include "numerics/eigen.h"
#include "numerics/inverse.h"
#include "numerics/svd.h"
#include "numerics/transform4x4.h"
#include "plugin/entry_points.h"
#include "plugin/nivora_plugin_interface.h"
#include "stats/correlation.h"
#include "stats/filters.h"
#include "stats/fitting.h"
#include "stats/fourier.h"
#include "stats/hypothesis.h"
#include "stats/interpolation.h"
#include "stats/sorting.h"
#include "tests/allocation/cases.h"
#include "tests/support/temporary_folder.h"

namespace {

using refusals::Case;
using refusals::Watch;

const std::string inVector = "allocation failure in vector()";
const std::string inIvector = "allocation failure in ivector()";
const std::string inMatrix1 = "allocation failure 1 in matrix()";
const std::string inMatrix2 = "allocation failure 2 in matrix()";

// Values in the order in which a case tells them, bit for bit.
class Told {
public:
    Told& add(double value) {
        std::uint64_t bits = 0;
        std::memcpy(&bits, &value, sizeof bits);
        text += std::to_string(bits) + " ";
        return *this;
    }
    template <class T>
    Told& add(const T* values, int first, int last) {
        for (int i = first; i <= last; ++i) {
            add(static_cast<double>(values[i]));
        }
        return *this;
    }
    std::string text;
};

// A square matrix with an index base, positive definite.
struct Square {
    Square(int base, int order) : n(order), values(static_cast<std::size_t>((n + base) * (n + base))) {
        for (int i = 0; i < n + base; ++i) {
            handles.push_back(values.data() + i * (n + base));
        }
        for (int i = base; i < n + base; ++i) {
            for (int j = base; j < n + base; ++j) {
                handles[static_cast<std::size_t>(i)][j] = i == j ? 4.0f : 1.0f / static_cast<float>(1 + i + j);
            }
        }
    }
    float** handle() { return handles.data(); }
    std::string told() const {
        Told told;
        return told.add(values.data(), 0, static_cast<int>(values.size()) - 1).text;
    }

    int n;
    std::vector<float> values;
    std::vector<float*> handles;
};

std::vector<float> curve(int count) {
    std::vector<float> values;
    for (int i = 0; i < count; ++i) {
        values.push_back(std::sin(static_cast<float>(i * i)) + static_cast<float>(i % 3));
    }
    return values;
}

template <class T>
std::string tell(const std::vector<T>& values) {
    return Told().add(values.data(), 0, static_cast<int>(values.size()) - 1).text;
}

template <class Make, class Free>
void add_array(std::vector<Case>& cases, const std::string& name, const std::set<std::string>& fatal, Make make,
               Free release) {
    cases.push_back({name,
                     [=](Watch& watch) {
                         auto* made = watch(make);
                         watch([&] { release(made); });
                         return std::string("made");
                     },
                     {},
                     fatal});
}

void add_arrays(std::vector<Case>& cases) {
    const auto messages = [](const std::string& where) {
        return std::set<std::string>{"allocation failure 1 in " + where, "allocation failure 2 in " + where,
                                     "allocation failure 3 in " + where};
    };
    add_array(
        cases, "fvector free_fvector", {inVector}, [] { return fvector(1, 5); },
        [](float* v) { free_fvector(v, 1, 5); });
    add_array(
        cases, "ivector free_ivector", {inIvector}, [] { return ivector(1, 5); },
        [](int* v) { free_ivector(v, 1, 5); });
    add_array(
        cases, "dvector free_dvector", {"allocation failure in dvector()"}, [] { return dvector(1, 5); },
        [](double* v) { free_dvector(v, 1, 5); });
    add_array(
        cases, "lvector free_lvector", {"allocation failure in lvector()"}, [] { return lvector(1, 5); },
        [](unsigned long* v) { free_lvector(v, 1, 5); });
    add_array(
        cases, "cvector free_cvector", {"allocation failure in cvector()"}, [] { return cvector(1, 5); },
        [](unsigned char* v) { free_cvector(v, 1, 5); });
    add_array(
        cases, "matrix free_matrix", {inMatrix1, inMatrix2}, [] { return matrix(1, 3, 0, 4); },
        [](float** m) { free_matrix(m, 1, 3, 0, 4); });
    add_array(
        cases, "dmatrix free_dmatrix", {inMatrix1, inMatrix2}, [] { return dmatrix(1, 3, 0, 4); },
        [](double** m) { free_dmatrix(m, 1, 3, 0, 4); });
    add_array(
        cases, "imatrix free_imatrix", {inMatrix1, inMatrix2}, [] { return imatrix(1, 3, 0, 4); },
        [](int** m) { free_imatrix(m, 1, 3, 0, 4); });
    add_array(
        cases, "f3tensor free_f3tensor", messages("f3tensor()"), [] { return f3tensor(1, 3, 0, 4, 1, 2); },
        [](float*** t) { free_f3tensor(t, 1, 3, 0, 4, 1, 2); });
    add_array(
        cases, "c3tensor free_c3tensor", messages("c3tensor()"), [] { return c3tensor(1, 3, 0, 4, 1, 2); },
        [](unsigned char*** t) { free_c3tensor(t, 1, 3, 0, 4, 1, 2); });
    static float elements[12] = {};
    static float* handles[3] = {elements, elements + 4, elements + 8};
    add_array(
        cases, "convert_matrix free_convert_matrix", {"allocation failure in convert_matrix()"},
        [] { return convert_matrix(elements, 1, 3, 1, 4); }, [](float** m) { free_convert_matrix(m, 1, 3, 1, 4); });
    add_array(
        cases, "submatrix free_submatrix", {"allocation failure in submatrix()"},
        [] { return submatrix(handles, 0, 2, 1, 3, 1, 1); }, [](float** m) { free_submatrix(m, 1, 3, 1, 3); });
    cases.push_back({"create2dArray delete2dArray",
                     [](Watch& watch) {
                         float** made = watch([] { return create2dArray(4, 3); });
                         watch([&] { delete2dArray(made, 4, 3); });
                         return std::string("made");
                     },
                     {},
                     {},
                     true});
}

// A routine that changes a matrix, or makes another of it.
template <class Call>
void add_matrix_routine(std::vector<Case>& cases, const std::string& name, int base, const std::set<std::string>& fatal,
                        Call call) {
    cases.push_back({name,
                     [=](Watch& watch) {
                         Square a(base, 4);
                         Square b(base, 4);
                         std::vector<float> w(5);
                         watch([&] { call(a.handle(), b.handle(), w.data()); });
                         return a.told() + b.told() + tell(w);
                     },
                     {},
                     fatal});
}

void add_decompositions(std::vector<Case>& cases) {
    const std::set<std::string> all = {inVector, inMatrix1, inMatrix2};
    add_matrix_routine(cases, "jacobi", 1, {inVector}, [](float** a, float** b, float* w) {
        int rotations = 0;
        jacobi(a, 4, w, b, &rotations);
    });
    // In vectors, and, refused the memory for that, without.
    cases.push_back({"jacobi/of order 12",
                     [](Watch& watch) {
                         Square a(1, 12);
                         Square v(1, 12);
                         std::vector<float> d(13);
                         int rotations = 0;
                         const int result =
                             watch([&] { return jacobi(a.handle(), 12, d.data(), v.handle(), &rotations); });
                         return std::to_string(result) + " " + std::to_string(rotations) + " " +
                                std::to_string(std::hash<std::string>()(a.told() + v.told() + tell(d)));
                     },
                     {},
                     {inVector}});
    add_matrix_routine(cases, "svdcmp", 1, {inVector}, [](float** a, float** b, float* w) { svdcmp(a, 4, 4, w, b); });
    add_matrix_routine(cases, "svdvar", 1, {inVector}, [](float** a, float** b, float* w) { svdvar(a, 4, w, b); });
    add_matrix_routine(cases, "svbksb", 1, {inVector}, [](float** a, float** b, float* w) {
        float x[5] = {0.0f, 1.0f, 2.0f, 3.0f, 4.0f};
        svbksb(a, w, b, 4, 4, x, w);
    });
    add_matrix_routine(cases, "svdfit", 1, {inVector}, [](float** a, float** b, float* w) {
        float x[5] = {0.0f, 1.0f, 2.0f, 3.0f, 4.0f};
        float y[5] = {0.0f, 1.0f, 4.0f, 2.0f, 3.0f};
        float sigma[5] = {1.0f, 1.0f, 1.0f, 1.0f, 1.0f};
        float coefficients[4] = {};
        float chi = 0.0f;
        svdfit(x, y, sigma, 4, coefficients, 3, a, b, w, &chi, fpoly);
    });
    add_matrix_routine(cases, "getInverseMatrixUsingSVD", 0, all,
                       [](float** a, float** b, float*) { getInverseMatrixUsingSVD(a, b, 4, true); });
    add_matrix_routine(cases, "getRegInverseMatrixUsingTSVD", 0, all,
                       [](float** a, float** b, float*) { getRegInverseMatrixUsingTSVD(a, b, 4, -3); });
    add_matrix_routine(cases, "getRegTransformedMatrixUsingTSVD", 0, all,
                       [](float** a, float** b, float*) { getRegTransformedMatrixUsingTSVD(a, b, 4, 1, 1, -3); });
    add_matrix_routine(cases, "getSQRTMatrix", 0, all, [](float** a, float**, float*) { getSQRTMatrix(a, 4); });
    cases.push_back({"SVDregInverse",
                     [](Watch& watch) {
                         std::vector<double> a = {4.0, 1.0, 1.0, 3.0};
                         watch([&] { SVDregInverse(a.data(), 2, 0.5f, 0.0f); });
                         return tell(a);
                     },
                     {},
                     all});
    cases.push_back({"CSVDregInverse",
                     [](Watch& watch) {
                         std::vector<double> re = {4.0, 1.0, 1.0, 3.0};
                         std::vector<double> im = {0.0, 1.0, -1.0, 0.0};
                         watch([&] { CSVDregInverse(re.data(), im.data(), 2, 0.0f, 0.0f); });
                         return tell(re) + tell(im);
                     },
                     {},
                     all});
    cases.push_back({"whitening",
                     [](Watch& watch) {
                         const support::TemporaryFolder folder(support::TemporaryFolder::Use::asCurrentDirectory);
                         Square x(0, 4);
                         Square w(0, 4);
                         Square dw(0, 4);
                         int kept = 0;
                         watch([&] { whitening(x.handle(), 4, 4, 0.01f, w.handle(), dw.handle(), &kept); });
                         return w.told() + dw.told() + std::to_string(kept);
                     },
                     {},
                     {inVector, inMatrix1, inMatrix2, "allocation failure in dvector()"}});
    cases.push_back({"invertH4x4Matrix",
                     [](Watch& watch) {
                         float m[4][4] = {{2, 0, 0, 1}, {0, 3, 0, 2}, {0, 1, 4, 3}, {0, 0, 0, 1}};
                         float inverse[4][4] = {};
                         watch([&] { invertH4x4Matrix(m, inverse); });
                         return Told().add(&inverse[0][0], 0, 15).text;
                     },
                     {},
                     all});
    // These are documented to let new report.
    cases.push_back({"svdcmp_tarn",
                     [](Watch& watch) {
                         Square a(0, 4);
                         Square v(0, 4);
                         std::vector<float> w(4);
                         const int result = watch([&] { return svdcmp_tarn(4, 4, a.handle(), w.data(), v.handle()); });
                         return std::to_string(result) + a.told() + v.told() + tell(w);
                     },
                     {},
                     {},
                     true});
    cases.push_back({"invertMatrix/any order",
                     [](Watch& watch) {
                         Square a(0, 4);
                         Square inverse(0, 4);
                         watch([&] { return invertMatrix(a.handle(), inverse.handle(), 4); });
                         return inverse.told();
                     },
                     {},
                     {},
                     true});
    cases.push_back({"invertMatrix/4 x 4",
                     [](Watch& watch) {
                         float m[4][4] = {{2, 0, 0, 1}, {0, 3, 0, 2}, {0, 1, 4, 3}, {0, 0, 0, 1}};
                         float inverse[4][4] = {};
                         watch([&] { invertMatrix(m, inverse); });
                         return Told().add(&inverse[0][0], 0, 15).text;
                     },
                     {},
                     {},
                     true});
}

void add_statistics(std::vector<Case>& cases) {
    const auto add = [&cases](const std::string& name, const std::set<std::string>& fatal, auto call) {
        cases.push_back({name,
                         [=](Watch& watch) {
                             std::vector<float> a = curve(65);
                             std::vector<float> b = curve(65);
                             std::vector<float> out(130);
                             watch([&] { call(a.data(), b.data(), out.data()); });
                             return tell(a) + tell(b) + tell(out);
                         },
                         {},
                         fatal});
    };
    add("sort", {inIvector}, [](float* a, float*, float*) { sort(64, a); });
    add("sort2", {inIvector}, [](float* a, float* b, float*) { sort2(64, a, b); });
    add("indexx", {inIvector}, [](float* a, float*, float* out) {
        unsigned long order[65] = {};
        indexx(64, a, order);
        out[0] = static_cast<float>(order[1]);
    });
    add("kstwo", {inIvector}, [](float* a, float* b, float* out) { kstwo(a, 64, b, 32, out, out + 1); });
    add("spear", {inVector, inIvector},
        [](float* a, float* b, float* out) { spear(a, b, 64, out, out + 1, out + 2, out + 3, out + 4); });
    add("convlv", {inVector}, [](float* a, float* b, float* out) { convlv(a, 64, b, 5, 1, out); });
    add("spline", {inVector}, [](float*, float* b, float* out) {
        float x[9] = {0.0f, 1.0f, 2.0f, 3.0f, 4.0f, 5.0f, 6.0f, 7.0f, 8.0f};
        spline(x, b, 8, 0.0f, 1e30f, out);
    });
    add("spline_rg", {inVector}, [](float*, float* b, float* out) {
        float x[9] = {0.0f, 1.0f, 2.0f, 3.0f, 4.0f, 5.0f, 6.0f, 7.0f, 8.0f};
        spline_rg(x, b, 8, 1e30f, 1e30f, out);
    });
    add("interp", {inVector}, [](float*, float* b, float* out) {
        float x[8] = {0.0f, 1.0f, 2.0f, 3.0f, 4.0f, 5.0f, 6.0f, 7.0f};
        float finer[16] = {};
        for (int i = 0; i < 16; ++i) {
            finer[i] = 0.5f * static_cast<float>(i);
        }
        interp(x, b, 8, finer, 16, out);
    });
    add("fleg2D", {inVector}, [](float*, float*, float* out) { fleg2D(1000.0f, out, 6); });
    add("fleg3D", {inVector}, [](float*, float*, float* out) { fleg3D(100000.0f, out, 10); });
    add("remacf", {inVector, inMatrix1, inMatrix2}, [](float* a, float*, float*) { remacf(a, 0, 20, 2); });
    cases.push_back({"lpfilt",
                     [](Watch& watch) {
                         std::vector<double> x = {1.0, 5.0, 2.0, 8.0, 3.0, 9.0};
                         watch([&] { lpfilt(x.data(), 6, 3); });
                         return tell(x);
                     },
                     {},
                     {"allocation failure in dvector()"}});
}

} // namespace

void add_numerical_cases(std::vector<Case>& cases) {
    add_arrays(cases);
    add_decompositions(cases);
    add_statistics(cases);
    cases.push_back({"createPlugin",
                     [](Watch& watch) {
                         NivoraPluginInterface* plugin = watch(createPlugin);
                         const std::string told = plugin == nullptr ? "null" : "made";
                         delete plugin;
                         return told;
                     },
                     {"null"}});
}
