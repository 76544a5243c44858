"""kalix.dask against dask's own reductions on the same array and scheduler: the variances of the
columns and the covariance matrix of a rows x 8 float64 array in 64 chunks.

The array is generated lazily, chunk by chunk (dask's seeded per-chunk generator), so it is never
held whole; generating the chunks is then part of every timing. Arrays of at most 2 GB are also
timed held in memory (persisted), the reductions alone. CPU time of the process (all scheduler
threads; the machine is shared), best of `repeats` rounds, the cases of a round back to back.

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
arrays = {"generated": x}
if ROWS * COLS * 8 <= 2e9:  # small enough to also time the reductions alone, on chunks held in memory
    arrays["in memory"] = x.persist()

CASES = {
    "kalix.dask.var(x, axis=0)": lambda a: kd.var(a, axis=0),
    "x.var(axis=0, ddof=1)": lambda a: a.var(axis=0, ddof=1),
    "kalix.dask.cov(x)": lambda a: kd.cov(a),
    "da.cov(x, rowvar=False)": lambda a: da.cov(a, rowvar=False),
}
PAIRS = (("kalix.dask.var(x, axis=0)", "x.var(axis=0, ddof=1)"), ("kalix.dask.cov(x)", "da.cov(x, rowvar=False)"))

print(f"{ROWS} x {COLS} float64 in {CHUNKS} chunks, {dask.config.get('scheduler', 'threads')} scheduler, "
      f"CPU s of the process, best of {REPEATS}")
for label, arr in arrays.items():
    best = dict.fromkeys(CASES, float("inf"))
    results = {}
    for _ in range(REPEATS):
        for name, make in CASES.items():
            lazy = make(arr)
            t0 = time.process_time()
            results[name] = dask.compute(lazy)[0]
            best[name] = min(best[name], time.process_time() - t0)
    for ours, theirs in PAIRS:
        np.testing.assert_allclose(results[ours], results[theirs], rtol=1e-9, atol=1e-12)
    print(f" {label}:")
    for name, t in best.items():
        print(f"  {name:28} {t:8.2f}")
    for ours, theirs in PAIRS:
        print(f"  {theirs} / {ours}: {best[theirs] / best[ours]:5.2f}x")
