"""The benchmark inputs of bench/BenchData.h, regenerated with NumPy (same splitmix64 rule)."""
import numpy as np


def uniform(n, lo=0.0, hi=1.0):
    i = np.arange(n, dtype=np.uint64)
    with np.errstate(over="ignore"):
        z = i + np.uint64(0x9E3779B97F4A7C15)
        z = (z ^ (z >> np.uint64(30))) * np.uint64(0xBF58476D1CE4E5B9)
        z = (z ^ (z >> np.uint64(27))) * np.uint64(0x94D049BB133111EB)
        z ^= z >> np.uint64(31)
    u = (z >> np.uint64(11)).astype(np.float64) * 2.0**-53
    return lo + (hi - lo) * u


def best_of(fn, repeats=7):
    """Best wall time in seconds of fn() over repeats runs (the first warms caches)."""
    import time
    best = float("inf")
    for _ in range(repeats):
        t0 = time.perf_counter()
        fn()
        best = min(best, time.perf_counter() - t0)
    return best
