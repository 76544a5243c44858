// Repeated small calls with outputs of the same size allocate nothing: the allocator is
// interposed in this executable (glibc only; sanitizers bring their own allocator) and its
// calls counted around the second and later calls of each routine.
#include <atomic>
#include <cstddef>

#include "support/TestSupport.h"

#if defined(__GLIBC__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#define KALIX_COUNT_ALLOCATIONS 1
extern "C" {
void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void* __libc_memalign(std::size_t, std::size_t);
}

namespace {
std::atomic<long> gAllocations{0};
}

extern "C" {
void* malloc(std::size_t n) {
  gAllocations.fetch_add(1, std::memory_order_relaxed);
  return __libc_malloc(n);
}
void* calloc(std::size_t c, std::size_t n) {
  gAllocations.fetch_add(1, std::memory_order_relaxed);
  return __libc_calloc(c, n);
}
void* realloc(void* p, std::size_t n) {
  gAllocations.fetch_add(1, std::memory_order_relaxed);
  return __libc_realloc(p, n);
}
void* aligned_alloc(std::size_t a, std::size_t n) {
  gAllocations.fetch_add(1, std::memory_order_relaxed);
  return __libc_memalign(a, n);
}
void* memalign(std::size_t a, std::size_t n) {
  gAllocations.fetch_add(1, std::memory_order_relaxed);
  return __libc_memalign(a, n);
}
int posix_memalign(void** p, std::size_t a, std::size_t n) {
  gAllocations.fetch_add(1, std::memory_order_relaxed);
  *p = __libc_memalign(a, n);
  return *p ? 0 : 12;  // ENOMEM
}
}
#endif

namespace {

using namespace KalixTest;

// Allocations made by five calls of f after one warm-up call.
long AllocationsOfRepeatedCalls(const std::function<void()>& f) {
  f();
#ifdef KALIX_COUNT_ALLOCATIONS
  const long before = gAllocations.load();
  for (int i = 0; i < 5; ++i) f();
  return gAllocations.load() - before;
#else
  return 0;
#endif
}

TEST(RepeatedSmallCalls, AllocateNothing) {
#ifndef KALIX_COUNT_ALLOCATIONS
  GTEST_SKIP() << "allocator not interposed in this build";
#endif
  for (const auto prec : kRealPrecisions) {
    SCOPED_TRACE(prec == Kalix::mvSingle ? "single" : "double");
    TMtx A(20, 3, prec), A2(20, 1, prec), A4(20, 5, prec);
    TVec y(20, prec), w(20, prec);
    for (int i = 0; i < 20; ++i) {
      A(i, 0) = A2(i, 0) = (i * 7) % 13;
      A(i, 1) = (i * i) % 17 / 4.0;
      A(i, 2) = i / 8.0;
      for (int j = 0; j < 5; ++j) A4(i, j) = std::sin(0.7 * (i + 1) * (j + 1) + j);
      y[i] = 1.0 + A(i, 0) - 2.0 * A(i, 1) + ((i * 5) % 9 - 4) / 10.0;
      w[i] = 1 + i % 3;
    }
    TVec b, yc, res, sd;
    TMtx v;
    Regress::TRegStats st;
    const std::vector<std::pair<std::string, std::function<void()>>> calls{
        {"MulLinRegress 20 x 3", [&] { Regress::MulLinRegress(y, A, b, true); }},
        {"MulLinRegress 20 x 1", [&] { Regress::MulLinRegress(y, A2, b, true); }},
        {"MulLinRegress 20 x 3 no constant", [&] { Regress::MulLinRegress(y, A, b, false); }},
        {"MulLinRegress 20 x 3, YCalc and V", [&] { Regress::MulLinRegress(y, A, b, true, &yc, &v); }},
        {"MulLinRegress weighted", [&] { Regress::MulLinRegress(y, A, b, w, true, &yc); }},
        {"MulLinRegress 20 x 5", [&] { Regress::MulLinRegress(y, A4, b, true); }},
        {"RegressTest", [&] { Regress::RegressTest(y, yc, 4, st, true); }},
        {"Percentile", [&] { (void)Statistics::Percentile(y, 0.3, Statistics::pctMethodNPlus); }},
        {"Percentile (last order statistic)", [&] { (void)Statistics::Percentile(y, 1.0, Statistics::pctMethodNPlus); }},
        {"Mean", [&] { (void)Kalix::Mean(y); }},
    };
    for (const auto& [name, call] : calls) EXPECT_EQ(AllocationsOfRepeatedCalls(call), 0) << name;
  }
}

}  // namespace
