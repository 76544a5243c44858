"""statsmodels/SciPy counterparts of bench/GlmBench.cpp on the same data (best of N, ms), one BLAS thread."""
import os

os.environ["OPENBLAS_NUM_THREADS"] = "1"
import numpy as np  # noqa: E402
import statsmodels.api as sm  # noqa: E402
from scipy.optimize import least_squares  # noqa: E402

from benchdata import best_of, uniform  # noqa: E402

rows, cols = 1_000_000, 10
A = 2 * uniform(rows * cols).reshape(rows, cols) - 1
eta = 0.2 + A @ ((np.arange(cols) - 4.5) / 10)
u = uniform(20_000_000 + rows)
y = (u[10_000_000:10_000_000 + rows] < 1 / (1 + np.exp(-eta))).astype(float)
counts = np.floor(3 * np.exp(eta) * u[20_000_000:])
X = sm.add_constant(A)

print(f"statsmodels Logit(...).fit() 1e6 x 10         {best_of(lambda: sm.Logit(y, X).fit(disp=0), 2) * 1e3:8.1f} ms")
print(f"statsmodels GLM Poisson .fit() 1e6 x 10       "
      f"{best_of(lambda: sm.GLM(counts, X, family=sm.families.Poisson()).fit(), 2) * 1e3:8.1f} ms")

here = os.path.dirname(os.path.abspath(__file__))
nist = os.path.join(here, "..", "..", "tests", "data", "nist-nls")
models = {
    "Misra1a": lambda b, x: b[0] * (1 - np.exp(-b[1] * x)),
    "Chwirut1": lambda b, x: np.exp(-b[0] * x) / (b[1] + b[2] * x),
    "MGH10": lambda b, x: b[0] * np.exp(b[1] / (x + b[2])),
    "Hahn1": lambda b, x: (b[0] + x * (b[1] + x * (b[2] + x * b[3]))) / (1 + x * (b[4] + x * (b[5] + x * b[6]))),
    "Gauss1": lambda b, x: b[0] * np.exp(-b[1] * x) + b[2] * np.exp(-(x - b[3]) ** 2 / b[4] ** 2)
    + b[5] * np.exp(-(x - b[6]) ** 2 / b[7] ** 2),
}
for name, f in models.items():
    lines = open(os.path.join(nist, name + ".dat")).read().splitlines()
    rng = [ln for ln in lines if "Data" in ln and "(lines" in ln][0]
    first, last = (int(v) for v in rng.split("(lines")[1].strip(" )").split(" to "))
    data = np.array([[float(v) for v in ln.split()[:2]] for ln in lines[first - 1:last]])
    yy, xx = data[:, 0], data[:, 1]
    starts = [[float(v) for v in ln.split("=")[1].split()[:2]] for ln in lines if ln.startswith("  b") and "=" in ln]
    for s in (0, 1):
        b0 = np.array([st[s] for st in starts])
        t = best_of(lambda: least_squares(lambda b: yy - f(b, xx), b0, method="lm", xtol=1e-13, ftol=1e-13), 5)
        print(f"least_squares(lm) {name:9s} start {s + 1}         {t * 1e6:10.1f} us")
