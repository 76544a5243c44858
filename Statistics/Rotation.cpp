// Orthogonal rotation of a loading matrix by the orthomax family of criteria.
//
// The orthomax criterion of B = A T is sum_j [sum_i b_ij^4 - (gamma / p) (sum_i b_ij^2)^2]
// (gamma = 1 varimax, Kaiser 1958; 0 quartimax; k/2 equamax), maximised over orthogonal T
// from T = I. The k x k algebra is done in double whatever the loadings' precision.

#include <cmath>
#include <limits>

#include <Eigen/SVD>

#include "Statistics/Statistics.h"
#include "core/detail/EigenMap.h"

namespace Statistics {

using namespace Kalix;

namespace {

using MatD = Eigen::MatrixXd;

// Orthomax criterion of B (to be maximised) and its gradient with respect to B.
double Criterion(const MatD& B, double gamma, MatD* grad) {
  const Eigen::RowVectorXd colSq = B.array().square().colwise().sum();
  if (grad) *grad = B.array().cube().matrix() - (gamma / double(B.rows())) * B * colSq.asDiagonal();
  return 0.25 * (B.array().pow(4).sum() - gamma / double(B.rows()) * colSq.squaredNorm());
}

// The orthogonal matrix nearest to M: U V' of its singular value decomposition.
MatD NearestOrthogonal(const MatD& M) {
  Eigen::JacobiSVD<MatD> svd(M, Eigen::ComputeFullU | Eigen::ComputeFullV);
  return svd.matrixU() * svd.matrixV().transpose();
}

// 0 <= gamma <= 1: the criterion is convex in B, so T = polar factor of the gradient A' grad
// never decreases it (Kiers 2002, majorisation); the step decides convergence, since the
// criterion is flat at its maximum.
void PolarIteration(const MatD& A, double gamma, int MaxIter, double Tolerance, MatD& T) {
  MatD grad;
  for (int it = 0; it < MaxIter; ++it) {
    Criterion(A * T, gamma, &grad);
    const MatD next = NearestOrthogonal(A.transpose() * grad);
    const double step = (next - T).cwiseAbs().maxCoeff();
    T = next;
    if (!(step > Tolerance)) break;
  }
}

// gamma > 1 (equamax with more than two factors): not convex, so gradient projection with a
// halving step that must raise the criterion (Jennrich 2001; Bernaards & Jennrich 2005);
// converged when the projected gradient's norm is below the tolerance.
void GradientProjection(const MatD& A, double gamma, int MaxIter, double Tolerance, MatD& T) {
  MatD grad;
  double f = Criterion(A * T, gamma, &grad);
  double alpha = 1;
  for (int it = 0; it < MaxIter; ++it) {
    const MatD G = A.transpose() * grad;
    const MatD M = T.transpose() * G;
    const MatD Gp = G - T * (0.5 * (M + M.transpose()));
    const double s = Gp.norm();
    if (!(s > Tolerance)) break;
    alpha *= 2;
    for (int half = 0; half < 60; ++half, alpha /= 2) {
      const MatD Tt = NearestOrthogonal(T + alpha * Gp);
      MatD g2;
      const double f2 = Criterion(A * Tt, gamma, &g2);
      if (f2 >= f + 0.5 * s * s * alpha || half == 59) {
        T = Tt;
        f = f2;
        grad = g2;
        break;
      }
    }
  }
}

}  // namespace

void OrthoRotate(const TMtx& Loadings, TMtx& Rotated, TMtx& RotMtx, TRotationMethod Method, bool Normalize,
                 int MaxIter, double Tolerance) {
  if (Loadings.Complex()) ERaise("OrthoRotate: Loadings.Complex = true");
  if (Method < rotVarimax || Method > rotEquamax) ERaise("OrthoRotate: Method out of range");
  if (MaxIter < 1) ERaise("OrthoRotate: MaxIter < 1");
  WithPrecision(Loadings, [&](auto t) {
    using T = typename decltype(t)::type;
    MatD A = Kalix::detail::Map<T>(Loadings).template cast<double>();
    const Eigen::Index k = A.cols();
    // Kaiser normalisation: rows of unit length, so variables with small communalities weigh
    // as much as the others; undone after the rotation. A zero row stays zero.
    Eigen::VectorXd h = Eigen::VectorXd::Ones(A.rows());
    if (Normalize) {
      h = A.rowwise().norm();
      for (Eigen::Index i = 0; i < A.rows(); ++i)
        if (h(i) > 0) A.row(i) /= h(i);
    }
    const double gamma = Method == rotVarimax ? 1.0 : Method == rotQuartimax ? 0.0 : 0.5 * double(k);
    MatD Tm = MatD::Identity(k, k);
    // A non-finite loading leaves the criterion undefined: no rotation, NaN throughout (the
    // SVD of a NaN matrix is not even reproducible from call to call).
    if (!A.allFinite()) {
      Tm.setConstant(std::numeric_limits<double>::quiet_NaN());
    } else if (k > 0 && A.rows() > 0) {
      if (gamma <= 1)
        PolarIteration(A, gamma, MaxIter, Tolerance, Tm);
      else
        GradientProjection(A, gamma, MaxIter, Tolerance, Tm);
    }
    MatD B = A * Tm;
    if (Normalize)
      for (Eigen::Index i = 0; i < B.rows(); ++i)
        if (h(i) > 0) B.row(i) *= h(i);
    Rotated.Size(static_cast<int>(B.rows()), static_cast<int>(k), PrecisionOf<T>());
    RotMtx.Size(static_cast<int>(k), static_cast<int>(k), PrecisionOf<T>());
    Kalix::detail::Map<T>(Rotated) = B.cast<T>();
    Kalix::detail::Map<T>(RotMtx) = Tm.cast<T>();
  });
}

}  // namespace Statistics
