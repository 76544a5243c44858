#include <stdexcept>

#include "support/TestSupport.h"

using namespace Kalix;
using namespace KalixTest;

namespace {

TEST(Scratch, BorrowedObjectsReturnOnEveryPath) {
  EXPECT_EQ(0, ScratchOutstanding());
  {
    TVecScratch a;
    TMtxScratch b;
    TVecIntScratch c;
    EXPECT_TRUE(ScratchOutstanding() == 3 && a->Length() == 0);  // arrives empty
    a->Size(10, mvSingle);
  }
  EXPECT_EQ(0, ScratchOutstanding());
  try {
    TVecScratch a;
    a->Size(5);
    throw std::runtime_error("boom");
  } catch (const std::runtime_error&) {
  }
  EXPECT_EQ(0, ScratchOutstanding());
  {
    TVecScratch again;  // the pooled object comes back empty, whatever it held
    EXPECT_EQ(0, again->Length());
  }
  // Library routines return theirs when they raise midway.
  std::vector<double> p{0.5}, out(1);
  EXPECT_ANY_THROW(Statistics::Percentile(TVec(), p, out));
  EXPECT_EQ(0, ScratchOutstanding());
}

TEST(Scratch, ConcurrentCallsGiveTheSameResults) {
  // Each thread ranks, summarises and fits its own data and evaluates quantiles by iteration while
  // the others do the same; the pool is per thread, so every result matches the single-threaded one.
  constexpr int kThreads = 6;
  std::vector<TVec> data;
  for (int t = 0; t < kThreads; ++t) {
    std::vector<double> v(50000 + 1000 * t);
    for (std::size_t i = 0; i < v.size(); ++i) v[i] = std::round(std::sin(double(i) * (t + 1.3)) * 1000.0);
    data.push_back(Vec(v, t % 2 ? mvSingle : mvDouble));
  }
  TMtx A(20000, 3);  // a least-squares fit spanning several row blocks
  for (int i = 0; i < A.Length(); ++i) A.Values(i) = std::sin(0.7 * i);
  const auto work = [&](int t) {
    const TVec& x = data[static_cast<std::size_t>(t)];
    TVec r;
    double tieSum = 0;
    Statistics::TiedRanks(x, r, tieSum);
    std::vector<double> out = r.ToVector();
    out.push_back(tieSum);
    out.push_back(Median(x));
    out.push_back(Statistics::Percentile(x, 0.3, Statistics::pctMethodNMinus));
    for (int i = 1; i < 60; ++i) {
      const double p = i / 60.0;
      for (double v : {StudentCDFInv(p, 2.5), GammaCDFInv(p, 0.7, 2), FCDF(p * 5, 3, 8), PoissonCDFInv(p, 7.5 + i),
                       PoissonCDFInv(p, 2e9)})
        out.push_back(v);
    }
    TVec b, y(A.Rows());
    for (int i = 0; i < A.Rows(); ++i) y[i] = A(i, 1) - 2 * A(i, 2) + 0.01 * (t + 1) * A(i, 0) * A(i, 0);
    LQRSolve(b, A, y);
    for (int i = 0; i < 3; ++i) out.push_back(b[i]);
    out.push_back(ScratchOutstanding());
    return out;
  };
  EXPECT_EQ(0, ConcurrentMismatches(work, kThreads, 5));
}

}  // namespace
