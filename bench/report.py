"""Markdown tables from the results of measure.py.

  report.py BUILD_FOLDER/bench_results.json
"""

import json
import statistics
import sys

STEPS = ("copy", "read", "mean", "Gram", "eigen", "basis", "inverse", "fit", "write", "log")


def table(head, rows):
    lines = ["| " + " | ".join(head) + " |", "|" + "---|" * len(head)]
    return "\n".join(lines + ["| " + " | ".join(str(cell) for cell in row) + " |" for row in rows])


def duration(seconds):
    if seconds is None:
        return "-"
    for unit, factor in (("s", 1), ("ms", 1e3), ("us", 1e6)):
        if seconds * factor >= 1:
            return f"{seconds * factor:.3g} {unit}"
    return f"{seconds * 1e9:.3g} ns"


def times(ratio):
    return f"{ratio:.2f}x" if ratio < 100 else f"{ratio:.0f}x"


def mib(number):
    return f"{number / (1 << 20):.0f}"


def seconds_of(runs):
    return [run["seconds"] for run in runs]


def ratio_in_turns(numerators, denominators):
    """Median over the rounds."""
    return statistics.median(a / b for a, b in zip(seconds_of(numerators), seconds_of(denominators)))


def best_numpy(runs, ordering):
    return min((runs[f"{dtype} {ordering}"] for dtype in ("float32", "float64")),
               key=lambda results: statistics.median(seconds_of(results)))


def bound(results, name):
    """Seconds: products and decompositions at the libraries' times, the bytes at the page cache's rates."""
    whole = results["whole"][name]
    routines = results["routines"]["routines"]
    n, length = whole["segment"], whole["epoch"]
    fits = whole["channels"] * -(-whole["triggers"] // n)
    gram = fits * routines[f"Gram product, fixed order/{n}x{n}x{length}"]["library:OpenBLAS dgemm"]["seconds"]
    eigen = fits * routines[f"jacobi + eigsrt/{n}"]["library:LAPACK ssyevd"]["seconds"]
    recording = whole["recording_bytes"]
    epochs = whole["channels"] * whole["triggers"] * length * 4
    rates = results["rates"]
    moved = (recording + epochs) / rates["read"] + recording / rates["new"] + epochs / rates["rewrite"]
    return {"gram": gram, "eigen": eigen, "bytes": moved, "in all": gram + eigen + moved}


def machine_line(results):
    machine = results["machine"]
    context = results["routines"]["context"]
    load = f" **The machine was busy (load {machine['load']:.1f}).**" if machine["load"] > 0.5 else ""
    quick = " **A quick run: rough figures.**" if results["quick"] else ""
    return (f"{machine['cpu']}, {machine['cores']} cores, Linux {machine['kernel']}; {machine['compiler']}, "
            f"`{machine['flags']}`; instruction set used: {context['instruction_set']}; "
            f"{' '.join(context['blas'].split()[:2])} with its {context['blas_kernels']} kernels, one thread; "
            f"{machine['python']}. Medians of {results['rounds']} rounds, ratios of each round.{quick}{load}")


def whole_table(results):
    rows = []
    for name, whole in results["whole"].items():
        limit = bound(results, name)["in all"]
        for ordering in (1, 2):
            runs = whole["runs"]
            ours = runs[f"ours {ordering}"]
            seconds = statistics.median(seconds_of(ours))
            rows.append([
                f"{name}, ordering {ordering}", duration(seconds),
                duration(statistics.median(seconds_of(runs[f"float32 {ordering}"]))),
                duration(statistics.median(seconds_of(runs[f"float64 {ordering}"]))),
                times(ratio_in_turns(best_numpy(runs, ordering), ours)), duration(limit), times(seconds / limit),
                duration(statistics.median(seconds_of(runs[f"program {ordering}"]))),
                f"{ours[-1]['peak_kib'] / 1024:.0f} / {best_numpy(runs, ordering)[-1]['peak_kib'] / 1024:.0f}",
                f"{mib(ours[-1]['read_bytes'])} / {mib(ours[-1]['written_bytes'])}"])
    return table(["recording", "`execute()`", "NumPy float32", "NumPy float64", "best NumPy / ours", "bound",
                  "ours / bound", "`workbench run`, whole program", "peak MiB, ours / NumPy", "MiB read / written"],
                 rows)


def same_job_table(results):
    rows = []
    for name, whole in results["whole"].items():
        agreement = whole["agreement"]
        after = whole["comparison"]["all"]
        rows.append([name, f"{agreement['correlation']:.12f}", f"{agreement['largest_difference']:.2g}",
                     f"{agreement['locked_power_before']:.0f}", f"{agreement['locked_power_after']:.2g}",
                     f"{after['locked_power_after']:.2g}", f"{after['artifact_db_removed']:.1f}"])
    return table(["recording", "correlation, ours and NumPy float64", "largest difference, uV",
                  "locked power before, uV^2", "after, NumPy", "after, ours", "artifact removed, ours, dB"], rows)


def steps_table(results):
    rows = []
    others = False
    for name, whole in results["whole"].items():
        for ordering, steps in whole["steps"].items():
            known = [steps.get(step) for step in STEPS]
            rest = steps["in all"] - sum(seconds for step, seconds in steps.items() if step != "in all")
            extra = sum(seconds for step, seconds in steps.items() if step not in STEPS + ("in all",))
            others = others or extra > 0
            rows.append([f"{name}, ordering {ordering}"] +
                        ["-" if seconds is None else f"{1e3 * seconds:.1f}" for seconds in known] +
                        [f"{1e3 * (rest + extra):.1f}", f"{1e3 * steps['in all']:.1f}"])
    return table(["recording"] + list(STEPS) + ["rest", "in all"], rows)


def bound_table(results):
    rows = []
    for name in results["whole"]:
        parts = bound(results, name)
        rows.append([name] + [duration(parts[part]) for part in ("gram", "eigen", "bytes", "in all")])
    rates = results["rates"]
    return (table(["recording", "products by OpenBLAS dgemm", "decompositions by LAPACK ssyevd",
                   "bytes through the page cache", "in all"], rows) +
            f"\n\nPage cache: read {rates['read'] / 1e9:.1f} GB/s, write to a new file {rates['new'] / 1e9:.1f} GB/s, "
            f"write over {rates['rewrite'] / 1e9:.1f} GB/s.")


def routines_table(results):
    rows = []
    for name, variants in results["routines"]["routines"].items():
        routine, size = name.split("/", 1)
        ours = variants["ours"]
        plain = variants["plain"]["seconds"]
        library = next((variant for variant in variants if variant.startswith("library:")), None)
        if ours["seconds"] is None:
            rows.append([f"`{routine}`", size, ours["error"], duration(plain), "-", "-", "-"])
            continue
        theirs = variants[library]["seconds"] if library else None
        rows.append([f"`{routine}`", size, duration(ours["seconds"]), duration(plain), times(plain / ours["seconds"]),
                     f"{duration(theirs)} ({library.removeprefix('library:')})" if library else "-",
                     times(theirs / ours["seconds"]) if library else "-"])
    return table(["routine", "size", "ours", "plain", "plain / ours", "library", "library / ours"], rows)


def growth_table(results):
    growth = results["growth"]
    rows = []
    for what in ("samples", "channels"):
        for ordering in (1, 2):
            seconds = [growth["seconds"][f"{what} x {factor}, {ordering}"] for factor in growth["factors"]]
            rows.append([f"{what}, ordering {ordering}"] +
                        [f"{duration(s)} ({times(s / seconds[0])})" for s in seconds])
    return table([growth["what"]] + [f"{factor}x" for factor in growth["factors"]], rows)


def memory_table(results):
    peaks = results["memory"]["peak_kib"]
    rows = [[f"ordering {ordering}"] + [f"{peaks[f'{length}, {ordering}'] / 1024:.1f}" for length in
                                        ("5 minutes", "2 hours")] for ordering in (1, 2)]
    return table(["peak MiB", "5 minutes", "2 hours"], rows)


def goals_table(results):
    whole = results["whole"]
    routines = results["routines"]["routines"]
    rows = []

    def add(what, goal, reached, value):
        rows.append([what, goal, value, "yes" if reached else "**no**"])

    for n in (50, 100):
        entry = routines[f"jacobi + eigsrt/{n}"]
        ratio = entry["plain"]["seconds"] / entry["ours"]["seconds"] if entry["ours"]["seconds"] else 0.0
        add(f"`jacobi`, N = {n}, against the plain definition", "at least 6x", ratio >= 6, times(ratio))
    for name, goal in (("A", 1.5), ("B", 2.0), ("C", 1.0)):
        ratio = ratio_in_turns(best_numpy(whole[name]["runs"], 1), whole[name]["runs"]["ours 1"])
        add(f"{name}, ordering 1, against the best NumPy variant", f"at least {goal:g}x", ratio >= goal, times(ratio))
    for name in whole:
        ratio = ratio_in_turns(whole[name]["runs"]["ours 2"], whole[name]["runs"]["ours 1"])
        add(f"{name}, time of ordering 2 against ordering 1", "at most 1.5x", ratio <= 1.5, times(ratio))
    for name in ("A", "B"):
        ratio = statistics.median(seconds_of(whole[name]["runs"]["ours 1"])) / bound(results, name)["in all"]
        add(f"{name}, ordering 1, against the bound", "at most 2x", ratio <= 2, times(ratio))
    for name, entry in routines.items():
        if name.startswith("Gram product") and entry["ours"]["seconds"]:
            ratio = entry["ours"]["seconds"] / entry["library:OpenBLAS dgemm"]["seconds"]
            add(f"fixed-order product, {name.split('/')[1]}, time against OpenBLAS", "at most 1.5x", ratio <= 1.5,
                times(ratio))
    growth = results["growth"]
    factor = growth["factors"][-1]
    for what in ("samples", "channels"):
        seconds = growth["seconds"]
        ratio = max(seconds[f"{what} x {factor}, {o}"] / seconds[f"{what} x 1, {o}"] for o in (1, 2))
        add(f"time with {factor} times the {what}, either ordering", "linear", ratio <= 1.1 * factor, times(ratio))
    peaks = results["memory"]["peak_kib"]
    apart = max(abs(peaks[f"2 hours, {o}"] - peaks[f"5 minutes, {o}"]) for o in (1, 2)) / 1024
    add("peak memory, 2 hours against 5 minutes", "within 5 MiB", apart <= 5, f"{apart:.1f} MiB")
    return table(["what", "goal", "measured", "reached"], rows)


def tables(results):
    recordings = "\n".join(f"- {whole['what']}" for whole in results["whole"].values())
    sections = [
        machine_line(results),
        "### Goals\n\n" + goals_table(results),
        "### Whole runs\n\n" + recordings + "\n\n" + whole_table(results),
        "The same job:\n\n" + same_job_table(results),
        "### Steps of a run, ms\n\n" + steps_table(results),
        "### The bound\n\n" + bound_table(results),
        "### Growth\n\n" + growth_table(results),
        "### Memory\n\n" + memory_table(results),
        "### Routines\n\n" + routines_table(results),
    ]
    return "\n\n".join(sections)


if __name__ == "__main__":
    with open(sys.argv[1], encoding="utf-8") as results_file:
        print(tables(json.load(results_file)))
