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


SHOW_HYPERSTACK = """
Stack.getDisplayMode(mode);
print("hyperstack " + Stack.isHyperstack + " " + mode);
Stack.getUnits(ux, uy, uz, ut, uv);
print("time " + Stack.getFrameInterval() + " " + ut);
getDimensions(w, h, channels, slices, frames);
for (t = 1; t <= frames; t++) for (z = 1; z <= slices; z++) for (c = 1; c <= channels; c++) {
    Stack.setPosition(c, z, t);
    print("plane " + c + " " + z + " " + t + " " + getPixel(0, 0) + " " + getPixel(w - 1, h - 1));
}
for (c = 1; c <= channels; c++) {
    Stack.setChannel(c);
    getLut(reds, greens, blues);
    print("table " + c + " " + reds[255] + " " + greens[255] + " " + blues[255] + " " +
          getInfo("slice.label"));
}
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

    def test_hyperstacks(self):
        """Written by rydecon, from a stack of three times, four slices and two channels."""
        samples = (numpy.arange(3 * 4 * 2 * 33 * 20) % 251).reshape(3, 4, 2, 33, 20)
        ramp = numpy.arange(256, dtype=numpy.uint8)
        tables = [numpy.array([0 * ramp, ramp, 0 * ramp]), numpy.array([ramp, 0 * ramp, ramp])]
        source = self.folder / "source.tif"
        tifffile.imwrite(source, samples.astype(numpy.float32), imagej=True, resolution=(10, 5),
                         metadata={"axes": "TZCYX", "spacing": 0.3, "unit": "um", "finterval": 2.5,
                                   "LUTs": tables, "Labels": ["nuclei", "actin"] * 12})
        for bits, name in ((8, "uint8"), (16, "uint16"), (32, "float32")):
            with self.subTest(bits=bits):
                self.stack.unlink(missing_ok=True)
                self.probe.done("copy", source, self.stack, f"type={name}")
                lines = self.imagej(f'open("{self.stack}");\n' + SHOW + SHOW_HYPERSTACK)
                self.assertEqual(lines[0], f"shape 20 33 2 4 3 {bits}".split())
                self.assertEqual(lines[1][:4], "voxel 0.100000 0.200000 0.300000".split())
                self.assertEqual(lines[2], "hyperstack 1 composite".split())
                self.assertEqual(lines[3], "time 2.5 sec".split())
                planes = [line for line in lines if line[0] == "plane"]
                self.assertEqual(len(planes), 24)
                for _, c, z, t, first, last in planes:
                    plane = samples[int(t) - 1, int(z) - 1, int(c) - 1]
                    self.assertEqual([float(first), float(last)], [plane[0, 0], plane[-1, -1]])
                self.assertIn("table 1 0 255 0 nuclei".split(), lines)
                self.assertIn("table 2 255 0 255 actin".split(), lines)

    def test_ome_stacks_open(self):
        """ImageJ without further readers takes an OME-TIFF for a stack of pages, and its pixel size from the tags."""
        samples = (numpy.arange(4 * 33 * 20) % 251).reshape(4, 33, 20)
        source, target = self.folder / "source.tif", self.folder / "out.ome.tif"
        tifffile.imwrite(source, samples.astype(numpy.float32), imagej=True, resolution=(10, 10),
                         metadata={"axes": "ZYX", "spacing": 0.3, "unit": "um"})
        for bits, name in ((8, "uint8"), (16, "uint16"), (32, "float32")):
            target.unlink(missing_ok=True)
            self.probe.done("copy", source, target, f"type={name}")
            lines = self.imagej(f'open("{target}");\n' + SHOW + SHOW_CORNERS)
            self.assertEqual(lines[0], f"shape 20 33 1 4 1 {bits}".split())
            size = {"um": 1, "\u00b5m": 1, "micron": 1, "microns": 1, "cm": 1e4, "inch": 25400, "inches": 25400}[lines[1][4]]
            self.assertAlmostEqual(float(lines[1][1]) * size, 0.1, 2)
            for k, line in enumerate(lines[2:]):
                self.assertEqual([float(word) for word in line[1:]],
                                 [samples[k, 0, 0], samples[k, 0, -1], samples[k, -1, -1]])

    def test_hyperstack_above_4_gibibytes(self):
        finished = self.probe.run("hollow", self.stack, 1100, 1000, 300, 2, 4, "uint16")
        if finished.returncode != 0:
            self.skipTest("no sparse file of this size here")
        lines = self.imagej(f'run("TIFF Virtual Stack...", "open=[{self.stack}]");\n' + SHOW + SHOW_LAST)
        self.assertEqual(lines[0], "shape 1100 1000 2 300 4 16".split())
        self.assertEqual([float(word) for word in lines[-1][1:]], [0, 1])

    def test_hyperstacks_that_imagej_saves(self):
        macro = ('newImage("s", "{bits}-bit composite-mode", 20, 33, 2, 4, 3);\n'
                 'for (t = 1; t <= 3; t++) for (z = 1; z <= 4; z++) for (c = 1; c <= 2; c++) {{\n'
                 'Stack.setPosition(c, z, t); setPixel(3, 2, 100 * t + 10 * z + c);\n}}\n'
                 'Stack.setChannel(1); run("Magenta"); Stack.setChannel(2); run("Green");\n'
                 'run("Properties...", "channels=2 slices=4 frames=3 unit=um pixel_width=0.08 '
                 'pixel_height=0.08 voxel_depth=0.25 frame=[1.5 sec]");\nsaveAs("Tiff", "{path}");\n')
        for bits, name in ((16, "uint16"), (32, "float32")):
            self.imagej(macro.format(bits=bits, path=self.stack))
            raw = self.folder / "samples.raw"
            told = self.probe.done("any", self.stack, raw).splitlines()
            self.assertEqual(told[0], f"shape 20 33 4 2 3 {name}")
            self.assertEqual(told[1], "file ImageJ TIFF big")
            self.assertEqual(told[2:4], ["voxel 0.080000 0.080000 0.250000", "time 1.5 s"])
            self.assertEqual([line.split()[5] for line in told if line.startswith("channel")], ["255,0,255,", "0,255,0,"])
            samples = numpy.fromfile(raw, numpy.float32).reshape(3, 4, 2, 33, 20)
            t, z, c = numpy.mgrid[1:4, 1:5, 1:3]
            numpy.testing.assert_array_equal(samples[..., 2, 3], 100 * t + 10 * z + c)

    def test_colours_that_imagej_saves(self):
        self.imagej('newImage("s", "RGB ramp", 20, 33, 3);\nsetSlice(2); setColor(10, 20, 30); fillRect(0, 0, 5, 5);\n'
                    f'saveAs("Tiff", "{self.stack}");\n')
        raw = self.folder / "samples.raw"
        told = self.probe.done("any", self.stack, raw).splitlines()
        self.assertEqual(told[0], "shape 20 33 3 3 1 uint8")
        samples = numpy.fromfile(raw, numpy.float32).reshape(1, 3, 3, 33, 20)
        numpy.testing.assert_array_equal(samples[0, 1, :, 0, 0], [10, 20, 30])

    def test_imagej_times_are_refused(self):
        self.imagej('newImage("s", "16-bit ramp", 20, 33, 6);\n'
                    'run("Properties...", "channels=1 slices=2 frames=3");\n' f'saveAs("Tiff", "{self.stack}");\n')
        self.assertIn("3 time points", self.probe.refused("last", self.stack))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
