#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""What blind restoration makes of a wrong PSF: a simulated stack, restored with the true PSF, with one computed
for a numerical aperture that is off, and blind from the latter.

usage: blind_psf_error.py RYDECON [X Y Z]

Prints a Markdown table. Needs Debian's python3-tifffile. The PSF's error is the root mean square difference
from the true one, relative to the root mean square of that; the share of the image's error that is left is
relative to the blurred stack.
"""
import re
import subprocess
import sys
import tempfile
from pathlib import Path

import numpy
import tifffile

TRUE_NA = 1.0
WRONG_NAS = (0.8, 1.2)
SWEEPS = (10, 20, 40, 80)
PLAIN = ("lucy-richardson",)
BLIND = (("1", "off"), ("10", "off"), ("1", "0.8"))
OPTICS = ("--modality", "widefield", "--emission", "520nm", "--ri", "1.518", "--pixel", "0.1",
          "--z-step", "0.2")


def run(*command):
    return subprocess.run([str(c) for c in command], check=True, capture_output=True, text=True).stdout


def read(path):
    return tifffile.imread(path).astype(float)


def rms(a):
    return float(numpy.sqrt(numpy.mean(a ** 2)))


def make_psf(rydecon, path, na, size):
    run(rydecon, "psf", *OPTICS, "--na", na, "--size", *size, "-o", path)


def restore(rydecon, folder, psf, *more):
    run(rydecon, "restore", folder / "blurred.tif", "--psf", psf, "-o", folder / "out.tif", "--overwrite", "-q", *more)
    return rms(read(folder / "out.tif") - read(folder / "truth.tif"))


def row(*cells):
    print("| " + " | ".join(str(c) for c in cells) + " |", flush=True)


def main():
    rydecon = Path(sys.argv[1]).resolve()
    size = sys.argv[2:5] or ["96", "96", "48"]
    psf_size = ["33", "33", "33"]
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)
        true = folder / "true.tif"
        make_psf(rydecon, true, TRUE_NA, psf_size)
        run(rydecon, "simulate", "--size", *size, "--seed", "1", "--psf", true, "-o", folder, "--overwrite")
        truth, exact = read(folder / "truth.tif"), read(true)
        print(f"{' x '.join(size)} samples, NA {TRUE_NA}, error of the blurred stack "
              f"{rms(read(folder / 'blurred.tif') - truth):.4g}\n")
        row("PSF", "method", *(f"RMSE, {n} sweeps" for n in SWEEPS), "error of the PSF before", "after")
        print("|---" * (4 + len(SWEEPS)) + "|")
        for na in (TRUE_NA, *WRONG_NAS):
            start = folder / f"{na}.tif"
            make_psf(rydecon, start, na, psf_size)
            before = rms(read(start) - exact) / rms(exact)
            for method in PLAIN:
                errors = [restore(rydecon, folder, start, "--method", method, "--iterations", n) for n in SWEEPS]
                row(f"NA {na}", method, *(f"{e:.4g}" for e in errors), f"{before:.2f}", "")
            for inner, guard in BLIND:
                errors, after = [], []
                for n in SWEEPS:
                    refined = folder / "refined.tif"
                    errors.append(restore(rydecon, folder, start, "--method", "blind", "--iterations", 2 * n,
                                          "--inner", inner, "--guard", guard, "--psf-out", refined))
                    after.append(rms(read(refined) - exact) / rms(exact))
                row(f"NA {na}", f"blind, --inner {inner} --guard {guard}", *(f"{e:.4g}" for e in errors),
                    f"{before:.2f}", " ".join(f"{a:.2f}" for a in after))


if __name__ == "__main__":
    main()
