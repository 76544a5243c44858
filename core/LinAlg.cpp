#include "LinAlg.h"

#include <Eigen/Cholesky>
#include <Eigen/Eigenvalues>
#include <Eigen/LU>
#include <Eigen/QR>
#include <Eigen/SVD>
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include "Dispatch.h"
#include "Scratch.h"
#include "detail/EigenMap.h"

namespace Kalix {

namespace {

using detail::ColMat;
using detail::ColVec;
using detail::Map;
using detail::RowMat;
using detail::RowRef;
using Eigen::Index;

template <class T>
constexpr T Eps() {
  return std::numeric_limits<T>::epsilon();
}
template <class T>
constexpr T NaN() {
  return std::numeric_limits<T>::quiet_NaN();
}

bool ValidOp(TMtxOperation op) { return op == opNone || op == opTrans; }

int ToInt(Index i) { return static_cast<int>(i); }

// Writes an Eigen matrix (which must not refer to Dst's storage) into Dst, sized here.
template <class T, class E>
void Assign(TMtx& Dst, const Eigen::MatrixBase<E>& e) {
  Dst.Size(ToInt(e.rows()), ToInt(e.cols()), PrecisionOf<T>());
  Map<T>(Dst) = e;
}
template <class T, class E>
void Assign(TVec& Dst, const Eigen::MatrixBase<E>& e) {
  Dst.Size(ToInt(e.size()), PrecisionOf<T>());
  Map<T>(Dst) = e;
}

template <class T>
void FillNaN(TMtx& Dst, Index rows, Index cols) {
  Dst.Size(ToInt(rows), ToInt(cols), PrecisionOf<T>());
  Dst.SetVal(NaN<double>());
}
template <class T>
void FillNaN(TVec& Dst, Index n) {
  Dst.Size(ToInt(n), PrecisionOf<T>());
  Dst.SetVal(NaN<double>());
}

// A row-major view of a vector as an n x 1 matrix, so vector and matrix right-hand sides
// share one kernel.
template <class T>
Eigen::Map<const RowMat<T>> AsColumn(const TVec& y) {
  return {y.Span<T>().data(), y.Length(), 1};
}

// ------------------------------------------------------------------ products

// A^T A for tall row-major A is the covariance hot path. A portable x86-64 build only has
// SSE2, which caps a product at a fraction of what the machine can do, so this one kernel is
// compiled for AVX2 and AVX-512 as well and chosen at run time. Rows are copied in blocks
// into a zero-padded buffer whose width is a multiple of the tile, so the tiles need no edge
// cases; each MI x NJ tile of the upper triangle is accumulated in registers over the block
// and then added to the running sums (two-level summation: the rounding error grows like the
// block length plus the block count instead of the row count).
#if defined(__GNUC__) && defined(__x86_64__) && defined(__ELF__) && !defined(KALIX_PORTABLE_GRAM)
#define KALIX_GRAM_DISPATCH 1

template <class T, int VB, int MI, int NV>
struct TGramTiles {
  static constexpr Index W = VB / static_cast<int>(sizeof(T));  // lanes per vector
  static constexpr Index NJ = NV * W;                             // tile width
  static constexpr Index Pad(Index p) { return (p + NJ - 1) / NJ * NJ; }
  static_assert(NJ % MI == 0, "row tiles must divide the padded width");
};

// C (P x P, upper tiles of the first p rows) += B^T B for a packed block B of `rows` x P.
template <class T, int VB, int MI, int NV>
[[gnu::always_inline]] inline void GramBlock(const T* B, Index rows, Index p, Index P, T* C) {
  typedef T V __attribute__((vector_size(VB)));
  using Tiles = TGramTiles<T, VB, MI, NV>;
  constexpr Index W = Tiles::W, NJ = Tiles::NJ;
  for (Index i0 = 0; i0 < p; i0 += MI) {
    for (Index j0 = i0 / NJ * NJ; j0 < P; j0 += NJ) {
      V acc[MI][NV] = {};
      for (Index r = 0; r < rows; ++r) {
        const T* row = B + r * P;
        V v[NV];
        for (int q = 0; q < NV; ++q) __builtin_memcpy(&v[q], row + j0 + q * W, sizeof(V));
        for (int i = 0; i < MI; ++i) {
          const T a = row[i0 + i];
          for (int q = 0; q < NV; ++q) acc[i][q] += a * v[q];
        }
      }
      for (int i = 0; i < MI; ++i) {
        for (int q = 0; q < NV; ++q) {
          T* c = C + (i0 + i) * P + j0 + q * W;
          V s;
          __builtin_memcpy(&s, c, sizeof(V));
          s += acc[i][q];
          __builtin_memcpy(c, &s, sizeof(V));
        }
      }
    }
  }
}

// Upper triangle of A^T A (n x p, row-major) into C (p x p, row-major).
template <class T, int VB, int MI, int NV>
[[gnu::always_inline]] inline void GramUpper(const T* A, Index n, Index p, T* C) {
  using Tiles = TGramTiles<T, VB, MI, NV>;
  const Index P = Tiles::Pad(p);
  // A block of rows small enough to stay in the first-level cache while every tile reads it.
  const Index rb = std::max<Index>(16, static_cast<Index>(32 * 1024 / (sizeof(T) * static_cast<std::size_t>(P))));
  TMtxScratch packed, sums;
  packed->Size(ToInt(rb), ToInt(P), PrecisionOf<T>());
  sums->Size(ToInt(P), ToInt(P), PrecisionOf<T>());
  packed->SetZero();
  sums->SetZero();
  T* B = packed->Span<T>().data();
  T* S = sums->Span<T>().data();
  for (Index r0 = 0; r0 < n; r0 += rb) {
    const Index rows = std::min(rb, n - r0);
    if (P == p) {  // rows are whole tiles already: no copy needed
      GramBlock<T, VB, MI, NV>(A + r0 * p, rows, p, P, S);
      continue;
    }
    for (Index r = 0; r < rows; ++r) std::copy_n(A + (r0 + r) * p, p, B + r * P);
    GramBlock<T, VB, MI, NV>(B, rows, p, P, S);
  }
  for (Index i = 0; i < p; ++i) std::copy_n(S + i * P + i, p - i, C + i * p + i);
}

// Register tiles: 16 of the 32 zmm registers, 8 of the 16 ymm registers hold sums.
template <class T>
[[gnu::target("avx512f")]] void GramUpperAvx512(const T* A, Index n, Index p, T* C) {
  GramUpper<T, 64, 8, 2>(A, n, p, C);
}
template <class T>
[[gnu::target("avx2")]] void GramUpperAvx2(const T* A, Index n, Index p, T* C) {
  GramUpper<T, 32, 4, 2>(A, n, p, C);
}

// Fills the upper triangle of D = A^T A with a wide-vector kernel; false when the portable
// product is the better choice: for narrow A (under one and a half AVX2 vectors of columns,
// where padding to a tile costs more than the vectors gain) or a CPU without AVX2. Measured
// on 1e6 rows: AVX2 tiles win up to two AVX2 vectors of columns, AVX-512 tiles beyond.
template <class T>
bool GramWide(const T* A, Index n, Index p, T* D) {
  constexpr Index lanes2 = 32 / static_cast<Index>(sizeof(T));
  if (2 * p < 3 * lanes2) return false;
  if (p > 2 * lanes2 && __builtin_cpu_supports("avx512f")) {
    GramUpperAvx512<T>(A, n, p, D);
    return true;
  }
  if (__builtin_cpu_supports("avx2")) {
    GramUpperAvx2<T>(A, n, p, D);
    return true;
  }
  return false;
}
#endif

// op(A) * op(B) into D (already sized, not aliasing A or B).
template <class T>
void MulKernel(TMtx& D, const TMtx& A, const TMtx& B, TMtxOperation OpA, TMtxOperation OpB) {
  auto d = Map<T>(D);
  const auto a = Map<T>(A);
  const auto b = Map<T>(B);
  // Empty operands have no storage; Eigen's product kernels must not see their null data.
  if (d.size() == 0) return;
  if ((OpA == opTrans ? a.rows() : a.cols()) == 0) {
    d.setZero();
    return;
  }
  if (&A == &B && OpA != OpB) {
    // A^T A or A A^T: a symmetric rank update fills one triangle at half the cost of a
    // general product (the covariance hot path); the other triangle is mirrored.
#ifdef KALIX_GRAM_DISPATCH
    if (OpA == opTrans && GramWide<T>(a.data(), a.rows(), a.cols(), d.data())) {
      d.template triangularView<Eigen::StrictlyLower>() = d.transpose();
      return;
    }
#endif
    d.setZero();
    if (OpA == opTrans)
      d.template selfadjointView<Eigen::Lower>().rankUpdate(a.transpose());
    else
      d.template selfadjointView<Eigen::Lower>().rankUpdate(a);
    d.template triangularView<Eigen::StrictlyUpper>() = d.transpose();
    return;
  }
  if (OpA == opNone && OpB == opNone)
    d.noalias() = a * b;
  else if (OpA == opTrans && OpB == opNone)
    d.noalias() = a.transpose() * b;
  else if (OpA == opNone)
    d.noalias() = a * b.transpose();
  else
    d.noalias() = a.transpose() * b.transpose();
}

// ------------------------------------------------------------------ least squares

// Rows per block of the tall reduction: the stacked block [R; A_blk | Y_blk] should stay in
// the per-core cache (about 512 KB here) while it is factorised.
template <class T>
Index BlockRows(Index n, Index k, Index m) {
  const Index width = std::max<Index>(n + k, 1);
  const Index fit = static_cast<Index>((512 * 1024) / (sizeof(T) * static_cast<std::size_t>(width)));
  return std::min(m, std::max({fit, 2 * n, Index(64)}));
}

// Tall-skinny QR: reduces [A | Y] (m x (n + k), m >= n) to [R | Z], R upper triangular n x n
// and Z = Q^T Y (n x k), so that ||A X - Y|| = ||R X - Z|| + const. Blocks of rows are
// stacked under the running [R | Z] and factorised by Householder QR, so A is read once and
// each factorisation works in cache. Returns [R | Z] as n x (n + k).
template <class T>
ColMat<T> ReduceTall(const RowRef<T>& A, const RowRef<T>& Y) {
  const Index m = A.rows(), n = A.cols(), k = Y.cols();
  const Index w = n + k;
  const Index b = BlockRows<T>(n, k, m);
  TMtxScratch work;
  work->Size(ToInt(w), ToInt(n + b), PrecisionOf<T>());
  Eigen::Map<ColMat<T>> W(work->Span<T>().data(), n + b, w);
  for (Index r0 = 0; r0 < m; r0 += b) {
    const Index rows = std::min(b, m - r0);
    // The first block (at least n rows, as b >= 2n or b = m) has no R above it yet.
    const Index top = r0 == 0 ? 0 : n;
    // Row by row: contiguous reads, one sequential write stream per column.
    for (Index r = 0; r < rows; ++r) {
      const T* a = A.data() + (r0 + r) * A.outerStride();
      const T* y = Y.data() + (r0 + r) * Y.outerStride();
      T* dst = W.data() + top + r;
      for (Index j = 0; j < n; ++j) dst[j * W.outerStride()] = a[j];
      for (Index j = 0; j < k; ++j) dst[(n + j) * W.outerStride()] = y[j];
    }
    Eigen::Ref<ColMat<T>> blk = W.topRows(top + rows);
    Eigen::HouseholderQR<Eigen::Ref<ColMat<T>>> qr(blk);
    // The Householder vectors below the diagonal are not needed: keep [R | Z] only.
    W.topRows(n).template triangularView<Eigen::StrictlyLower>().setZero();
  }
  return W.topRows(n);
}

// Numerical rank of M (r x c) by column-pivoted QR of M with its columns scaled to unit
// length, so the decision does not depend on the units of the regressors. A column counts as
// independent while its part orthogonal to the columns before it is larger than Tol times the
// largest such part.
template <class T>
Index NumericalRank(const ColMat<T>& M, T Tol) {
  if (M.size() == 0) return 0;
  ColMat<T> S = M;
  for (Index j = 0; j < S.cols(); ++j) {
    const T nrm = S.col(j).norm();
    if (nrm > T(0)) S.col(j) /= nrm;
  }
  Eigen::ColPivHouseholderQR<ColMat<T>> qr(S);
  const auto d = qr.matrixQR().diagonal().cwiseAbs();
  const T lead = d.size() > 0 ? d(0) : T(0);
  Index rank = 0;
  while (rank < d.size() && d(rank) > Tol * lead) ++rank;
  return rank;
}

// Rank tolerance of a least-squares problem with m rows and n columns. Rounding in a
// Householder reduction of m rows grows at most like eps * m (typically eps * sqrt(m)), so a
// relative residual below that cannot be told from exact collinearity; the floor of 100 covers
// small systems, and the cap sqrt(eps) keeps single-precision data with millions of rows from
// dropping columns that still carry half the working digits.
template <class T>
T RankTolerance(Index m, Index n) {
  const T byRows = Eps<T>() * static_cast<T>(std::max<Index>({m, n, 100}));
  return std::min(byRows, std::sqrt(Eps<T>()));
}

// ------------------------------------------------------------------ SVD helpers

// One-sided Jacobi SVD for every size. It is accurate to the last digit, and it stays safe on
// degenerate spectra (all-equal or rank-one data), where Eigen 3.4's divide-and-conquer
// solver reads out of bounds while deflating; such spectra cannot be recognised before the
// factorisation, so the faster solver is not used at all.
template <class T, class F>
decltype(auto) WithSVD(const ColMat<T>& M, unsigned Options, F&& f) {
  Eigen::JacobiSVD<ColMat<T>> svd(M, Options);
  return f(svd);
}

// Minimum-norm solution of M X = Z keeping the `rank` largest singular values of M.
template <class T>
ColMat<T> TruncatedSVDSolve(const ColMat<T>& M, const ColMat<T>& Z, Index rank) {
  return WithSVD<T>(M, Eigen::ComputeThinU | Eigen::ComputeThinV, [&](const auto& svd) -> ColMat<T> {
    ColMat<T> UtZ = svd.matrixU().leftCols(rank).transpose() * Z;
    for (Index i = 0; i < rank; ++i) UtZ.row(i) /= svd.singularValues()(i);
    return svd.matrixV().leftCols(rank) * UtZ;
  });
}

// Least-squares solution X (n x k) of A X = Y: back substitution on the reduced R when A has
// full column rank, the truncated-SVD minimum-norm solution otherwise (and for wide A).
// The triangular factor of a tall A is stored in *ROut when asked (callers reuse it for
// (A^T A)^-1 without a second pass over the data).
template <class T>
ColMat<T> LeastSquares(const RowRef<T>& A, const RowRef<T>& Y, ColMat<T>* ROut = nullptr) {
  const Index m = A.rows(), n = A.cols(), k = Y.cols();
  // Empty operands have no storage: no pointer into them may even be formed.
  if (n == 0 || k == 0) return ColMat<T>::Zero(n, k);
  if (m == 0) return ColMat<T>::Zero(n, k);
  const T tol = RankTolerance<T>(m, n);
  if (m >= n) {
    const ColMat<T> RZ = ReduceTall<T>(A, Y);
    const ColMat<T> R = RZ.leftCols(n);
    if (ROut != nullptr) *ROut = R;
    if (!R.allFinite()) return ColMat<T>::Constant(n, k, NaN<T>());
    const ColMat<T> Z = RZ.rightCols(k);
    const Index rank = NumericalRank<T>(R, tol);
    if (rank == n) return R.template triangularView<Eigen::Upper>().solve(Z);
    return TruncatedSVDSolve<T>(R, Z, rank);
  }
  const ColMat<T> Ac = A;
  if (!Ac.allFinite()) return ColMat<T>::Constant(n, k, NaN<T>());
  return TruncatedSVDSolve<T>(Ac, ColMat<T>(Y), NumericalRank<T>(Ac, tol));
}

// ------------------------------------------------------------------ square solvers

// An LU with an exact zero pivot, or whose reciprocal condition is below the working
// precision, cannot give a meaningful inverse. NaN data pass (and give NaN results).
template <class Dec, class T>
bool Singular(const Dec& dec, const ColVec<T>& pivots) {
  if ((pivots.array() == T(0)).any()) return true;
  return dec.rcond() < Eps<T>();
}

template <class T>
ColMat<T> SquareSolve(const ColMat<T>& A, const ColMat<T>& Y, TMtxType MtxType, TMtxOperation Op) {
  const bool trans = Op == opTrans;
  switch (MtxType) {
    case mtGeneral: {
      Eigen::PartialPivLU<ColMat<T>> lu(A);
      if (Singular(lu, ColVec<T>(lu.matrixLU().diagonal()))) ERaise("LUSolve: matrix is singular");
      return trans ? ColMat<T>(lu.transpose().solve(Y)) : ColMat<T>(lu.solve(Y));
    }
    case mtSymmPosDef: {
      Eigen::LLT<ColMat<T>, Eigen::Lower> llt(A);
      if (llt.info() != Eigen::Success) ERaise("LUSolve: matrix is not positive definite");
      if (llt.rcond() < Eps<T>()) ERaise("LUSolve: matrix is singular");
      return llt.solve(Y);
    }
    case mtSymmetric: {
      Eigen::LDLT<ColMat<T>, Eigen::Lower> ldlt(A);
      if (ldlt.info() != Eigen::Success || Singular(ldlt, ColVec<T>(ldlt.vectorD())))
        ERaise("LUSolve: matrix is singular");
      return ldlt.solve(Y);
    }
    case mtUpperTriangle:
    case mtLowerTriangle: {
      // Only the named triangle is read; a zero on the diagonal is an exact singularity.
      if ((A.diagonal().array() == T(0)).any()) ERaise("LUSolve: matrix is singular");
      const bool upper = (MtxType == mtUpperTriangle) != trans;
      const ColMat<T> At = trans ? ColMat<T>(A.transpose()) : A;
      return upper ? ColMat<T>(At.template triangularView<Eigen::Upper>().solve(Y))
                   : ColMat<T>(At.template triangularView<Eigen::Lower>().solve(Y));
    }
  }
  ERaise("LUSolve: MtxType is not a valid matrix type");
}

template <class T>
ColMat<T> Inverse(const ColMat<T>& A) {
  if (A.size() == 0) return A;
  Eigen::PartialPivLU<ColMat<T>> lu(A);
  if (Singular(lu, ColVec<T>(lu.matrixLU().diagonal()))) ERaise("Inv: matrix is singular");
  return lu.inverse();
}

}  // namespace

// ==================================================================== exported

void Mul(TMtx& Dst, const TMtx& A, const TMtx& B, TMtxOperation OpA, TMtxOperation OpB) {
  if (A.Complex() || B.Complex()) ERaise("Mul: A.Complex or B.Complex");
  if (A.FloatPrecision() != B.FloatPrecision()) ERaise("Mul: A.FloatPrecision <> B.FloatPrecision");
  if (!ValidOp(OpA) || !ValidOp(OpB)) ERaise("Mul: OpA or OpB is not a valid operation");
  const int rows = OpA == opTrans ? A.Cols() : A.Rows();
  const int inner = OpA == opTrans ? A.Rows() : A.Cols();
  const int innerB = OpB == opTrans ? B.Cols() : B.Rows();
  const int cols = OpB == opTrans ? B.Rows() : B.Cols();
  if (inner != innerB) ERaise("Mul: op(A).Cols <> op(B).Rows");
  WithPrecision(A, [&](auto t) {
    using T = typename decltype(t)::type;
    if (&Dst == &A || &Dst == &B) {
      TMtxScratch tmp;
      tmp->Size(rows, cols, PrecisionOf<T>());
      MulKernel<T>(tmp, A, B, OpA, OpB);
      Dst.Copy(tmp);
    } else {
      Dst.Size(rows, cols, PrecisionOf<T>());
      MulKernel<T>(Dst, A, B, OpA, OpB);
    }
  });
}

void Mul(TVec& Dst, const TMtx& A, const TVec& x, TMtxOperation OpA) {
  if (A.Complex() || x.Complex()) ERaise("Mul: A.Complex or x.Complex");
  if (A.FloatPrecision() != x.FloatPrecision()) ERaise("Mul: A.FloatPrecision <> x.FloatPrecision");
  if (!ValidOp(OpA)) ERaise("Mul: OpA is not a valid operation");
  const int rows = OpA == opTrans ? A.Cols() : A.Rows();
  const int inner = OpA == opTrans ? A.Rows() : A.Cols();
  if (inner != x.Length()) ERaise("Mul: op(A).Cols <> x.Length");
  WithPrecision(A, [&](auto t) {
    using T = typename decltype(t)::type;
    auto compute = [&](TVec& d) {
      d.Size(rows, PrecisionOf<T>());
      if (rows == 0 || inner == 0) return d.SetZero();  // no storage to hand to Eigen
      if (OpA == opTrans)
        Map<T>(d).noalias() = Map<T>(A).transpose() * Map<T>(x);
      else
        Map<T>(d).noalias() = Map<T>(A) * Map<T>(x);
    };
    if (&Dst == &x) {
      TVecScratch tmp;
      compute(tmp);
      Dst.Copy(tmp.Get());
    } else {
      compute(Dst);
    }
  });
}

void LQRSolve(TVec& X, const TMtx& A, const TVec& Y, TMtx* R) {
  if (A.Complex() || Y.Complex()) ERaise("LQRSolve: A.Complex or Y.Complex");
  if (A.FloatPrecision() != Y.FloatPrecision()) ERaise("LQRSolve: A.FloatPrecision <> Y.FloatPrecision");
  if (A.Rows() != Y.Length()) ERaise("LQRSolve: A.Rows <> Y.Length");
  WithPrecision(A, [&](auto t) {
    using T = typename decltype(t)::type;
    ColMat<T> r(0, 0);
    const bool tall = R != nullptr && A.Rows() >= A.Cols() && A.Cols() > 0;
    const ColMat<T> sol = LeastSquares<T>(Map<T>(A), AsColumn<T>(Y), tall ? &r : nullptr);
    Assign<T>(X, sol.col(0));
    if (R != nullptr) Assign<T>(*R, r);
  });
}

void LQRSolve(TMtx& X, const TMtx& A, const TMtx& Y) {
  if (A.Complex() || Y.Complex()) ERaise("LQRSolve: A.Complex or Y.Complex");
  if (A.FloatPrecision() != Y.FloatPrecision()) ERaise("LQRSolve: A.FloatPrecision <> Y.FloatPrecision");
  if (A.Rows() != Y.Rows()) ERaise("LQRSolve: A.Rows <> Y.Rows");
  WithPrecision(A, [&](auto t) {
    using T = typename decltype(t)::type;
    const ColMat<T> sol = LeastSquares<T>(Map<T>(A), Map<T>(Y));
    Assign<T>(X, sol);
  });
}

void LQR(const TMtx& A, TMtx& R, TMtx* Q) {
  if (A.Complex()) ERaise("LQR: A.Complex");
  WithPrecision(A, [&](auto t) {
    using T = typename decltype(t)::type;
    const auto a = Map<T>(A);
    const Index m = a.rows(), n = a.cols(), kmin = std::min(m, n);
    ColMat<T> r, q;
    if (kmin == 0) {
      r.setZero(0, n);
      q.setZero(m, 0);
    } else if (Q == nullptr && m >= n) {
      r = ReduceTall<T>(a, RowRef<T>(RowMat<T>(m, 0)));
    } else {
      Eigen::HouseholderQR<ColMat<T>> qr(a);
      r = qr.matrixQR().topRows(kmin).template triangularView<Eigen::Upper>();
      if (Q != nullptr) q = qr.householderQ() * ColMat<T>::Identity(m, kmin);
    }
    // A non-negative diagonal makes the factorisation unique for full-rank A, whichever
    // way it was computed.
    for (Index i = 0; i < kmin; ++i) {
      if (r(i, i) < T(0)) {
        r.row(i) = -r.row(i);
        if (Q != nullptr) q.col(i) = -q.col(i);
      }
    }
    Assign<T>(R, r);
    if (Q != nullptr) Assign<T>(*Q, q);
  });
}

void SVDSolve(TVec& X, const TMtx& A, const TVec& Y, TVec& SV, double Threshold) {
  if (A.Complex() || Y.Complex()) ERaise("SVDSolve: A.Complex or Y.Complex");
  if (A.FloatPrecision() != Y.FloatPrecision()) ERaise("SVDSolve: A.FloatPrecision <> Y.FloatPrecision");
  if (A.Rows() != Y.Length()) ERaise("SVDSolve: A.Rows <> Y.Length");
  if (!(Threshold >= 0)) ERaise("SVDSolve: Threshold < 0");
  WithPrecision(A, [&](auto t) {
    using T = typename decltype(t)::type;
    const auto a = Map<T>(A);
    const Index m = a.rows(), n = a.cols(), kmin = std::min(m, n);
    if (kmin == 0) {
      Assign<T>(X, ColVec<T>::Zero(n));
      SV.Size(0, PrecisionOf<T>());
      return;
    }
    // A tall system is first reduced to its triangular factor: same singular values, and
    // Q^T y carries all that the solution needs.
    ColMat<T> M, Z;
    if (m >= n) {
      const ColMat<T> RZ = ReduceTall<T>(a, AsColumn<T>(Y));
      M = RZ.leftCols(n);
      Z = RZ.rightCols(1);
    } else {
      M = a;
      Z = Map<T>(Y);
    }
    if (!M.allFinite()) {
      FillNaN<T>(X, n);
      FillNaN<T>(SV, kmin);
      return;
    }
    ColVec<T> s, x;
    WithSVD<T>(M, Eigen::ComputeThinU | Eigen::ComputeThinV, [&](const auto& svd) {
      s = svd.singularValues();
      const T cut = static_cast<T>(Threshold) * (s.size() > 0 ? s(0) : T(0));
      ColVec<T> utz = svd.matrixU().transpose() * Z;
      for (Index i = 0; i < s.size(); ++i) utz(i) = s(i) > cut && s(i) > T(0) ? utz(i) / s(i) : T(0);
      x = svd.matrixV() * utz;
    });
    Assign<T>(X, x);
    Assign<T>(SV, s.head(kmin));
  });
}

void LUSolve(TVec& X, const TMtx& A, const TVec& Y, TMtxType MtxType, TMtxOperation Op) {
  if (A.Complex() || Y.Complex()) ERaise("LUSolve: A.Complex or Y.Complex");
  if (A.FloatPrecision() != Y.FloatPrecision()) ERaise("LUSolve: A.FloatPrecision <> Y.FloatPrecision");
  if (MtxType < mtGeneral || MtxType > mtLowerTriangle) ERaise("LUSolve: MtxType is not a valid matrix type");
  if (!ValidOp(Op)) ERaise("LUSolve: Op is not a valid operation");
  if (A.Rows() != A.Cols()) ERaise("LUSolve: A.Rows <> A.Cols");
  if (A.Rows() != Y.Length()) ERaise("LUSolve: A.Rows <> Y.Length");
  WithPrecision(A, [&](auto t) {
    using T = typename decltype(t)::type;
    if (A.Rows() == 0) {
      X.Size(0, PrecisionOf<T>());
      return;
    }
    const ColMat<T> x = SquareSolve<T>(Map<T>(A), ColMat<T>(Map<T>(Y)), MtxType, Op);
    Assign<T>(X, x.col(0));
  });
}

void Inv(TMtx& A) { Inv(A, A); }

void Inv(TMtx& Dst, const TMtx& A) {
  if (A.Complex()) ERaise("Inv: A.Complex");
  if (A.Rows() != A.Cols()) ERaise("Inv: A.Rows <> A.Cols");
  WithPrecision(A, [&](auto t) {
    using T = typename decltype(t)::type;
    const ColMat<T> inv = Inverse<T>(Map<T>(A));
    Assign<T>(Dst, inv);
  });
}

double Determinant(const TMtx& A) {
  if (A.Complex()) ERaise("Determinant: A.Complex");
  if (A.Rows() != A.Cols()) ERaise("Determinant: A.Rows <> A.Cols");
  return WithPrecision(A, [&](auto t) -> double {
    using T = typename decltype(t)::type;
    if (A.Rows() == 0) return 1.0;
    Eigen::PartialPivLU<ColMat<T>> lu(Map<T>(A));
    // The pivot product is formed in double: a single-precision determinant easily leaves
    // the float range although every pivot is representable.
    double det = static_cast<double>(lu.permutationP().determinant());
    const auto d = lu.matrixLU().diagonal();
    for (Index i = 0; i < d.size(); ++i) det *= static_cast<double>(d(i));
    return det;
  });
}

void SVD(const TMtx& A, TMtx& U, TVec& S, TMtx& V, bool Reduced) {
  if (A.Complex()) ERaise("SVD: A.Complex");
  const long long m = A.Rows(), n = A.Cols();
  if (!Reduced && std::max(m, n) * std::max(m, n) > std::numeric_limits<int>::max())
    ERaise("SVD: full U or V has too many elements");
  WithPrecision(A, [&](auto t) {
    using T = typename decltype(t)::type;
    const ColMat<T> M = Map<T>(A);
    const Index kmin = std::min(M.rows(), M.cols());
    const Index ucols = Reduced ? kmin : M.rows(), vcols = Reduced ? kmin : M.cols();
    if (kmin == 0) {
      Assign<T>(U, ColMat<T>::Identity(M.rows(), ucols));
      Assign<T>(V, ColMat<T>::Identity(M.cols(), vcols));
      S.Size(0, PrecisionOf<T>());
      return;
    }
    if (!M.allFinite()) {
      FillNaN<T>(U, M.rows(), ucols);
      FillNaN<T>(S, kmin);
      FillNaN<T>(V, M.cols(), vcols);
      return;
    }
    const unsigned opts = Reduced ? Eigen::ComputeThinU | Eigen::ComputeThinV : Eigen::ComputeFullU | Eigen::ComputeFullV;
    WithSVD<T>(M, opts, [&](const auto& svd) {
      const ColMat<T> u = svd.matrixU(), v = svd.matrixV();
      const ColVec<T> s = svd.singularValues();
      Assign<T>(U, u);
      Assign<T>(V, v);
      Assign<T>(S, s);
    });
  });
}

void SVD(const TMtx& A, TVec& S) {
  if (A.Complex()) ERaise("SVD: A.Complex");
  WithPrecision(A, [&](auto t) {
    using T = typename decltype(t)::type;
    const auto a = Map<T>(A);
    const Index m = a.rows(), n = a.cols();
    if (std::min(m, n) == 0) return S.Size(0, PrecisionOf<T>());
    const ColMat<T> M = m >= n ? ColMat<T>(ReduceTall<T>(a, RowRef<T>(RowMat<T>(m, 0)))) : ColMat<T>(a);
    if (!M.allFinite()) return FillNaN<T>(S, std::min(m, n));
    WithSVD<T>(M, 0, [&](const auto& svd) { Assign<T>(S, svd.singularValues()); });
  });
}

void Eig(const TMtx& A, TVec& Values, TMtx* Vectors) {
  if (A.Complex()) ERaise("Eig: A.Complex");
  if (A.Rows() != A.Cols()) ERaise("Eig: A.Rows <> A.Cols");
  WithPrecision(A, [&](auto t) {
    using T = typename decltype(t)::type;
    const Index n = A.Rows();
    const ColMat<T> M = Map<T>(A);
    if (!M.template triangularView<Eigen::Lower>().toDenseMatrix().allFinite()) {
      FillNaN<T>(Values, n);
      if (Vectors != nullptr) FillNaN<T>(*Vectors, n, n);
      return;
    }
    if (n == 0) {
      Values.Size(0, PrecisionOf<T>());
      if (Vectors != nullptr) Vectors->Size(0, 0, PrecisionOf<T>());
      return;
    }
    Eigen::SelfAdjointEigenSolver<ColMat<T>> es(M, Vectors != nullptr ? Eigen::ComputeEigenvectors
                                                                       : Eigen::EigenvaluesOnly);
    if (es.info() != Eigen::Success) ERaise("Eig: no convergence");
    Assign<T>(Values, es.eigenvalues());
    if (Vectors != nullptr) Assign<T>(*Vectors, es.eigenvectors());
  });
}

void Cholesky(TMtx& L, const TMtx& A) {
  if (A.Complex()) ERaise("Cholesky: A.Complex");
  if (A.Rows() != A.Cols()) ERaise("Cholesky: A.Rows <> A.Cols");
  WithPrecision(A, [&](auto t) {
    using T = typename decltype(t)::type;
    if (A.Rows() == 0) {
      L.Size(0, 0, PrecisionOf<T>());
      return;
    }
    Eigen::LLT<ColMat<T>, Eigen::Lower> llt(Map<T>(A));
    if (llt.info() != Eigen::Success) ERaise("Cholesky: matrix is not positive definite");
    const ColMat<T> l = llt.matrixL();
    Assign<T>(L, l);
  });
}

}  // namespace Kalix
