#!/usr/bin/env python3
"""Runs fuzz targets for a while and tells what came of it: executions, coverage, finds.

    run_targets.py PROGRAMS [--seconds N] [--jobs N] [--corpus FOLDER] [--extra FOLDER] [TARGET...]

PROGRAMS is the folder of the built programs (build-fuzz/fuzz). Every target starts from its seeds and its regressions.
With --corpus what it learns is kept in FOLDER/TARGET for the next run; files of --extra are tried by the targets that
take whole files. VX_SEED sets another random seed than 1. Ends with 1 when there is a find; finds stay in
PROGRAMS/found.
"""

import argparse
import os
import re
import shutil
import subprocess
import sys
import tempfile
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

HERE = Path(__file__).resolve().parent
FILE_TARGETS = {"info", "load", "directories", "edits", "compaction"}
MOST_BYTES = 4096
MOST_MEMORY_MIB = 2000
MOST_SECONDS_AN_INPUT = 60  # of the clock; the targets themselves look at processor time
LINES_OF_A_FIND = 60


def run_target(target, options, corpus):
    folder = corpus / target
    found = Path(options.programs) / "found" / target
    found.mkdir(parents=True, exist_ok=True)
    for regression in (HERE / "regressions").rglob(f"{target}-*"):
        shutil.copy(regression, folder / regression.name)
    command = [
        str(Path(options.programs) / f"fuzz_{target}"),
        f"-max_total_time={options.seconds}",
        f"-max_len={MOST_BYTES}",
        f"-rss_limit_mb={MOST_MEMORY_MIB}",
        f"-timeout={MOST_SECONDS_AN_INPUT}",
        "-entropic=0",  # counting every feature takes longer than the slower targets do
        f"-seed={os.environ.get('VX_SEED', '1')}",
        f"-dict={HERE / 'tiff.dict'}",
        f"-artifact_prefix={found}/",
        "-print_final_stats=1",
        str(folder),
    ]
    if options.extra and target in FILE_TARGETS:
        command.append(options.extra)
    environment = dict(os.environ)
    # A small quarantine stays in the cache; short stacks are enough to see who allocated a block.
    fast = "quarantine_size_mb=16:malloc_context_size=8"
    environment["ASAN_OPTIONS"] = f"allocator_may_return_null=1:detect_leaks=1:{fast}:{os.environ.get('ASAN_OPTIONS', '')}"
    environment.setdefault("UBSAN_OPTIONS", "print_stacktrace=1")
    done = subprocess.run(command, env=environment, capture_output=True, text=True, errors="replace")
    return target, done.returncode, done.stderr


def figures(log):
    executions = re.findall(r"^stat::number_of_executed_units:\s*(\d+)", log, re.M)
    lines = re.findall(r"cov: (\d+) ft: (\d+) corp: (\d+)", log)
    artefact = re.findall(r"Test unit written to (\S+)", log)
    coverage, features, inputs = lines[-1] if lines else ("?", "?", "?")
    return executions[-1] if executions else "?", coverage, features, inputs, artefact


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("programs")
    parser.add_argument("--seconds", type=int, default=20)
    parser.add_argument("--jobs", type=int, default=2)
    parser.add_argument("--corpus")
    parser.add_argument("--extra")
    parser.add_argument("targets", nargs="*")
    options = parser.parse_intermixed_args()

    with tempfile.TemporaryDirectory() as scratch:
        corpus = Path(options.corpus or scratch)
        replay = Path(options.programs) / "fuzz_replay"
        seeds = subprocess.run([replay, "--seeds", corpus], check=True, capture_output=True, text=True).stdout
        targets = options.targets or [line.split(":")[0] for line in seeds.splitlines()]
        print(f"seed {os.environ.get('VX_SEED', '1')}, {options.seconds} s for each target")
        print(f"{'target':<12} {'executions':>11} {'edges':>7} {'features':>9} {'inputs':>7}  finds", flush=True)
        finds = 0
        with ThreadPoolExecutor(options.jobs) as pool:
            for target, status, log in pool.map(lambda name: run_target(name, options, corpus), targets):
                executions, coverage, features, inputs, artefact = figures(log)
                told = "none" if status == 0 else " ".join(artefact) or f"ended with {status}"
                print(f"{target:<12} {executions:>11} {coverage:>7} {features:>9} {inputs:>7}  {told}", flush=True)
                if status != 0:
                    finds += 1
                    lines = [line for line in log.splitlines() if not re.match(r'^(#\d|")', line)]
                    print("\n".join(lines[:LINES_OF_A_FIND]), flush=True)
    return 1 if finds else 0


if __name__ == "__main__":
    sys.exit(main())
