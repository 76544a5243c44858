"""NumPy counterparts of bench/PrincipalComponentsBench.cpp on the same data (best of 7, ms), one BLAS thread."""
import os

os.environ["OPENBLAS_NUM_THREADS"] = "1"
import numpy as np  # noqa: E402

from benchdata import best_of, uniform  # noqa: E402


def best_cpu(fn, repeats=7):
    """Best process CPU time in seconds of fn() (one BLAS thread, so comparable with the CPU
    column of Google Benchmark on a machine shared with other work)."""
    import time
    best = float("inf")
    for _ in range(repeats):
        t0 = time.process_time()
        fn()
        best = min(best, time.process_time() - t0)
    return best


rows, cols = 100_000, 50
U = uniform(rows * cols).reshape(rows, cols)
A = U + 0.5 * np.roll(U, -1, axis=1)
y = A @ (np.arange(1.0, cols + 1) / cols) + 0.1 * (uniform(rows * cols + rows)[rows * cols:] - 0.5)


def pca_corr():
    """Correlation matrix, its eigen-decomposition (largest first) and the standardised scores."""
    R = np.corrcoef(A, rowvar=False)
    w, V = np.linalg.eigh(R)
    w, V = w[::-1], V[:, ::-1]
    Z = ((A - A.mean(axis=0)) / A.std(axis=0, ddof=1)) @ V
    return w, V, Z


def pca_cov():
    C = np.cov(A, rowvar=False)
    w, V = np.linalg.eigh(C)
    w, V = w[::-1], V[:, ::-1]
    return w, V, (A - A.mean(axis=0)) @ V


def ridge(k=0.5):
    """Standardise, form the normal equations, add k to the diagonal, solve; back to the data's scale."""
    m, s = A.mean(axis=0), A.std(axis=0, ddof=1)
    Z = (A - m) / s
    G = Z.T @ Z
    G[np.diag_indices(cols)] += k
    b = np.linalg.solve(G, Z.T @ (y - y.mean())) / s
    return np.concatenate([[y.mean() - m @ b], b])


def pcr(ncomp=10):
    """Scores of the correlation PCA, least squares on them, the leading components back on the data's scale."""
    m, s = A.mean(axis=0), A.std(axis=0, ddof=1)
    w, V, Z = pca_corr()
    g = np.linalg.lstsq(Z, y, rcond=None)[0]
    g[ncomp:] = 0
    b = (V @ g) / s
    return np.concatenate([[y.mean() - m @ b], b])


for name, fn in [("PCA correlation 1e5 x 50 (corrcoef, eigh, scores)", pca_corr),
                 ("PCA covariance 1e5 x 50 (cov, eigh, scores)", pca_cov),
                 ("ridge 1e5 x 50 (standardise, Z'Z + kI, solve)", ridge),
                 ("PC regression 1e5 x 50, 10 components (lstsq)", pcr)]:
    print(f"{name:50s} wall {best_of(fn) * 1e3:8.1f} ms   cpu {best_cpu(fn) * 1e3:8.1f} ms")
