"""Runs the kalix tool on small CSV files: values against R, the three output formats against
each other, the CSV reader's corner cases and the error contract (one line, exit 2, no stdout).

Usage: python3 cli_test.py KALIX REPO_ROOT {outputs|reader|errors}
"""
import csv
import io
import json
import math
import os
import subprocess
import sys

KALIX, ROOT, GROUP = sys.argv[1], sys.argv[2], sys.argv[3]
DATA = os.path.join(ROOT, "examples", "data")
HERE = os.path.join(ROOT, "tests", "cli")
failures = []


def run(args, stdin=None):
    p = subprocess.run([KALIX] + args, input=stdin, capture_output=True, text=True)
    return p.returncode, p.stdout, p.stderr


def check(ok, what):
    if not ok:
        failures.append(what)


def close(got, want, rel):
    if got is None or want is None:
        return got is None and want is None
    return abs(got - want) <= rel * max(abs(want), 1e-300)


def find(tables, table, where):
    """The row of tables[table] whose cells match every key of where."""
    for row in tables[table]["rows"]:
        if all(row.get(k) == v for k, v in where.items()):
            return row
    return None


def csv_tables(text):
    blocks = [b for b in text.split("\n\n") if b.strip()]
    return [list(csv.reader(io.StringIO(b))) for b in blocks]


def consistent(args, tables):
    """The csv form holds exactly the json values (round trip); the table form shows each row."""
    rc, out, err = run(args + ["--format", "csv"])
    check(rc == 0, f"{args}: csv exit {rc} {err}")
    blocks = csv_tables(out)
    check(len(blocks) == len(tables), f"{args}: {len(blocks)} csv tables, {len(tables)} json tables")
    for block, table in zip(blocks, tables):
        check(block[0] == table["columns"], f"{args}: csv header {block[0]}")
        for line, row in zip(block[1:], table["rows"]):
            for text, col in zip(line, table["columns"]):
                value = row[col]
                if value is None:
                    check(text in ("NA", "Inf", "-Inf"), f"{args}: csv {col} {text} for null")
                elif isinstance(value, float):
                    check(float(text) == value, f"{args}: csv {col} {text} != {value!r}")
                else:
                    check(text == str(value), f"{args}: csv {col} {text} != {value}")
    rc, out, err = run(args)
    check(rc == 0, f"{args}: table exit {rc} {err}")
    lines = out.splitlines()
    for table in tables:
        check(table["title"] in lines, f"{args}: title {table['title']} missing from the table form")
        for row in table["rows"]:
            cells = [f"{v:.6g}" if isinstance(v, float) else str(v) for v in row.values() if v is not None]
            check(any(all(c in line for c in cells) for line in lines), f"{args}: no table line shows {cells}")


# (arguments, [(table, row selector, column, R value, relative tolerance)]). R 4.2 (r-base-core)
# computed every reference; the call is named beside each case.
CASES = [
    # mean, sd, quantile(type = 6), moment skewness and excess kurtosis of mtcars$mpg
    (["describe", f"{DATA}/mtcars.csv", "-c", "mpg"],
     [(0, {}, "n", 32, 0), (0, {}, "mean", 20.090625, 1e-15), (0, {}, "sd", 6.0269480520891, 1e-13),
      (0, {}, "q1", 15.275, 1e-15), (0, {}, "median", 19.2, 1e-15), (0, {}, "q3", 22.8, 1e-15),
      (0, {}, "skewness", 0.640439864031885, 1e-12), (0, {}, "kurtosis", -0.200533209715497, 1e-12)]),
    # tapply(iris$Sepal.Length, iris$Species, mean)
    (["describe", f"{DATA}/iris.csv", "-c", "Sepal.Length", "-g", "Species"],
     [(0, {"group": "3"}, "mean", 6.588, 1e-14), (0, {"group": "1"}, "n", 50, 0)]),
    # quantile(mtcars$mpg, c(0.1, 0.9), type = 6)
    (["percentile", f"{DATA}/mtcars.csv", "-c", "mpg", "-p", "0.1,0.9"],
     [(0, {}, "p0.1", 13.6, 1e-14), (0, {}, "p0.9", 30.4, 1e-14)]),
    # table(cut(mpg, seq(min, max, length.out = 6), right = FALSE, include.lowest = TRUE))
    (["histogram", f"{DATA}/mtcars.csv", "-c", "mpg", "--bins", "5"],
     [(0, {"bin": 1}, "count", 6, 0), (0, {"bin": 2}, "count", 12, 0), (0, {"bin": 5}, "count", 4, 0),
      (0, {"bin": 5}, "upper", 33.9, 1e-15)]),
    # t.test(drug1, drug2, paired = TRUE)
    (["test", "t", f"{DATA}/sleep.csv", "-c", "drug1,drug2", "--paired"],
     [(0, {}, "statistic", -4.06212768338204, 1e-12), (0, {}, "p.value", 0.00283289019738427, 1e-9),
      (0, {}, "conf.low", -2.45988576327698, 1e-12), (0, {}, "decision", "reject", 0)]),
    # t.test(drug1, drug2, var.equal = TRUE)
    (["test", "t", f"{DATA}/sleep.csv", "-c", "drug1,drug2"],
     [(0, {}, "statistic", -1.86081346748685, 1e-12), (0, {}, "p.value", 0.0791867142159382, 1e-9),
      (0, {}, "conf.high", 0.203874032287599, 1e-11)]),
    # t.test(drug1, mu = 0.5, alternative = "greater")
    (["test", "t", f"{DATA}/sleep.csv", "-c", "drug1", "--mu", "0.5", "--alternative", "greater"],
     [(0, {}, "statistic", 0.44190338023794, 1e-12), (0, {}, "p.value", 0.334493311807337, 1e-9)]),
    # t.test(drug1, drug2)
    (["test", "welch", f"{DATA}/sleep.csv", "-c", "drug1,drug2"],
     [(0, {}, "df", 17.7764735161785, 1e-12), (0, {}, "p.value", 0.0793941401873582, 1e-9)]),
    # var.test(drug2, drug1): the library's F is the second sample's variance over the first's
    (["test", "f", f"{DATA}/sleep.csv", "-c", "drug1,drug2"],
     [(0, {}, "statistic", 1.2525950355841, 1e-12), (0, {}, "p.value", 0.742719931726045, 1e-9)]),
    # cor.test(mpg, wt, method = "kendall", exact = FALSE, continuity = FALSE)
    (["test", "kendall", f"{DATA}/mtcars.csv", "-c", "mpg,wt"],
     [(0, {}, "statistic", -0.727832149528431, 1e-12), (0, {}, "p.value", 6.70577040559586e-09, 1e-6)]),
    # shapiro.test(ball_bearings)
    (["test", "normality", f"{DATA}/ball_bearings.csv"],
     [(0, {"test": "Shapiro-Wilk"}, "statistic", 0.927295408386182, 1e-9),
      (0, {"test": "Shapiro-Wilk"}, "p.value", 0.0956061373054028, 1e-6)]),
    # z = mean / (2 / sqrt(n)), 2 pnorm(-|z|)
    (["test", "z", f"{DATA}/sleep.csv", "-c", "drug1", "--sigma", "2"],
     [(0, {}, "statistic", 1.18585412256314, 1e-12), (0, {}, "p.value", 0.235679913429038, 1e-10)]),
    # binom.test(1, 10): one of ten drug2 values below 0
    (["test", "sign", f"{DATA}/sleep.csv", "-c", "drug2"],
     [(0, {}, "statistic", 1.0, 0), (0, {}, "p.value", 0.021484375, 1e-12)]),
    # wilcox.test(drug1, drug2, paired = TRUE)$statistic; wilcox.test(mpg ~ am)$statistic
    (["test", "wilcoxon", f"{DATA}/sleep.csv", "-c", "drug1,drug2", "--paired"], [(0, {}, "statistic", 0.0, 0)]),
    (["test", "mann-whitney", f"{DATA}/mtcars.csv", "-c", "mpg", "-g", "am"], [(0, {}, "statistic", 42.0, 0)]),
    # cor.test(mpg, wt, method = "spearman", exact = FALSE)
    (["test", "spearman", f"{DATA}/mtcars.csv", "-c", "mpg,wt"],
     [(0, {}, "statistic", -0.886422033270298, 1e-12), (0, {}, "p.value", 1.48759485812743e-11, 1e-8)]),
    # (n - 1) var / 30^2 and 2 min(pchisq, 1 - pchisq); max |x - mean| / sd
    (["test", "chisq", f"{DATA}/ball_bearings.csv", "--sigma", "30"],
     [(0, {}, "statistic", 34.3542817391304, 1e-12), (0, {}, "p.value", 0.0903916741686583, 1e-9)]),
    (["test", "grubbs", f"{DATA}/ball_bearings.csv"], [(0, {}, "statistic", 2.6988308241594, 1e-12)]),
    # MASS::fitdistr(x, "gamma"): shape and 1 / rate (Nelder-Mead against BFGS: 1e-4)
    (["fit", "gamma", f"{DATA}/ball_bearings.csv"],
     [(0, {"parameter": "shape"}, "estimate", 4.02543398829433, 1e-4),
      (0, {"parameter": "scale"}, "estimate", 17.9419941749074, 1e-4)]),
    # mean and the library's interval mean / n * qgamma(c(.025, .975), n)
    (["fit", "exponential", f"{DATA}/ball_bearings.csv"],
     [(0, {}, "estimate", 72.224347826087, 1e-13), (0, {}, "conf.low", 45.7840410450986, 1e-10),
      (0, {}, "conf.high", 104.59424663387, 1e-10)]),
    # mean, sd, t.test(drug1)$conf.int, sd * sqrt((n - 1) / qchisq(c(.975, .025), n - 1))
    (["fit", "normal", f"{DATA}/sleep.csv", "-c", "drug1"],
     [(0, {"parameter": "mu"}, "conf.low", -0.529780413526232, 1e-12),
      (0, {"parameter": "sigma"}, "estimate", 1.78900965775916, 1e-13),
      (0, {"parameter": "sigma"}, "conf.high", 3.26603424783099, 1e-11)]),
    # summary(lm(mpg ~ wt + hp)), confint()
    (["regress", f"{DATA}/mtcars.csv", "-y", "mpg", "-c", "wt,hp"],
     [(0, {"term": "(Intercept)"}, "estimate", 37.227270116447194, 1e-12),
      (0, {"term": "wt"}, "std.error", 0.63273349437739512, 1e-11),
      (0, {"term": "hp"}, "p.value", 1.45122853156942e-03, 1e-8),
      (0, {"term": "hp"}, "conf.low", -0.0502407768710736, 1e-10),
      (1, {}, "r.squared", 0.826785451882791, 1e-12), (1, {}, "adj.r.squared", 0.814839620978156, 1e-12),
      (1, {}, "sigma", 2.59341177722657, 1e-12), (1, {}, "statistic", 69.2112133917777, 1e-11),
      (1, {}, "df.residual", 29, 0)]),
    # summary(lm(mpg ~ wt, weights = hp))
    (["regress", f"{DATA}/mtcars.csv", "-y", "mpg", "-c", "wt", "-w", "hp"],
     [(0, {"term": "(Intercept)"}, "estimate", 34.00477838478283, 1e-12),
      (0, {"term": "wt"}, "std.error", 0.54903271153842, 1e-11), (1, {}, "r.squared", 0.6977251089438, 1e-11)]),
    # summary(aov(mpg ~ factor(cyl)))
    (["anova", f"{DATA}/mtcars.csv", "-c", "mpg", "-g", "cyl"],
     [(0, {"term": "cyl"}, "sumsq", 824.784590097, 1e-11), (0, {"term": "cyl"}, "statistic", 39.69752, 1e-6),
      (0, {"term": "Residuals"}, "df", 29, 0)]),
    # summary(aov(breaks ~ wool * tension, warpbreaks))
    (["anova", f"{HERE}/warpbreaks.csv", "-c", "breaks", "-g", "wool", "--by", "tension"],
     [(0, {"term": "tension"}, "statistic", 8.49805, 1e-5), (0, {"term": "wool"}, "p.value", 0.05821298, 1e-6),
      (0, {"term": "wool:tension"}, "sumsq", 1002.77777778, 1e-10), (0, {"term": "Residuals"}, "df", 48, 0)]),
    # prcomp(iris[, 1:4], scale. = TRUE)$sdev^2
    (["pca", f"{DATA}/iris.csv", "-c", "1,2,3,4"],
     [(0, {"component": "PC1"}, "eigenvalue", 2.918497816532, 1e-11),
      (0, {"component": "PC4"}, "eigenvalue", 0.0207148364286192, 1e-9)]),
    # acf(passengers, 3), pacf(passengers, 3)
    (["acf", f"{DATA}/air_passengers.csv", "-c", "passengers", "--lags", "3"],
     [(0, {"lag": 1}, "acf", 0.948047340752492, 1e-12), (0, {"lag": 3}, "acf", 0.8066811554965, 1e-12),
      (0, {"lag": 2}, "pacf", -0.229421874117177, 1e-10)]),
    # predict(arima(lh, c(1, 0, 0), method = "ML"), 3): optimisers agree to about 1e-5
    (["forecast", f"{HERE}/lh.csv", "-m", "arima", "--order", "1,0,0", "--horizon", "3"],
     [(0, {"step": 1}, "forecast", 2.69261992764719, 1e-5), (0, {"step": 3}, "std.error", 0.532890380921614, 1e-4),
      (1, {"parameter": "ar1"}, "value", 0.573936980049235, 1e-4),
      (1, {"parameter": "loglik"}, "value", -29.3791624033419, 1e-6)]),
    # (USL - LSL) / (6 sd), its chi-square interval, min(USL - mean, mean - LSL) / (3 sd)
    (["capability", f"{DATA}/ball_bearings.csv", "--lsl", "0", "--usl", "150"],
     [(0, {}, "cp", 0.666867661875883, 1e-12), (0, {}, "cp.low", 0.471167557197707, 1e-9),
      (0, {}, "cp.high", 0.86226028632629, 1e-9), (0, {}, "cpk", 0.642187759537242, 1e-12)]),
]


def outputs():
    for args, expectations in CASES:
        rc, out, err = run(args + ["--format", "json"])
        if rc != 0:
            failures.append(f"{args}: exit {rc}: {err}")
            continue
        tables = json.loads(out)
        for table, where, column, want, rel in expectations:
            row = find(tables, table, where)
            if row is None:
                failures.append(f"{args}: no row {where} in table {table}")
                continue
            got = row.get(column)
            ok = close(got, want, rel) if isinstance(want, float) else got == want
            check(ok, f"{args}: {where} {column} = {got}, R {want}")
        consistent(args, tables)
    # Forecasts by smoothing run and stay flat for single smoothing.
    rc, out, _ = run(["forecast", f"{DATA}/air_passengers.csv", "-c", "passengers", "--horizon", "3",
                      "--format", "json"])
    steps = [r["forecast"] for r in json.loads(out)[0]["rows"]] if rc == 0 else []
    check(len(steps) == 3 and steps[0] == steps[2], f"single smoothing forecasts {steps}")


def reader():
    quoted = f"{HERE}/quoted.csv"
    # Quoted names with separators and doubled quotes, CRLF, a cell spanning two lines, NA,
    # an empty cell and a leading plus sign.
    rc, out, err = run(["describe", quoted, "--format", "json"])
    rows = json.loads(out)[0]["rows"] if rc == 0 else []
    check([r["column"] for r in rows] == ["id", 'va"lue'], f"numeric columns {rows} {err}")
    value = find([{"rows": rows}], 0, {"column": 'va"lue'}) or {}
    check(value.get("n") == 2 and value.get("missing") == 2 and value.get("mean") == 2.0, f"va\"lue {value}")
    # By number, from standard input, with another separator; text kept for a group.
    text = "g;v\na;1\nb;2\na;3\n"
    rc, out, err = run(["describe", "-", "--sep", ";", "-c", "2", "-g", "1", "--format", "json"], stdin=text)
    rows = json.loads(out)[0]["rows"] if rc == 0 else []
    check([(r["group"], r["n"], r["mean"]) for r in rows] == [("a", 2, 2.0), ("b", 1, 2.0)], f"stdin {rows} {err}")
    rc, out, err = run(["describe", "-", "--sep", "tab", "-c", "v", "--format", "json"], stdin=text.replace(";", "\t"))
    check(rc == 0 and json.loads(out)[0]["rows"][0]["n"] == 3, f"tab-separated {out} {err}")
    # Beyond the double range: signed infinities and an underflow, also without an exponent.
    rc, out, err = run(["describe", "-", "--format", "csv"], stdin="x\n-1e400\n1e-400\n" + "9" * 400 + "\n")
    row = dict(zip(*list(csv.reader(io.StringIO(out))))) if rc == 0 else {}
    check((row.get("min"), row.get("median"), row.get("max")) == ("-Inf", "0", "Inf"), f"out of range {out} {err}")
    # csv output quotes what needs quoting, so it reads back as the same table.
    rc, out, _ = run(["describe", quoted, "-c", "3", "--format", "csv"])
    check(rc == 0 and list(csv.reader(io.StringIO(out)))[1][0] == 'va"lue', f"csv quoting {out}")


ERRORS = [
    # (arguments, exact standard error or None, standard input)
    (["describe", f"{HERE}/none.csv"], f"kalix: {HERE}/none.csv: No such file or directory"),
    (["describe", f"{DATA}/sleep.csv", "-c", "drug3"], f"kalix: {DATA}/sleep.csv: no column \"drug3\""),
    (["describe", f"{DATA}/sleep.csv", "-c", "4"], f"kalix: {DATA}/sleep.csv: no column \"4\""),
    # The cell after a quoted two-line cell: line numbers count physical lines.
    (["describe", f"{HERE}/bad_cell.csv", "-c", "a"], f"kalix: {HERE}/bad_cell.csv:5:1: \"x\" in column \"a\" is not a number"),
    (["describe", f"{HERE}/quoted.csv", "-c", "2"],
     f"kalix: {HERE}/quoted.csv:2:3: \"a, b\" in column \"name, full\" is not a number"),
    (["describe", f"{HERE}/ragged.csv"], f"kalix: {HERE}/ragged.csv:3:1: 2 fields where the header row has 3"),
    (["test", "t", "-", "-c", "a"], "kalix: test t: needs at least 2 values, a has 1", "a,b\n1,2\nNA,3\n"),
    (["regress", f"{DATA}/sleep.csv", "-y", "drug1", "-c", "drug2", "--no-constant", "--alpha", "2"],
     "kalix: regress: --alpha must lie in (0, 1)"),
    # The library's own message passes through.
    (["test", "sign", f"{DATA}/sleep.csv", "-c", "drug1", "--alpha", "2"], "kalix: SignTest: (Alpha<=0) or (Alpha>=1)"),
    (["test", "nosuch", f"{DATA}/sleep.csv"], None),
    (["describe"], None),
]


def errors():
    for args, message, *stdin in ERRORS:
        rc, out, err = run(args, stdin[0] if stdin else None)
        check(rc == 2, f"{args}: exit {rc}")
        check(out == "", f"{args}: stdout {out!r}")
        check(err.count("\n") == 1 and err.startswith("kalix: "), f"{args}: stderr {err!r}")
        check(message is None or err.rstrip("\n") == message, f"{args}: {err!r} != {message!r}")


{"outputs": outputs, "reader": reader, "errors": errors}[GROUP]()
for f in failures:
    print("FAIL", f)
print(f"{GROUP}: {len(failures)} failure(s)")
sys.exit(1 if failures else 0)
