#!/usr/bin/env python3
"""Makes beta_i.txt and beta_inverse.txt with mpmath, 80 decimal digits. They stand beside this file."""
import functools
import os
import struct

from mpmath import mp, mpf

mp.dps = 80


def as_float(x):
    return struct.unpack("f", struct.pack("f", float(x)))[0]


def next_float(x, steps):
    return struct.unpack("f", struct.pack("I", struct.unpack("I", struct.pack("f", x))[0] + steps))[0]


def write(name, columns, rows):
    with open(os.path.join(os.path.dirname(os.path.abspath(__file__)), name), "w") as out:
        out.write(f"# {columns}    (beta.py; mpmath {mp.dps} digits)\n")
        for row in rows:
            out.write(" ".join(repr(v) if isinstance(v, float) else mp.nstr(v, 20) for v in row) + "\n")


def fraction(a, b, x):
    """The continued fraction's value, as the series of positive terms that it equals: 2F1(a + b, 1; a + 1; x).
    Summed in integers, in units of 2^-256."""
    one = 1 << 256
    upper, lower, step = (int(mp.floor(v * mpf(one))) for v in (a + b, a + 1, x))
    term = total = one
    while term > 16:
        term = term * upper // lower * step >> 256
        total += term
        upper += one
        lower += one
    return mpf(total) / one


@functools.cache
def log_beta(a, b):
    return mp.loggamma(a) + mp.loggamma(b) - mp.loggamma(a + b)


def one_side(a, b, x, y):
    """I_x(a, b) for x below the switch; y = 1 - x."""
    return mp.exp(a * mp.log(x) + b * mp.log(y) - log_beta(a, b)) * fraction(a, b, x) / a


def both(a, b, x, y):
    """I_x(a, b) and 1 - I_x(a, b), the smaller in full relative precision."""
    if x * (a + b + 2) < a + 1:
        i = one_side(a, b, x, y)
        return i, 1 - i
    i = one_side(b, a, y, x)
    return 1 - i, i


def row(a, b, x):
    args = mpf(a), mpf(b), mpf(x)
    y = 1 - args[2]
    i = both(*args, y)[0]
    if max(a, b) <= 11 and mpf(10) ** -30 < i < 1:
        assert abs(mp.betainc(args[0], args[1], 0, args[2], regularized=True) - i) < mpf(10) ** -35, (a, b, x)
    below = args[2] * (args[0] + args[1] + 2) < args[0] + 1
    f = fraction(*args) if below else fraction(args[1], args[0], y)
    return (a, b, x, i, f)


rows = []


def grid(orders, ratios):
    for a in map(as_float, orders):
        for b in map(as_float, orders):
            switch = (mpf(a) + 1) / (mpf(a) + mpf(b) + 2)
            near = as_float(switch)
            xs = [next_float(near, k) for k in (-2, -1, 0, 1, 2)]
            xs += [as_float(switch * r) for r in ratios] + [as_float(1 - (1 - switch) * r) for r in ratios]
            spread = mp.sqrt(mpf(a) * b / (a + b + 1)) / (a + b)
            xs += [as_float(switch + k * spread) for k in (-3, -1, 1, 3)]
            rows.extend(row(a, b, x) for x in sorted(set(xs)) if 0 < x < 1)


# Orders whose sum is exact in single precision, and others.
grid([0.5, 1, 1.5, 3, 10, 30.5, 100, 300, 1000, 3000, 10000], [1e-20, 1e-5, 0.1, 0.5, 0.9])
grid([1e-10, 0.001, 0.1, 0.3, 0.7, 2.2, 7.7, 33.3, 123.4], [1e-30, 1e-3, 0.3, 0.8])
grid([30000, 100000, 1000000], [0.9, 0.99])
write("beta_i.txt", "a b x I_x(a,b) fraction(a,b,x), or fraction(b,a,1-x) from x = (a+1)/(a+b+2)", rows)


def inverse(p, a, b):
    p, a, b = mpf(p), mpf(a), mpf(b)

    def distance(y):  # over the log-odds of x
        i, j = both(a, b, 1 / (1 + mp.exp(-y)), 1 / (1 + mp.exp(y)))
        return mp.log(i / p) if p < 0.5 else mp.log((1 - p) / j)

    low, high = mpf(-1), mpf(1)
    while distance(low) > 0:
        low *= 2
    while distance(high) < 0:
        high *= 2
    for _ in range(140):
        middle = (low + high) / 2
        if distance(middle) < 0:
            low = middle
        else:
            high = middle
    y = low
    assert abs(distance(y)) < mpf(10) ** -24, (p, a, b)
    return 1 / (1 + mp.exp(-y))


rows = []
for a in (0.1, 0.25, 0.5, 0.99, 1.0, 1.5, 2.0, 5.0, 10.5, 50.0, 100.0, 1000.0):
    for b in (0.1, 0.25, 0.5, 0.99, 1.0, 1.5, 2.0, 5.0, 10.5, 50.0, 100.0, 1000.0):
        for p in (1e-20, 1e-10, 1e-6, 0.001, 0.025, 0.05, 0.3, 0.4999, 0.5, 0.7, 0.95, 0.975, 0.999, 0.99999):
            rows.append((p, a, b, inverse(p, a, b)))
write("beta_inverse.txt", "p a b x", rows)
