#!/usr/bin/python3
"""Idle cost of the whole monitor: every module of the build's plug-ins folder
and its status items, at the default 2 s interval, for one minute, measured side
by side with `top -d 2` over the same minute. Prints the monitor's share of one
core and its resident memory, and its CPU time as a ratio of top's.

On a virtual machine the cost of a system call follows the host's load, and one
minute can cost half as much again as the next; so the minute is measured
--windows times in a row (3 by default), and each minute and their median are
printed.

The monitor runs on a private session bus (dbus-run-session), so its status
items are on a bus; no tray shows them, so no host reads their pictures.

Usage: bench/idle_monitor.py [build dir] [--seconds N] [--windows N]
"""
import argparse
import os
import statistics
import subprocess
import sys
import tempfile
import time

TICK = os.sysconf("SC_CLK_TCK")


def cpu_seconds(pid):
    with open(f"/proc/{pid}/stat") as f:
        fields = f.read().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / TICK  # utime + stime


def rss_mb(pid):
    with open(f"/proc/{pid}/status") as f:
        for line in f:
            if line.startswith("VmRSS:"):
                return int(line.split()[1]) / 1024.0
    return 0.0


def children(pid):
    try:
        with open(f"/proc/{pid}/task/{pid}/children") as f:
            return [int(p) for p in f.read().split()]
    except OSError:
        return []


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("build", nargs="?", default="build/release")
    ap.add_argument("--seconds", type=float, default=60.0)
    ap.add_argument("--windows", type=int, default=3)
    args = ap.parse_args()
    monitor = os.path.join(args.build, "bin", "plvmonitor")
    windows = []  # (monitor seconds, top seconds, wall seconds)
    with tempfile.TemporaryDirectory() as group:
        env = dict(os.environ, PLV_GROUP_CONTAINER=group, QT_QPA_PLATFORM="offscreen")
        env.pop("PLV_PLUGINS_PATH", None)
        session = subprocess.Popen(["dbus-run-session", "--", monitor], env=env,
                                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        top = subprocess.Popen(["top", "-b", "-d", "2"], stdout=subprocess.DEVNULL)
        try:
            time.sleep(5)  # start-up: modules loaded, first ticks done
            pid = next((c for c in children(session.pid)
                        if os.path.basename(os.readlink(f"/proc/{c}/exe")) == "plvmonitor"), None)
            if pid is None:
                print("idle_monitor: plvmonitor did not start", file=sys.stderr)
                return 1
            for _ in range(max(1, args.windows)):
                m0, t0, w0 = cpu_seconds(pid), cpu_seconds(top.pid), time.monotonic()
                time.sleep(args.seconds)
                windows.append((cpu_seconds(pid) - m0, cpu_seconds(top.pid) - t0, time.monotonic() - w0))
            rss = rss_mb(pid)
        finally:
            top.terminate()
            session.terminate()
            top.wait()
            session.wait()

    def share(seconds, wall):
        return 100 * seconds / wall

    def ratio(mon, tp):
        return f"{mon / tp:.2f}" if tp > 0 else "n/a"

    print(f"{'group':28} {'case':34} {'value':>12} {'x top -d 2':>11}")
    for i, (mon, tp, wall) in enumerate(windows, 1):
        print(f"{'idle_monitor':28} {f'minute {i}: top -d 2 (baseline)':34} {share(tp, wall):10.3f} % {'1.00':>11}")
        print(f"{'idle_monitor':28} {f'minute {i}: plvmonitor':34} {share(mon, wall):10.3f} % {ratio(mon, tp):>11}")
    mon = statistics.median(share(m, w) for m, _, w in windows)
    tp = statistics.median(share(t, w) for _, t, w in windows)
    print(f"{'idle_monitor':28} {'median: top -d 2 (baseline)':34} {tp:10.3f} % {'1.00':>11}")
    print(f"{'idle_monitor':28} {'median: plvmonitor, all modules':34} {mon:10.3f} % {ratio(mon, tp):>11}")
    print(f"{'idle_monitor':28} {'plvmonitor resident':34} {rss:10.1f} MB")
    return 0


if __name__ == "__main__":
    sys.exit(main())
