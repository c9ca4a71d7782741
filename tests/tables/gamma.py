#!/usr/bin/env python3
"""Makes gamma_ln.txt and gamma_pq.txt with mpmath, 60 decimal digits. They stand beside this file."""
import os
import struct

from mpmath import mp, mpf

mp.dps = 60


def as_float(x):
    return struct.unpack("f", struct.pack("f", float(x)))[0]


def next_float(x, steps):
    return struct.unpack("f", struct.pack("I", struct.unpack("I", struct.pack("f", x))[0] + steps))[0]


def write(name, columns, rows):
    with open(os.path.join(os.path.dirname(os.path.abspath(__file__)), name), "w") as out:
        out.write(f"# {columns}    (gamma.py; mpmath {mp.dps} digits)\n")
        for row in rows:
            out.write(" ".join(repr(v) if isinstance(v, float) else mp.nstr(v, 20) for v in row) + "\n")


def lower(a, x):
    """P(a, x) by its series of positive terms, an independent check of mpmath's own function."""
    term = total = 1 / mpf(a)
    n = 0
    while term > total * mpf(10) ** (-mp.dps):
        n += 1
        term *= mpf(x) / (a + n)
        total += term
    return total * mp.exp(a * mp.log(x) - x - mp.loggamma(a))


def pq(a, x):
    a, x = mpf(a), mpf(x)
    p = mp.gammainc(a, 0, x, regularized=True)
    q = mp.gammainc(a, x, mp.inf, regularized=True)
    assert abs(p + q - 1) < mpf(10) ** -30, (a, x)
    if x < 3000:
        assert abs(lower(a, x) - p) < mpf(10) ** -30 * p, (a, x)
    return p, q


numbers = [1e-306, 1e-300, 1e-100, 1e-20, 1e-10, 1e-5, 0.001, 0.01, 0.1, 0.25, 0.5, 0.75, 0.9, 0.99, 0.999, 0.999999]
numbers += [1.0, 1.000001, 1.001, 1.01, 1.1, 1.25, 1.4616321449683623, 1.5, 1.75, 1.9, 1.99, 1.999999]
numbers += [2.0, 2.000001, 2.001, 2.1, 2.5, 2.7, 3.0, 3.3, 4.0, 5.0, 7.5, 10.0, 15.0, 20.25, 33.3, 50.5, 99.9, 100.0]
numbers += [170.0, 171.6, 500.0, 1000.5, 12345.678, 1e5, 1e6, 1e8, 1e10, 1e15, 1e20, 1e50, 1e100, 1e200, 1e300]
numbers += [0.0123 * 1.37**k for k in range(0, 45)] + [0.0031 + 0.0473 * k for k in range(0, 300)]
write("gamma_ln.txt", "xx lnGamma(xx)", [(x, mp.loggamma(mpf(x))) for x in sorted(numbers)])

rows = []
orders = [1e-38, 1e-37, 1e-35, 1e-30, 1e-25, 1e-20, 1e-15, 1e-10, 1e-8, 1e-5, 0.001, 0.1, 0.5, 0.9, 1, 1.1, 1.5, 2, 2.5, 3.7, 5, 7.25, 10, 15.3, 20, 30, 50, 70.7]
orders += [85.5, 100, 123.4, 150, 200, 250, 300, 350, 380, 500, 1000, 2000, 5000, 6000]
for a in map(as_float, orders):
    switch = as_float(mpf(a) + 1)
    xs = [next_float(switch, k) for k in (-2, -1, 0, 1, 2)]
    xs += [as_float(switch * r) for r in (0.001, 0.1, 0.3, 0.5, 0.7, 0.8, 0.9, 0.95, 0.99, 0.999)]
    xs += [as_float(switch * r) for r in (1.001, 1.01, 1.05, 1.1, 1.2, 1.5, 2, 3, 5, 10)]
    xs += [as_float(x) for x in (1e-44, 1e-38, 1e-20, 1e-8, switch + 60, switch + 80, switch + 95, switch + 120)]
    xs += [as_float(x) for x in (1e6, 3e38)]
    for x in sorted(set(xs)):
        # Where the series serves but is known to run out of terms, there is nothing to compare.
        if a > 380 and x < mpf(a) + 1:
            continue
        rows.append((a, x) + ((mpf(1), mpf(0)) if x >= 1e5 else pq(a, x)))
write("gamma_pq.txt", "a x P(a,x) Q(a,x)", rows)
