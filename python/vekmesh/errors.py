"""The exceptions of the vekmesh package and the mapping from the C
interface's status codes onto them."""

from . import _library


class VekmeshError(RuntimeError):
    """A failure inside the library."""


class Cancelled(VekmeshError):
    """The progress callback asked to stop (or Ctrl-C was pressed)."""


class FileError(VekmeshError, OSError):
    """A model file could not be read or written."""


def check(status, run=None):
    """Raises the exception of a non-zero status, with the call's message."""
    if status == _library.OK:
        return
    message = run.message.decode("utf-8", "replace") if run is not None else ""
    if not message:
        message = _library.lib.vkm_status_message(status).decode()
    if status in (_library.INVALID_ARGUMENT, _library.EMPTY_RESULT):
        raise ValueError(message)
    if status == _library.CANCELLED:
        raise Cancelled(message)
    if status == _library.OUT_OF_MEMORY:
        raise MemoryError(message)
    if status == _library.FILE_ERROR:
        raise FileError(message)
    if status == _library.NOT_AVAILABLE:
        raise NotImplementedError(message)
    raise VekmeshError(message)
