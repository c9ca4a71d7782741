"""Runs all benchmarks and writes the tables: called by scripts/bench.sh.

  measure.py BUILD_FOLDER WORK_FOLDER [--quick]

Everything that is compared runs in turns: one run of each, then the next round. The results stay in
BUILD_FOLDER/bench_results.json, the tables go to standard output.
"""

import argparse
import json
import os
import statistics
import subprocess
import sys
import time
from dataclasses import replace

import report
from recordings import Recording, make, triggers_of

HERE = os.path.dirname(os.path.abspath(__file__))

RECORDINGS = [
    Recording("A", 32, 300, 1000, 2.0, 0, 100, 1900, 50, 3),
    Recording("B", 8, 600, 5000, 2.0, 0, 100, 1900, 100, 4),
    Recording("C", 32, 600, 500, 0.85, 0.05, 200, 600, 100, 3),
]
GROWING = Recording("G", 8, 60, 1000, 0.5, 0, 50, 400, 20, 3)
LONG = Recording("M", 2, 300, 1000, 2.0, 0, 100, 1900, 50, 3)


class Bench:
    """Where things are, and how often they run."""

    def __init__(self, build, folder, quick):
        self.build = os.path.abspath(build)
        self.folder = os.path.abspath(folder)
        self.quick = quick
        self.rounds = 3 if quick else 9
        self.workbench = os.path.join(self.build, "workbench", "workbench")
        self.module = os.path.join(self.build, "OridanArtifactRemoval.so")
        self.probed_module = os.path.join(self.build, "bench", "module_with_probes.so")

    def path(self, name):
        return os.path.join(self.folder, name)

    def make(self, recording, orderings=(1, 2)):
        return make(recording, self.folder, self.workbench, orderings)

    def remove(self, *names):
        for name in names:
            if os.path.exists(self.path(name)):
                os.remove(self.path(name))

    def run(self, *command):
        """The command's standard output. It works in the folder of the recordings, with one BLAS thread."""
        environment = dict(os.environ, OPENBLAS_NUM_THREADS="1", PYTHONDONTWRITEBYTECODE="1")
        done = subprocess.run(command, cwd=self.folder, env=environment, capture_output=True, text=True, check=False)
        if done.returncode != 0:
            raise SystemExit(f"bench: {' '.join(command)} failed:\n{done.stderr}")
        return done.stdout

    # The variants of a run. Each leaves its result until it is removed.

    def ours(self, recording, ordering, module=None, product="fixed"):
        return json.loads(self.run(os.path.join(self.build, "bench", "run_obs"), module or self.module,
                                   f"{recording.name}{ordering}.ctc", f"{recording.name}.prt", *recording.settings(),
                                   product))

    def program(self, recording, ordering):
        settings = recording.settings()
        names = ("--pre", "--post", "--segment", "--components")
        options = [part for pair in zip(names, settings) for part in pair]
        start = time.perf_counter()
        self.run(self.workbench, "run", self.module, "--data", f"{recording.name}{ordering}.ctc", "--protocol",
                 f"{recording.name}.prt", "--condition", "1", *options, "-o", "program.ctc", "--overwrite", "--quiet")
        return {"seconds": time.perf_counter() - start}

    def numpy(self, recording, ordering, dtype, *options):
        return json.loads(self.run(sys.executable, os.path.join(HERE, "baseline_numpy.py"),
                                   f"{recording.name}{ordering}.ctc", f"{recording.name}.prt", *recording.settings(),
                                   "--dtype", dtype, "-o", "numpy.ctc", *options))


def say(text):
    print(f"bench: {text} ...", file=sys.stderr, flush=True)


def in_turns(variants, rounds, after_each):
    """variants: name -> function that runs it once. Returns name -> its results, one per round; the first, uncounted
    round warms the caches up."""
    results = {name: [] for name in variants}
    for round_number in range(rounds + 1):
        for name, run in variants.items():
            result = run()
            after_each()
            if round_number > 0:
                results[name].append(result)
    return results


def median_of(results, key="seconds"):
    return statistics.median(result[key] for result in results)


def median_steps(results):
    names = set().union(*(result.get("steps", {}) for result in results))
    steps = {name: statistics.median(result["steps"].get(name, 0.0) for result in results) for name in names}
    return steps | {"in all": median_of(results)}


def whole_runs(bench):
    measured = {}
    for recording in RECORDINGS:
        say(f"whole runs of {recording}")
        bench.make(recording)
        name = recording.name
        variants = {}
        for ordering in (1, 2):
            variants |= {
                f"ours {ordering}": lambda o=ordering: bench.ours(recording, o),
                f"float32 {ordering}": lambda o=ordering: bench.numpy(recording, o, "float32", "--time-only"),
                f"float64 {ordering}": lambda o=ordering: bench.numpy(recording, o, "float64", "--time-only"),
                f"program {ordering}": lambda o=ordering: bench.program(recording, o),
            }
        leftovers = [f"{name}1_OBS.ctc", f"{name}2_OBS.ctc", "numpy.ctc", "program.ctc", "program_artifact.trl",
                     "_artifact.trl"]

        def clear(names=tuple(leftovers)):
            bench.remove(*names)

        runs = in_turns(variants, bench.rounds, clear)
        probed = in_turns({ordering: lambda o=ordering: bench.ours(recording, o, bench.probed_module)
                           for ordering in (1, 2)}, min(bench.rounds, 5), clear)
        steps = {ordering: median_steps(results) for ordering, results in probed.items()}
        bench.ours(recording, 1)
        agreement = bench.numpy(recording, 1, "float64", "--compare", f"{name}1_OBS.ctc")
        removed = bench.run(bench.workbench, "compare", f"{name}1.ctc", f"{name}1_OBS.ctc", "--protocol", f"{name}.prt",
                            "--condition", "1", "--pre", str(recording.pre), "--post", str(recording.post), "--truth",
                            f"{name}.clean.ctc", "--json", "-")
        measured[name] = {
            "what": str(recording), "epoch": recording.epoch_samples(), "triggers": len(triggers_of(recording)),
            "channels": recording.channels, "segment": recording.segment,
            "recording_bytes": os.path.getsize(bench.path(f"{name}1.ctc")), "runs": runs, "steps": steps,
            "agreement": agreement, "comparison": json.loads(removed)}
        bench.remove(*leftovers, f"{name}.clean.ctc", f"{name}1.ctc", f"{name}2.ctc")
    return measured


def growth(bench):
    """Seconds of one recording and of longer and wider ones, in turns."""
    say("growth with samples and channels")
    factors = (1, 4) if bench.quick else (1, 4, 16)
    sizes = {}
    for factor in factors:
        sizes[f"samples x {factor}"] = replace(GROWING, name=f"GS{factor}", seconds=GROWING.seconds * factor)
        sizes[f"channels x {factor}"] = replace(GROWING, name=f"GC{factor}", channels=GROWING.channels * factor)
    variants = {}
    leftovers = ["_artifact.trl"]
    for label, recording in sizes.items():
        bench.make(recording)
        for ordering in (1, 2):
            variants[f"{label}, {ordering}"] = lambda r=recording, o=ordering: bench.ours(r, o)
            leftovers.append(f"{recording.name}{ordering}_OBS.ctc")
    runs = in_turns(variants, bench.rounds, lambda: bench.remove(*leftovers))
    for recording in sizes.values():
        bench.remove(f"{recording.name}1.ctc", f"{recording.name}2.ctc", f"{recording.name}.clean.ctc")
    return {"what": str(GROWING), "factors": factors,
            "seconds": {label: median_of(results) for label, results in runs.items()}}


def memory(bench):
    say("memory at five minutes and at two hours")
    peaks = {}
    for label, seconds in (("5 minutes", 300), ("2 hours", 7200)):
        recording = replace(LONG, name=f"M{seconds}", seconds=seconds)
        bench.make(recording)
        for ordering in (1, 2):
            peaks[f"{label}, {ordering}"] = bench.ours(recording, ordering)["peak_kib"]
            bench.remove(f"{recording.name}{ordering}_OBS.ctc", f"{recording.name}{ordering}.ctc")
        bench.remove(f"{recording.name}.clean.ctc", "_artifact.trl")
    return {"what": str(LONG), "peak_kib": peaks}


def page_cache_rates(bench):
    """Bytes per second of plain read and write calls on files in the page cache, 256 KiB at a time."""
    say("page cache")
    block = bytearray(os.urandom(1 << 18))
    count = 160
    path = bench.path("rates")

    def write(flags):
        descriptor = os.open(path, os.O_WRONLY | flags, 0o600)
        start = time.perf_counter()
        for _ in range(count):
            os.write(descriptor, block)
        seconds = time.perf_counter() - start
        os.close(descriptor)
        return seconds

    def read():
        with open(path, "rb", buffering=0) as file:
            start = time.perf_counter()
            while file.readinto(block):
                pass
            return time.perf_counter() - start

    variants = {"new": lambda: write(os.O_CREAT), "read": read, "rewrite": lambda: write(0)}
    seconds = {name: [] for name in variants}
    for _ in range(11):
        for name, run in variants.items():
            seconds[name].append(run())
        os.remove(path)
    # The first round may have had to get its memory from the system.
    return {name: count * len(block) / statistics.median(times[1:]) for name, times in seconds.items()}


def routines(bench):
    say("single routines")
    path = os.path.join(bench.build, "bench_routines.json")
    repetitions, seconds = (3, 0.01) if bench.quick else (9, 0.1)
    program = os.path.join(bench.build, "bench", "bench_routines")
    bench.run(program, f"--benchmark_repetitions={repetitions}",
              f"--benchmark_min_time={seconds}", "--benchmark_enable_random_interleaving=true",
              f"--benchmark_out={path}", "--benchmark_out_format=json")
    with open(path, encoding="utf-8") as file:
        raw = json.load(file)
    # They ran in random order.
    names = [name.split("/", 2) for name in bench.run(program, "--benchmark_list_tests").splitlines()]
    found = {f"{routine}/{size}": {} for routine, size, _ in names}
    for run in raw["benchmarks"]:
        if run["run_type"] != "iteration":
            continue
        routine, size, variant = run["run_name"].split("/", 2)
        entry = found[f"{routine}/{size}"].setdefault(variant, {"times": []})
        if run.get("error_occurred"):
            entry["error"] = run["error_message"]
        else:
            entry["times"].append(run["cpu_time"] * {"ns": 1e-9, "us": 1e-6, "ms": 1e-3}[run["time_unit"]])
    for variants in found.values():
        for entry in variants.values():
            entry["seconds"] = statistics.median(entry["times"]) if entry["times"] else None
    return {"context": raw["context"], "routines": found}


def output_of(*command):
    return subprocess.run(command, stdout=subprocess.PIPE, check=True, text=True).stdout


def machine(bench):
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        model = next((line.split(":", 1)[1].strip() for line in file if line.startswith("model name")), "unknown")
    cache = {}
    with open(os.path.join(bench.build, "CMakeCache.txt"), encoding="utf-8") as file:
        for line in file:
            if "=" in line and not line.startswith(("#", "//")):
                name, value = line.rstrip("\n").split("=", 1)
                cache[name.split(":")[0]] = value
    compiler = output_of(cache["CMAKE_CXX_COMPILER"], "--version").splitlines()[0]
    compiler = compiler.replace("c++ (", "g++ (", 1)  # the same program under another name
    flags = " ".join(f"{cache.get('CMAKE_CXX_FLAGS', '')} {cache.get('CMAKE_CXX_FLAGS_RELEASE', '')}".split())
    versions = output_of(sys.executable, "-c", "import sys, numpy, scipy; print('Python', sys.version.split()[0] + "
                         "', NumPy', numpy.__version__ + ', SciPy', scipy.__version__)").strip()
    return {"cpu": model, "cores": os.cpu_count(), "kernel": os.uname().release, "compiler": compiler,
            "flags": f"{flags} -ffp-contract=off", "python": versions, "load": os.getloadavg()[0]}


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("build")
    parser.add_argument("folder")
    parser.add_argument("--quick", action="store_true")
    options = parser.parse_args()
    bench = Bench(options.build, options.folder, options.quick)
    results = {"quick": bench.quick, "rounds": bench.rounds, "machine": machine(bench),
               "rates": page_cache_rates(bench), "routines": routines(bench), "whole": whole_runs(bench),
               "growth": growth(bench), "memory": memory(bench)}
    with open(os.path.join(bench.build, "bench_results.json"), "w", encoding="utf-8") as file:
        json.dump(results, file, indent=1)
    print(report.tables(json.loads(json.dumps(results))))


if __name__ == "__main__":
    main()
