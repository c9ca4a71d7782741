"""The same removal as a NumPy/SciPy program: what the module is measured against.

  baseline_numpy.py RECORDING.ctc PROTOCOL.prt PRE_MS POST_MS SEGMENT COMPONENTS [--dtype float32|float64] [-o OUT.ctc]
                    [--compare MODULE_OUT.ctc] [--time-only]

Copies the recording, maps the copy, and cleans it a segment at a time. Prints one line of JSON: the seconds from the
copy to the last sample written (without the start of Python), the power of the trigger-locked average before and after
(not with --time-only), and with --compare how well the result agrees with another one in the windows. One BLAS thread,
whatever is set.
"""

import os

os.environ["OPENBLAS_NUM_THREADS"] = "1"
os.environ["OMP_NUM_THREADS"] = "1"

# pylint: disable=wrong-import-position
import argparse
import json
import shutil
import time

import numpy as np
import scipy.linalg
from numpy.lib.stride_tricks import sliding_window_view

import ctc_file


def clean_segment(epochs, components, n_written):
    """Returns the first n_written of epochs[occurrence, sample] without their first principal components."""
    n = len(epochs)
    means = epochs.mean(axis=1, keepdims=True)
    epochs -= means
    covariance = epochs @ epochs.T / epochs.shape[1]
    _, vectors = scipy.linalg.eigh(covariance, subset_by_index=[n - components, n - 1], overwrite_a=True,
                                   check_finite=False)
    basis = vectors.T @ epochs
    written = epochs[:n_written]
    # The coefficients of a least-squares fit of these epochs on this basis are the eigenvectors' own entries.
    written -= vectors[:n_written] @ basis
    written += means[:n_written]
    return written


def segments_of(starts, n):
    """For each segment the starts of its windows, and how many of them it writes. The last borrows what it lacks."""
    for first in range(0, len(starts), n):
        own = starts[first:first + n]
        borrowed = starts[first - n + len(own):first]
        yield (own if len(own) == n else np.concatenate([own, borrowed])), len(own)


def clean_by_channel(samples, starts, length, n, components, dtype):
    for channel in samples:
        windows = sliding_window_view(channel, length, writeable=True)
        for used, n_written in segments_of(starts, n):
            epochs = windows[used].astype(dtype, copy=False)
            windows[used[:n_written]] = clean_segment(epochs, components, n_written)


def clean_by_sample(samples, starts, length, n, components, dtype):
    """Whole windows at a time, all channels of them: samples of a channel lie apart."""
    for used, n_written in segments_of(starts, n):
        block = np.stack([samples[start:start + length] for start in used])
        by_channel = np.ascontiguousarray(block.transpose(2, 0, 1), dtype=dtype)
        for channel in by_channel:
            clean_segment(channel, components, n_written)
        for k, start in enumerate(used[:n_written]):
            samples[start:start + length] = by_channel[:, k].T


def clean(source, output, starts, length, n, components, dtype):
    shutil.copyfile(source, output)
    ordering, samples = ctc_file.map_samples(output, "r+")
    # A plain array on the same mapping: numpy.memmap objects are slow to index.
    samples = np.asarray(samples)
    (clean_by_channel if ordering == 1 else clean_by_sample)(samples, starts, length, n, components, dtype)


def windows_of(path, starts, length):
    """[channel, occurrence, sample] in double."""
    ordering, samples = ctc_file.map_samples(path, "r")
    channels = samples if ordering == 1 else samples.T
    return np.stack([channels[:, start:start + length] for start in starts], axis=1).astype(np.float64)


def locked_power(windows):
    average = windows.mean(axis=1)
    return float(np.mean((average - average.mean(axis=1, keepdims=True)) ** 2))


def system_count(file, name):
    try:
        with open(file, encoding="ascii") as lines:
            return next(int(line.split()[1]) for line in lines if line.startswith(name))
    except (OSError, StopIteration):
        return -1


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("recording")
    parser.add_argument("protocol")
    for name in ("pre", "post", "segment", "components"):
        parser.add_argument(name, type=int)
    parser.add_argument("--dtype", choices=["float32", "float64"], default="float32")
    parser.add_argument("-o", "--output")
    parser.add_argument("--compare")
    parser.add_argument("--time-only", action="store_true")
    options = parser.parse_args()

    output = options.output or options.recording[:-4] + "_numpy.ctc"
    _, _, samples, rate = ctc_file.read_header(options.recording)
    before = int(options.pre * rate / 1000)
    length = before + int(options.post * rate / 1000) + 1
    starts = ctc_file.read_triggers(options.protocol) - before
    if (starts < 0).any() or (starts + length > samples).any():
        raise SystemExit("baseline_numpy: a window passes an end of the recording")

    begin = time.perf_counter()
    clean(options.recording, output, starts, length, options.segment, options.components, np.dtype(options.dtype))
    result = {"seconds": time.perf_counter() - begin, "peak_kib": system_count("/proc/self/status", "VmHWM")}

    if options.time_only:
        print(json.dumps(result))
        return
    after = windows_of(output, starts, length)
    result["locked_power_before"] = locked_power(windows_of(options.recording, starts, length))
    result["locked_power_after"] = locked_power(after)
    if options.compare:
        other = windows_of(options.compare, starts, length)
        result["correlation"] = float(np.corrcoef(after.ravel(), other.ravel())[0, 1])
        result["largest_difference"] = float(np.abs(after - other).max())
    print(json.dumps(result))


if __name__ == "__main__":
    main()
