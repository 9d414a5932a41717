"""Files that results go to. One that cannot be written is noticed before a measurement, and one that stood there before
stays as it was until the new one is whole."""

import contextlib
import os
import stat
import tempfile
from collections.abc import Callable
from pathlib import Path

STREAMS = ("/dev/stdout", "/dev/stderr", "/dev/fd", "/proc")


class FileError(Exception):
    """Files that could not be written, and why, in one line."""


def _explain(path: Path, error: OSError) -> str:
    return f"{path}: {error.strerror or error}"


def _is_special(path: Path) -> bool:
    """A device, a pipe or an open file: written as it is, not replaced."""
    if any(path.is_relative_to(stream) for stream in STREAMS):
        return True
    try:
        return not stat.S_ISREG(path.stat().st_mode) and not path.is_dir()
    except OSError:
        return False


@contextlib.contextmanager
def _draft_of(target: Path):
    """A file beside the target, gone at the end unless it has taken another name. An interruption at any moment stays
    one: to find no draft any more is no failure."""
    handle, name = tempfile.mkstemp(dir=target.parent, prefix=f".{target.name}.")
    try:
        with open(handle, "wb") as file:
            yield file, name
    finally:
        Path(name).unlink(missing_ok=True)


def check(paths: list[Path | None]) -> None:
    """Raises FileError for the first path that cannot be written. Leaves nothing behind."""
    given = [path for path in paths if path is not None]
    for path in given:
        if sum(path.resolve() == other.resolve() for other in given) > 1 and not _is_special(path):
            raise FileError(f"{path} is named for two results")
        if _is_special(path):
            if not os.access(path, os.W_OK):
                raise FileError(f"{path}: no permission to write")
            continue
        try:
            if path.exists():
                with open(path, "ab"):
                    pass
            with _draft_of(path.resolve()):
                pass  # the new file needs room beside the old one
        except OSError as error:
            raise FileError(_explain(path, error)) from error


def _replace(path: Path, content: bytes) -> None:
    if _is_special(path):
        path.write_bytes(content)
        return
    target = path.resolve()  # a link stays one
    mode = stat.S_IMODE(target.stat().st_mode) if target.exists() else 0o666 & ~_umask()
    with _draft_of(target) as (draft, name):
        draft.write(content)
        draft.flush()
        os.fchmod(draft.fileno(), mode)
        os.replace(name, target)


def _umask() -> int:
    mask = os.umask(0)
    os.umask(mask)
    return mask


def write(files: list[tuple[Path | None, Callable[[], bytes]]]) -> tuple[list[Path], FileError | None]:
    """Writes what each maker gives, also when one before it could not be written. Returns the paths that were, and what
    there is to say of the others."""
    written, failed = [], []
    for path, make in files:
        if path is None:
            continue
        try:
            _replace(path, make())
            written.append(path)
        except OSError as error:
            failed.append((path, error))
    return written, FileError("; ".join(_explain(*failure) for failure in failed)) if failed else None
