#!/usr/bin/env python3
"""Writes correlation.txt beside this file (needs python3-mpmath, python3-scipy and python3-numpy).

Correlations by scipy for pairs that the test makes again from the seed: splitmix64, x = next() mod range,
y = weight * x + next() mod range. Small ranges make ties. The deviate of the sum of squared rank differences is formed
here from scipy's ranks with exact fractions.
"""
import os
from collections import Counter
from fractions import Fraction

import numpy
import scipy.stats
from mpmath import erfc, mp, mpf, sqrt

mp.dps = 40


class Random:
    def __init__(self, seed):
        self.state = seed

    def next(self):
        mask = 2**64 - 1
        self.state = (self.state + 0x9E3779B97F4A7C15) & mask
        z = self.state
        z = ((z ^ (z >> 30)) * 0xBF58476D1CE4E5B9) & mask
        z = ((z ^ (z >> 27)) * 0x94D049BB133111EB) & mask
        return z ^ (z >> 31)


def rank_statistics(x, y):
    n = len(x)
    ranks = [Fraction(float(a)) - Fraction(float(b)) for a, b in zip(scipy.stats.rankdata(x), scipy.stats.rankdata(y))]
    d = sum(difference * difference for difference in ranks)
    ties = [sum(t**3 - t for t in Counter(values).values()) for values in (x, y)]
    cubic = n**3 - n
    mean = Fraction(cubic, 6) - Fraction(sum(ties), 12)
    variance = Fraction((n - 1) * n * n * (n + 1) ** 2, 36)
    for tie in ties:
        variance *= 1 - Fraction(tie, cubic)
    z = mpf((d - mean).numerator) / (d - mean).denominator / sqrt(mpf(variance.numerator) / variance.denominator)
    return float(d), z, erfc(abs(z) / sqrt(mpf(2)))


with open(os.path.join(os.path.dirname(os.path.abspath(__file__)), "correlation.txt"), "w") as out:
    out.write("# Made by correlation.py: seed, n, range, weight, Pearson r, its p, Spearman rs, d, zd, p of zd\n")
    seed = 1000
    for n in [3, 4, 5, 8, 10, 25, 100, 300]:
        for limit in [4, 30, 1000, 100000]:
            for weight in [-3, -1, 0, 2]:
                seed += 1
                random = Random(seed)
                pairs = [(x := random.next() % limit, weight * x + random.next() % limit) for _ in range(n)]
                x, y = zip(*pairs)
                if len(set(x)) < 2 or len(set(y)) < 2:
                    continue
                r, p = scipy.stats.pearsonr(x, y)
                if abs(r) > 0.99999:
                    continue
                rs = scipy.stats.spearmanr(x, y)[0]
                d, z, pz = rank_statistics(x, y)
                out.write(f"{seed} {n} {limit} {weight} {r:.17g} {p:.17g} {rs:.17g} {d:.17g} ")
                out.write(f"{float(z):.17g} {float(pz):.17g}\n")
