"""Statistics of dask arrays through the library's mergeable partial results.

Every chunk is summarised by a partial result of kalix.partials; partials travel between tasks
as their state arrays (plain float64 NumPy arrays, so any scheduler can ship them), are merged up
dask's reduction tree and finished at the root. Each partial keeps its own shift, so data far from
zero (1e9 + small noise) merge without the loss of digits that a merge of plain sums suffers.

Results are lazy, as with dask's own reductions: dask arrays, or dicts of dask arrays for the
records (moments, linear_regression, anova1); call .compute() or dask.compute(...), which
computes a record's fields in one pass. The one exception is percentile, whose selection pass
depends on what its histogram pass found: it runs its passes on the current scheduler and
returns NumPy values, exactly those of kalix.statistics.percentile on the whole array.

Works with any dask scheduler: the default threads, "synchronous", "processes" and a
dask.distributed cluster. dask is imported on first use only.

    import dask.array as da, kalix.dask as kd
    x = da.random.random((10_000_000, 8), chunks=(1_000_000, 8))
    var, cov = dask.compute(kd.var(x, axis=0), kd.cov(x))
"""
import functools
import math

import numpy as np

from . import partials as _partials
from . import statistics as _statistics

__all__ = ["moments", "mean", "var", "skew", "kurtosis", "cov", "corrcoef", "histogram",
           "linear_regression", "anova1", "percentile"]


def _da():
    import dask.array  # noqa: PLC0415 (lazy: kalix itself does not need dask)
    return dask.array


def _as_dask(x):
    da = _da()
    return x if isinstance(x, da.Array) else da.asarray(x)


def _out_dtype(x):
    return np.dtype(np.float32) if x.dtype == np.float32 else np.dtype(np.float64)


# ---------------------------------------------------------------- the reduction tree
# A chunk's summary is {"parts": [(partial class, state), ...]}; the dict keeps dask from
# treating the list as nested blocks. Combining restores the partials, merges them position
# by position and hands the states on; the root finishes.

def _flatten(tree):
    if isinstance(tree, list):
        return [leaf for t in tree for leaf in _flatten(t)]
    return [tree]


def _summaries(parts):
    return {"parts": [(type(p), p.state()) for p in parts]}


def _merged(tree):
    summaries = _flatten(tree)
    acc = [cls.from_state(s) for cls, s in summaries[0]["parts"]]
    for other in summaries[1:]:
        for p, (cls, s) in zip(acc, other["parts"]):
            p.merge(cls.from_state(s))
    return acc


def _chunk(block, weights=None, axis=None, keepdims=None, add=None, computing_meta=False, **_):
    if computing_meta:  # dask probing the output type with an empty array
        return block
    return _summaries(add(block) if weights is None else add(block, weights))


def _combine(tree, axis=None, keepdims=None, **_):
    return _summaries(_merged(tree))


def _aggregate(tree, axis=None, keepdims=None, finish=None, **_):
    return finish(_merged(tree))


def _reduce(x, add, finish, name, weights=None):
    """Delayed finish(partials) of x's chunks: add(block[, weights block]) -> list of partials."""
    da = _da()
    r = da.reduction(x, functools.partial(_chunk, add=add), functools.partial(_aggregate, finish=finish),
                     combine=_combine, axis=tuple(range(x.ndim)), keepdims=True, dtype=np.float64,
                     concatenate=False, meta=np.empty((0,) * x.ndim), name="kalix-" + name, weights=weights)
    return r.to_delayed().ravel()[0]


def _lazy(delayed, key, shape, dtype):
    return _da().from_delayed(delayed[key], shape=shape, dtype=dtype)


def _columns(x, axis):
    """x as rows x columns in one column chunk, and whether the result is per column."""
    x = _as_dask(x)
    if x.ndim == 2 and axis == 0:
        return (x.rechunk({1: -1}) if x.numblocks[1] > 1 else x), True
    if x.ndim == 2 and axis is None:
        x = x.reshape(-1)
    elif x.ndim != 1 or axis not in (None, 0):
        raise ValueError(f"kalix.dask: axis must be None or 0 for a {x.ndim}-D array, not {axis!r}")
    return x[:, None], False


# ---------------------------------------------------------------- moments

_MOMENTS = ("n", "mean", "variance", "skewness", "kurtosis")


def _added(partial, *data):
    partial.add(*data)
    return partial


_SLAB_ROWS = 1 << 15


def _moments_add(block):
    # Columns go to the partials strided (the binding copies them), a slab of rows at a time so
    # that the slab stays in cache while its columns are read: twice as fast as whole columns.
    parts, rows = [_partials.Moments() for _ in range(block.shape[1])], _SLAB_ROWS
    for start in range(0, block.shape[0], rows):
        slab = block[start:start + rows]
        for j, p in enumerate(parts):
            p.add(slab[:, j])
    return parts


def _moments_finish(dtype, parts):
    done = [p.finish() for p in parts]
    out = {k: np.array([d[k] for d in done], dtype=np.float64 if k == "n" else dtype) for k in _MOMENTS}
    out["n"] = out["n"].astype(np.int64)
    return out


def moments(x, axis=None):
    """Count, mean, variance (divisor n - 1), skewness and kurtosis of x (axis=None) or of each
    column of a 2-D x (axis=0), as a dict of lazy dask arrays from one pass over the data.
    Skewness and kurtosis are the library's (those of kalix.partials.Moments)."""
    cols, per_column = _columns(x, axis)
    dtype = _out_dtype(cols)
    d = _reduce(cols, _moments_add, functools.partial(_moments_finish, dtype), "moments")
    shape = (cols.shape[1],)
    out = {k: _lazy(d, k, shape, np.int64 if k == "n" else dtype) for k in _MOMENTS}
    return out if per_column else {k: v[0] for k, v in out.items()}


def mean(x, axis=None):
    """Mean of x, or of each column with axis=0 (lazy)."""
    return moments(x, axis)["mean"]


def var(x, axis=None):
    """Sample variance (divisor n - 1) of x, or of each column with axis=0 (lazy)."""
    return moments(x, axis)["variance"]


def skew(x, axis=None):
    """Skewness m3 / m2^1.5 (moments with divisor n) of x, or of each column with axis=0 (lazy)."""
    return moments(x, axis)["skewness"]


def kurtosis(x, axis=None):
    """Kurtosis m4 / m2^2 (not the excess) of x, or of each column with axis=0 (lazy)."""
    return moments(x, axis)["kurtosis"]


# ---------------------------------------------------------------- covariance and correlation

def _comoments(x):
    x = _as_dask(x)
    if x.ndim != 2:
        raise ValueError(f"kalix.dask: x must be a 2-D array (rows are observations), not {x.ndim}-D")
    x = x.rechunk({1: -1}) if x.numblocks[1] > 1 else x
    p = x.shape[1]
    dtype = _out_dtype(x)
    add = functools.partial(_comoments_add, p)
    return _reduce(x, add, functools.partial(_in_precision, dtype), "comoments"), p, dtype


def _comoments_add(p, block):
    return [_added(_partials.Comoments(p), block)]


def _first_finish(parts):
    return parts[0].finish()


def _in_precision(dtype, parts):
    """The finished matrices in the data's precision, as the in-memory routines give them."""
    return {k: np.asarray(v, dtype=dtype) for k, v in parts[0].finish().items()}


def cov(x):
    """Covariance matrix (divisor n - 1) of the columns of a 2-D x (lazy p x p dask array)."""
    d, p, dtype = _comoments(x)
    return _lazy(d, "covariance", (p, p), dtype)


def corrcoef(x):
    """Correlation matrix of the columns of a 2-D x (lazy p x p dask array)."""
    d, p, dtype = _comoments(x)
    return _lazy(d, "correlation", (p, p), dtype)


# ---------------------------------------------------------------- histogram

def _histogram_add(lo, hi, bins, block):
    return [_added(_partials.Histogram(lo, hi, bins), block.reshape(-1))]


def histogram(x, bins, range):  # noqa: A002 (numpy's name)
    """Counts of x in `bins` equal-width bins over range=(lo, hi): (lazy counts, NumPy edges),
    as dask.array.histogram. The edges (and which bin a value falls in) are the library's."""
    x = _as_dask(x).reshape(-1)
    lo, hi = float(range[0]), float(range[1])
    empty = _partials.Histogram(lo, hi, bins).finish()  # checks the arguments, gives the edges
    d = _reduce(x[:, None], functools.partial(_histogram_add, lo, hi, bins), _first_finish, "histogram")
    counts = empty["counts"]
    return _lazy(d, "counts", counts.shape, counts.dtype), np.asarray(empty["edges"])


# ---------------------------------------------------------------- linear regression and ANOVA

def _rows_like(x, y, what):
    if y.ndim != 1 or y.shape[0] != x.shape[0]:
        raise ValueError(f"kalix.dask: {what} must be a 1-D array of {x.shape[0]} values, not of shape {y.shape}")
    return y.rechunk((x.chunks[0],)) if y.chunks[0] != x.chunks[0] else y


def _least_squares_add(p, constant, block, yb):
    return [_added(_partials.LeastSquares(p, constant=constant), block, yb[:, 0])]


def _record_finish(dtype, parts, **kwargs):
    return {k: np.asarray(v, dtype=dtype) for k, v in parts[0].finish(**kwargs).items()}


def _record(d, shapes, dtype):
    return {k: _lazy(d, k, shape, dtype) for k, shape in shapes.items()}


_FIT_SCALARS = ("rss", "r2", "df", "n", "sst", "adjusted_r2", "residual_var", "F", "pvalue")
_ANOVA_FIELDS = ("ss1", "ss2", "ss_total", "deg1", "deg2", "deg_total", "ms1", "ms2", "F", "f_crit", "pvalue")


def linear_regression(X, y, constant=True):
    """Least squares of y on [1 | X] (or X without the constant): a dict of lazy dask arrays,
    those of kalix.partials.LeastSquares: coefficients (intercept first) and std_errors, and the
    scalars rss, r2, df, n, sst, adjusted_r2, residual_var, F, pvalue (float64 throughout).
    X (n x p, or n) and y (n) are chunked by rows; y's row chunks are aligned to X's when they
    differ. Each chunk contributes the triangular factor of its [1 | X | y] rows (QR, never
    X'X), so the fit is as accurate as an in-memory QR fit."""
    X, y = _as_dask(X), _as_dask(y)
    X = X[:, None] if X.ndim == 1 else X
    if X.ndim != 2:
        raise ValueError(f"kalix.dask: X must be a 1-D or 2-D array, not {X.ndim}-D")
    X = X.rechunk({1: -1}) if X.numblocks[1] > 1 else X
    y = _rows_like(X, y, "y")
    p = X.shape[1]
    add = functools.partial(_least_squares_add, p, bool(constant))
    d = _reduce(X, add, functools.partial(_record_finish, np.float64), "least-squares", weights=y[:, None])
    k = p + (1 if constant else 0)
    return _record(d, {"coefficients": (k,), "std_errors": (k,), **{s: () for s in _FIT_SCALARS}}, np.float64)


def _anova_add(values, labels):
    return [_added(_partials.Anova1(), values, labels)]


def anova1(values, labels, alpha=0.05):
    """One-way analysis of variance of values by integer group labels 0 .. k-1 (1-D, same
    length, chunked by rows; the labels' chunks are aligned to the values'): a dict of lazy
    scalars, the table of kalix.regress.anova1 (ss1 between, ss2 within, ss_total, deg1, deg2,
    deg_total, ms1, ms2, F, f_crit at level alpha, pvalue)."""
    values, labels = _as_dask(values).reshape(-1), _as_dask(labels).reshape(-1)
    if labels.dtype.kind not in "iu":
        raise TypeError(f"kalix.dask: labels must be integers, not {labels.dtype}")
    labels = _rows_like(values, labels, "labels")
    finish = functools.partial(_record_finish, np.float64, alpha=alpha)
    d = _reduce(values, _anova_add, finish, "anova1", weights=labels)
    return _record(d, {k: () for k in _ANOVA_FIELDS}, np.float64)


# ---------------------------------------------------------------- exact percentiles
# The rank(s) that the library's rule needs are bracketed by a histogram of the data, then the
# values inside the bracket are collected and selected. The selection pass counts what lies
# below its bracket itself, so a bracket that misses is seen, and widened, never trusted.

_METHODS = ("nplus", "nminus", "closest", "edf", "edf_ave")


def _method_number(method):
    if method is None:
        return 0
    if isinstance(method, str):
        return _METHODS.index(method)
    return int(method.value)


def _round_away(v):
    """Nearest whole number, halves away from zero."""
    t = float(np.trunc(v))
    return t + math.copysign(1.0, v) if abs(v - t) >= 0.5 else t


def _round_even(v):
    r = _round_away(v)
    return 2.0 * _round_away(v * 0.5) if abs(v - float(np.trunc(v))) == 0.5 else r


def _snap(q, unit):
    """n*p for a decimal p is rarely exact in binary: within four ulps of a multiple of unit
    counts as that multiple, so the whole/fractional decisions follow what the user wrote."""
    m = _round_away(q / unit) * unit
    return m if abs(q - m) <= 4.0 * np.finfo(np.float64).eps * abs(q) else q


def _plan(n, p, method):
    """(constant, i0, i1, w): the value is constant, or s[i0] * (1 - w) + s[i1] * w on the
    zero-based order statistics s (i1 == i0 when no interpolation is needed)."""
    if method < 0 or method > 4:
        return 0.0, 0, 0, 0.0
    if math.isnan(p):
        return math.nan, 0, 0, 0.0
    single = lambda k: (None, int(k) - 1, int(k) - 1, 0.0)  # noqa: E731
    if n <= 1:
        return single(1)
    dn = float(n)
    if method in (0, 1):
        r = _snap((dn + 1.0) * p if method == 0 else (dn - 1.0) * p + 1.0, 1.0)
        k = float(np.trunc(r))
        f = r - k
        if k < 1.0:
            return single(1)
        if k >= dn:
            return single(n)
        return (None, int(k) - 1, int(k), f) if f != 0.0 else single(k)
    if method == 2:
        k = _round_even(_snap(dn * p, 0.5))
        return single(1) if k < 1.0 else single(n) if k > dn else single(k)
    q = _snap(dn * p, 1.0)
    k = float(np.trunc(q))
    f = q - k
    if method == 3 or f == 0.0:
        k += 1.0 if (method == 3 and f != 0.0) else 0.0
        return single(1) if k < 1.0 else single(n) if k > dn else single(k)
    k = math.ceil(q)  # a fractional n*p averages two order statistics
    return single(1) if k < 1.0 else single(n) if k >= dn else (None, int(k) - 1, int(k), 0.5)


class _Census:
    """Count, NaNs, infinities and finite range of the data (a mergeable partial)."""

    def __init__(self, s=None):
        self.s = np.array([0, 0, 0, 0, np.inf, -np.inf]) if s is None else np.array(s, dtype=np.float64)

    def add(self, v):
        finite = v[np.isfinite(v)]
        self.s += [v.size, np.count_nonzero(np.isnan(v)), np.count_nonzero(v == -np.inf),
                   np.count_nonzero(v == np.inf), 0, 0]
        if finite.size:
            self.s[4], self.s[5] = min(self.s[4], finite.min()), max(self.s[5], finite.max())
        return self

    def state(self):
        return self.s

    @classmethod
    def from_state(cls, s):
        return cls(s)

    def merge(self, o):
        self.s[:4] += o.s[:4]
        self.s[4], self.s[5] = min(self.s[4], o.s[4]), max(self.s[5], o.s[5])
        return self


class _Below:
    """Of the values of x: how many lie below lo, how many within [lo, hi], the least and the
    greatest of those, and (keep=True) the values themselves."""

    def __init__(self, lo, hi, keep, s=None):
        self.s = np.array([lo, hi, float(keep), 0.0, 0.0, np.inf, -np.inf]) if s is None else np.array(s, np.float64)

    def add(self, v):
        lo, hi = v.dtype.type(self.s[0]), v.dtype.type(self.s[1])
        inside = v[(v >= lo) & (v <= hi)]
        self.s[3] += np.count_nonzero(v < lo)
        self.s[4] += inside.size
        if inside.size:
            self.s[5], self.s[6] = min(self.s[5], inside.min()), max(self.s[6], inside.max())
        if self.s[2]:
            self.s = np.concatenate([self.s, inside.astype(np.float64)])
        return self

    def state(self):
        return self.s

    @classmethod
    def from_state(cls, s):
        return cls(0.0, 0.0, False, s)

    def merge(self, o):
        self.s = np.concatenate([self.s, o.s[7:]])
        self.s[3:5] += o.s[3:5]
        self.s[5], self.s[6] = min(self.s[5], o.s[5]), max(self.s[6], o.s[6])
        return self


def _census_add(block):
    return [_Census().add(block.reshape(-1))]


_HIST, _PROBE, _COLLECT, _SPLIT = 0, 1, 2, 3


def _spans_add(spans, block):
    """Per span (lo, hi, mode, bins): a histogram and the count below lo, only the counts and
    range inside [lo, hi], the values inside too, or (split) the count below zero."""
    v = block.reshape(-1)
    parts = []
    for lo, hi, mode, bins in spans:
        if mode == _SPLIT:
            lo, hi = 0.0, hi
        if mode == _HIST:
            parts.append(_added(_partials.Histogram(lo, hi, bins), v))
        parts.append(_Below(lo, hi, mode == _COLLECT).add(v))
    return parts


def _states(parts):
    return [(type(p), p.state()) for p in parts]


def _census_state(parts):
    return parts[0].state()


def _compute(delayed):
    import dask  # noqa: PLC0415
    return dask.compute(delayed)[0]


def _pass(x, spans):
    """One pass over x for all spans: per span (histogram finish or None, _Below)."""
    states = _compute(_reduce(x, functools.partial(_spans_add, spans), _states, "percentile"))
    parts = (cls.from_state(s) for cls, s in states)
    return [(next(parts).finish() if mode == _HIST else None, next(parts)) for _, _, mode, _ in spans]


def _order_statistics(x, ranks, lo0, hi0, bins, max_collect):
    """{rank: value} for zero-based ranks whose values are finite and within [lo0, hi0].

    A rank's bracket is narrowed by histograms while more than max_collect values lie inside.
    When a histogram fails to reduce that number (a heavy tie), a probe pass reads the least and
    greatest value inside: equal, they are the answer; else they are the tighter bracket. The
    collecting pass counts what lies below its bracket itself, so a miss is seen and widened."""
    def hist(lo, hi, count):
        if lo < hi and not math.isfinite(hi - lo):  # bins wider than the largest double: halve at 0
            return (lo, hi, _SPLIT, 0, count)
        return (lo, hi, _HIST, bins, count) if lo < hi else (lo, hi, _COLLECT, 0, count)

    state = {r: hist(lo0, hi0, math.inf) for r in ranks}
    found = {}
    for step in range(200):
        todo = [r for r in ranks if r not in found]
        if not todo:
            return found
        if step == 199:  # give up narrowing: collect all finite values, however many
            state.update({r: (lo0, hi0, _COLLECT, 0, 0) for r in todo})
        unique = sorted({state[r][:4] for r in todo})
        results = dict(zip(unique, _pass(x, unique)))
        for r in todo:
            lo, hi, mode, _, count = state[r]
            h, below = results[state[r][:4]]
            under, inside, least, most = int(below.s[3]), int(below.s[4]), float(below.s[5]), float(below.s[6])
            i = r - under
            if mode == _SPLIT:
                state[r] = hist(lo, 0.0, math.inf) if r < under else hist(0.0, hi, math.inf)
            elif mode != _HIST and not 0 <= i < inside:  # the histogram's bins and ours disagreed at an edge
                state[r] = hist(lo0, lo, math.inf) if i < 0 else hist(hi, hi0, math.inf)
            elif mode == _COLLECT:
                found[r] = float(np.partition(below.s[7:], i)[i]) if lo < hi else lo
            elif mode == _PROBE:
                if least == most:
                    found[r] = least
                else:
                    state[r] = hist(least, most, inside)
            else:
                counts, edges = np.asarray(h["counts"], dtype=np.int64), np.asarray(h["edges"], dtype=np.float64)
                k = int(np.searchsorted(under + np.cumsum(counts), r, side="right"))
                a, z = max(k - 1, 0), min(k + 2, len(counts))
                lo2, hi2 = (lo if a == 0 else float(edges[a])), (hi if z == len(counts) else float(edges[z]))
                estimate = int(counts[a:z].sum())
                if estimate <= max_collect:
                    state[r] = (lo2, hi2, _COLLECT, 0, estimate)
                elif estimate < count:
                    state[r] = hist(lo2, hi2, estimate)
                else:
                    state[r] = (lo2, hi2, _PROBE, 0, estimate)
    return found  # not reached: the last step collects


def _evaluate(plan, value):
    constant, i0, i1, w = plan
    if constant is not None:
        return constant
    s0 = value(i0)
    if i1 == i0 or w == 0.0:
        return s0
    return s0 * (1.0 - w) + value(i1) * w


def percentile(x, p, method=None, bins=4096, max_collect=1 << 22):
    """Exact percentile(s) p of all values of x by the library's rule `method`, the very
    numbers of kalix.statistics.percentile on the whole array (same checks and messages).
    Not lazy: a census and a histogram pass bracket the order statistics the rule needs
    (narrowed further while more than max_collect values remain inside), then one pass
    collects the values inside the brackets and selects. NaNs rank above every number."""
    x = _as_dask(x).reshape(-1)
    _statistics.percentile(np.zeros(1, dtype=x.dtype), p, method)  # the library's checks
    if x.shape[0] == 0:
        return _statistics.percentile(np.zeros(0, dtype=x.dtype), p, method)
    if x.dtype not in (np.float32, np.float64):
        x = x.astype(np.float64)  # as the library reads integers and the like
    n, nans, low, high, lo0, hi0 = _compute(_reduce(x[:, None], _census_add, _census_state, "census"))
    n, numbers = int(n), int(n - nans)
    how = _method_number(method)
    plans = [_plan(n, float(q), how) for q in np.atleast_1d(np.asarray(p, dtype=np.float64))]
    wanted = {r for c, i0, i1, w in plans if c is None for r in ((i0, i1) if w != 0.0 else (i0,))}
    finite = sorted(r for r in wanted if low <= r < numbers - high)
    values = _order_statistics(x[:, None], finite, float(lo0), float(hi0), bins, max_collect) if finite else {}

    def value(r):
        if r >= numbers:
            return math.nan
        return values[r] if r in values else (-math.inf if r < low else math.inf)

    out = np.array([_evaluate(plan, value) for plan in plans])
    return float(out[0]) if np.ndim(p) == 0 else out
