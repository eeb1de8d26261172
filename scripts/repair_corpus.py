#!/usr/bin/env python3
"""Runs `vekmesh repair` over the STL and OBJ files of the shared mesh corpus
(../shared/corpus beside the repository) and prints, per file and in total,
the census counts before and after, whether the result is watertight, the
volume change and the time; with admesh's full repair beside it when admesh is
installed. Each --mode runs the tool's repair once more with those extra
arguments, so that two of its pipelines can be set side by side.

  python3 scripts/repair_corpus.py [--tool PATH] [--corpus DIR] [--timeout S]
                                   [--mode=ARGS]... [--no-admesh] [--only TEXT]

for example --mode= --mode=--described to set the default pipeline beside the
exports' one (write --mode=ARGS when ARGS begin with a dash).

The census is the tool's own (`vekmesh --json`); admesh's output is counted by
`vekmesh --json info` on the file admesh wrote. A result is "worse" when it has
more open, non-manifold or mis-oriented edges, repeated-vertex or duplicate
faces or inside-out shells than the input. Times are whole processes (reading, repair,
both censuses, writing), one run each: a survey, not a benchmark.
"""
import argparse
import json
import os
import shlex
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
COUNTS = [("open_edges", "open"), ("non_manifold_edges", "non-mf"),
          ("misoriented_edges", "mis-or"), ("repeated_vertex_faces", "rep-v"),
          ("duplicate_faces", "dup"),
          ("inside_out_shells", "inside-out"), ("zero_volume_parts", "zero-vol")]
# Counts the repair must never raise; zero-volume parts are left out, since a
# repair may turn a sheet it cannot remove into one.
GUARDED = ["open_edges", "non_manifold_edges", "misoriented_edges",
           "repeated_vertex_faces", "duplicate_faces", "inside_out_shells"]
# Seconds one run may take; a peer has been seen to loop for ever on a file.
TIMEOUT = 120


def run_json(command):
    """(parsed JSON, seconds, error text) of a tool run."""
    start = time.monotonic()
    try:
        done = subprocess.run(command, capture_output=True, timeout=TIMEOUT)
    except subprocess.TimeoutExpired:
        return None, TIMEOUT, f"timed out after {TIMEOUT:g} s"
    seconds = time.monotonic() - start
    if done.returncode != 0:
        return None, seconds, (done.stderr.decode(errors="replace").strip() or
                               f"exit {done.returncode}")
    return json.loads(done.stdout), seconds, None


def outcome(before, after, seconds):
    """One result row's values: census before and after and what they say."""
    b, a = before["census"], after["census"]
    worse = [k for k in GUARDED if a[k] > b[k]]
    change = None
    if abs(before["volume"]) > 1e-12:
        change = (after["volume"] - before["volume"]) / abs(before["volume"])
    return {"before": b, "after": a, "faces": before["triangles"], "worse": worse,
            "watertight": a["watertight"], "watertight_before": b["watertight"],
            "printable": after["printable"], "volume_change": change, "seconds": seconds}


def ours(tool, path, extra, work):
    out = os.path.join(work, "ours.stl")
    data, seconds, error = run_json([tool, "--json", "repair", path, "-o", out] + extra)
    if error:
        return {"error": error}
    result = outcome(data["before"], data["after"], seconds)
    result["input"] = data["before"]  # for the peer's comparison
    return result


def admesh(tool, peer, path, before, work):
    out = os.path.join(work, "admesh.stl")
    start = time.monotonic()
    try:
        done = subprocess.run([peer, "-e", "-n", "-u", "-f", "-d", "-v", "-b", out, path],
                              capture_output=True, timeout=TIMEOUT)
    except subprocess.TimeoutExpired:
        return {"error": f"timed out after {TIMEOUT:g} s"}
    seconds = time.monotonic() - start
    if done.returncode != 0 or not os.path.exists(out):
        return {"error": f"admesh exit {done.returncode}"}
    data, _, error = run_json([tool, "--json", "info", out])
    if error:
        return {"error": "left no triangles" if "no triangles" in error else "output: " + error}
    return outcome(before, data["model"], seconds)


def cell(before, after):
    return f"{before}" if before == after else f"{before}>{after}"


def print_table(title, files, results):
    print(f"\n== {title}")
    header = f"{'file':54} {'faces':>7} " + " ".join(f"{n:>10}" for _, n in COUNTS)
    print(header + f" {'watertight':>10} {'volume':>8} {'time s':>7}  worse")
    for name, r in zip(files, results):
        if r is None:
            continue
        if "error" in r:
            print(f"{name:54} {r['error'][:80]}")
            continue
        counts = " ".join(f"{cell(r['before'][k], r['after'][k]):>10}" for k, _ in COUNTS)
        tight = f"{'yes' if r['watertight_before'] else 'no'}>{'yes' if r['watertight'] else 'no'}"
        change = "n/a" if r["volume_change"] is None else f"{100 * r['volume_change']:+.2f}%"
        print(f"{name:54} {r['faces']:>7} {counts} {tight:>10} {change:>8} "
              f"{r['seconds']:>7.2f}  {','.join(r['worse']) or '-'}")


def summarise(title, results):
    done = [r for r in results if r is not None and "error" not in r]
    if not done:
        return f"{title:36} no results"
    worse = sum(1 for r in done if r["worse"])
    tight = sum(1 for r in done if r["watertight"])
    tight_before = sum(1 for r in done if r["watertight_before"])
    printable = sum(1 for r in done if r["printable"])
    seconds = [r["seconds"] for r in done]
    errors = sum(1 for r in results if r is not None and "error" in r)
    return (f"{title:36} files {len(done):3}  made worse {worse:3}  watertight {tight_before:3} -> "
            f"{tight:3}  printable {printable:3}  errors {errors:2}  time total "
            f"{sum(seconds):7.2f} s, median {statistics.median(seconds):.3f} s")


def median_ratio(a, b):
    ratios = [x["seconds"] / y["seconds"] for x, y in zip(a, b)
              if x and y and "error" not in x and "error" not in y and y["seconds"] > 0]
    return statistics.median(ratios) if ratios else None


def main():
    global TIMEOUT
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--tool", default=os.path.join(ROOT, "build", "cli", "vekmesh"))
    parser.add_argument("--corpus", default=os.path.join(os.path.dirname(ROOT), "shared", "corpus"))
    parser.add_argument("--mode", action="append", default=None, metavar="ARGS",
                        help="extra arguments of `vekmesh repair` (repeat to compare modes; "
                             "default: one run with none)")
    parser.add_argument("--no-admesh", action="store_true", help="leave admesh out")
    parser.add_argument("--only", default="", help="only files whose path contains TEXT")
    parser.add_argument("--timeout", type=float, default=TIMEOUT,
                        help=f"seconds one run may take (default {TIMEOUT})")
    args = parser.parse_args()
    TIMEOUT = args.timeout

    if not os.path.isdir(args.corpus):
        print(f"repair_corpus: no corpus at {args.corpus}; nothing to do "
              f"(place it there or pass --corpus DIR)")
        return 0
    if not os.access(args.tool, os.X_OK):
        print(f"repair_corpus: no tool at {args.tool}; build it first "
              f"(cmake -S . -B build && cmake --build build --target vekmesh)", file=sys.stderr)
        return 1
    modes = args.mode if args.mode is not None else [""]
    peer = None if args.no_admesh else shutil.which("admesh")

    files = []
    for folder, _, names in os.walk(args.corpus):
        for name in names:
            path = os.path.join(folder, name)
            relative = os.path.relpath(path, args.corpus)
            if name.lower().endswith((".stl", ".obj")) and args.only in relative:
                files.append(relative)
    files.sort()
    print(f"corpus: {args.corpus} ({len(files)} STL and OBJ files)")
    print(f"tool:   {args.tool}; modes: " + ", ".join(repr(m) if m else "default" for m in modes))
    print("peer:   " + (f"{peer} -e -n -u -f -d -v (STL files only)" if peer
                        else "admesh not installed or left out"))

    tables = {f"vekmesh repair {m}".strip(): [] for m in modes}
    peer_results = []
    with tempfile.TemporaryDirectory() as work:
        for relative in files:
            path = os.path.join(args.corpus, relative)
            first = None
            for mode, results in zip(modes, tables.values()):
                results.append(ours(args.tool, path, shlex.split(mode), work))
                first = first or results[-1]
            if peer and relative.lower().endswith(".stl"):
                # Against the input's census as the tool's own load counts it.
                peer_results.append(None if "error" in first else
                                    admesh(args.tool, peer, path, first["input"], work))
            else:
                peer_results.append(None)
            print(".", end="", flush=True, file=sys.stderr)
    print(file=sys.stderr)

    for title, results in tables.items():
        print_table(title, files, results)
    if peer:
        print_table("admesh -e -n -u -f -d -v", files, peer_results)
    print("\n== totals (cells read before>after)")
    for title, results in tables.items():
        print(summarise(title, results))
    if peer:
        print(summarise("admesh", peer_results))
    names = list(tables)
    if len(names) >= 2:
        ratio = median_ratio(tables[names[1]], tables[names[0]])
        if ratio:
            print(f"median time ratio {names[1]} / {names[0]}: {ratio:.2f}")
    if peer:
        ratio = median_ratio(tables[names[0]], peer_results)
        if ratio:
            print(f"median time ratio {names[0]} / admesh (STL files): {ratio:.2f}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
