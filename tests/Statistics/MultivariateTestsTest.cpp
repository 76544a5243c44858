#include "StatisticsTest.h"

namespace {

using HotellingTest = TOutputs;

// R's iris rows 1-10, 51-60 and 101-110 (four measurements), listed column by column.
const std::vector<double> kSetosa{5.1, 4.9, 4.7, 4.6, 5, 5.4, 4.6, 5, 4.4, 4.9, 3.5, 3, 3.2, 3.1,
                                  3.6, 3.9, 3.4, 3.4, 2.9, 3.1, 1.4, 1.4, 1.3, 1.5, 1.4, 1.7, 1.4, 1.5,
                                  1.4, 1.5, 0.2, 0.2, 0.2, 0.2, 0.2, 0.4, 0.3, 0.2, 0.2, 0.1};
const std::vector<double> kVersicolor{7, 6.4, 6.9, 5.5, 6.5, 5.7, 6.3, 4.9, 6.6, 5.2, 3.2, 3.2, 3.1, 2.3,
                                      2.8, 2.8, 3.3, 2.4, 2.9, 2.7, 4.7, 4.5, 4.9, 4, 4.6, 4.5, 4.7, 3.3,
                                      4.6, 3.9, 1.4, 1.5, 1.5, 1.3, 1.5, 1.3, 1.6, 1, 1.3, 1.4};
const std::vector<double> kVirginica{6.3, 5.8, 7.1, 6.3, 6.5, 7.6, 4.9, 7.3, 6.7, 7.2, 3.3, 2.7, 3, 2.9,
                                     3, 3, 2.5, 2.9, 2.5, 3.6, 6, 5.1, 5.9, 5.6, 5.8, 6.6, 4.5, 6.3,
                                     5.8, 6.1, 2.5, 1.9, 2.1, 1.8, 2.2, 2.1, 1.7, 1.8, 1.8, 2.5};

TMtx ByColumns(const std::vector<double>& v, int rows, TMtxFloatPrecision p = mvDouble) {
  const int cols = static_cast<int>(v.size()) / rows;
  TMtx m(rows, cols, p);
  for (int j = 0; j < cols; ++j)
    for (int i = 0; i < rows; ++i) m(i, j) = v[std::size_t(j * rows + i)];
  return m;
}

class HotellingP : public testing::TestWithParam<TMtxFloatPrecision> {};

// R: d <- colMeans(A) - mu; S <- cov(A); T2 <- n * t(d) %*% solve(S, d)
//    F <- (n-p)/(p*(n-1))*T2; pf(F, p, n-p, lower.tail=FALSE)
//    sqrt(p*(n-1)/(n-p)*qf(0.95,p,n-p)*diag(S)/n)
// Two samples: Sp <- ((n1-1)*cov(A)+(n2-1)*cov(B))/(n1+n2-2);
//    T2 <- t(d) %*% solve(Sp*(1/n1+1/n2), d); F <- (n1+n2-p-1)/(p*(n1+n2-2))*T2
TEST_P(HotellingP, OneAndTwoSamplesMatchTheirFormulasInR) {
  const double tol = GetParam() == mvSingle ? 2e-4 : 1e-11;
  const TMtx A = ByColumns(kSetosa, 10, GetParam()), B = ByColumns(kVersicolor, 10, GetParam());
  THypothesisResult hRes;
  double signif, F;
  TVec half;
  const double t1 = HotellingT2(A, Vec({5, 3.4, 1.5, 0.25}), hRes, signif, &half, &F);
  ExpectAllClose({4.2344388284982166, 0.70573980474970277, 0.61636475036484617}, {t1, F, signif}, tol);
  EXPECT_EQ(hRes, hrNotReject);
  EXPECT_EQ(half.FloatPrecision(), GetParam());
  ExpectAllClose({0.48053644953740932, 0.50656304186703038, 0.17814527400951929, 0.13009891345060332}, half, tol);

  const double t2 = HotellingT2(A, B, hRes, signif, &half, &F);
  ExpectAllClose({1173.2984943044885, 244.43718631343512}, {t2, F}, tol);
  EXPECT_NEAR(1.8534433860120047e-13, signif, GetParam() == mvSingle ? 1e-9 : 1e-15);
  EXPECT_EQ(hRes, hrReject);
  ExpectAllClose({0.94879457997631267, 0.55497863221153354, 0.6049928417289453, 0.22548759635750634}, half, tol);
}

// R: Sp <- sum((n_i-1) cov_i)/(N-k); M <- (N-k)*log(det(Sp)) - sum((n_i-1)*log(det(cov_i)))
//    c1 <- (sum(1/(n_i-1)) - 1/(N-k))*(2p^2+3p-1)/(6(p+1)(k-1)); chi <- M*(1-c1)
//    c2 <- (sum(1/(n_i-1)^2) - 1/(N-k)^2)*(p-1)*(p+2)/(6*(k-1)); df2 <- (df1+2)/(c2-c1^2)
//    F <- M/(df1/(1-c1-df1/df2))
TEST_P(HotellingP, BoxMMatchesItsFormulasInR) {
  const double tol = GetParam() == mvSingle ? 2e-4 : 1e-11;
  TMtx X(30, 4, GetParam());
  for (int g = 0; g < 3; ++g) {
    const std::vector<double>& v = g == 0 ? kSetosa : g == 1 ? kVersicolor : kVirginica;
    for (int i = 0; i < 10; ++i)
      for (int j = 0; j < 4; ++j) X(10 * g + i, j) = v[std::size_t(j * 10 + i)];
  }
  TVecInt groups(30);
  for (int i = 0; i < 30; ++i) groups[i] = 7 - 3 * (i / 10);  // any labels, in any order
  THypothesisResult hRes;
  double signif, chi, F, fSignif;
  TTwoElmReal df;
  const double M = BoxMTest(X, groups, hRes, signif, &chi, &F, &df, &fSignif);
  ExpectAllClose({47.171517232234635, 37.154849375513209, 0.011211578637132782, 1.8397159699705303, 20,
                  2616.7875271936164, 0.012837485741302826},
                 {M, chi, signif, F, df[0], df[1], fSignif}, tol);
  EXPECT_EQ(hRes, hrReject);
  X(3, 2) = NAN;
  EXPECT_TRUE(std::isnan(BoxMTest(X, groups, hRes, signif)));
  EXPECT_EQ(hRes, hrNan);
}

TEST_F(HotellingTest, NaNDataAndBadAlphaAreQuiet) {
  TMtx A = ByColumns(kSetosa, 10);
  double F;
  TVec half;
  EXPECT_TRUE(std::isnan(HotellingT2(A, Vec({5, 3, 1, 0}), h, p, &half, &F, 1.0)));
  EXPECT_TRUE(h == hrNan && std::isnan(p) && std::isnan(half[0]) && !std::isnan(F));
  A(2, 1) = NAN;
  EXPECT_TRUE(std::isnan(HotellingT2(A, ByColumns(kVersicolor, 10), h, p, &half, &F)));
  EXPECT_TRUE(std::isnan(F) && std::isnan(half[3]) && h == hrNan);
}

TEST_F(HotellingTest, Messages) {
  const TMtx A = ByColumns(kSetosa, 10), C = ComplexMtx(), Small = Mtx({{1, 2}, {3, 4}});
  TMtx Dup = ByColumns(kSetosa, 10);  // Column 3 = column 0 + column 1: singular covariance however many rows
  for (int i = 0; i < 10; ++i) Dup(i, 3) = Dup(i, 0) + Dup(i, 1);
  TVecInt g3{1, 1, 1, 2, 2, 2};
  EXPECT_RAISES(HotellingT2(C, ComplexVec(), h, p), "HotellingT2: Data.Complex = true");
  EXPECT_RAISES(HotellingT2(A, ComplexVec(), h, p), "HotellingT2: Mu.Complex = true");
  EXPECT_RAISES(HotellingT2(A, Vec({1, 2}), h, p), "HotellingT2: Mu.Length <> Data.Cols");
  EXPECT_RAISES(HotellingT2(TMtx(3, 0), TVec(), h, p), "HotellingT2: Data.Cols = 0");
  EXPECT_RAISES(HotellingT2(Small, Vec({1, 2}), h, p), "HotellingT2: Data.Rows <= Data.Cols");
  EXPECT_RAISES(HotellingT2(Dup, Vec({1, 2, 3, 4}), h, p), "HotellingT2: covariance matrix is singular");
  EXPECT_RAISES(HotellingT2(C, C, h, p), "HotellingT2: Data1.Complex = true");
  EXPECT_RAISES(HotellingT2(A, C, h, p), "HotellingT2: Data2.Complex = true");
  EXPECT_RAISES(HotellingT2(A, Small, h, p), "HotellingT2: Data1.Cols <> Data2.Cols");
  EXPECT_RAISES(HotellingT2(A, ByColumns(kSetosa, 10, mvSingle), h, p),
                "HotellingT2: Data1.FloatPrecision <> Data2.FloatPrecision");
  EXPECT_RAISES(HotellingT2(A, TMtx(0, 4), h, p), "HotellingT2: (Data1.Rows = 0) or (Data2.Rows = 0)");
  EXPECT_RAISES(HotellingT2(Small, Mtx({{1, 2}}), h, p), "HotellingT2: Data1.Rows + Data2.Rows - 2 < Data1.Cols");
  EXPECT_RAISES(HotellingT2(Dup, Dup, h, p), "HotellingT2: covariance matrix is singular");
  EXPECT_RAISES(BoxMTest(C, g3, h, p), "BoxMTest: Data.Complex = true");
  EXPECT_RAISES(BoxMTest(A, g3, h, p), "BoxMTest: Groups.Length <> Data.Rows");
  EXPECT_RAISES(BoxMTest(Small, TVecInt{4, 4}, h, p), "BoxMTest: fewer than 2 groups");
  EXPECT_RAISES(BoxMTest(Mtx({{1, 2}, {2, 1}, {3, 5}, {1, 1}, {0, 2}, {4, 4}}), TVecInt{1, 1, 2, 2, 2, 2}, h, p),
                "BoxMTest: a group has no more rows than Data.Cols");
}

// Columns equal up to sign (the sign of a rotated factor or an eigenvector is arbitrary).
void ExpectColumnsClose(const std::vector<double>& expected, const TMtx& actual, double tol) {
  const TMtx e = ByColumns(expected, actual.Rows());
  ASSERT_EQ(e.Cols(), actual.Cols());
  for (int j = 0; j < e.Cols(); ++j) {
    double dot = 0;
    for (int i = 0; i < e.Rows(); ++i) dot += e(i, j) * actual(i, j);
    const double s = dot < 0 ? -1.0 : 1.0;
    for (int i = 0; i < e.Rows(); ++i) EXPECT_NEAR(e(i, j), s * actual(i, j), tol) << i << "," << j;
  }
}

const std::vector<double> kLoadings{0.8, 0.7, 0.6, 0.3, 0.2, 0.4, 0.3, 0.4, 0.2, 0.7, 0.8, 0.5,
                                    0.1, -0.2, 0.3, 0.2, -0.1, 0.4};

struct TRotationCase {
  TRotationMethod method;
  bool normalize;
  std::vector<double> expected;
};

// R: L <- matrix(c(kLoadings), ncol=3); varimax(L, normalize=, eps=1e-14) (stats);
// GPArotation: quartimax(L, normalize=FALSE), cfT(L, kappa=3/(2*6)) (equamax: kappa = k/(2p)).
const TRotationCase kRotationCases[] = {
    {rotVarimax, true, {0.670415813866682, 0.727221515772614, 0.396071636785585, 0.198510285919622,
                        0.255315987825553, 0.184705322440279, 0.205439460166185, 0.346092148900182,
                        0.105629836945795, 0.641115729952163, 0.781768418686162, 0.412075638743705,
                        0.498334490803215, 0.203393931736017, 0.567423647798356, 0.411781844174818,
                        0.116841285107619, 0.605043479277481}},
    {rotQuartimax, false, {0.855486543014591, 0.764462882831564, 0.665240626718975, 0.602342204456923,
                           0.511318544273896, 0.634338621721583, -0.0762370591327546, 0.113868390049178,
                           -0.124809717837863, 0.462731088953502, 0.652836538135434, 0.203571379918692,
                           -0.0482771740653158, -0.304352576004316, 0.178542552059107, 0.207518211359582,
                           -0.0485571905794181, 0.35520867989164}},
    {rotEquamax, false, {0.713959237875894, 0.734263053638456, 0.45182146164603, 0.222612167875148,
                         0.24291598363771, 0.236679744740444, 0.196333425061638, 0.358566570785072,
                         0.0819008588569046, 0.618889596482466, 0.7811227422059, 0.376992064486095,
                         0.437853163577973, 0.149290931998442, 0.528346113939098, 0.432919727062302,
                         0.144357495482771, 0.609802986007867}},
};

TEST_P(HotellingP, OrthomaxRotationsMatchR) {
  const double tol = GetParam() == mvSingle ? 2e-5 : 1e-6;  // the references converge to ~1e-7
  for (const auto& c : kRotationCases) {
    SCOPED_TRACE(testing::Message() << c.method << " normalize " << c.normalize);
    TMtx L = ByColumns(kLoadings, 6, GetParam()), B, T;
    OrthoRotate(L, B, T, c.method, c.normalize);
    EXPECT_EQ(B.FloatPrecision(), GetParam());
    ExpectColumnsClose(c.expected, B, tol);
    // Rotated = L * T (which makes T the orthogonal rotation that gives the reference).
    TMtx LT;
    Kalix::Mul(LT, L, T);
    ExpectAllClose(B.ToVector(), LT, 1e-5);
  }
}

// A non-finite loading (an infinite row normalises to NaN) gives NaN throughout, the same on
// every call (the SVD of NaN once left the first call's RotMtx at zero).
TEST_P(HotellingP, NonFiniteLoadingsGiveNaN) {
  TMtx L(1, 4, GetParam()), B, T;
  L.SetVal(-INFINITY);
  for (int call = 0; call < 2; ++call) {
    OrthoRotate(L, B, T, rotVarimax, true, 83);
    ExpectAllClose(std::vector<double>(16, kNaN), T, 0);
    ExpectAllClose(std::vector<double>(4, kNaN), B, 0);
  }
}

// R: X <- as.matrix(USArrests[1:8, ])
TMtx Arrests() {
  return ByColumns({13.2, 10, 8.1, 8.8, 9, 7.9, 3.3, 5.9, 236, 263, 294, 190, 276, 204, 110, 238,
                    58, 48, 80, 50, 91, 78, 77, 72, 21.2, 44.5, 31, 19.5, 40.6, 38.7, 11.1, 15.8},
                   8);
}

// R: m <- cmdscale(dist(X), k=2, eig=TRUE); m$points; m$eig; m$GOF
//    m <- cmdscale(as.matrix(dist(X, "manhattan")), k=3, eig=TRUE): m$eig, m$GOF (negative eigenvalues)
INSTANTIATE_TEST_SUITE_P(Precisions, HotellingP, testing::ValuesIn(kRealPrecisions), PrecisionName);

TEST(ClassicalMDS, MatchesCmdscale) {
  TMtx D, X;
  TVec eig;
  TTwoElmReal gof;
  PairwiseDistance(Arrests(), D);
  ClassicalMDS(D, X, eig, &gof, 2);
  ExpectColumnsClose({-8.47123896961245, -38.0829299243006, -67.6296114250313, 37.6087749398094, -51.4415194418593,
                      20.4288933989271, 117.432383907907, -9.84475248583974, 12.1790768668879, 21.6364843413941,
                      -8.95297713879373, 18.5155988327907, -20.6993957243242, -9.80124931878668, -10.7327888453124,
                      -2.14474901385557},
                     X, 1e-9);
  ExpectAllClose({24461.1092850668, 1683.77274406124, 649.443026285585, 24.7649445862926, 0, 0, 0, 0}, eig, 1e-11);
  ExpectAllClose({0.974860893085042, 0.974860893085042}, {gof[0], gof[1]}, 1e-12);

  PairwiseDistance(Arrests(), D, dmCityBlock);
  ClassicalMDS(D, X, eig, &gof, 3);
  ExpectAllClose({37610.2247863168, 9070.03399795539, 3147.63660125701, 715.459440835736, 0, -90.9326720750673,
                  -1247.32669966761, -2059.86545462228},
                 eig, 1e-11);
  ExpectAllClose({0.923739869694277, 0.985844638859181}, {gof[0], gof[1]}, 1e-12);
}

TEST(ClassicalMDS, SinglePrecisionNaNAndMessages) {
  TMtx D, X, B, T;
  TVec eig;
  PairwiseDistance(ByColumns({0, 1, 2, 4, 7}, 5, mvSingle), D);  // points on a line
  ClassicalMDS(D, X, eig, nullptr, 1);
  EXPECT_EQ(X.FloatPrecision(), mvSingle);
  ExpectColumnsClose({-2.8, -1.8, -0.8, 1.2, 4.2}, X, 1e-5);
  D(1, 2) = NAN;
  D(2, 1) = NAN;
  ClassicalMDS(D, X, eig, nullptr, 2);
  EXPECT_TRUE(std::isnan(X(0, 0)) && std::isnan(eig[4]));
  const TMtx C = ComplexMtx();
  EXPECT_RAISES(ClassicalMDS(C, X, eig, nullptr, 0), "ClassicalMDS: D.Complex = true");
  EXPECT_RAISES(OrthoRotate(C, B, T, TRotationMethod(7), true, 0), "OrthoRotate: Loadings.Complex = true");
  EXPECT_RAISES(OrthoRotate(Mtx({{1, 0}}), B, T, TRotationMethod(3), true, 0), "OrthoRotate: Method out of range");
  EXPECT_RAISES(OrthoRotate(Mtx({{1, 0}}), B, T, rotVarimax, true, 0), "OrthoRotate: MaxIter < 1");
  EXPECT_RAISES(ClassicalMDS(Mtx({{0, 1}}), X, eig, nullptr, 0), "ClassicalMDS: D is not square");
  EXPECT_RAISES(ClassicalMDS(Mtx({{0, -1}, {2, 0}}), X, eig, nullptr, 2), "ClassicalMDS: (K < 1) or (K >= D.Rows)");
  EXPECT_RAISES(ClassicalMDS(Mtx({{0, -1, 1}, {2, 0, 1}, {1, 1, 0}}), X, eig), "ClassicalMDS: D is not symmetric");
  EXPECT_RAISES(ClassicalMDS(Mtx({{0, -1, 1}, {-1, 0, 1}, {1, 1, 0}}), X, eig), "ClassicalMDS: D has a negative element");
}

// R: pr <- prcomp(X, scale.=TRUE); E <- scale(X) - pr$x[,1:2] %*% t(pr$rotation[,1:2]);
//    E[,1]; rowSums(E^2); rowSums(pr$x[,1:2]^2 / rep(pr$sdev[1:2]^2, each=8))
//    and prcomp(X) with k = 1 on the centred data: rowSums(E^2), pr$x[,1]^2/pr$sdev[1]^2
TEST(PCAResiduals, MatchPrcompInBothModes) {
  TMtx E;
  TVec Q, T2;
  // Every row goes through the same arithmetic: rows 0 and 6 stand for the rest.
  PCAResiduals(Arrests(), 2, E, Q, T2, PCACorrMat);
  ExpectAllClose({0.705029200939327, 0.02070337232095, 1.11667931162207, 0.130451129908436, 1.83894708570076,
                  4.18065295280765},
                 {E(0, 0), E(6, 0), Q[0], Q[6], T2[0], T2[6]}, 1e-12);
  PCAResiduals(Arrests(), 1, E, Q, T2, PCACovMat);
  ExpectAllClose({215.25686031972, 116.478959705938, 0.0205359954002017, 3.9463685970689}, {Q[0], Q[6], T2[0], T2[6]},
                 1e-11);
  EXPECT_RAISES(PCAResiduals(ComplexMtx(), -1, E, Q, T2, PCACorrMat), "PCAResiduals: Data.Complex = true");
  EXPECT_RAISES(PCAResiduals(Arrests(), 5, E, Q, T2, PCACorrMat),
                "PCAResiduals: (NumComp < 0) or (NumComp > Data.Cols)");
}

// Distances, scaling and rotation from several threads at once give the single-threaded
// numbers and leave no scratch borrowed.
TEST(ClassicalMDS, ConcurrentCallsAgree) {
  const int mismatches = ConcurrentMismatches([](int t) {
    Kalix::TMtx D, X, B, T;
    Kalix::TVec eig;
    PairwiseDistance(Arrests(), D, t % 2 ? dmCityBlock : dmMahalanobis);
    ClassicalMDS(D, X, eig, nullptr, 2);
    OrthoRotate(X, B, T, rotEquamax, true);
    std::vector<double> out(B.Span<double>().begin(), B.Span<double>().end());
    out.push_back(Kalix::ScratchOutstanding());
    return out;
  });
  EXPECT_EQ(mismatches, 0);
}

// Equidistant points (a regular simplex): one eigenvalue of multiplicity n - 1, whose vectors
// must still give back every distance.
TEST(ClassicalMDS, MultipleEigenvalueStillReproducesTheDistances) {
  const int n = 6;
  Kalix::TMtx D(n, n), X, E;
  Kalix::TVec eig;
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j) D(i, j) = i == j ? 0 : 1;
  ClassicalMDS(D, X, eig, nullptr, n - 1);
  PairwiseDistance(X, E);
  ExpectAllClose(D.ToVector(), E, 1e-12);
  EXPECT_NEAR(0.5, eig[4], 1e-14);
}

}  // namespace
