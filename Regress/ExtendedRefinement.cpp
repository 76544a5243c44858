// Iterative refinement of an ill-conditioned least-squares solution in extended precision.
//
// The least-squares solution x and residual r solve the augmented system
//   [ I   M ] [r]   [b]
//   [ M^T 0 ] [x] = [c]      (b = y, c = 0 for the fit; b = 0, c = -e_j for column j of V),
// and refining both together converges at a rate of about kappa(M) u, where refining x alone
// stalls at kappa^2 u (Bjorck, "Iterative refinement of linear least squares solutions I",
// BIT 7, 1967; Numerical Methods for Least Squares Problems, section 2.9). The corrections
// are solved with the Householder factors in double; the residuals of the augmented system
// are formed in double-double (error-free products by fused multiply-add and two-sums), so
// the result carries the digits the data determine rather than those double arithmetic
// leaves, and V = (M^T M)^-1 is found without inverting a factor that double cannot invert.

#include <Eigen/QR>
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

#include "../core/Dispatch.h"
#include "detail/LeastSquaresPaths.h"

namespace Regress::detail {

namespace {

using namespace Kalix;
using MatD = Eigen::MatrixXd;
using VecD = Eigen::VectorXd;
using Eigen::Index;

// The equilibrated factor's 1-norm condition number above which the QR solution is refined
// (below it double already gives the last digits), and beyond which refinement in double's
// factors no longer converges (there the design counts as rank-deficient).
constexpr double kRefineAbove = 1e3;
constexpr double kRefineUpTo = 1e12;
constexpr int kMaxIterations = 30;

// A double-double accumulator: hi + lo carries about 32 digits.
struct TDD {
  double hi = 0.0, lo = 0.0;
  void Add(double b) {
    const double s = hi + b, bb = s - hi;
    lo += (hi - (s - bb)) + (b - bb);
    hi = s;
  }
  // Adds a*b exactly (the fused multiply-add recovers the product's rounding error).
  void AddProd(double a, double b) {
    const double p = a * b;
    lo += std::fma(a, b, -p);
    Add(p);
  }
  double Value() const { return hi + lo; }
  void Normalize() {
    const double s = hi + lo;
    lo -= s - hi;
    hi = s;
  }
};

struct TRefiner {
  const MatD& M;  // m x q, column-major copy of the design in double
  const Eigen::HouseholderQR<MatD>& qr;
  VecD scale;  // column norms of M: the equilibrated size of a correction

  // Solves the augmented system for the correction [dr; dx] of residuals [f; g].
  void Correct(const VecD& f, const VecD& g, VecD& dr, VecD& dx) const {
    const Index q = M.cols();
    const auto R = qr.matrixQR().topRows(q).template triangularView<Eigen::Upper>();
    const VecD h = R.transpose().solve(g);
    VecD qf = qr.householderQ().adjoint() * f;
    dx = R.solve(qf.head(q) - h);
    qf.head(q) = h;
    dr = qr.householderQ() * qf;
  }

  // Refines [r; x] of the augmented system with right-hand side [b; c] from zero; returns
  // false when the corrections stop shrinking before reaching double-double's resolution.
  bool Refine(const VecD& b, const VecD& c, std::vector<TDD>& x) const {
    const Index m = M.rows(), q = M.cols();
    std::vector<TDD> r(static_cast<std::size_t>(m));
    x.assign(static_cast<std::size_t>(q), TDD{});
    VecD f(m), g(q), dr, dx;
    double prev = std::numeric_limits<double>::infinity();
    for (int it = 0; it < kMaxIterations; ++it) {
      std::vector<TDD> gs(static_cast<std::size_t>(q));
      for (Index j = 0; j < q; ++j) gs[static_cast<std::size_t>(j)].hi = c(j);
      for (Index i = 0; i < m; ++i) {
        const TDD& ri = r[static_cast<std::size_t>(i)];
        TDD fi{b(i), 0.0};
        fi.Add(-ri.hi);
        fi.Add(-ri.lo);
        for (Index j = 0; j < q; ++j) {
          const double mij = M(i, j);
          const TDD& xj = x[static_cast<std::size_t>(j)];
          fi.AddProd(-mij, xj.hi);
          fi.lo -= mij * xj.lo;
          TDD& gj = gs[static_cast<std::size_t>(j)];
          gj.AddProd(-mij, ri.hi);
          gj.lo -= mij * ri.lo;
        }
        f(i) = fi.Value();
      }
      for (Index j = 0; j < q; ++j) g(j) = gs[static_cast<std::size_t>(j)].Value();
      Correct(f, g, dr, dx);
      if (!dx.allFinite() || !dr.allFinite()) return false;
      double change = 0.0, size = 0.0;
      for (Index j = 0; j < q; ++j) {
        TDD& xj = x[static_cast<std::size_t>(j)];
        xj.Add(dx(j));
        xj.Normalize();
        change = std::max(change, std::fabs(dx(j)) * scale(j));
        size = std::max(size, std::fabs(xj.hi) * scale(j));
      }
      for (Index i = 0; i < m; ++i) {
        TDD& ri = r[static_cast<std::size_t>(i)];
        ri.Add(dr(i));
        ri.Normalize();
      }
      // Converged once a correction no longer reaches the 20th digit, or once corrections
      // stop halving within double's last digits (the data's own rounding is reached).
      if (change <= 1e-20 * size) return true;
      if (it >= 2 && change > 0.5 * prev) return change <= 1e-15 * size;
      prev = change;
    }
    return false;
  }
};

// 1-norm condition number of R with its columns scaled to unit length.
double ScaledCondition(const MatD& R) {
  const Index q = R.cols();
  MatD Rs = R;
  for (Index j = 0; j < q; ++j) {
    const double nrm = Rs.col(j).norm();
    if (!(nrm > 0.0)) return std::numeric_limits<double>::infinity();
    Rs.col(j) /= nrm;
  }
  const MatD inv = Rs.triangularView<Eigen::Upper>().solve(MatD::Identity(q, q));
  return Rs.cwiseAbs().colwise().sum().maxCoeff() * inv.cwiseAbs().colwise().sum().maxCoeff();
}

template <class T>
bool RefineKernel(const TMtx& Mt, const TVec& yt, const TMtx& Rt, TVec& B, TMtx* V) {
  const Index m = Mt.Rows(), q = Mt.Cols();
  using RowMatT = Eigen::Matrix<T, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;
  const MatD R0 = Eigen::Map<const RowMatT>(Rt.Span<T>().data(), q, q).template cast<double>();
  if (!R0.allFinite()) return false;
  const double kappa = ScaledCondition(R0);
  if (!(kappa > kRefineAbove && kappa <= kRefineUpTo)) return false;

  const MatD M = Eigen::Map<const RowMatT>(Mt.Span<T>().data(), m, q).template cast<double>();
  const VecD y = Eigen::Map<const Eigen::Matrix<T, Eigen::Dynamic, 1>>(yt.Span<T>().data(), m).template cast<double>();
  if (!M.allFinite() || !y.allFinite()) return false;
  const Eigen::HouseholderQR<MatD> qr(M);
  if ((qr.matrixQR().diagonal().head(q).array() == 0.0).any()) return false;
  const TRefiner ref{M, qr, M.colwise().norm().transpose()};

  std::vector<TDD> x;
  if (ref.Refine(y, VecD::Zero(q), x)) {
    B.Size(static_cast<int>(q), PrecisionOf<T>());
    auto b = B.Span<T>();
    for (Index j = 0; j < q; ++j) b[static_cast<std::size_t>(j)] = static_cast<T>(x[static_cast<std::size_t>(j)].Value());
  }
  if (!V) return false;
  // Column j of (M^T M)^-1 is the x of the augmented system with b = 0, c = -e_j.
  MatD v(q, q);
  for (Index j = 0; j < q; ++j) {
    if (!ref.Refine(VecD::Zero(m), -VecD::Unit(q, j), x)) return false;
    for (Index i = 0; i < q; ++i) v(i, j) = x[static_cast<std::size_t>(i)].Value();
  }
  V->Size(static_cast<int>(q), static_cast<int>(q), PrecisionOf<T>());
  auto out = V->Span<T>();
  for (Index i = 0; i < q; ++i)
    for (Index j = 0; j < q; ++j) out[static_cast<std::size_t>(i * q + j)] = static_cast<T>(0.5 * (v(i, j) + v(j, i)));
  return true;
}

}  // namespace

bool RefineIllConditioned(const TMtx& M, const TVec& y, const TMtx& R, TVec& B, TMtx* V) {
  if (M.Complex() || y.Complex() || M.FloatPrecision() != y.FloatPrecision() || M.Rows() != y.Length()) return false;
  if (M.Cols() == 0 || M.Rows() < M.Cols() || R.Rows() != M.Cols() || R.Cols() != M.Cols() ||
      R.FloatPrecision() != M.FloatPrecision())
    return false;
  return WithPrecision(M, [&](auto t) { return RefineKernel<typename decltype(t)::type>(M, y, R, B, V); });
}

}  // namespace Regress::detail
