# SPDX-License-Identifier: MIT
"""Stacks between rydecon and Python's tifffile, both ways. Usage: tifffile_test.py STACK_PROBE [SAMPLE_FOLDER]"""

import pathlib
import sys
import tempfile
import unittest

from probe import Probe, numpy, pattern, tifffile

PROGRAM = sys.argv[1]
SAMPLES = pathlib.Path(sys.argv[2]) if len(sys.argv) > 2 else None
GIGABYTES_5 = (1100, 1000, 1200)  # width, height, planes: more than 4 GiB of float32


class FolderTest(unittest.TestCase):
    def setUp(self):
        holder = tempfile.TemporaryDirectory(prefix="rydecon_io_")
        self.addCleanup(holder.cleanup)
        self.folder = pathlib.Path(holder.name)
        self.probe = Probe(PROGRAM, self.folder)
        self.stack = self.folder / "stack.tif"

    def expect_read(self, samples, header):
        found, read, notes = self.probe.read(self.stack)
        self.assertEqual(found, header.split())
        numpy.testing.assert_array_equal(read, samples.astype(numpy.float32))
        return notes


class ReadingTifffile(FolderTest):
    def test_plain_stacks_of_every_type(self):
        generator = numpy.random.default_rng(1)
        for name in ("uint8", "int8", "uint16", "int16", "uint32", "int32", "float32", "float64"):
            for order in "<>":
                samples = (generator.random((3, 33, 20)) * 100).astype(name)
                for options in ({}, {"tile": (16, 16)}, {"compression": "zlib"}, {"rowsperstrip": 7},
                                {"compression": "zlib", "tile": (32, 16), "predictor": True},
                                {"bigtiff": True}):
                    if options.get("predictor") and "float" in name:
                        continue  # needs a package of codecs; tested through libtiff
                    with self.subTest(name=name, order=order, options=options):
                        tifffile.imwrite(self.stack, samples, byteorder=order, photometric="minisblack",
                                         **options)
                        self.expect_read(samples, f"20 33 3 {name} - - -")

    def test_imagej_hyperstack(self):
        samples = pattern(20, 33, 4)
        for unit, factor in (("um", 1.0), ("micron", 1.0), ("nm", 1e-3), ("\\u00B5m", 1.0), ("mm", 1e3)):
            with self.subTest(unit=unit):
                tifffile.imwrite(self.stack, samples, imagej=True, resolution=(factor / 0.065, factor / 0.13),
                                 metadata={"axes": "ZYX", "spacing": 0.3 / factor, "unit": unit})
                self.expect_read(samples, "20 33 4 float32 0.065000 0.130000 0.300000")

    def test_imagej_form_with_one_directory(self):
        samples = (pattern(20, 33, 5) % 60000).astype(numpy.uint16)
        with tifffile.TiffWriter(self.stack, imagej=True, byteorder=">") as writer:
            writer.write(samples, truncate=True, contiguous=True, resolution=(10, 10),
                         metadata={"axes": "ZYX", "spacing": 0.2, "unit": "um"})
        with tifffile.TiffFile(self.stack) as file:
            self.assertEqual(len(file.pages), 1)
        self.expect_read(samples, "20 33 5 uint16 0.100000 0.100000 0.200000")
        whole = self.stack.read_bytes()
        self.stack.write_bytes(whole[:-1])
        self.assertIn("truncated", self.probe.refused("last", self.stack))

    def test_ome_tiff(self):
        samples = pattern(20, 33, 4)
        metadata = {"axes": "ZYX", "PhysicalSizeX": 65, "PhysicalSizeXUnit": "nm", "PhysicalSizeY": 0.065,
                    "PhysicalSizeYUnit": "\u00b5m", "PhysicalSizeZ": 0.0003, "PhysicalSizeZUnit": "mm"}
        for options in ({}, {"bigtiff": True}, {"tile": (16, 16)}):
            with self.subTest(options=options):
                tifffile.imwrite(self.stack, samples, ome=True, metadata=metadata, **options)
                self.expect_read(samples, "20 33 4 float32 0.065000 0.065000 0.300000")

    def test_ome_pyramid(self):
        samples = pattern(64, 64, 3)
        with tifffile.TiffWriter(self.stack, ome=True) as writer:
            writer.write(samples, subifds=1, metadata={"axes": "ZYX", "PhysicalSizeX": 0.1})
            writer.write(samples[:, ::2, ::2], subfiletype=1)
        self.expect_read(samples, "64 64 3 float32 0.100000 - -")

    def test_channels_and_times_are_refused(self):
        samples = pattern(20, 33, 4)
        for options in ({"imagej": True, "metadata": {"axes": "CYX"}}, {"imagej": True, "metadata": {"axes": "TYX"}},
                        {"ome": True, "metadata": {"axes": "CYX"}}, {"ome": True, "metadata": {"axes": "TYX"}}):
            with self.subTest(options=options):
                tifffile.imwrite(self.stack, samples, **options)
                self.assertIn("declare them as slices", self.probe.refused("last", self.stack))

    def test_colour_is_refused(self):
        tifffile.imwrite(self.stack, numpy.zeros((16, 16, 3), numpy.uint8), photometric="rgb")
        self.assertIn("3 samples per pixel", self.probe.refused("last", self.stack))

    def test_samples_that_lose_digits_are_counted(self):
        samples = numpy.array([[[0.1, 0.5], [1 / 3, 2.0]]])
        tifffile.imwrite(self.stack, samples)
        notes = self.expect_read(samples, "2 2 1 float64 - - -")
        self.assertIn("2 samples lost digits on the way from float64", notes)

    def test_sample_folder(self):
        if SAMPLES is None or not SAMPLES.is_dir():
            self.skipTest("no folder of sample stacks")
        for path in sorted(SAMPLES.glob("*.tif")):
            with self.subTest(path=path.name):
                expected = tifffile.imread(path)
                if "rgb" in path.name:
                    self.assertIn("samples per pixel", self.probe.refused("last", path))
                    continue
                _, read, _ = self.probe.read(path)
                numpy.testing.assert_array_equal(read, expected.reshape(read.shape).astype(numpy.float32))


class ReadingRydecon(FolderTest):
    def test_stack(self):
        self.probe.done("write", self.stack, 20, 33, 7, 0.065, 0.13, 0.3)
        with tifffile.TiffFile(self.stack) as file:
            self.assertEqual(len(file.pages), 7)
            self.assertEqual(file.byteorder, "<" if sys.byteorder == "little" else ">")
            self.assertEqual(file.series[0].axes, "ZYX")
            self.assertTrue(file.is_imagej)
            self.assertEqual(file.imagej_metadata["spacing"], 0.3)
            self.assertEqual(file.imagej_metadata["unit"], "um")
            resolution = [file.pages[0].tags[name].value for name in ("XResolution", "YResolution")]
            self.assertEqual(resolution, [(200, 13), (100, 13)])
            numpy.testing.assert_array_equal(file.asarray(), pattern(20, 33, 7))
            first = file.pages[0].dataoffsets[0]
            for k, page in enumerate(file.pages):
                self.assertEqual(page.dataoffsets, (first + k * 20 * 33 * 4,))
                numpy.testing.assert_array_equal(page.asarray(), pattern(20, 33, 7)[k])

    def test_one_plane(self):
        self.probe.done("write", self.stack, 20, 33, 1, 0.1, 0.1, "-")
        with tifffile.TiffFile(self.stack) as file:
            self.assertEqual(file.series[0].axes, "YX")
            numpy.testing.assert_array_equal(file.asarray(), pattern(20, 33, 1)[0])

    def test_unknown_voxel_size(self):
        self.probe.done("write", self.stack, 20, 33, 3, "-", "-", "-")
        with tifffile.TiffFile(self.stack) as file:
            self.assertEqual(file.series[0].axes, "ZYX")
            self.assertNotIn("unit", file.imagej_metadata)
            self.assertNotIn("XResolution", file.pages[0].tags)

    def expect_large(self, width, height, planes):
        try:
            self.probe.done("sparse", self.stack, width, height, planes)
        except AssertionError as failure:
            self.skipTest(f"no sparse file of this size here: {failure}")
        with tifffile.TiffFile(self.stack) as file:
            self.assertEqual(file.series[0].shape, (planes, height, width) if planes > 1 else (height, width))
            last = tifffile.memmap(self.stack, mode="r").reshape(planes, height, width)[-1, -1, -4:]
            numpy.testing.assert_array_equal(last, [1, 2, 3, 4])
            self.assertGreater(self.stack.stat().st_size, 2**32)
            return file.is_bigtiff

    def test_above_4_gibibytes(self):
        self.assertFalse(self.expect_large(*GIGABYTES_5))
        width, height, planes = GIGABYTES_5
        self.assertEqual(self.probe.done("last", self.stack), f"{width} {height} {planes} 1 2 3 4\n")

    def test_one_plane_above_4_gibibytes(self):
        self.assertTrue(self.expect_large(32768, 32769, 1))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
