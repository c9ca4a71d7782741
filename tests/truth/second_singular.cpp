#include "tests/truth/second_algebra.h"

#include <algorithm>
#include <cmath>

namespace truth {

namespace {

float with_sign(float size, float sign) {
    return sign >= 0.0f ? std::fabs(size) : -std::fabs(size);
}

float root(float value) {
    return static_cast<float>(std::sqrt(static_cast<double>(value)));
}

bool is_small(float value) {
    return std::fabs(static_cast<double>(value)) < 1e-6;
}

float hypotenuse(float a, float b) {
    const float sizeA = std::fabs(a);
    const float sizeB = std::fabs(b);
    float longer = sizeB;
    float ratio = 0.0f;
    if (sizeA > sizeB) {
        longer = sizeA;
        ratio = sizeB / sizeA;
    } else if (sizeB == 0.0f) {
        return 0.0f;
    } else {
        ratio = sizeA / sizeB;
    }
    const float square = ratio * ratio;
    return longer * static_cast<float>(std::sqrt(1.0 + static_cast<double>(square)));
}

/// Columns left and right of a matrix 1..rows, turned by an angle of cosine c and sine s.
void turn_columns(Table& a, int rows, int left, int right, float c, float s) {
    for (int j = 1; j <= rows; ++j) {
        const float x = a[j][left];
        const float z = a[j][right];
        a[j][left] = x * c + z * s;
        a[j][right] = z * c - x * s;
    }
}

/// Everything that the steps share: an m by n matrix from 1, its values, the right-hand side and the superdiagonal.
struct Work {
    Table& a;
    int m;
    int n;
    std::vector<float>& w;
    Table& v;
    std::vector<float> rv1;
};

/// The part of column i from row i down. @return the new element of the diagonal.
float reduce_column(Table& a, int m, int n, int i) {
    float scale = 0.0f;
    for (int k = i; k <= m; ++k) {
        scale = scale + std::fabs(a[k][i]);
    }
    if (scale == 0.0f) {
        return 0.0f;
    }
    float s = 0.0f;
    for (int k = i; k <= m; ++k) {
        a[k][i] = a[k][i] / scale;
        s = s + a[k][i] * a[k][i];
    }
    const float f = a[i][i];
    const float g = -with_sign(root(s), f);
    const float h = f * g - s;
    a[i][i] = f - g;
    for (int j = i + 1; j <= n; ++j) {
        float sum = 0.0f;
        for (int k = i; k <= m; ++k) {
            sum = sum + a[k][i] * a[k][j];
        }
        const float factor = sum / h;
        for (int k = i; k <= m; ++k) {
            a[k][j] = a[k][j] + factor * a[k][i];
        }
    }
    for (int k = i; k <= m; ++k) {
        a[k][i] = a[k][i] * scale;
    }
    return scale * g;
}

/// The part of row i right of the diagonal. @return the new element of the superdiagonal.
float reduce_row(Table& a, int m, int n, int i, std::vector<float>& rv1) {
    const int l = i + 1;
    float scale = 0.0f;
    for (int k = l; k <= n; ++k) {
        scale = scale + std::fabs(a[i][k]);
    }
    if (scale == 0.0f) {
        return 0.0f;
    }
    float s = 0.0f;
    for (int k = l; k <= n; ++k) {
        a[i][k] = a[i][k] / scale;
        s = s + a[i][k] * a[i][k];
    }
    const float f = a[i][l];
    const float g = -with_sign(root(s), f);
    const float h = f * g - s;
    a[i][l] = f - g;
    for (int k = l; k <= n; ++k) {
        rv1[k] = a[i][k] / h;
    }
    for (int j = l; j <= m; ++j) {
        float sum = 0.0f;
        for (int k = l; k <= n; ++k) {
            sum = sum + a[j][k] * a[i][k];
        }
        for (int k = l; k <= n; ++k) {
            a[j][k] = a[j][k] + sum * rv1[k];
        }
    }
    for (int k = l; k <= n; ++k) {
        a[i][k] = a[i][k] * scale;
    }
    return scale * g;
}

void make_bidiagonal(Work& work) {
    float superdiagonal = 0.0f;
    for (int i = 1; i <= work.n; ++i) {
        work.rv1[i] = superdiagonal;
        work.w[i] = i <= work.m ? reduce_column(work.a, work.m, work.n, i) : 0.0f;
        superdiagonal = i <= work.m && i != work.n ? reduce_row(work.a, work.m, work.n, i, work.rv1) : 0.0f;
    }
}

void accumulate_right(Work& work) {
    const int n = work.n;
    Table& a = work.a;
    Table& v = work.v;
    for (int i = n; i >= 1; --i) {
        const int l = i + 1;
        if (i < n) {
            const float g = work.rv1[l];
            if (g != 0.0f) {
                for (int j = l; j <= n; ++j) {
                    v[j][i] = (a[i][j] / a[i][l]) / g;
                }
                for (int j = l; j <= n; ++j) {
                    float sum = 0.0f;
                    for (int k = l; k <= n; ++k) {
                        sum = sum + a[i][k] * v[k][j];
                    }
                    for (int k = l; k <= n; ++k) {
                        v[k][j] = v[k][j] + sum * v[k][i];
                    }
                }
            }
            for (int j = l; j <= n; ++j) {
                v[i][j] = 0.0f;
                v[j][i] = 0.0f;
            }
        }
        v[i][i] = 1.0f;
    }
}

void accumulate_left(Work& work) {
    Table& a = work.a;
    for (int i = std::min(work.m, work.n); i >= 1; --i) {
        const int l = i + 1;
        for (int j = l; j <= work.n; ++j) {
            a[i][j] = 0.0f;
        }
        const float g = 1.0f / work.w[i];
        if (work.w[i] != 0.0f && std::isfinite(g)) {
            for (int j = l; j <= work.n; ++j) {
                float sum = 0.0f;
                for (int k = l; k <= work.m; ++k) {
                    sum = sum + a[k][i] * a[k][j];
                }
                const float factor = (sum / a[i][i]) * g;
                for (int k = i; k <= work.m; ++k) {
                    a[k][j] = a[k][j] + factor * a[k][i];
                }
            }
            for (int j = i; j <= work.m; ++j) {
                a[j][i] = a[j][i] * g;
            }
        } else {
            for (int j = i; j <= work.m; ++j) {
                a[j][i] = 0.0f;
            }
        }
        a[i][i] = a[i][i] + 1.0f;
    }
}

/// Makes rv1[l] vanish where the value left of it has vanished.
void cancel(Work& work, int l, int k) {
    const int nm = l - 1;
    float c = 0.0f;
    float s = 1.0f;
    for (int i = l; i <= k; ++i) {
        const float f = s * work.rv1[i];
        work.rv1[i] = c * work.rv1[i];
        if (is_small(f)) {
            return;
        }
        const float g = work.w[i];
        const float h = hypotenuse(f, g);
        work.w[i] = h;
        const float reciprocal = 1.0f / h;
        c = g * reciprocal;
        s = -f * reciprocal;
        turn_columns(work.a, work.m, nm, i, c, s);
    }
}

/// The start of the block that ends at k.
int split(Work& work, int k) {
    for (int l = k; l >= 1; --l) {
        if (l == 1 || is_small(work.rv1[l])) {
            return l;
        }
        if (is_small(work.w[l - 1])) {
            cancel(work, l, k);
            return l;
        }
    }
    return 1;
}

void step(Work& work, int l, int k) {
    std::vector<float>& w = work.w;
    std::vector<float>& rv1 = work.rv1;
    const int nm = k - 1;
    float x = w[l];
    float y = w[nm];
    float z = w[k];
    float g = rv1[nm];
    float h = rv1[k];
    const float numerator = (y - z) * (y + z) + (g - h) * (g + h);
    const double denominator = 2.0 * static_cast<double>(h) * static_cast<double>(y);
    float f = static_cast<float>(static_cast<double>(numerator) / denominator);
    g = hypotenuse(f, 1.0f);
    f = ((x - z) * (x + z) + h * (y / (f + with_sign(g, f)) - h)) / x;
    float c = 1.0f;
    float s = 1.0f;
    for (int j = l; j <= nm; ++j) {
        const int i = j + 1;
        g = rv1[i];
        y = w[i];
        h = s * g;
        g = c * g;
        z = hypotenuse(f, h);
        rv1[j] = z;
        c = f / z;
        s = h / z;
        f = x * c + g * s;
        g = g * c - x * s;
        h = y * s;
        y = y * c;
        turn_columns(work.v, work.n, j, i, c, s);
        z = hypotenuse(f, h);
        w[j] = z;
        if (z != 0.0f) {
            const float reciprocal = 1.0f / z;
            c = f * reciprocal;
            s = h * reciprocal;
        }
        f = c * g + s * y;
        x = c * y - s * g;
        turn_columns(work.a, work.m, j, i, c, s);
    }
    rv1[l] = 0.0f;
    rv1[k] = f;
    w[k] = x;
}

} // namespace

bool singular_values(Table& a, int m, int n, std::vector<float>& w, Table& v) {
    Work work{a, m, n, w, v, std::vector<float>(n + 1, 0.0f)};
    make_bidiagonal(work);
    accumulate_right(work);
    accumulate_left(work);
    bool converged = true;
    for (int k = n; k >= 1; --k) {
        for (int iteration = 1; iteration <= 100; ++iteration) {
            const int l = split(work, k);
            if (l == k) {
                if (w[k] < 0.0f) {
                    w[k] = -w[k];
                    for (int j = 1; j <= n; ++j) {
                        v[j][k] = -v[j][k];
                    }
                }
                break;
            }
            if (iteration == 100) {
                converged = false;
            }
            step(work, l, k);
        }
    }
    return converged;
}

} // namespace truth
