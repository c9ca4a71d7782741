#!/usr/bin/env python3
"""Makes normal_points.txt and normal_quantile.txt with mpmath, 60 decimal digits. They stand beside this file."""
import os

from mpmath import mp, mpf

mp.dps = 60


def write(name, columns, rows):
    with open(os.path.join(os.path.dirname(os.path.abspath(__file__)), name), "w") as out:
        out.write(f"# {columns}    (normal.py; mpmath {mp.dps} digits)\n")
        for row in rows:
            out.write(" ".join(repr(v) if isinstance(v, float) else mp.nstr(v, 20) for v in row) + "\n")


shapes = [(0.0, 1.0), (1.5, 0.25), (-100.0, 37.3), (3e-10, 2e-12), (0.1, 1e100)]
zs = [0.0, 1e-30, 1e-10, 1e-4, 0.01, 38.0, 38.4, 38.5, 39.0, 100.0, 1e10] + [0.05 + 0.237 * k for k in range(0, 160)]
xs = [(mu + sign * z * sig, mu, sig) for mu, sig in shapes for z in zs for sign in (-1.0, 1.0)]
xs = sorted(set(xs), key=lambda row: (row[2], row[1], row[0]))


def z_of(x, mu, sig):
    return (mpf(x) - mpf(mu)) / mpf(sig)


def underflow(v):
    return mpf(0) if v < mpf(10) ** -400 else v


def point(x, mu, sig):
    z = z_of(x, mu, sig)
    return (x, mu, sig, underflow(mp.npdf(z) / mpf(sig)), underflow(mp.erfc(-z / mp.sqrt(2)) / 2))


write("normal_points.txt", "x mu sig density cumulative", [point(*r) for r in xs])


def quantile(p):
    p = mpf(p)
    if p > 0.5:
        return -quantile(1 - p)
    low, high = mpf(-60), mpf(0)
    for _ in range(220):
        middle = (low + high) / 2
        if mp.erfc(-middle / mp.sqrt(2)) / 2 < p:
            low = middle
        else:
            high = middle
    return high


ps = [5e-324, 1e-310, 2.3e-308, 1e-300, 1e-200, 1e-100, 1e-50, 1e-20, 1e-10, 1e-6, 1e-4, 0.001, 0.01, 0.025, 0.05]
ps += [k / 32 for k in range(2, 31)] + [0.4999999, 0.49999999999, 0.5 - 2**-54, 0.5 + 2**-53, 0.50000001, 0.975]
ps += [0.99, 0.999, 0.9999, 0.999999, 0.9999999999, 1 - 2**-50, 1 - 2**-53]
rows = [(p, mu, sig, mpf(mu) + mpf(sig) * quantile(p)) for p in sorted(set(ps)) for mu, sig in shapes]
write("normal_quantile.txt", "p mu sig x", rows)
