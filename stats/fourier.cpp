#include "stats/fourier.h"

#include <climits>
#include <cmath>
#include <utility>

#include "numerics/arrays.h"
#include "numerics/scalars.h"

namespace {

constexpr double twoPi = 6.28318530717959; // results depend on these digits; more would change them
constexpr double pi = 3.141592653589793;

// cos(k theta) + i sin(k theta) for k = 0, 1, 2, ... by recurrence.
class Twiddle {
public:
    explicit Twiddle(double theta) : stepIm(std::sin(theta)) {
        const double half = std::sin(0.5 * theta);
        stepRe = -2.0 * half * half;
    }
    void advance() {
        const double previous = re;
        re = re * stepRe - im * stepIm + re;
        im = im * stepRe + previous * stepIm + im;
    }

    double re = 1.0;
    double im = 0.0;

private:
    double stepRe;
    double stepIm;
};

// One dimension of an interleaved complex array: `stride` floats lie between neighbours along it, `span` floats are
// one run through it, `total` floats the whole array.
struct Dimension {
    unsigned long stride;
    unsigned long span;
    unsigned long total;
};

// The reversed position stays inside the span for every length: the halvings of a span that it is added up from sum to
// less than the span.
void reverse_bits(float* data, const Dimension& d) {
    unsigned long reversed = 1;
    for (unsigned long i = 1; i < d.span; i += d.stride) {
        if (reversed > i) {
            for (unsigned long run = 0; run < d.total; run += d.span) {
                for (unsigned long inner = run; inner < run + d.stride; inner += 2) {
                    std::swap(data[i + inner], data[reversed + inner]);
                    std::swap(data[i + inner + 1], data[reversed + inner + 1]);
                }
            }
        }
        unsigned long bit = d.span / 2;
        while (bit >= d.stride && reversed > bit) {
            reversed -= bit;
            bit /= 2;
        }
        reversed += bit;
    }
}

// data(i), data(j) = data(i) + w data(j), data(i) - w data(j)
void butterfly(float* data, unsigned long i, unsigned long j, const Twiddle& w) {
    const double re = static_cast<double>(data[j]);
    const double im = static_cast<double>(data[j + 1]);
    const float tempRe = static_cast<float>(w.re * re - w.im * im);
    const float tempIm = static_cast<float>(w.re * im + w.im * re);
    data[j] = data[i] - tempRe;
    data[j + 1] = data[i + 1] - tempIm;
    data[i] += tempRe;
    data[i + 1] += tempIm;
}

// The comparison with `total` holds for every power of two; it keeps other lengths inside the array.
void transform(float* data, const Dimension& d, int isign) {
    reverse_bits(data, d);
    for (unsigned long half = d.stride; half < d.span; half *= 2) {
        const unsigned long step = 2 * half;
        Twiddle w(isign * (twoPi / static_cast<double>(step / d.stride)));
        for (unsigned long first = 1; first <= half; first += d.stride) {
            for (unsigned long block = first; block < d.total; block += step) {
                for (unsigned long i = block; i < block + d.stride && i + half < d.total; i += 2) {
                    butterfly(data, i, i + half, w);
                }
            }
            w.advance();
        }
    }
}

// What a real transform does to the values a and b at two frequencies that mirror each other:
// a = h1 + w h2, b = conj(h1 - w h2) with h1 = (a + conj b) / 2 and h2 = i c2 (a - conj b).
void combine(float* a, float* b, float c2, const Twiddle& w) {
    constexpr float c1 = 0.5f;
    const float h1Re = c1 * (a[0] + b[0]);
    const float h1Im = c1 * (a[1] - b[1]);
    const double h2Re = static_cast<double>(-c2 * (a[1] + b[1]));
    const double h2Im = static_cast<double>(c2 * (a[0] - b[0]));
    const double re = static_cast<double>(h1Re);
    const double im = static_cast<double>(h1Im);
    a[0] = static_cast<float>(re + w.re * h2Re - w.im * h2Im);
    a[1] = static_cast<float>(im + w.re * h2Im + w.im * h2Re);
    b[0] = static_cast<float>(re - w.re * h2Re + w.im * h2Im);
    b[1] = static_cast<float>(-im + w.re * h2Im + w.im * h2Re);
}

// The position of the negative of frequency i in 1..n.
unsigned long mirrored(unsigned long i, unsigned long n) {
    return i == 1 ? 1 : n - i + 2;
}

[[noreturn]] void give_up(float* work, long length, const char* message) {
    free_fvector(work, 1, length);
    nrerror(message);
}

void fourn_of_tensor(float*** data, unsigned long nn1, unsigned long nn2, unsigned long nn3, int isign) {
    unsigned long nn[4] = {0, nn1, nn2, nn3 / 2};
    fourn(&data[1][1][1] - 1, nn, 3, isign);
}

} // namespace

void four1(float* data, unsigned long nn, int isign) {
    transform(data, {2, 2 * nn, 2 * nn}, isign);
}

void fourn(float* data, unsigned long* nn, int ndim, int isign) {
    unsigned long total = 2;
    for (int i = 1; i <= ndim; ++i) {
        total *= nn[i];
    }
    unsigned long stride = 2;
    for (int i = ndim; i >= 1; --i) {
        transform(data, {stride, stride * nn[i], total}, isign);
        stride *= nn[i];
    }
}

void realft(float* data, unsigned long n, int isign) {
    if (n < 2) {
        return;
    }
    const bool forward = isign == 1;
    const double theta = pi / static_cast<double>(n / 2);
    if (forward) {
        four1(data, n / 2, 1);
    }
    Twiddle w(forward ? theta : -theta);
    for (unsigned long i = 2; i <= n / 4; ++i) {
        w.advance();
        combine(&data[2 * i - 1], &data[n + 3 - 2 * i], forward ? -0.5f : 0.5f, w);
    }
    const float first = data[1];
    if (forward) {
        data[1] = first + data[2];
        data[2] = first - data[2];
    } else {
        data[1] = 0.5f * (first + data[2]);
        data[2] = 0.5f * (first - data[2]);
        four1(data, n / 2, -1);
    }
}

void rlft3(float*** data, float** speq, unsigned long nn1, unsigned long nn2, unsigned long nn3, int isign) {
    if (nn1 == 0 || nn2 == 0 || nn3 < 2) {
        return;
    }
    if (isign == 1) {
        fourn_of_tensor(data, nn1, nn2, nn3, 1);
        for (unsigned long i1 = 1; i1 <= nn1; ++i1) {
            for (unsigned long i2 = 1; i2 <= nn2; ++i2) {
                speq[i1][2 * i2 - 1] = data[i1][i2][1];
                speq[i1][2 * i2] = data[i1][i2][2];
            }
        }
    }
    const float c2 = -0.5f * static_cast<float>(isign);
    for (unsigned long i1 = 1; i1 <= nn1; ++i1) {
        const unsigned long j1 = mirrored(i1, nn1);
        Twiddle w(isign * (twoPi / static_cast<double>(nn3)));
        for (unsigned long i3 = 1; i3 <= nn3 / 4 + 1; ++i3) {
            for (unsigned long i2 = 1; i2 <= nn2; ++i2) {
                const unsigned long j2 = mirrored(i2, nn2);
                float* const mirror = i3 == 1 ? &speq[j1][2 * j2 - 1] : &data[j1][j2][nn3 + 3 - 2 * i3];
                combine(&data[i1][i2][2 * i3 - 1], mirror, c2, w);
            }
            w.advance();
        }
    }
    if (isign == -1) {
        fourn_of_tensor(data, nn1, nn2, nn3, -1);
    }
}

void twofft(float* data1, float* data2, float* fft1, float* fft2, unsigned long n) {
    if (n == 0) {
        return;
    }
    for (unsigned long j = 1; j <= n; ++j) {
        fft1[2 * j - 1] = data1[j];
        fft1[2 * j] = data2[j];
    }
    four1(fft1, n, 1);
    fft2[1] = fft1[2];
    fft1[2] = fft2[2] = 0.0f;
    for (unsigned long j = 3; j <= n + 1; j += 2) {
        const unsigned long k = 2 * n + 2 - j; // the negative of frequency j
        const float rep = 0.5f * (fft1[j] + fft1[k]);
        const float rem = 0.5f * (fft1[j] - fft1[k]);
        const float aip = 0.5f * (fft1[j + 1] + fft1[k + 1]);
        const float aim = 0.5f * (fft1[j + 1] - fft1[k + 1]);
        fft1[j] = rep;
        fft1[j + 1] = aim;
        fft1[k] = rep;
        fft1[k + 1] = -aim;
        fft2[j] = aip;
        fft2[j + 1] = -rem;
        fft2[k] = aip;
        fft2[k + 1] = rem;
    }
}

void convlv(float* data, unsigned long n, float* respns, unsigned long m, int isign, float* ans) {
    if (n == 0) {
        return;
    }
    // Too much is refused by fvector, never wrapped into too little.
    const long workLength = n > LONG_MAX / 2 ? LONG_MAX : static_cast<long>(2 * n);
    float* work = fvector(1, workLength);
    const unsigned long length = m < n ? m : n;
    const unsigned long negativeLags = length == 0 ? 0 : (length - 1) / 2;
    for (unsigned long i = 1; i <= negativeLags; ++i) {
        respns[n + 1 - i] = respns[length + 1 - i];
    }
    for (unsigned long i = (length + 3) / 2; i <= n - negativeLags; ++i) {
        respns[i] = 0.0f;
    }
    twofft(data, respns, work, ans, n);
    const float no2 = static_cast<float>(n / 2);
    for (unsigned long i = 2; i <= n + 2; i += 2) {
        const float re = ans[i - 1];
        const float im = ans[i];
        if (isign == 1) {
            ans[i - 1] = (work[i - 1] * re - work[i] * im) / no2;
            ans[i] = (work[i] * re + work[i - 1] * im) / no2;
        } else if (isign == -1) {
            const float mag2 = static_cast<float>(static_cast<double>(numerics::square(re)) +
                                                  static_cast<double>(numerics::square(im)));
            if (mag2 == 0.0f) {
                give_up(work, workLength, "Deconvolving at response zero in convlv");
            }
            ans[i - 1] = (work[i - 1] * re + work[i] * im) / mag2 / no2;
            ans[i] = (work[i] * re - work[i - 1] * im) / mag2 / no2;
        } else {
            give_up(work, workLength, "No meaning for isign in convlv");
        }
    }
    ans[2] = ans[n + 1];
    realft(ans, n, -1);
    free_fvector(work, 1, workLength);
}

void zeropad(float* in, int n, float* out, int m) {
    const int copied = n < 0 ? 0 : n;
    for (int i = 0; i < copied; ++i) {
        out[i] = in[i];
    }
    for (int i = copied; i < m; ++i) {
        out[i] = 0.0f;
    }
}
