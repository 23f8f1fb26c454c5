"""python3-psutil doing what one CPU + memory sample does, timed by bench/run.py."""
import os

import psutil


def sample():
    psutil.cpu_times(percpu=True)
    psutil.virtual_memory()
    psutil.swap_memory()
    os.getloadavg()
    psutil.boot_time()


PEERS = {"sample": {"psutil": sample}}


def sample_with_tasks():
    # The same plus the process count, which the C++ sample also takes.
    sample()
    len(psutil.pids())


PEERS["sample"]["psutil+pids"] = sample_with_tasks
