#!/usr/bin/env python3
"""Makes error_function_float.txt, error_function_double.txt, error_function_inverfc.txt and
error_function_inverf.txt with mpmath, 60 decimal digits. They stand beside this file."""
import os
import struct

from mpmath import mp, mpf

mp.dps = 60


def as_float(x):
    return struct.unpack("f", struct.pack("f", float(x)))[0]


def write(name, columns, rows):
    with open(os.path.join(os.path.dirname(os.path.abspath(__file__)), name), "w") as out:
        out.write(f"# {columns}    (error_function.py; mpmath {mp.dps} digits)\n")
        for row in rows:
            out.write(" ".join(repr(v) if isinstance(v, float) else mp.nstr(v, 20) for v in row) + "\n")


def erfc(x):
    return (mpf(2) if x < 0 else mpf(0)) if abs(x) > 1e6 else mp.erfc(mpf(x))


def both_signs(values):
    return sorted(set([-v for v in values] + values))


sizes = [0.0, 1e-45, 1e-38, 1e-20, 1e-10, 1e-8, 1e-6, 1e-4, 1e-3, 0.01, 0.03, 0.1, 3e38]
sizes += [0.05 + 0.0171 * k for k in range(0, 600)] + [0.5, 1.0, 2.0, 3.0, 5.0, 9.0, 9.19, 9.2, 10.0, 10.05, 10.1]
write("error_function_float.txt", "x erfc(x)", [(x, erfc(x)) for x in both_signs([as_float(s) for s in sizes])])

sizes = [0.0, 5e-324, 1e-300, 1e-100, 1e-20, 1e-16, 1e-12, 1e-10, 1e-8, 1e-6, 1e-4, 1e-3, 0.01, 0.03, 0.1]
sizes += [0.05 + 0.0463 * k for k in range(0, 580)] + [0.5, 1.0, 2.0, 3.0, 5.0, 10.0, 20.0, 26.5, 26.54, 27.0, 27.2]
sizes += [27.3, 28.0, 100.0, 1e10, 1e200]
write("error_function_double.txt", "x erfc(x) erf(x)", [(x, erfc(x), mp.erf(mpf(x))) for x in both_signs(sizes)])


def inverse_erfc(p):
    """On the logarithm of the smaller tail, so that every size of p keeps its relative precision."""
    p = mpf(p)
    if p == 1:
        return mpf(0)
    if p > 1:
        return -inverse_erfc(2 - p)
    low, high = mpf(0), mpf(40)
    for _ in range(220):
        middle = (low + high) / 2
        if mp.erfc(middle) > p:
            low = middle
        else:
            high = middle
    assert abs(mp.erfc(low) / p - 1) < mpf(10) ** -40
    return low


ps = [5e-324, 1e-310, 2.3e-308, 1e-300, 1e-250, 1e-200, 1e-150, 1e-100, 1e-70, 1e-50, 1e-30, 1e-20, 1e-16, 1e-12]
ps += [1e-10, 1e-8, 1e-6, 1e-5, 1e-4, 0.001, 0.003, 0.01, 0.02, 0.05]
ps += [k / 64 for k in range(5, 124)] + [10 ** (-307 + 1.71 * k) for k in range(0, 175)] + [0.999, 0.9999, 0.999999, 0.99999999, 0.9999999999, 1 - 2**-53]
ps += [1 + 2**-52, 1.0000000001, 1.00000001, 1.0001, 1.001, 1.95, 1.99, 1.999, 1.9999, 1.999999, 1.9999999999]
ps += [1.99999999999999, 2 - 2**-52]
write("error_function_inverfc.txt", "p x", [(p, inverse_erfc(p)) for p in sorted(set(ps))])

ps = [0.0, 1e-300, 1e-17, 1e-10, 1e-8, 1e-5, 1e-3, 0.01, 0.1, 0.2, 0.3, 0.5, 0.7, 0.8427, 0.9, 0.99, 0.999, 0.99999]
ps += [k / 64 for k in range(1, 63)] + [0.9999999, 0.999999999, 0.99999999999, 1 - 2**-40, 1 - 2**-50, 1 - 2**-53]
write("error_function_inverf.txt", "p x", [(p, inverse_erfc(1 - mpf(p)) if p else mpf(0)) for p in both_signs(ps)])
