// Fuzz harness: bytes are decoded into adversarial arguments and one exported function is
// called through TCall, which checks what every function promises on any input:
//  - only the library's EKalixError escapes;
//  - every scratch container borrowed is returned;
//  - const inputs are bit-identical afterwards;
//  - a second call with stale, wrongly sized outputs gives the same outputs (or message).
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "KalixStats.h"

namespace KalixFuzz {

using Kalix::TMtx;
using Kalix::TMtxFloatPrecision;
using Kalix::TVec;
using Kalix::TVecInt;
using Statistics::TTwoElmReal;

/// Reads the fuzzer's bytes; past the end every read gives zeros.
class TBytes {
 public:
  TBytes(const std::uint8_t* data, std::size_t size) : p_(data), n_(size) {}
  std::uint8_t Byte() { return i_ < n_ ? p_[i_++] : 0; }
  std::uint32_t U32();
  bool Bool() { return Byte() & 1; }
  /// An int in [lo, hi].
  int Int(int lo, int hi);

 private:
  const std::uint8_t* p_;
  std::size_t n_, i_ = 0;
};

class TCall;

/// Output containers of one call: fresh ones for the first call, stale ones (other precision,
/// wrong size, garbage values) for the second. Compare = false leaves one out of the
/// comparison, for outputs whose prior contents deliberately survive.
class TOutputs {
 public:
  TVec& Vec(int slot, bool Compare = true);
  TMtx& Mtx(int slot, bool Compare = true);
  TVecInt& VecInt(int slot, bool Compare = true);
  /// Records scalar results (complex ones, enums and counts included).
  void Num(double v) { nums_.push_back(v); }
  void Num(const Kalix::TCplx& v) { nums_.push_back(v.real()), nums_.push_back(v.imag()); }
  template <class... T>
  void Nums(const T&... v) {
    (Num(static_cast<double>(v)), ...);
  }
  void Nums(const TTwoElmReal& v) { Nums(v[0], v[1]); }
  /// Records a hypothesis test: f(Result, Signif) returns the statistic.
  template <class F>
  void Test(F&& f) {
    Statistics::THypothesisResult h{};
    double p = 0;
    Num(f(h, p)), Nums(p, h);
  }
  /// The same with an interval, f(Result, Signif, ConfInt): the interval starts from zeros in
  /// both calls (some tests deliberately leave it as it was).
  template <class F>
  void TestCI(F&& f) {
    TTwoElmReal ci{};
    Test([&](auto& h, auto& p) { return f(h, p, ci); }), Nums(ci);
  }
  /// Records a result struct made of doubles only.
  template <class S>
  void Doubles(const S& s) {
    static_assert(sizeof(S) % sizeof(double) == 0);
    const double* d = reinterpret_cast<const double*>(&s);
    nums_.insert(nums_.end(), d, d + sizeof(S) / sizeof(double));
  }

 private:
  friend class TCall;
  explicit TOutputs(bool stale, std::uint32_t seed) : stale_(stale), seed_(seed) {}
  void Stale(TVec& c, int slot);
  void Stale(TMtx& c, int slot);
  void Stale(TVecInt& c, int slot);
  // The containers of one kind and whether each is compared.
  template <class T>
  using TSlots = std::pair<std::deque<T>, std::vector<bool>>;
  template <class T>
  T& Slot(TSlots<T>& slots, int slot, bool Compare, int base);
  std::string Fingerprint() const;

  bool stale_;
  std::uint32_t seed_;
  TSlots<TVec> vecs_;
  TSlots<TMtx> mtxs_;
  TSlots<TVecInt> ints_;
  std::vector<double> nums_;
};

/// One fuzz case: adversarial inputs decoded from the bytes, then Run() with the checks.
class TCall {
 public:
  explicit TCall(TBytes& b) : b_(b) {}
  /// The raw reads, and an int in [lo, hi].
  std::uint8_t Byte() { return b_.Byte(); }
  bool Bool() { return b_.Bool(); }
  int Int(int lo, int hi) { return b_.Int(lo, hi); }

  /// A double chosen to hurt: NaN, +-Inf, subnormal, huge, signed zero, 1e12 + k/1000,
  /// small integers, raw bit patterns, ordinary values.
  double Double();
  /// A count or index: mostly small, sometimes negative, huge or INT_MAX.
  int Count();
  /// A precision tag: the four valid ones, complex included, and out-of-range values.
  TMtxFloatPrecision AnyPrecision();
  /// The enum value e in [0, n) or, now and then, just outside.
  template <class E>
  E Enum(int n) {
    return static_cast<E>(b_.Int(-1, n));
  }
  /// Input containers (any valid precision, complex too unless Real; lengths 0 .. thousands;
  /// constant, ramp, rank-deficient or adversarial contents), checked bit-identical after every
  /// call.
  const TVec& Vec() { return VecOf(false); }
  const TVec& RealVec() { return VecOf(true); }
  const TMtx& Mtx() { return MtxOf(false); }
  const TMtx& RealMtx() { return MtxOf(true); }
  const TVecInt& VecInt(int lo = -2, int hi = 8);
  /// A vector or matrix (for the TDenseKalix overloads).
  const Kalix::TDenseKalix& Dense() { return b_.Bool() ? static_cast<const Kalix::TDenseKalix&>(Vec()) : Mtx(); }
  /// Null or a vector: the optional inputs and outputs.
  bool Null() { return b_.Byte() % 4 == 0; }

  /// Calls f twice (fresh, then stale outputs) and checks the promises above. generalErrors
  /// admits std::runtime_error too, for routines that deliberately raise it.
  void Run(const char* name, const std::function<void(TOutputs&)>& f, bool generalErrors = false);
  /// Run for each row of a table of functions of one signature: call(o, f) calls row f.
  template <class F>
  void RunEach(std::initializer_list<std::pair<const char*, F>> rows,
               const std::function<void(TOutputs&, const F&)>& call, bool generalErrors = false) {
    for (const auto& row : rows) Run(row.first, [&](TOutputs& o) { call(o, row.second); }, generalErrors);
  }

 private:
  void Fill(Kalix::TDenseKalix& c, bool real);
  const TVec& VecOf(bool real);
  const TMtx& MtxOf(bool real);
  template <class T>
  const T& Keep(T& c, bool real);
  TBytes& b_;
  std::deque<TVec> vecIn_;
  std::deque<TMtx> mtxIn_;
  std::deque<TVecInt> ints_;
  std::vector<const Kalix::TDenseKalix*> dense_;
  std::vector<std::string> snapshot_, snapInts_;
};

using TEntry = void (*)(TCall&);
/// Registers an entry; returns its index.
int Register(const char* name, TEntry f);

}  // namespace KalixFuzz

// One exported function (or a family of overloads) per entry, in the registry file of its
// namespace: inputs drawn from c (c.Vec(), c.Mtx(), c.Double(), c.Count(), c.Enum<E>(n), ...),
// outputs from o:
//   KALIX_FUZZ_ENTRY(Name) { const TVec& x = c.Vec(); c.Run("Name", [&](TOutputs& o) { ... }); }
// FUZZ_RUN(body) is c.Run("body", [&](TOutputs& o) { body; }): one line per exported function.
#define FUZZ_RUN(...) c.Run(#__VA_ARGS__, [&]([[maybe_unused]] KalixFuzz::TOutputs& o) { __VA_ARGS__; })
#define KALIX_FUZZ_ENTRY(Name)                                                              \
  static void FuzzEntry_##Name(KalixFuzz::TCall& c);                                        \
  [[maybe_unused]] static const int kFuzzEntry_##Name = KalixFuzz::Register(#Name, FuzzEntry_##Name); \
  static void FuzzEntry_##Name([[maybe_unused]] KalixFuzz::TCall& c)
