// Fuzz harness: bytes are decoded into adversarial arguments and one exported function is
// called through TCall, which checks what every function promises on any input:
//  - only the library's EKalixError escapes;
//  - every scratch container borrowed is returned;
//  - const inputs are bit-identical afterwards;
//  - a second call with stale, wrongly sized outputs gives the same outputs (or message).
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "KalixStats.h"

namespace KalixFuzz {

using Kalix::TMtx;
using Kalix::TMtxFloatPrecision;
using Kalix::TVec;
using Kalix::TVecInt;

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
  /// Records a scalar result.
  void Num(double v) { nums_.push_back(v); }
  void Num(const Kalix::TCplx& v) { nums_.push_back(v.real()), nums_.push_back(v.imag()); }
  /// Records several scalar results (enums and counts included).
  template <class... T>
  void Nums(const T&... v) {
    (Num(static_cast<double>(v)), ...);
  }
  /// Records a hypothesis test: f(Result, Signif) returns the statistic.
  template <class F>
  void Test(F&& f) {
    Statistics::THypothesisResult h{};
    double p = 0;
    Num(f(h, p)), Nums(p, h);
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
  template <class T>
  T& Slot(std::vector<std::unique_ptr<T>>& slots, std::vector<bool>& cmp, int slot, bool Compare, int base);
  std::string Fingerprint() const;

  bool stale_;
  std::uint32_t seed_;
  std::vector<std::unique_ptr<TVec>> vecs_;
  std::vector<std::unique_ptr<TMtx>> mtxs_;
  std::vector<std::unique_ptr<TVecInt>> ints_;
  std::vector<bool> vecCmp_, mtxCmp_, intCmp_;
  std::vector<double> nums_;
};

/// One fuzz case: adversarial inputs decoded from the bytes, then Run() with the checks.
class TCall {
 public:
  explicit TCall(TBytes& b) : b_(b) {}
  TBytes& Bytes() { return b_; }

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
  /// Input containers (any valid precision, complex too; lengths 0 .. thousands; constant,
  /// ramp, rank-deficient or adversarial contents). They are checked bit-identical after
  /// every call.
  const TVec& Vec();
  const TVec& RealVec();
  const TMtx& Mtx();
  const TMtx& RealMtx();
  const TVecInt& VecInt(int lo = -2, int hi = 8);
  /// A vector or matrix (for the TDenseKalix overloads).
  const Kalix::TDenseKalix& Dense();
  /// Null or a vector: the optional inputs and outputs.
  bool Null() { return b_.Byte() % 4 == 0; }

  /// Calls f twice (fresh, then stale outputs) and checks the promises above. generalErrors
  /// admits std::runtime_error too, for routines that deliberately raise it.
  void Run(const char* name, const std::function<void(TOutputs&)>& f, bool generalErrors = false);

 private:
  void Fill(Kalix::TDenseKalix& c, bool real);
  const TVec& VecOf(bool real);
  const TMtx& MtxOf(bool real);
  const TVec& Keep(std::unique_ptr<TVec> v);
  const TMtx& Keep(std::unique_ptr<TMtx> m);
  TBytes& b_;
  std::vector<std::unique_ptr<TVec>> vecIn_;
  std::vector<std::unique_ptr<TMtx>> mtxIn_;
  std::vector<const Kalix::TDenseKalix*> dense_;
  std::vector<std::unique_ptr<TVecInt>> ints_;
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
#define KALIX_FUZZ_ENTRY(Name)                                                              \
  static void FuzzEntry_##Name(KalixFuzz::TCall& c);                                        \
  [[maybe_unused]] static const int kFuzzEntry_##Name = KalixFuzz::Register(#Name, FuzzEntry_##Name); \
  static void FuzzEntry_##Name([[maybe_unused]] KalixFuzz::TCall& c)
