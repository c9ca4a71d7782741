#!/usr/bin/env python3
"""Writes the pvalues_*.txt tables beside this file (needs python3-mpmath, python3-scipy and python3-numpy).

Probabilities are computed with mpmath at 60 digits from the arguments exactly as the routines get them: a column that
a routine takes as float holds a float's value. Each is checked against scipy where that is accurate. The inverse
tables hold the statistic whose probability is the argument, found by mpmath from scipy's value.
"""
import os

import numpy
import scipy.special
from mpmath import erfc, erfinv, exp, findroot, gammainc, log, loggamma, mp, mpf, sqrt

mp.dps = 60
folder = os.path.dirname(os.path.abspath(__file__))


def single(value):
    return float(numpy.float32(value))


def write(name, columns, rows):
    with open(os.path.join(folder, "pvalues_" + name + ".txt"), "w") as out:
        out.write(f"# Made by pvalues.py: {columns}\n")
        for row in rows:
            out.write(" ".join(f"{float(value):.17g}" for value in row) + "\n")


def agree(exact, approximate, tolerance=1e-9):
    exact = float(exact)
    assert abs(exact - approximate) <= tolerance * abs(exact) + 1e-290, (exact, approximate)


def fraction(a, b, x):
    """Continued fraction of the incomplete beta function, as far as the working precision goes."""
    tiny = mpf(10) ** -400
    c, d = mpf(1), 1 / (1 - (a + b) * x / (a + 1))
    h, m, change = d, 0, mpf(0)
    while abs(change - 1) > mpf(10) ** -45:
        m += 1
        for step in (m * (b - m) * x / ((a + 2 * m - 1) * (a + 2 * m)),
                     -(a + m) * (a + b + m) * x / ((a + 2 * m) * (a + 2 * m + 1))):
            d = 1 / (1 + step * d or tiny)
            c = 1 + step / c or tiny
            change = c * d
            h *= change
    return h


def beta_of_odds(a, b, x, y):
    """I_z(a, b) for z = x / (x + y)."""
    a, b, x, y = mpf(a), mpf(b), mpf(x), mpf(y)
    x, y = x / (x + y), y / (x + y)
    if x == 0 or y == 0:
        return mpf(x != 0)
    front = exp(loggamma(a + b) - loggamma(a) - loggamma(b) + a * log(x) + b * log(y))
    if x < (a + 1) / (a + b + 2):
        return front * fraction(a, b, x) / a
    return 1 - front * fraction(b, a, y) / b


def t_to_p(t, df):
    return beta_of_odds(mpf(df) / 2, mpf("0.5"), df, mpf(t) ** 2)


def F_to_p(F, df1, df2):
    return beta_of_odds(mpf(df2) / 2, mpf(df1) / 2, df2, mpf(F) * df1)


def r_to_p(r, df):
    # t^2 = r^2 df / (1 - r^2), so df / (df + t^2) = 1 - r^2
    r = mpf(r)
    return beta_of_odds(mpf(df) / 2, mpf("0.5"), 1 - r * r, r * r)


def X2_to_p(chi2, df):
    return gammainc(mpf(df) / 2, mpf(chi2) / 2, regularized=True)


smallDf = [2, 3, 4, 5, 7, 10, 15, 20, 30, 50, 100, 200, 500, 1000, 1024]
largeDf = [2000, 5000, 10000, 30000, 65536, 100000, 1000000, 16777217, 100000000, 4294967296]

# Where one minus the argument of the incomplete beta function is about the last bit of a float.
lastBit = [1.2e-4, 1.7e-4, 1.73e-4, 2e-4, 2.44e-4, 2.9e-4, 3e-4, 5e-4]

rows = []
for df in smallDf + largeDf:
    for t in [part * float(df) ** 0.5 for part in lastBit] + [0, 1e-30, 1e-5, 1e-3, 0.01, 0.1, 0.3, 0.5, 0.7, 1, 1.3, 1.7, 2, 2.5, 3, 4, 5, 7, 10, 15, 20, 37, 60, 100,
              1e3, 1e5, 1e8, 1e15]:
        t = single(t)
        p = t_to_p(t, df)
        if t <= 60:
            agree(p, 2 * scipy.special.stdtr(df, -t), 1e-7)
        rows += [(t, df, p), (-t, df, p)] if t else [(t, df, p)]
write("t", "t, df, two-sided p of Student's t", rows)

rows = []
for df1 in [1, 2, 3, 5, 10, 30, 100, 1000, 10000, 1000000]:
    for df2 in [1, 2, 3, 5, 10, 30, 100, 1000, 10000, 1000000]:
        for F in [df2 / df1 * part * part for part in lastBit] + [df2 / df1 / (part * part) for part in lastBit] + [1e-20, 1e-6, 1e-3, 0.01, 0.1, 0.3, 0.7, 0.95, 1, 1.05, 1.5, 2, 3, 5, 10, 30, 100, 1e4, 1e10]:
            F = single(F)
            p = F_to_p(F, df1, df2)
            if 1e-200 < p and max(df1, df2) <= 1000:
                agree(p, scipy.special.fdtrc(df1, df2, F))
            rows.append((F, df1, df2, p))
write("F", "F, df1, df2, upper-tail p of Fisher's F", rows)

rows = []
for df in [1] + smallDf + largeDf:
    for r in lastBit + [1e-200, 1e-30, 1e-8, 1e-4, 1e-3, 0.01, 0.03, 0.1, 0.2, 0.3, 0.5, 0.7, 0.9, 0.95, 0.99, 0.999, 0.9999,
              0.999999, 1 - 1e-10]:
        rows += [(r, df, r_to_p(r, df)), (-r, df, r_to_p(r, df))]
write("r", "r, df, two-sided p of a correlation coefficient", rows)

rows = []
for df in [1] + smallDf + [2000, 5000]:
    for part in [1e-30, 1e-10, 1e-5, 1e-3, 0.01, 0.1, 0.3, 0.5, 0.7, 0.9, 0.95, 1, 1.05, 1.1, 1.3, 1.6, 2, 3, 5, 8]:
        chi2 = single(part * df)
        p = X2_to_p(chi2, df)
        agree(p, scipy.special.chdtrc(df, chi2))
        rows.append((chi2, df, p))
    for chi2 in [0.5, 1, 2, 4, 8, 16, 32, 64, 100, 170, 300, 1000, 1e6]:
        rows.append((chi2, df, X2_to_p(chi2, df)))
write("X2", "chi2, df, upper-tail p of chi-square", rows)

rows = []
for z in [k / 4 for k in range(2, 150)] + [0, 1e-300, 1e-20, 1e-8, 1e-4, 0.01, 0.1, 0.3, 0.6744897501960817, 1.959964, 1.9599639845400545,
          2.5758293035489004, 38, 39, 50]:
    p = erfc(mpf(z) / sqrt(mpf(2)))
    rows += [(z, p), (-z, p)] if z else [(z, p)]
write("z", "z, two-sided p of a standard normal deviate", rows)

probabilities = [1e-300, 1e-200, 1e-100, 1e-50, 1e-30, 1e-20, 1e-15, 1e-12, 1e-10, 1e-8, 1e-7, 1e-6, 1e-5, 1e-4, 1e-3,
                 0.005, 0.01, 0.02, 0.025, 0.05, 0.1, 0.2, 0.3, 0.4, 0.5, 0.6, 0.7, 0.8, 0.9, 0.95, 0.99, 0.999, 0.9999,
                 1 - 1e-6, 1 - 1e-8, 1 - 1e-12, 1 - 2.0**-53]


def p_to_z(p):
    with mp.workdps(400):
        return sqrt(mpf(2)) * erfinv(1 - mpf(p))


write("p_to_z", "p, z", [(p, p_to_z(p)) for p in probabilities + [10.0 ** (-k / 8) for k in range(1, 160)]])


def p_to_t(p, df):
    start = mpf(float(-scipy.special.stdtrit(df, p / 2)))
    return findroot(lambda t: t_to_p(t, df) / p - 1, start)


middle = [p for p in probabilities if 1e-12 <= p <= 0.9999]
rows = []
for df in [1, 2, 3, 5, 10, 30, 100, 300, 1000, 10000, 100000, 1000000]:
    rows += [(p, df, p_to_t(p, df)) for p in middle]
write("p_to_t", "p, df, t", rows)


def p_to_F(p, df1, df2):
    start = mpf(float(scipy.special.fdtri(df1, df2, 1 - p) if p > 1e-6 else 0))
    if not start > 0 or p < 1e-3:
        low, high = mpf(1) / 1000, mpf(2)
        while F_to_p(high, df1, df2) > p:
            high *= 2
        while F_to_p(low, df1, df2) < p:
            low /= 2
        for _ in range(60):
            half = sqrt(low * high)
            if F_to_p(half, df1, df2) > p:
                low = half
            else:
                high = half
        return sqrt(low * high)
    return findroot(lambda F: F_to_p(F, df1, df2) / p - 1, start)


rows = []
for df1 in [1, 2, 3, 5, 10, 30, 100, 1000]:
    for df2 in [1, 2, 3, 5, 10, 30, 100, 1000]:
        for p in [1e-8, 1e-6, 1e-4, 1e-3, 0.01, 0.05, 0.1, 0.3, 0.5, 0.7, 0.9, 0.95, 0.99, 0.999]:
            F = p_to_F(p, df1, df2)
            agree(F_to_p(F, df1, df2), p, 1e-12)
            rows.append((p, df1, df2, F))
write("p_to_F", "p, df1, df2, F", rows)

rows = []
for df in [1, 2, 3, 5, 10, 30, 100, 300, 1000, 10000]:
    for p in [1e-10, 1e-6, 1e-4, 1e-3, 0.01, 0.05, 0.1, 0.2, 0.3, 0.5, 0.7, 0.9, 0.95, 0.99, 0.999]:
        p = single(p)
        t = p_to_t(p, df)
        rows.append((p, df, t / sqrt(df + t * t)))
write("p_to_r", "p, df, r", rows)
