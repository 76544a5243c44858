// Mergeable least squares and one-way ANOVA.
//
// Least squares keeps only the q x q upper-triangular factor R of the design [1 | A | y]: any
// orthogonal transformation of stacked rows leaves R^T R = D^T D unchanged, so re-factoring
// [R; new rows] or [R_a; R_b] by Householder QR gives the factor of all the rows seen
// (Golub & Van Loan, Matrix Computations, 4th ed., 5.2 and 6.5.2, updating by rows). The last
// column of R holds what the fit needs of y: R[k, k]^2 is the residual sum of squares and
// R[1..k, k] (with a constant) the spread of y about its mean. The normal equations are never
// formed, so ill-conditioned designs keep the digits QR keeps.
//
// Columns are shifted by the partial's first row (with a constant term only: the shift is a
// multiple of the ones column). A partial with other shifts is brought over by adding
// (its shift - ours) times the ones column, which in R changes row 0 only.
//
// ANOVA groups carry count, mean and M2 and merge by Chan, Golub & LeVeque (1979).

#include "Regress/Partials.h"
#include "Regress/detail/OneWay.h"

#include <Eigen/Core>
#include <Eigen/Householder>
#include <Eigen/QR>
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

namespace Regress {

using namespace Kalix;

namespace {

constexpr double kLeastSquaresTag = 4, kAnovaTag = 5;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr std::size_t kRowChunk = 1024;  // rows re-factored with R at a time
constexpr int kMaxRegressors = 4096;
constexpr std::int32_t kMaxGroups = 1 << 20;

using MatD = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic>;
using RowMatD = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;

bool IsCount(double v) { return v >= 0 && v <= 9007199254740992.0 && v == std::floor(v); }

// The R factor of the stacked rows M (at least one row), as a q x q upper-triangular matrix
// (rows beyond M's count are zero).
void Refactor(MatD& M, Eigen::Map<RowMatD>& R) {
  const Eigen::Index q = M.cols(), r = std::min(M.rows(), q);
  Eigen::HouseholderQR<Eigen::Ref<MatD>> qr(M);
  R.setZero();
  R.topRows(r) = qr.matrixQR().topRows(r).template triangularView<Eigen::Upper>();
}

template <class T>
double FiniteOr0(T v) {
  return std::isfinite(v) ? static_cast<double>(v) : 0.0;
}

}  // namespace

// ---------------------------------------------------------------- TLeastSquaresPartial

TLeastSquaresPartial::TLeastSquaresPartial(int NumRegressors, bool Constant) {
  if (NumRegressors < 0) ERaise("TLeastSquaresPartial: NumRegressors < 0");
  if (NumRegressors == 0 && !Constant) ERaise("TLeastSquaresPartial: no parameters");
  if (NumRegressors > kMaxRegressors) ERaise("TLeastSquaresPartial: NumRegressors too large");
  p_ = NumRegressors;
  constant_ = Constant;
  const std::size_t q = static_cast<std::size_t>(p_ + (constant_ ? 1 : 0) + 1);
  shift_.assign(q, 0.0);
  r_.assign(q * q, 0.0);
}

TLeastSquaresPartial::TLeastSquaresPartial(std::span<const double> State) {
  const auto bad = [] { ERaise("TLeastSquaresPartial: State is not a least-squares state"); };
  if (State.size() < 4 || State[0] != kLeastSquaresTag || !IsCount(State[1]) || State[1] > kMaxRegressors ||
      (State[2] != 0 && State[2] != 1) || !IsCount(State[3]) || (State[1] == 0 && State[2] == 0))
    bad();
  p_ = static_cast<int>(State[1]);
  constant_ = State[2] == 1;
  n_ = State[3];
  const std::size_t q = static_cast<std::size_t>(p_ + (constant_ ? 1 : 0) + 1);
  if (State.size() != 4 + q + q * q) bad();
  shift_.assign(State.begin() + 4, State.begin() + 4 + static_cast<std::ptrdiff_t>(q));
  r_.assign(State.begin() + 4 + static_cast<std::ptrdiff_t>(q), State.end());
  for (const double k : shift_)
    if (!std::isfinite(k) || (!constant_ && k != 0)) bad();
}

void TLeastSquaresPartial::Add(const TVec& Y, const TMtx& A) {
  if (Y.Complex() || A.Complex()) ERaise("TLeastSquaresPartial.Add: Y.Complex or A.Complex");
  if (Y.Length() != A.Rows()) ERaise("TLeastSquaresPartial.Add: Y.Length <> A.Rows");
  if (Y.IsEmpty()) return;
  if (A.Cols() != p_) ERaise("TLeastSquaresPartial.Add: A.Cols <> NumRegressors");
  const std::size_t p = static_cast<std::size_t>(p_), c = constant_ ? 1 : 0, q = p + c + 1;
  const std::size_t rows = static_cast<std::size_t>(Y.Length());
  WithPrecision(Y, [&](auto ty) {
    using TY = typename decltype(ty)::type;
    const auto y = Y.Span<TY>();
    WithPrecision(A, [&](auto ta) {
      using TA = typename decltype(ta)::type;
      const auto a = A.Span<TA>();
      if (n_ == 0 && constant_) {
        for (std::size_t j = 0; j < p; ++j) shift_[c + j] = FiniteOr0(a[j]);
        shift_[q - 1] = FiniteOr0(y[0]);
      }
      Eigen::Map<RowMatD> R(r_.data(), static_cast<Eigen::Index>(q), static_cast<Eigen::Index>(q));
      const bool first = n_ == 0;
      MatD M;
      for (std::size_t r0 = 0; r0 < rows; r0 += kRowChunk) {
        const std::size_t m = std::min(kRowChunk, rows - r0);
        const std::size_t top = first && r0 == 0 ? 0 : q;  // nothing to stack before the first rows
        M.resize(static_cast<Eigen::Index>(top + m), static_cast<Eigen::Index>(q));
        if (top) M.topRows(static_cast<Eigen::Index>(q)) = R;
        for (std::size_t i = 0; i < m; ++i) {
          const Eigen::Index row = static_cast<Eigen::Index>(top + i);
          if (c) M(row, 0) = 1.0;
          for (std::size_t j = 0; j < p; ++j)
            M(row, static_cast<Eigen::Index>(c + j)) = static_cast<double>(a[(r0 + i) * p + j]) - shift_[c + j];
          M(row, static_cast<Eigen::Index>(q - 1)) = static_cast<double>(y[r0 + i]) - shift_[q - 1];
        }
        Refactor(M, R);
      }
    });
  });
  n_ += static_cast<double>(rows);
}

void TLeastSquaresPartial::Merge(const TLeastSquaresPartial& Other) {
  if (Other.p_ != p_ || Other.constant_ != constant_) ERaise("TLeastSquaresPartial.Merge: different models");
  if (Other.n_ == 0) return;
  if (n_ == 0) {
    *this = Other;
    return;
  }
  const Eigen::Index q = static_cast<Eigen::Index>(shift_.size());
  MatD M(2 * q, q);
  M.topRows(q) = Eigen::Map<const RowMatD>(r_.data(), q, q);
  M.bottomRows(q) = Eigen::Map<const RowMatD>(Other.r_.data(), q, q);
  // The other's columns about our shift: add (its shift - ours) times its ones column, whose
  // factor is nonzero in row 0 only.
  for (Eigen::Index j = 1; j < q; ++j)
    M(q, j) += (Other.shift_[static_cast<std::size_t>(j)] - shift_[static_cast<std::size_t>(j)]) * M(q, 0);
  Eigen::Map<RowMatD> R(r_.data(), q, q);
  Refactor(M, R);
  n_ += Other.n_;
}

std::vector<double> TLeastSquaresPartial::State() const {
  std::vector<double> s{kLeastSquaresTag, static_cast<double>(p_), constant_ ? 1.0 : 0.0, n_};
  s.insert(s.end(), shift_.begin(), shift_.end());
  s.insert(s.end(), r_.begin(), r_.end());
  return s;
}

void TLeastSquaresPartial::Finish(TVec& B, TVec& BStdDev, TLeastSquaresStats& Stats) const {
  const Eigen::Index q = static_cast<Eigen::Index>(shift_.size()), k = q - 1;
  const Eigen::Map<const RowMatD> R(r_.data(), q, q);
  const auto Rxx = R.topLeftCorner(k, k);
  if (n_ < static_cast<double>(k) || (Rxx.diagonal().array() == 0.0).any())
    ERaise("TLeastSquaresPartial.Finish: singular system");
  // Shifted coefficients and (R^T R)^-1 = R^-1 R^-T of the shifted design.
  Eigen::VectorXd b = Rxx.triangularView<Eigen::Upper>().solve(R.col(k).head(k));
  const MatD Rinv = Rxx.triangularView<Eigen::Upper>().solve(MatD::Identity(k, k));
  Eigen::VectorXd v = Rinv.rowwise().squaredNorm();
  if (constant_) {
    // Back to the data's origin: y = b0 + sum b_j x_j with b0 = b0' + y0 - sum b_j a0_j, and
    // var(b0) = s^T V s for s = (1, -a0).
    Eigen::VectorXd s = -Eigen::Map<const Eigen::VectorXd>(shift_.data(), k);
    s(0) = 1.0;
    v(0) = (s.transpose() * Rinv).squaredNorm();
    b(0) += shift_[static_cast<std::size_t>(k)] + b.tail(k - 1).dot(s.tail(k - 1));
  }
  const double sse = R(k, k) * R(k, k);
  const double sst = R.col(k).segment(constant_ ? 1 : 0, constant_ ? k : q).squaredNorm();
  // The statistics of RegressTest; sums below the resolution of double count as 0.
  TLeastSquaresStats& S = Stats;
  const auto clamp = [](double x) { return std::fabs(x) >= 2.220446049250313E-16 ? x : 0.0; };
  S.n = n_;
  S.SSE = clamp(sse);
  S.SST = clamp(sst);
  S.SSR = clamp(sst - sse);
  S.dfE = n_ - static_cast<double>(k);
  S.dfT = n_ - 1.0;  // Deliberate (as RegressTest): n - 1 and k - 1 also without a constant.
  S.dfR = static_cast<double>(k) - 1.0;
  S.F = (S.dfE / S.dfR) * (S.SSR / S.SSE);
  S.Signif = 1.0 - FCDF(S.F, S.dfR, S.dfE);
  S.ResidualVar = S.SSE / S.dfE;
  S.StdError = std::sqrt(S.ResidualVar);
  S.R2 = 1.0 - S.SSE / S.SST;
  S.AdjustedR2 = 1.0 - (S.dfT / S.dfE) * (S.SSE / S.SST);
  B.Size(static_cast<int>(k), mvDouble);
  BStdDev.Size(static_cast<int>(k), mvDouble);
  auto bo = B.Span<double>();
  auto so = BStdDev.Span<double>();
  for (Eigen::Index j = 0; j < k; ++j) {
    bo[static_cast<std::size_t>(j)] = b(j);
    so[static_cast<std::size_t>(j)] = std::sqrt(v(j) * S.ResidualVar);
  }
}

// ---------------------------------------------------------------- TAnova1Partial

TAnova1Partial::TAnova1Partial(std::span<const double> State) {
  const auto bad = [] { ERaise("TAnova1Partial: State is not an ANOVA state"); };
  if (State.size() < 3 || State[0] != kAnovaTag || !IsCount(State[1]) || State[1] > kMaxGroups ||
      !std::isfinite(State[2]) || static_cast<double>(State.size()) != 3 + 3 * State[1])
    bad();
  shift_ = State[2];
  g_.assign(State.begin() + 3, State.end());
  for (std::size_t j = 0; j < g_.size(); j += 3)
    if (!IsCount(g_[j])) bad();
}

double TAnova1Partial::Count() const noexcept {
  double n = 0;
  for (std::size_t j = 0; j < g_.size(); j += 3) n += g_[j];
  return n;
}

namespace {

// Chan's update of (n, mean, M2) at a with (n, mean, M2) at b, means about one shift.
void MergeGroup(double* a, const double* b) {
  if (b[0] == 0) return;
  if (a[0] == 0) {
    std::copy(b, b + 3, a);
    return;
  }
  const double n = a[0] + b[0], d = b[1] - a[1];
  a[2] += b[2] + d * d * (a[0] * b[0] / n);
  a[1] += d * (b[0] / n);
  a[0] = n;
}

}  // namespace

void TAnova1Partial::Add(const TVec& Data, const TVecInt& GroupIndex) {
  if (Data.Complex()) ERaise("TAnova1Partial.Add: Data.Complex");
  if (Data.Length() != GroupIndex.Length()) ERaise("TAnova1Partial.Add: Data.Length <> GroupIndex.Length");
  if (GroupIndex.IntPrecision() != prInt32) ERaise("TAnova1Partial.Add: GroupIndex.IntPrecision <> prInt32");
  if (Data.IsEmpty()) return;
  const auto gi = GroupIndex.Span<std::int32_t>();
  std::int32_t hi = 0;
  for (const std::int32_t v : gi) {
    if (v < 0) ERaise("TAnova1Partial.Add: GroupIndex < 0");
    hi = std::max(hi, v);
  }
  if (hi >= kMaxGroups) ERaise("TAnova1Partial.Add: GroupIndex too large");
  const std::size_t k = static_cast<std::size_t>(hi) + 1;
  WithPrecision(Data, [&](auto t) {
    using T = typename decltype(t)::type;
    const auto x = Data.Span<T>();
    if (Count() == 0) {
      shift_ = 0;
      for (const T v : x)
        if (std::isfinite(v)) {
          shift_ = static_cast<double>(v);
          break;
        }
    }
    // Two passes over the block: group sums about the shift, then squared deviations about
    // each group's mean with the corrected two-pass term.
    std::vector<double> blk(3 * k, 0.0), dev(k, 0.0);
    for (std::size_t i = 0; i < x.size(); ++i) {
      double* b = &blk[3 * static_cast<std::size_t>(gi[i])];
      b[0] += 1.0;
      b[1] += static_cast<double>(x[i]) - shift_;
    }
    for (std::size_t j = 0; j < k; ++j)
      if (blk[3 * j] > 0) blk[3 * j + 1] /= blk[3 * j];
    for (std::size_t i = 0; i < x.size(); ++i) {
      const std::size_t j = static_cast<std::size_t>(gi[i]);
      const double e = (static_cast<double>(x[i]) - shift_) - blk[3 * j + 1];
      blk[3 * j + 2] += e * e;
      dev[j] += e;
    }
    for (std::size_t j = 0; j < k; ++j)
      if (blk[3 * j] > 0) blk[3 * j + 2] -= dev[j] * dev[j] / blk[3 * j];
    if (g_.size() < 3 * k) g_.resize(3 * k, 0.0);
    for (std::size_t j = 0; j < k; ++j) MergeGroup(&g_[3 * j], &blk[3 * j]);
  });
}

void TAnova1Partial::Merge(const TAnova1Partial& Other) {
  if (Other.Count() == 0) return;
  if (Count() == 0) {
    *this = Other;
    return;
  }
  if (g_.size() < Other.g_.size()) g_.resize(Other.g_.size(), 0.0);
  const double d = Other.shift_ - shift_;  // exact for nearby shifts
  for (std::size_t j = 0; j < Other.g_.size(); j += 3) {
    const double b[3] = {Other.g_[j], Other.g_[j + 1] + d, Other.g_[j + 2]};
    MergeGroup(&g_[j], b);
  }
}

std::vector<double> TAnova1Partial::State() const {
  std::vector<double> s{kAnovaTag, static_cast<double>(g_.size() / 3), shift_};
  s.insert(s.end(), g_.begin(), g_.end());
  return s;
}

TANOVA1Result TAnova1Partial::Finish(double& p, double Alpha) const {
  // k: one more than the largest group number present.
  std::size_t k = g_.size() / 3;
  while (k > 0 && g_[3 * (k - 1)] == 0) --k;
  double n = 0, sum = 0;
  bool missing = false;
  for (std::size_t j = 0; j < k; ++j) {
    n += g_[3 * j];
    sum += g_[3 * j] * g_[3 * j + 1];
    missing = missing || g_[3 * j] == 0;
  }
  const double gm = sum / n;
  double ssb = 0, ssw = 0;
  for (std::size_t j = 0; j < k; ++j)
    if (g_[3 * j] > 0) {
      const double d = g_[3 * j + 1] - gm;
      ssb += g_[3 * j] * d * d;
      ssw += g_[3 * j + 2];
    }
  const double sst = n > 0 ? ssb + ssw : kNaN;
  // As ANOVA1: a group number that never occurs has no mean, so the between and within sums
  // are NaN; no between-group spread gives F = 0, no within-group spread F = Inf.
  if (missing || n == 0) ssb = ssw = kNaN;
  const double dfB = static_cast<double>(k) - 1.0, dfW = n - static_cast<double>(k);
  TANOVA1Result r;
  detail::OneWayResult(ssb, ssw, sst, dfB, dfW, Alpha, p, r);
  return r;
}

}  // namespace Regress
