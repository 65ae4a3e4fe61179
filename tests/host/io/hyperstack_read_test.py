# SPDX-License-Identifier: MIT
"""rydecon reads stacks of channels and times that others write. Usage: hyperstack_read_test.py STACK_PROBE"""

import itertools
import sys
import unittest

from hyperstack import NAMESPACE, FolderTest, samples_of
from probe import numpy, tifffile


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
        self.refused("2 channels, 3 slices and 1 time point, but it holds 4 planes")
        write("ImageJ=1.53t\nchannels=3\nframes=2\n")
        self.refused("3 channels, 1 slice and 2 time points, but it holds 4 planes")
        write("ImageJ=1.53t\nchannels=2000000000\nslices=2000000000\nframes=2000000000\n")
        self.refused("2000000000 time points, but it holds 4 planes")
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
        self.refused("tell of 6 planes, but it holds 4 pages")
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
        self.refused("5 time points, but it holds 3 planes")

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


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
