"""kalix chart and probplot: numbers against independent formulas (NumPy/SciPy), the SVG's
points, limit lines and flagged points against the printed results, errors, PNG rendering.

Usage: python3 chart_test.py /path/to/kalix
"""
import json
import os
import shutil
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree as ET

import numpy as np
from scipy import special, stats

KALIX = sys.argv.pop(1) if len(sys.argv) > 1 else "kalix"
SVG = "{http://www.w3.org/2000/svg}"
TMP = tempfile.mkdtemp(prefix="kalix_chart_")

# Twelve subgroups of four; subgroup 9 is shifted so that it falls above the x-bar limits.
RNG = np.random.default_rng(7)
SUBGROUPS = np.round(RNG.normal(10.0, 0.2, (12, 4)), 3)
SUBGROUPS[8] += 0.6
SINGLES = SUBGROUPS[:, 0].copy()
COUNTS = np.array([3, 5, 2, 8, 4, 6, 3, 14, 2, 5, 4, 3])
SIZES = np.array([100, 120, 90, 100, 110, 100, 95, 100, 105, 100, 100, 98])


def write(name, header, rows):
    path = os.path.join(TMP, name)
    with open(path, "w") as f:
        f.write(",".join(header) + "\n")
        for r in rows:
            f.write(",".join(str(v) for v in r) + "\n")
    return path


LONG = write("long.csv", ["batch", "x"], [(i // 4 + 1, v) for i, v in enumerate(SUBGROUPS.ravel())])
WIDE = write("wide.csv", ["a", "b", "c", "d"], SUBGROUPS.tolist())
ATTR = write("attr.csv", ["defects", "inspected"], zip(COUNTS, SIZES))


def kalix(*args, env=None):
    return subprocess.run([KALIX, *args], capture_output=True, text=True, env=env)


def chart(*args):
    """Runs a chart, returns its two JSON tables and the parsed SVG."""
    svg = os.path.join(TMP, "chart.svg")
    r = kalix(*args, "--format", "json", "--svg", svg)
    assert r.returncode == 0, r.stderr
    points, flagged = json.loads(r.stdout)
    return points["rows"], flagged["rows"], ET.parse(svg).getroot()


def by_class(root, tag, cls):
    return [e for e in root.iter(SVG + tag) if e.get("class") == cls]


def c4(n):
    return np.sqrt(2.0 / (n - 1)) * np.exp(special.gammaln(n / 2) - special.gammaln((n - 1) / 2))


class ChartNumbers(unittest.TestCase):
    def check(self, rows, panel, value, centre, lower, upper):
        got = [r for r in rows if r["chart"] == panel]
        np.testing.assert_allclose([r["value"] for r in got], value, rtol=1e-10)
        for key, want in (("center", centre), ("lower", lower), ("upper", upper)):
            np.testing.assert_allclose([r[key] for r in got], np.broadcast_to(want, len(got)), rtol=1e-10)
        self.assertEqual([r["out.of.control"] for r in got], [int(v > u or v < l) for v, l, u in
                                                              zip(value, np.broadcast_to(lower, len(got)),
                                                                  np.broadcast_to(upper, len(got)))])

    def test_xbar_s_from_wide_and_long_layouts(self):
        # x-bar and s charts, sigma from s-bar / c4(n) (c4 by the gamma function, SciPy).
        n, z = 4, stats.norm.ppf(0.5 * 0.9973 + 0.5)
        means, sds = SUBGROUPS.mean(1), SUBGROUPS.std(1, ddof=1)
        sbar = sds.mean()
        half = z * sbar / (c4(n) * np.sqrt(n))
        for args in ((WIDE,), (LONG, "-c", "x", "--subgroup", "batch"), (LONG, "-c", "x", "-n", "4")):
            rows, flagged, _ = chart("chart", "-t", "xbar-s", *args)
            self.check(rows, "xbar", means, means.mean(), means.mean() - half, means.mean() + half)
            shalf = z * sbar * np.sqrt(1 - c4(n) ** 2) / c4(n)
            self.check(rows, "S", sds, sbar, max(sbar - shalf, 0.0), sbar + shalf)
            self.assertIn({"chart": "xbar", "sample": 9}, [{k: f[k] for k in ("chart", "sample")} for f in flagged])

    def test_individuals_use_the_mean_absolute_moving_range(self):
        z = stats.norm.ppf(0.5 * 0.9973 + 0.5)
        mr = np.abs(np.diff(SINGLES))
        centre, half = SINGLES.mean(), z * mr.mean() / 1.128
        rows, _, _ = chart("chart", "-t", "individuals", write("one.csv", ["x"], [(v,) for v in SINGLES]))
        self.check(rows, "individuals", SINGLES, centre, centre - half, centre + half)
        # Westgard's 1-2s and 1-3s rules against sigma = MR-bar / 1.128 (Westgard et al. 1981).
        sigma = half / z
        for r, v in zip(rows, SINGLES):
            self.assertEqual(("1-2s" in r["westgard"], "1-3s" in r["westgard"]),
                             (abs(v - centre) > 2 * sigma, abs(v - centre) > 3 * sigma))
        self.assertEqual([r["sample"] for r in rows if r["chart"] == "MR"], list(range(2, len(SINGLES) + 1)))

    def test_p_chart_with_sizes_per_sample_and_u_with_one_size(self):
        z = stats.norm.ppf(0.99865)
        pbar = COUNTS.sum() / SIZES.sum()
        half = z * np.sqrt(pbar * (1 - pbar) / SIZES)
        rows, flagged, _ = chart("chart", "-t", "p", ATTR, "-c", "defects", "--size-column", "inspected")
        self.check(rows, "p", COUNTS / SIZES, pbar, pbar - half, pbar + half)
        self.assertEqual([f["sample"] for f in flagged if "beyond" in f["reason"]], [8])
        ubar = (COUNTS / 100).mean()
        rows, _, _ = chart("chart", "-t", "u", ATTR, "-c", "defects", "--size", "100")
        uhalf = z * np.sqrt(ubar / 100)
        self.check(rows, "u", COUNTS / 100, ubar, ubar - uhalf, ubar + uhalf)

    def test_ewma_of_single_values_takes_sigma_from_the_moving_range(self):
        lam, z = 0.2, stats.norm.ppf(0.99865)
        sigma = np.abs(np.diff(SINGLES)).mean() / 1.128
        e, prev = [], SINGLES.mean()
        for x in SINGLES:
            prev = lam * x + (1 - lam) * prev
            e.append(prev)
        t = np.arange(1, len(SINGLES) + 1)
        half = z * sigma * np.sqrt(lam / (2 - lam) * (1 - (1 - lam) ** (2 * t)))  # Montgomery eq. 9.22
        rows, _, _ = chart("chart", "-t", "ewma", write("one.csv", ["x"], [(v,) for v in SINGLES]))
        self.check(rows, "ewma", e, SINGLES.mean(), SINGLES.mean() - half, SINGLES.mean() + half)

    def test_cusum_is_the_tabular_recursion(self):
        # Montgomery's tabular CUSUM with K = k sigma, H = h sigma, sigma = 0.1 / sqrt(4) as given.
        target, se = 10.0, 0.1 / 2
        means = SUBGROUPS.mean(1)
        up, down, cp, cm = 0.0, 0.0, [], []
        for m in means:
            up = max(0.0, up + m - target - 0.5 * se)
            down = max(0.0, down + target - 0.5 * se - m)
            cp.append(up)
            cm.append(-down)
        rows, flagged, root = chart("chart", "-t", "cusum", WIDE, "--target", "10", "--sigma", "0.1")
        self.check(rows, "C+", cp, 0.0, -5 * se, 5 * se)
        self.check(rows, "C-", cm, 0.0, -5 * se, 5 * se)
        self.assertEqual(len(by_class(root, "circle", "point flagged")),
                         sum(r["out.of.control"] for r in rows))


class ChartSvg(unittest.TestCase):
    def test_points_limits_and_flags_match_the_printed_table(self):
        cases = [("xbar-r", WIDE), ("individuals", LONG, "-c", "x"), ("ewma", WIDE), ("c", ATTR, "-c", "defects"),
                 ("np", ATTR, "-c", "defects", "--size-column", "inspected")]
        for type_, *args in cases:
            with self.subTest(type_):
                rows, _, root = chart("chart", "-t", type_, *args)
                circles = [e for e in root.iter(SVG + "circle") if e.get("class", "").startswith("point")]
                self.assertEqual(len(circles), len(rows))
                self.assertEqual(len(by_class(root, "circle", "point flagged")),
                                 sum(r["out.of.control"] for r in rows))
                panels = len({r["chart"] for r in rows})
                limits = [e for e in root.iter() if e.get("class") == "limit"]
                self.assertEqual(len(limits), 2 * panels)  # one upper, one lower per panel
                self.assertEqual(len(by_class(root, "line", "centre")) + len(by_class(root, "polyline", "centre")),
                                 panels)

    def test_ticks_are_nice_and_enclose_the_data(self):
        _, _, root = chart("chart", "-t", "c", ATTR, "-c", "defects")
        yt = [float(t.text) for t in root.iter(SVG + "text") if t.get("class") == "tick" and t.get("text-anchor") == "end"]
        step = np.diff(yt)
        np.testing.assert_allclose(step, step[0], atol=1e-9)
        mant = abs(step[0]) / 10 ** np.floor(np.log10(abs(step[0])))
        self.assertTrue(any(np.isclose(mant, m) for m in (1, 2, 5)), yt)
        self.assertLessEqual(min(yt), COUNTS.min())
        self.assertGreaterEqual(max(yt), COUNTS.max())

    def test_title_is_escaped(self):
        _, _, root = chart("chart", "-t", "c", ATTR, "-c", "defects", "--title", "a<b & \"c\"")
        titles = [t.text for t in root.iter(SVG + "text") if t.get("class") == "title"]
        self.assertEqual(titles, ["c chart: a<b & \"c\""])


class ProbPlot(unittest.TestCase):
    def test_normal_plot_points_line_and_band(self):
        data = np.array([17.88, 28.92, 33.0, 41.52, 42.12, 45.6, 48.48, 51.84, 51.96, 54.12, 55.56, 67.8])
        path = write("pp.csv", ["life"], [(v,) for v in RNG.permutation(data)])
        svg = os.path.join(TMP, "pp.svg")
        r = kalix("probplot", path, "--format", "json", "--svg", svg)
        self.assertEqual(r.returncode, 0, r.stderr)
        points, line = json.loads(r.stdout)
        n = len(data)
        q = stats.norm.ppf((np.arange(n) + 0.5) / n)  # Hazen positions (SciPy)
        np.testing.assert_allclose([p["x"] for p in points["rows"]], data)
        np.testing.assert_allclose([p["y"] for p in points["rows"]], q, rtol=1e-12)
        half = 1.959963984540054 * np.sqrt(stats.norm.cdf(q) * stats.norm.sf(q) / n) / stats.norm.pdf(q)
        np.testing.assert_allclose([p["upper"] - p["line"] for p in points["rows"]], half, rtol=1e-9)
        ln = line["rows"][0]
        self.assertEqual((ln["min.x"], ln["max.x"]), (data.min(), data.max()))
        root = ET.parse(svg).getroot()
        self.assertEqual(len(by_class(root, "circle", "point")), n)
        self.assertEqual(len(by_class(root, "line", "refline")), 1)
        self.assertEqual(len(by_class(root, "polygon", "band")), 1)

    def test_two_sample_qq_pairs_sorted_samples(self):
        r = kalix("probplot", WIDE, "-t", "qq", "-c", "a,b", "--format", "json")
        points, _ = json.loads(r.stdout)
        np.testing.assert_allclose([p["x"] for p in points["rows"]], np.sort(SUBGROUPS[:, 0]))
        np.testing.assert_allclose([p["y"] for p in points["rows"]], np.sort(SUBGROUPS[:, 1]))


class OtherCommandsCharts(unittest.TestCase):
    """histogram, acf and forecast draw what they print."""

    @classmethod
    def setUpClass(cls):
        e, y = RNG.normal(size=80), [0.0]
        for v in e:
            y.append(0.7 * y[-1] + v)
        cls.series = write("ar1.csv", ["y"], [(round(v, 4),) for v in y[1:]])

    def run_json(self, *args):
        svg = os.path.join(TMP, "other.svg")
        r = kalix(*args, "--format", "json", "--svg", svg)
        self.assertEqual(r.returncode, 0, r.stderr)
        return json.loads(r.stdout), ET.parse(svg).getroot()

    def test_histogram_bars_and_density(self):
        (hist,), root = self.run_json("histogram", self.series, "--bins", "9")
        bars = by_class(root, "rect", "bar")
        self.assertEqual(len(bars), 9)
        # Bar heights in pixels are proportional to the printed counts.
        h = np.array([float(b.get("height")) for b in bars])
        counts = np.array([r["count"] for r in hist["rows"]])
        np.testing.assert_allclose(h, counts * h.max() / counts.max(), atol=0.15)
        self.assertEqual(len(by_class(root, "polyline", "density")), 1)

    def test_acf_bars_beyond_the_band_are_marked(self):
        (acf,), root = self.run_json("acf", self.series)
        rows = acf["rows"]
        band = 1.96 / np.sqrt(80)
        self.assertEqual(len(by_class(root, "rect", "bar")) + len(by_class(root, "rect", "bar significant")),
                         2 * len(rows))
        self.assertEqual(len(by_class(root, "rect", "bar significant")),
                         sum(abs(r["acf"]) > band for r in rows) + sum(abs(r["pacf"]) > band for r in rows))
        self.assertEqual(len(by_class(root, "polygon", "band")), 2)

    def test_forecast_points_and_interval(self):
        (steps, _), root = self.run_json("forecast", self.series, "--method", "arima", "--horizon", "6")
        self.assertEqual(len(by_class(root, "circle", "point")), len(steps["rows"]))
        self.assertEqual(len(by_class(root, "polygon", "band")), 1)
        self.assertEqual(len(by_class(root, "polyline", "series")), 1)


class Errors(unittest.TestCase):
    def test_one_line_on_stderr_exit_2_nothing_on_stdout(self):
        empty = tempfile.mkdtemp(dir=TMP)
        cases = [
            (["chart", "-t", "xbar-r", LONG, "-c", "x", "-n", "5"], "kalix: chart: 48 values do not fill subgroups of 5"),
            (["chart", "-t", "p", ATTR, "-c", "defects"], "kalix: chart: a p chart needs --size N or --size-column COLUMN"),
            (["chart", "-t", "xbar-r", LONG, "-c", "x"], "kalix: chart: xbar-r needs subgroups of 2 or more values"),
            (["chart", "-t", "c", ATTR, "-c", "defects", "--png", os.path.join(TMP, "x.png")],
             "kalix: --png needs rsvg-convert (Debian package librsvg2-bin)"),
        ]
        for args, message in cases:
            with self.subTest(message):
                r = kalix(*args, env={"PATH": empty})
                self.assertEqual((r.returncode, r.stdout, r.stderr), (2, "", message + "\n"))

    @unittest.skipUnless(shutil.which("rsvg-convert"), "rsvg-convert is not installed")
    def test_png_renders(self):
        png = os.path.join(TMP, "chart.png")
        r = kalix("chart", "-t", "xbar-r", WIDE, "--png", png)
        self.assertEqual(r.returncode, 0, r.stderr)
        with open(png, "rb") as f:
            self.assertEqual(f.read(8), b"\x89PNG\r\n\x1a\n")
        self.assertFalse(os.path.exists(png + ".tmp.svg"))


if __name__ == "__main__":
    try:
        unittest.main(verbosity=1)
    finally:
        shutil.rmtree(TMP, ignore_errors=True)
