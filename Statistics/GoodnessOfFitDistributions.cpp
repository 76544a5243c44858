// Null distributions of the Kolmogorov (one-sample, exact and limiting) and Anderson-Darling
// statistics.

#include <Eigen/Dense>

#include <cmath>
#include <vector>

#include "Statistics/detail/KolmogorovDistribution.h"

namespace Statistics::detail {

namespace {

constexpr double kPi = 3.14159265358979323846;

// Scaling of the matrix power: entries are kept below 1e140 and the exponent tracked apart.
constexpr double kBig = 1e140;
constexpr int kBigExp = 140;

using Mat = Eigen::MatrixXd;

// V = A^p with V's decimal exponent in eV (Marsaglia, Tsang & Wang 2003, by repeated squaring).
void ScaledPower(const Mat& A, int p, Mat& V, int& eV) {
  if (p == 1) {
    V = A;
    eV = 0;
    return;
  }
  ScaledPower(A, p / 2, V, eV);
  Mat B = V * V;
  eV *= 2;
  if (p % 2 == 1) B = A * B;
  V.swap(B);
  const Eigen::Index c = V.rows() / 2;
  if (V(c, c) > kBig) {
    V *= 1.0 / kBig;
    eV += kBigExp;
  }
}

}  // namespace

double KolmogorovUpper(double x) {
  if (std::isnan(x)) return x;
  if (x <= 0.0) return 1.0;
  if (x < 1.0) {
    // K(x) = sqrt(2 pi)/x sum over odd k of exp(-k^2 pi^2 / (8 x^2)), fast for small x.
    const double z = -kPi * kPi / (8.0 * x * x);
    double s = 0.0;
    for (int k = 1; k < 40; k += 2) {
      const double t = std::exp(z * k * k);
      s += t;
      if (t < 1e-17 * s) break;
    }
    return 1.0 - std::sqrt(2.0 * kPi) / x * s;
  }
  // 1 - K(x) = 2 sum (-1)^(k-1) exp(-2 k^2 x^2), accurate deep into the tail.
  double s = 0.0, sign = 1.0;
  for (int k = 1; k < 100; ++k) {
    const double t = std::exp(-2.0 * k * k * x * x);
    s += sign * t;
    sign = -sign;
    if (t < 1e-17 * s || t == 0.0) break;
  }
  return 2.0 * s;
}

double KolmogorovExactCDF(int n, double d) {
  if (std::isnan(d)) return d;
  const double nd = n * d;
  if (nd <= 0.5) return 0.0;  // D >= 1/(2n) always
  if (d >= 1.0) return 1.0;
  const int k = static_cast<int>(nd) + 1;
  const int m = 2 * k - 1;
  const double h = k - nd;
  Mat H(m, m);
  for (int i = 0; i < m; ++i)
    for (int j = 0; j < m; ++j) H(i, j) = i - j + 1 < 0 ? 0.0 : 1.0;
  for (int i = 0; i < m; ++i) {
    H(i, 0) -= std::pow(h, i + 1);
    H(m - 1, i) -= std::pow(h, m - i);
  }
  if (2.0 * h - 1.0 > 0.0) H(m - 1, 0) += std::pow(2.0 * h - 1.0, m);
  for (int i = 0; i < m; ++i)
    for (int j = 0; j < m; ++j)
      for (int g = 1; g <= i - j + 1; ++g) H(i, j) /= g;
  Mat Q;
  int eQ = 0;
  ScaledPower(H, n, Q, eQ);
  // P = n!/n^n (H^n)[k, k], the factorial ratio taken one factor at a time.
  double s = Q(k - 1, k - 1);
  for (int i = 1; i <= n; ++i) {
    s = s * i / n;
    if (s < 1.0 / kBig) {
      s *= kBig;
      eQ -= kBigExp;
    }
  }
  return s * std::pow(10.0, eQ);
}

double OneSidedExactUpper(int n, double d) {
  if (std::isnan(d)) return d;
  if (d <= 0.0) return 1.0;
  if (d >= 1.0) return 0.0;
  // d sum_{j=0}^{floor(n(1-d))} C(n, j) (1 - d - j/n)^(n-j) (d + j/n)^(j-1), in logs.
  const int jmax = static_cast<int>(std::floor(n * (1.0 - d)));
  double s = 0.0, lc = 0.0;  // lc = ln C(n, j)
  for (int j = 0; j <= jmax; ++j) {
    if (j > 0) lc += std::log(static_cast<double>(n - j + 1) / j);
    const double a = 1.0 - d - static_cast<double>(j) / n;
    if (a <= 0.0) continue;
    s += std::exp(lc + (n - j) * std::log(a) + (j - 1) * std::log(d + static_cast<double>(j) / n));
  }
  return d * s;
}

double AndersonDarlingCDF(int n, double a) {
  if (std::isnan(a)) return a;
  if (a <= 0.0) return 0.0;
  // Limiting distribution, two fitted pieces.
  double x;
  if (a < 2.0) {
    x = std::exp(-1.2337141 / a) / std::sqrt(a) *
        (2.00012 + (0.247105 - (0.0649821 - (0.0347962 - (0.011672 - 0.00168691 * a) * a) * a) * a) * a);
  } else {
    x = std::exp(-std::exp(1.0776 - (2.30695 - (0.43424 - (0.082433 - (0.008056 - 0.0003146 * a) * a) * a) * a) * a));
  }
  // Finite-n correction as a function of the limiting probability x.
  const double dn = n;
  double e;
  if (x > 0.8) {
    e = (-130.2137 + (745.2337 - (1705.091 - (1950.646 - (1116.360 - 255.7844 * x) * x) * x) * x) * x) / dn;
  } else {
    const double c = 0.01265 + 0.1757 / dn;
    if (x < c) {
      double t = x / c;
      t = std::sqrt(t) * (1.0 - t) * (49.0 * t - 102.0);
      e = t * (0.0037 / (dn * dn) + 0.00078 / dn + 0.00006) / dn;
    } else {
      double t = (x - c) / (0.8 - c);
      t = -0.00022633 + (6.54034 - (14.6538 - (14.458 - (8.259 - 1.91864 * t) * t) * t) * t) * t;
      e = t * (0.04213 + 0.01365 / dn) / dn;
    }
  }
  return x + e;
}

}  // namespace Statistics::detail
