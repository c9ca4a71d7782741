#!/usr/bin/env python3
"""Writes hypothesis.txt beside this file (needs python3-scipy and python3-numpy).

Test statistics by scipy, in double precision, for samples that the test makes again from the seed: splitmix64, each
value (next() mod range) / 16 + shift, exact as a float. Kolmogorov-Smirnov samples take value i as
((next() mod range) * 200 + i) / 1024, so that no two are equal; the second sample counts i on.
"""
import os

import numpy
import scipy.stats


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


def exact(values):
    values = numpy.array(values)
    assert (values == values.astype(numpy.float32)).all()
    return values


with open(os.path.join(os.path.dirname(os.path.abspath(__file__)), "hypothesis.txt"), "w") as out:
    out.write("# Made by hypothesis.py: seed, n1, n2, range1, range2, shift, pooled t, Welch's t, KS distance\n")
    seed = 0
    for n1, n2 in [(2, 2), (2, 5), (3, 3), (5, 4), (10, 10), (10, 40), (40, 10), (77, 33), (100, 100)]:
        for range1, range2, shift in [(100, 100, 0), (100, 1000, 2), (80, 80, 50), (1000, 30, -7)]:
            seed += 1
            random = Random(seed)
            one = exact([random.next() % range1 / 16 for _ in range(n1)])
            two = exact([random.next() % range2 / 16 + shift for _ in range(n2)])
            pooled = scipy.stats.ttest_ind(one, two).statistic
            welch = scipy.stats.ttest_ind(one, two, equal_var=False).statistic
            one = exact([(random.next() % range1 * 200 + i) / 1024 for i in range(n1)])
            two = exact([(random.next() % range2 * 200 + n1 + i) / 1024 for i in range(n2)])
            assert len(set(one) | set(two)) == n1 + n2
            distance = scipy.stats.ks_2samp(one, two).statistic
            out.write(f"{seed} {n1} {n2} {range1} {range2} {shift} {pooled:.17g} {welch:.17g} {distance:.17g}\n")
