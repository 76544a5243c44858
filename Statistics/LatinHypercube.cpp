// Latin-hypercube designs (McKay, Beckman & Conover 1979): each coordinate's range [0, 1) is
// cut into N equal strata and every stratum holds exactly one of the N points, the strata of
// the coordinates paired by independent random permutations.
//
// Maximin designs (Johnson, Moore & Ylvisaker 1990; Morris & Mitchell 1995) spread the points
// by maximising the smallest pairwise distance. lhsMaximinBest keeps the best of Iterations
// random designs; lhsMaximinSearch starts from one random design and exchanges two points'
// coordinates in one dimension (which keeps the Latin property), one of the two taken from the
// closest pair, keeping an exchange when the smallest distance does not shrink. Both begin with
// the lhsRandom design of the same seed, so they are never worse than it.

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <utility>
#include <vector>

#include "StatRandom/detail/RandomFrame.h"
#include "Statistics/Statistics.h"

namespace Statistics {

using namespace Kalix;

namespace {

using Design = std::vector<double>;  // N x K, row-major

int Below(TRngStream& s, int n) { return std::min(n - 1, static_cast<int>(s.NextUniform() * n)); }

// One design: per column a random permutation of the strata (Fisher-Yates), then the position
// within each stratum (uniform, or its centre).
void RandomDesign(TRngStream& s, int N, int K, bool centred, Design& x) {
  x.assign(static_cast<std::size_t>(N) * std::size_t(K), 0.0);
  std::vector<int> perm(static_cast<std::size_t>(N));
  for (int j = 0; j < K; ++j) {
    std::iota(perm.begin(), perm.end(), 0);
    for (int i = N - 1; i > 0; --i) std::swap(perm[std::size_t(i)], perm[std::size_t(Below(s, i + 1))]);
    for (int i = 0; i < N; ++i) {
      const double u = centred ? 0.5 : s.NextUniform();
      x[std::size_t(i) * std::size_t(K) + std::size_t(j)] = (perm[std::size_t(i)] + u) / N;
    }
  }
}

// Smallest squared distance between two rows, and one closest pair.
double MinDistance(const Design& x, int N, int K, int* a = nullptr, int* b = nullptr) {
  double best = std::numeric_limits<double>::infinity();
  for (int i = 0; i < N; ++i)
    for (int j = i + 1; j < N; ++j) {
      double d = 0;
      for (int k = 0; k < K; ++k) {
        const double t = x[std::size_t(i * K + k)] - x[std::size_t(j * K + k)];
        d += t * t;
      }
      if (d < best) {
        best = d;
        if (a) *a = i;
        if (b) *b = j;
      }
    }
  return best;
}

void Search(TRngStream& s, int N, int K, int attempts, Design& x) {
  int a = 0, b = 0;
  double best = MinDistance(x, N, K, &a, &b);
  for (int t = 0; t < attempts && N > 2; ++t) {
    const int i = s.NextUniform() < 0.5 ? a : b;
    int other = Below(s, N - 1);
    if (other >= i) ++other;
    const int k = Below(s, K);
    std::swap(x[std::size_t(i * K + k)], x[std::size_t(other * K + k)]);
    int na = 0, nb = 0;
    const double d = MinDistance(x, N, K, &na, &nb);
    if (d >= best) {
      best = d;
      a = na;
      b = nb;
    } else {
      std::swap(x[std::size_t(i * K + k)], x[std::size_t(other * K + k)]);
    }
  }
}

}  // namespace

void LatinHypercube(int N, int K, TMtx& Design, TLHSMethod Method, int Seed, int Iterations,
                    TMtxFloatPrecision Precision) {
  if (N < 1) ERaise("LatinHypercube: N < 1");
  if (K < 1) ERaise("LatinHypercube: K < 1");
  if (Method < lhsRandom || Method > lhsMaximinSearch) ERaise("LatinHypercube: Method out of range");
  if (Iterations < 1) ERaise("LatinHypercube: Iterations < 1");
  if (Precision != mvSingle && Precision != mvDouble) ERaise("LatinHypercube: Precision is not a valid precision");
  StatRandom::detail::TPrivateStream s(Seed);
  std::vector<double> x, candidate;
  RandomDesign(*s, N, K, Method == lhsCentered, x);
  if (Method == lhsMaximinBest) {
    double best = MinDistance(x, N, K);
    for (int it = 1; it < Iterations; ++it) {
      RandomDesign(*s, N, K, false, candidate);
      const double d = MinDistance(candidate, N, K);
      if (d > best) {
        best = d;
        x.swap(candidate);
      }
    }
  } else if (Method == lhsMaximinSearch) {
    // Iterations exchanges per dimension.
    Search(*s, N, K, static_cast<int>(std::min<long long>(1LL * Iterations * K, std::numeric_limits<int>::max())), x);
  }
  Design.Size(N, K, Precision);
  WithPrecision(Precision, [&](auto t) {
    using T = typename decltype(t)::type;
    auto d = Design.Span<T>();
    for (std::size_t i = 0; i < d.size(); ++i) d[i] = static_cast<T>(x[i]);
  });
}

}  // namespace Statistics
