"""kalix.dask against the in-memory library: 16 chunks (some of them empty), data far from zero,
float32, column-wise 2-D, exact percentiles, bad input and the schedulers."""
from fractions import Fraction
from pathlib import Path

import numpy as np
import pytest

import kalix
from kalix import regress, statistics

dask = pytest.importorskip("dask")
da = pytest.importorskip("dask.array")
partials = pytest.importorskip("kalix.partials")
import kalix.dask as kd  # noqa: E402

SMLS03 = Path(__file__).resolve().parents[2] / "tests" / "data" / "nist" / "SmLs03.dat"
RNG = np.random.default_rng(20)
N = 4000
DATA = RNG.normal(size=(N, 3)) * [1.0, 2.0, 0.5] + [0.0, 1.0, -3.0]
DATA[:, 1] += 0.6 * DATA[:, 0]
GROUPS = RNG.integers(0, 4, N).astype(np.int32)


def chunked(x, empty=False):
    """x in 16 row chunks; with empty=True, zero-row chunks first, in between and last."""
    sizes = [len(x) // 16] * 15 + [len(x) - 15 * (len(x) // 16)]
    if empty:
        sizes = [0] + sizes[:8] + [0, 0] + sizes[8:] + [0]
    return da.from_array(x, chunks=(tuple(sizes),) + x.shape[1:])


def fed(partial, *data):
    """An in-memory partial of all the data at once."""
    partial.add(*data)
    return partial.finish()


def close(got, ref, rtol, scale=0.0):
    """Relative to the largest |ref| (or to scale, for statistics of order one near zero)."""
    ref = np.asarray(ref, dtype=np.float64)
    atol = rtol * max(np.abs(ref).max(), scale)
    np.testing.assert_allclose(np.asarray(got, dtype=np.float64), ref, rtol=rtol, atol=atol)


# (offset, dtype, 2-D column-wise, empty chunks)
CASES = [(0.0, np.float64, True, False), (1e9, np.float64, True, True), (1e9, np.float64, False, False),
         (0.0, np.float32, True, True), (100.0, np.float32, False, False)]


@pytest.mark.parametrize("offset,dtype,two_d,empty", CASES)
def test_moments_equal_the_in_memory_ones(offset, dtype, two_d, empty, monkeypatch):
    monkeypatch.setattr(kd, "_SLAB_ROWS", 7)  # chunks go to the partials in slabs of 7 rows and a rest
    x = (DATA + offset).astype(dtype)
    x = x if two_d else np.ascontiguousarray(x[:, 0])
    got = dask.compute(kd.moments(chunked(x, empty), axis=0 if two_d else None))[0]
    cols = x.T if two_d else x[None, :]
    rtol = 1e-14 if dtype == np.float64 else 3e-7
    for key in ("mean", "variance", "skewness", "kurtosis"):
        assert got[key].dtype == dtype and got[key].shape == ((x.shape[1],) if two_d else ())
        ref = [fed(partials.Moments(), c)[key] for c in cols]
        close(np.atleast_1d(got[key]), ref, rtol, scale=1.0 if key in ("skewness", "kurtosis") else 0.0)
    # the library's own variance routine, independently of the partials
    close(np.atleast_1d(got["variance"]), [statistics.covariance(c) for c in cols], rtol)
    assert np.all(got["n"] == len(x))
    assert kd.var(chunked(x), axis=0 if two_d else None).compute().dtype == dtype


def test_offset_data_keep_their_digits_where_dask_var_loses_them():
    # NIST StRD SmLs03 responses shifted by 1e9; the variance of these very doubles is exact in rationals
    x = np.loadtxt(SMLS03, skiprows=60)[:, 1] + 1e9
    n, s = len(x), sum(map(Fraction, x))
    exact = float(sum((Fraction(v) - s / n) ** 2 for v in x) / (n - 1))
    ours = kd.var(chunked(x)).compute()
    theirs = chunked(x).var(ddof=1).compute()
    assert abs(ours - exact) <= 1e-14 * exact
    assert abs(theirs - exact) > 1e-9 * exact  # merged chunk means drift by ulps of 1e9


@pytest.mark.parametrize("offset,dtype,empty", [(0.0, np.float64, False), (1e9, np.float64, True),
                                                (0.0, np.float32, True)])
def test_covariance_and_correlation_matrices(offset, dtype, empty):
    x = (DATA + offset).astype(dtype)
    cov, corr = dask.compute(kd.cov(chunked(x, empty)), kd.corrcoef(chunked(x, empty)))
    rtol = 1e-14 if dtype == np.float64 else 3e-7
    assert cov.dtype == corr.dtype == dtype
    close(cov, statistics.covariance(x), rtol)
    close(corr, statistics.corr_coef(x), rtol)


def test_histogram_counts_and_edges_are_the_library_ones():
    x = np.concatenate([DATA[:, 0], [-2.0, 2.0, -9.0, 9.0]])  # both edges and values outside
    counts, edges = kd.histogram(chunked(x, True), 10, range=(-2.0, 2.0))
    ref_counts, ref_edges = statistics.histogram(x, 10, range=(-2.0, 2.0))
    np.testing.assert_array_equal(counts.compute(), ref_counts)
    np.testing.assert_array_equal(edges, ref_edges)


@pytest.mark.parametrize("offset", [0.0, 1e9])
def test_linear_regression_with_rows_chunked_apart(offset):
    X = DATA[:, 1:] + offset
    y = 2.0 + DATA[:, 1] - 0.5 * DATA[:, 2] + DATA[:, 0]
    yd = da.from_array(y, chunks=N // 5)  # chunked unlike X: the rows are aligned first
    got = dask.compute(kd.linear_regression(chunked(X, True), yd))[0]
    ref = fed(partials.LeastSquares(2), X, y)
    for key in ref:  # element by element: the intercept is far larger than the slopes at 1e9
        np.testing.assert_allclose(got[key], ref[key], rtol=1e-14, atol=0)
    b, _, _ = regress.mul_lin_regress(y, X)
    np.testing.assert_allclose(got["coefficients"], b, rtol=1e-12 if offset == 0 else 1e-6, atol=0)


def test_anova_by_group_labels():
    values = DATA[:, 0] + 1e9 + 0.1 * GROUPS
    got = dask.compute(kd.anova1(chunked(values, True), da.from_array(GROUPS, chunks=N // 7)))[0]
    ref = regress.anova1(values, GROUPS)
    for key, value in got.items():
        close(np.atleast_1d(value), np.atleast_1d(getattr(ref, key.lower())), 1e-14)


# Exact order statistics: data with ties, NaNs and infinities, far from zero, single precision,
# tiny samples; narrow histograms and a small collection limit force bracket refinement.
TIES = np.round(DATA[:, 0], 1)
SPECIAL = np.concatenate([DATA[:, 0], [np.nan] * 7, [np.inf] * 3, [-np.inf] * 5])
RNG.shuffle(SPECIAL)
HUGE = np.concatenate([DATA[:, 0], [-1.7e308, 1.7e308, 1e308]])  # a range wider than the largest double
PCT_DATA = [TIES, SPECIAL, DATA[:, 0] + 1e9, DATA[:, 0].astype(np.float32), GROUPS, HUGE, np.array([3.5]),
            np.array([2.0, -1.0])]
P = np.array([0.0, 1e-9, 0.01, 0.25, 0.3, 0.5, 0.7, 0.999, 0.9999, 1.0, np.nan])


@pytest.mark.parametrize("x", PCT_DATA, ids=["ties", "nan-inf", "offset", "float32", "int", "huge", "one", "two"])
@pytest.mark.parametrize("bins,max_collect", [(4096, 1 << 22), (8, 40)])
def test_percentiles_are_exactly_the_in_memory_ones(x, bins, max_collect):
    d = da.from_array(x, chunks=max(1, len(x) // 16))
    for method in ("nplus", "nminus", "closest", "edf", "edf_ave"):
        got = kd.percentile(d, P, method, bins=bins, max_collect=max_collect)
        np.testing.assert_array_equal(got, statistics.percentile(x, P, method))
    assert kd.percentile(d, 0.3, bins=bins, max_collect=max_collect) == statistics.percentile(x, 0.3)


BAD = [
    (lambda: kd.percentile(chunked(DATA[:, 0]), 1.5), kalix.KalixError, "Percentile: (P < 0) or (P > 1)"),
    (lambda: kd.percentile(da.zeros(0, chunks=1), 0.5), kalix.KalixError, "Values: index out of range"),
    (lambda: kd.percentile(chunked(DATA[:, 0]), 0.5, "median"), ValueError, "method must be one of"),
    (lambda: kd.linear_regression(chunked(DATA), da.zeros(N - 1)), ValueError, "y must be a 1-D array of 4000"),
    (lambda: kd.anova1(chunked(DATA[:, 0]), da.zeros(N)), TypeError, "labels must be integers"),
    (lambda: kd.mean(chunked(DATA), axis=1), ValueError, "axis must be None or 0"),
    (lambda: kd.cov(chunked(DATA[:, 0])), ValueError, "x must be a 2-D array"),
]


@pytest.mark.parametrize("call,error,text", BAD)
def test_bad_input(call, error, text):
    with pytest.raises(error) as e:
        call()
    assert text in str(e.value)


def test_schedulers_agree():
    x = DATA + 1e9
    def run():
        return dask.compute(kd.var(chunked(x), axis=0), kd.cov(chunked(x)),
                            kd.linear_regression(chunked(x[:, 1:]), chunked(x[:, 0]))["coefficients"])

    ref = run()
    for scheduler in ("synchronous", "processes"):
        with dask.config.set(scheduler=scheduler):
            for got, want in zip(run(), ref):
                np.testing.assert_array_equal(got, want)
    distributed = pytest.importorskip("distributed")
    cluster = distributed.LocalCluster(n_workers=2, threads_per_worker=1, processes=True, dashboard_address=None)
    with cluster, distributed.Client(cluster):
        for got, want in zip(run(), ref):
            np.testing.assert_array_equal(got, want)
        assert kd.percentile(chunked(x[:, 0]), 0.3) == statistics.percentile(x[:, 0], 0.3)
