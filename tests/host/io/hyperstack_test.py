# SPDX-License-Identifier: MIT
"""Stacks of channels and times between rydecon and Python's tifffile, both ways. Usage: hyperstack_test.py STACK_PROBE"""

import itertools
import pathlib
import re
import sys
import tempfile
import unittest
import xml.etree.ElementTree

from probe import Probe, numpy, tifffile

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


class Reading(FolderTest):
    def test_imagej(self):
        for name, order in itertools.product(("uint8", "uint16", "float32"), "<>"):
            with self.subTest(name=name, order=order):
                samples = samples_of(name)
                tifffile.imwrite(self.stack, samples, imagej=True, byteorder=order, resolution=(10, 5),
                                 metadata={"axes": "TZCYX", "spacing": 0.3, "unit": "um", "finterval": 2.5})
                self.expect(self.stack, samples, shape=f"6 5 4 2 3 {name}", voxel="0.100000 0.200000 0.300000",
                            time="2.5 s", file="ImageJ TIFF " + ("little" if order == "<" else "big"))

    def test_imagej_axes_one_by_one(self):
        samples = samples_of("uint16", (7, 5, 6))
        for axis, shape in (("C", (1, 1, 7, 5, 6)), ("T", (7, 1, 1, 5, 6)), ("Z", (1, 7, 1, 5, 6))):
            with self.subTest(axis=axis):
                tifffile.imwrite(self.stack, samples, imagej=True, metadata={"axes": axis + "YX"})
                self.expect(self.stack, samples.reshape(shape))

    def test_imagej_with_one_directory(self):
        samples = samples_of("uint16")
        with tifffile.TiffWriter(self.stack, imagej=True) as writer:
            writer.write(samples, truncate=True, contiguous=True, metadata={"axes": "TZCYX"})
        with tifffile.TiffFile(self.stack) as file:
            self.assertEqual(len(file.pages), 1)
        self.expect(self.stack, samples)
        self.stack.write_bytes(self.stack.read_bytes()[:-1])
        self.refused("truncated", "24 planes")

    def test_imagej_colours(self):
        samples = samples_of("uint8", (2, 3, 5, 6, 3))
        tifffile.imwrite(self.stack, samples, imagej=True, metadata={"axes": "TZYXS"})
        self.expect(self.stack, samples.transpose(0, 1, 4, 2, 3),
                    channel=["- - - - 255,0,0, -", "- - - - 0,255,0, -", "- - - - 0,0,255, -"])

    def test_imagej_tables_and_labels(self):
        ramp = numpy.arange(256, dtype=numpy.uint8)
        dark = numpy.zeros_like(ramp)
        tables = [numpy.array([dark, ramp, dark]), numpy.array([ramp, dark, ramp // 2])]
        info = "EmissionWavelength #1 = 520\nEmissionWavelength #2 = 0.6 um\nLensNA = 1.4\n"
        tifffile.imwrite(self.stack, samples_of("uint16"), imagej=True,
                         metadata={"axes": "TZCYX", "mode": "composite", "LUTs": tables, "Info": info,
                                   "Labels": ["nuclei", "actin \u03b2"] * 12})
        told = {"channel": ["0.520000 - - - 0,255,0, nuclei", "0.600000 - - - 255,0,127, actin \u03b2"],
                "optics": "1.400000 - - -"}
        self.expect(self.stack, samples_of("uint16"), **told)
        for name in ("copy.tif", "copy.ome.tif"):
            self.probe.done("copy", self.stack, self.folder / name)
            self.expect(self.folder / name, samples_of("uint16"), **told)
        with tifffile.TiffFile(self.folder / "copy.tif") as file:
            for found, wanted in zip(file.imagej_metadata["LUTs"], tables):
                numpy.testing.assert_array_equal(found, wanted)
            self.assertEqual(file.imagej_metadata["Labels"], ["nuclei", "actin \u03b2"] * 12)
            self.assertEqual(file.imagej_metadata["Info"], info)

    def test_imagej_axes_that_contradict(self):
        def write(description, pages=4):
            tifffile.imwrite(self.stack, numpy.zeros((pages, 5, 6), numpy.uint8), metadata=None,
                             description=description, photometric="minisblack")
        write("ImageJ=1.53t\nimages=4\nchannels=2\nslices=3\n")
        self.refused("2 channel(s), 3 slice(s) and 1 time point(s), but it holds 4 planes")
        write("ImageJ=1.53t\nchannels=3\nframes=2\n")
        self.refused("3 channel(s), 1 slice(s) and 2 time point(s), but it holds 4 planes")
        write("ImageJ=1.53t\nchannels=2000000000\nslices=2000000000\nframes=2000000000\n")
        self.refused("2000000000 time point(s), but it holds 4 planes")
        write("ImageJ=1.53t\nchannels=2000000000\n", pages=1)
        self.refused("truncated", "2000000000 planes")

    def test_ome_of_every_dimension_order(self):
        samples = samples_of("uint16")
        for order in itertools.permutations("TZC"):
            axes = "".join(order) + "YX"
            with self.subTest(axes=axes):
                tifffile.imwrite(self.stack, samples.transpose(*("TZCYX".index(a) for a in axes)), ome=True,
                                 metadata={"axes": axes, "TimeIncrement": 1.5, "TimeIncrementUnit": "ms",
                                           "SignificantBits": 12})
                self.expect(self.stack, samples, shape="6 5 4 2 3 uint16", time="1.5 ms", bits="12")

    def test_ome_channels(self):
        channels = {"Name": ["nuclei", "actin"], "EmissionWavelength": [461, 0.52],
                    "EmissionWavelengthUnit": ["nm", "\u00b5m"], "ExcitationWavelength": [405, 488],
                    "PinholeSize": [1.5, 1.6], "Color": [65535, -16776961],
                    "AcquisitionMode": ["SpinningDiskConfocal", "WideField"]}
        tifffile.imwrite(self.stack, samples_of("uint8"), ome=True, metadata={"axes": "TZCYX", "Channel": channels})
        told = {"channel": ["0.461000 0.405000 1.500000 SpinningDiskConfocal 0,0,255, nuclei",
                            "0.520000 0.488000 1.600000 WideField 255,0,0, actin"]}
        self.expect(self.stack, samples_of("uint8"), **told)
        for name in ("copy.tif", "copy.ome.tif"):
            self.probe.done("copy", self.stack, self.folder / name)
            self.expect(self.folder / name, samples_of("uint8"), **told)

    def test_ome_colours(self):
        samples = samples_of("uint8", (2, 3, 32, 48, 3))
        planar = samples.transpose(0, 1, 4, 2, 3)
        for options in ({}, {"tile": (16, 16)}, {"compression": "zlib"}, {"rowsperstrip": 5}):
            with self.subTest(options=options):
                tifffile.imwrite(self.stack, samples, ome=True, photometric="rgb",
                                 metadata={"axes": "TZYXS"}, **options)
                self.expect(self.stack, planar)
                tifffile.imwrite(self.stack, planar, ome=True, photometric="rgb", planarconfig="separate",
                                 metadata={"axes": "TZSYX"}, **options)
                self.expect(self.stack, planar)

    def test_ome_in_several_files(self):
        samples = samples_of("uint16", (2, 2, 2, 5, 6))
        names = [f"set_C{c}.ome.tif" for c in range(2)]
        uuids = [f"urn:uuid:00000000-0000-4000-8000-00000000000{c}" for c in range(2)]
        blocks = "".join(
            f'<TiffData FirstC="{c}" FirstT="{t}" IFD="{2 * t}" PlaneCount="2">'
            f'<UUID FileName="/far/away/{names[c]}">{uuids[c]}</UUID></TiffData>' for c in range(2) for t in range(2))
        for c in range(2):
            text = (f'<?xml version="1.0"?><OME xmlns="{NAMESPACE[1:-1]}" UUID="{uuids[c]}"><Image ID="Image:0">'
                    '<Pixels ID="Pixels:0" DimensionOrder="XYZCT" Type="uint16" SizeX="6" SizeY="5" SizeZ="2" '
                    f'SizeC="2" SizeT="2">{blocks}</Pixels></Image></OME>')
            tifffile.imwrite(self.folder / names[c], samples[:, :, c], photometric="minisblack", metadata=None,
                             description=text, byteorder="<>"[c])
        for name in names:
            self.expect(self.folder / name, samples)
        (self.folder / names[1]).unlink()
        self.stack = self.folder / names[0]
        self.refused(names[1], "is missing", "one folder")
        tifffile.imwrite(self.folder / names[1], samples[:, :, 1, 1:], photometric="minisblack", metadata=None)
        self.refused("page 1 is 6 x 4 uint16")

    def test_ome_with_a_companion(self):
        samples = samples_of("uint16", (2, 2, 2, 5, 6))
        for companion in ("all.companion.ome", "set_T0.ome.tif"):
            names = [f"set_T{t}.ome.tif" for t in range(2)]
            blocks = "".join(f'<TiffData FirstT="{t}" IFD="0" PlaneCount="4"><UUID FileName="{names[t]}">urn:uuid:{t}'
                             '</UUID></TiffData>' for t in range(2))
            text = (f'<OME xmlns="{NAMESPACE[1:-1]}" UUID="urn:uuid:0"><Image><Pixels DimensionOrder="XYCZT" SizeX="6" '
                    f'SizeY="5" SizeZ="2" SizeC="2" SizeT="2" PhysicalSizeX="0.1">{blocks}</Pixels></Image></OME>')
            if companion.endswith(".ome"):
                (self.folder / companion).write_text(text)
            for t in range(2):
                reference = (f'<OME xmlns="{NAMESPACE[1:-1]}"><BinaryOnly MetadataFile="{companion}" '
                             f'UUID="urn:uuid:{t}"/></OME>')
                tifffile.imwrite(self.folder / names[t], samples[t], photometric="minisblack", metadata=None,
                                 description=text if names[t] == companion else reference)
            for name in names:
                self.expect(self.folder / name, samples, voxel="0.100000 - -")
        self.stack = self.folder / names[1]
        (self.folder / names[0]).unlink()
        self.refused(names[0], "is missing", "one folder")
        (self.folder / names[0]).write_text("<nothing/>")
        self.refused(names[0], "holds none for it")

    def test_ome_times_of_planes(self):
        planes = "".join(f'<Plane TheT="{t}" TheC="{c}" TheZ="0" DeltaT="{10 + 250 * t + c}" DeltaTUnit="ms"/>'
                         for t in range(3) for c in range(2))
        text = ('<OME><Image><Pixels DimensionOrder="XYCZT" SizeX="6" SizeY="5" SizeZ="1" SizeC="2" SizeT="3">'
                f'{planes}</Pixels></Image></OME>')
        samples = samples_of("uint8", (3, 1, 2, 5, 6))
        tifffile.imwrite(self.stack, samples.reshape(6, 5, 6), photometric="minisblack", metadata=None,
                         description=text)
        self.expect(self.stack, samples, time="250 ms")

    def test_ome_that_was_given_another_name(self):
        text = (f'<OME xmlns="{NAMESPACE[1:-1]}" UUID="urn:uuid:1"><Image><Pixels SizeX="6" SizeY="5" SizeZ="1" '
                'SizeC="2" SizeT="1" DimensionOrder="XYZCT"><TiffData FirstC="1" IFD="0">'
                '<UUID FileName="old.ome.tif">urn:uuid:1</UUID></TiffData><TiffData FirstC="0" IFD="1">'
                '<UUID FileName="old.ome.tif">urn:uuid:1</UUID></TiffData></Pixels></Image></OME>')
        samples = samples_of("uint8", (2, 5, 6))
        tifffile.imwrite(self.stack, samples, photometric="minisblack", metadata=None, description=text)
        self.expect(self.stack, samples[::-1].reshape(1, 1, 2, 5, 6))

    def test_ome_axes_that_contradict(self):
        def write(sizes, inside=""):
            text = f'<OME><Image><Pixels SizeX="6" SizeY="5" {sizes}>{inside}</Pixels></Image></OME>'
            tifffile.imwrite(self.stack, numpy.zeros((4, 5, 6), numpy.uint8), photometric="minisblack",
                             metadata=None, description=text)
        write('SizeZ="3" SizeC="2"')
        self.refused("tell of 6 planes but it holds 4 pages")
        write('SizeZ="2" SizeC="2147483647"')
        self.refused("more planes than any file has")
        write('SizeC="2147483647"', '<Channel SamplesPerPixel="2147483647"/>')
        self.refused("tell of")

    def test_axes_by_name(self):
        samples = samples_of("uint16")
        for axes in ("TZCYX", "CTZYX", "ZCTYX"):
            with self.subTest(axes=axes):
                tifffile.imwrite(self.stack, samples.transpose(*("TZCYX".index(a) for a in axes)),
                                 photometric="minisblack", metadata={"axes": axes})
                self.expect(self.stack, samples, file="TIFF little")
        tifffile.imwrite(self.stack, samples[0, :, 0], photometric="minisblack", metadata={"axes": "QYX"})
        self.expect(self.stack, samples[:1, :, :1])
        tifffile.imwrite(self.stack, samples[0], photometric="minisblack", metadata={"axes": "RCYX"})
        self.refused("axes are 'RCYX'", "T, Z, C")
        tifffile.imwrite(self.stack, samples[:, 0, 0], photometric="minisblack",
                         description='{"shape": [5, 5, 6], "axes": "TYX"}', metadata=None)
        self.refused("5 time point(s), but it holds 3 planes")

    def test_plain_pages_are_slices(self):
        samples = samples_of("uint16", (7, 5, 6))
        for options in ({}, {"metadata": None}):
            tifffile.imwrite(self.stack, samples, photometric="minisblack", **options)
            self.expect(self.stack, samples.reshape(1, 7, 1, 5, 6))

    def test_colours(self):
        samples = samples_of("uint16", (32, 48, 3))
        planar = samples.transpose(2, 0, 1)
        for options in ({}, {"tile": (16, 16)}, {"compression": "zlib", "tile": (32, 16)}, {"rowsperstrip": 7},
                        {"byteorder": ">"}):
            with self.subTest(options=options):
                tifffile.imwrite(self.stack, samples, photometric="rgb", **options)
                self.expect(self.stack, planar[None, None])
                tifffile.imwrite(self.stack, planar, photometric="rgb", planarconfig="separate", **options)
                self.expect(self.stack, planar[None, None])
        transparent = numpy.concatenate([samples, samples[..., :1] + 1], axis=2)
        tifffile.imwrite(self.stack, transparent, photometric="rgb", extrasamples=["unassalpha"])
        self.expect(self.stack, planar[None, None])


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
