# SPDX-License-Identifier: MIT
"""Runs stack_probe, and leaves a test out, with ctest's code 77, where a tool is not installed."""

import subprocess
import sys

SKIPPED = 77


def leave_out(reason):
    print("skipped:", reason)
    sys.exit(SKIPPED)


try:
    import numpy
    import tifffile
except ImportError as missing:
    leave_out(f"{missing.name} is not installed for {sys.executable} (Debian: python3-tifffile)")


class Probe:
    def __init__(self, program, folder):
        self.program = program
        self.folder = folder

    def run(self, *words):
        words = [self.program, *map(str, words)]
        return subprocess.run(words, capture_output=True, text=True, errors="replace", check=False)

    def done(self, *words):
        """Standard output of a run that must succeed."""
        finished = self.run(*words)
        if finished.returncode != 0:
            raise AssertionError(finished.stderr)
        return finished.stdout

    def refused(self, *words):
        """The line of a run that must refuse."""
        finished = self.run(*words)
        assert finished.returncode == 1, finished
        assert finished.stdout == "", finished.stdout
        assert finished.stderr.count("\n") == 1, finished.stderr
        return finished.stderr

    def read(self, stack):
        """Header (list of words), samples and notes of a stack."""
        raw = self.folder / "samples.raw"
        finished = self.run("read", stack, raw)
        assert finished.returncode == 0, finished.stderr
        header = finished.stdout.split()
        width, height, planes = map(int, header[:3])
        samples = numpy.fromfile(raw, numpy.float32).reshape(planes, height, width)
        return header, samples, finished.stderr


def pattern(width, height, planes):
    """What stack_probe writes."""
    z, y, x = numpy.mgrid[:planes, :height, :width]
    return (z * 10000 + y * 100 + x + 0.25).astype(numpy.float32)
