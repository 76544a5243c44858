# R counterparts of bench/RankTestsBench.cpp on the same data (best CPU time of a few runs).
# Run from bench/compare: Rscript rank_tests.R (NumPy writes the inputs to a temporary file).
suppressMessages(library(coin))
uniform <- function(n) {
  f <- file.path(tempdir(), sprintf("uniform_%d.txt", n))
  if (!file.exists(f)) system(sprintf("/usr/bin/python3 -c 'import benchdata, numpy; numpy.savetxt(\"%s\", benchdata.uniform(%d), fmt=\"%%.17g\")'", f, n))
  scan(f, quiet = TRUE)
}
best_cpu <- function(expr, repeats) {
  best <- Inf
  for (r in seq_len(repeats)) {
    t <- system.time(expr())
    best <- min(best, t[["user.self"]] + t[["sys.self"]])
  }
  best
}
u <- uniform(400)
a <- round(30 * u[1:200]); b <- round(30 * u[201:400] + 2)
d <- data.frame(v = c(a, b), g = factor(rep(c("a", "b"), each = 200)))
cat(sprintf("coin::wilcox_test exact with ties 200+200   %10.1f ms\n",
            1e3 * best_cpu(function() wilcox_test(v ~ g, data = d, distribution = "exact"), 3)))
# cor.test(method = "kendall") counts the pairs one by one (O(n^2)): 1e6 pairs are out of reach.
