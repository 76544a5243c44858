"""kalix describe against pandas read_csv + describe() on the same 1e7 x 3 CSV (about 300 MB).

Usage: /usr/bin/python3 bench/compare/cli_describe.py PATH/TO/kalix [CSV]
Makes the CSV once (kept for later runs), then alternates the two, CPU time of each, 3 rounds.
"""
import os
import resource
import subprocess
import sys
import time

os.environ["OPENBLAS_NUM_THREADS"] = "1"
import numpy as np  # noqa: E402
import pandas as pd  # noqa: E402

from benchdata import uniform  # noqa: E402

kalix = sys.argv[1]
path = sys.argv[2] if len(sys.argv) > 2 else "/tmp/kalix_describe_1e7x3.csv"
n = 10_000_000
if not os.path.exists(path):
    u = uniform(3 * n).reshape(n, 3)
    frame = pd.DataFrame({"a": u[:, 0] * 1000.0 - 500.0, "b": np.log(u[:, 1] + 1e-12), "c": u[:, 2]})
    frame.to_csv(path, index=False, float_format="%.8g")
print(f"file {path}: {os.path.getsize(path) / 1e6:.0f} MB, {n} rows x 3 columns")


def child_cpu():
    r = resource.getrusage(resource.RUSAGE_CHILDREN)
    return r.ru_utime + r.ru_stime


def run_kalix():
    before, t0 = child_cpu(), time.perf_counter()
    subprocess.run([kalix, "describe", path, "--format", "csv"], check=True, stdout=subprocess.DEVNULL)
    return child_cpu() - before, time.perf_counter() - t0


def run_pandas():
    before, t0 = time.process_time(), time.perf_counter()
    pd.read_csv(path).describe()
    return time.process_time() - before, time.perf_counter() - t0


for round_ in range(3):
    k_cpu, k_wall = run_kalix()
    p_cpu, p_wall = run_pandas()
    print(f"round {round_ + 1}: kalix {k_cpu:6.2f} s CPU ({k_wall:6.2f} s wall)   "
          f"pandas {p_cpu:6.2f} s CPU ({p_wall:6.2f} s wall)   ratio pandas/kalix CPU {p_cpu / k_cpu:5.2f}")
