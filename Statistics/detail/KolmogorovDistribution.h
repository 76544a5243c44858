// Null distributions of the Kolmogorov and Anderson-Darling statistics (internal, not installed).
#pragma once

namespace Statistics::detail {

/// Upper tail 1 - K(x) of Kolmogorov's limiting distribution of sqrt(n) D.
double KolmogorovUpper(double x);
/// P(D_n < d) for the two-sided one-sample statistic of n values (Marsaglia, Tsang & Wang 2003).
double KolmogorovExactCDF(int n, double d);
/// P(D+_n >= d) for the one-sided one-sample statistic (Birnbaum & Tingey 1951).
double OneSidedExactUpper(int n, double d);
/// P(A^2_n < a) for the Anderson-Darling statistic of n values from a fully specified continuous
/// distribution (Marsaglia & Marsaglia 2004: limiting distribution plus a finite-n correction).
double AndersonDarlingCDF(int n, double a);

}  // namespace Statistics::detail
