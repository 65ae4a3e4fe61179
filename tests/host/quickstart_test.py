# SPDX-License-Identifier: MIT
"""The script quickstart, in a folder of its own with a program that is built already.

Usage: quickstart_test.py QUICKSTART RYDECON"""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

SCRIPT, PROGRAM = sys.argv[1:3]


class Quickstart(unittest.TestCase):
    def setUp(self):
        holder = tempfile.TemporaryDirectory(prefix="rydecon quickstart ")  # with a blank in its name
        self.addCleanup(holder.cleanup)
        self.project = pathlib.Path(holder.name) / "project"
        self.project.mkdir()
        self.elsewhere = pathlib.Path(holder.name) / "my data"
        self.elsewhere.mkdir()
        shutil.copy(SCRIPT, self.project / "quickstart")
        self.output = self.project / "quickstart-output"

    def run_script(self, *words, program=PROGRAM):
        environment = {**os.environ, "RYDECON": str(program), "QUICKSTART_SIZE": "64 64 32"}
        return subprocess.run([self.project / "quickstart", *words], cwd=self.elsewhere, env=environment,
                              capture_output=True, text=True, check=False)

    def expect_usage_error(self, part, *words):
        finished = self.run_script(*words)
        self.assertEqual(finished.returncode, 2, finished)
        self.assertEqual(finished.stdout, "")
        self.assertIn(part, finished.stderr)
        self.assertEqual(finished.stderr.count("\n"), 1)
        self.assertFalse(self.output.exists())

    def errors(self, finished):
        return [float(line.split()[1]) for line in finished.stdout.splitlines() if line.startswith("rmse ")]

    def test_wrong_words(self):
        self.expect_usage_error("usage: ./quickstart [IMAGE.tif PSF.tif]", "one.tif")
        self.expect_usage_error("usage: ./quickstart [IMAGE.tif PSF.tif]", "a.tif", "b.tif", "c.tif")
        self.expect_usage_error("usage: ./quickstart [IMAGE.tif PSF.tif]", "--help")
        self.expect_usage_error("a.tif: no such file", "a.tif", "b.tif")

    def test_own_program_that_is_missing(self):
        finished = self.run_script(program="/no/rydecon")
        self.assertEqual(finished.returncode, 2, finished)
        self.assertIn("/no/rydecon", finished.stderr)

    def test_twice_in_a_row_then_with_own_files(self):
        for _ in range(2):
            finished = self.run_script()
            self.assertEqual(finished.returncode, 0, finished.stderr)
            before, after = self.errors(finished)
            self.assertLess(after, before)
            self.assertEqual(sorted(path.name for path in self.output.iterdir()),
                             ["before-and-after.png", "blurred.tif", "optics.tif", "psf.tif", "restored.tif",
                              "restored.tif.json", "truth.tif"])
            self.assertIn(str(self.output / "before-and-after.png"), finished.stdout)

        subprocess.run([PROGRAM, "simulate", "-q", "-o", self.elsewhere, "--size", "24", "20", "16"], check=True)
        (self.elsewhere / "blurred.tif").rename(self.elsewhere / "my image.tif")
        mine = sorted((path.name, path.read_bytes()) for path in self.elsewhere.iterdir())
        shutil.rmtree(self.output)
        finished = self.run_script("my image.tif", str(self.elsewhere / "psf.tif"))
        self.assertEqual(finished.returncode, 0, finished.stderr)
        self.assertIn("24 x 20 x 16 samples", finished.stdout)
        self.assertEqual(sorted(path.name for path in self.output.iterdir()), ["before-and-after.png", "restored.tif", "restored.tif.json"])
        self.assertEqual(sorted((path.name, path.read_bytes()) for path in self.elsewhere.iterdir()), mine)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
