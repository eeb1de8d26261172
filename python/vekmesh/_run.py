"""One call's vkm_run: the progress callback (a callable, a tqdm bar, or none)
and cancelling, from the callback's answer or from Ctrl-C.

The C call runs with the GIL released (ctypes does that); the library calls
back on the calling thread at each progress mark, and about ten times a second
with the same percentage during long steps between marks, and the callback's
non-zero answer stops the operation at the next mark or step. An exception
raised in the callback (KeyboardInterrupt from Ctrl-C included) cancels the
call and is raised again when it returns, since ctypes cannot pass it
through C."""

import threading

from . import _library
from .errors import check

_thread_setting = threading.local()


def set_threads(count):
    """Cores the library's parallel loops may use in calls made from the
    calling Python thread: 0 (the default) for every core (or
    OMP_NUM_THREADS), or a count. Results never depend on it. Python threads
    that each work on their own mesh at the same time run best with one core
    each (``vekmesh.set_threads(1)`` at the start of each thread): the calls
    then share the cores instead of contending for them."""
    if isinstance(count, bool) or not isinstance(count, int):
        raise TypeError("the thread count must be an int")
    if count < 0:
        raise ValueError("the thread count must be 0 (every core) or more")
    _thread_setting.count = min(count, 2**31 - 1)


def get_threads():
    """The calling Python thread's setting of set_threads (0 when unset)."""
    return getattr(_thread_setting, "count", 0)


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
        self.run.threads = get_threads()
        # Always installed, so that Ctrl-C during a long call cancels it.
        self._callback = _library.PROGRESS(self._on_progress)
        self.run.progress = self._callback
        self.pointer = None

    def __enter__(self):
        if self._progress is True:
            self._bar = _tqdm_bar()
        self.pointer = _library.ctypes.pointer(self.run)
        return self

    def __exit__(self, *exc):
        if self._bar is not None:
            self._bar.close()
        return False

    def _on_progress(self, percent, _user):
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

