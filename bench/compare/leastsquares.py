"""Ratio table for the least-squares, small-call and memory-bound workloads: runs kalix_bench
(Google Benchmark, CPU time) and the NumPy counterparts on the same data (CPU time, best of
7, OpenBLAS on one thread) in one process run, so the ratios are measured back to back.

    python3 bench/compare/leastsquares.py [path/to/kalix_bench]
"""
import json
import os
import subprocess
import sys
import time

os.environ["OPENBLAS_NUM_THREADS"] = "1"
import numpy as np  # noqa: E402

from benchdata import uniform  # noqa: E402

here = os.path.dirname(os.path.abspath(__file__))
bench = sys.argv[1] if len(sys.argv) > 1 else os.path.join(here, "..", "..", "build", "release", "bench", "kalix_bench")


def cpu_best(fn, repeats=7):
    """Best CPU time in seconds of fn() (the first run warms caches)."""
    best = float("inf")
    for _ in range(repeats):
        t0 = time.process_time()
        fn()
        best = min(best, time.process_time() - t0)
    return best


def kalix_times(pattern):
    """Median CPU time in ms of each benchmark matching pattern."""
    out = subprocess.run([bench, f"--benchmark_filter={pattern}", "--benchmark_format=json",
                          "--benchmark_repetitions=5", "--benchmark_report_aggregates_only=true"],
                         check=True, capture_output=True, text=True).stdout
    times = {}
    for b in json.loads(out)["benchmarks"]:
        if b.get("aggregate_name") == "median":
            scale = {"ns": 1e-6, "us": 1e-3, "ms": 1.0, "s": 1e3}[b["time_unit"]]
            times[b["run_name"]] = b["cpu_time"] * scale
    return times


k = kalix_times("LeastSquares|Small_|ReadYardstick|BM_Percentile_1e7|BM_CoreSum_1e7|BM_Covariance_1e6x32")

rows, cols = 1_000_000, 16
A = uniform(rows * cols).reshape(rows, cols)
y = A @ np.arange(1.0, cols + 1) + 0.01 * (uniform(rows * cols + rows)[rows * cols:] - 0.5)
w = 0.5 + uniform(rows * (cols + 1) + rows)[rows * (cols + 1):]
sw = np.sqrt(w)


def ne():
    return np.linalg.solve(A.T @ A, A.T @ y)


def ne_ones():
    D = np.hstack([np.ones((rows, 1)), A])
    return np.linalg.solve(D.T @ D, D.T @ y)


def ne_ones_ycalc_v():
    D = np.hstack([np.ones((rows, 1)), A])
    g = D.T @ D
    b = np.linalg.solve(g, D.T @ y)
    return b, D @ b, np.linalg.inv(g)


def ne_weighted():
    D = np.hstack([np.ones((rows, 1)), A]) * sw[:, None]
    return np.linalg.solve(D.T @ D, D.T @ (y * sw))


t_ne = cpu_best(ne)
x7 = uniform(10_000_000, -500.0, 500.0)
m32 = uniform(32_000_000).reshape(1_000_000, 32)
table = [
    ("MulLinRegress 1e6x16, no constant", k["BM_LeastSquares_1e6x16/0"], "solve(X'X, X'y)", t_ne * 1e3),
    ("MulLinRegress 1e6x16, constant", k["BM_LeastSquares_1e6x16/1"], "solve(X'X, X'y) (no constant)", t_ne * 1e3),
    ("MulLinRegress 1e6x16, constant", k["BM_LeastSquares_1e6x16/1"], "same on hstack([1, X])", cpu_best(ne_ones) * 1e3),
    ("  with YCalc and V", k["BM_LeastSquares_1e6x16/2"], "same + inv + D @ b", cpu_best(ne_ones_ycalc_v) * 1e3),
    ("  weighted, constant", k["BM_LeastSquares_1e6x16/3"], "same on sqrt(w)-scaled rows", cpu_best(ne_weighted) * 1e3),
    ("Gram A^T A 1e6x16 (floor)", k["BM_LeastSquaresGram_1e6x16"], "X.T @ X", cpu_best(lambda: A.T @ A) * 1e3),
    ("Percentile 1e7", k["BM_Percentile_1e7"], "numpy.percentile", cpu_best(lambda: np.percentile(x7, 30)) * 1e3),
    ("Percentile 1e7", k["BM_Percentile_1e7"], "one streaming read (core Sum)", k["BM_CoreSum_1e7"]),
    ("Percentile 1e7 after other work", k["BM_Percentile_1e7_AfterOtherWork"], "back-to-back calls",
     k["BM_Percentile_1e7"]),
    ("Covariance 1e6x32", k["BM_Covariance_1e6x32"], "numpy.cov", cpu_best(lambda: np.cov(m32, rowvar=False)) * 1e3),
    ("Covariance 1e6x32", k["BM_Covariance_1e6x32"], "one streaming read (core Sum)", k["BM_ReadYardstick_1e6x32"]),
    ("MulLinRegress 20x3 (us)", k["BM_Small_MulLinRegress_20x3"] * 1e3, "plain C++ loop",
     k["BM_Small_PlainLoopRegress_20x3"] * 1e3),
    ("Percentile 20 (us)", k["BM_Small_Percentile_20"] * 1e3, "plain C++ loop", k["BM_Small_PlainLoopPercentile_20"] * 1e3),
    ("Mean 20 (us)", k["BM_Small_Mean_20"] * 1e3, "plain C++ loop", k["BM_Small_PlainLoopMean_20"] * 1e3),
    ("RegressTest 20 (us)", k["BM_Small_RegressTest_20"] * 1e3, "plain C++ loop + core FCDF",
     k["BM_Small_PlainLoopRegressTest_20"] * 1e3),
]
print(f"{'workload':36s} {'Kalix ms':>10s}  {'versus':32s} {'ms':>10s} {'ratio':>7s}")
for name, ours, other, theirs in table:
    print(f"{name:36s} {ours:10.4g}  {other:32s} {theirs:10.4g} {ours / theirs:7.2f}")
