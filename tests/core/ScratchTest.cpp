#include <stdexcept>
#include <thread>
#include <vector>

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
    EXPECT_EQ(3, ScratchOutstanding());
    EXPECT_EQ(0, a->Length());  // arrives empty
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
  // Each thread ranks and summarises its own data while the others do the same; the pool is
  // per thread, so nothing is shared and every result matches the single-threaded one.
  constexpr int kThreads = 6;
  std::vector<TVec> data;
  for (int t = 0; t < kThreads; ++t) {
    std::vector<double> v(50000 + 1000 * t);
    for (std::size_t i = 0; i < v.size(); ++i) v[i] = std::round(std::sin(double(i) * (t + 1.3)) * 1000.0);
    data.push_back(Vec(v, t % 2 ? mvSingle : mvDouble));
  }
  struct TOut {
    double median = 0, p30 = 0, tieSum = 0;
    std::vector<double> ranks;
    int outstanding = -1;
  };
  auto work = [&](int t, TOut& out) {
    TVec r;
    for (int rep = 0; rep < 5; ++rep) {
      out.median = Median(data[static_cast<std::size_t>(t)]);
      out.p30 = Statistics::Percentile(data[static_cast<std::size_t>(t)], 0.3, Statistics::pctMethodNMinus);
      Statistics::TiedRanks(data[static_cast<std::size_t>(t)], r, out.tieSum);
    }
    out.ranks = r.ToVector();
    out.outstanding = ScratchOutstanding();
  };
  std::vector<TOut> serial(kThreads), parallel(kThreads);
  for (int t = 0; t < kThreads; ++t) work(t, serial[static_cast<std::size_t>(t)]);
  std::vector<std::thread> pool;
  for (int t = 0; t < kThreads; ++t) pool.emplace_back(work, t, std::ref(parallel[static_cast<std::size_t>(t)]));
  for (auto& th : pool) th.join();
  for (int t = 0; t < kThreads; ++t) {
    const TOut &s = serial[static_cast<std::size_t>(t)], &p = parallel[static_cast<std::size_t>(t)];
    EXPECT_EQ(s.median, p.median);
    EXPECT_EQ(s.p30, p.p30);
    EXPECT_EQ(s.tieSum, p.tieSum);
    EXPECT_EQ(s.ranks, p.ranks);
    EXPECT_EQ(0, p.outstanding);
  }
}

}  // namespace
