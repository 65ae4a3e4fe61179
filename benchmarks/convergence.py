#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Error against time on a simulated stack: the iterative methods of rydecon beside scikit-image, in one run.

usage: convergence.py RYDECON [X Y Z]

Prints a Markdown table. Needs Debian's python3-skimage and python3-tifffile. Time is what a user waits for an
iteration count, program start and files included; scikit-image gets the stack in memory.
"""
import re
import subprocess
import sys
import tempfile
import time
from pathlib import Path

import numpy
import tifffile
from skimage.restoration import richardson_lucy

COUNTS = (5, 10, 20, 40)
METHODS = ("lucy-richardson", "lucy-richardson-auto", "accelerated")


def rmse(a, b):
    return float(numpy.sqrt(numpy.mean((a.astype(float) - b.astype(float)) ** 2)))


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def restore(rydecon, folder, method, iterations, *more):
    start = time.perf_counter()
    text = run(rydecon, "restore", folder / "blurred.tif", "--psf", folder / "psf.tif", "-o", folder / "out.tif",
               "--overwrite", "--method", method, "--iterations", str(iterations), *more)
    return time.perf_counter() - start, text


def of_rydecon(rydecon, folder, truth, method):
    for iterations in COUNTS:
        seconds, text = restore(rydecon, folder, method, iterations)
        ran = int(re.search(r"(\d+) iterations", text).group(1))
        yield ran, seconds, rmse(tifffile.imread(folder / "out.tif"), truth)
        if ran < iterations:
            return


def of_skimage(folder, truth):
    blurred = tifffile.imread(folder / "blurred.tif").astype(numpy.float32)
    psf = tifffile.imread(folder / "psf.tif").astype(numpy.float32)
    for iterations in COUNTS:
        start = time.perf_counter()
        result = richardson_lucy(blurred, psf, num_iter=iterations, clip=False)
        yield iterations, time.perf_counter() - start, rmse(result, truth)


def main():
    rydecon = sys.argv[1]
    size = sys.argv[2:5] or ["128", "128", "64"]
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)
        run(rydecon, "simulate", "--size", *size, "--seed", "1", "-o", folder, "--overwrite")
        truth = tifffile.imread(folder / "truth.tif")
        print(f"{' x '.join(size)} samples, error of the blurred stack "
              f"{rmse(tifffile.imread(folder / 'blurred.tif'), truth):.4g}\n")
        print("| method | iterations | seconds | RMSE |\n|---|---|---|---|")
        rows = [(m, of_rydecon(rydecon, folder, truth, m)) for m in METHODS]
        rows.append(("scikit-image", of_skimage(folder, truth)))
        for method, results in rows:
            for iterations, seconds, error in results:
                print(f"| {method} | {iterations} | {seconds:.2f} | {error:.4g} |", flush=True)


if __name__ == "__main__":
    main()
