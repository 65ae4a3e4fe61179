# SPDX-License-Identifier: MIT
"""Pages that `rydecon restore --report` writes, opened in a browser without a window.

Usage: restored_page_test.py RYDECON"""

import pathlib
import subprocess
import sys
import tempfile
import unittest

from browser import open_browser
import numpy
import tifffile
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import Select

PROGRAM = str(pathlib.Path(sys.argv.pop(1)).resolve())
CHANNELS, SLICES, HEIGHT, WIDTH = 2, 9, 40, 48


def image():
    samples = numpy.random.default_rng(5).poisson(100, (SLICES, CHANNELS, HEIGHT, WIDTH))
    samples[3:6, 0, 10:14, 8:40] += 2000
    samples[4, 1, 20:24, 20:24] += 4000
    return samples.astype(numpy.uint16)


class RestoredPage(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        holder = tempfile.TemporaryDirectory(prefix="rydecon_restored_page_", ignore_cleanup_errors=True)
        cls.addClassCleanup(holder.cleanup)
        cls.folder = pathlib.Path(holder.name)
        tifffile.imwrite(cls.folder / "in.ome.tif", image(), photometric="minisblack",
                         metadata={"axes": "ZCYX", "PhysicalSizeX": 0.1, "PhysicalSizeY": 0.1, "PhysicalSizeZ": 0.3,
                                   "Channel": {"Name": ["DAPI", "GFP"], "EmissionWavelength": [461.0, 520.0]}})
        plane = numpy.exp(-0.5 * (numpy.arange(-4, 5) ** 2)[:, None]) * numpy.exp(-0.5 * (numpy.arange(-4, 5) ** 2))
        tifffile.imwrite(cls.folder / "psf.tif", plane.astype(numpy.float32), photometric="minisblack")
        tifffile.imwrite(cls.folder / "picture.tif", image()[4, 0], photometric="minisblack")
        optics = ("--modality", "widefield", "--na", "1.2", "--ri", "1.33")
        cls.restore("in.ome.tif", "channels", *optics, "--method", "lucy-richardson", "--iterations", "4")
        cls.restore("picture.tif", "picture", "--psf", "psf.tif", "--method", "rltm", "--iterations", "4")
        cls.browser = open_browser(cls.folder / "profile")
        cls.addClassCleanup(cls.browser.quit)

    @classmethod
    def restore(cls, source, name, *words):
        subprocess.run([PROGRAM, "restore", source, "-o", f"{name}-restored.tif", "--report", f"{name}.html", "--quiet", *words],
                       cwd=cls.folder, check=True)

    def open(self, name):
        self.browser.get((self.folder / f"{name}.html").as_uri())

    def find(self, selector):
        return next(e for e in self.browser.find_elements(By.CSS_SELECTOR, selector) if e.is_displayed())

    def test_all_loads_without_a_complaint(self):
        # Of each volume 15 views and 2 sections of its PSF; of a picture 5 and 1.
        for name, pictures in (("channels", CHANNELS * (15 + 2)), ("picture", 5 + 1)):
            with self.subTest(name=name):
                self.open(name)
                loaded = self.browser.execute_script(
                    "return [...document.images].map(i => i.complete && i.naturalWidth > 0)")
                self.assertEqual(loaded, [True] * pictures)
                self.assertEqual(self.browser.get_log("browser"), [])

    def test_divider_moves(self):
        self.open("channels")
        divider = self.find(".divider input")
        divider.send_keys(Keys.END)
        self.assertEqual(divider.get_attribute("value"), "100")
        clip = self.browser.execute_script(
            "return getComputedStyle([...document.querySelectorAll('.after .clip')].find(e => e.offsetParent)).clipPath")
        self.assertIn("100%", clip)

    def test_each_channel_has_its_section(self):
        self.open("channels")
        names = [option.text for option in Select(self.find("select")).options]
        self.assertEqual(len(names), CHANNELS)
        self.assertIn("DAPI", names[0])
        self.assertIn("GFP", names[1])

    def test_samples_before_are_those_of_the_file(self):
        self.open("channels")
        row = [cell.text for cell in self.find(".block tbody tr").find_elements(By.CSS_SELECTOR, "td")]
        first = image()[:, 0]
        self.assertEqual(float(row[0]), first.min())
        self.assertEqual(float(row[2]), first.max())
        self.assertEqual(row[3], f"{first.sum() / 1e6:.4f}×10⁶")

    def test_settings_stand_with_their_sources(self):
        self.open("channels")
        rows = {tuple(cell.text for cell in row.find_elements(By.CSS_SELECTOR, "th, td"))
                for row in self.browser.find_elements(By.CSS_SELECTOR, "tbody tr")}
        self.assertIn(("--iterations", "4", "given"), rows)
        self.assertIn(("--regularization", "0", "default"), rows)
        self.assertIn(("numerical aperture", "1.2", "--na"), rows)
        self.assertIn(("emission wavelength", "0.461 µm", "OME-XML"), rows)
        self.assertIn(("emission wavelength of channel GFP", "0.52 µm", "OME-XML"), rows)


if __name__ == "__main__":
    unittest.main(verbosity=2)
