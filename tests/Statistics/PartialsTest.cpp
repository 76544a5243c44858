// Mergeable moments, co-moments and histogram counts: merged over 1, 2 and 16 pieces (one of
// them empty, half of them sent through State()) they equal the in-memory routines.
#include <span>
#include <tuple>

#include "StatisticsTest.h"
#include "support/Pieces.h"

namespace {

std::vector<double> Slice(const std::vector<double>& x, std::pair<int, int> s, int cols = 1) {
  return {x.begin() + s.first * cols, x.begin() + (s.first + s.second) * cols};
}

TMtx RowsOf(const std::vector<double>& x, int cols, TMtxFloatPrecision p = mvDouble) {
  const int rows = static_cast<int>(x.size()) / cols;
  TMtx A(rows, cols, p);
  for (int i = 0; i < rows; ++i)
    for (int j = 0; j < cols; ++j) A(i, j) = x[static_cast<std::size_t>(i * cols + j)];
  return A;
}

// Each piece in its own partial, every other one rebuilt from its state, all merged.
template <class P, class Make, class AddPiece>
P MergedOver(int n, int k, Make make, AddPiece add) {
  P total = make();
  int i = 0;
  for (const auto& s : Pieces(n, k)) {
    P part = make();
    add(part, s);
    if (i++ % 2) part = P(std::span<const double>(part.State()));
    total.Merge(part);
  }
  return total;
}

std::vector<double> Normal(int n, double mu, double sigma, unsigned seed) {
  Kalix::TRngStream g(Kalix::brgXoshiro256PlusPlus, seed);
  TVec v(n);
  g.RandomGaussian(v, mu, sigma);
  return {v.begin(), v.end()};
}

// SmLs03 responses (NIST StRD: 1 plus one digit after the point) on top of 1e9, as the
// harder SmLs files put them on a large offset.
std::vector<double> SmLs03() {
  std::vector<double> y;
  for (const auto& row : LoadNist("SmLs03.dat").data) y.push_back(row.at(1) + 1e9);
  return y;
}

class MomentsPartialT : public testing::TestWithParam<int> {};

// The reference is the in-memory routines on x - x[0], an exact subtraction for the offset
// data (Sterbenz), so it holds the digits the data hold.
TEST_P(MomentsPartialT, MergedEqualsInMemory) {
  const int k = GetParam();
  const std::tuple<const char*, std::vector<double>, TMtxFloatPrecision> cases[]{
      {"normal", Normal(5000, 2.0, 3.0, 1), mvDouble},
      {"SmLs03+1e9", SmLs03(), mvDouble},
      {"single", Normal(2000, -1.0, 0.25, 3), mvSingle}};
  for (const auto& [name, x, prec] : cases) {
    SCOPED_TRACE(name);
    const int n = static_cast<int>(x.size());
    const TMomentsPartial m = MergedOver<TMomentsPartial>(
        n, k, [] { return TMomentsPartial(); }, [&](TMomentsPartial& p, auto s) { p.Add(Vec(Slice(x, s), prec)); });
    const TVec stored = Vec(x, prec);  // the values as the partial saw them
    std::vector<double> d(stored.size());
    for (std::size_t i = 0; i < d.size(); ++i) d[i] = stored.Values(static_cast<int>(i)) - stored.Values(0);
    const TVec dv = Vec(d);
    const double md = Kalix::Mean(dv), m2 = Moment(dv, md, 2);
    double var, mean, variance, skew, kurt;
    Covariance(dv, var);
    m.Finish(mean, variance, skew, kurt);
    EXPECT_EQ(n, m.Count());
    EXPECT_CLOSE(stored.Values(0) + md, mean, 1e-15);
    EXPECT_CLOSE(var, variance, 1e-13);
    EXPECT_CLOSE(Moment(dv, md, 3) / std::pow(m2, 1.5), skew, 1e-11);
    EXPECT_CLOSE(Moment(dv, md, 4) / (m2 * m2), kurt, 1e-13);
  }
}

TEST_P(MomentsPartialT, ComomentsMergedEqualCovarianceAndCorrCoef) {
  const int k = GetParam();
  for (const double offset : {0.0, 1e9}) {
    SCOPED_TRACE(offset);
    std::vector<double> x = Normal(3 * 1500, 0.0, 1.0, 4);
    for (std::size_t i = 0; i < x.size(); i += 3) {
      x[i + 1] = 0.5 * x[i] - x[i + 1] + offset;  // correlated with column 0
      x[i + 2] = 2.0 * x[i + 2] + offset;
    }
    const TComomentsPartial c = MergedOver<TComomentsPartial>(
        1500, k, [] { return TComomentsPartial(3); },
        [&](TComomentsPartial& p, auto s) { p.Add(RowsOf(Slice(x, s, 3), 3)); });
    std::vector<double> d(x.size());
    for (std::size_t i = 0; i < x.size(); ++i) d[i] = x[i] - x[i % 3];  // exact, as above
    TMtx cov, corr, wantCov, wantCorr;
    TVec mean;
    Covariance(RowsOf(d, 3), wantCov);
    CorrCoef(RowsOf(d, 3), wantCorr);
    c.Finish(mean, cov, corr);
    ExpectAllClose(wantCov.ToVector(), cov, 1e-13);
    ExpectAllClose(wantCorr.ToVector(), corr, 1e-13);
    TVec col;
    RowsOf(d, 3).GetCol(col, 2);
    EXPECT_CLOSE(Kalix::Mean(col) + x[2], mean[2], 1e-14);
  }
}

INSTANTIATE_TEST_SUITE_P(Splits, MomentsPartialT, testing::Values(1, 2, 16));

// Counted as Histogram counts: NaN and values outside not counted, Max in the last bin, equal
// limits widened, single precision binned in single.
TEST(HistogramPartial, MergedCountsEqualHistogram) {
  const std::vector<double> x{0.5, 1, 2, 2.5, kNaN, 4, -1, 4.5, 3.999, 1.25, 7, 0, 2, 3, kNaN, 4, 0.75};
  struct TCase {
    double lo, hi;
    int bins;
    TMtxFloatPrecision p;
  };
  for (const TCase c :
       {TCase{0, 4, 4, mvDouble}, TCase{0, 4, 7, mvSingle}, TCase{2, 2, 3, mvDouble}, TCase{-0.1, 0.3, 3, mvSingle}}) {
    SCOPED_TRACE(c.bins);
    const THistogramPartial h = MergedOver<THistogramPartial>(
        static_cast<int>(x.size()), 16, [&] { return THistogramPartial(c.lo, c.hi, c.bins); },
        [&](THistogramPartial& p, auto s) { p.Add(Vec(Slice(x, s), c.p)); });
    TVecInt want;
    TVec wantEdges, counts, edges;
    Histogram(Vec(x, c.p), c.bins, want, wantEdges, false, c.lo, c.hi);
    h.Finish(counts, edges);
    ASSERT_EQ(c.bins, counts.Length());
    for (int i = 0; i < c.bins; ++i) EXPECT_EQ(want[i], counts[i]) << i;
    for (int i = 0; i <= c.bins; ++i) EXPECT_CLOSE(wantEdges[i], edges[i], kTolSingle);
  }
}

// (Merging with an empty partial, either way round, is part of every merge above.)
TEST(Partials, EmptyFinishesToNaN) {
  double mean, var, skew, kurt;
  TMomentsPartial().Finish(mean, var, skew, kurt);
  EXPECT_TRUE(std::isnan(mean) && std::isnan(var) && std::isnan(skew) && std::isnan(kurt));
  TVec m;
  TMtx cov, corr;
  TComomentsPartial(2).Finish(m, cov, corr);
  EXPECT_TRUE(std::isnan(m[1]) && std::isnan(cov.Values(1, 1)) && std::isnan(corr.Values(0, 0)));
}

TEST(Partials, Messages) {
  const std::vector<double> wrongTag{9, 1, 0, 0, 0, 0, 0};
  const std::span<const double> bad(wrongTag);
  TMomentsPartial m;
  TComomentsPartial c(2);
  THistogramPartial h(0, 1, 2);
  EXPECT_RAISES(m.Add(ComplexVec()), "TMomentsPartial.Add: X.Complex");
  EXPECT_RAISES(TMomentsPartial{bad}, "TMomentsPartial: State is not a moments state");
  EXPECT_RAISES(TComomentsPartial(0), "TComomentsPartial: Cols < 1");
  EXPECT_RAISES(c.Add(ComplexMtx()), "TComomentsPartial.Add: X.Complex");  // before the width
  EXPECT_RAISES(c.Add(Mtx({{1, 2, 3}})), "TComomentsPartial.Add: X.Cols <> Cols");
  EXPECT_RAISES(c.Merge(TComomentsPartial(3)), "TComomentsPartial.Merge: Other.Cols <> Cols");
  const std::vector<double> three{1, 2, 3};
  EXPECT_RAISES(c.Add(std::span<const double>(three)), "TComomentsPartial.Add: X.Length mod Cols <> 0");
  EXPECT_RAISES(TComomentsPartial{std::span<const double>(TMomentsPartial().State())},
                "TComomentsPartial: State is not a comoments state");
  EXPECT_RAISES(THistogramPartial(kNaN, 1, 0), "THistogramPartial: NumBins <= 0");
  EXPECT_RAISES(THistogramPartial(1, 0, 2), "THistogramPartial: Min > Max or not finite");
  EXPECT_RAISES(THistogramPartial(0, kNaN, 2), "THistogramPartial: Min > Max or not finite");
  EXPECT_RAISES(h.Add(ComplexVec()), "THistogramPartial.Add: Data.Complex");
  EXPECT_RAISES(h.Merge(THistogramPartial(0, 1, 3)), "THistogramPartial.Merge: different bins");
  EXPECT_RAISES(THistogramPartial{bad}, "THistogramPartial: State is not a histogram state");
}

// Partials are plain values: built on several threads at once they give the same numbers.
TEST(Partials, ConcurrentPartialsAgree) {
  const std::vector<double> x = Normal(20000, 5.0, 2.0, 6);
  const auto work = [&](int) {
    TMomentsPartial a;
    for (const auto& s : Pieces(20000, 16)) a.Add(Vec(Slice(x, s)));
    double mean, var, skew, kurt;
    a.Finish(mean, var, skew, kurt);
    return std::vector<double>{mean, var, skew, kurt, static_cast<double>(Kalix::ScratchOutstanding())};
  };
  EXPECT_EQ(0, ConcurrentMismatches(work, 4, 5));
}

}  // namespace
