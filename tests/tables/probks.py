#!/usr/bin/env python3
"""Writes probks.txt beside this file (needs python3-mpmath, python3-scipy and python3-numpy).

The Kolmogorov-Smirnov significance of floats, by its theta series in the form that converges fast for small
arguments, with mpmath at 50 digits; checked against scipy.
"""
import os

import numpy
import scipy.special
from mpmath import exp, mp, mpf, pi, sqrt

mp.dps = 50


def significance(x):
    if x == 0:
        return mpf(1)
    x = mpf(x)
    if x > 1:
        return 2 * sum((-1) ** (j - 1) * exp(-2 * j * j * x * x) for j in range(1, 60))
    return 1 - sqrt(2 * pi) / x * sum(exp(-(2 * j - 1) ** 2 * pi**2 / (8 * x * x)) for j in range(1, 60))


values = [0, 1e-30, 1e-10, 1e-3, 0.01, 0.02, 0.03, 0.0305, 0.031, 0.0315, 0.032, 0.035]
values += [k / 100 for k in range(4, 400, 2)] + [4.5, 5, 5.5, 6, 6.5, 7, 8, 10, 100, 1e10, 1e30]
with open(os.path.join(os.path.dirname(os.path.abspath(__file__)), "probks.txt"), "w") as out:
    out.write("# Made by probks.py: lambda (a float), Q(lambda)\n")
    for value in values:
        x = float(numpy.float32(value))
        q = significance(x)
        assert abs(float(q) - scipy.special.kolmogorov(x)) <= 1e-11 * float(q), x
        out.write(f"{x:.17g} {float(q):.17g}\n")
