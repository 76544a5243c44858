#include "FuzzHarness.h"

#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <limits>
#include <stdexcept>

namespace KalixFuzz {

namespace {

[[noreturn]] void Fail(const char* name, const std::string& what) {
  std::fprintf(stderr, "fuzz: %s: %s\n", name, what.c_str());
  std::fflush(stderr);
  std::abort();
}

std::vector<std::pair<const char*, TEntry>>& Entries() {
  static std::vector<std::pair<const char*, TEntry>> e;
  return e;
}

// Shape, kind, precision and bytes: equal fingerprints mean bit-identical containers.
std::string Print(const Kalix::TDenseKalix& c) {
  std::string s = std::to_string(c.Rows()) + "x" + std::to_string(c.Cols()) + "p" +
                  std::to_string(static_cast<int>(c.FloatPrecision())) + ":";
  const std::size_t bytes = static_cast<std::size_t>(c.Length()) * Kalix::ElementSize(c.FloatPrecision());
  if (bytes > 0) s.append(static_cast<const char*>(c.Data()), bytes);
  return s;
}
std::string Print(const TVecInt& c) {
  std::string s = std::to_string(c.Length()) + "i" + std::to_string(static_cast<int>(c.IntPrecision())) + ":";
  for (int i = 0; i < c.Length(); ++i) s += std::to_string(c[i]) + ",";
  return s;
}

std::uint32_t Next(std::uint32_t& s) {
  s = s * 1664525u + 1013904223u;
  return s >> 8;
}

}  // namespace

int Register(const char* name, TEntry f) {
  Entries().emplace_back(name, f);
  return static_cast<int>(Entries().size()) - 1;
}


std::uint32_t TBytes::U32() {
  std::uint32_t v = 0;
  for (int i = 0; i < 4; ++i) v = v << 8 | Byte();
  return v;
}

int TBytes::Int(int lo, int hi) {
  const long long span = static_cast<long long>(hi) - lo + 1;
  return static_cast<int>(lo + static_cast<long long>(U32() % static_cast<std::uint32_t>(span)));
}


double TCall::Double() {
  const int k = b_.Byte();
  switch (k % 16) {
    case 0: return std::numeric_limits<double>::quiet_NaN();
    case 1: return (k & 16 ? -1.0 : 1.0) * std::numeric_limits<double>::infinity();
    case 2: return std::numeric_limits<double>::denorm_min() * (1 + b_.Byte());
    case 3: return (k & 16 ? -1e300 : 1e300) * (1 + b_.Byte());
    case 4: return k & 16 ? -0.0 : 0.0;
    case 5: return 1e12 + b_.Byte() * 0.001;
    case 6: return b_.Int(-3, 10);
    case 7: {
      std::uint64_t bits = static_cast<std::uint64_t>(b_.U32()) << 32 | b_.U32();
      double v;
      std::memcpy(&v, &bits, sizeof v);
      return v;
    }
    case 8: return std::ldexp(1.0, b_.Int(-1074, 1023));
    case 9: return b_.Byte() / 255.0;  // probabilities
    default: return static_cast<std::int16_t>(b_.Byte() << 8 | b_.Byte()) / 256.0;
  }
}

int TCall::Count() {
  const int k = b_.Byte();
  switch (k % 8) {
    case 0: return -b_.Int(1, 3);
    case 1: return INT_MAX - b_.Int(0, 1);
    case 2: return b_.Int(0, 100);
    default: return b_.Int(0, 6);
  }
}

TMtxFloatPrecision TCall::AnyPrecision() {
  const int k = b_.Byte() % 8;
  return static_cast<TMtxFloatPrecision>(k < 4 ? k : k == 4 ? 0 : k == 5 ? -1 : k == 6 ? 4 : 7);
}

void TCall::Fill(Kalix::TDenseKalix& c, bool real) {
  const int mode = b_.Byte() % 5;
  const double a = Double(), s = Double();
  const int cols = c.Cols();
  for (int i = 0; i < c.Length(); ++i) {
    double v;
    switch (mode) {
      case 0: v = a; break;                                  // constant
      case 1: v = a + s * i; break;                          // ramp, rank 2 as a matrix
      case 2: v = (i % cols) % 2 ? a : s * (i / cols); break;  // repeated columns
      case 3: v = 1e12 + i * 0.001; break;                   // all equal in single precision
      default: v = i < 64 ? Double() : a * std::sin(i); break;
    }
    if (!real && c.Complex())
      c.SetCValue(i, {v, mode == 4 ? Double() : -v});
    else
      c.Values(i) = v;
  }
}

namespace {
int Length(TBytes& b) {
  const int k = b.Byte() % 16;
  return k < 10 ? b.Int(0, 12) : k < 14 ? b.Int(13, 300) : b.Int(301, 3000);
}
std::pair<int, int> Shape(TBytes& b) {
  const int k = b.Byte() % 8;
  if (k == 7) return {b.Int(65, 90), b.Int(65, 75)};  // both sides past the small-matrix paths
  if (k == 6) return {b.Int(0, 2000), b.Int(0, 3)};   // tall
  return {b.Int(0, 9), b.Int(0, 9)};
}
}  // namespace

// The shape is drawn first, then the precision, then the contents.
template <class T>
const T& TCall::Keep(T& c, bool real) {
  Fill(c, real);
  snapshot_.push_back(Print(c)), dense_.push_back(&c);
  return c;
}
const TVec& TCall::VecOf(bool real) {
  const int n = Length(b_);
  return Keep(vecIn_.emplace_back(n, static_cast<TMtxFloatPrecision>(b_.Byte() % (real ? 2 : 4))), real);
}
const TMtx& TCall::MtxOf(bool real) {
  const auto [r, cc] = Shape(b_);
  return Keep(mtxIn_.emplace_back(r, cc, static_cast<TMtxFloatPrecision>(b_.Byte() % (real ? 2 : 4))), real);
}

const TVecInt& TCall::VecInt(int lo, int hi) {
  const int n = Length(b_), k = b_.Byte() % 4;
  TVecInt& v = ints_.emplace_back(n, k == 3 ? Kalix::prInt16 : Kalix::prInt32);
  for (int i = 0; i < n; ++i) v.Values(i) = k == 2 ? Count() : b_.Int(lo, hi);
  snapInts_.push_back(Print(v));
  return v;
}


// A stale output: a small wrong shape, a random precision, garbage contents.
void TOutputs::Stale(TMtx& c, int slot) {
  std::uint32_t s = seed_ + static_cast<std::uint32_t>(slot) * 7919u;
  const int rows = static_cast<int>(Next(s) % 7), cols = static_cast<int>(Next(s) % 5) + 1;
  c.Size(rows, cols, static_cast<TMtxFloatPrecision>(Next(s) % 4));
  c.SetVal(Next(s) % 2 ? std::numeric_limits<double>::quiet_NaN() : 7.5);
}
void TOutputs::Stale(TVec& c, int slot) {
  std::uint32_t s = seed_ + static_cast<std::uint32_t>(slot) * 7919u;
  c.Size(static_cast<int>(Next(s) % 9), static_cast<TMtxFloatPrecision>(Next(s) % 4));
  c.SetVal(Next(s) % 2 ? std::numeric_limits<double>::quiet_NaN() : 7.5);
}
void TOutputs::Stale(TVecInt& c, int) {
  c.Size(static_cast<int>(seed_ % 9), Kalix::prInt32);
  c.SetVal(-3);
}

// A slot created only because a higher one was asked for is never handed to the routine, so
// its stale contents are not part of the result.
template <class T>
T& TOutputs::Slot(TSlots<T>& slots, int slot, bool Compare, int base) {
  for (auto& [c, cmp] = slots; static_cast<int>(c.size()) <= slot;) {
    c.emplace_back(), cmp.push_back(false);
    if (stale_) Stale(c.back(), base + static_cast<int>(c.size()));
  }
  slots.second[static_cast<std::size_t>(slot)] = Compare;
  return slots.first[static_cast<std::size_t>(slot)];
}
TVec& TOutputs::Vec(int slot, bool Compare) { return Slot(vecs_, slot, Compare, 0); }
TMtx& TOutputs::Mtx(int slot, bool Compare) { return Slot(mtxs_, slot, Compare, 100); }
TVecInt& TOutputs::VecInt(int slot, bool Compare) { return Slot(ints_, slot, Compare, 200); }

std::string TOutputs::Fingerprint() const {
  std::string s;
  const auto add = [&s](const auto& slots) {
    for (std::size_t i = 0; i < slots.first.size(); ++i) s += slots.second[i] ? Print(slots.first[i]) : "-";
  };
  add(vecs_), add(mtxs_), add(ints_);
  s.append(reinterpret_cast<const char*>(nums_.data()), nums_.size() * sizeof(double));
  return s;
}


void TCall::Run(const char* name, const std::function<void(TOutputs&)>& f, bool generalErrors) {
  std::string result[2];
  for (int pass = 0; pass < 2; ++pass) {
    TOutputs out(pass == 1, 12345u + static_cast<std::uint32_t>(snapshot_.size()));
    const int before = Kalix::ScratchOutstanding();
    try {
      f(out);
      result[pass] = "ok:" + out.Fingerprint();
    } catch (const Kalix::EKalixError& e) {
      result[pass] = std::string("error:") + e.what();
    } catch (const std::runtime_error& e) {
      if (!generalErrors) Fail(name, std::string("non-library exception: ") + e.what());
      result[pass] = std::string("general error:") + e.what();
    } catch (const std::exception& e) {
      Fail(name, std::string("non-library exception: ") + e.what());
    } catch (...) {
      Fail(name, "non-library exception");
    }
    if (Kalix::ScratchOutstanding() != before) Fail(name, "scratch not returned");
    std::size_t k = 0;
    for (const Kalix::TDenseKalix* d : dense_)
      if (Print(*d) != snapshot_[k++]) Fail(name, "a const input changed");
    for (std::size_t i = 0; i < ints_.size(); ++i)
      if (Print(ints_[i]) != snapInts_[i]) Fail(name, "a const input changed");
  }
  if (result[0] != result[1])
    Fail(name, "stale outputs changed the result: " + result[0].substr(0, 60) + " / " + result[1].substr(0, 60));
}


void RunOne(const std::uint8_t* data, std::size_t size) {
  if (Entries().empty() || size == 0) return;
  TBytes b(data + 1, size - 1);
  TCall c(b);
  Entries()[data[0] % Entries().size()].second(c);
}

}  // namespace KalixFuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  KalixFuzz::RunOne(data, size);
  return 0;
}
