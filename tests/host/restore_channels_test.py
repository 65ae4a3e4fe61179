# SPDX-License-Identifier: MIT
"""rydecon restore on images of several channels and times.

usage: restore_channels_test.py RYDECON
"""
import pathlib
import subprocess
import sys
import tempfile
import time
import unittest
import xml.etree.ElementTree

import numpy
import tifffile

PROGRAM = sys.argv.pop(1)
ITERATIONS = ("--iterations", "3")
METHOD = ("--method", "lucy-richardson", *ITERATIONS)
OPTICS = ("--modality", "widefield", "--na", "1.2", "--ri", "1.33", "--pixel", "0.1", "--z-step", "0.3")
TIMES, SLICES, CHANNELS, HEIGHT, WIDTH = 3, 7, 2, 18, 22


def psf(sigma):
    z, y, x = (numpy.arange(n) - n // 2 for n in (5, 9, 9))
    light = numpy.exp(-0.5 * ((x[None, None] ** 2 + y[None, :, None] ** 2) / sigma ** 2 + z[:, None, None] ** 2))
    return light.astype(numpy.float32)


def image():
    """No two samples lie on a symmetry of the axes, so that a swap of any two would show."""
    samples = numpy.random.default_rng(4).poisson(200, (TIMES, SLICES, CHANNELS, HEIGHT, WIDTH))
    samples[:, 3, 0, 5:9, 4:12] += 900
    samples[:, 2:5, 1, 10:12, 15:17] += 700
    samples *= numpy.arange(1, TIMES + 1)[:, None, None, None, None]
    return samples.astype(numpy.uint16)


class Channels(unittest.TestCase):
    def setUp(self):
        holder = tempfile.TemporaryDirectory(prefix="rydecon_channels_")
        self.addCleanup(holder.cleanup)
        self.folder = pathlib.Path(holder.name)
        self.image = image()
        tifffile.imwrite(self.folder / "in.tif", self.image, imagej=True, resolution=(10, 10),
                         metadata={"axes": "TZCYX", "spacing": 0.3, "unit": "um", "finterval": 2.0})
        tifffile.imwrite(self.folder / "in.ome.tif", self.image, photometric="minisblack",
                         metadata={"axes": "TZCYX", "PhysicalSizeX": 0.1, "PhysicalSizeY": 0.1, "PhysicalSizeZ": 0.3,
                                   "TimeIncrement": 2.0,
                                   "Channel": {"Name": ["DAPI", "GFP"], "EmissionWavelength": [461.0, 520.0]}})
        for name, sigma in (("a.tif", 1.0), ("b.tif", 1.6)):
            tifffile.imwrite(self.folder / name, psf(sigma), photometric="minisblack")

    def run_program(self, *words):
        return subprocess.run([PROGRAM, *words], cwd=self.folder, capture_output=True, text=True, check=False)

    def restore(self, *words, source="in.tif", target="out.tif", method=METHOD):
        finished = self.run_program("restore", source, "-o", target, "--overwrite", *method, *words)
        self.assertEqual(finished.returncode, 0, finished.stderr)
        self.said = finished
        return tifffile.imread(self.folder / target)

    def refused(self, code, part, *words, source="in.tif"):
        finished = self.run_program("restore", source, "-o", "refused.tif", *METHOD, *words)
        self.assertEqual(finished.returncode, code, finished)
        self.assertIn(part, finished.stderr)
        errors = [line for line in finished.stderr.splitlines() if "note:" not in line]
        self.assertEqual(len(errors), 1, finished.stderr)
        self.assertFalse([p.name for p in self.folder.iterdir() if "refused" in p.name])

    def alone(self, t, c, point_spread):
        """One volume restored as a file of its own."""
        tifffile.imwrite(self.folder / "one.tif", self.image[t, :, c], photometric="minisblack")
        finished = self.run_program("restore", "one.tif", "--psf", point_spread, "-o", "alone.tif", "--overwrite",
                                    *METHOD)
        self.assertEqual(finished.returncode, 0, finished.stderr)
        return tifffile.imread(self.folder / "alone.tif")

    def test_each_volume_is_restored_as_if_alone(self):
        restored = self.restore("--psf", "a.tif")
        self.assertEqual(restored.shape, self.image.shape)
        for t in range(TIMES):
            for c in range(CHANNELS):
                numpy.testing.assert_array_equal(restored[t, :, c], self.alone(t, c, "a.tif"))
        self.assertIn("channel 2, time 3", self.said.stdout)
        self.assertIn("out.tif: 2 channels, 3 times", self.said.stdout)

    def test_each_channel_has_its_psf(self):
        restored = self.restore("--psf", "a.tif", "--psf", "b.tif", "--times", "2")
        self.assertEqual(restored.shape, (SLICES, CHANNELS, HEIGHT, WIDTH))
        numpy.testing.assert_array_equal(restored[:, 0], self.alone(1, 0, "a.tif"))
        numpy.testing.assert_array_equal(restored[:, 1], self.alone(1, 1, "b.tif"))

    def test_list_may_tell_of_channels_that_are_not_chosen(self):
        restored = self.restore("--psf", "a.tif", "--psf", "b.tif", "--times", "1", "--channels", "2")
        numpy.testing.assert_array_equal(restored, self.alone(0, 1, "b.tif"))

    def test_channels_and_times_are_chosen(self):
        restored = self.restore("--psf", "b.tif", "--channels", "2", "--times", "1,3")
        self.assertEqual(restored.shape, (2, SLICES, HEIGHT, WIDTH))
        numpy.testing.assert_array_equal(restored[1], self.alone(2, 1, "b.tif"))
        with tifffile.TiffFile(self.folder / "out.tif") as file:
            self.assertEqual(file.series[0].axes, "TZYX")
            self.assertEqual(file.imagej_metadata["finterval"], 4.0)
            self.assertEqual(file.imagej_metadata["spacing"], 0.3)

    def test_hyperstack_keeps_axes_and_spacing(self):
        self.restore("--psf", "a.tif")
        with tifffile.TiffFile(self.folder / "out.tif") as file:
            self.assertEqual(file.series[0].axes, "TZCYX")
            self.assertEqual(file.series[0].dtype, numpy.float32)
            self.assertEqual(file.imagej_metadata["finterval"], 2.0)
            self.assertEqual(file.imagej_metadata["spacing"], 0.3)

    def test_ome_stays_ome_and_takes_the_wavelengths_of_its_channels(self):
        optics = ("--modality", "widefield", "--na", "1.2", "--ri", "1.33")
        restored = self.restore(*optics, "--times", "1", source="in.ome.tif", target="out.ome.tif")
        self.assertIn("emission wavelength 0.461 um", self.said.stderr)
        self.assertIn("emission wavelength 0.52 um", self.said.stderr)
        told = self.restore(*optics, "--emission", "461nm,520nm", "--pixel", "0.1", "--z-step", "0.3", "--times", "1")
        numpy.testing.assert_array_equal(restored.squeeze(), told.squeeze())
        with tifffile.TiffFile(self.folder / "out.ome.tif") as file:
            self.assertTrue(file.is_ome)
            names = [c.get("Name") for c in xml.etree.ElementTree.fromstring(file.ome_metadata).iter()
                     if c.tag.endswith("}Channel")]
        self.assertEqual(names, ["DAPI", "GFP"])

    def test_target_chooses_the_container(self):
        self.restore("--psf", "a.tif", "--times", "1", target="made.ome.tif")
        with tifffile.TiffFile(self.folder / "made.ome.tif") as file:
            self.assertTrue(file.is_ome)
            self.assertEqual(file.series[0].shape.count(1) + 4, len(file.series[0].shape))

    def test_integers_are_the_nearest_and_clipped_ones_told(self):
        exact = self.restore("--psf", "a.tif", "--times", "1", "--channels", "1")
        for dtype, kind in (("u16", numpy.uint16), ("u8", numpy.uint8)):
            rounded = self.restore("--psf", "a.tif", "--times", "1", "--channels", "1", "--dtype", dtype)
            self.assertEqual(rounded.dtype, kind)
            largest = numpy.iinfo(kind).max
            numpy.testing.assert_array_equal(rounded, numpy.rint(numpy.clip(exact, 0, largest)).astype(kind))
            above = int((numpy.rint(exact) > largest).sum())
            self.assertEqual(f"{above} samples lie above" in self.said.stderr, above > 0, self.said.stderr)
        self.assertGreater(above, 0)

    def test_pictures_of_several_channels_and_times(self):
        tifffile.imwrite(self.folder / "flat.tif", self.image[:, 3], imagej=True, metadata={"axes": "TCYX"})
        tifffile.imwrite(self.folder / "plane.tif", psf(1.0)[2], photometric="minisblack")
        method = ("--method", "rltv", *ITERATIONS)
        restored = self.restore("--psf", "plane.tif", source="flat.tif", method=method)
        self.assertEqual(restored.shape, (TIMES, CHANNELS, HEIGHT, WIDTH))
        tifffile.imwrite(self.folder / "one.tif", self.image[2, 3, 1], photometric="minisblack")
        alone = self.restore("--psf", "plane.tif", source="one.tif", target="alone.tif", method=method)
        numpy.testing.assert_array_equal(restored[2, 1], alone)

    def test_a_killed_run_goes_on_with_the_volumes_that_are_missing(self):
        words = ["restore", "in.tif", "--psf", "a.tif", "-o", "out.tif", "--method", "lucy-richardson", "--iterations",
                 "120"]
        finished = self.run_program(*words)
        self.assertEqual(finished.returncode, 0, finished.stderr)
        expected = (self.folder / "out.tif").read_bytes()
        (self.folder / "out.tif").unlink()
        for resume in ((), ("--resume",)):
            before = len(list(self.folder.glob("out.tif.parts/[!.]*")))
            running = subprocess.Popen([PROGRAM, *words, *resume], cwd=self.folder, stdout=subprocess.DEVNULL,
                                       stderr=subprocess.DEVNULL)
            while len(list(self.folder.glob("out.tif.parts/[!.]*"))) <= before and running.poll() is None:
                time.sleep(0.002)
            running.kill()
            running.wait()
        kept = len(list(self.folder.glob("out.tif.parts/[!.]*")))
        self.assertGreaterEqual(kept, 2)
        self.assertFalse((self.folder / "out.tif").exists(), "the kill came too late")
        finished = self.run_program(*words, "--resume")
        self.assertEqual(finished.returncode, 0, finished.stderr)
        self.assertEqual(finished.stdout.count("taken from an earlier run"), kept)
        self.assertEqual((self.folder / "out.tif").read_bytes(), expected)
        self.assertFalse((self.folder / "out.tif.parts").exists())

    def test_a_time_that_cannot_be_read_leaves_those_before_it(self):
        series = numpy.concatenate([self.image[:, :, 0]] * 2).astype(numpy.float64) + 1 / 3
        tifffile.imwrite(self.folder / "in.ome.tif", series, photometric="minisblack", compression="zlib",
                         metadata={"axes": "TZYX"})
        words = ("restore", "in.ome.tif", "--psf", "a.tif", "-o", "out.tif", *METHOD)
        finished = self.run_program(*words)
        self.assertEqual(finished.returncode, 0, finished.stderr)
        # The note of the last plane comes from the thread that reads ahead, once, and before the last volume is told.
        self.assertEqual(finished.stderr.count(f"{series.size} samples lost digits"), 1, finished.stderr)
        whole = (self.folder / "in.ome.tif").read_bytes()
        expected = (self.folder / "out.tif").read_bytes()
        (self.folder / "out.tif").unlink()
        with tifffile.TiffFile(self.folder / "in.ome.tif") as file:
            place = file.pages[4 * SLICES + 2].dataoffsets[0]
        (self.folder / "in.ome.tif").write_bytes(whole[:place] + bytes(40) + whole[place + 40:])
        finished = self.run_program(*words, "--overwrite")
        self.assertEqual(finished.returncode, 1)
        errors = [line for line in finished.stderr.splitlines() if "note:" not in line]
        self.assertEqual(len(errors), 1, finished.stderr)
        self.assertTrue(errors[0].startswith("rydecon: error: cannot read 'in.ome.tif': "), errors)
        self.assertIn("; 4 pieces stay in 'out.tif.parts'", errors[0])
        self.assertFalse((self.folder / "out.tif").exists())
        (self.folder / "in.ome.tif").write_bytes(whole)
        finished = self.run_program(*words, "--resume", "--overwrite")
        self.assertEqual(finished.returncode, 0, finished.stderr)
        self.assertEqual(finished.stdout.count("taken from an earlier run"), 4)
        self.assertEqual((self.folder / "out.tif").read_bytes(), expected)

    def test_a_disk_that_runs_full_while_the_next_volume_is_restored(self):
        image = self.image[:, :, 0, :, :].astype(numpy.float32)
        tifffile.imwrite(self.folder / "one.tif", image, imagej=True, metadata={"axes": "TZYX"})
        (self.folder / "disk").mkdir()
        room = image.nbytes + image.nbytes // 2 + 16384  # the output, and half of its pieces
        script = f"""
mount -t tmpfs -o size={room} none disk || exit 77
"$1" restore one.tif --psf a.tif -o disk/out.tif {' '.join(METHOD)}; echo "code $?"
ls -A disk disk/out.tif.parts
mount -o remount,size=50m disk
"$1" restore one.tif --psf a.tif -o disk/out.tif {' '.join(METHOD)} --resume -q; echo "code $?"
cp disk/out.tif resumed.tif; ls -A disk
"""
        finished = subprocess.run(["unshare", "--user", "--map-root-user", "--mount", "sh", "-c", script, "sh", PROGRAM],
                                  cwd=self.folder, capture_output=True, text=True, check=False)
        if finished.returncode == 77 or "unshare" in finished.stderr:
            self.skipTest("no small disk can be mounted here: " + finished.stderr.strip())
        errors = [line for line in finished.stderr.splitlines() if "note:" not in line]
        self.assertEqual(len(errors), 1, finished)
        self.assertIn("cannot write 'disk/out.tif.parts/volume-000", errors[0])
        self.assertIn("no space left on device; make room or write to another disk; ", errors[0])
        kept = errors[0].count("1 piece stays in") + 2 * errors[0].count("2 pieces stay in")
        self.assertGreaterEqual(kept, 1, errors)
        pieces = "".join(f"volume-000{n}-block-00000.piece\n" for n in range(kept))
        self.assertIn(f"code 1\ndisk:\nout.tif.parts\n\ndisk/out.tif.parts:\n{pieces}code 0\nout.tif\n",
                      finished.stdout)
        expected = self.restore("--psf", "a.tif", source="one.tif")
        numpy.testing.assert_array_equal(tifffile.imread(self.folder / "resumed.tif"), expected)

    def test_colours_are_channels(self):
        rgb = self.image[0, 3, 0][..., None].repeat(3, axis=2) // [[[1, 2, 3]]]
        tifffile.imwrite(self.folder / "rgb.tif", rgb.astype(numpy.uint16), photometric="rgb")
        restored = self.restore("--psf", "a.tif", source="rgb.tif")
        self.assertEqual(restored.shape, (3, HEIGHT, WIDTH))
        self.assertGreater(restored[0].sum(), 1.8 * restored[1].sum())

    def test_opacity_is_no_colour(self):
        rgba = self.image[0, 3, 0][..., None].repeat(4, axis=2)
        tifffile.imwrite(self.folder / "rgba.tif", rgba, photometric="rgb", extrasamples=["unassalpha"])
        self.assertEqual(self.restore("--psf", "a.tif", source="rgba.tif").shape, (3, HEIGHT, WIDTH))
        self.assertIn("of its 4 samples per pixel, 3 are taken", self.said.stderr)

    def test_what_is_refused(self):
        self.refused(2, "--channels asks for channel 3, and 'in.tif' has 2 channels", "--psf", "a.tif", "--channels", "3")
        self.refused(2, "--times is '0'; numbers from 1 and ranges", "--psf", "a.tif", "--times", "0")
        self.refused(2, "--times is '3-1'", "--psf", "a.tif", "--times", "3-1")
        self.refused(2, "--channels is '1,'", "--psf", "a.tif", "--channels", "1,")
        self.refused(2, "--truth is for one channel at one time", "--psf", "a.tif", "--truth", "in.tif")
        self.refused(2, "tells of 3 channels, and 2 are to be restored", *["--psf", "a.tif"] * 3)
        self.refused(2, "tells of 3 channels, and 2 are to be restored", *OPTICS, "--emission", "461nm,520nm,600nm")
        self.refused(2, "different numbers of channels", *OPTICS, "--emission", "461nm,520nm", "--excitation",
                     "400nm,488nm,550nm")
        self.refused(2, "a length such as 461nm", *OPTICS, "--emission", "461nm,")


if __name__ == "__main__":
    unittest.main()
