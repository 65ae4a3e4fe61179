# SPDX-License-Identifier: MIT
"""A disk that runs full is told in one line and leaves no file behind. Usage: full_disk_test.py STACK_PROBE"""

import pathlib
import subprocess
import sys
import tempfile

from probe import leave_out

ONE_MEGABYTE_DISK = """
mount -t tmpfs -o size=1m none "$1" || exit 77
"$2" bytes "$1/bytes" 3000000; echo "code $?"
"$2" write "$1/stack.tif" 500 500 5 - - -; echo "code $?"
ls -A "$1"
"$2" write "$1/small.tif" 50 50 5 - - -; echo "code $?"
ls -A "$1"
"""

with tempfile.TemporaryDirectory(prefix="rydecon_io_") as folder:
    disk = pathlib.Path(folder)
    # A name space of one's own, where no privilege is needed to mount the small disk.
    command = ["unshare", "--user", "--map-root-user", "--mount", "sh", "-c", ONE_MEGABYTE_DISK, "sh", folder,
               sys.argv[1]]
    try:
        finished = subprocess.run(command, capture_output=True, text=True, check=False)
    except FileNotFoundError:
        leave_out("there is no unshare to mount a small disk with")
    if finished.returncode == 77 or "unshare" in finished.stderr:
        leave_out("no small disk can be mounted here: " + finished.stderr.strip())
    assert finished.stdout.split("\n") == ["code 1", "code 1", "code 0", "small.tif", ""], finished
    lines = finished.stderr.splitlines()
    assert len(lines) == 2, lines
    for line, name in zip(lines, ("bytes", "stack.tif")):
        assert f"cannot write '{disk / name}': no space left on device; make room" in line, line
