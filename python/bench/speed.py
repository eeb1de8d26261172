"""Speed of the Python package against its C calls, on a broken sphere of
about a million triangles (holes, turned faces, duplicates; built in numpy).

1. Overhead: `vekmesh.repair(mesh)` against the C calls it makes, timed
   through ctypes with no wrapper around them: vkm_mesh_from_arrays,
   vkm_repair (thorough, no callback) and vkm_mesh_copy_out of the corners
   into an array made (and its pages touched) before the timer starts. The
   Python side adds argument checks, the progress callback, the result arrays
   and the Mesh. Sides alternate in one run; medians and the median of the
   paired ratios. Since a repair's own time varies by several per cent from
   run to run on a shared machine, the Python side's own time is also taken
   within each call: the call's whole time against the time spent inside the
   library's functions during it (the result array's first-touch page faults
   fall inside, as they would for a C host writing into fresh memory).
2. Threads: two threads repairing two different meshes at once against the
   same two repairs one after the other (wall time, alternated, medians),
   and the floor the machine puts under that ratio: when a repair alone
   already uses every core, doing two at once cannot gain much.
3. The machine's share (--control): one process repairing alone against two
   processes repairing at once, per repair. On a machine with two free cores
   the second figure matches the first; what the machine does not give, the
   threads of 2 cannot get either.

Usage: VEKMESH_LIBRARY=build-bench/libvekmesh.so PYTHONPATH=python \\
       /usr/bin/python3 python/bench/speed.py [--triangles N] [--rounds R]
       [--threads-per-call N] [--control]
--threads-per-call 1 gives every call one core (vekmesh.set_threads(1) in each
thread), as threads that work at once should; the default lets each call use
every core, and then the floor below says how little two at once can gain."""

import argparse
import ctypes
import os
import statistics
import subprocess
import sys
import threading
import time

import numpy as np

import vekmesh
from vekmesh import _library


def broken_sphere(target, seed):
    """A UV sphere of about `target` triangles with 0.1 % of its faces
    removed in pairs (holes), 0.1 % turned over and 0.1 % listed twice, in
    shuffled order."""
    stacks = max(4, int(np.sqrt(target / 4)))
    slices = 2 * stacks
    phi = np.pi * np.arange(1, stacks) / stacks
    theta = 2 * np.pi * np.arange(slices) / slices
    ring = np.stack([np.outer(np.sin(phi), np.cos(theta)), np.outer(np.sin(phi), np.sin(theta)),
                     np.repeat(np.cos(phi)[:, None], slices, axis=1)], axis=2).reshape(-1, 3)
    v = np.concatenate([[[0, 0, 1]], ring, [[0, 0, -1]]]).astype(np.float32) * 50
    j = np.arange(slices)
    k = (j + 1) % slices
    a = 1 + np.arange(stacks - 2)[:, None] * slices
    b = a + slices
    quads = np.stack([np.stack([a + j, b + j, b + k], -1), np.stack([a + j, b + k, a + k], -1)],
                     axis=2).reshape(-1, 3)
    last = 1 + (stacks - 2) * slices
    f = np.concatenate([np.stack([np.zeros(slices, int), 1 + j, 1 + k], -1), quads,
                        np.stack([np.full(slices, len(v) - 1), last + k, last + j], -1)])
    rng = np.random.default_rng(seed)
    n = len(f)
    pairs = rng.choice(np.arange(slices, n - slices, 2), n // 2000, replace=False)
    f = np.delete(f, np.concatenate([pairs, pairs + 1]), axis=0)
    turned = rng.choice(len(f), len(f) // 1000, replace=False)
    f[turned] = f[turned][:, ::-1]
    f = np.concatenate([f, f[rng.choice(len(f), len(f) // 1000, replace=False)]])
    return vekmesh.Mesh(v[f[rng.permutation(len(f))]])


def c_repair(mesh, out, threads=None):
    lib = _library.lib
    handle = ctypes.c_void_p()
    run = _library.Run()
    run.threads = vekmesh.get_threads() if threads is None else threads
    start = time.perf_counter()
    status = lib.vkm_mesh_from_arrays(mesh.triangles.ctypes.data, None, None, None, len(mesh),
                                      ctypes.byref(handle))
    status = status or lib.vkm_repair(handle, None, ctypes.byref(run), None)
    n = lib.vkm_mesh_triangle_count(handle)
    status = status or lib.vkm_mesh_copy_out(handle, out.ctypes.data, None, None, None,
                                             len(out) // 9)
    elapsed = time.perf_counter() - start
    lib.vkm_mesh_free(handle)
    assert status == 0 and n > 0
    return elapsed


class _TimedLibrary:
    """The library with every function call's time added to `inside`."""

    def __init__(self, lib):
        self._lib = lib
        self.inside = 0.0

    def __getattr__(self, name):
        function = getattr(self._lib, name)

        def timed(*args):
            start = time.perf_counter()
            try:
                return function(*args)
            finally:
                self.inside += time.perf_counter() - start

        return timed


def own_share(mesh):
    """The Python side's own time in one vekmesh.repair call, as a fraction
    of the time spent in the library during it."""
    real = _library.lib
    timed = _TimedLibrary(real)
    _library.lib = vekmesh.operations._lib = timed
    try:
        start = time.perf_counter()
        vekmesh.repair(mesh)
        total = time.perf_counter() - start
    finally:
        _library.lib = vekmesh.operations._lib = real
    return (total - timed.inside) / timed.inside, total - timed.inside


def py_repair(mesh):
    start = time.perf_counter()
    repaired = vekmesh.repair(mesh)
    elapsed = time.perf_counter() - start
    assert len(repaired) > 0
    return elapsed


def together(meshes):
    setting = vekmesh.get_threads()

    def work(mesh):
        vekmesh.set_threads(setting)  # each thread's own, as the main thread's
        vekmesh.repair(mesh)

    threads = [threading.Thread(target=work, args=(m,)) for m in meshes]
    start = time.perf_counter()
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    return time.perf_counter() - start


def one_after_other(meshes):
    start = time.perf_counter()
    for m in meshes:
        vekmesh.repair(m)
    return time.perf_counter() - start


def alternate(rounds, first, second):
    """Runs the two sides alternately (the order flipping each round)."""
    a, b = [], []
    for r in range(rounds):
        if r % 2:
            b.append(second())
            a.append(first())
        else:
            a.append(first())
            b.append(second())
    return a, b


def control(args):
    """Per-repair medians of one process alone and of two at once."""
    child = [sys.executable, __file__, "--child", "--triangles", str(args.triangles),
             "--rounds", str(args.rounds)]

    def run(count):
        processes = [subprocess.Popen(child + ["--seed", str(i + 1)], stdout=subprocess.PIPE,
                                      text=True) for i in range(count)]
        return [float(p.communicate()[0]) for p in processes]

    alone = run(1)[0]
    both = run(2)
    print("control: one process %.1f ms per repair; two processes at once %.1f and %.1f ms"
          % (alone, both[0], both[1]))


def child(args):
    mesh = broken_sphere(args.triangles, args.seed)
    out = np.empty(9 * 2 * len(mesh), np.float32)
    c_repair(mesh, out)
    # Both children wait for their meshes to be built before timing.
    time.sleep(3.0)
    print(1e3 * statistics.median(c_repair(mesh, out) for _ in range(args.rounds)))


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--triangles", type=int, default=1_000_000)
    parser.add_argument("--rounds", type=int, default=7)
    parser.add_argument("--threads-per-call", type=int, default=0,
                        help="vekmesh.set_threads in every thread (0: every core)")
    parser.add_argument("--control", action="store_true",
                        help="only the machine's share: one process against two")
    parser.add_argument("--child", action="store_true", help=argparse.SUPPRESS)
    parser.add_argument("--seed", type=int, default=1, help=argparse.SUPPRESS)
    args = parser.parse_args()
    if args.child:
        return child(args)
    if args.control:
        return control(args)
    vekmesh.set_threads(args.threads_per_call)
    meshes = [broken_sphere(args.triangles, seed) for seed in (1, 2)]
    print("meshes: %d and %d triangles; OMP_NUM_THREADS=%s; threads per call %s; load %s"
          % (len(meshes[0]), len(meshes[1]), os.environ.get("OMP_NUM_THREADS", "(unset)"),
             args.threads_per_call or "(every core)",
             " ".join(open("/proc/loadavg").read().split()[:3])))
    out = np.empty(9 * 2 * len(meshes[0]), np.float32)
    c_repair(meshes[0], out)  # warm: page faults of the first large allocations
    c, py = alternate(args.rounds, lambda: c_repair(meshes[0], out),
                      lambda: py_repair(meshes[0]))
    ratios = [p / q for p, q in zip(py, c)]
    print("repair, C calls      : median %.1f ms" % (1e3 * statistics.median(c)))
    print("repair, vekmesh.repair: median %.1f ms" % (1e3 * statistics.median(py)))
    print("Python overhead      : %+.2f %% (median of paired ratios), %+.1f ms (medians)"
          % (100 * (statistics.median(ratios) - 1),
             1e3 * (statistics.median(py) - statistics.median(c))))
    shares = [own_share(meshes[0]) for _ in range(args.rounds)]
    print("Python's own time    : %+.2f %% of the library's time in the same call (median; "
          "range %+.2f..%+.2f %%), %.1f ms"
          % (100 * statistics.median(s for s, _ in shares), 100 * min(s for s, _ in shares),
             100 * max(s for s, _ in shares), 1e3 * statistics.median(ms for _, ms in shares)))
    both, apart = alternate(args.rounds, lambda: together(meshes),
                            lambda: one_after_other(meshes))
    print("two meshes, 2 threads: median %.1f ms" % (1e3 * statistics.median(both)))
    print("two meshes, in turn  : median %.1f ms" % (1e3 * statistics.median(apart)))
    print("threads / in turn    : %.2f (median of paired ratios)"
          % statistics.median([p / q for p, q in zip(both, apart)]))
    # In turn, each repair already has the threads the process allows (time
    # t); at once, the two cannot finish before their work (about two repairs
    # on one thread, 2 t1) is spread over the cores, nor before one repair's
    # own time: the ratio's floor is max(2 t1 / cores, t) / (2 t).
    single, full = alternate(args.rounds, lambda: c_repair(meshes[0], out, threads=1),
                             lambda: c_repair(meshes[0], out))
    t1, t = statistics.median(single), statistics.median(full)
    cores = len(os.sched_getaffinity(0))
    print("floor of that ratio  : %.2f (a repair on one thread %.1f ms, on the run's threads"
          " %.1f ms; %d cores)" % (max(2 * t1 / cores, t) / (2 * t), 1e3 * t1, 1e3 * t, cores))


if __name__ == "__main__":
    main()
