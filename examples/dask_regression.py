"""A regression and summary statistics over a dask array of 2 million rows in 16 chunks, next to
the same calls on the whole array in memory: the numbers agree to the last digit or two.

    PYTHONPATH=build/release/python /usr/bin/python3 examples/dask_regression.py

Every chunk is made by its own seeded generator, so the array exists only chunk by chunk; the
in-memory column computes it once in full to compare."""
import dask
import dask.array as da
import numpy as np

import kalix.dask as kd
from kalix import partials, regress, statistics

ROWS, CHUNK = 2_000_000, 125_000


def make_chunk(block_id=None):
    """Rows of one chunk: x1, x2 and y = 3 + 2 x1 - 0.5 x2 + noise, x1 around 1000."""
    rng = np.random.default_rng(block_id[0])
    x = rng.normal(size=(CHUNK, 2)) + [1000.0, 10.0]
    y = 3.0 + 2.0 * x[:, 0] - 0.5 * x[:, 1] + rng.normal(scale=0.1, size=CHUNK)
    return np.column_stack([x, y])


def mean_of(column):
    m = partials.Moments()
    m.add(column)
    return m.finish()["mean"]


data = da.map_blocks(make_chunk, dtype=np.float64, chunks=((CHUNK,) * (ROWS // CHUNK), (3,)))
X, y = data[:, :2], data[:, 2]

# Lazy: nothing is computed until dask.compute, which runs all of it in one pass per statistic.
fit, stats, cov = dask.compute(kd.linear_regression(X, y), kd.moments(data, axis=0), kd.cov(data))
median = kd.percentile(y, 0.5)

# The same on the whole array in memory.
whole = data.compute()
b, fitted, v = regress.mul_lin_regress(whole[:, 2], whole[:, :2])
rss = float(((whole[:, 2] - fitted) ** 2).sum())
se = np.sqrt(np.diag(v) * rss / (ROWS - 3))

print(f"{ROWS} rows in {data.numblocks[0]} chunks of {CHUNK}\n")
print(f"{'':22}{'dask, chunk by chunk':>26}{'in memory':>26}")
rows = [(f"b[{i}]", fit["coefficients"][i], b[i]) for i in range(3)]
rows += [(f"se(b[{i}])", fit["std_errors"][i], se[i]) for i in range(3)]
rows += [("R^2", fit["r2"], regress.r2(whole[:, 2], fitted))]
rows += [(f"mean {c}", stats["mean"][j], mean_of(whole[:, j])) for j, c in enumerate(("x1", "x2", "y"))]
rows += [(f"variance {c}", stats["variance"][j], statistics.covariance(whole[:, j]))
         for j, c in enumerate(("x1", "x2", "y"))]
rows += [("covariance x1, y", cov[0, 2], statistics.covariance(whole)[0, 2])]
rows += [("median y", median, statistics.percentile(whole[:, 2], 0.5))]
for name, lazy, eager in rows:
    print(f"{name:22}{lazy:26.15g}{eager:26.15g}")
