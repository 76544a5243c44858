"""Mergeable partial results: summaries of blocks of data that merge in any order.

Each class keeps a summary of the values added so far: ``add`` a block, ``merge`` another
partial of the same kind (returns self), ``finish`` for the result as a dict, ``state`` for a
flat float64 array and ``from_state`` to rebuild from one (pickling goes through the state).
Every partial accumulates in float64, also for float32 data, and keeps its own shift (its
first value), so blocks of data with a large common offset merge without losing digits.
Empty partials merge as the identity. Results equal the in-memory routines to rounding.

- ``Moments()``: add(x 1-D); finish -> n, mean, variance (divisor n - 1), skewness
  m3/m2^1.5, kurtosis m4/m2^2 (not excess; moments with divisor n).
- ``Comoments(p)``: add(X n x p); finish -> n, mean, covariance, correlation.
- ``Histogram(lo, hi, bins)``: equal-width bins over the fixed limits [lo, hi], binned as
  ``statistics.histogram`` bins (a value equal to hi in the last bin; values outside and NaNs
  not counted); add(x 1-D); finish -> counts (int64), edges (bins + 1).
- ``LeastSquares(p, constant=True)``: add(X n x p, y n); finish -> coefficients (intercept
  first), std_errors, rss, r2, df (residual degrees of freedom), and n, sst, adjusted_r2,
  residual_var, F, pvalue. Keeps only the triangular factor of [1 | X | y] (QR, never X'X).
- ``Anova1()``: add(x 1-D, groups int 1-D, numbered 0 .. k-1); finish(alpha=0.05) -> the
  table of ``regress.anova1``: ss1 (between), ss2 (within), ss_total, deg1, deg2, deg_total,
  ms1, ms2, F, f_crit, pvalue.

add and finish release the interpreter lock; do not add to one partial from two threads at
once (distinct partials are independent).
"""
from ._kalix.partials import *  # noqa: F401,F403
from ._kalix.partials import Anova1, Comoments, Histogram, LeastSquares, Moments

__all__ = ["Moments", "Comoments", "Histogram", "LeastSquares", "Anova1"]
