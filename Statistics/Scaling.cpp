// Classical multidimensional scaling (Torgerson 1952; Gower 1966): coordinates whose Euclidean
// distances reproduce a distance matrix as closely as K dimensions allow.
//
// B = -J D^(2) J / 2 (J the centring matrix, D^(2) the squared distances) is the Gram matrix of
// centred coordinates when D is Euclidean; its K leading eigenvectors scaled by the square
// roots of their eigenvalues are the coordinates. All n eigenvalues are reported, since the
// negative ones measure how far D is from Euclidean, and the goodness of fit compares the K
// leading ones with the sum of |eigenvalues| and of the positive ones (Mardia 1978).
//
// Only K eigenvectors are needed, so B is reduced once to tridiagonal form (Householder), all
// eigenvalues come from the tridiagonal QL iteration without vectors, and the K vectors come
// from inverse iteration on the tridiagonal matrix, transformed back by the Householder
// reflections: O(n^2 K) after the reduction instead of the O(n^3) accumulation of every vector.
// A vector whose residual shows that a cluster of eigenvalues defeated the iteration sends the
// call to the full QL iteration with vectors.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

#include <Eigen/Eigenvalues>

#include "Statistics/Statistics.h"
#include "core/detail/EigenMap.h"

namespace Statistics {

using namespace Kalix;

namespace {

template <class T>
using Mat = Eigen::Matrix<T, Eigen::Dynamic, Eigen::Dynamic>;
template <class T>
using Vec = Eigen::Matrix<T, Eigen::Dynamic, 1>;

// Eigenvector of the symmetric tridiagonal matrix (diag a, off-diagonal b) for eigenvalue lam,
// by inverse iteration with partial pivoting (Wilkinson, The Algebraic Eigenvalue Problem,
// 5.54); prev holds vectors already found, against which it is kept orthogonal so that
// (nearly) equal eigenvalues still give an orthonormal set.
template <class T>
Vec<T> TridiagonalVector(const Vec<T>& a, const Vec<T>& b, T lam, const std::vector<Vec<T>>& prev, T& residual) {
  const Eigen::Index n = a.size();
  const T scale = std::max(a.cwiseAbs().maxCoeff(), b.size() ? b.cwiseAbs().maxCoeff() : T(0));
  const T shift = lam + (scale > 0 ? scale : T(1)) * std::numeric_limits<T>::epsilon() * T(4);
  // LU of (tridiagonal - shift I) with row interchanges: U has three diagonals.
  Vec<T> u0(n), u1(n), u2(n), l(n);
  std::vector<char> swapped(static_cast<std::size_t>(n), 0);
  {
    T d = a(0) - shift, e = n > 1 ? b(0) : T(0), f = 0;
    for (Eigen::Index i = 0; i < n - 1; ++i) {
      const T sub = b(i), nd = a(i + 1) - shift, ne = i + 1 < n - 1 ? b(i + 1) : T(0);
      if (std::abs(sub) > std::abs(d)) {  // swap rows i and i + 1
        swapped[std::size_t(i)] = 1;
        const T m = d / sub;
        u0(i) = sub;
        u1(i) = nd;
        u2(i) = ne;
        l(i) = m;
        d = e - m * nd;
        e = f - m * ne;
        f = 0;
      } else {
        const T m = d != 0 ? sub / d : T(0);
        u0(i) = d;
        u1(i) = e;
        u2(i) = f;
        l(i) = m;
        d = nd - m * e;
        e = ne;
        f = 0;
      }
    }
    u0(n - 1) = d;
  }
  const T tiny = scale * std::numeric_limits<T>::epsilon() + std::numeric_limits<T>::min();
  for (Eigen::Index i = 0; i < n; ++i)
    if (std::abs(u0(i)) < tiny) u0(i) = tiny;
  // A start that differs for every vector, so a multiple eigenvalue's vectors are not all
  // drawn from one start.
  Vec<T> x(n);
  for (Eigen::Index i = 0; i < n; ++i)
    x(i) = T(1) + T(0.5) * std::sin(T(0.7) * static_cast<T>((i + 1) * static_cast<Eigen::Index>(prev.size() + 1)));
  for (const auto& v : prev) x -= v.dot(x) * v;
  for (int it = 0; it < 3; ++it) {
    // Forward: apply the row interchanges and multipliers.
    for (Eigen::Index i = 0; i < n - 1; ++i) {
      if (swapped[std::size_t(i)]) std::swap(x(i), x(i + 1));
      x(i + 1) -= l(i) * x(i);
    }
    // Back substitution with U.
    for (Eigen::Index i = n - 1; i >= 0; --i) {
      T s = x(i);
      if (i + 1 < n) s -= u1(i) * x(i + 1);
      if (i + 2 < n) s -= u2(i) * x(i + 2);
      x(i) = s / u0(i);
    }
    for (const auto& v : prev) x -= v.dot(x) * v;
    x /= x.norm();
  }
  // |T x - lam x|, the check that the vector belongs to lam.
  Vec<T> r = (a.array() - lam).matrix().cwiseProduct(x);
  if (n > 1) {
    r.head(n - 1) += b.cwiseProduct(x.tail(n - 1));
    r.tail(n - 1) += b.cwiseProduct(x.head(n - 1));
  }
  residual = r.cwiseAbs().maxCoeff();
  return x;
}

template <class T>
void MDSKernel(const TMtx& D, int K, TMtx& Coords, TVec& Eig, TTwoElmReal* GOF) {
  const Eigen::Index n = D.Rows();
  const auto d = Kalix::detail::Map<T>(D);
  // B = -(d_ij^2 - r_i - r_j + g) / 2, with r the row means and g the grand mean of d^2.
  Mat<T> B = d.array().square().matrix();
  const Vec<T> r = B.rowwise().mean();
  const T g = r.mean();
  for (Eigen::Index j = 0; j < n; ++j)
    for (Eigen::Index i = 0; i < n; ++i) B(i, j) = T(-0.5) * (B(i, j) - r(i) - r(j) + g);
  Eigen::Tridiagonalization<Mat<T>> tri(B);
  const Vec<T> a = tri.diagonal(), b = tri.subDiagonal();
  Eigen::SelfAdjointEigenSolver<Mat<T>> values;
  values.computeFromTridiagonal(a, b, Eigen::EigenvaluesOnly);
  Vec<T> lam = values.eigenvalues().reverse();  // non-increasing
  Eig.Size(static_cast<int>(n), PrecisionOf<T>());
  Kalix::detail::Map<T>(Eig) = lam;
  Coords.Size(static_cast<int>(n), K, PrecisionOf<T>());
  auto c = Kalix::detail::Map<T>(Coords);
  std::vector<Vec<T>> found;
  const T scale = std::max(a.cwiseAbs().maxCoeff(), b.size() ? b.cwiseAbs().maxCoeff() : T(0));
  const T accept = T(100) * static_cast<T>(n) * std::numeric_limits<T>::epsilon() * scale;
  bool ok = true;
  for (int k = 0; k < K && ok; ++k) {
    T residual;
    found.push_back(TridiagonalVector<T>(a, b, lam(k), found, residual));
    ok = residual <= accept;
  }
  if (!ok) {
    // A cluster of eigenvalues defeated inverse iteration: all vectors of the tridiagonal
    // matrix by the QL iteration instead (the slow but always orthonormal route).
    Eigen::SelfAdjointEigenSolver<Mat<T>> full;
    full.computeFromTridiagonal(a, b, Eigen::ComputeEigenvectors);
    found.resize(static_cast<std::size_t>(K));
    for (int k = 0; k < K; ++k) found[std::size_t(k)] = full.eigenvectors().col(n - 1 - k);
  }
  const auto Q = tri.matrixQ();
  for (int k = 0; k < K; ++k) {
    if (!(lam(k) > 0)) {
      c.col(k).setZero();
      continue;
    }
    Vec<T> v = Q * found[std::size_t(k)];
    // Sign: the largest-magnitude coordinate positive (the eigen-solver's sign is arbitrary).
    Eigen::Index at;
    v.cwiseAbs().maxCoeff(&at);
    if (v(at) < 0) v = -v;
    c.col(k) = v * std::sqrt(lam(k));
  }
  if (GOF) {
    const double lead = static_cast<double>(lam.head(K).sum());
    (*GOF)[0] = lead / static_cast<double>(lam.cwiseAbs().sum());
    (*GOF)[1] = lead / static_cast<double>(lam.cwiseMax(T(0)).sum());
  }
}

}  // namespace

void ClassicalMDS(const TMtx& D, TMtx& Coords, TVec& Eig, TTwoElmReal* GOF, int K) {
  if (D.Complex()) ERaise("ClassicalMDS: D.Complex = true");
  if (D.Rows() != D.Cols()) ERaise("ClassicalMDS: D is not square");
  if (K < 1 || K >= D.Rows()) ERaise("ClassicalMDS: (K < 1) or (K >= D.Rows)");
  const int n = D.Rows();
  const bool nan = WithPrecision(D, [&](auto t) {
    using T = typename decltype(t)::type;
    const auto d = Kalix::detail::Map<T>(D);
    if (d.hasNaN()) return true;
    // Symmetric to rounding: a distance matrix read back from text may differ in the last digit.
    const T tol = T(64) * std::numeric_limits<T>::epsilon() * d.cwiseAbs().maxCoeff();
    for (int i = 0; i < n; ++i)
      for (int j = 0; j < i; ++j)
        if (std::abs(d(i, j) - d(j, i)) > tol) ERaise("ClassicalMDS: D is not symmetric");
    if ((d.array() < 0).any()) ERaise("ClassicalMDS: D has a negative element");
    return false;
  });
  if (nan) {
    Coords.Size(n, K, D.FloatPrecision());
    Eig.Size(n, D.FloatPrecision());
    Coords.SetVal(NAN);
    Eig.SetVal(NAN);
    if (GOF) *GOF = {NAN, NAN};
    return;
  }
  WithPrecision(D, [&](auto t) { MDSKernel<typename decltype(t)::type>(D, K, Coords, Eig, GOF); });
}

}  // namespace Statistics
