# R counterpart of BM_ARMAMLFit_21_1e4 (bench/ARMABench.cpp): arima(method = "ML") of an
# ARMA(2, 1) with a mean on the same 1e4 values (best of 5, CPU ms).
# Run from bench/compare: Rscript arma.R (arma.py writes the series to a temporary file).
f <- file.path(tempdir(), "arma21_1e4.txt")
if (!file.exists(f)) system(sprintf("ARMA_WRITE=%s /usr/bin/python3 -c 'import os, numpy, arma; numpy.savetxt(os.environ[\"ARMA_WRITE\"], arma.arma21(10000), fmt=\"%%.17g\")'", f))
x <- scan(f, quiet = TRUE)
best <- Inf
for (r in 1:5) {
  t <- system.time(fit <- arima(x, order = c(2, 0, 1), method = "ML"))
  best <- min(best, t[["user.self"]] + t[["sys.self"]])
}
cat(sprintf("arima(order = c(2,0,1), method = \"ML\") 1e4  %9.2f ms\n", 1e3 * best))
