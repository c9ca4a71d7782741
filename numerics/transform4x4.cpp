#include "numerics/transform4x4.h"

#include "numerics/arrays.h"
#include "numerics/inverse.h"
#include "numerics/plain_rows.h"

void makeIdentityMatrix(float m[4][4]) {
    makeScaleMatrix(m, 1.0f, 1.0f, 1.0f);
}

void makeScaleMatrix(float m[4][4], float sx, float sy, float sz) {
    const float diagonal[4] = {sx, sy, sz, 1.0f};
    for (int i = 0; i < 4; ++i) {
        for (int j = 0; j < 4; ++j) {
            m[i][j] = i == j ? diagonal[i] : 0.0f;
        }
    }
}

void copyMatrix(float src[4][4], float dst[4][4]) {
    for (int i = 0; i < 4; ++i) {
        for (int j = 0; j < 4; ++j) {
            dst[i][j] = src[i][j];
        }
    }
}

void transposeMatrix(float a[4][4], float at[4][4]) {
    for (int i = 0; i < 4; ++i) {
        for (int j = 0; j < 4; ++j) {
            at[i][j] = a[j][i];
        }
    }
}

void multiplyMatrixMatrix(float a[4][4], float b[4][4], float c[4][4]) {
    for (int i = 0; i < 4; ++i) {
        for (int j = 0; j < 4; ++j) {
            c[i][j] = a[i][0] * b[0][j] + a[i][1] * b[1][j] + a[i][2] * b[2][j] + a[i][3] * b[3][j];
        }
    }
}

void multiplyMatrixVector(float m[4][4], float v[4], float r[4]) {
    for (int i = 0; i < 4; ++i) {
        r[i] = m[i][0] * v[0] + m[i][1] * v[1] + m[i][2] * v[2] + m[i][3] * v[3];
    }
}

void invertMatrix(float a[4][4], float ainv[4][4]) {
    const numerics::PlainRows workRows(4);
    const numerics::PlainRows resultRows(4);
    float** work = workRows.rows();
    float** result = resultRows.rows();
    for (int i = 0; i < 4; ++i) {
        for (int j = 0; j < 4; ++j) {
            work[i][j] = a[i][j];
            result[i][j] = 0.0f; // stays where there is no convergence
        }
    }
    invertMatrix(work, result, 4);
    for (int i = 0; i < 4; ++i) {
        for (int j = 0; j < 4; ++j) {
            ainv[i][j] = result[i][j];
        }
    }
}

void invertH4x4Matrix(float m[4][4], float minv[4][4]) {
    float** a = matrix(0, 2, 0, 2);
    float** ainv = matrix(0, 2, 0, 2);
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            a[i][j] = m[i][j];
        }
    }
    const float t[3] = {m[0][3], m[1][3], m[2][3]};
    getInverseMatrixUsingSVD(a, ainv, 3, false);
    makeIdentityMatrix(minv);
    for (int i = 0; i < 3; ++i) {
        float u = 0.0f;
        for (int k = 0; k < 3; ++k) {
            minv[i][k] = ainv[i][k];
            u += ainv[i][k] * t[k];
        }
        minv[i][3] = -u;
    }
    free_matrix(ainv, 0, 2, 0, 2);
    free_matrix(a, 0, 2, 0, 2);
}

void invertRotationTranslationMatrix(float m[4][4], float minv[4][4]) {
    float t[4][4];
    float rotation[4][4];
    float rotationTransposed[4][4];
    makeIdentityMatrix(t);
    copyMatrix(m, rotation);
    for (int i = 0; i < 3; ++i) {
        t[i][3] = -m[i][3];
        rotation[i][3] = 0.0f;
    }
    transposeMatrix(rotation, rotationTransposed);
    multiplyMatrixMatrix(rotationTransposed, t, minv);
}
