"""kalix.dask against dask's own reductions on the same array and scheduler: the variances of the
columns and the covariance matrix of a rows x 8 float64 array in 64 chunks.

The array is generated lazily, chunk by chunk (dask's seeded per-chunk generator), so it is never
held whole; generating the chunks is part of every timing and is also timed alone, to report the
reductions' own ratio as well. CPU time of the process (all scheduler threads; the machine is
shared), best of `repeats` rounds, the cases of a round back to back.

    PYTHONPATH=build/release/python /usr/bin/python3 bench/compare/dask_partials.py [rows] [repeats]
"""
import os
import sys
import time

os.environ.setdefault("OPENBLAS_NUM_THREADS", "1")
import dask  # noqa: E402
import dask.array as da  # noqa: E402
import numpy as np  # noqa: E402

import kalix.dask as kd  # noqa: E402

ROWS = int(float(sys.argv[1])) if len(sys.argv) > 1 else 100_000_000
REPEATS = int(sys.argv[2]) if len(sys.argv) > 2 else 3
COLS, CHUNKS = 8, 64

x = da.random.RandomState(20).random((ROWS, COLS), chunks=(ROWS // CHUNKS, COLS))


def first_row(b):
    return b[:1]


CASES = {
    "generation alone": lambda: x.map_blocks(first_row, chunks=((1,) * x.numblocks[0], (COLS,))),
    "kalix.dask.var(x, axis=0)": lambda: kd.var(x, axis=0),
    "x.var(axis=0, ddof=1)": lambda: x.var(axis=0, ddof=1),
    "kalix.dask.cov(x)": lambda: kd.cov(x),
    "da.cov(x, rowvar=False)": lambda: da.cov(x, rowvar=False),
}

best = dict.fromkeys(CASES, float("inf"))
results = {}
for _ in range(REPEATS):
    for name, make in CASES.items():
        lazy = make()
        t0 = time.process_time()
        results[name] = dask.compute(lazy)[0]
        best[name] = min(best[name], time.process_time() - t0)

np.testing.assert_allclose(results["kalix.dask.var(x, axis=0)"], results["x.var(axis=0, ddof=1)"], rtol=1e-9)
np.testing.assert_allclose(results["kalix.dask.cov(x)"], results["da.cov(x, rowvar=False)"], rtol=1e-9, atol=1e-9)

print(f"{ROWS} x {COLS} float64 in {CHUNKS} chunks, {dask.config.get('scheduler', 'threads')} scheduler, "
      f"CPU s, best of {REPEATS}")
for name, t in best.items():
    print(f"  {name:28} {t:8.2f}")
gen = best["generation alone"]
for ours, theirs in (("kalix.dask.var(x, axis=0)", "x.var(axis=0, ddof=1)"), ("kalix.dask.cov(x)", "da.cov(x, rowvar=False)")):
    gross = best[theirs] / best[ours]
    net = (best[theirs] - gen) / max(best[ours] - gen, 1e-9)
    print(f"  {theirs} / {ours}: {gross:5.2f}x with generation, {net:5.2f}x without")
