// MulLinRegress's paths: corrected normal equations, the QR fallback, and refinement where double falls short.

#include "support/TestSupport.h"

namespace {

using namespace KalixTest;
using namespace Regress;

// x1 = (7i mod 13) - 6, x2 = (i^2 mod 17)/4, x3 = i/8, y = 3 + 2x1 - x2 + x3/2 + ((5i mod 9) - 4)/10,
// w = 1 + (i mod 3), i = 0..39.
struct TSmallDesign {
  TMtx A;
  TVec y, w;
  explicit TSmallDesign(TMtxFloatPrecision p) : A(40, 3, p), y(40, p), w(40, p) {
    for (int i = 0; i < 40; ++i) {
      const double x1 = (i * 7) % 13 - 6, x2 = ((i * i) % 17) / 4.0, x3 = i / 8.0;
      A(i, 0) = x1, A(i, 1) = x2, A(i, 2) = x3, w[i] = 1 + i % 3;
      y[i] = 3 + 2 * x1 - x2 + 0.5 * x3 + ((i * 5) % 9 - 4) / 10.0;
    }
  }
};

struct TRCase {
  bool constant, weighted;
  std::vector<double> b, v;  // coefficients and (M^T W M)^-1, row-major
};

// R: coef(f) and summary(f)$cov.unscaled of f = lm(y ~ x1 + x2 + x3) (0 + ... without constant,
// weights = w for the weighted cases). The plain fit with a constant is pinned with the linear regressions.
const std::vector<TRCase> kRCases{
    {true, true,
     {3.0272334548024578, 1.9945050314884945, -1.0186276574701409, 0.50463226961580021},
     {0.075494370381552642, 0.0004852309934020193, -0.012907873100709982, -0.015693051397033128,
      0.0004852309934020193, 0.00089783071104574666, 9.5585387505293655e-05, -0.00024414936417660053,
      -0.012907873100709982, 9.5585387505293655e-05, 0.0066816282231352275, 0.00011926296045604321,
      -0.015693051397033128, -0.00024414936417660053, 0.00011926296045604321, 0.0063114992492953742}},
    {false, false,
     {1.9641964720763998, -0.5034100195268989, 1.1182119209942532},
     {0.0017208644848564611, 0.00014336652671958762, -0.00011067989731756868, 0.00014336652671958762,
      0.0084487469187692482, -0.0049842236142390289, -0.00011067989731756868, -0.0049842236142390289,
      0.0060566430644413928}},
    {false, true,
     {1.975047852243079, -0.50103747050221115, 1.1339047565169103},
     {0.00089471194714629376, 0.00017854919070955431, -0.00014328416217006731, 0.00017854919070955431,
      0.0044746664703322024, -0.0025639028831963263, -0.00014328416217006731, -0.0025639028831963263,
      0.0030493770419671713}}};

class LeastSquaresPath : public testing::TestWithParam<TMtxFloatPrecision> {};

TEST_P(LeastSquaresPath, MatchesRWithAndWithoutConstantAndWeights) {
  const TSmallDesign d(GetParam());
  const double tol = GetParam() == Kalix::mvSingle ? 1e-4 : 1e-11;
  for (const TRCase& c : kRCases) {
    SCOPED_TRACE(std::string(c.constant ? "constant" : "no constant") + (c.weighted ? ", weighted" : ""));
    TVec b, yc;
    TMtx v;
    if (c.weighted)
      MulLinRegress(d.y, d.A, b, d.w, c.constant, &yc, &v);
    else
      MulLinRegress(d.y, d.A, b, c.constant, &yc, &v);
    ASSERT_TRUE(b.FloatPrecision() == GetParam() && yc.FloatPrecision() == GetParam());
    ExpectAllClose(c.b, b, tol);
    ExpectAllClose(c.v, v, tol);
    // Fitted values on the data's own scale (unweighted), from R's coefficients.
    for (int i = 0; i < 40; i += 13) {
      double f = c.constant ? c.b[0] : 0.0;
      for (int j = 0; j < 3; ++j) f += c.b[static_cast<std::size_t>(j + c.constant)] * d.A(i, j);
      EXPECT_CLOSE(f, yc[i], tol) << "row " << i;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Precisions, LeastSquaresPath, testing::ValuesIn(kRealPrecisions), PrecisionName);

// A column repeated: the Gram matrix is singular, so the QR path must answer with its
// minimum-norm solution, which splits the slope equally between the copies.
TEST(LeastSquaresPathFallback, RepeatedColumnGivesMinimumNormSplit) {
  const TSmallDesign d(Kalix::mvDouble);
  TMtx A(40, 2);
  for (int i = 0; i < 40; ++i) A(i, 0) = A(i, 1) = d.A(i, 0);
  TVec b;
  MulLinRegress(d.y, A, b, true);
  // R: coef(lm(y ~ x1))
  const double b0 = 2.2717056014455341, b1 = 2.0030373429702282;
  ExpectAllClose({b0, b1 / 2, b1 / 2}, b, 1e-10);
}

// y = (i^3 mod 11) on [1 x .. x^10], x = i = 1..21: the normal matrix's condition number is
// about 1e30, far beyond double; refinement in double-double still recovers B and V.
TEST(LeastSquaresPathFallback, DegreeTenPolynomialKeepsSevenDigits) {
  TMtx A(21, 10);
  TVec y(21);
  for (int i = 0; i < 21; ++i) {
    double xp = 1.0;
    for (int j = 0; j < 10; ++j) A(i, j) = xp *= (i + 1);
    y[i] = ((i + 1) * (i + 1) * (i + 1)) % 11;
  }
  TVec b;
  TMtx v;
  ASSERT_NO_THROW(MulLinRegress(y, A, b, true, nullptr, &v));
  // Exact rational arithmetic (Python fractions) on the same data.
  const std::vector<double> bx{3.2823234556980685,   -17.882457403287276,    26.505567232348938,
                               -13.894636630572901,  3.7499836676522285,     -0.59428275304935707,
                               0.05840524178340982,  -0.0036038979946127854, 0.00013591340134433796,
                               -2.864301309196885e-06, 2.5860725551202893e-08};
  const std::vector<double> vdiag{364.80274214949139,   1615.5617551591506,     995.48026142627532,
                                  161.0848339316432,    8.9023216757272685,     0.19138365633138399,
                                  0.0016942211788754707, 6.1693582033815035e-06, 8.626362072076861e-09,
                                  3.834504244438697e-12, 3.1634258642097008e-16};
  ASSERT_EQ(b.Length(), 11);
  std::string report = "degree 10:";
  for (int k = 0; k < 11; ++k) {
    const double lb = LRE(b[k], bx[static_cast<std::size_t>(k)]), lv = LRE(v(k, k), vdiag[static_cast<std::size_t>(k)]);
    char digits[32];
    std::snprintf(digits, sizeof digits, " %.1f/%.1f", lb, lv);
    report += digits;
    EXPECT_GE(lb, 7.0) << "B" << k;
    EXPECT_GE(lv, 7.0) << "V" << k << k;
  }
  EXPECT_CLOSE(-762.84190758174611, v(0, 1), 1e-7);
  std::printf("[ digits ] %s\n", report.c_str());
}

// The normal-equation path, the refinement and the QR path on four threads at once.
TEST(LeastSquaresPathThreads, ConcurrentCallsAgree) {
  const TSmallDesign d(Kalix::mvDouble);
  TMtx poly(21, 6);
  TVec py(21);
  for (int i = 0; i < 21; ++i) {
    double xp = 1.0;
    for (int j = 0; j < 6; ++j) poly(i, j) = xp *= i;
    py[i] = (i * i) % 7;
  }
  EXPECT_EQ(ConcurrentMismatches([&](int t) {
              TVec b;
              TMtx v;
              if (t % 2)
                MulLinRegress(d.y, d.A, b, d.w, true, nullptr, &v);
              else
                MulLinRegress(py, poly, b, true, nullptr, &v);
              std::vector<double> out = b.ToVector();
              out.push_back(v(1, 1));
              out.push_back(Kalix::ScratchOutstanding());
              return out;
            }),
            0);
}

}  // namespace
