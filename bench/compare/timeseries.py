"""statsmodels and R counterparts of bench/TimeSeriesBench.cpp on the same data (best of 7, ms).

Times are CPU seconds of this process (compare with Google Benchmark's CPU column): on the shared
machine the wall clock mostly measures the other jobs."""
import os
import subprocess
import tempfile

os.environ["OPENBLAS_NUM_THREADS"] = "1"  # the library creates no threads
import numpy as np  # noqa: E402
from statsmodels.tsa.stattools import acovf  # noqa: E402

import time  # noqa: E402

from benchdata import uniform  # noqa: E402


def best_of(fn, repeats=7):
    best = float("inf")
    for _ in range(repeats):
        t0 = time.process_time()
        fn()
        best = min(best, time.process_time() - t0)
    return best


x = uniform(1_000_000, -1.0, 1.0)
t = np.arange(10_008, dtype=np.float64)  # 834 whole years
y = (100 + 0.01 * t) * (1 + 0.3 * np.sin(2 * 3.14159265358979323846 * t / 12)) + 5 * (uniform(10_008) - 0.5)

print(f"acovf(1e6, nlag=99, fft=False)        {best_of(lambda: acovf(x, nlag=99, fft=False)) * 1e3:9.2f} ms")
print(f"acovf(1e6, nlag=99, fft=True)         {best_of(lambda: acovf(x, nlag=99, fft=True)) * 1e3:9.2f} ms")
print(f"acovf(1e6, nlag=9999, fft=True)       {best_of(lambda: acovf(x, nlag=9999, fft=True)) * 1e3:9.2f} ms")

# R: HoltWinters (multiplicative, fitted) on the seasonal series, ar.burg order 20 on 1e6 values.
with tempfile.TemporaryDirectory() as d:
    np.savetxt(os.path.join(d, "y.txt"), y, fmt="%.17g")
    np.savetxt(os.path.join(d, "x.txt"), x, fmt="%.17g")
    script = f"""
y <- ts(scan("{d}/y.txt", quiet = TRUE), frequency = 12)
x <- scan("{d}/x.txt", quiet = TRUE)
best <- function(f) min(sapply(1:7, function(i) sum(system.time(f())[c("user.self", "sys.self")])))
cat(sprintf("R HoltWinters(multiplicative, 10008) %9.2f ms\\n",
            1e3 * best(function() HoltWinters(y, seasonal = "multiplicative"))))
cat(sprintf("R ar.burg(1e6, order 20, aic=FALSE)  %9.2f ms\\n",
            1e3 * best(function() ar.burg(x, aic = FALSE, order.max = 20))))
"""
    subprocess.run(["Rscript", "-e", script], check=True)
