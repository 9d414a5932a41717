"""Runs inside the sandbox: tries to change every file, folder and device that it sees, and prints what it could change
outside the unit's own trees. It changes nothing: a file is opened for writing, its mode is set to what it is, and a
folder gets an entry that is taken away again. Trees of programs, a mount each, are looked at three folders deep."""

import os
import stat

UNIT = ("/tolvane", "/media/ram", "/root", "/etc/network", "/run/unit", "/dev/ttyS0")
PRIVATE = {os.stat(path).st_dev for path in ("/", "/tmp", "/dev", "/dev/pts", "/dev/shm")}  # in memory, gone with us
PROBE = "sandbox-probe"
DEPTH = 3


def succeeds(function, *words):
    try:
        result = function(*words)
    except OSError:
        return False
    if isinstance(result, int) and function is os.open:
        os.close(result)
    return True


def changes(path):
    """What could be changed of `path`, which may be a link to something that has no other name here."""
    try:
        found = os.stat(path)
    except OSError:
        return
    if found.st_dev in PRIVATE or stat.S_ISFIFO(found.st_mode) or stat.S_ISSOCK(found.st_mode):
        return
    if succeeds(os.chmod, path, stat.S_IMODE(found.st_mode)):
        yield f"mode of {path}"
    if stat.S_ISREG(found.st_mode) and succeeds(os.open, path, os.O_WRONLY | os.O_NONBLOCK):
        yield f"contents of {path}"
    if stat.S_ISDIR(found.st_mode) and succeeds(os.mkdir, f"{path}/{PROBE}"):
        os.rmdir(f"{path}/{PROBE}")
        yield f"entries of {path}"


def everything():
    """All that has a name here, each folder once, and what the links of /proc lead to."""
    for folder, folders, files in os.walk("/"):
        folders[:] = [name for name in folders if os.path.join(folder, name) not in UNIT]
        if folder.count("/") >= DEPTH and not folder.startswith("/proc"):
            folders.clear()
        yield folder
        for name in [*folders, *files]:
            path = os.path.join(folder, name)
            if not os.path.islink(path) or path.startswith("/proc"):
                yield path


def main():
    tried = 0
    for path in everything():
        if path not in UNIT:
            tried += 1
            for change in changes(path):
                print(change)
    print(f"tried {tried}")


main()
