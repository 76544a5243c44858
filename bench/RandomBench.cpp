// Random variate benchmarks: normal and uniform fills of 1e8 doubles beside a plain sum over
// the same buffer (the bandwidth yardstick), and gamma, binomial and Poisson fills of 1e7 values.
// The NumPy counterparts are in bench/compare/random.py. The size is the argument, so a smaller
// run fits on a machine short of memory (--benchmark_filter=/10000000).
#include <benchmark/benchmark.h>

#include <cstdint>

#include "BenchData.h"

namespace {

Kalix::TVec& Buffer(int n) {
  static Kalix::TVec x;
  if (x.Length() != n) {
    x.Size(n);
    x.SetVal(1.0);  // touch every page now, not inside the first timed fill
  }
  return x;
}

void BM_RandomNormal(benchmark::State& state) {
  Kalix::TVec& x = Buffer(static_cast<int>(state.range(0)));
  int seed = 1;
  for (auto _ : state) {
    StatRandom::RandomNormal(0, 1, x, seed++);
    benchmark::DoNotOptimize(x.Data());
  }
  state.SetItemsProcessed(state.iterations() * x.Length());
}
BENCHMARK(BM_RandomNormal)->Arg(100'000'000)->Arg(10'000'000)->Unit(benchmark::kMillisecond);

void BM_RandomUniform(benchmark::State& state) {
  Kalix::TVec& x = Buffer(static_cast<int>(state.range(0)));
  int seed = 1;
  for (auto _ : state) {
    StatRandom::RandomUniform(0, 1, x, seed++);
    benchmark::DoNotOptimize(x.Data());
  }
  state.SetItemsProcessed(state.iterations() * x.Length());
}
BENCHMARK(BM_RandomUniform)->Arg(100'000'000)->Arg(10'000'000)->Unit(benchmark::kMillisecond);

// The yardstick: a single-accumulator sum over the buffer the fills write.
void BM_RandomPlainSum(benchmark::State& state) { KalixBench::PlainSum(state, Buffer(static_cast<int>(state.range(0)))); }
BENCHMARK(BM_RandomPlainSum)->Arg(100'000'000)->Arg(10'000'000)->Unit(benchmark::kMillisecond);

void BM_RandomGamma(benchmark::State& state) {
  Kalix::TVec& x = Buffer(static_cast<int>(state.range(0)));
  int seed = 1;
  for (auto _ : state) {
    StatRandom::RandomGamma(2.5, 1.0, x, seed++);
    benchmark::DoNotOptimize(x.Data());
  }
  state.SetItemsProcessed(state.iterations() * x.Length());
}
BENCHMARK(BM_RandomGamma)->Arg(10'000'000)->Unit(benchmark::kMillisecond);

void BM_RandomBinom(benchmark::State& state) {
  Kalix::TVecInt k(static_cast<int>(state.range(0)));
  int seed = 1;
  for (auto _ : state) {
    StatRandom::RandomBinom(100, 0.3, k, seed++);
    benchmark::DoNotOptimize(k.Span<std::int32_t>().data());
  }
  state.SetItemsProcessed(state.iterations() * k.Length());
}
BENCHMARK(BM_RandomBinom)->Arg(10'000'000)->Unit(benchmark::kMillisecond);

void BM_RandomPoisson(benchmark::State& state) {
  Kalix::TVecInt k(static_cast<int>(state.range(0)));
  int seed = 1;
  for (auto _ : state) {
    StatRandom::RandomPoisson(40, k, seed++);
    benchmark::DoNotOptimize(k.Span<std::int32_t>().data());
  }
  state.SetItemsProcessed(state.iterations() * k.Length());
}
BENCHMARK(BM_RandomPoisson)->Arg(10'000'000)->Unit(benchmark::kMillisecond);

}  // namespace
