#!/usr/bin/env python3
"""round_trip.py WORKBENCH RECORDING.ctc [RECORDING.ctc ...]

Exports recordings to EDF, BDF and BrainVision, imports them again and compares: the number of samples, the rate, the
triggers (of RECORDING.prt or RECORDING.triggers.csv, where there is one) and every value, which may differ by half a
step of the physical range that the EDF or BDF file states, and by nothing in BrainVision. Prints the figures; the exit
status is 1 where something does not agree.
"""

import array
import os
import shutil
import struct
import subprocess
import sys
import tempfile


def read_ctc(path):
    """Channels (lists of floats), rate. For plain floats (data type 1) that are continuous."""
    with open(path, "rb") as file:
        data = file.read()
    _, compression, kind, ordering, channels, samples = struct.unpack_from("<6I", data)
    rate, = struct.unpack_from("<f", data, 24)
    assert compression == 0 and kind == 1 and ordering in (1, 2), "only continuous plain floats"
    values = array.array("f")
    values.frombytes(data[32:32 + 4 * channels * samples])
    if ordering == 1:
        return [values[c * samples:(c + 1) * samples] for c in range(channels)], rate
    return [values[c::channels] for c in range(channels)], rate


def edf_steps(path):
    """Microvolts between two stored values, for each signal that is no annotation signal."""
    with open(path, "rb") as file:
        fixed = file.read(256)
        signals = int(fixed[252:256])
        header = file.read(256 * signals).decode("latin-1")

    def column(offset, width):
        start = offset * signals
        return [header[start + i * width:start + (i + 1) * width].strip() for i in range(signals)]

    labels, units = column(0, 16), column(96, 8)
    low, high, digital_low, digital_high = (list(map(float, column(104 + 8 * k, 8))) for k in range(4))
    scale = {"uV": 1.0, "mV": 1e3, "nV": 1e-3}
    return [(high[i] - low[i]) / (digital_high[i] - digital_low[i]) * scale[units[i]]
            for i in range(signals) if not labels[i].endswith("Annotations")]


def protocol_conditions(path):
    with open(path, encoding="utf-8") as file:
        text = file.read()
    return {part.split("\n")[0]: sorted(set(part.split()[len(part.split("\n")[0].split()):]), key=int)
            for part in text.split("Condition: ")[1:]}


def run(arguments):
    done = subprocess.run(arguments, capture_output=True, text=True)
    if done.returncode != 0:
        raise SystemExit(f"{' '.join(arguments)}: {done.stderr}")


def compare(workbench, recording, folder, ending):
    """@return a line of figures, and whether all agrees."""
    stem = os.path.splitext(os.path.basename(recording))[0]
    source = os.path.join(folder, stem + ".ctc")
    shutil.copyfile(recording, source)
    beside = os.path.splitext(recording)[0]
    protocol = os.path.join(folder, stem + ".prt")
    if os.path.exists(beside + ".prt"):
        shutil.copyfile(beside + ".prt", protocol)
    elif os.path.exists(beside + ".triggers.csv"):
        run([workbench, "protocol", beside + ".triggers.csv", "-o", protocol, "--overwrite"])
    exported = os.path.join(folder, "exported." + ending)
    command = [workbench, "export", source, "-o", exported, "--overwrite"]
    run(command + (["--protocol", protocol] if os.path.exists(protocol) else []))
    again = os.path.join(folder, "again.ctc")
    run([workbench, "import", exported, "-o", again, "--overwrite"])

    before, rate = read_ctc(source)
    after, rate_after = read_ctc(again)
    good = len(before) == len(after) and rate == rate_after and all(len(a) == len(b) for a, b in zip(before, after))
    steps = edf_steps(exported) if ending != "vhdr" else [0.0] * len(before)
    worst, worst_share, coarsest = 0.0, 0.0, max(steps)
    for a, b, step in zip(before, after, steps):
        largest = max(abs(value) for value in a)
        # The last bit of the floats between which values are compared is not the file's doing.
        allowed = step / 2 * (1 + 1e-9) + (largest * 2.0 ** -24 if step > 0 else 0.0)
        difference = max(abs(x - y) for x, y in zip(a, b))
        worst = max(worst, difference)
        worst_share = max(worst_share, difference / step if step > 0 else 0.0)
        good = good and difference <= allowed and (step > 0 or a.tobytes() == b.tobytes())
    triggers = ""
    if os.path.exists(protocol):
        wanted = {name: samples for name, samples in protocol_conditions(protocol).items() if samples}
        got = protocol_conditions(os.path.join(folder, "again.prt"))
        good = good and wanted == got
        triggers = f", {sum(map(len, got.values()))} triggers"
    figures = f"largest difference {worst:.3g} uV"
    if ending != "vhdr":
        figures += f" = {worst_share:.3f} of a step (steps up to {coarsest:.3g} uV)"
    return f"{stem} {ending}: {len(after)} channels, {len(after[0])} samples at {rate_after:g} Hz{triggers}; {figures}", good


def main():
    if len(sys.argv) < 3:
        raise SystemExit(__doc__)
    failed = False
    for recording in sys.argv[2:]:
        for ending in ("edf", "bdf", "vhdr"):
            with tempfile.TemporaryDirectory() as folder:
                line, good = compare(sys.argv[1], recording, folder, ending)
            print(line + ("" if good else "  DOES NOT AGREE"), flush=True)
            failed = failed or not good
    raise SystemExit(1 if failed else 0)


if __name__ == "__main__":
    main()
