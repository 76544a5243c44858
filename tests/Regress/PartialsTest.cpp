// Mergeable least squares and one-way ANOVA over 1, 2 and 16 pieces (one empty, half through State()).
#include <cstdio>
#include <span>
#include <utility>

#include "RegressData.h"
#include "support/Pieces.h"

namespace {

using namespace KalixTest;
using namespace Regress;

// Rows [s.first, s.first + s.second) of y and A, in precision p.
std::pair<TVec, TMtx> RowsOf(const TVec& y, const TMtx& A, std::pair<int, int> s, TMtxFloatPrecision p) {
  TVec ys(s.second, p);
  TMtx As(s.second, A.Cols(), p);
  for (int i = 0; i < s.second; ++i) {
    ys[i] = y[s.first + i];
    for (int j = 0; j < A.Cols(); ++j) As(i, j) = A(s.first + i, j);
  }
  return {std::move(ys), std::move(As)};
}

TLeastSquaresPartial MergedFit(const TVec& y, const TMtx& A, bool constant, int k, TMtxFloatPrecision p = mvDouble) {
  TLeastSquaresPartial total(A.Cols(), constant);
  int i = 0;
  for (const auto& s : Pieces(y.Length(), k)) {
    TLeastSquaresPartial part(A.Cols(), constant);
    const auto [ys, As] = RowsOf(y, A, s, p);
    part.Add(ys, As);
    if (i++ % 2) part = TLeastSquaresPartial(std::span<const double>(part.State()));
    total.Merge(part);
  }
  return total;
}

struct TInMemory {
  TVec b, sd;
  TRegStats st;
};

TInMemory InMemoryFit(const TVec& y, const TMtx& A, bool constant) {
  TInMemory r;
  TVec yc, res;
  TMtx v;
  MulLinRegress(y, A, r.b, constant, &yc, &v);
  RegressTest(y, yc, v, r.st, res, r.sd, constant);
  return r;
}

struct TFitCase {
  const char* name;
  double offset;
  bool constant;
  TMtxFloatPrecision p;
};

class LeastSquaresPartialT : public testing::TestWithParam<int> {};

// Offset data are compared on the same data less the offsets (exact subtractions): slopes,
// their errors and the fit do not move; the intercept moves by y0 - sum b_j a0_j.
TEST_P(LeastSquaresPartialT, MergedEqualsMulLinRegress) {
  for (const TFitCase c : {TFitCase{"constant", 0, true, mvDouble}, TFitCase{"no constant", 0, false, mvDouble},
                           TFitCase{"offset 1e9", 1e9, true, mvDouble}, TFitCase{"single", 0, true, mvSingle}}) {
    SCOPED_TRACE(c.name);
    TMtx A(800, 3);
    TVec y(800);
    Kalix::TRngStream(Kalix::brgXoshiro256PlusPlus, 7).RandomGaussian(A, 0.0, 1.0);
    Kalix::TRngStream(Kalix::brgXoshiro256PlusPlus, 8).RandomGaussian(y, 0.0, 0.3);
    for (int i = 0; i < 800; ++i) {
      A(i, 1) = A(i, 1) + 0.5 * A(i, 0) + c.offset;
      y[i] = y[i] + 1.5 + 2.0 * A(i, 0) - (A(i, 1) - c.offset) + c.offset;
    }
    const auto [ys, As] = RowsOf(y, A, {0, 800}, c.p);  // the values as the partial sees them
    TMtx Ad(800, 3);
    TVec yd(800);
    for (int i = 0; i < 800; ++i) {
      yd[i] = ys[i] - c.offset;
      for (int j = 0; j < 3; ++j) Ad(i, j) = As(i, j) - (j == 1 ? c.offset : 0.0);
    }
    const TInMemory want = InMemoryFit(yd, Ad, c.constant);
    TVec b, sd;
    TLeastSquaresStats st;
    MergedFit(y, A, c.constant, GetParam(), c.p).Finish(b, sd, st);
    const double b0 = c.constant ? want.b[0] + c.offset - want.b[2] * c.offset : want.b[0];
    EXPECT_CLOSE(b0, b[0], 1e-12);
    for (int j = 1; j < b.Length(); ++j) EXPECT_CLOSE(want.b[j], b[j], 1e-12);
    for (int j = c.offset ? 1 : 0; j < b.Length(); ++j) EXPECT_CLOSE(want.sd[j], sd[j], 1e-11);
    ExpectAllClose({want.st.SSE, want.st.SST, want.st.R2, want.st.AdjustedR2, want.st.FStats.F,
                    static_cast<double>(want.st.dfE), static_cast<double>(want.st.dfT)},
                   {st.SSE, st.SST, st.R2, st.AdjustedR2, st.F, st.dfE, st.dfT}, 1e-12);
  }
}

INSTANTIATE_TEST_SUITE_P(Splits, LeastSquaresPartialT, testing::Values(1, 2, 16));

// Certified NIST StRD fits over 16 pieces: at least the digits MulLinRegress reaches (less half
// a digit), and at least 9.
TEST(LeastSquaresPartial, CertifiedDigits) {
  for (const auto& [name, degree] :
       {std::pair{"Norris", 1}, std::pair{"Pontius", 2}, std::pair{"Wampler1", 5}, std::pair{"Wampler3", 5}}) {
    SCOPED_TRACE(name);
    const TNistFile f = LoadNist(std::string(name) + ".dat");
    const auto [y, A] = NistPolynomial(f, degree);
    const TInMemory mem = InMemoryFit(y, A, true);
    TVec b, sd;
    TLeastSquaresStats st;
    MergedFit(y, A, true, 16).Finish(b, sd, st);
    std::string report = std::string(name) + ":";
    for (int k = 0; k <= degree; ++k) {
      const std::vector<double> cert = f.NumbersAfter(std::string(1, 'B') += std::to_string(k));
      for (const auto& [ours, theirs, certified] :
           {std::tuple{b[k], mem.b[k], cert.at(0)}, std::tuple{sd[k], mem.sd[k], cert.at(1)}}) {
        const double lre = LRE(ours, certified);
        EXPECT_GE(lre, std::min(9.0, LRE(theirs, certified) - 0.5)) << k;
        char buf[16];
        std::snprintf(buf, sizeof buf, " %.1f", lre);
        report += buf;
      }
    }
    EXPECT_GE(LRE(st.R2, f.NumbersAfter("R-Squared").at(0)), 9.0);
    std::printf("[ digits ] %s\n", report.c_str());
  }
}

class Anova1PartialT : public testing::TestWithParam<int> {};

// SmLs01-03 over pieces give ANOVA1's table (which the certified values pin); on top of 1e9 (as
// the harder SmLs files are) that of the data less x[0] (exact).
TEST_P(Anova1PartialT, SmLsEqualToAnova1) {
  for (const double offset : {0.0, 1e9})
    for (const char* name : {"SmLs01", "SmLs02", "SmLs03"}) {
      SCOPED_TRACE(std::string(name) + (offset ? "+1e9" : ""));
      const TNistFile f = LoadNist(std::string(name) + ".dat");
      TVec x;
      TVecInt g;
      NistGroups(f, x, g, offset);
      TVec d = x;
      Kalix::Sub(d, offset ? x[0] : 0.0);
      TAnova1Partial total;
      int i = 0;
      for (const auto& [start, len] : Pieces(x.Length(), GetParam())) {
        TVec xs(len);
        TVecInt gs(len);
        for (int j = 0; j < len; ++j) xs[j] = x[start + j], gs[j] = g[start + j];
        TAnova1Partial part;
        part.Add(xs, gs);
        if (i++ % 2) part = TAnova1Partial(std::span<const double>(part.State()));
        total.Merge(part);
      }
      double p, pMem;
      const TANOVA1Result r = total.Finish(p), mem = ANOVA1(d, g, pMem);
      ExpectAllClose({mem.SS1, mem.SS2, mem.SSTotal, mem.Deg1, mem.Deg2, mem.DegTotal, mem.MS1, mem.MS2, mem.FDist,
                      mem.FCrit, pMem},
                     {r.SS1, r.SS2, r.SSTotal, r.Deg1, r.Deg2, r.DegTotal, r.MS1, r.MS2, r.FDist, r.FCrit, p}, 1e-12);
    }
}

INSTANTIATE_TEST_SUITE_P(Splits, Anova1PartialT, testing::Values(1, 2, 16));

// A group number below the largest that never occurs: NaN between and within sums, as ANOVA1.
TEST(Anova1Partial, MissingGroupGivesNaNAsAnova1) {
  const TVec x = Vec({1, 2, 3, 5, 8, 13});
  const TVecInt g({0, 0, 0, 2, 2, 2});
  TAnova1Partial a;
  a.Add(x, g);
  double p, pMem;
  const TANOVA1Result r = a.Finish(p), mem = ANOVA1(x, g, pMem);
  EXPECT_TRUE(std::isnan(r.SS1) && std::isnan(r.SS2) && std::isnan(p));
  ExpectAllClose({mem.SSTotal, mem.Deg1, mem.Deg2}, {r.SSTotal, r.Deg1, r.Deg2}, 1e-14);
}

TEST(RegressPartials, Messages) {
  const std::vector<double> wrongTag{1, 1, 0, 0, 0, 0, 0};
  const std::span<const double> bad(wrongTag);
  TLeastSquaresPartial ls(2);
  TAnova1Partial a;
  TVecInt g(2), g16(2, Kalix::prInt16), neg(2);
  neg[1] = -1;
  EXPECT_RAISES(TLeastSquaresPartial(-1), "TLeastSquaresPartial: NumRegressors < 0");
  EXPECT_RAISES(TLeastSquaresPartial(0, false), "TLeastSquaresPartial: no parameters");
  EXPECT_RAISES(TLeastSquaresPartial(5000), "TLeastSquaresPartial: NumRegressors too large");
  EXPECT_RAISES(TLeastSquaresPartial{bad}, "TLeastSquaresPartial: State is not a least-squares state");
  EXPECT_RAISES(ls.Add(ComplexVec(), Mtx({{1, 2, 3}})), "TLeastSquaresPartial.Add: Y.Complex or A.Complex");
  EXPECT_RAISES(ls.Add(Vec({1, 2}), Mtx({{1, 2, 3}})), "TLeastSquaresPartial.Add: Y.Length <> A.Rows");
  EXPECT_RAISES(ls.Add(Vec({1}), Mtx({{1, 2, 3}})), "TLeastSquaresPartial.Add: A.Cols <> NumRegressors");
  EXPECT_RAISES(ls.Merge(TLeastSquaresPartial(2, false)), "TLeastSquaresPartial.Merge: different models");
  TVec b, sd;
  TLeastSquaresStats st;
  ls.Add(Vec({1, 2}), Mtx({{1, 2}, {3, 4}}));  // two rows for three parameters
  EXPECT_RAISES(ls.Finish(b, sd, st), "TLeastSquaresPartial.Finish: singular system");
  EXPECT_RAISES(a.Add(ComplexVec(), g), "TAnova1Partial.Add: Data.Complex");
  EXPECT_RAISES(a.Add(Vec({1}), g), "TAnova1Partial.Add: Data.Length <> GroupIndex.Length");
  EXPECT_RAISES(a.Add(Vec({1, 2}), g16), "TAnova1Partial.Add: GroupIndex.IntPrecision <> prInt32");
  EXPECT_RAISES(a.Add(Vec({1, 2}), neg), "TAnova1Partial.Add: GroupIndex < 0");
  neg[1] = 1 << 20;
  EXPECT_RAISES(a.Add(Vec({1, 2}), neg), "TAnova1Partial.Add: GroupIndex too large");
  EXPECT_RAISES(TAnova1Partial{bad}, "TAnova1Partial: State is not an ANOVA state");
}

}  // namespace
