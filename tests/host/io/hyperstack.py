# SPDX-License-Identifier: MIT
"""What the tests of stacks with channels and times share."""

import pathlib
import sys
import tempfile
import unittest

from probe import Probe, numpy

PROGRAM = sys.argv[1]
SHAPE = (3, 4, 2, 5, 6)  # T Z C Y X
NAMESPACE = "{http://www.openmicroscopy.org/Schemas/OME/2016-06}"


def samples_of(name, shape=SHAPE):
    return numpy.arange(numpy.prod(shape)).astype(name).reshape(shape)


class FolderTest(unittest.TestCase):
    def setUp(self):
        holder = tempfile.TemporaryDirectory(prefix="rydecon_io_")
        self.addCleanup(holder.cleanup)
        self.folder = pathlib.Path(holder.name)
        self.probe = Probe(PROGRAM, self.folder)
        self.stack = self.folder / "stack.tif"

    def read(self, path):
        """What is told, by the first words of the lines, and the samples as T Z C Y X."""
        raw = self.folder / "samples.raw"
        finished = self.probe.run("any", path, raw)
        self.assertEqual(finished.returncode, 0, finished.stderr)
        told = {}
        for line in finished.stdout.splitlines():
            word, _, rest = line.partition(" ")
            told.setdefault(word, []).append(rest)
        width, height, slices, channels, times = map(int, told["shape"][0].split()[:5])
        samples = numpy.fromfile(raw, numpy.float32).reshape(times, slices, channels, height, width)
        return told, samples

    def expect(self, path, samples, **told):
        found, read = self.read(path)
        numpy.testing.assert_array_equal(read, samples.astype(numpy.float32))
        for word, lines in told.items():
            self.assertEqual(found[word], [lines] if isinstance(lines, str) else lines)

    def refused(self, *words):
        line = self.probe.refused("any", self.stack, self.folder / "o.raw")
        for word in words:
            self.assertIn(word, line)
