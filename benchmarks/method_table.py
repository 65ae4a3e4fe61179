#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Every method of rydecon on simulated images of known truth: what is left of the error, and the time.

usage: method_table.py RYDECON [X Y Z]

Prints Markdown tables, for wide-field and confocal stacks and for pictures. Each method runs with its own defaults
but for the options listed here, on images of few to many photons, with the PSF that blurred them. The share of
the error is the root mean square difference from the truth relative to that of the blurred image; time is what a
user waits for the image of many photons, program start and files included. Needs Debian's python3-tifffile.
"""
import re
import subprocess
import sys
import tempfile
import time
from pathlib import Path

import numpy
import tifffile

PHOTONS = (50, 500, 5000)
CONFOCAL_PHOTONS = (20, 200)
OBJECTIVE = ("--na", "1.4", "--ri", "1.515", "--emission", "520nm")
WIDEFIELD = ("--modality", "widefield", *OBJECTIVE, "--pixel", "0.1", "--z-step", "0.3")
CONFOCAL = ("--modality", "confocal", *OBJECTIVE, "--excitation", "488nm", "--pinhole", "30um", "--magnification",
            "63", "--pixel", "0.08", "--z-step", "0.2")
STACK_METHODS = (
    ("accelerated",), ("accelerated", "--regularization", "2"), ("accelerated", "--wiener-start"),
    ("lucy-richardson",), ("lucy-richardson", "--regularization", "1"),
    ("lucy-richardson", "--iterations", "300", "--stop", "split"),
    ("lucy-richardson-auto",), ("lucy-richardson-auto", "--regularization", "0.1"),
    ("landweber",), ("landweber-auto",), ("landweber-wavelet",),
    ("tv",), ("tv-ictm",), ("blind",),
    ("wiener",), ("wiener", "--noise", "2"), ("wiener", "--noise", "4"),
)
PICTURE_METHODS = (
    ("rltm",), ("rltm", "--regularization", "0.1"), ("rltv",), ("rltv-real",), ("landweber",),
    ("landweber-plain",), ("blind",), ("accelerated",), ("wiener", "--noise", "2"),
)


def run(*command):
    return subprocess.run([str(c) for c in command], check=True, capture_output=True, text=True).stdout


def rms(a):
    return float(numpy.sqrt(numpy.mean(a ** 2)))


def read(path):
    return tifffile.imread(path).astype(float)


def plane_of(path):
    """The middle plane of a stack, as a picture beside it."""
    picture = path.with_name("picture-" + path.name)
    planes = tifffile.imread(path)
    tifffile.imwrite(picture, planes[len(planes) // 2].astype(numpy.float32))
    return picture


def measure(rydecon, blurred, truth, psf, out, method):
    """Share of the error that is left, seconds and iterations of one run."""
    start = time.perf_counter()
    text = run(rydecon, "restore", blurred, "--psf", psf, "-o", out, "--overwrite", "--method", *method)
    seconds = time.perf_counter() - start
    ran = re.search(r"(\d+) (iterations|cycles|sweeps)", text)
    exact = read(truth)
    return rms(read(out) - exact) / rms(read(blurred) - exact), seconds, ran.group(1) if ran else "direct"


def table(rydecon, folders, names, methods):
    columns = " | ".join(f"{folder.name} photons: error left | iterations" for folder in folders)
    print(f"| `--method` | {columns} | seconds |")
    print("|---" * (2 + 2 * len(folders)) + "|")
    for method in methods:
        cells = []
        for folder in folders:
            blurred, truth, psf = (folder / name for name in names)
            left, seconds, ran = measure(rydecon, blurred, truth, psf, folder / "out.tif", method)
            cells += [f"{left:.2f}", ran]
        print(f"| `{' '.join(method)}` | " + " | ".join(cells) + f" | {seconds:.2f} |", flush=True)
    print()


def stacks(rydecon, parent, size, optics, photons):
    """One folder for each number of photons, named by it."""
    psf = parent / "optics.tif"
    parent.mkdir()
    run(rydecon, "psf", *optics, "-o", psf)
    folders = [parent / str(number) for number in photons]
    for folder in folders:
        run(rydecon, "simulate", "--size", *size, "--seed", "1", "--psf", psf, "--photons", folder.name, "-o", folder)
    return folders


def pictures(rydecon, parent):
    parent.mkdir()
    folders = [parent / str(number) for number in PHOTONS]
    for folder in folders:
        run(rydecon, "simulate", "--size", "512", "512", "8", "--seed", "1", "--sigma", "0.15", "0.15", "0.01",
            "--photons", folder.name, "-o", folder)
        for file in ("truth.tif", "blurred.tif", "psf.tif"):
            plane_of(folder / file)
    return folders


def main():
    rydecon = Path(sys.argv[1]).resolve()
    size = sys.argv[2:5] or ["128", "128", "64"]
    names = ("blurred.tif", "truth.tif", "psf.tif")
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)
        for title, optics, photons in (("wide-field", WIDEFIELD, PHOTONS), ("confocal", CONFOCAL, CONFOCAL_PHOTONS)):
            print(f"Stacks of {' x '.join(size)} samples, a {title} microscope of NA 1.4:\n")
            table(rydecon, stacks(rydecon, folder / title, size, optics, photons), names, STACK_METHODS)
        print("Pictures of 512 x 512 pixels, blurred by a Gaussian of 1.5 pixels:\n")
        table(rydecon, pictures(rydecon, folder / "pictures"), [f"picture-{n}" for n in names], PICTURE_METHODS)


if __name__ == "__main__":
    main()
