"""SciPy counterparts of bench/HypothesisTestsBench.cpp on the same data (best of 7)."""
import os

os.environ["OPENBLAS_NUM_THREADS"] = "1"  # the library creates no threads
import time  # noqa: E402

from scipy import stats  # noqa: E402

from benchdata import best_of, uniform  # noqa: E402


def per_call(fn, calls):
    """Best CPU time per call in seconds over seven batches of `calls` calls (the machine is
    shared; the C++ benchmarks and hypothesis.R report CPU time too)."""
    best = float("inf")
    for _ in range(7):
        t0 = time.process_time()
        for _ in range(calls):
            fn()
        best = min(best, (time.process_time() - t0) / calls)
    return best


def slice_(n, offset, scale=1.0, shift=0.0):
    return scale * uniform(n + offset)[offset:] + shift


x = uniform(10_000_000)
x20 = uniform(20)
a, b = slice_(50, 0), slice_(50, 50, 1.0, 0.1)
w14 = slice_(14, 0, 1.0, -0.3)
sx, sy = uniform(1_000_000), slice_(1_000_000, 1_000_000)

print(f"scipy.stats.ttest_1samp (1e7)                 {best_of(lambda: stats.ttest_1samp(x, 0.5)) * 1e3:10.2f} ms")
print(f"ttest_1samp + confidence_interval (20)        {per_call(lambda: stats.ttest_1samp(x20, 0.5).confidence_interval(), 2000) * 1e6:10.2f} us")
print(f"scipy.stats.mannwhitneyu exact (50 x 50)      {per_call(lambda: stats.mannwhitneyu(a, b, method='exact'), 200) * 1e6:10.2f} us")
print(f"scipy.stats.wilcoxon exact (14)               {per_call(lambda: stats.wilcoxon(w14, method='exact'), 2000) * 1e6:10.2f} us")
print(f"scipy.stats.spearmanr (1e6 pairs)             {best_of(lambda: stats.spearmanr(sx, sy)) * 1e3:10.2f} ms")
