// Mergeable partial results of regression and analysis of variance: least squares through the
// triangular factor of [1 | A | y] (never the normal equations) and one-way ANOVA group sums.
// Same contract as Statistics/Partials.h: values with Add, Merge, Finish, a flat State() of
// doubles headed by a kind tag, accumulation in double, a per-partial shift, and the empty
// partial as the identity of Merge.
#pragma once

#include <span>
#include <vector>

#include "Regress.h"

namespace Regress {

/// Goodness of fit of a merged least-squares fit, with the formulas of RegressTest; counts
/// and degrees of freedom are doubles, as merged data may pass the 32-bit range.
struct TLeastSquaresStats {
  double n;            ///< observations
  double SSE;          ///< residual sum of squares
  double SST;          ///< total sum of squares about the mean (Constant) or about 0
  double SSR;          ///< SST - SSE
  double R2;           ///< 1 - SSE / SST
  double AdjustedR2;   ///< 1 - (dfT / dfE) SSE / SST
  double ResidualVar;  ///< SSE / dfE
  double StdError;     ///< sqrt(ResidualVar)
  double dfE;          ///< n - number of parameters
  double dfR;          ///< number of parameters - 1 (as RegressTest, also without Constant)
  double dfT;          ///< n - 1 (as RegressTest, also without Constant)
  double F;            ///< (dfE / dfR) SSR / SSE
  double Signif;       ///< upper-tail probability of F
};

/// Least squares of y on [1 | A] (Constant) or A, p regressors, by the upper-triangular factor
/// R of the shifted design [1 | A - a0 | y - y0] (a0, y0 the partial's first row; no shift
/// without Constant). Add re-factors [R; new rows] and Merge [R; R_other] by Householder QR.
/// State: {4, p, Constant, n, shift[q], R[q * q]}, q = p + Constant + 1, R row-major.
class KALIX_EXPORT TLeastSquaresPartial {
 public:
  /// Raises "TLeastSquaresPartial: NumRegressors < 0", then "TLeastSquaresPartial: no
  /// parameters" (no regressor and no constant), "TLeastSquaresPartial: NumRegressors too
  /// large" (above 4096).
  explicit TLeastSquaresPartial(int NumRegressors, bool Constant = true);
  /// From State(). Raises "TLeastSquaresPartial: State is not a least-squares state".
  explicit TLeastSquaresPartial(std::span<const double> State);
  /// Adds the rows of A and the matching Y. Raises "TLeastSquaresPartial.Add: Y.Complex or
  /// A.Complex", "TLeastSquaresPartial.Add: Y.Length <> A.Rows", then
  /// "TLeastSquaresPartial.Add: A.Cols <> NumRegressors" (no rows: nothing added).
  void Add(const Kalix::TVec& Y, const Kalix::TMtx& A);
  /// Raises "TLeastSquaresPartial.Merge: different models" unless p and Constant agree.
  void Merge(const TLeastSquaresPartial& Other);
  std::vector<double> State() const;
  double Count() const noexcept { return n_; }
  /// Coefficients B (intercept first with Constant), their standard errors and the fit
  /// statistics, as MulLinRegress and RegressTest give them. Fewer observations than
  /// parameters or dependent regressors raise "TLeastSquaresPartial.Finish: singular system".
  void Finish(Kalix::TVec& B, Kalix::TVec& BStdDev, TLeastSquaresStats& Stats) const;

 private:
  int p_ = 0;
  bool constant_ = true;
  double n_ = 0;
  std::vector<double> shift_, r_;
};

/// One-way ANOVA from per-group count, mean and sum of squared deviations, for data with group
/// numbers as ANOVA1 takes them (0 .. k-1, k - 1 the largest number present). State:
/// {5, k, shift, then per group n, mean - shift, M2}.
class KALIX_EXPORT TAnova1Partial {
 public:
  TAnova1Partial() = default;
  /// From State(). Raises "TAnova1Partial: State is not an ANOVA state".
  explicit TAnova1Partial(std::span<const double> State);
  /// Adds Data[i] to group GroupIndex[i]. Raises "TAnova1Partial.Add: Data.Complex",
  /// "TAnova1Partial.Add: Data.Length <> GroupIndex.Length", "TAnova1Partial.Add:
  /// GroupIndex.IntPrecision <> prInt32", "TAnova1Partial.Add: GroupIndex < 0", then
  /// "TAnova1Partial.Add: GroupIndex too large" (beyond 2^20 groups).
  void Add(const Kalix::TVec& Data, const Kalix::TVecInt& GroupIndex);
  void Merge(const TAnova1Partial& Other);
  std::vector<double> State() const;
  double Count() const noexcept;
  /// The ANOVA table and p-value as ANOVA1 gives them; a group number below the largest that
  /// never occurs gives NaN between and within sums.
  TANOVA1Result Finish(double& p, double Alpha = 0.05) const;

 private:
  double shift_ = 0;
  std::vector<double> g_;  // n, mean less shift, M2 per group
};

}  // namespace Regress
