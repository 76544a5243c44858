// Hotelling's T^2 tests of mean vectors and Box's M test of equal covariance matrices.
//
// The covariance matrices come from the library's two-pass covariance in the data's precision;
// the p x p algebra after it (Cholesky factor, quadratic form, log-determinants) is done in
// double, which costs nothing next to the pass over the data. A covariance whose Cholesky
// pivot falls to the rounding level of its diagonal is singular at the data's precision and
// is reported as such rather than inverted into noise.

#include <cmath>
#include <cstddef>
#include <limits>
#include <map>
#include <vector>

#include <Eigen/Cholesky>

#include "Statistics/Statistics.h"
#include "Statistics/detail/HypothesisRule.h"
#include "core/detail/EigenMap.h"

namespace Statistics {

using namespace Kalix;

namespace {

using MatD = Eigen::MatrixXd;
using VecD = Eigen::VectorXd;

// The p x p matrix S in double.
MatD ToDouble(const TMtx& S) {
  return WithPrecision(S, [&](auto t) -> MatD {
    using T = typename decltype(t)::type;
    return Kalix::detail::Map<T>(S).template cast<double>();
  });
}

VecD ToDouble(const TVec& v) {
  return WithPrecision(v, [&](auto t) -> VecD {
    using T = typename decltype(t)::type;
    return Kalix::detail::Map<T>(v).template cast<double>();
  });
}

bool AllFinite(const MatD& S) { return S.allFinite(); }

// Cholesky factor of S; false when S is singular at the precision (eps) it was computed in.
bool Factor(const MatD& S, double eps, Eigen::LLT<MatD>& llt) {
  llt.compute(S);
  if (llt.info() != Eigen::Success) return false;
  const MatD L = llt.matrixL();
  const double tol = static_cast<double>(S.rows()) * eps;
  for (Eigen::Index k = 0; k < S.rows(); ++k)
    if (!(L(k, k) * L(k, k) > tol * S(k, k))) return false;
  return true;
}

double EpsOf(const TMtx& A) {
  return A.FloatPrecision() == mvSingle ? double(std::numeric_limits<float>::epsilon())
                                        : std::numeric_limits<double>::epsilon();
}

// Column means and the covariance (divisor n - 1, or n when biased) of A.
void Moments(const TMtx& A, VecD& mean, MatD& S, bool biased) {
  TVecScratch m;
  TMtxScratch s;
  MeanCols(A, *m);
  Covariance(A, *s, biased);
  mean = ToDouble(*m);
  S = ToDouble(*s);
}

// The outputs of a test that could not be formed (NaN data).
double NanResult(THypothesisResult& hRes, double& Signif, TVec* HalfWidth, double* F, int p,
                 TMtxFloatPrecision prec) {
  hRes = hrNan;
  Signif = NAN;
  if (F) *F = NAN;
  if (HalfWidth) {
    HalfWidth->Size(p, prec);
    HalfWidth->SetVal(NAN);
  }
  return NAN;
}

// Shared end of both T^2 tests: T2 = d' (c S)^-1 d with the F transformation
// F = df2 / (p dfS) T2 on (p, df2), where dfS is the covariance's degrees of freedom.
double T2Finish(const VecD& d, const MatD& S, double c, double dfS, double eps, THypothesisResult& hRes,
                double& Signif, TVec* HalfWidth, double* F, double Alpha, TMtxFloatPrecision prec) {
  const int p = static_cast<int>(d.size());
  if (!AllFinite(S) || !d.allFinite()) return NanResult(hRes, Signif, HalfWidth, F, p, prec);
  Eigen::LLT<MatD> llt;
  if (!Factor(S, eps, llt)) ERaise("HotellingT2: covariance matrix is singular");
  const double T2 = d.dot(llt.solve(d)) / c;
  const double df1 = p, df2 = dfS - p + 1.0;
  const double f = df2 / (df1 * dfS) * T2;
  if (F) *F = f;
  if (!detail::AlphaInRange(Alpha)) {
    NanResult(hRes, Signif, HalfWidth, nullptr, p, prec);
    return NAN;
  }
  Signif = 1.0 - FCDF(f, df1, df2);
  hRes = detail::Decide(Signif, T2, Alpha);
  if (HalfWidth) {
    // Simultaneous T^2 intervals: every linear combination, hence every coordinate, at once.
    const double crit = df1 * dfS / df2 * FCDFInv(1.0 - Alpha, df1, df2);
    HalfWidth->Size(p, prec);
    for (int j = 0; j < p; ++j) HalfWidth->Values(j) = std::sqrt(crit * c * S(j, j));
  }
  return T2;
}

}  // namespace

double HotellingT2(const TMtx& Data, const TVec& Mu, THypothesisResult& hRes, double& Signif, TVec* HalfWidth,
                   double* F, double Alpha) {
  if (Data.Complex()) ERaise("HotellingT2: Data.Complex = true");
  if (Mu.Complex()) ERaise("HotellingT2: Mu.Complex = true");
  if (Mu.Length() != Data.Cols()) ERaise("HotellingT2: Mu.Length <> Data.Cols");
  if (Data.Cols() == 0) ERaise("HotellingT2: Data.Cols = 0");
  if (Data.Rows() <= Data.Cols()) ERaise("HotellingT2: Data.Rows <= Data.Cols");
  VecD mean;
  MatD S;
  Moments(Data, mean, S, false);
  const double n = Data.Rows();
  return T2Finish(mean - ToDouble(Mu), S, 1.0 / n, n - 1.0, EpsOf(Data), hRes, Signif, HalfWidth, F, Alpha,
                  Data.FloatPrecision());
}

double HotellingT2(const TMtx& Data1, const TMtx& Data2, THypothesisResult& hRes, double& Signif, TVec* HalfWidth,
                   double* F, double Alpha) {
  if (Data1.Complex()) ERaise("HotellingT2: Data1.Complex = true");
  if (Data2.Complex()) ERaise("HotellingT2: Data2.Complex = true");
  if (Data1.Cols() != Data2.Cols()) ERaise("HotellingT2: Data1.Cols <> Data2.Cols");
  if (Data1.FloatPrecision() != Data2.FloatPrecision())
    ERaise("HotellingT2: Data1.FloatPrecision <> Data2.FloatPrecision");
  if (Data1.Cols() == 0) ERaise("HotellingT2: Data1.Cols = 0");
  if (Data1.Rows() == 0 || Data2.Rows() == 0) ERaise("HotellingT2: (Data1.Rows = 0) or (Data2.Rows = 0)");
  if (Data1.Rows() + Data2.Rows() - 2 < Data1.Cols()) ERaise("HotellingT2: Data1.Rows + Data2.Rows - 2 < Data1.Cols");
  VecD m1, m2;
  MatD S1, S2;
  // Scatter matrices n_i * (biased covariance): a one-row sample adds zero scatter, not NaN.
  Moments(Data1, m1, S1, true);
  Moments(Data2, m2, S2, true);
  const double n1 = Data1.Rows(), n2 = Data2.Rows(), dfS = n1 + n2 - 2.0;
  const MatD Sp = (n1 * S1 + n2 * S2) / dfS;
  return T2Finish(m1 - m2, Sp, 1.0 / n1 + 1.0 / n2, dfS, EpsOf(Data1), hRes, Signif, HalfWidth, F, Alpha,
                  Data1.FloatPrecision());
}

double BoxMTest(const TMtx& Data, const TVecInt& Groups, THypothesisResult& hRes, double& Signif, double* ChiSq,
                double* F, TTwoElmReal* FDf, double* FSignif, double Alpha) {
  if (Data.Complex()) ERaise("BoxMTest: Data.Complex = true");
  if (Groups.Length() != Data.Rows()) ERaise("BoxMTest: Groups.Length <> Data.Rows");
  std::map<int, std::vector<int>> rows;
  for (int i = 0; i < Groups.Length(); ++i) rows[Groups[i]].push_back(i);
  if (rows.size() < 2) ERaise("BoxMTest: fewer than 2 groups");
  const int p = Data.Cols();
  for (const auto& g : rows)
    if (static_cast<int>(g.second.size()) <= p) ERaise("BoxMTest: a group has no more rows than Data.Cols");
  const double k = static_cast<double>(rows.size()), N = Data.Rows(), eps = EpsOf(Data);
  auto fail = [&]() {
    hRes = hrNan;
    Signif = NAN;
    for (double* o : {ChiSq, F, FSignif})
      if (o) *o = NAN;
    if (FDf) *FDf = {NAN, NAN};
    return NAN;
  };
  // Sum of (n_i - 1) ln|S_i| and the pooled scatter, group by group.
  MatD pooled = MatD::Zero(p, p);
  double sumLogDet = 0, sumInv = 0, sumInv2 = 0;
  TMtxScratch group;
  for (const auto& g : rows) {
    const int ni = static_cast<int>(g.second.size());
    group->Size(ni, p, Data.FloatPrecision());
    for (int r = 0; r < ni; ++r)
      for (int j = 0; j < p; ++j) (*group)(r, j) = Data(g.second[std::size_t(r)], j);
    VecD mean;
    MatD S;
    Moments(*group, mean, S, false);
    if (!AllFinite(S)) return fail();
    Eigen::LLT<MatD> llt;
    if (!Factor(S, eps, llt)) ERaise("BoxMTest: covariance matrix is singular");
    const double logDet = 2.0 * llt.matrixLLT().diagonal().array().log().sum();
    sumLogDet += (ni - 1) * logDet;
    pooled += (ni - 1) * S;
    sumInv += 1.0 / (ni - 1);
    sumInv2 += 1.0 / ((ni - 1.0) * (ni - 1.0));
  }
  pooled /= (N - k);
  Eigen::LLT<MatD> llt;
  if (!Factor(pooled, eps, llt)) ERaise("BoxMTest: covariance matrix is singular");
  const double M = (N - k) * 2.0 * llt.matrixLLT().diagonal().array().log().sum() - sumLogDet;
  // Box (1949): chi-square and F approximations of -2 ln of the likelihood ratio.
  const double pd = p;
  const double c1 = (sumInv - 1.0 / (N - k)) * (2 * pd * pd + 3 * pd - 1) / (6.0 * (pd + 1) * (k - 1));
  const double c2 = (sumInv2 - 1.0 / ((N - k) * (N - k))) * (pd - 1) * (pd + 2) / (6.0 * (k - 1));
  const double df1 = pd * (pd + 1) * (k - 1) / 2.0;
  const double chi = M * (1 - c1);
  double f, df2;
  if (c2 - c1 * c1 > 0) {
    df2 = (df1 + 2) / (c2 - c1 * c1);
    f = M / (df1 / (1 - c1 - df1 / df2));
  } else {
    df2 = (df1 + 2) / (c1 * c1 - c2);
    const double b = df2 / (1 - c1 + 2 / df2);
    f = df2 * M / (df1 * (b - M));
  }
  if (ChiSq) *ChiSq = chi;
  if (F) *F = f;
  if (FDf) *FDf = {df1, df2};
  if (FSignif) *FSignif = 1.0 - FCDF(f, df1, df2);
  if (!detail::AlphaInRange(Alpha)) return detail::QuietNan(hRes, Signif, nullptr);
  Signif = 1.0 - ChiSquareCDF(chi, df1);
  hRes = detail::Decide(Signif, M, Alpha);
  return M;
}

}  // namespace Statistics
