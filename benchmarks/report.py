#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs benchmark executables and prints their ratios as Markdown tables.

usage: report.py FOLDER [NAME...]      FOLDER holds the built benchmarks; all of them, or those named
"""
import json
import os
import subprocess
import sys
from pathlib import Path


def rows_of(program):
    text = subprocess.run([program, "--benchmark_format=json"], check=True, capture_output=True, text=True).stdout
    for benchmark in json.loads(text)["benchmarks"]:
        name = benchmark["name"].removeprefix("BM_").split("/iterations")[0].split("/manual_time")[0]
        times = {key: value for key, value in benchmark.items() if key.endswith("_ms")}
        if "ratio" in benchmark:
            yield name, times, benchmark["ratio"]


def main():
    folder = Path(sys.argv[1])
    names = sys.argv[2:] or sorted(p.name for p in folder.glob("*_benchmark") if os.access(p, os.X_OK))
    for name in names:
        rows = list(rows_of(folder / name))
        if not rows:
            continue
        keys = list(rows[0][1])
        print(f"\n### {name}\n\n| case | {' | '.join(k.replace('_ms', ', ms') for k in keys)} | ratio |")
        print("|---" * (len(keys) + 2) + "|")
        for case, times, ratio in rows:
            print(f"| {case} | {' | '.join(f'{times[k]:.1f}' for k in keys)} | {ratio:.2f} |")


if __name__ == "__main__":
    main()
