"""kalix.partials: merged partials equal the in-memory calls; state, pickling, errors."""
import pickle

import numpy as np
import pytest

import kalix
from kalix import partials, regress, statistics

RNG = np.random.default_rng(20)
X = RNG.normal(size=(3000, 3)) * [1.0, 2.0, 0.5] + [3.0, -1.0, 0.0]
Y = X @ [1.0, -2.0, 0.5] + 4.0 + RNG.normal(size=3000)
G = RNG.integers(0, 4, size=3000).astype(np.int32)


def pieces(n, k):
    """k contiguous slices of range(n), one of them empty."""
    cuts = sorted({0, n} | ({n // 3} if k > 1 else set()) | set(RNG.integers(0, n, size=max(k - 2, 0)).tolist()))
    return [slice(a, b) for a, b in zip(cuts[:-1], cuts[1:])] + [slice(0, 0)]


def merged(make, add, n, k):
    """Adds each piece to its own partial, round-trips half of them through state/pickle, merges."""
    total = make()
    for i, s in enumerate(pieces(n, k)):
        p = make()
        add(p, s)
        if i % 2:
            p = pickle.loads(pickle.dumps(p)) if i % 4 == 1 else type(p).from_state(p.state())
        assert total.merge(p) is total
    return total.finish()


def close(a, b, tol=1e-13):
    np.testing.assert_allclose(a, b, rtol=tol, atol=tol * np.max(np.abs(b)))


@pytest.mark.parametrize("k", [1, 2, 16])
@pytest.mark.parametrize("offset", [0.0, 1e9])
def test_moments_and_comoments_match_in_memory(k, offset):
    # Compared with the in-memory routines on the data less the offset (an exact subtraction).
    x, A = X[:, 0] + offset, X + offset
    xs, As = x - offset, A - offset
    m = merged(partials.Moments, lambda p, s: p.add(x[s]), len(x), k)
    mu = np.mean(xs)
    close(m["mean"], mu + offset, 1e-15)
    close(m["variance"], statistics.covariance(xs))
    close(m["skewness"], statistics.moment(xs, mu, 3) / statistics.moment(xs, mu, 2) ** 1.5, 1e-12)
    close(m["kurtosis"], statistics.moment(xs, mu, 4) / statistics.moment(xs, mu, 2) ** 2)
    c = merged(lambda: partials.Comoments(3), lambda p, s: p.add(A[s]), len(A), k)
    close(c["mean"], As.mean(axis=0) + offset, 1e-15)
    close(c["covariance"], statistics.covariance(As))
    close(c["correlation"], statistics.corr_coef(As))
    assert c["n"] == m["n"] == len(x)


def test_offset_merge_keeps_digits_a_plain_merge_of_sums_loses():
    # SmLs-style: 1e9 plus a small spread; variance of the small part is exact to rounding.
    small = RNG.integers(1, 10, size=4001) * 0.1
    x = 1e9 + small
    want = statistics.covariance(small)
    m = merged(partials.Moments, lambda p, s: p.add(x[s]), len(x), 16)
    close(m["variance"], want, 1e-7)  # x itself holds small only to 1.2e-7 absolute
    n = len(x)
    s1, s2 = sum(x[s].sum() for s in pieces(n, 16)), sum((x[s] ** 2).sum() for s in pieces(n, 16))
    naive = (s2 - s1 * s1 / n) / (n - 1)
    assert abs(naive - want) > 1e3 * abs(m["variance"] - want)


def test_histogram_least_squares_anova_match_in_memory():
    h = merged(lambda: partials.Histogram(-3.0, 6.0, 9), lambda p, s: p.add(X[s, 0]), len(X), 16)
    counts, edges = statistics.histogram(X[:, 0], 9, range=(-3.0, 6.0))
    assert np.array_equal(h["counts"], counts) and h["counts"].dtype == np.int64
    close(h["edges"], edges)
    for const in (True, False):
        ls = merged(lambda: partials.LeastSquares(3, constant=const), lambda p, s: p.add(X[s], Y[s]), len(X), 16)
        b, fitted, v = regress.mul_lin_regress(Y, X, constant=const)
        stats, _, se = regress.regress_test(Y, fitted, v, constant=const)
        close(ls["coefficients"], b, 1e-12)
        close(ls["std_errors"], se, 1e-12)
        close([ls["rss"], ls["r2"], ls["df"]], [stats.sse, stats.r2, stats.dfe], 1e-12)
    a = merged(partials.Anova1, lambda p, s: p.add(Y[s], G[s]), len(Y), 16)
    r = regress.anova1(Y, G)
    close([a["ss1"], a["ss2"], a["ss_total"], a["F"], a["pvalue"]], [r.ss1, r.ss2, r.ss_total, r.f, r.pvalue], 1e-11)
    assert (a["deg1"], a["deg2"]) == (r.deg1, r.deg2)


def test_float32_accumulates_in_double():
    x = X[:, 1].astype(np.float32)
    p = partials.Moments()
    p.add(x)
    close(p.finish()["variance"], np.var(x.astype(np.float64), ddof=1), 1e-13)


def test_empty_partials_and_bad_input():
    e = partials.Moments().merge(partials.Moments()).finish()
    assert e["n"] == 0 and np.isnan(e["mean"]) and np.isnan(e["variance"])
    with pytest.raises(kalix.KalixError, match="^TComomentsPartial.Add: X.Cols <> Cols$"):
        partials.Comoments(2).add(X)
    with pytest.raises(kalix.KalixError, match="^THistogramPartial.Merge: different bins$"):
        partials.Histogram(0, 1, 4).merge(partials.Histogram(0, 1, 5))
    with pytest.raises(kalix.KalixError, match="^TMomentsPartial: State is not a moments state$"):
        partials.Moments.from_state(partials.Comoments(1).state())
    with pytest.raises(kalix.KalixError, match="^TAnova1Partial.Add: GroupIndex < 0$"):
        partials.Anova1().add([1.0, 2.0], [0, -1])
    with pytest.raises(TypeError):
        partials.Moments().merge(partials.Comoments(1))
    with pytest.raises(TypeError):
        partials.Moments().add(np.array(["a", "b"]))
