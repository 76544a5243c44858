"""NumPy/SciPy counterparts of bench/LinAlgBench.cpp on the same data (best of 7, ms), one BLAS thread."""
import os

os.environ["OPENBLAS_NUM_THREADS"] = "1"  # the library creates no threads
import numpy as np  # noqa: E402
import scipy.linalg  # noqa: E402

from benchdata import best_of, uniform  # noqa: E402

G = uniform(32_000_000).reshape(1_000_000, 32)
G32 = G.astype(np.float32)
rows, cols = 1_000_000, 16
A = uniform(rows * cols).reshape(rows, cols)
y = A @ np.arange(1.0, cols + 1) + 0.01 * (uniform(rows * cols + rows)[rows * cols:] - 0.5)

print(f"X.T @ X (1e6 x 32, double)              {best_of(lambda: G.T @ G) * 1e3:8.1f} ms")
print(f"X.T @ X (1e6 x 32, single)              {best_of(lambda: G32.T @ G32) * 1e3:8.1f} ms")
print(f"numpy.cov(1e6 x 32, rowvar=False)       {best_of(lambda: np.cov(G, rowvar=False)) * 1e3:8.1f} ms")
print(f"scipy.linalg.lstsq gelsy (1e6 x 16)     "
      f"{best_of(lambda: scipy.linalg.lstsq(A, y, lapack_driver='gelsy', check_finite=False)) * 1e3:8.1f} ms")
