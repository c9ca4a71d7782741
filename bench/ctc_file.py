"""Float recordings as arrays: the little of the CTC format that the benchmarks need."""

import struct

import numpy as np

# Version, compression, data type, ordering, channels, samples, rate, conditions.
HEADER = struct.Struct("<6IfI")


def read_header(path):
    """Ordering, channels, samples and rate of an uncompressed, continuous float recording."""
    with open(path, "rb") as file:
        version, compression, data_type, ordering, channels, samples, rate, conditions = HEADER.unpack(
            file.read(HEADER.size))
    if (version, compression, data_type, conditions) != (1, 0, 1, 0) or ordering not in (1, 2):
        raise SystemExit(f"{path}: not a continuous float recording")
    return ordering, channels, samples, rate


def map_samples(path, mode):
    """The samples as they lie in the file: [channel, sample] in ordering 1, [sample, channel] in ordering 2."""
    ordering, channels, samples, _ = read_header(path)
    shape = (channels, samples) if ordering == 1 else (samples, channels)
    return ordering, np.memmap(path, dtype="<f4", mode=mode, offset=HEADER.size, shape=shape)


def write(path, data, rate, ordering):
    """data[channel, sample] as a recording."""
    channels, samples = data.shape
    with open(path, "wb") as file:
        file.write(HEADER.pack(1, 0, 1, ordering, channels, samples, rate, 0))
        np.ascontiguousarray(data if ordering == 1 else data.T, dtype="<f4").tofile(file)


def read_triggers(path):
    """Sample numbers of the first condition of a protocol file."""
    with open(path, encoding="utf-8") as file:
        lines = [line.strip() for line in file]
    first = next(i for i, line in enumerate(lines) if line.startswith("Condition:")) + 1
    numbers = []
    for line in lines[first:]:
        if line.startswith("Condition:"):
            break
        if line:
            numbers.append(int(line))
    return np.array(numbers)
