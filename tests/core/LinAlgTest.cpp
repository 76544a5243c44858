#include "support/TestSupport.h"

using namespace Kalix;
using namespace KalixTest;

namespace {

class LinAlgP : public testing::TestWithParam<TMtxFloatPrecision> {};
INSTANTIATE_TEST_SUITE_P(Precisions, LinAlgP, testing::ValuesIn(kRealPrecisions), PrecisionName);

TMtx Filled(int rows, int cols, TMtxFloatPrecision p, unsigned seed) {
  TMtx A(rows, cols, p);
  unsigned s = seed;
  for (int i = 0; i < A.Length(); ++i) {
    s = s * 1664525u + 1013904223u;
    A.Values(i) = static_cast<double>(s >> 8) / double(1 << 23) - 1.0;
  }
  return A;
}

// max |a_ij - b_ij| / max(|b|, 1)
double MaxDiff(const TMtx& a, const TMtx& b) {
  EXPECT_TRUE(a.Rows() == b.Rows() && a.Cols() == b.Cols());
  double d = 0, scale = 1;
  for (int i = 0; i < b.Length(); ++i) scale = std::max(scale, std::fabs(b.Values(i)));
  for (int i = 0; i < std::min(a.Length(), b.Length()); ++i) d = std::max(d, std::fabs(a.Values(i) - b.Values(i)));
  return d / scale;
}

TMtx Product(const TMtx& A, const TMtx& B, TMtxOperation oa = opNone, TMtxOperation ob = opNone) {
  TMtx D;
  Mul(D, A, B, oa, ob);
  return D;
}

}  // namespace

TEST_P(LinAlgP, LQRSolveLeastSquaresAndMinimumNorm) {
  const auto p = GetParam();
  TMtx A = Mtx({{1, 1, 1}, {1, 2, 4}, {1, 3, 9}, {1, 4, 16}, {1, 5, 25}, {1, 6, 36}, {1, 7, 49}, {1, 8, 64}}, p);
  TVec y = Vec({2.1, 3.9, 6.2, 7.8, 10.1, 12.2, 13.8, 16.1}, p), b;
  LQRSolve(b, A, y);
  EXPECT_EQ(b.FloatPrecision(), p);
  // R: qr.solve(cbind(1, x, x^2), y), x = 1:8
  const double tol = p == mvSingle ? 2e-4 : 1e-12;
  ExpectAllClose({0.0714285714285780998, 1.9761904761904731664, 0.0023809523809527129}, b, tol);
  // The matrix form solves each column alike.
  TMtx Y(8, 2, p), B;
  for (int i = 0; i < 8; ++i) Y(i, 0) = y[i], Y(i, 1) = -2 * y[i];
  LQRSolve(B, A, Y);
  ASSERT_EQ(B.Rows(), 3);
  for (int j = 0; j < 3; ++j) EXPECT_CLOSE(-2 * B(j, 0), B(j, 1), tol);
  // Rank-deficient systems: the minimum-norm solution.
  TVec x;
  // Tall, third column = first + second. numpy.linalg.lstsq(A, y, rcond=None)[0]
  LQRSolve(x, Mtx({{1, 2, 3}, {2, 1, 3}, {3, 5, 8}, {4, 3, 7}, {5, 7, 12}}, p), Vec({1, 2, 4, 3, 6}, p));
  ExpectAllClose({0.17424242424242403, 0.15151515151515166, 0.3257575757575757}, x, TolFor(p));
  // Wide. numpy.linalg.lstsq(W, yw, rcond=None)[0]
  TMtx R = Mtx({{9}});
  LQRSolve(x, Mtx({{1, 2, 3, 4}, {2, -1, 0, 1}}, p), Vec({3, 1}, p), &R);
  ExpectAllClose({0.30487804878048785, 0.060975609756097615, 0.2560975609756098, 0.451219512195122}, x, TolFor(p));
  EXPECT_EQ(R.Length(), 0);  // no square factor for a wide system
  // Wide with proportional rows. numpy.linalg.lstsq([[1,2,3],[2,4,6]], [1,2], rcond=None)[0]
  LQRSolve(x, Mtx({{1, 2, 3}, {2, 4, 6}}, p), Vec({1, 2}, p));
  ExpectAllClose({0.0714285714285714, 0.14285714285714282, 0.21428571428571425}, x, TolFor(p));
  LQRSolve(x, TMtx(4, 2, p), Vec({1, 2, 3, 4}, p));  // A zero design has the zero vector as minimum-norm solution
  ExpectAllClose({0, 0}, x, 0);
  // Non-finite data give NaN, not garbage.
  TVec sv;
  A = Mtx({{1, 2}, {3, NAN}, {5, 6}}, p);
  LQRSolve(x, A, Vec({1, 2, 3}, p)), SVDSolve(y, A, Vec({1, 2, 3}, p), sv);
  EXPECT_TRUE(std::isnan(x[0]) && std::isnan(x[1]) && std::isnan(y[0]) && std::isnan(sv[0]));
}

TEST_P(LinAlgP, LQRSolveManyBlocksRecoversExactCoefficients) {
  // 30000 rows span several row blocks, the last one partial.
  const auto p = GetParam();
  const std::vector<double> beta{1.5, -2, 0.25, 3, 1e-3};
  TMtx A = Filled(30000, 5, p, 7);
  TVec y, x;
  Mul(y, A, Vec(beta, p));
  TMtx R = Mtx({{9}});
  LQRSolve(x, A, y, &R);
  ExpectAllClose(beta, x, p == mvSingle ? 1e-4 : 1e-12);
  // The factor the blocked reduction hands back is triangular with R^T R = A^T A.
  ASSERT_TRUE(R.Rows() == 5 && R.Cols() == 5 && R(4, 0) == 0.0);
  EXPECT_LT(MaxDiff(Product(R, R, opTrans), Product(A, A, opTrans)), p == mvSingle ? 1e-5 : 1e-13);
  // A column in other units (an exact power-of-two rescaling) is not mistaken for a
  // collinear one: its coefficient rescales and nothing else changes.
  const double s = std::ldexp(1.0, -40);
  for (int i = 0; i < A.Rows(); ++i) A(i, 4) = s * A(i, 4);
  TVec xs;
  LQRSolve(xs, A, y);
  EXPECT_CLOSE(x[4], s * xs[4], p == mvSingle ? 1e-5 : 1e-12);
}

TEST_P(LinAlgP, MulTranspositionsAndAliasing) {
  const auto p = GetParam();
  const TMtx A = Mtx({{1, 2, 3}, {4, 5, 6}}, p), B = Mtx({{1, 0}, {2, 1}, {0, -1}}, p);
  ExpectAllClose({5, -1, 14, -1}, Product(A, B), 0);
  ExpectAllClose({1, 6, -4, 2, 9, -5, 3, 12, -6}, Product(A, B, opTrans, opTrans), 0);  // (B A)^T
  ExpectAllClose({1, 6, 2, 9, 3, 12}, Product(A, Mtx({{1, 2}, {0, 1}}, p), opTrans, opNone), 0);
  ExpectAllClose({4, 2, 10, 5}, Product(A, Mtx({{1, 0, 1}, {0, 1, 0}}, p), opNone, opTrans), 0);
  TMtx C = A;
  Mul(C, C, B);  // the destination may be an operand
  ExpectAllClose({5, -1, 14, -1}, C, 0);
  TVec v = Vec({1, -1, 2}, p);
  Mul(v, A, v);
  ExpectAllClose({5, 11}, v, 0);
  Mul(v, A, v, opTrans);
  ExpectAllClose({49, 65, 81}, v, 0);
  EXPECT_EQ(v.FloatPrecision(), p);
}

TEST_P(LinAlgP, GramMatchesPlainProduct) {
  // Column counts below, at and across the vector tile widths, and row counts across the
  // row blocks of the wide-vector kernel.
  const auto p = GetParam();
  for (int cols : {1, 3, 8, 13, 16, 32, 37}) {
    for (int rows : {0, 1, 300, 2049}) {
      SCOPED_TRACE(testing::Message() << rows << " x " << cols);
      const TMtx A = Filled(rows, cols, p, 11u + static_cast<unsigned>(cols));
      const TMtx copy = A;
      const TMtx G = Product(A, A, opTrans, opNone);
      EXPECT_LE(MaxDiff(G, Product(A, copy, opTrans, opNone)), p == mvSingle ? 1e-5 : 1e-13);
      for (int i = 0; i < cols; ++i)
        for (int j = 0; j < i; ++j) ASSERT_EQ(G(i, j), G(j, i));
      if (rows <= 300) {
        EXPECT_LE(MaxDiff(Product(A, A, opNone, opTrans), Product(A, copy, opNone, opTrans)), 1e-5);
      }
    }
  }
}

TEST_P(LinAlgP, SquareSolversOnKnownMatrix) {
  const auto p = GetParam();
  const double tol = p == mvSingle ? 1e-5 : 1e-13;
  const TMtx M = Mtx({{4, -2, 1}, {-2, 5, 3}, {1, 3, 6}}, p);
  const TVec y = Vec({1, 2, 3}, p);
  TVec x;
  // R: solve(M, c(1, 2, 3)); M is symmetric positive definite, so every factorisation applies.
  for (TMtxType t : {mtGeneral, mtSymmetric, mtSymmPosDef}) {
    LUSolve(x, M, y, t);
    ExpectAllClose({0.41860465116279066, 0.44186046511627908, 0.20930232558139536}, x, tol);
  }
  // R: det(M); solve(M)
  EXPECT_CLOSE(43.0, Determinant(M), tol);
  TMtx Mi = M;
  Inv(Mi);
  ExpectAllClose({0.48837209302325579, 0.34883720930232565, -0.25581395348837210, 0.34883720930232559,
                  0.53488372093023262, -0.32558139534883723, -0.25581395348837210, -0.32558139534883723,
                  0.37209302325581395},
                 Mi, tol);
  // R: t(chol(M))
  TMtx L;
  Cholesky(L, M);
  ExpectAllClose({2, 0, 0, -1, 2, 0, 0.5, 1.75, 1.6393596310755001}, L, tol);
  // Non-symmetric and triangular systems, also transposed: check by substitution.
  const TMtx N = Mtx({{2, 1, 0}, {0, 3, 1}, {1, 0, 4}}, p);
  for (TMtxType t : {mtGeneral, mtUpperTriangle, mtLowerTriangle}) {
    for (TMtxOperation op : {opNone, opTrans}) {
      TMtx S = N;
      if (t == mtUpperTriangle) S(2, 0) = 0;
      if (t == mtLowerTriangle) S(0, 1) = S(1, 2) = 0;
      LUSolve(x, N, y, t, op);
      TVec back;
      Mul(back, S, x, op);
      ExpectAllClose({1, 2, 3}, back, tol);
    }
  }
}

TEST(LinAlgErrors, SingularIndefiniteAndArgumentChecksInOrder) {
  TMtx D;
  TVec x;
  EXPECT_RAISES(Inv(D, Mtx({{1, 2}, {2, 4}})), "Inv: matrix is singular");
  // Exactly invertible, but its reciprocal condition is below the double epsilon.
  EXPECT_RAISES(Inv(D, Mtx({{1, 1}, {1, 1 + std::ldexp(1.0, -52)}})), "Inv: matrix is singular");
  EXPECT_RAISES(LUSolve(x, Mtx({{1, 2}, {2, 4}}), Vec({1, 1})), "LUSolve: matrix is singular");
  EXPECT_RAISES(LUSolve(x, Mtx({{1, 2}, {0, 0}}), Vec({1, 1}), mtUpperTriangle), "LUSolve: matrix is singular");
  EXPECT_RAISES(LUSolve(x, Mtx({{1, 2}, {2, 1}}), Vec({1, 1}), mtSymmPosDef), "LUSolve: matrix is not positive definite");
  EXPECT_RAISES(Cholesky(D, Mtx({{1, 2}, {2, 1}})), "Cholesky: matrix is not positive definite");
  EXPECT_EQ(Determinant(Mtx({{1, 2}, {2, 4}})), 0.0);
  TMtx A2x3(2, 3), A3x3(3, 3), S3(3, 3, mvSingle);
  TVec v2(2), v3(3), s3(3, mvSingle);
  const TMtx C = ComplexMtx();
  // Each call breaks two checks; the first in order is reported.
  EXPECT_RAISES(Mul(D, C, S3), "Mul: A.Complex or B.Complex");
  EXPECT_RAISES(Mul(D, A2x3, S3), "Mul: A.FloatPrecision <> B.FloatPrecision");
  EXPECT_RAISES(Mul(D, A2x3, A2x3), "Mul: op(A).Cols <> op(B).Rows");
  EXPECT_RAISES(Mul(x, A2x3, s3), "Mul: A.FloatPrecision <> x.FloatPrecision");
  EXPECT_RAISES(Mul(x, A2x3, v3, opTrans), "Mul: op(A).Cols <> x.Length");
  EXPECT_RAISES(LQRSolve(x, C, s3), "LQRSolve: A.Complex or Y.Complex");
  EXPECT_RAISES(LQRSolve(x, A2x3, s3), "LQRSolve: A.FloatPrecision <> Y.FloatPrecision");
  EXPECT_RAISES(LQRSolve(x, A2x3, v3), "LQRSolve: A.Rows <> Y.Length");
  EXPECT_RAISES(LQRSolve(D, A2x3, A3x3), "LQRSolve: A.Rows <> Y.Rows");
  EXPECT_RAISES(SVDSolve(x, A2x3, v3, x), "SVDSolve: A.Rows <> Y.Length");
  EXPECT_RAISES(SVDSolve(x, A2x3, v2, x, -1), "SVDSolve: Threshold < 0");
  EXPECT_RAISES(LUSolve(x, A2x3, s3), "LUSolve: A.FloatPrecision <> Y.FloatPrecision");
  EXPECT_RAISES(LUSolve(x, A2x3, v3), "LUSolve: A.Rows <> A.Cols");
  EXPECT_RAISES(LUSolve(x, A3x3, v2), "LUSolve: A.Rows <> Y.Length");
  EXPECT_RAISES(Inv(D, C), "Inv: A.Complex");
  EXPECT_RAISES(Inv(D, A2x3), "Inv: A.Rows <> A.Cols");
  EXPECT_RAISES(Determinant(A2x3), "Determinant: A.Rows <> A.Cols");
  EXPECT_RAISES(Eig(A2x3, x), "Eig: A.Rows <> A.Cols");
  EXPECT_RAISES(Cholesky(D, A2x3), "Cholesky: A.Rows <> A.Cols");
  EXPECT_RAISES(SVD(C, x), "SVD: A.Complex");
  EXPECT_RAISES(LQR(C, D), "LQR: A.Complex");
}

TEST_P(LinAlgP, DecompositionsReconstruct) {
  const auto p = GetParam();
  const double tol = p == mvSingle ? 2e-5 : 1e-13;
  const TMtx G = Mtx({{2, 0, 1}, {-1, 3, 1}, {0, 1, 4}, {2, -2, 1}}, p);
  TMtx U, V, R, Q;
  TVec s;
  for (bool reduced : {true, false}) {
    SVD(G, U, s, V, reduced);
    ASSERT_EQ(U.Cols(), reduced ? 3 : 4);
    // R: svd(G)$d
    ExpectAllClose({4.7164215209446478, 4.1747828610590192, 1.5253052480661173}, s, tol);
    TMtx US(4, 3, p);
    for (int i = 0; i < 4; ++i)
      for (int j = 0; j < 3; ++j) US(i, j) = U(i, j) * s[j];
    EXPECT_LE(MaxDiff(Product(US, V, opNone, opTrans), G), tol);
  }
  // QR: R upper triangular with non-negative diagonal, Q orthonormal, Q R = G; the tall
  // reduction used without Q gives the same R.
  LQR(G, R, &Q);
  EXPECT_LE(MaxDiff(Product(Q, R), G), tol);
  EXPECT_LE(MaxDiff(Product(Q, Q, opTrans), Mtx({{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}, p)), tol);
  TMtx R2;
  LQR(G, R2);
  EXPECT_LE(MaxDiff(R2, R), tol);
  for (int i = 0; i < 3; ++i) {
    EXPECT_GE(R(i, i), 0);
    for (int j = 0; j < i; ++j) EXPECT_EQ(R(i, j), 0);
  }
  // Symmetric eigenproblem: ascending values, A V = V diag(values).
  const TMtx M = Mtx({{4, -2, 1}, {-2, 5, 3}, {1, 3, 6}}, p);
  Eig(M, s, &V);
  // R: rev(eigen(M)$values)
  ExpectAllClose({0.91193196369870511, 5.47375544479853282, 8.61431259150276318}, s, tol);
  const TMtx MV = Product(M, V);
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) EXPECT_NEAR(MV(i, j), V(i, j) * s[j], 10 * tol);
}

TEST(LinAlgEmpty, EmptyShapesGiveEmptyOrNeutralResults) {
  TVec x, y, z, s, s2, e;
  TMtx D, I, Q, U, V;
  LQRSolve(x, TMtx(0, 3), TVec(0));
  ExpectAllClose({0, 0, 0}, x, 0);  // minimum norm: no data, no coefficients away from 0
  LQRSolve(y, TMtx(4, 0), Vec({1, 2, 3, 4}));
  SVDSolve(x, TMtx(0, 2), TVec(0), s);
  Inv(I, TMtx(0, 0));
  LQR(TMtx(3, 0), D, &Q);
  SVD(TMtx(3, 0), U, s2, V);
  Eig(TMtx(0, 0), e, &V);
  Cholesky(V, TMtx(0, 0));
  LUSolve(z, TMtx(0, 0), TVec(0));
  EXPECT_EQ((std::vector<int>{0, 2, 0, 0, 0, 3, 0, 0}), (std::vector<int>{y.Length(), x.Length(), s.Length(), I.Length(),
                                                                         D.Rows(), Q.Rows(), s2.Length(), z.Length()}));
  EXPECT_EQ(Determinant(TMtx(0, 0)), 1.0);
  Mul(D, TMtx(2, 0), TMtx(0, 3));
  ExpectAllClose({0, 0, 0, 0, 0, 0}, D, 0);
  // A right-hand side of no columns: the triangular path (tall, full rank), the truncated
  // path (tall, rank 1) and the wide path all give n x 0 without touching absent storage.
  for (const TMtx& A : {Mtx({{1, 2}, {3, 4}, {5, 7}}), Mtx({{1, 2}, {2, 4}, {3, 6}}), Mtx({{1, 2, 3}})}) {
    LQRSolve(D, A, TMtx(A.Rows(), 0));
    EXPECT_EQ((std::vector<int>{A.Cols(), 0}), (std::vector<int>{D.Rows(), D.Cols()}));
  }
}

TEST_P(LinAlgP, AllEqualDataAboveJacobiSizesHaveTheRankOneSolution) {
  // 1e12 + k/1000 rounds to 1e12 in single precision: a rank-one matrix c * ones(m, n) with
  // both sides above 64, whose degenerate spectrum once sent the SVD out of bounds.
  const auto p = GetParam();
  const int m = 90, n = 70;
  TMtx A(m, n, p);
  for (int i = 0; i < A.Length(); ++i) A.Values(i) = 1e12 + i * 0.001;
  const double c = A.Values(0), tol = p == mvSingle ? 1e-4 : 1e-9;
  TVec y(m, p), x, sv;
  y.SetVal(1.0);
  const double xj = 1.0 / (c * n);  // Minimum-norm solution of c * sum(x) = 1: every x_j = 1 / (c n), from every solver
  SVDSolve(x, A, y, sv);
  if (p == mvSingle) {  // double keeps the k/1000 steps: full rank, other solution
    for (int j = 0; j < n; ++j) EXPECT_CLOSE(xj, x[j], tol);
    EXPECT_CLOSE(c * std::sqrt(double(m) * n), sv[0], tol);
    EXPECT_LT(sv[1], tol * sv[0]);
    LQRSolve(x, A, y);
    for (int j = 0; j < n; ++j) EXPECT_CLOSE(xj, x[j], tol);
  }
  TMtx U, V;
  SVD(A, U, sv, V);
  SVD(A, sv);
  ASSERT_EQ(n, sv.Length());
  EXPECT_CLOSE(c * std::sqrt(double(m) * n), sv[0], tol);
}
