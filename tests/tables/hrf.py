#!/usr/bin/env python3
"""hrf_gamma_density.txt, hrf_weight.txt and hrf_kernel.txt: response functions in 40 digits.
Run in this folder: hrf.py"""

import random
import struct

from mpmath import exp, gamma, log, loggamma, mp, mpf, nstr

mp.dps = 40


def single(x):
    return struct.unpack("f", struct.pack("f", x))[0]


def density(x, h, l):
    x, h, l = mpf(x), mpf(h), mpf(l)
    return exp((h - 1) * log(x) + h * log(l) - l * x - loggamma(h)) if x > 0 else mpf(0)


def two_gammas(s):
    s = mpf(s)
    return exp(-s) * (s**4 / gamma(5) - s**14 / gamma(15) / 6)


with open("hrf_gamma_density.txt", "w") as table:
    print("# x  shape  rate  density; made by hrf.py", file=table)
    generator = random.Random(5)
    for shape in [0.01, 0.1, 0.5, 1, 1.5, 2, 4, 5, 6, 9.3, 16, 25, 60, 120, 200]:
        for rate in [0.001, 0.0625, 0.3, 1, 7, 1000]:
            for spread in [1e-6, 0.05, 0.4, 0.9, 1.1, 1.7, 3]:
                x = float(f"{shape / rate * spread * generator.uniform(0.9, 1.1):.6g}")
                value = density(x, shape, rate)
                if value > mpf(10) ** -100:
                    print(repr(x), repr(float(shape)), repr(float(rate)), nstr(value, 20), file=table)

with open("hrf_weight.txt", "w") as table:
    print("# t in milliseconds  weight; made by hrf.py", file=table)
    for t in [1e-300, 1e-9, 0.001, 0.5, 1, 10, 100, 500] + list(range(1000, 40001, 250)) + [60000, 1e5, 1e6, 1e9]:
        # s is t * 0.001 with the double nearest to 0.001
        print(repr(float(t)), nstr(two_gammas(mpf(t) * mpf(0.001)) / two_gammas(4), 20), file=table)

# TR, nsub, then the seven parameters. Quotients of parameters are rounded to single precision.
KERNELS = [
    (1.0, 16, 6, 16, 1, 1, 6, 0, 32),
    (2.0, 16, 6, 16, 1, 1, 6, 0, 32),
    (0.72, 8, 6, 16, 0.9, 1.1, 6, 0.5, 30),
    (2.5, 20, 5, 15, 1, 1, 6, -1, 25),
    (3.0, 4, 6, 12, 0.9, 0.9, 2.857, 0, 24),
    (0.1, 1, 6, 16, 1, 1, 1, 2, 20),
    (1.0, 16, 6, 16, 1, 1, 0.0005, 0, 32),
]
with open("hrf_kernel.txt", "w") as table:
    print("# TR  nsub  p0..p6  k  sample; made by hrf.py", file=table)
    for kernel in KERNELS:
        tr, nsub, p = single(kernel[0]), kernel[1], [single(x) for x in kernel[2:]]
        dt = mpf(tr) / nsub
        samples = int(single(p[6] / tr)) + 1
        bins = int(mpf(p[6]) / dt) + 1
        values = []
        for k in range(samples):
            u = k * nsub - mpf(p[5]) / dt
            response = density(u, single(p[0] / p[2]), dt / mpf(p[2]))
            undershoot = density(u, single(p[1] / p[3]), dt / mpf(p[3]))
            value = response - undershoot / mpf(p[4]) if p[4] >= 0.001 else -undershoot
            values.append(value if k * nsub < bins else mpf(0))
        peak = max(abs(value) for value in values)
        for k, value in enumerate(values):
            row = [repr(kernel[0]), nsub, *(repr(float(x)) for x in kernel[2:]), k]
            print(*row, nstr(value / peak, 20), file=table)
