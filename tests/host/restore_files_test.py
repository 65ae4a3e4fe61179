# SPDX-License-Identifier: MIT
"""rydecon restore on files of other programs, on real stacks and on a disk that runs full.

Usage: restore_files_test.py RYDECON [SAMPLE_FOLDER]"""

import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

SKIPPED = 77

try:
    import numpy
    import tifffile
except ImportError as missing:
    print(f"skipped: {missing.name} is not installed for {sys.executable} (Debian: python3-tifffile)")
    sys.exit(SKIPPED)

PROGRAM = str(pathlib.Path(sys.argv[1]).resolve())
SAMPLES = pathlib.Path(sys.argv[2]) if len(sys.argv) > 2 else None
METHODS = ("accelerated", "lucy-richardson", "lucy-richardson-auto", "wiener")
NOBODY = 65534

SMALL_DISK = """
mount -t tmpfs -o size=256k none "$1" || exit 77
cd "$1"
"$2" restore "$3/in.tif" --psf "$3/psf.tif" -o out.tif -q; echo "code $?"
ls -A
"""


# Room for the output and some of its pieces; then for all of them.
DISK_OF_PIECES = """
mount -t tmpfs -o size=2000k none "$1" || exit 77
cd "$1"
restore="$2 restore $3/in.tif --psf $3/psf.tif -o out.tif --method lucy-richardson --iterations 3"
$restore --max-memory 17M -q; echo "code $?"
ls -A
mount -o remount,size=9000k none "$1"
$restore --max-memory 17M --resume 2> said | grep -o "from an earlier run"; rm said; ls -A
"""


def gaussian_psf():
    z, y, x = numpy.mgrid[-4:5, -4:5, -4:5]
    return numpy.exp(-(x * x + y * y + z * z / 2) / 3).astype(numpy.float32)


def pattern(width, height, planes):
    z, y, x = numpy.mgrid[:planes, :height, :width]
    return (20 + (x * 7 + y * 13 + z * 5) % 31).astype(numpy.uint16)


def correlation(a, b):
    return numpy.corrcoef(a.ravel().astype(float), b.ravel().astype(float))[0, 1]


def centre_of_light(stack):
    """Mean position of what is brighter than a quarter of the maximum."""
    weight = numpy.where(stack > stack.max() / 4, stack, 0)
    return [float((axis * weight).sum() / weight.sum()) for axis in numpy.indices(stack.shape)]


class RestoreTest(unittest.TestCase):
    def setUp(self):
        holder = tempfile.TemporaryDirectory(prefix="rydecon_restore_")
        self.addCleanup(holder.cleanup)
        self.folder = pathlib.Path(holder.name)
        self.write("psf.tif", gaussian_psf())

    def write(self, name, samples, **options):
        tifffile.imwrite(self.folder / name, samples, **{"photometric": "minisblack", **options})

    def restore(self, image="in.tif", psf="psf.tif", *more, **settings):
        words = [PROGRAM, "restore", str(image), "--psf", str(psf), "-o", "out.tif", "--overwrite", *more]
        return subprocess.run(words, cwd=self.folder, capture_output=True, text=True, errors="replace",
                              check=False, **settings)

    def restored(self, *words):
        finished = self.restore(*words)
        self.assertEqual(finished.returncode, 0, finished.stderr)
        return tifffile.imread(self.folder / "out.tif")

    def expect_refused(self, finished, part):
        self.assertEqual(finished.returncode, 1, finished)
        self.assertEqual(finished.stdout, "")
        self.assertEqual(finished.stderr.count("\n"), 1, finished.stderr)
        self.assertIn(part, finished.stderr)


class Files(RestoreTest):
    def test_result_reads_back_with_axes_and_spacing(self):
        self.write("in.tif", pattern(24, 20, 12), imagej=True, resolution=(1 / 0.065, 1 / 0.13),
                   metadata={"axes": "ZYX", "spacing": 0.3, "unit": "um"})
        self.assertEqual(self.restore().returncode, 0)
        with tifffile.TiffFile(self.folder / "out.tif") as file:
            self.assertEqual(file.series[0].axes, "ZYX")
            self.assertEqual(file.series[0].shape, (12, 20, 24))
            self.assertEqual(file.series[0].dtype, numpy.float32)
            self.assertEqual(file.imagej_metadata["spacing"], 0.3)
            self.assertEqual(file.imagej_metadata["unit"], "um")
            pitch = [1 / numpy.divide(*file.pages[0].tags[name].value) for name in ("XResolution", "YResolution")]
            numpy.testing.assert_allclose(pitch, (0.065, 0.13), rtol=1e-6)

    def test_sample_type_of_the_input_does_not_matter(self):
        image = (pattern(24, 20, 12) % 120).astype(numpy.uint8)
        self.write("in.tif", image)
        expected = self.restored()
        for name in ("int8", "uint16", "int16", "uint32", "int32", "float32", "float64"):
            for order in "<>":
                with self.subTest(name=name, order=order):
                    self.write("in.tif", image.astype(name), byteorder=order, compression="zlib")
                    numpy.testing.assert_array_equal(self.restored(), expected)

    def test_what_is_no_grey_stack_is_refused(self):
        image = pattern(24, 20, 12)
        for name, samples, options, part in (
                ("bits", numpy.zeros((16, 16), bool), {}, "cannot read"),
                ("complex", image.astype(numpy.complex64), {}, "complex samples"),
                ("half", image.astype(numpy.float16), {}, "16-bit float")):
            with self.subTest(name=name):
                self.write(name + ".tif", samples, **options)
                self.expect_refused(self.restore(name + ".tif"), f"'{name}.tif'")
                self.expect_refused(self.restore(name + ".tif"), part)
        self.assertFalse([path for path in self.folder.iterdir() if "out" in path.name])

    def test_folder_that_may_not_be_written(self):
        self.write("in.tif", pattern(24, 20, 12))
        self.folder.chmod(0o555)
        self.addCleanup(self.folder.chmod, 0o755)
        # The administrator may write anywhere, so nobody tries.
        become = {"user": NOBODY} if os.geteuid() == 0 else {}
        finished = self.restore(**become)
        self.expect_refused(finished, "no file can be created in the folder '.' (permission denied)")
        self.assertEqual(sorted(os.listdir(self.folder)), ["in.tif", "psf.tif"])

    def run_on_small_disk(self, script):
        with tempfile.TemporaryDirectory(prefix="rydecon_disk_") as disk:
            command = ["unshare", "--user", "--map-root-user", "--mount", "sh", "-c", script, "sh", disk,
                       PROGRAM, str(self.folder)]
            try:
                finished = subprocess.run(command, capture_output=True, text=True, check=False)
            except FileNotFoundError:
                self.skipTest("there is no unshare to mount a small disk with")
        if finished.returncode == 77 or "unshare" in finished.stderr:
            self.skipTest("no small disk can be mounted here: " + finished.stderr.strip())
        return finished

    def test_full_disk_of_pieces(self):
        self.write("in.tif", pattern(96, 80, 40))
        finished = self.run_on_small_disk(DISK_OF_PIECES)
        self.assertEqual(finished.stderr.count("\n"), 1, finished)
        self.assertIn("cannot write 'out.tif.parts/", finished.stderr)
        self.assertIn("no space left on device", finished.stderr)
        self.assertIn("and the same command with --resume goes on from there", finished.stderr)
        self.assertEqual(finished.stdout, "code 1\nout.tif.parts\nfrom an earlier run\nout.tif\nout.tif.json\n")

    def test_full_disk(self):
        self.write("in.tif", pattern(96, 80, 40))
        finished = self.run_on_small_disk(SMALL_DISK)
        self.assertEqual(finished.stdout, "code 1\n")
        self.assertEqual(finished.stderr.count("\n"), 1, finished.stderr)
        self.assertIn("cannot write 'out.tif': no space left on device", finished.stderr)


class RealStacks(RestoreTest):
    def sample(self, name):
        if SAMPLES is None or not (SAMPLES / name).is_file():
            self.skipTest(f"no sample stack {name}")
        return SAMPLES / name

    def test_bead_becomes_sharper(self):
        image = self.sample("bead25_data_64x64x64.tif")
        psf = self.sample("bead25_psf_64x64x64.tif")
        before = tifffile.imread(image).astype(float)
        for method in METHODS[:2]:
            with self.subTest(method=method):
                after = self.restored(image, psf, "--method", method, "--iterations", "10").astype(float)
                # Less light beside the bead, and the bead where it was.
                share = [stack[20:31, 23:40, 23:40].sum() / stack.sum() for stack in (before, after)]
                self.assertGreater(share[1], 1.5 * share[0])
                numpy.testing.assert_allclose(centre_of_light(after), centre_of_light(before), atol=1)

    def test_bars_come_closer_to_their_truth(self):
        image = self.sample("bars25_data_64x64x32.tif")
        psf = self.sample("bars25_psf_64x64x32.tif")
        truth = tifffile.imread(self.sample("bars25_truth_64x64x32.tif"))
        before = correlation(tifffile.imread(image), truth)
        for method in METHODS:
            with self.subTest(method=method):
                after = correlation(self.restored(image, psf, "--method", method), truth)
                self.assertGreater(after, before + (0.005 if method == "wiener" else 0.15))

    def test_plane_with_a_psf_of_even_sides_and_negative_samples(self):
        image = self.sample("bbii_dapi_blurred_972x576_2d.tif")
        psf = self.sample("bbii_psf_256x256_2d.tif")
        truth = tifffile.imread(self.sample("bbii_dapi_truth_972x576_2d.tif"))
        before = correlation(tifffile.imread(image), truth)
        finished = self.restore(image, psf, "--method", "wiener")
        self.assertEqual(finished.returncode, 0, finished.stderr)
        negative = int((tifffile.imread(psf) < 0).sum())
        self.assertIn(f"{negative} negative samples of the PSF are set to 0", finished.stderr)
        self.assertIn("x 1, ", finished.stdout)
        self.assertGreater(correlation(tifffile.imread(self.folder / "out.tif"), truth), before + 0.05)

    def test_stacks_without_a_psf_of_their_own(self):
        for name in ("wf_dapi_101x201x40.tif", "confocal_grid_1AU_150x150x21.tif", "bbii_nucleus_real_402x382_2d.tif"):
            with self.subTest(name=name):
                image = tifffile.imread(self.sample(name))
                if image.ndim == 2:
                    self.write("psf.tif", gaussian_psf()[4])
                after = self.restored(self.sample(name), "psf.tif", "--iterations", "5")
                self.assertEqual(after.shape, image.shape)
                self.assertTrue(numpy.isfinite(after).all())
                self.assertAlmostEqual(float(after.sum(dtype=float)) / float(image.sum(dtype=float)), 1, delta=0.1)
                self.assertGreater(float(after.std()), float(image.std()))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
