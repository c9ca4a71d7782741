#!/usr/bin/env python3
"""dipole_potential.txt: potentials of dipoles in the spherical head model, from the Legendre series that the model's
closed form sums up:

  radial:      sum over n >= 1 of f(n) b^(n-1) P_n(c)
  tangential:  sum over n >= 1 of f(n)/n b^(n-1) P_n'(c), times sqrt(1 - c^2)

with f(n) a cubic in n and corrections of the first three orders. 40 digits. Beside it the closed form in double
precision, operation by operation, for a comparison bit for bit. Run: dipole_potential.py > dipole_potential.txt
"""

import math
import random

from mpmath import mp, mpf, sqrt

mp.dps = 40
SCALE = mpf("24.114385316954")
GENERAL = [mpf("2.094413085618"), -mpf("0.212973206782"), mpf("0.015140880154"), -mpf("0.000311147671")]
FIRST = {1: -mpf("0.06141320805"), 2: mpf("0.05342974625"), 3: mpf("0.02582167642")}


def weight(n):
    return sum(g * n**i for i, g in enumerate(GENERAL)) + FIRST.get(n, 0)


def dot(a, b):
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]


def potential(r0, q, r):
    r0, q, r = ([mpf(x) for x in v] for v in (r0, q, r))
    radius, distance = sqrt(dot(r, r)), sqrt(dot(r0, r0))
    b, c = distance / radius, dot(r, r0) / (distance * radius)
    qr = dot(r0, q) / distance
    across = [x - c * radius * y / distance for x, y in zip(r, r0)]
    height = sqrt(dot(across, across))
    qt = dot(across, q) / height if height > mpf(10) ** -30 * radius else mpf(0)

    radial = tangential = mpf(0)
    previous, current = mpf(1), c  # P_0, P_1
    previous_d, current_d = mpf(0), mpf(1)  # their derivatives
    power = mpf(1)
    n = 1
    while n < 4 or power * n**5 > mpf(10) ** -35:
        radial += weight(n) * power * current
        tangential += weight(n) / n * power * current_d
        previous, current, previous_d, current_d = (
            current,
            ((2 * n + 1) * c * current - n * previous) / (n + 1),
            current_d,
            previous_d + (2 * n + 1) * current,
        )
        power *= b
        n += 1
    return SCALE * (qr * radial + qt * sqrt(max(mpf(0), 1 - c * c)) * tangential) / radius**2


def closed_form(r0, q, r):
    rr, a = dot(r, r), math.sqrt(dot(r0, r0))
    s = dot(r, r0)
    t = [dot(r0, r0) * x - s * y for x, y in zip(r, r0)]
    qt = dot(t, q) / math.sqrt(dot(t, t)) if dot(t, t) != 0 else 0.0
    qr = dot(r0, q) / a
    c = s / (a * math.sqrt(rr))
    b = a / math.sqrt(rr)
    bc, bb, cc = b * c, b * b, c * c
    v = 1 / (1 - 2 * bc + bb)
    g = math.sqrt(v)
    g3 = g * v
    g5 = g3 * v
    g7 = g5 * v
    tangential = (
        1.5 * bc * 0.05342974625
        - 0.06141320805
        + 2.094413085618 * g * (g + 1) / (g - bc * g + 1)
        - 0.212973206782 * g3
        + 0.015140880154 * g5 * ((1 - bb) - bb + bc)
        + 0.5 * 0.02582167642 * bb * (5 * cc - 1)
        - 0.000311147671 * g7 * ((4 * bb - bc + cc - 10) * bb + 1 + 5 * bc)
    )
    radial = (
        -0.06141320805 * c
        + 0.05342974625 * b * (1.5 * cc - 0.5)
        + 2.094413085618 * (g - 1) / b
        - 0.212973206782 * g3 * (c - b)
        + 0.015140880154 * g5 * ((cc + bb - 2) * b + (1 - bb) * c)
        + 0.02582167642 * bb * c * (2.5 * cc - 1.5)
        - 0.000311147671 * g7 * ((5 * cc - 4 + ((cc - 9) * c + (10 - 2 * cc - bc - bb) * b) * b) * b + c)
    )
    return 24.114385316954 * (math.sqrt(max(0.0, 1 - c * c)) * tangential * qt + qr * radial) / rr


def rounded(values):
    return [float(f"{x:.7g}") for x in values]


def unit(generator):
    v = [generator.gauss(0, 1) for _ in range(3)]
    return [x / sum(y * y for y in v) ** 0.5 for x in v]


print("# r0 (3)  q (3)  r (3)  potential  closed form in double; made by dipole_potential.py")
generator = random.Random(20)
eccentricities = [1e-6, 1e-4, 1e-3, 0.01, 0.03, 0.1, 0.2, 0.3, 0.4, 0.5, 0.6, 0.7, 0.8, 0.9, 0.95, 0.99]
for b in eccentricities:
    for case in range(14):
        radius = 10 ** generator.uniform(-2, 2)
        direction = unit(generator)
        r = rounded([radius * x for x in unit(generator)])
        if case == 12:  # electrode and dipole in line
            r = rounded([radius * x for x in (0, 0, 1)])
            direction = [0, 0, 1]
        if case == 13:  # on opposite sides
            r = rounded([radius * x for x in (0, 1, 0)])
            direction = [0, -1, 0]
        r0 = rounded([b * radius * x for x in direction])
        q = rounded(unit(generator))
        print(*map(repr, r0 + q + r), mp.nstr(potential(r0, q, r), 20), closed_form(r0, q, r).hex())
