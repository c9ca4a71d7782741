#include "numerics/dipole.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "tests/support/bits.h"
#include "tests/support/table.h"

namespace {

using Vector = std::vector<double>;

double at(Vector r0, Vector q, Vector r) {
    const Vector before[3] = {r0, q, r};
    const double result = potential(r0.data(), q.data(), r.data());
    EXPECT_EQ(std::memcmp(r0.data(), before[0].data(), 3 * sizeof(double)), 0);
    EXPECT_EQ(std::memcmp(q.data(), before[1].data(), 3 * sizeof(double)), 0);
    EXPECT_EQ(std::memcmp(r.data(), before[2].data(), 3 * sizeof(double)), 0);
    return result;
}

double dot(const Vector& a, const Vector& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

// The largest error against the table, between two eccentricities, in units of the scale times |q| / |r|^2.
void check_table(const char* what, double from, double to, double stated) {
    support::WorstError worst(what);
    for (const Vector& row : support::read_table("dipole_potential.txt", 11)) {
        const Vector r0(row.begin(), row.begin() + 3);
        const Vector q(row.begin() + 3, row.begin() + 6);
        const Vector r(row.begin() + 6, row.begin() + 9);
        const double eccentricity = std::sqrt(dot(r0, r0) / dot(r, r));
        if (eccentricity >= from * 0.999 && eccentricity <= to * 1.001) {
            const double unit = 24.114385316954 * std::sqrt(dot(q, q)) / dot(r, r);
            worst.absolute(row[9] / unit, at(r0, q, r) / unit, row);
        }
    }
    worst.expect_within(stated);
}

} // namespace

TEST(Potential, AtTheCentre) {
    EXPECT_EQ(at({0, 0, 0}, {0, 0, 1}, {0, 0, 1}), 44.2464);
    EXPECT_EQ(at({0, 0, 0}, {0, 0, 1}, {0, 0, -1}), -44.2464);
    EXPECT_EQ(at({0, 0, 0}, {0, 3, 0}, {0, 2, 0}), 44.2464 * 6.0 / 8.0);
    EXPECT_EQ(at({0, 0, 0}, {1, 1, 0}, {0, 0, 5}), 0.0);
    EXPECT_EQ(at({0, 0, 0}, {0, 7, 0}, {3, 0, 4}), 0.0);
    EXPECT_EQ(at({-0.0, 0, 0}, {1, 2, 3}, {2, 3, 6}), 44.2464 * 26.0 / (49.0 * 7.0));
    // A distance whose square vanishes counts as the centre.
    EXPECT_EQ(at({1e-170, 0, 0}, {0, 0, 1}, {0, 0, 1}), 44.2464);
}

TEST(Potential, IsTheSumOfItsLegendreSeries) {
    check_table("potential, eccentricity 1e-6 to 0.003", 1e-6, 0.003, 5e-10);
    check_table("potential, eccentricity 0.01 to 0.9", 0.01, 0.9, 5e-13);
    check_table("potential, eccentricity 0.95 to 0.99", 0.95, 0.99, 1e-4);
}

TEST(Potential, EveryStepIsRoundedAsTheFormulaIsWritten) {
    for (const Vector& row : support::read_table("dipole_potential.txt", 11)) {
        EXPECT_EQ(at({row[0], row[1], row[2]}, {row[3], row[4], row[5]}, {row[6], row[7], row[8]}), row[10]);
    }
}

// The closed form as the script of the table evaluates it in double.
TEST(Potential, SubtractsTheSquaredEccentricityTwiceFromOne) {
    // Twice the square at once would give other last bits.
    EXPECT_EQ(at({-0.2, 0.4, 0.9}, {4, 2, 2}, {-2.375, 1, 1}), -0x1.2b70345611cb7p+4);
    EXPECT_EQ(at({0.6, -0.3, 0.2}, {2, 3, 3}, {-2, 2.125, 2.375}), 0x1.a24b2c4af11e6p+2);
    EXPECT_EQ(at({-0.6, 0.2, -0.6}, {-1, 5, 4}, {2.25, 2.25, -1.375}), 0x1.fd75a5826b7efp+1);
}

TEST(Potential, OnlyADistanceOfZeroCountsAsTheCentre) {
    // So near that rounding spoils the closed form, which is taken all the same.
    EXPECT_EQ(at({0, 0, 1e-16}, {0, 0, 1}, {0, 0, 1}), -0x1.909445d22e8adp+2);
    EXPECT_EQ(at({1e-16, 0, 0}, {1, 2, 3}, {1, 2, 2}), 0x1.027df5643d45ep+4);
}

TEST(Potential, ARadialDipoleHasARadialTermOnly) {
    // Electrode at right angles to the dipole: the tangential factor is not 0 there, so qt has to be.
    const double b = 0.5;
    const double v = 1.0 / (1.0 + b * b);
    const double g = std::sqrt(v);
    const double g3 = g * v;
    const double g5 = g3 * v;
    const double g7 = g5 * v;
    const double expected =
        24.114385316954 * 2.0 *
        (-0.5 * 0.05342974625 * b + 2.094413085618 * (g - 1.0) / b + 0.212973206782 * g3 * b +
         0.015140880154 * g5 * (b * b - 2.0) * b - 0.000311147671 * g7 * (-4.0 + (10.0 - b * b) * b * b) * b);
    EXPECT_NEAR(at({0, 0, 0.5}, {0, 0, 2}, {1, 0, 0}), expected, 1e-13);
    EXPECT_NEAR(at({0.5, 0, 0}, {2, 0, 0}, {0, 0, 1}), expected, 1e-13);
    EXPECT_NEAR(at({0, 1.5, 0}, {0, 2, 0}, {0, 0, -3}), expected / 9.0, 1e-13);
}

TEST(Potential, ATangentialDipoleAtRightAnglesToTheElectrodeGivesNothing) {
    EXPECT_EQ(at({0, 0, 0.5}, {0, 3, 0}, {0.25, 0, 1}), 0.0);
}

TEST(Potential, InLineWithTheDipoleOnlyTheRadialMomentCounts) {
    for (const double side : {1.0, -1.0}) {
        for (const double height : {0.1, 0.5, 0.9}) {
            const double along = at({0, 0, height}, {0, 0, 1}, {0, 0, side});
            EXPECT_NE(along, 0.0);
            EXPECT_EQ(at({0, 0, height}, {5, -7, 1}, {0, 0, side}), along);
            EXPECT_EQ(at({0, 0, height}, {5, -7, 0}, {0, 0, side}), 0.0);
        }
    }
}

TEST(Potential, ATangentialPartHoweverSmallIsDividedByItsLength) {
    // The scaled perpendicular's square is 4e-312, no zero yet; the geometry is the same at any scale.
    const double shrunk = 0x1p-172;
    const double value = at({0, 0, shrunk}, {1, 2, 3}, {2 * shrunk, 0, 2 * shrunk});
    const double unscaled = at({0, 0, 1}, {1, 2, 3}, {2, 0, 2});
    EXPECT_NEAR(value * shrunk * shrunk / unscaled, 1.0, 1e-9);
    EXPECT_GT(std::fabs(unscaled / at({0, 0, 1}, {0, 2, 3}, {2, 0, 2}) - 1.0), 0.1) << "the part matters";
}

// In line up to rounding, where the cosine may come out above 1.
TEST(Potential, ACosineAboveOneCountsAsOne) {
    support::Random random(11);
    int above = 0;
    for (int pass = 0; pass < 2000; ++pass) {
        const Vector r = {static_cast<double>(random.between(-1.0f, 1.0f)),
                          static_cast<double>(random.between(-1.0f, 1.0f)),
                          static_cast<double>(random.between(-1.0f, 1.0f))};
        const Vector r0 = {0.3 * r[0], 0.3 * r[1], 0.3 * r[2]};
        const double c = dot(r, r0) / (std::sqrt(dot(r0, r0)) * std::sqrt(dot(r, r)));
        above += c * c > 1.0 ? 1 : 0;
        const double value = at(r0, {1.0, 2.0, -1.0}, r);
        ASSERT_TRUE(std::isfinite(value)) << c;
        const double radial = at({0, 0, 0.3}, {0, 0, dot(r, {1.0, 2.0, -1.0}) / std::sqrt(dot(r, r))}, {0, 0, 1});
        ASSERT_NEAR(value * dot(r, r), radial, 1e-5);
    }
    EXPECT_GT(above, 10) << "no example of it";
}

TEST(Potential, IsLinearInTheMoment) {
    const Vector r0 = {0.1, -0.4, 0.3};
    const Vector r = {0.7, 0.2, -0.6};
    const double x = at(r0, {1, 0, 0}, r);
    const double y = at(r0, {0, 1, 0}, r);
    const double z = at(r0, {0, 0, 1}, r);
    EXPECT_NEAR(at(r0, {2, -3, 5}, r), 2 * x - 3 * y + 5 * z, 1e-12);
}

TEST(Potential, MeetsTheCentredValueNearTheCentre) {
    const Vector q = {1, 2, 3};
    const Vector r = {3, -1, 2};
    EXPECT_NEAR(at({1e-5, -1e-5, 1e-5}, q, r) / at({0, 0, 0}, q, r), 1.0, 2e-5);
}

TEST(Potential, WhereThereIsNoneTheResultIsNotFinite) {
    EXPECT_FALSE(std::isfinite(at({0, 0, 0}, {1, 2, 3}, {0, 0, 0})));
    EXPECT_FALSE(std::isfinite(at({0, 0, 0.5}, {1, 2, 3}, {0, 0, 0})));
    EXPECT_FALSE(std::isfinite(at({0, 0, 2}, {1, 2, 3}, {0, 0, 2})));
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_TRUE(std::isnan(at({0, 0, nan}, {1, 2, 3}, {0, 0, 1})));
}
