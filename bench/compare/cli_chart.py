"""kalix chart --type individuals --svg against R drawing the same chart (read.csv, mean
moving range, plot to svg()) on one 1e5-value CSV.

Usage: /usr/bin/python3 bench/compare/cli_chart.py PATH/TO/kalix
Alternates the two, CPU time of each child process, 3 rounds; prints the ratio R / kalix.
"""
import os
import resource
import subprocess
import sys
import tempfile

from benchdata import uniform

kalix = sys.argv[1]
work = tempfile.mkdtemp(prefix="kalix_chart_bench_")
data = os.path.join(work, "x.csv")
with open(data, "w") as f:
    f.write("x\n" + "\n".join(f"{10 + v:.6f}" for v in uniform(100_000)) + "\n")
script = os.path.join(work, "chart.R")
with open(script, "w") as f:
    f.write(f"""x <- read.csv("{data}")$x
mr <- abs(diff(x)); cl <- mean(x); h <- 3 * mean(mr) / 1.128
svg("{work}/r.svg", width = 9, height = 4)
plot(x, type = "o", pch = 20, cex = 0.4); abline(h = c(cl, cl - h, cl + h), lty = c(1, 2, 2))
out <- which(x > cl + h | x < cl - h); points(out, x[out], col = "red")
invisible(dev.off())
""")


def cpu(cmd):
    r0 = resource.getrusage(resource.RUSAGE_CHILDREN)
    subprocess.run(cmd, check=True, stdout=subprocess.DEVNULL)
    r1 = resource.getrusage(resource.RUSAGE_CHILDREN)
    return (r1.ru_utime + r1.ru_stime) - (r0.ru_utime + r0.ru_stime)


for _ in range(3):
    k = cpu([kalix, "chart", data, "-t", "individuals", "--svg", os.path.join(work, "k.svg"), "--format", "csv"])
    r = cpu(["Rscript", script])
    print(f"kalix {k:.2f} s CPU, R {r:.2f} s CPU, R / kalix {r / k:.2f}")
