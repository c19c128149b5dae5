#!/usr/bin/env python3
"""Compares the time that the compiler takes for a file that uses every class of the library, and for one that uses SOCI:
bench/compile_time.py [ROUNDS] [COMPILER]. The processor's time in user mode, one file after the other in each round."""

import pathlib
import resource
import subprocess
import sys
from statistics import median

HERE = pathlib.Path(__file__).parent


def seconds(compiler, name):
    before = resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime
    subprocess.run([compiler, "-std=c++17", "-I", HERE.parent / "include", "-c", HERE / "compile" / f"{name}.cpp",
                    "-o", "/dev/null"], check=True)
    return resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime - before


def main(rounds="15", compiler="g++"):
    pairs = [(seconds(compiler, "vorn"), seconds(compiler, "soci")) for _ in range(int(rounds) + 1)][1:]
    ours, theirs = (median(times) for times in zip(*pairs))
    ratios = sorted(a / b for a, b in pairs)
    print(f"{compiler}: vorn {ours * 1e3:.0f} ms, SOCI {theirs * 1e3:.0f} ms; vorn / SOCI: medians {ours / theirs:.2f}, "
          f"median of the pairs {median(ratios):.2f} ({ratios[0]:.2f} – {ratios[-1]:.2f})")


main(*sys.argv[1:])
