"""Recordings for whole runs: background from `workbench simulate`, plus an artifact that is locked to triggers."""

import os
import subprocess
from dataclasses import dataclass

import numpy as np

import ctc_file


@dataclass(frozen=True)
class Recording:
    """What it is, and the settings it is cleaned with."""

    name: str
    channels: int
    seconds: float
    rate: int
    interval: float  # seconds between triggers
    jitter: float  # of the interval, as a part of it
    pre: int  # ms
    post: int  # ms
    segment: int
    components: int

    def epoch_samples(self):
        return self.pre * self.rate // 1000 + self.post * self.rate // 1000 + 1

    def settings(self):
        return [str(value) for value in (self.pre, self.post, self.segment, self.components)]

    def __str__(self):
        length = f"{self.seconds:g} s" if self.seconds < 3600 else f"{self.seconds / 3600:g} h"
        every = f"every {self.interval:g} s" + (f" with {100 * self.jitter:g} % jitter" if self.jitter else "")
        return (f"{self.name}: {self.channels} ch x {length} x {self.rate} Hz, a trigger {every}, "
                f"{self.pre}/{self.post} ms, N {self.segment}, P {self.components}")


def triggers_of(recording):
    """Sample numbers whose windows lie inside the recording."""
    random = np.random.default_rng(1)
    steps = int(recording.seconds / recording.interval * 1.2) + 2
    intervals = recording.interval * (1 + recording.jitter * random.uniform(-1, 1, steps))
    times = recording.interval / 2 + np.concatenate(([0.0], np.cumsum(intervals)))
    triggers = np.round(times * recording.rate).astype(np.int64)
    before = recording.pre * recording.rate // 1000
    after = recording.post * recording.rate // 1000
    last = int(recording.seconds * recording.rate) - after - 1
    return triggers[(triggers >= before) & (triggers <= last)]


def background_of(recording, folder, workbench):
    """[channel, sample], microvolts. Of a long recording five minutes, over and over."""
    seconds = min(recording.seconds, 300)
    path = os.path.join(folder, "background.ctc")
    subprocess.run([workbench, "simulate", "-o", path, "--artifact", "heartbeat", "--channels",
                    str(recording.channels), "--seconds", str(seconds), "--rate", str(recording.rate), "--overwrite"],
                   check=True, stdout=subprocess.DEVNULL)
    _, clean = ctc_file.map_samples(os.path.join(folder, "background.clean.ctc"), "r")
    copies = -(-int(recording.seconds * recording.rate) // clean.shape[1])
    data = np.tile(clean, (1, copies))[:, :int(recording.seconds * recording.rate)]
    for name in ("background.ctc", "background.clean.ctc", "background.prt"):
        os.remove(os.path.join(folder, name))
    return data


def artifact_epochs(recording, count, random):
    """[occurrence, sample]: one strong wave and two weaker ones, whose sizes change from occurrence to occurrence."""
    length = recording.epoch_samples()
    t = np.arange(length) / length
    taper = np.hanning(length)
    waves = np.stack([np.sin(2 * np.pi * 23 * t) * np.exp(-3 * t), np.cos(2 * np.pi * 9 * t),
                      np.sin(2 * np.pi * 41 * t)])
    sizes = np.stack([500 * (1 + 0.05 * random.standard_normal(count)), 60 * random.standard_normal(count),
                      40 * random.standard_normal(count)], axis=1)
    return sizes @ (waves * taper)


def make(recording, folder, workbench, orderings=(1, 2)):
    """Writes NAME1.ctc and NAME2.ctc (orderings 1 and 2), NAME.prt, and NAME.clean.ctc, the truth."""
    os.makedirs(folder, exist_ok=True)
    random = np.random.default_rng(2)
    data = background_of(recording, folder, workbench)
    path = os.path.join(folder, recording.name)
    ctc_file.write(path + ".clean.ctc", data, recording.rate, 1)
    triggers = triggers_of(recording)
    before = recording.pre * recording.rate // 1000
    length = recording.epoch_samples()
    for channel in data:
        epochs = artifact_epochs(recording, len(triggers), random).astype(np.float32)
        for trigger, epoch in zip(triggers, epochs):
            channel[trigger - before:trigger - before + length] += epoch
    for ordering in orderings:
        ctc_file.write(f"{path}{ordering}.ctc", data, recording.rate, ordering)
    with open(path + ".csv", "w", encoding="utf-8") as table:
        table.write("condition,sample_number_0based\n")
        table.writelines(f"artifact,{trigger}\n" for trigger in triggers)
    subprocess.run([workbench, "protocol", path + ".csv", "-o", path + ".prt", "--overwrite"], check=True,
                   stdout=subprocess.DEVNULL)
    return triggers
