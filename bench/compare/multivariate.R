# R counterpart of BM_ClassicalMDS_2000 in bench/MultivariateBench.cpp (best CPU time of 5).
# Run from bench/compare: Rscript multivariate.R (NumPy writes the inputs to a temporary file).
uniform <- function(n) {
  f <- file.path(tempdir(), sprintf("uniform_%d.txt", n))
  if (!file.exists(f)) system(sprintf("/usr/bin/python3 -c 'import benchdata, numpy; numpy.savetxt(\"%s\", benchdata.uniform(%d), fmt=\"%%.17g\")'", f, n))
  scan(f, quiet = TRUE)
}
X <- matrix(uniform(2000 * 5), ncol = 5, byrow = TRUE)
D <- dist(X)
best <- Inf
for (r in 1:5) {
  t <- system.time(cmdscale(D, k = 2, eig = TRUE))
  best <- min(best, t[["user.self"]] + t[["sys.self"]])
}
cat(sprintf("cmdscale 2000 points k=2     %10.2f ms\n", 1e3 * best))
