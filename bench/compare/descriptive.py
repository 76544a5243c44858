"""NumPy counterparts of bench/DescriptiveBench.cpp on the same data (best of 7, ms)."""
import os

os.environ["OPENBLAS_NUM_THREADS"] = "1"  # the library creates no threads
import numpy as np  # noqa: E402

from benchdata import best_of, uniform  # noqa: E402

m = uniform(32_000_000).reshape(1_000_000, 32)
x = uniform(10_000_000, 0.001, 1000.0)

print(f"numpy.cov(1e6 x 32, rowvar=False)   {best_of(lambda: np.cov(m, rowvar=False)) * 1e3:8.2f} ms")
print(f"numpy.histogram(1e7, bins=100)      {best_of(lambda: np.histogram(x, bins=100)) * 1e3:8.2f} ms")
print(f"exp(mean(log(x))) (1e7)             {best_of(lambda: np.exp(np.mean(np.log(x)))) * 1e3:8.2f} ms")
print(f"1 / mean(1 / x) (1e7)               {best_of(lambda: 1.0 / np.mean(1.0 / x)) * 1e3:8.2f} ms")
print(f"numpy.sum(1e7)                      {best_of(lambda: np.sum(x)) * 1e3:8.2f} ms")
