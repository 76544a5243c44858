"""statsmodels counterparts of bench/ARMABench.cpp on the same data (best of 5, CPU ms).

ML ARMA(2, 1) with a constant on 1e4 values; innovations MA(3) and Hannan-Rissanen ARMA(2, 1)
(long AR order 20) on 1e6 values. R's arima(method = "ML") is timed by arma.R."""
import os
import time
import warnings

os.environ["OPENBLAS_NUM_THREADS"] = "1"  # the library creates no threads
import numpy as np  # noqa: E402
from statsmodels.tsa.arima.model import ARIMA  # noqa: E402
from statsmodels.tsa.arima.estimators.innovations import innovations  # noqa: E402
from statsmodels.tsa.arima.estimators.hannan_rissanen import hannan_rissanen  # noqa: E402

from benchdata import uniform  # noqa: E402

warnings.simplefilter("ignore")


def arma21(n):
    """x[t] = 10 + w[t], w[t] = 0.5 w[t-1] - 0.3 w[t-2] + e[t] + 0.4 e[t-1], e = u - 0.5."""
    e = uniform(n) - 0.5
    x = np.empty(n)
    w1 = w2 = e1 = 0.0
    for t in range(n):
        w = 0.5 * w1 - 0.3 * w2 + e[t] + 0.4 * e1
        w2, w1, e1 = w1, w, e[t]
        x[t] = 10 + w
    return x


def best_of(fn, repeats=5):
    best = float("inf")
    for _ in range(repeats):
        t0 = time.process_time()
        fn()
        best = min(best, time.process_time() - t0)
    return best


if __name__ == "__main__":
    x4 = arma21(10_000)
    x6 = arma21(1_000_000)
    if os.environ.get("ARMA_WRITE"):  # the inputs of arma.R
        np.savetxt(os.environ["ARMA_WRITE"], x4, fmt="%.17g")
    print(f"ARIMA(2,0,1).fit() 1e4                 {best_of(lambda: ARIMA(x4, order=(2, 0, 1)).fit()) * 1e3:9.2f} ms")
    print(f"innovations(ma_order=3) 1e6            {best_of(lambda: innovations(x6, ma_order=3)) * 1e3:9.2f} ms")
    print(f"hannan_rissanen(2, 1, m=20) 1e6        "
          f"{best_of(lambda: hannan_rissanen(x6, 2, 1, initial_ar_order=20, unbiased=False)) * 1e3:9.2f} ms")
