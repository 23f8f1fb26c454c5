"""Peers of the process-table refresh: procps ps and python3-psutil, reading the
same fields (pid, parent, resident and virtual size, threads, CPU time, name)."""
import subprocess

import psutil

PS_COMMAND = ["ps", "-eo", "pid,ppid,rss,vsz,nlwp,time,comm"]
PSUTIL_FIELDS = ["pid", "ppid", "name", "memory_info", "num_threads", "cpu_times", "create_time"]


def ps():
    subprocess.run(PS_COMMAND, stdout=subprocess.DEVNULL, check=True)


def psutil_process_iter():
    for p in psutil.process_iter(PSUTIL_FIELDS):
        p.info  # the fields were read by process_iter


PEERS = {"proctable": {"peer_ps": ps, "peer_psutil": psutil_process_iter}}
