"""SciPy counterparts of bench/RegressBench.cpp on the same data (best of 7, ms), one BLAS thread."""
import os

os.environ["OPENBLAS_NUM_THREADS"] = "1"
import numpy as np  # noqa: E402
import scipy.linalg  # noqa: E402
from scipy import stats  # noqa: E402

from benchdata import best_of, uniform  # noqa: E402

rows, cols = 1_000_000, 16
A = uniform(rows * cols).reshape(rows, cols)
y = A @ np.arange(1.0, cols + 1) + 0.01 * (uniform(rows * cols + rows)[rows * cols:] - 0.5)
D = np.hstack([np.ones((rows, 1)), A])  # the constant's column, as MulLinRegress builds it


def gelsy():
    return scipy.linalg.lstsq(D, y, lapack_driver="gelsy", check_finite=False)[0]


def gelsy_with_ones():
    return scipy.linalg.lstsq(np.hstack([np.ones((rows, 1)), A]), y, lapack_driver="gelsy", check_finite=False)[0]


n = 10_000_000
x = uniform(n)
g = np.floor(10.0 * uniform(2 * n)[n:]).astype(np.int32)
groups = [x[g == j] for j in range(10)]  # split before timing

print(f"scipy.linalg.lstsq gelsy 1e6 x 17             {best_of(gelsy) * 1e3:8.1f} ms")
print(f"  with building [1 | A] in the timing         {best_of(gelsy_with_ones) * 1e3:8.1f} ms")
print(f"scipy.stats.f_oneway 1e7 in 10 groups         {best_of(lambda: stats.f_oneway(*groups)) * 1e3:8.1f} ms")
