"""Progress, cancelling (from the callback and from an exception in it) and
two threads working at once, each on one core and getting its own result."""

import os
import subprocess
import sys
import threading

import numpy as np
import pytest

import vekmesh
from conftest import broken_sphere, sphere, triangle_set


def test_progress_runs_from_0_to_100():
    seen = []
    vekmesh.repair(broken_sphere(), progress=seen.append)
    assert seen[0] == 0 and seen[-1] == 100 and len(seen) > 3
    assert all(0 <= p <= 100 for p in seen)


@pytest.mark.parametrize("stop_at", [0, 30, 60])
def test_cancel_from_the_callback(stop_at):
    seen = []

    def stop(percent):
        seen.append(percent)
        return percent >= stop_at

    with pytest.raises(vekmesh.Cancelled):
        vekmesh.repair(broken_sphere(), progress=stop)
    # Nothing is reported after the answer that cancelled.
    assert seen[-1] >= stop_at and sum(p >= stop_at for p in seen) == 1
    # The library is not left in a state: the same call succeeds after.
    assert vekmesh.census(vekmesh.repair(broken_sphere())).printable


def test_an_exception_in_the_callback_cancels_and_comes_back():
    class Interrupt(Exception):
        pass

    def interrupt(percent):
        if percent > 0:
            raise Interrupt()

    with pytest.raises(Interrupt):
        vekmesh.repair(broken_sphere(), progress=interrupt)
    with pytest.raises(KeyboardInterrupt):
        vekmesh.reduce(broken_sphere(), progress=lambda p: (_ for _ in ()).throw(
            KeyboardInterrupt()))


def test_two_threads_repair_two_meshes_at_once():
    meshes = [broken_sphere(60, 80, seed=1), broken_sphere(50, 90, seed=2)]
    alone = [vekmesh.repair(m) for m in meshes]
    results = [None, None]
    # Both threads are inside the library together: each waits at its first
    # progress mark until the other has arrived.
    barrier = threading.Barrier(2, timeout=30)
    arrived = [False, False]

    def work(i):
        def meet(percent):
            if not arrived[i]:
                arrived[i] = True
                barrier.wait()
        # One core each, as threads working at once should: the setting is
        # the thread's own and changes no result.
        vekmesh.set_threads(1)
        assert vekmesh.get_threads() == 1
        results[i] = vekmesh.repair(meshes[i], progress=meet)

    threads = [threading.Thread(target=work, args=(i,)) for i in range(2)]
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    for i in range(2):
        assert np.array_equal(results[i].triangles, alone[i].triangles)
    assert triangle_set(results[0]) != triangle_set(results[1])
    assert vekmesh.get_threads() == 0


def test_thread_counts_are_checked():
    with pytest.raises(ValueError):
        vekmesh.set_threads(-1)
    for wrong in (1.5, "2", True, None):
        with pytest.raises(TypeError):
            vekmesh.set_threads(wrong)
    assert vekmesh.get_threads() == 0


def test_ctrl_c_during_a_call_cancels_it(tmp_path):
    # SIGINT arrives while the library works (sent from the first progress
    # mark): the call stops at the next mark and KeyboardInterrupt comes out.
    script = tmp_path / "interrupted.py"
    script.write_text(
        "import os, signal, sys\n"
        "sys.path.insert(0, %r)\n"
        "import vekmesh\n"
        "from conftest import broken_sphere\n"
        "marks = []\n"
        "def mark(percent):\n"
        "    marks.append(percent)\n"
        "    if len(marks) == 1:\n"
        "        os.kill(os.getpid(), signal.SIGINT)\n"
        "try:\n"
        "    vekmesh.repair(broken_sphere(), progress=mark)\n"
        "except KeyboardInterrupt:\n"
        "    print('interrupted after', len(marks))\n" % os.path.dirname(__file__))
    result = subprocess.run([sys.executable, str(script)], capture_output=True, text=True,
                            timeout=60)
    assert result.returncode == 0, result.stderr
    assert result.stdout.strip() == "interrupted after 1"


@pytest.mark.parametrize("operation", ["weak_sections", "hollow", "voxelize", "reduce",
                                       "subdivide", "remesh", "orient", "separate"])
def test_every_operation_can_be_cancelled(operation):
    # Some report from inside their parallel work; a cancel there must come
    # back as Cancelled like any other.
    mesh = sphere(30, 40, radius=20)
    seen = []

    def stop(percent):
        seen.append(percent)
        return percent > 0

    with pytest.raises(vekmesh.Cancelled):
        getattr(vekmesh, operation)(mesh, progress=stop)
    assert seen and seen[-1] > 0
