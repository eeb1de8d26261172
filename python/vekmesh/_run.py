"""One call's vkm_run: the progress callback (a callable, a tqdm bar, or none)
and cancelling, from the callback's answer or from Ctrl-C.

The C call runs with the GIL released (ctypes does that); the library calls
back on the calling thread at each progress mark, and the callback's non-zero
answer stops the operation at the next mark. An exception raised in the
callback (KeyboardInterrupt from Ctrl-C included) cancels the call and is
raised again when it returns, since ctypes cannot pass it through C.

Calls running at once from several Python threads share the cores: each one
asks for its share (cores divided by the calls in flight, at least one) when
it starts and again at each progress mark, so two threads repairing at once
do not run four OpenMP threads on two cores. A call alone uses what the
process would use anyway (OMP_NUM_THREADS, or every core)."""

import os
import threading

from . import _library
from .errors import check


def _core_count():
    try:
        cores = len(os.sched_getaffinity(0))
    except (AttributeError, OSError):
        cores = os.cpu_count() or 1
    try:
        cores = min(cores, int(os.environ.get("OMP_NUM_THREADS", "")))
    except ValueError:
        pass
    return max(1, cores)


class _CoreShare:
    """The calls of this package in flight, for sharing the cores out."""

    def __init__(self):
        self._lock = threading.Lock()
        self._calls = 0
        self._cores = _core_count()

    def enter(self):
        with self._lock:
            self._calls += 1

    def leave(self):
        with self._lock:
            self._calls -= 1

    def threads(self):
        """vkm_run.threads for a call now: 0 (the process's own setting)
        when it runs alone, else its share of the cores."""
        calls = self._calls
        return 0 if calls <= 1 else max(1, self._cores // calls)


_share = _CoreShare()


def _tqdm_bar():
    try:
        from tqdm import tqdm
    except ImportError:
        return None
    return tqdm(total=100, unit="%", leave=False)


class CallRun:
    """The vkm_run of one call; use as a context manager around the C call,
    then pass `pointer` and call `finish(status)`."""

    def __init__(self, progress):
        if progress is not None and progress is not True and not callable(progress):
            raise TypeError("progress must be a callable taking a percentage, True or None")
        self._progress = progress
        self._bar = None
        self._shown = 0
        self._raised = None
        self.run = _library.Run()
        # Always installed, so that Ctrl-C during a long call cancels it.
        self._callback = _library.PROGRESS(self._on_progress)
        self.run.progress = self._callback
        self.pointer = None

    def __enter__(self):
        if self._progress is True:
            self._bar = _tqdm_bar()
        _share.enter()
        self.run.threads = _share.threads()
        self.pointer = _library.ctypes.pointer(self.run)
        return self

    def __exit__(self, *exc):
        _share.leave()
        if self._bar is not None:
            self._bar.close()
        return False

    def _on_progress(self, percent, _user):
        self.run.threads = _share.threads()
        try:
            if self._bar is not None:
                self._bar.update(max(0, percent - self._shown))
                self._shown = max(self._shown, percent)
            elif callable(self._progress):
                return 1 if self._progress(percent) else 0
            return 0
        except BaseException as e:  # noqa: B036 - handed back after the C call
            self._raised = e
            return 1

    def finish(self, status):
        """Raises what the callback raised, or the status's exception."""
        if self._raised is not None:
            raised, self._raised = self._raised, None
            raise raised
        check(status, self.run)

