"""NumPy counterparts of bench/RandomBench.cpp (best of 7, ms; wall and CPU time, the latter to
set beside Google Benchmark's CPU column on a busy machine): Generator methods of
default_rng(seed), the same laws and parameters; plain sum over the same buffer as yardstick.
Usage: variates.py [n_large] (default 1e8; pass 10000000 on a machine short of memory)."""
import os
import sys

os.environ["OPENBLAS_NUM_THREADS"] = "1"  # the library creates no threads
import numpy as np  # noqa: E402

import time  # noqa: E402

from benchdata import best_of  # noqa: E402


def both(fn, repeats=7):
    """'wall ms / cpu ms', best of `repeats` each."""
    cpu = float("inf")
    for _ in range(repeats):
        t0 = time.process_time()
        fn()
        cpu = min(cpu, time.process_time() - t0)
    return f"{best_of(fn, repeats) * 1e3:9.2f} / {cpu * 1e3:9.2f} ms"


big = int(sys.argv[1]) if len(sys.argv) > 1 else 100_000_000
small = 10_000_000
rng = np.random.default_rng(1)
print(f"standard_normal({big:.0e})          {both(lambda: rng.standard_normal(big))}")
out = np.empty(big)
print(f"standard_normal({big:.0e}, out=)    {both(lambda: rng.standard_normal(out=out))}")
print(f"random({big:.0e}, out=)             {both(lambda: rng.random(out=out))}")
print(f"sum over the same buffer           {both(lambda: np.sum(out))}")
del out
print(f"gamma(2.5, 1, {small:.0e})            {both(lambda: rng.gamma(2.5, 1.0, small))}")
print(f"binomial(100, 0.3, {small:.0e})       {both(lambda: rng.binomial(100, 0.3, small), 3)}")
print(f"poisson(40, {small:.0e})              {both(lambda: rng.poisson(40, small), 3)}")
