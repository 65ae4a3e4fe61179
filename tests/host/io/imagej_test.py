# SPDX-License-Identifier: MIT
"""ImageJ opens rydecon's stacks and rydecon opens ImageJ's. Usage: imagej_test.py STACK_PROBE"""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

from probe import Probe, leave_out, numpy, pattern, tifffile

PROGRAM = sys.argv[1]
JAR = pathlib.Path(os.environ.get("IMAGEJ_JAR", "/usr/share/java/ij.jar"))

if not JAR.exists() or shutil.which("java") is None:
    leave_out("ImageJ is not installed (Debian: imagej)")
# ImageJ's macros open images through its menus, so it needs a display even in batch mode.
DISPLAY = [] if os.environ.get("DISPLAY") else ["xvfb-run", "-a"]
if DISPLAY and shutil.which("xvfb-run") is None:
    leave_out("there is no display and no xvfb-run (Debian: xvfb)")

SHOW = """
getVoxelSize(x, y, z, unit);
getDimensions(width, height, channels, slices, frames);
print("shape " + width + " " + height + " " + channels + " " + slices + " " + frames + " " + bitDepth());
print("voxel " + d2s(x, 6) + " " + d2s(y, 6) + " " + d2s(z, 6) + " " + unit);
"""

SHOW_CORNERS = """
for (k = 1; k <= nSlices; k++) {
    setSlice(k);
    print("corners " + getPixel(0, 0) + " " + getPixel(getWidth() - 1, 0) + " " +
          getPixel(getWidth() - 1, getHeight() - 1));
}
"""

SHOW_LAST = """
setSlice(nSlices);
print("last " + getPixel(getWidth() - 4, getHeight() - 1) + " " + getPixel(getWidth() - 1, getHeight() - 1));
"""


class ImageJ(unittest.TestCase):
    def setUp(self):
        holder = tempfile.TemporaryDirectory(prefix="rydecon_io_")
        self.addCleanup(holder.cleanup)
        self.folder = pathlib.Path(holder.name)
        self.probe = Probe(PROGRAM, self.folder)
        self.stack = self.folder / "stack.tif"

    def imagej(self, macro):
        script = self.folder / "macro.ijm"
        script.write_text("setBatchMode(true);\n" + macro)
        command = [*DISPLAY, "java", f"-Duser.home={self.folder}", "-Dfile.encoding=UTF-8", "-jar", str(JAR),
                   "-ijpath", str(self.folder), "-batch", str(script)]
        finished = subprocess.run(command, capture_output=True, text=True, timeout=300, check=True)
        return [line.split() for line in finished.stdout.splitlines() if line.strip()]

    def test_stack(self):
        self.probe.done("write", self.stack, 20, 33, 7, 0.065, 0.13, 0.3)
        lines = self.imagej(f'open("{self.stack}");\n' + SHOW + SHOW_CORNERS)
        self.assertEqual(lines[0], "shape 20 33 1 7 1 32".split())
        self.assertEqual(lines[1][:4], "voxel 0.065000 0.130000 0.300000".split())
        self.assertIn(lines[1][4], ("um", "micron", "\u00b5m"))
        expected = pattern(20, 33, 7)
        for k, line in enumerate(lines[2:]):
            corners = [expected[k, 0, 0], expected[k, 0, -1], expected[k, -1, -1]]
            self.assertEqual([float(word) for word in line[1:]], corners)
        self.assertEqual(len(lines), 2 + 7)

    def test_one_plane(self):
        self.probe.done("write", self.stack, 20, 33, 1, 0.1, 0.1, "-")
        lines = self.imagej(f'open("{self.stack}");\n' + SHOW + SHOW_CORNERS)
        self.assertEqual(lines[0], "shape 20 33 1 1 1 32".split())
        self.assertEqual(lines[1][:3], "voxel 0.100000 0.100000".split())
        self.assertEqual([float(word) for word in lines[2][1:]], [0.25, 19.25, 3219.25])

    def test_above_4_gibibytes(self):
        words = self.probe.run("sparse", self.stack, 1100, 1000, 1200)
        if words.returncode != 0:
            self.skipTest("no sparse file of this size here")
        lines = self.imagej(f'run("TIFF Virtual Stack...", "open=[{self.stack}]");\n' + SHOW + SHOW_LAST)
        self.assertEqual(lines[0], "shape 1100 1000 1 1200 1 32".split())
        self.assertEqual([float(word) for word in lines[-1][1:]], [1, 4])

    def test_stacks_that_imagej_saves(self):
        macro = ('newImage("s", "{bits}-bit ramp", 20, 33, 5);\n'
                 'run("Properties...", "channels=1 slices=5 frames=1 unit={unit} pixel_width=0.08 '
                 'pixel_height=0.08 voxel_depth=0.25");\nsetSlice(4); setPixel(3, 2, 77);\n{more}saveAs("Tiff", "{path}");\n')
        green = 'run("Green");\n'
        for bits, name, unit, more in ((8, "uint8", "um", ""), (8, "uint8", "micron", green),
                                       (16, "uint16", "micron", ""), (32, "float32", "um", "")):
            with self.subTest(bits=bits, unit=unit, more=more):
                self.imagej(macro.format(bits=bits, unit=unit, more=more, path=self.stack))
                header, samples, _ = self.probe.read(self.stack)
                self.assertEqual(header, f"20 33 5 {name} 0.080000 0.080000 0.250000".split())
                self.assertEqual(samples[3, 2, 3], 77)
                numpy.testing.assert_array_equal(samples, tifffile.imread(self.stack).astype(numpy.float32))

    def test_imagej_times_are_refused(self):
        self.imagej('newImage("s", "16-bit ramp", 20, 33, 6);\n'
                    'run("Properties...", "channels=1 slices=2 frames=3");\n' f'saveAs("Tiff", "{self.stack}");\n')
        self.assertIn("3 time point(s)", self.probe.refused("last", self.stack))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
