"""The Python package against the C++ library: results bit for bit, error texts, precision,
zero-copy inputs and outputs, bad input and concurrent calls."""
import math
import os
import subprocess
import threading
import time

import numpy as np
import pytest

import kalix
from kalix import controlcharts, core, probplots, random, regmodels, regress, statistics, timeseries

# The same data as reference.cpp.
X = np.array([2.5, 3.1, 4.7, 1.2, 5.5, 3.3, 2.8, 4.1, 3.9, 6.2, 2.2, 3.6, 4.4, 5.1, 1.9, 3.0, 4.9, 2.6, 3.8, 4.0])
Y = np.array([1.1, 2.9, 4.2, 0.8, 5.9, 3.0, 2.1, 4.6, 3.3, 6.8, 2.4, 3.2, 4.1, 5.6, 1.5, 2.7, 5.2, 2.2, 4.0, 3.7])
A = np.column_stack([X[:10], X[10:]])
GROUPS = np.array([0, 1, 2, 0, 1, 2, 0, 1, 2, 0, 1, 2, 0, 1, 2, 0, 1, 2, 0, 1], dtype=np.int32)
POS = np.abs(X) / 7.0  # values in (0, 1)
COUNTS = np.array([3.0, 5, 2, 4, 6, 3, 1, 4, 5, 2])
SKEW = np.exp(X / 2)
NORM_CDF = 0.5 * (1 + np.vectorize(math.erf)((X - 3.0) / (1.3 * np.sqrt(2))))  # Normal(3, 1.3) at X


def _reference():
    exe = os.environ.get("KALIX_PY_REFERENCE")
    if not exe:
        pytest.skip("KALIX_PY_REFERENCE is not set (run through CTest)")
    out = subprocess.run([exe], check=True, capture_output=True, text=True).stdout
    return {line.split()[0]: [float.fromhex(v) for v in line.split()[1:]] for line in out.splitlines()}


# name -> the same computation through the bindings, flattened like reference.cpp prints it.
BITWISE = {
    "percentile": lambda: [statistics.percentile(X, 0.3), statistics.percentile(X, 0.3, "edf_ave"),
                           statistics.inter_quartile(X)],
    "means": lambda: [statistics.mean_g(X), statistics.mean_h(X), statistics.mean_t(X, 0.2),
                      statistics.moment(X, 3.0, 3)],
    "covariance": lambda: statistics.covariance(A).ravel(),
    "corr_coef": lambda: statistics.corr_coef(X, Y).ravel(),
    "t_test": lambda: _flat(statistics.t_test(X, mean=3.5, alternative="greater", alpha=0.1)),
    "mann_whitney_test": lambda: _flat(statistics.mann_whitney_test(X, Y, alternative="less"))[:3],
    "normal_fit": lambda: _flat(statistics.normal_fit(X, alpha=0.1)),
    "gamma_fit": lambda: list(statistics.gamma_fit(X)),
    "mul_lin_regress": lambda: regress.mul_lin_regress(Y, X[:, None]).b,
    "regress_test": lambda: _regress_test(),
    "acf": lambda: timeseries.acf(X, 5),
    "ar_burg_fit": lambda: [*timeseries.ar_burg_fit(X, 2).phi, timeseries.ar_burg_fit(X, 2).variance],
    "random_normal": lambda: random.random_normal(1.0, 2.0, 6, seed=7),
    "qc_x_chart": lambda: list(controlcharts.qc_x_chart(A))[1:],
    "stat_normal_plot": lambda: [*list(probplots.stat_normal_plot(X)[0])[2:], probplots.stat_normal_plot(X)[0].y[0]],
    "normal_cdf": lambda: core.normal_cdf(X, 3.0, 1.5),
    "student_cdf_inv": lambda: [core.student_cdf_inv(0.975, 7.0)],
    "histogram": lambda: statistics.histogram(X, 4)[0],
    "anova1": lambda: [regress.anova1(A).f, regress.anova1(A).pvalue],
}


def _flat(record):
    out = []
    for v in record:
        out.extend(v if isinstance(v, tuple) else [float(v)])
    return out


def _two_sample_t2(a, b):
    d = a.mean(0) - b.mean(0)
    pooled = ((len(a) - 1) * np.cov(a.T) + (len(b) - 1) * np.cov(b.T)) / (len(a) + len(b) - 2)
    return d @ np.linalg.solve(pooled * (1 / len(a) + 1 / len(b)), d)


def _regress_test():
    fit = regress.mul_lin_regress(Y, X[:, None])
    s = regress.regress_test(Y, fit.fitted, 2)
    return [s.r2, s.adjusted_r2, s.f_stats.f, s.f_stats.signif]


@pytest.mark.parametrize("name", sorted(BITWISE))
def test_results_equal_the_cpp_call_bit_for_bit(name):
    want = _reference()[name]
    got = [float(v) for v in np.asarray(BITWISE[name](), dtype=np.float64).ravel()]
    assert got == want, name  # exact, NaN aside (none is expected here)


# Every binding once: (module, function, args, kwargs, check of the result).
CALLS = [
    (statistics, "percentile", (X, [0.1, 0.5]), {}, lambda r: r.shape == (2,)),
    (statistics, "inter_quartile", (X,), {}, np.isfinite),
    (statistics, "ranks", (X,), {}, lambda r: np.all(np.diff(r[0]) >= 0)),
    (statistics, "tied_ranks", (np.array([1.0, 2, 2, 3]),), {}, lambda r: list(r[0]) == [1, 2.5, 2.5, 4] and r[1] == 3),
    (statistics, "mean_g", (X,), {}, np.isfinite),
    (statistics, "mean_h", (X,), {}, np.isfinite),
    (statistics, "mean_t", (X, 0.1), {}, np.isfinite),
    (statistics, "mode", (np.array([1.0, 2, 2, 3]),), {}, lambda r: r == 2),
    (statistics, "moment", (X, 0.0, 2), {}, lambda r: r == pytest.approx(np.mean(X ** 2))),
    (statistics, "covariance", (X,), {}, lambda r: r == pytest.approx(np.var(X, ddof=1))),
    (statistics, "corr_coef", (A,), {}, lambda r: r.shape == (2, 2)),
    (statistics, "range_rows", (A,), {}, lambda r: np.allclose(r, np.ptp(A, axis=1))),
    (statistics, "range_cols", (A,), {}, lambda r: np.allclose(r, np.ptp(A, axis=0))),
    (statistics, "full_fact_design", (2,), {}, lambda r: r.tolist() == [[0, 0], [0, 1], [1, 0], [1, 1]]),
    (statistics, "unique", (np.array([3.0, 1, 3]),), {}, lambda r: list(r[0]) == [1, 3] and list(r[1]) == [1, 2]),
    (statistics, "remove_row", (A, 0), {}, lambda r: r.shape == (9, 2)),
    (statistics, "remove_column", (A, 1), {}, lambda r: np.array_equal(r[:, 0], A[:, 0])),
    (statistics, "cronbach_alpha", (A,), {}, np.isfinite),
    (statistics, "histogram", (X, 4), {"range": (0.0, 8.0)}, lambda r: r[0].sum() == 20 and len(r[1]) == 5),
    (statistics, "cumulative_hist", (X, 4), {}, lambda r: r[0][-1] == 1),
    (statistics, "pca", (np.cov(A.T),), {}, lambda r: r.eigenvalues[0] >= r.eigenvalues[1]),
    (statistics, "pca_data", (A,), {"mode": "cov"}, lambda r: r.scores.shape == A.shape),
    (statistics, "normal_fit", (X,), {}, lambda r: r.mu == pytest.approx(X.mean())),
    (statistics, "log_normal_fit", (X,), {"alpha": 0.05}, lambda r: r.mu_ci[0] < r.mu < r.mu_ci[1]),
    (statistics, "uniform_fit", (X,), {}, lambda r: (r.low, r.high) == (X.min(), X.max())),
    (statistics, "exponent_fit", (X,), {"alpha": 0.05}, lambda r: r.mu_ci[0] < r.mu < r.mu_ci[1]),
    (statistics, "poisson_fit", (COUNTS,), {}, lambda r: r.lam == COUNTS.mean()),
    (statistics, "geometric_fit", (COUNTS,), {}, lambda r: r.p == pytest.approx(1 / (1 + COUNTS.mean()))),
    (statistics, "uniform_d_fit", (COUNTS,), {}, lambda r: r.n == 6),
    (statistics, "rayleigh_fit", (X,), {}, lambda r: r.b > 0),
    (statistics, "inverse_gaussian_fit", (X,), {}, lambda r: r.mu == pytest.approx(X.mean())),
    (statistics, "laplace_fit", (X,), {}, lambda r: r.mu == np.median(X)),
    (statistics, "logistic_fit", (X,), {}, lambda r: r.s > 0),
    (statistics, "neg_binom_fit", (COUNTS,), {}, lambda r: r.p > 0),
    (statistics, "erlang_fit", (X,), {}, lambda r: r.k >= 1),
    (statistics, "beta_fit", (POS,), {"alpha": 0.05}, lambda r: r.a > 0 and len(r.b_ci) == 2),
    (statistics, "gamma_fit", (X,), {"alpha": 0.05}, lambda r: r.a_ci[0] < r.a < r.a_ci[1]),
    (statistics, "weibull_fit", (X,), {}, lambda r: r.a > 0),
    (statistics, "cauchy_fit", (X,), {}, lambda r: r.scale > 0),
    (statistics, "maxwell_fit", (X,), {}, lambda r: r > 0),
    (statistics, "chi_square_fit", (X,), {}, lambda r: r == 4),
    (statistics, "binom_fit", (COUNTS, 10.0), {"alpha": 0.05}, lambda r: np.all(r[1] <= r[0])),
    (statistics, "beta_like", ([2.0, 3.0], POS), {}, lambda r: np.isfinite(r[0])),
    (statistics, "student_fit", (X,), {}, lambda r: r >= 1),
    (statistics, "f_fit", (X,), {}, lambda r: min(r) >= 1),
    (statistics, "triangular_fit", (X,), {}, lambda r: r.a <= r.c <= r.b),
    (statistics, "t_test", (X, Y), {"paired": True}, lambda r: 0 <= r.pvalue <= 1),
    (statistics, "z_test", (X, 3.0, 1.0), {}, lambda r: r.decision == kalix.HypothesisResult.reject),
    (statistics, "sign_test", (X, Y), {}, lambda r: 0 <= r.pvalue <= 1),
    (statistics, "wilcoxon_sign", (X,), {"median": 3.0}, lambda r: 0 <= r.pvalue <= 1),
    (statistics, "mann_whitney_test", (X, Y), {"normal_approx": True}, lambda r: 0 <= r.pvalue <= 1),
    (statistics, "mann_w_cdf1", (3, 3, 2.0), {}, lambda r: r == pytest.approx(0.2)),
    (statistics, "spearman_rank_corr", (X, Y), {}, lambda r: 0.5 < r.statistic <= 1),
    (statistics, "f_test", (X, Y), {}, lambda r: 0 <= r.pvalue <= 1),
    (statistics, "chi_square_test", (X, 1.0), {}, lambda r: 0 <= r.pvalue <= 1),
    (statistics, "grubbs_test", (X,), {}, lambda r: r.decision == kalix.HypothesisResult.not_reject),
    (statistics, "bartlett_test", (A,), {}, lambda r: len(r[1]) == 1),
    (regress, "lin_regress", (X, Y), {}, lambda r: r.b.shape == (2,) and r.v.shape == (2, 2)),
    (regress, "mul_lin_regress", (Y, A[:, :1].repeat(2, 0)), {"method": "svd"}, lambda r: r.b.shape == (2,)),
    (regress, "regress_test", (Y, Y * 0.9, np.eye(2)), {}, lambda r: r[1].shape == (20,)),
    (regress, "r2", (Y, Y), {}, lambda r: r == 1),
    (regress, "press", (X[:, None], Y), {}, lambda r: r > 0),
    (regress, "anova1", (X, GROUPS), {}, lambda r: 0 <= r.pvalue <= 1),
    (regress, "anova2", (np.column_stack([X, Y]),), {"replications": 2}, lambda r: 0 <= r.p_rows <= 1),
    (regress, "ridge_regress", (Y, A.repeat(2, 0), 0.1), {}, lambda r: r.shape == (3,)),
    (regress, "ridge_optimal_k", (Y, A.repeat(2, 0)), {}, lambda r: r > 0),
    (regress, "pc_regress", (Y, A.repeat(2, 0), 2), {}, lambda r: r[0].shape == (3,)),
    (regress, "numeric_derive", (lambda b, x: b[0] * x, 2.0, 2.0, [1.0]), {}, lambda r: r[0] == pytest.approx(2)),
    (regress, "multi_numeric_derive", (lambda b, x: b[0] * x, X, [1.0]), {}, lambda r: np.allclose(r[:, 0], X)),
    (regress, "nlin_regress", (X, 2 * X, lambda b, x: b[0] * x, [1.0]), {}, lambda r: r.b[0] == pytest.approx(2)),
    (regress, "logistic_regress", (np.array([0.0, 0, 1, 0, 1, 1, 0, 1]), np.arange(8.0)[:, None]), {},
     lambda r: r.stats.converged),
    (regress, "poisson_regress", (COUNTS, np.arange(10.0)[:, None]), {}, lambda r: r.stats.converged),
    (regmodels, "line_eval", ([1.0, 2.0], 3.0), {}, lambda r: r == 7),
    (regmodels, "power_eval", ([2.0, 2.0], X), {}, lambda r: np.allclose(r, 2 * X ** 2)),
    (regmodels, "exp_eval", ([1.0, 0.0], 3.0), {}, lambda r: r == 1),
    (regmodels, "ln_eval", ([1.0, 1.0], np.e), {}, lambda r: r == pytest.approx(2)),
    (regmodels, "logistic_eval", ([0.0, 1.0, 1.0, 0.0], 0.0), {}, lambda r: r == 0.5),
    (regmodels, "frac_eval", ([1.0, 1.0, 1.0], 1.0, 1), {}, lambda r: r == 1),
    (regmodels, "mul_lin_eval", ([1.0, 2.0, 3.0], A), {}, lambda r: np.allclose(r, 1 + A @ [2.0, 3.0])),
    (regmodels, "line_fit", (X, 2 * X + 1), {}, lambda r: np.allclose(r, [1, 2])),
    (regmodels, "power_fit", (X, 3 * X ** 2), {}, lambda r: np.allclose(r, [3, 2])),
    (regmodels, "exp_fit", (X, np.exp(0.5 * X)), {}, lambda r: np.allclose(r, [1, 0.5])),
    (regmodels, "ln_fit", (X, 1 + np.log(X)), {}, lambda r: np.allclose(r, [1, 1])),
    (regmodels, "logistic_fit", (X, 1 / (1 + np.exp(-X + 3))), {}, lambda r: r.shape == (4,)),
    (regmodels, "frac_fit", (X, Y, 1, 1), {}, lambda r: r.shape == (3,)),
    (regmodels, "mul_lin_fit", (A, 1 + A @ [2.0, 3.0]), {}, lambda r: np.allclose(r, [1, 2, 3])),
    (regmodels, "line_deriv", (2.0, 5.0, [1.0, 2.0]), {}, lambda r: list(r) == [0, 2]),
    (regmodels, "power_deriv", (2.0, 8.0, [2.0, 2.0]), {}, lambda r: r[0] == 4),
    (regmodels, "exp_deriv", (2.0, 8.0, [2.0, 1.0]), {}, lambda r: list(r) == [4, 16]),
    (timeseries, "auto_cov", (X, 3), {}, lambda r: r[0] == pytest.approx(np.var(X))),
    (timeseries, "acf", (X,), {}, lambda r: r[0] == 1),
    (timeseries, "pacf", (timeseries.acf(X, 4),), {"full": True}, lambda r: len(r[1]) == 3),
    (timeseries, "durbin_levinson", (timeseries.auto_cov(X, 3), 3), {}, lambda r: r[0].shape == (2,)),
    (timeseries, "ar_yule_walker_fit", (X, 2), {}, lambda r: r.phi.shape == (2,) and r.std_err.shape == (2,)),
    (timeseries, "ar_burg_fit", (X, 1), {}, lambda r: r.variance > 0),
    (timeseries, "single_exp_smooth", (X, 0.3), {"fit": True}, lambda r: 0 <= r.alpha <= 1),
    (timeseries, "double_exp_smooth", (X, 0.3, 0.2), {}, lambda r: r.mse > 0),
    (timeseries, "triple_exp_smooth", (X, 0.3, 0.2, 0.1, 4), {}, lambda r: r.season.shape == (20,)),
    (timeseries, "single_exp_forecast", (X, 0.3, 25), {}, lambda r: r[0].shape == (24,)),
    (timeseries, "double_exp_forecast", (X, 0.3, 0.2, 25), {}, lambda r: r[0].shape == (24,)),
    (timeseries, "triple_exp_forecast", (X, 0.3, 0.2, 0.1, 24, 4), {}, lambda r: r[0].shape == (20,)),
    (timeseries, "box_cox", (X, 0.0), {}, lambda r: np.allclose(r, np.log(X))),
    (timeseries, "box_cox_inv", (np.log(X), 0.0), {}, lambda r: np.allclose(r, X)),
    (timeseries, "box_ljung", (X, 3), {}, lambda r: r > 0),
    (timeseries, "moving_average", (X, 3), {}, lambda r: r[1] == 2 and r[0][0] == pytest.approx(X[:3].mean())),
    (controlcharts, "qc_x_chart", (A,), {}, lambda r: r.lcl < r.cl < r.ucl),
    (controlcharts, "qc_s_chart", (A,), {}, lambda r: r.cl > 0),
    (controlcharts, "qc_r_chart", (A,), {}, lambda r: r.cl == pytest.approx(np.ptp(A, axis=1).mean())),
    (controlcharts, "qc_mr_chart", (X,), {}, lambda r: r[0] == pytest.approx(X.mean())),
    (controlcharts, "qc_p_chart", (COUNTS, np.full(10, 20.0)), {}, lambda r: r.ucl.shape == (10,)),
    (controlcharts, "qc_np_chart", (COUNTS, 20), {}, lambda r: r.cl == COUNTS.mean()),
    (controlcharts, "qc_u_chart", (COUNTS, 20), {}, lambda r: r.ucl > r.cl),
    (controlcharts, "qc_c_chart", (COUNTS,), {}, lambda r: r.cl == COUNTS.mean()),
    (controlcharts, "ewma_chart", (A,), {"exact": True}, lambda r: r.ucl.shape == (10,)),
    (controlcharts, "qc_cum_sum_chart", (A, 0.5, 4.0, 3.5, 1.0), {}, lambda r: r[1].shape == (10,)),
    (controlcharts, "qc_westgard_rules", (X, 3.5, 0.5), {}, lambda r: r.shape == (20,)),
    (controlcharts, "qc_cap_indexes", (X, 0.0, 8.0), {}, lambda r: r.cp > 0),
    (probplots, "stat_normal_plot", (X,), {}, lambda r: np.array_equal(r[0].x, np.sort(X))),
    (probplots, "stat_qq_plot", (X, Y), {}, lambda r: np.array_equal(r.y, np.sort(Y))),
    (probplots, "stat_weibull_plot", (X,), {}, lambda r: r.y.shape == (20,)),
    (probplots, "stat_exp_plot", (X,), {}, lambda r: r.y[0] > 0),
    # Goodness of fit, normality, Welch, Kendall, Kruskal-Wallis, exact rank sum.
    (statistics, "empirical_cdf", (np.array([2.0, 1, 2, 3]),), {}, lambda r: list(r[0]) == [1, 2, 3]
     and list(r[1]) == [0.25, 0.75, 1]),
    (statistics, "gof_kolmogorov", (POS,), {}, lambda r: 0 < r.statistic < 1),
    (statistics, "gof_chi2_test", (COUNTS, np.full(10, 0.1)), {}, lambda r: r.small_count == 10),
    (statistics, "gof_lillie_test", (X,), {}, lambda r: r.decision == kalix.HypothesisResult.not_reject),
    (statistics, "anderson_darling", (X,), {"mu": 3.0, "sigma": 1.3}, lambda r: 0 < r.pvalue <= 1 and r.statistic ==
     pytest.approx(-20 - np.mean(np.arange(1, 40, 2) * np.log(np.sort(NORM_CDF) * (1 - np.sort(NORM_CDF)[::-1]))))),
    (statistics, "gof_bera_jarque_test", (X,), {}, lambda r: r.statistic > 0),
    (statistics, "shapiro_wilks", (X,), {}, lambda r: 0.9 < r.statistic <= 1),
    (statistics, "shapiro_francia", (X,), {}, lambda r: 0.9 < r.statistic <= 1),
    (statistics, "t_test_welch", (X, Y), {}, lambda r: r.confidence_interval[0] < X.mean() - Y.mean() < r.confidence_interval[1]),
    (statistics, "kendall_tau", (X, Y), {"alternative": "greater"}, lambda r: r.statistic > 0.8 and r.pvalue < 1e-6),
    (statistics, "kruskal_wallis", (X, GROUPS), {}, lambda r: 0 < r.pvalue < 1),
    (statistics, "mann_whitney_exact", (X, Y), {}, lambda r: 0 < r.pvalue <= 1),
    # Multivariate analysis and designs.
    (statistics, "pairwise_distance", (A,), {}, lambda r: np.allclose(r, np.linalg.norm(A[:, None] - A[None], axis=2))
     and np.allclose(statistics.pairwise_distance(A[:4], A[4:], metric="cityblock"),
                     np.abs(A[:4, None] - A[None, 4:]).sum(axis=2))),
    (statistics, "hotelling_t2", (A,), {"mu": [3.5, 3.5]}, lambda r: r.statistic == pytest.approx(
        10 * (A.mean(0) - 3.5) @ np.linalg.solve(np.cov(A.T), A.mean(0) - 3.5)) and statistics.hotelling_t2(
        A[:6], A[6:] + 1).statistic == pytest.approx(_two_sample_t2(A[:6], A[6:] + 1))),
    (statistics, "box_m_test", (np.column_stack([X, Y]), GROUPS), {}, lambda r: r.f_df[0] == 6),
    (statistics, "ortho_rotate", (np.column_stack([X, Y]) / 7,), {"method": "quartimax"},
     lambda r: np.allclose(r[1] @ r[1].T, np.eye(2)) and np.allclose(r[0], np.column_stack([X, Y]) / 7 @ r[1])),
    (statistics, "pca_residuals", (A, 2), {}, lambda r: np.allclose(r.q, 0) and r.residuals.shape == A.shape),
    # R 4.x cmdscale(dist(A), eig=TRUE)
    (statistics, "classical_mds", (statistics.pairwise_distance(A),), {},
     lambda r: np.allclose(r.eigenvalues[:2], [21.6800819279413, 8.98591807205862]) and r.coords.shape == (10, 2)),
    (statistics, "latin_hypercube", (8, 3), {"seed": 4, "method": "maximin_best"},
     lambda r: all(sorted(np.floor(c * 8)) == list(range(8)) for c in r.T)),
    (regress, "stepwise_regress", (1 + 2 * X + 0.1 * Y, np.column_stack([X, np.sin(np.arange(20.0))])), {},
     lambda r: list(r.selected) == [0] and r.path[0].column == 0 and r.path[0].entered and r.b.shape == (2,)),
    # ARMA, ARIMA and ARAR.
    (timeseries, "arma_innovations_fit", (X, 1, 1), {}, lambda r: r.phi.shape == r.theta.shape == (1,)),
    (timeseries, "arma_hannan_rissanen_fit", (X, 1, 1), {}, lambda r: r.variance > 0),
    # R 4.x arima(X, order=c(1,0,0), method="ML")
    (timeseries, "arma_ml_fit", (X, 1, 0), {}, lambda r: np.allclose([r.log_lik, r.phi[0], r.mu, r.variance],
     [-30.6638207798013, -0.428336343575783, 3.652056791933763, 1.24404766117671], rtol=1e-4)),
    (timeseries, "arima_ml_fit", (X, 1, 1, 0), {}, lambda r: r.log_lik == pytest.approx(
        timeseries.arma_ml_fit(np.diff(X), 1, 0, fit_mean=False).log_lik)),
    # R 4.x predict(arima(X, order=c(1,0,0), method="ML"), n.ahead=3)
    (timeseries, "arma_forecast", (X, [-0.428336343575783], [], 3.652056791933763, 1.24404766117671, 3), {},
     lambda r: np.allclose(r.forecast, [3.50302007041864, 3.71589463628607, 3.62471272310214])
     and np.allclose(r.std_err, [1.11536884534970, 1.21338188653231, 1.23051725472208])),
    (timeseries, "arima_forecast", (np.cumsum(X), [], [], X.mean(), 1.0, 2, 1), {},
     lambda r: np.allclose(r.forecast, np.cumsum(X)[-1] + X.mean() * np.array([1, 2]))
     and np.allclose(r.std_err, [1, np.sqrt(2)])),
    (timeseries, "arma_simulate", ([0.5], [0.3], 1.0, 1.0, 50), {"seed": 3, "dtype": np.float32},
     lambda r: r.dtype == np.float32 and np.array_equal(r, timeseries.arma_simulate([0.5], [0.3], 1.0, 1.0, 50, seed=3,
                                                                                       dtype=np.float32))),
    (timeseries, "arima_simulate", ([0.5], [], 0.0, 1.0, 30, 1), {"seed": 3}, lambda r: r.shape == (30,)),
    (timeseries, "arar_forecast", (np.sin(np.arange(60.0)) + 0.01 * np.arange(60.0), 4), {"max_lag": 13},
     lambda r: r.forecast.shape == (4,) and np.all(r.lower < r.upper) and r.model.shortening[0] == 1),
    (core, "trigamma", (1.0,), {}, lambda r: r == pytest.approx(np.pi ** 2 / 6)),
]
# Probability functions: one call each, scalar and array forms agreeing.
DISTS = {
    "normal_pdf": (0.0, 1.0), "normal_cdf": (0.0, 1.0), "normal_cdf_inv": (0.0, 1.0), "student_pdf": (5.0,),
    "student_cdf": (5.0,), "student_cdf_inv": (5.0,), "chi_square_pdf": (3.0,), "chi_square_cdf": (3.0,),
    "chi_square_cdf_inv": (3.0,), "f_pdf": (3.0, 7.0), "f_cdf": (3.0, 7.0), "f_cdf_inv": (3.0, 7.0),
    "beta_pdf": (2.0, 3.0), "beta_cdf": (2.0, 3.0), "gamma_pdf": (2.0, 1.5), "gamma_cdf": (2.0, 1.5),
    "gamma_cdf_inv": (2.0, 1.5), "cauchy_pdf": (0.0, 1.0), "weibull_pdf": (1.0, 2.0), "weibull_cdf": (1.0, 2.0),
    "triangular_pdf": (0.0, 1.0, 0.5), "uniform_cdf": (0.0, 1.0), "exp_cdf": (2.0,), "erlang_cdf": (2.0, 1.0),
    "laplace_cdf": (0.0, 1.0), "log_normal_cdf": (0.0, 1.0), "logistic_cdf_inv": (0.0, 1.0), "maxwell_cdf": (1.0,),
    "maxwell_cdf_inv": (1.0,), "rayleigh_cdf": (1.0,), "binom_cdf": (10.0, 0.3), "poisson_cdf_inv": (3.0,),
}
SCALAR_DISTS = {
    "cauchy_cdf": (0.3, 0.0, 1.0), "gumbel_cdf": (0.3, 0.0, 1.0), "logistic_cdf": (0.3, 0.0, 1.0),
    "triangular_cdf": (0.3, 0.0, 1.0, 0.5), "gen_pareto_cdf": (0.3, 0.1, 0.0, 1.0), "poisson_cdf": (3.0, 2.0),
    "neg_binom_cdf": (3.0, 2.0, 0.5), "hyp_geometric_cdf": (2.0, 20.0, 7.0, 5.0), "geometric_cdf": (3.0, 0.3),
}
RANDOM = ["random_beta", "random_cauchy", "random_chi_square", "random_erlang", "random_exponent", "random_f",
          "random_gamma", "random_gen_pareto", "random_geometric", "random_gumbel", "random_laplace",
          "random_logistic", "random_log_normal", "random_maxwell", "random_normal", "random_rayleigh",
          "random_student", "random_triangular", "random_uniform", "random_uniform_d", "random_weibull",
          "random_binom", "random_hyp_geometric", "random_neg_binom", "random_poisson"]
RANDOM_ARGS = {1: (2,), 2: (2.0, 3.0), 3: (0.5, 0.0, 1.0)}
RANDOM_SPECIAL = {"random_chi_square": (3,), "random_erlang": (2, 1.5), "random_f": (3, 5), "random_student": (4,),
                  "random_uniform_d": (6,), "random_binom": (10, 0.3), "random_hyp_geometric": (20, 7, 5),
                  "random_neg_binom": (2.0, 0.5), "random_poisson": (3.0,), "random_geometric": (0.3,),
                  "random_triangular": (0.0, 1.0, 0.5), "random_exponent": (2.0,), "random_maxwell": (1.0,),
                  "random_rayleigh": (1.0,)}


# (call, statistic, pvalue, relative tolerance of the p-value), each from the source named.
REFERENCE = [
    (lambda: statistics.shapiro_wilks(SKEW), 0.867161665524998, 0.0104782841989709, 1e-9),  # R shapiro.test
    (lambda: statistics.shapiro_francia(SKEW), 0.860301182777048, 0.00989290484981846, 1e-4),  # R nortest::sf.test
    (lambda: statistics.anderson_darling(SKEW), 0.832354791900698, 0.0260140627025443, 1e-4),  # R nortest::ad.test
    (lambda: statistics.gof_lillie_test(SKEW), 0.177603863559149, 0.0983134316917446, 1e-4),  # R nortest::lillie.test
    (lambda: statistics.gof_bera_jarque_test(SKEW), 9.228210107397878, 0.009911049296035444, 1e-9),  # scipy jarque_bera
    # scipy.stats.kstest(X, norm(3, 1.3).cdf, alternative=...); R ks.test(X, Y + 1, exact=TRUE) (tied samples)
    (lambda: statistics.gof_kolmogorov(NORM_CDF), 0.23084962549063848, 0.20261012693495983, 1e-6),
    (lambda: statistics.gof_kolmogorov(NORM_CDF, alternative="greater"), 0.006917128192854505, 0.992114909797517, 1e-6),
    (lambda: statistics.gof_kolmogorov(NORM_CDF, alternative="less"), 0.23084962549063848, 0.10138069309507064, 1e-6),
    (lambda: statistics.gof_kolmogorov(X, Y + 1), 0.25, 0.521502042419008, 1e-9),
    (lambda: statistics.gof_chi2_test(COUNTS, np.full(10, 0.1)), 6.42857142857143, 0.6963760972409572, 1e-9),  # scipy chisquare
    (lambda: statistics.t_test_welch(X, Y + 0.3, alternative="less"), -0.2717636351505885, 0.39367722948337847, 1e-9),  # scipy ttest_ind
    (lambda: statistics.kendall_tau(X[:8], Y[7::-1], alternative="less"), -0.6428571428571428, 0.015575396825396826, 1e-9),  # scipy kendalltau
    (lambda: statistics.kruskal_wallis(X, GROUPS), 2.1510204081632622, 0.341123668206937, 1e-9),  # scipy kruskal
    (lambda: statistics.mann_whitney_exact(X, Y + 0.5), 179.0, 0.578454747860368, 1e-9),  # R coin::wilcox_test exact
]


@pytest.mark.parametrize("i", range(len(REFERENCE)))
def test_new_tests_agree_with_reference_software(i):
    call, stat, pvalue, rtol = REFERENCE[i]
    r = call()
    assert r.statistic == pytest.approx(stat, rel=1e-9) and r.pvalue == pytest.approx(pvalue, rel=rtol)


@pytest.mark.parametrize("mod,name,args,kwargs,check", CALLS, ids=[c[1] for c in CALLS])
def test_binding_runs_and_result_is_plausible(mod, name, args, kwargs, check):
    assert check(getattr(mod, name)(*args, **kwargs))


@pytest.mark.parametrize("name", sorted(DISTS))
def test_probability_scalar_and_array_forms_agree(name):
    f = getattr(core, name)
    xs = np.array([0.1, 0.35, 0.8])
    out = f(xs, *DISTS[name])
    assert out.dtype == np.float64 and [f(float(v), *DISTS[name]) for v in xs] == list(out)
    assert f(xs.astype(np.float32), *DISTS[name]).dtype == np.float32


@pytest.mark.parametrize("name", sorted(SCALAR_DISTS))
def test_scalar_distribution_functions(name):
    assert 0 < getattr(core, name)(*SCALAR_DISTS[name]) < 1


@pytest.mark.parametrize("name", RANDOM)
def test_random_variates_repeat_with_a_seed(name):
    f = getattr(random, name)
    args = RANDOM_SPECIAL.get(name, (2.0, 3.0) if name not in ("random_gen_pareto",) else (0.5, 0.0, 1.0))
    a, b = f(*args, 50, seed=11), f(*args, 50, seed=11)
    assert a.shape == (50,) and np.array_equal(a, b)
    if a.dtype != np.int32:
        assert f(*args, (4, 3), seed=1, dtype=np.float32).dtype == np.float32


def test_every_binding_is_exercised():
    called = {(c[0].__name__, c[1]) for c in CALLS}
    called |= {("kalix.core", n) for n in list(DISTS) + list(SCALAR_DISTS)}
    called |= {("kalix.random", n) for n in RANDOM}
    public = {(m.__name__, n) for m in (statistics, regress, regmodels, timeseries, random, probplots, controlcharts,
                                        core)
              for n in dir(m) if not n.startswith("_") and callable(getattr(m, n))
              and type(getattr(m, n)).__name__ == "builtin_function_or_method"}
    assert public - called == set()


# Error texts are the library's own, raised as KalixError (a ValueError).
ERRORS = [
    (lambda: statistics.percentile(X, 1.5), "Percentile: (P < 0) or (P > 1)"),
    (lambda: statistics.percentile(X.astype(complex), 0.5), "Percentile: X.Complex"),
    (lambda: statistics.mean_t(X, 1.5), "MeanT(Percent >= 100) or (Percent < 0)"),
    (lambda: statistics.t_test(X, Y[:5], paired=True), "tTest: Data1.Length <> Data2.Length"),
    (lambda: statistics.sign_test(X, Y, alpha=2.0), "SignTest :(Alpha<=0) or (Alpha>=1)"),
    (lambda: statistics.histogram(X, 0), "Histogram: NumBins <= 0"),
    (lambda: regress.lin_regress(X, Y[:5]), "LinRegress : X.Length <> Y.Length"),
    (lambda: regress.anova2(A, replications=3), "ANOVA2: (Data.Rows mod Replications) <> 0"),
    (lambda: timeseries.box_cox(X, -1.0), "BoxCox : Lambda<0"),
    (lambda: random.random_normal(0.0, -1.0, 3), "RandomNormal: sigma < 0"),
    (lambda: probplots.stat_normal_plot(X[:0]), "StatNormalPlot: Data.Length < 1"),
    (lambda: controlcharts.qc_p_chart(COUNTS, COUNTS[:3]), "QCPChart: Data.Length <> SampleSize.Length"),
    (lambda: statistics.shapiro_wilks(X[:2]), "ShapiroWilks: Data.Length < 3"),
    (lambda: statistics.hotelling_t2(A, mu=[1.0]), "HotellingT2: Mu.Length <> Data.Cols"),
    (lambda: regress.stepwise_regress(Y, A.repeat(2, 0), p_enter=0.2, p_remove=0.1), "StepwiseRegress: PEnter > PRemove"),
    (lambda: timeseries.arma_forecast(X, [0.5], [], 0.0, 1.0, 0), "ARMAForecast: Horizon < 1"),
]


@pytest.mark.parametrize("call,text", ERRORS, ids=[e[1] for e in ERRORS])
def test_error_text_is_the_librarys(call, text):
    with pytest.raises(kalix.KalixError) as e:
        call()
    assert str(e.value) == text and isinstance(e.value, ValueError)


@pytest.mark.parametrize("value,error", [
    (np.array(["a", "b"]), TypeError), (np.array([1, None], dtype=object), TypeError),
    (A, TypeError), ("text", TypeError), (np.zeros((2, 2, 2)), TypeError),
])
def test_bad_arrays_raise_cleanly(value, error):
    with pytest.raises(error):
        statistics.mean_g(value)


def test_length_beyond_32_bits_is_refused_before_any_copy():
    huge = np.lib.stride_tricks.as_strided(np.zeros(1), shape=(2 ** 31,), strides=(0,))
    with pytest.raises(kalix.KalixError, match="beyond the library's limit of 2147483647"):
        statistics.mean_g(huge)


def test_wide_integers_are_narrowed_only_when_they_fit():
    assert regress.anova1(X, GROUPS.astype(np.int64)) == regress.anova1(X, GROUPS)
    with pytest.raises(kalix.KalixError, match="beyond the 32-bit integer range"):
        regress.anova1(X, GROUPS.astype(np.int64) + 2 ** 32)


def test_bad_enum_names():
    with pytest.raises(ValueError, match="alternative must be one of"):
        statistics.t_test(X, alternative="sideways")
    assert statistics.t_test(X, alternative=kalix.HypothesisType.less).pvalue == \
        statistics.t_test(X, alternative="less").pvalue


@pytest.mark.parametrize("call", [
    lambda v: statistics.tied_ranks(v)[0], lambda v: timeseries.acf(v, 4), lambda v: statistics.covariance(
        v.reshape(10, 2)), lambda v: statistics.ranks(v)[0], lambda v: timeseries.box_cox(v, 0.5),
    lambda v: statistics.pca_data(v.reshape(10, 2)).scores, lambda v: regmodels.line_eval([1.0, 2.0], v),
    lambda v: statistics.empirical_cdf(v)[0], lambda v: statistics.pairwise_distance(v.reshape(10, 2)),
])
def test_single_precision_in_gives_single_precision_out(call):
    single = call(X.astype(np.float32))
    assert single.dtype == np.float32
    np.testing.assert_allclose(single, call(X), rtol=1e-5, atol=1e-6)


def test_inputs_read_in_place_and_never_changed():
    x = X.copy()
    kalix._kalix._debug_views()
    statistics.percentile(x, 0.5)
    assert x.ctypes.data in kalix._kalix._debug_views()  # read in place
    statistics.ranks(x)  # sorts a private copy
    assert np.array_equal(x, X)
    strided = np.repeat(X, 2)[::2]  # not contiguous: copied, same answer
    assert statistics.percentile(strided, 0.3) == statistics.percentile(X, 0.3)
    assert strided.ctypes.data not in kalix._kalix._debug_views()
    odd = np.concatenate([[0.0], X])[1:]  # contiguous but 8 bytes off the vector alignment: copied
    assert odd.ctypes.data % kalix.view_alignment() != 0
    assert statistics.percentile(odd, 0.3) == statistics.percentile(X, 0.3)
    m = np.asfortranarray(A)
    assert np.array_equal(statistics.covariance(m), statistics.covariance(A))


def test_outputs_own_the_library_buffer():
    out = timeseries.acf(X, 5)
    assert type(out.base).__name__ == "PyCapsule" and out.flags.c_contiguous
    assert type(random.random_poisson(2.0, 5, seed=1).base).__name__ == "PyCapsule"


def test_threads_run_concurrently_and_agree():
    big = random.random_normal(0.0, 1.0, 3_000_000, seed=5)
    want = statistics.tied_ranks(big)[1]
    span = {}

    def work():
        t0 = time.perf_counter()
        span["result"] = statistics.tied_ranks(big)[1]
        span["time"] = (t0, time.perf_counter())

    ticks = []
    t = threading.Thread(target=work)
    t.start()
    while t.is_alive():
        ticks.append(time.perf_counter())
    t.join()
    t0, t1 = span["time"]
    inside = [s for s in ticks if t0 + 0.1 * (t1 - t0) < s < t1 - 0.1 * (t1 - t0)]
    assert span["result"] == want
    # With the lock held during the call this thread could not have run at all in between.
    assert len(inside) > 100
    results = []
    threads = [threading.Thread(target=lambda: results.append(statistics.tied_ranks(big)[1])) for _ in range(2)]
    for th in threads:
        th.start()
    for th in threads:
        th.join()
    assert results == [want, want]
