#!/usr/bin/python3
"""Runs the benchmark programs and prints every case as a ratio against its group's baseline.

Conventions
  * Each program is build/<preset>/bench/bench_<name>; benchmark names are
    "<group>/<case>[/<args>]". The case named "baseline" is the floor of its group,
    measured in the same run; every other case is reported as time / baseline.
    A case that sets items processed is reported per item.
  * Peers outside C++ (python3-psutil, procps ps, ...) live in bench/peers_<name>.py:
    a module-level PEERS = {"<group>": {"<case>": callable}} whose callables run one
    iteration; they are timed here, in this Python process, and reported against the
    same group's baseline.

Usage: bench/run.py [build dir] [--filter REGEX] [--repetitions N]
"""
import argparse
import glob
import importlib.util
import json
import os
import re
import statistics
import subprocess
import sys
import time

HERE = os.path.dirname(os.path.abspath(__file__))


def run_program(path, flt, repetitions):
    cmd = [path, "--benchmark_format=json", f"--benchmark_repetitions={repetitions}",
           "--benchmark_report_aggregates_only=true"]
    if flt:
        cmd.append(f"--benchmark_filter={flt}")
    env = dict(os.environ, QT_QPA_PLATFORM=os.environ.get("QT_QPA_PLATFORM", "offscreen"))
    out = subprocess.run(cmd, check=True, capture_output=True, text=True, env=env).stdout
    results = {}
    if not out.strip():  # nothing matched the filter
        return results
    for b in json.loads(out)["benchmarks"]:
        name = b.get("run_name", b["name"])
        if b.get("error_occurred"):  # skipped where this machine lacks what it needs
            print(f"# {name}: skipped: {b.get('error_message', '')}", file=sys.stderr)
            continue
        if b.get("aggregate_name", "median") != "median":
            continue
        unit = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}[b.get("time_unit", "ns")]
        secs = b["real_time"] * unit
        # A case that processes several items per iteration is reported per item.
        if b.get("items_per_second"):
            secs = 1.0 / b["items_per_second"]
        results[name] = (secs, b.get("label", ""))
    return results


def time_peer(fn, min_time=0.5, max_iters=10000):
    fn()  # warm-up
    samples = []
    start = time.perf_counter()
    while time.perf_counter() - start < min_time and len(samples) < max_iters:
        t0 = time.perf_counter()
        fn()
        samples.append(time.perf_counter() - t0)
    return statistics.median(samples)


def split(name):
    # Google Benchmark's own decorations are not part of the case's name.
    name = re.sub(r"/(iterations:\d+|repeats:\d+|manual_time|real_time|process_time)", "", name)
    parts = name.split("/")
    return parts[0], "/".join(parts[1:]) or parts[0]


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("build", nargs="?", default=os.path.join(HERE, "..", "build", "release"))
    ap.add_argument("--filter", default="")
    ap.add_argument("--repetitions", type=int, default=5)
    args = ap.parse_args()

    groups = {}
    for prog in sorted(glob.glob(os.path.join(args.build, "bench", "bench_*"))):
        if not os.access(prog, os.X_OK) or os.path.isdir(prog):
            continue
        for name, (secs, label) in run_program(prog, args.filter, args.repetitions).items():
            group, case = split(name)
            groups.setdefault(group, {})[case] = (secs, label or os.path.basename(prog))

    for peer_file in sorted(glob.glob(os.path.join(HERE, "peers_*.py"))):
        spec = importlib.util.spec_from_file_location(os.path.basename(peer_file)[:-3], peer_file)
        mod = importlib.util.module_from_spec(spec)
        try:
            spec.loader.exec_module(mod)
        except Exception as e:  # a missing peer is reported, not fatal
            print(f"# {os.path.basename(peer_file)}: {e}", file=sys.stderr)
            continue
        for group, cases in getattr(mod, "PEERS", {}).items():
            if args.filter and not re.search(args.filter, group):
                continue
            for case, fn in cases.items():
                try:
                    groups.setdefault(group, {})[case] = (time_peer(fn), "peer")
                except Exception as e:
                    print(f"# peer {group}/{case}: {e}", file=sys.stderr)

    print(f"{'group':28} {'case':34} {'median':>12} {'x baseline':>11}")
    for group in sorted(groups):
        cases = groups[group]
        base = cases.get("baseline", (None,))[0]
        for case in sorted(cases, key=lambda c: (c != "baseline", c)):
            secs, _ = cases[case]
            ratio = f"{secs / base:10.2f}x" if base else "          -"
            print(f"{group:28} {case:34} {secs * 1e6:10.2f}us {ratio}")


if __name__ == "__main__":
    main()
