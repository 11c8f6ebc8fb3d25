# SPDX-License-Identifier: MIT
"""Keeps the lines that the library prints off the program's standard output.

The library prints through the C library's ``stdout``. With the GNU C library that is a variable: it is pointed at
/dev/null for the time of a call. Python's own output does not go that way, so that other threads can print meanwhile.
Other C libraries have no such variable; there the descriptor itself is redirected, and what other threads print
during a call of the library is lost with the library's lines.
"""

from __future__ import annotations

import contextlib
import ctypes
import functools
import os
import sys
import threading
from collections.abc import Callable, Iterator

_lock = threading.Lock()
_depth = 0  # calls under way, in all threads
_restore: Callable[[], None] | None = None  # undoes the redirection; set while _depth > 0


@functools.lru_cache(maxsize=None)
def _c_library() -> ctypes.CDLL:
    libc = ctypes.CDLL(None)
    libc.fflush.argtypes = [ctypes.c_void_p]
    libc.fopen.restype = ctypes.c_void_p
    return libc


@functools.lru_cache(maxsize=None)
def _nowhere() -> int:
    """A FILE of the C library that swallows what is written to it; open for the rest of the process."""
    file: int | None = _c_library().fopen(b"/dev/null", b"we")
    if not file:
        raise OSError("cannot open /dev/null")
    return file


def _has_assignable_stdout() -> bool:
    return hasattr(_c_library(), "gnu_get_libc_version")


def _redirect_variable() -> Callable[[], None]:
    stdout = ctypes.c_void_p.in_dll(_c_library(), "stdout")
    original, stdout.value = stdout.value, _nowhere()

    def restore() -> None:
        stdout.value = original

    return restore


def _redirect_descriptor() -> Callable[[], None]:
    libc = _c_library()
    with contextlib.suppress(AttributeError, ValueError, OSError):  # no sys.stdout, or closed
        sys.stdout.flush()
    libc.fflush(None)
    try:
        original = os.dup(1)
    except OSError:
        return lambda: None  # closed: nothing can appear on it
    nowhere = os.open(os.devnull, os.O_WRONLY | os.O_CLOEXEC)
    os.dup2(nowhere, 1)
    os.close(nowhere)

    def restore() -> None:
        libc.fflush(None)  # the library's lines may still wait in the C library's buffer
        os.dup2(original, 1)
        os.close(original)

    return restore


@contextlib.contextmanager
def quiet() -> Iterator[None]:
    """What the library prints within goes nowhere."""
    global _depth, _restore
    with _lock:
        if _depth == 0:
            _restore = _redirect_variable() if _has_assignable_stdout() else _redirect_descriptor()
        _depth += 1
    try:
        yield
    finally:
        with _lock:
            _depth -= 1
            if _depth == 0 and _restore is not None:
                _restore()
                _restore = None
