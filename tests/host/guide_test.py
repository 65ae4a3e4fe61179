# SPDX-License-Identifier: MIT
"""The commands of the guide, run as they are written; the pages and pictures that are pointed to; every option.

Usage: guide_test.py DOCS RYDECON [TEST...]

Blocks that open with ```sh are run, one after the other, in one empty folder with the program first in PATH. A block
that opens with ```sh needs --OPTION is run where `rydecon restore` has that option."""

import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

import numpy
import tifffile

DOCS, PROGRAM = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2]).resolve()
PAGES = ("guide.md", "choosing.md", "pitfalls.md", "rydecon.md")
BLOCK = re.compile(r"^```sh(?: needs (--[a-z-]+))?\n(.*?)^```$", re.MULTILINE | re.DOTALL)


def anchors_of(page):
    """The names that links may have behind #: lower-case headings, blanks as dashes, other signs left out."""
    headings = re.findall(r"^#+ (.*)$", page.read_text(encoding="utf-8"), re.MULTILINE)
    return {re.sub(r"[^\w -]", "", heading.lower()).replace(" ", "-") for heading in headings}


class Guide(unittest.TestCase):
    def setUp(self):
        holder = tempfile.TemporaryDirectory(prefix="rydecon guide ")  # with a blank in its name
        self.addCleanup(holder.cleanup)
        self.folder = pathlib.Path(holder.name)
        self.environment = {**os.environ, "PATH": f"{PROGRAM.parent}{os.pathsep}{os.environ['PATH']}",
                            "OMP_WAIT_POLICY": "passive"}

    def bring_two_colours(self):
        """The file that the reader has and the guide does not make."""
        draw = numpy.random.default_rng(5)
        ground = numpy.full((2, 16, 2, 32, 32), 10.0)  # axes TZCYX
        ground[:, 6:10, :, 12:20, 12:20] = 80
        tifffile.imwrite(self.folder / "two-colours.tif", draw.poisson(ground).astype(numpy.uint16), imagej=True,
                         resolution=(10, 10), metadata={"axes": "TZCYX", "spacing": 0.3, "unit": "um"})

    def run_block(self, text):
        return subprocess.run(["sh", "-eu", "-c", text], cwd=self.folder, env=self.environment,
                              stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False)

    def test_commands_run_as_written(self):
        self.bring_two_colours()
        known = self.run_block("rydecon restore --help").stdout
        blocks = BLOCK.findall((DOCS / "guide.md").read_text(encoding="utf-8"))
        self.assertGreater(len(blocks), 10)
        told = ""
        for needed, text in blocks:
            if needed and needed not in known:
                continue
            finished = self.run_block(text)
            self.assertEqual(finished.returncode, 0, f"{text}\n{finished.stdout}{finished.stderr}")
            told += finished.stdout
        for name in re.findall(r" -o (\S+)", "".join(text for needed, text in blocks if not needed)):
            self.assertTrue((self.folder / name).exists(), name)
        self.figures_hold(told)

    def figures_hold(self, told):
        """What the guide says of the practice stacks is what the program printed, but for the last digit."""
        before, after = [float(number) for number in re.findall(r"^rmse (\S+)$", told, re.MULTILINE)][:2]
        self.assertAlmostEqual(before, 75.9, delta=1)
        self.assertAlmostEqual(after, 40.0, delta=1)
        iterations = int(re.search(r"^dim-restored.tif: .*?(\d+) iterations", told, re.MULTILINE).group(1))
        self.assertAlmostEqual(iterations, 50, delta=5)

    def test_every_option_is_described(self):
        pages = "\n".join(page.read_text(encoding="utf-8") for page in DOCS.glob("*.md"))
        described = set(re.findall(r"--[a-z0-9][a-z0-9-]*", pages))
        verbs = re.findall(r"^  ([a-z]+) ", self.run_block("rydecon --help").stdout, re.MULTILINE)
        self.assertIn("restore", verbs)
        for verb in verbs:
            self.assertIn(f"rydecon {verb} ", (DOCS / "rydecon.md").read_text(encoding="utf-8"))
            told = self.run_block(f"rydecon {verb} --help").stdout
            options = re.findall(r"^  (?:-\w, )?(--[a-z0-9-]+)", told, re.MULTILINE)
            self.assertIn("--help", options)
            self.assertEqual([option for option in options if option not in described], [], verb)

    def test_links_lead_somewhere(self):
        for page in PAGES:
            for target in re.findall(r"\]\(([^)\s]+)\)", (DOCS / page).read_text(encoding="utf-8")):
                if "://" in target:
                    continue
                name, _, anchor = target.partition("#")
                file = DOCS / (name or page)
                self.assertTrue(file.exists(), f"{page}: {target}")
                if anchor:
                    self.assertIn(anchor, anchors_of(file), f"{page}: {target}")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[3:], verbosity=2)
