"""SciPy counterparts of bench/GoodnessOfFitBench.cpp on the same data: best of 7, in CPU time
(process_time), comparable with Google Benchmark's CPU column on a loaded machine."""
import os

os.environ["OPENBLAS_NUM_THREADS"] = "1"  # the library creates no threads
import time  # noqa: E402

from scipy import stats  # noqa: E402

from benchdata import uniform  # noqa: E402


def per_call(fn, calls):
    """Best CPU time per call in seconds over seven batches of `calls` calls."""
    best = float("inf")
    for _ in range(7):
        t0 = time.process_time()
        for _ in range(calls):
            fn()
        best = min(best, (time.process_time() - t0) / calls)
    return best


def best_of(fn):
    return per_call(fn, 1)


def slice_(n, offset, scale=1.0, shift=0.0):
    return scale * uniform(n + offset)[offset:] + shift


x5000 = slice_(5000, 0)
x = uniform(1_000_000)
y = slice_(1_000_000, 1_000_000, 1.0, 0.001)

print(f"scipy.stats.shapiro (5000)                    {per_call(lambda: stats.shapiro(x5000), 200) * 1e6:10.2f} us")
print(f"scipy.stats.anderson norm (1e6)               {best_of(lambda: stats.anderson(x, 'norm')) * 1e3:10.2f} ms")
print(f"scipy.stats.ks_2samp (1e6 + 1e6)              {best_of(lambda: stats.ks_2samp(x, y)) * 1e3:10.2f} ms")
