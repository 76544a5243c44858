# R counterparts of bench/HypothesisTestsBench.cpp on the same data (best of 7 batches).
# Run from bench/compare: Rscript hypothesis.R (NumPy writes the inputs to a temporary file).
uniform <- function(n, lo = 0, hi = 1) {
  # The splitmix64 rule of bench/BenchData.h needs 64-bit integers; read the values NumPy
  # writes (python3 -c 'import benchdata, numpy; numpy.savetxt(...)') when they are there.
  f <- file.path(tempdir(), sprintf("uniform_%d.txt", n))
  if (!file.exists(f)) system(sprintf("/usr/bin/python3 -c 'import benchdata, numpy; numpy.savetxt(\"%s\", benchdata.uniform(%d), fmt=\"%%.17g\")'", f, n))
  lo + (hi - lo) * scan(f, quiet = TRUE)
}
per_call <- function(expr, calls) {
  f <- function() for (i in seq_len(calls)) force(expr())
  best <- Inf
  # CPU time (user + system): on a loaded machine it is steadier than elapsed time, and the
  # C++ benchmarks report the same measure.
  for (r in 1:7) {
    t <- system.time(f())
    best <- min(best, (t[["user.self"]] + t[["sys.self"]]) / calls)
  }
  best
}
u100 <- uniform(100)
a <- u100[1:50]; b <- u100[51:100] + 0.1
x20 <- uniform(20)
w14 <- u100[1:14] - 0.3
cat(sprintf("wilcox.test(exact = TRUE) 50 x 50        %10.2f us\n", 1e6 * per_call(function() wilcox.test(a, b, exact = TRUE), 1000)))
cat(sprintf("wilcox.test(exact = TRUE) one sample 14  %10.2f us\n", 1e6 * per_call(function() wilcox.test(w14, exact = TRUE), 2000)))
cat(sprintf("t.test one sample 20                     %10.2f us\n", 1e6 * per_call(function() t.test(x20, mu = 0.5), 5000)))
