# SPDX-License-Identifier: MIT
"""Python's tifffile reads stacks of channels and times that rydecon writes. Usage: hyperstack_write_test.py STACK_PROBE"""

import re
import sys
import unittest
import xml.etree.ElementTree

from hyperstack import NAMESPACE, SHAPE, FolderTest, samples_of
from probe import numpy, tifffile


class Writing(FolderTest):
    def copy(self, name, *words):
        target = self.folder / name
        target.unlink(missing_ok=True)
        return target, self.probe.done("copy", self.stack, target, *words).split()[1:]

    def write_source(self, name="float32", samples=None):
        samples = samples_of(name) if samples is None else samples
        tifffile.imwrite(self.stack, samples, imagej=True, resolution=(1 / 0.065, 1 / 0.13),
                         metadata={"axes": "TZCYX", "spacing": 0.3, "unit": "um", "finterval": 2.5})
        return samples

    def test_imagej(self):
        samples = self.write_source()
        for name in ("uint8", "uint16", "float32"):
            with self.subTest(name=name):
                target, clipped = self.copy("out.tif", f"type={name}")
                self.assertEqual(clipped, ["0", str((samples > 255).sum()) if name == "uint8" else "0", "0"])
                with tifffile.TiffFile(target) as file:
                    self.assertTrue(file.is_imagej)
                    self.assertEqual(file.series[0].axes, "TZCYX")
                    self.assertEqual(file.series[0].shape, SHAPE)
                    metadata = file.imagej_metadata
                    self.assertEqual([metadata[key] for key in ("channels", "slices", "frames", "hyperstack",
                                                                "mode", "unit", "spacing", "finterval")],
                                     [2, 4, 3, True, "composite", "um", 0.3, 2.5])
                    self.assertEqual(file.pages[0].tags["XResolution"].value, (200, 13))
                    limit = 255 if name == "uint8" else numpy.inf
                    numpy.testing.assert_array_equal(file.asarray(), numpy.minimum(samples, limit).astype(name))
                    for k, page in enumerate(file.pages):
                        numpy.testing.assert_array_equal(
                            page.asarray(), file.asarray().reshape(-1, 5, 6)[k])

    def test_ome(self):
        samples = self.write_source()
        for name, pixel_type in (("uint8", "uint8"), ("uint16", "uint16"), ("float32", "float")):
            for ending in (".ome.tif", ".OME.tiff"):
                with self.subTest(name=name, ending=ending):
                    target, _ = self.copy("out" + ending, f"type={name}")
                    with tifffile.TiffFile(target) as file:
                        self.assertTrue(file.is_ome)
                        self.assertFalse(file.is_bigtiff)
                        self.assertEqual(file.series[0].axes, "TZCYX")
                        self.assertEqual(file.series[0].shape, SHAPE)
                        limit = 255 if name == "uint8" else numpy.inf
                        numpy.testing.assert_array_equal(file.asarray(), numpy.minimum(samples, limit).astype(name))
                        self.check_document(file.pages[0].description, pixel_type)
                        self.assertEqual(file.pages[0].tags["ResolutionUnit"].value, 3)
                        x, per = file.pages[0].tags["XResolution"].value
                        self.assertAlmostEqual(10000 * per / x, 0.065, 9)

    def check_document(self, text, pixel_type):
        """The rules of the schema that readers stumble over."""
        text.encode("ascii")
        root = xml.etree.ElementTree.fromstring(text)
        self.assertEqual(root.tag, NAMESPACE + "OME")
        self.assertRegex(root.get("UUID"), r"^urn:uuid:[0-9a-f]{8}-[0-9a-f]{4}-8[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}$")
        self.assertNotEqual(set(re.sub("[^0-9a-f]", "", root.get("UUID")[9:])), {"0"})
        order = {"Instrument": 0, "Image": 1, "InstrumentRef": 0, "ObjectiveSettings": 1, "Pixels": 2,
                 "Channel": 0, "TiffData": 1, "Objective": 0}
        for node in root.iter():
            ranks = [order[child.tag.removeprefix(NAMESPACE)] for child in node]
            self.assertEqual(ranks, sorted(ranks))
            if node.tag.removeprefix(NAMESPACE) not in ("OME", "TiffData"):
                self.assertRegex(node.get("ID"), r"^\w+(:\d+)+$")
        pixels = root.find(f"{NAMESPACE}Image/{NAMESPACE}Pixels")
        wanted = {"ID": "Pixels:0", "DimensionOrder": "XYCZT", "Type": pixel_type, "SizeX": "6", "SizeY": "5",
                  "SizeZ": "4", "SizeC": "2", "SizeT": "3", "PhysicalSizeX": "0.065", "PhysicalSizeY": "0.13",
                  "PhysicalSizeZ": "0.3", "TimeIncrement": "2.5", "TimeIncrementUnit": "s",
                  "BigEndian": str(sys.byteorder == "big").lower()}
        self.assertEqual(pixels.attrib, wanted)
        self.assertEqual(len(pixels.findall(NAMESPACE + "Channel")), 2)
        data = pixels.find(NAMESPACE + "TiffData")
        self.assertEqual(data.attrib, {"IFD": "0", "PlaneCount": "24"})

    def test_optics_are_carried_over(self):
        text = (f'<OME xmlns="{NAMESPACE[1:-1]}"><Instrument ID="Instrument:3"><Objective ID="Objective:7" LensNA="1.4" '
                'NominalMagnification="63" Immersion="Oil"/></Instrument><Image ID="Image:0">'
                '<ObjectiveSettings ID="Objective:7" RefractiveIndex="1.518"/><Pixels SizeX="6" SizeY="5" SizeZ="2" '
                'SizeC="1" SizeT="1"><Channel ID="Channel:0:0" EmissionWavelength="520" PinholeSize="50" '
                'AcquisitionMode="WideField" Name="a &amp; &#956;"/></Pixels></Image></OME>')
        samples = samples_of("uint8", (2, 5, 6))
        tifffile.imwrite(self.stack, samples, photometric="minisblack", metadata=None, description=text)
        told = {"optics": "1.400000 1.518000 63.000000 Oil",
                "channel": ["0.520000 - 50.000000 WideField - a & \u03bc"]}
        for name in ("out.tif", "out.ome.tif"):
            target, _ = self.copy(name)
            self.expect(target, samples.reshape(1, 2, 1, 5, 6), file="OME-TIFF " + sys.byteorder, **told)

    def test_the_order_of_writing_does_not_matter(self):
        self.write_source()
        for name in ("a.tif", "a.ome.tif"):
            forwards, _ = self.copy(name)
            whole = forwards.read_bytes()
            backwards, _ = self.copy(name, "order=backwards")
            self.assertEqual(backwards.read_bytes(), whole)

    def test_the_identifier_follows_the_content(self):
        texts = set()
        for changed in (None, (0, 0, 0, 0, 0), (2, 3, 1, 4, 5)):
            samples = samples_of("float32")
            if changed:
                samples[changed] += 1
            self.write_source(samples=samples)
            target, _ = self.copy("a.ome.tif")
            texts.add(tifffile.TiffFile(target).pages[0].description)
        self.assertEqual(len(texts), 3)

    def test_big_files(self):
        samples = self.write_source()
        target, _ = self.copy("small.ome.tif", "limit=2000")
        with tifffile.TiffFile(target) as file:
            self.assertTrue(file.is_bigtiff)
            self.assertEqual(file.series[0].axes, "TZCYX")
            numpy.testing.assert_array_equal(file.asarray(), samples)
        self.expect(target, samples)
        # ImageJ knows no BigTIFF: one directory, and the planes behind it.
        target, _ = self.copy("small.tif", "limit=2000")
        with tifffile.TiffFile(target) as file:
            self.assertFalse(file.is_bigtiff)
            self.assertEqual(len(file.pages), 1)
            self.assertEqual(file.series[0].axes, "TZCYX")
            numpy.testing.assert_array_equal(file.asarray(), samples)
        self.expect(target, samples)

    def test_above_4_gibibytes(self):
        for name in ("large.ome.tif", "large.tif"):
            target = self.folder / name
            finished = self.probe.run("hollow", target, 1100, 1000, 300, 2, 4, "uint16")
            if finished.returncode != 0:
                self.skipTest("no sparse file of this size here: " + finished.stderr)
            with tifffile.TiffFile(target) as file:
                self.assertEqual(file.is_bigtiff, "ome" in name)
                self.assertEqual(file.series[0].axes, "TZCYX")
                self.assertEqual(file.series[0].shape, (4, 300, 2, 1000, 1100))
            last = tifffile.memmap(target, mode="r").reshape(-1)[-2:]
            numpy.testing.assert_array_equal(last, [0, 1])
            target.unlink()

    def test_rounding_and_clipping(self):
        values = numpy.array([-1, -0.5, -0.4, 0.4, 0.5, 1.5, 2.5, 254.5, 255.4, 255.5, 1e30, -1e30, numpy.nan,
                              numpy.inf, -numpy.inf, 65534.5, 65535.4, 65535.5], numpy.float32)
        self.write_source(samples=values.reshape(1, 1, 1, 1, -1))
        for name, limit in (("uint8", 255), ("uint16", 65535)):
            target, clipped = self.copy("out.tif", f"type={name}")
            rounded = numpy.round(values.astype(numpy.float64))  # of two the even one
            expected = numpy.nan_to_num(numpy.clip(rounded, 0, limit)).astype(name)
            numpy.testing.assert_array_equal(tifffile.imread(target).ravel(), expected)
            self.assertEqual(clipped, [str((rounded < 0).sum()), str((rounded > limit).sum()), "1"])
        target, clipped = self.copy("out.tif")
        numpy.testing.assert_array_equal(tifffile.imread(target).ravel(), values)
        self.assertEqual(clipped, ["0", "0", "0"])

    def test_rescaling(self):
        values = numpy.array([-2, -1, 0, 1.25, 3, 4], numpy.float32)
        self.write_source(samples=values.reshape(1, 1, 1, 1, -1))
        for name, limit in (("uint8", 255), ("uint16", 65535)):
            target, clipped = self.copy("out.tif", f"type={name}", "low=-1", "high=3")
            expected = numpy.clip(numpy.round((values.astype(float) + 1) / 4 * limit), 0, limit)
            numpy.testing.assert_array_equal(tifffile.imread(target).ravel(), expected)
            self.assertEqual(clipped, ["1", "1", "0"])
            target, clipped = self.copy("out.tif", f"type={name}", "low=3", "high=3")
            numpy.testing.assert_array_equal(tifffile.imread(target).ravel(), 0 * values)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
