#include "Ops.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <string>

#include "Dispatch.h"
#include "Reductions.h"
#include "ScalarMath.h"

namespace Kalix {

namespace {

void RequireReal(const TDenseKalix& X, const char* name) {
  if (X.Complex()) ERaise(std::string(name) + ": X.Complex");
}

// Dst[i] = f(Src[i]) in the source's precision.
template <class F>
void Unary(TDenseKalix& Dst, const TDenseKalix& Src, const char* name, F f) {
  RequireReal(Src, name);
  if (&Dst != &Src) Dst.SizeAs(Src);
  WithPrecision(Src, [&](auto t) {
    using T = typename decltype(t)::type;
    auto s = Src.Span<T>();
    auto d = Dst.Span<T>();
    for (std::size_t i = 0; i < s.size(); ++i) d[i] = static_cast<T>(f(s[i]));
  });
}

// X[i] = f(X[i], Y[i]).
template <class F>
void Binary(TDenseKalix& X, const TDenseKalix& Y, const char* name, F f) {
  if (X.Complex() || Y.Complex()) ERaise(std::string(name) + ": X.Complex or Y.Complex");
  if (X.Length() != Y.Length()) ERaise(std::string(name) + ": X.Length <> Y.Length");
  if (X.FloatPrecision() != Y.FloatPrecision()) ERaise(std::string(name) + ": X.FloatPrecision <> Y.FloatPrecision");
  WithPrecision(X, [&](auto t) {
    using T = typename decltype(t)::type;
    auto x = X.Span<T>();
    auto y = Y.Span<T>();
    for (std::size_t i = 0; i < x.size(); ++i) x[i] = static_cast<T>(f(x[i], y[i]));
  });
}

// a + b for two container dimensions, refused when it leaves the 32-bit range.
int SumOfSizes(int a, int b) {
  const long long n = static_cast<long long>(a) + b;
  if (n > INT_MAX) ERaise("Size: too many elements");
  return static_cast<int>(n);
}

template <class T>
T RoundHalfEven(T v) {
  T r = std::round(v);
  if (std::fabs(v - std::trunc(v)) == T(0.5)) r = T(2) * std::round(v * T(0.5));
  return r;
}

}  // namespace

#define KALIX_DEFINE_UNARY(Name, expr)                                                                  \
  void Name(TDenseKalix& Dst, const TDenseKalix& Src) { Unary(Dst, Src, #Name, [](auto v) { return expr; }); } \
  void Name(TDenseKalix& X) { Name(X, X); }
KALIX_DEFINE_UNARY(Abs, std::fabs(v))
KALIX_DEFINE_UNARY(Sqr, v* v)
KALIX_DEFINE_UNARY(Sqrt, std::sqrt(v))
KALIX_DEFINE_UNARY(Inv, decltype(v)(1) / v)
KALIX_DEFINE_UNARY(Ln, std::log(v))
KALIX_DEFINE_UNARY(Exp, std::exp(v))
KALIX_DEFINE_UNARY(Round, RoundHalfEven(v))
KALIX_DEFINE_UNARY(Trunc, std::trunc(v))
KALIX_DEFINE_UNARY(Ceil, std::ceil(v))
KALIX_DEFINE_UNARY(Floor, std::floor(v))
KALIX_DEFINE_UNARY(Sign, -v)
#undef KALIX_DEFINE_UNARY

void Power(TDenseKalix& Dst, const TDenseKalix& Src, double p) {
  Unary(Dst, Src, "Power", [p](auto v) { return std::pow(v, static_cast<decltype(v)>(p)); });
}
void Power(TDenseKalix& X, double p) { Power(X, X, p); }

void IntPower(TDenseKalix& Dst, const TDenseKalix& Src, int n) {
  Unary(Dst, Src, "IntPower", [n](auto v) { return Kalix::IntPower(v, n); });
}
void IntPower(TDenseKalix& X, int n) { IntPower(X, X, n); }

void Add(TDenseKalix& X, double v) {
  Unary(X, X, "Add", [v](auto x) { return x + static_cast<decltype(x)>(v); });
}
void Sub(TDenseKalix& X, double v) {
  Unary(X, X, "Sub", [v](auto x) { return x - static_cast<decltype(x)>(v); });
}
void SubFrom(TDenseKalix& X, double v) {
  Unary(X, X, "SubFrom", [v](auto x) { return static_cast<decltype(x)>(v) - x; });
}
void Scale(TDenseKalix& X, double v) {
  Unary(X, X, "Scale", [v](auto x) { return x * static_cast<decltype(x)>(v); });
}
void DivideBy(TDenseKalix& X, double v) {
  Unary(X, X, "DivideBy", [v](auto x) { return static_cast<decltype(x)>(v) / x; });
}
void ThreshBottom(TDenseKalix& X, double Threshold) {
  Unary(X, X, "ThreshBottom", [Threshold](auto x) {
    const auto t = static_cast<decltype(x)>(Threshold);
    return x < t ? t : x;
  });
}
void Normalize(TDenseKalix& Dst, const TDenseKalix& Src, double SubValue, double DivValue) {
  Unary(Dst, Src, "Normalize", [SubValue, DivValue](auto x) {
    using T = decltype(x);
    return (x - static_cast<T>(SubValue)) / static_cast<T>(DivValue);
  });
}

void Add(TDenseKalix& X, const TDenseKalix& Y) {
  Binary(X, Y, "Add", [](auto a, auto b) { return a + b; });
}
void Sub(TDenseKalix& X, const TDenseKalix& Y) {
  Binary(X, Y, "Sub", [](auto a, auto b) { return a - b; });
}
void Mul(TDenseKalix& X, const TDenseKalix& Y) {
  Binary(X, Y, "Mul", [](auto a, auto b) { return a * b; });
}
void Divide(TDenseKalix& X, const TDenseKalix& Y) {
  Binary(X, Y, "Divide", [](auto a, auto b) { return a / b; });
}
void AddScaled(TDenseKalix& X, const TDenseKalix& Y, double s) {
  Binary(X, Y, "AddScaled", [s](auto a, auto b) { return a + static_cast<decltype(a)>(s) * b; });
}

void CumSum(TVec& X) {
  RequireReal(X, "CumSum");
  WithPrecision(X, [&](auto t) {
    using T = typename decltype(t)::type;
    T run = T(0);
    for (T& v : X.Span<T>()) v = run += v;
  });
}

void Difference(TVec& Dst, const TVec& Src) {
  RequireReal(Src, "Difference");
  const TVec src(Src);  // Dst may alias Src
  Dst.Size(std::max(0, src.Length() - 1), src.FloatPrecision());
  WithPrecision(src, [&](auto t) {
    using T = typename decltype(t)::type;
    auto s = src.Span<T>();
    auto d = Dst.Span<T>();
    for (std::size_t i = 0; i < d.size(); ++i) d[i] = s[i + 1] - s[i];
  });
}

void ZScore(TDenseKalix& X) {
  RequireReal(X, "ZScore");
  if (X.KalixType() == ktVec) {
    const double m = Mean(X);
    Normalize(X, X, m, StdDev(X));
    return;
  }
  auto& A = static_cast<TMtx&>(X);
  TVec means, sds;
  MeanCols(A, means);
  StdDevCols(A, sds);
  WithPrecision(A, [&](auto t) {
    using T = typename decltype(t)::type;
    auto m = means.Span<T>();
    auto s = sds.Span<T>();
    for (int r = 0; r < A.Rows(); ++r) {
      auto row = A.Row<T>(r);
      for (std::size_t c = 0; c < row.size(); ++c) row[c] = (row[c] - m[c]) / s[c];
    }
  });
}

void Ramp(TVec& X, double Offset, double Step) {
  RequireReal(X, "Ramp");
  WithPrecision(X, [&](auto t) {
    using T = typename decltype(t)::type;
    auto x = X.Span<T>();
    for (std::size_t i = 0; i < x.size(); ++i) x[i] = static_cast<T>(Offset + static_cast<double>(i) * Step);
  });
}

void Reverse(TVec& X) {
  for (int i = 0, j = X.Length() - 1; i < j; ++i, --j) {
    const TCplx a = X.CValues(i);
    X.SetCValue(i, X.CValues(j));
    X.SetCValue(j, a);
  }
}

void Concat(TVec& Dst, const TVec& A, const TVec& B) {
  if (A.FloatPrecision() != B.FloatPrecision()) ERaise("Concat: A.FloatPrecision <> B.FloatPrecision");
  TVec out(SumOfSizes(A.Length(), B.Length()), A.FloatPrecision());
  out.Copy(A, 0, 0, A.Length());
  out.Copy(B, 0, A.Length(), B.Length());
  Dst = std::move(out);
}

void Eye(TMtx& A, int n, TMtxFloatPrecision p) {
  A.Size(n, n, p);
  A.SetZero();
  for (int i = 0; i < n; ++i) A.Values(i, i) = 1.0;
}

void Transp(TMtx& Dst, const TMtx& Src) {
  TMtx out(Src.Cols(), Src.Rows(), Src.FloatPrecision());
  for (int r = 0; r < Src.Rows(); ++r)
    for (int c = 0; c < Src.Cols(); ++c) out.SetCValue(c * Src.Rows() + r, Src.CValues(r * Src.Cols() + c));
  Dst = std::move(out);
}

void Diag(TVec& Dst, const TMtx& A) {
  const int n = std::min(A.Rows(), A.Cols());
  TVec out(n, A.FloatPrecision());
  for (int i = 0; i < n; ++i) out.SetCValue(i, A.CValues(i * A.Cols() + i));
  Dst = std::move(out);
}

void Toeplitz(TMtx& Dst, const TVec& v) {
  RequireReal(v, "Toeplitz");
  const int n = v.Length();
  Dst.Size(n, n, v.FloatPrecision());
  for (int r = 0; r < n; ++r)
    for (int c = 0; c < n; ++c) Dst.Values(r, c) = v[std::abs(r - c)];
}

void VanderMonde(TMtx& Dst, const TVec& x, int Cols) {
  RequireReal(x, "VanderMonde");
  if (Cols < 0) ERaise("VanderMonde: Cols < 0");
  Dst.Size(x.Length(), Cols, x.FloatPrecision());
  for (int r = 0; r < x.Length(); ++r) {
    double p = 1.0;
    for (int c = Cols - 1; c >= 0; --c) {
      Dst.Values(r, c) = p;
      p *= x[r];
    }
  }
}

void ConcatHorz(TMtx& Dst, const TMtx& A, const TMtx& B) {
  if (A.Rows() != B.Rows()) ERaise("ConcatHorz: A.Rows <> B.Rows");
  if (A.FloatPrecision() != B.FloatPrecision()) ERaise("ConcatHorz: A.FloatPrecision <> B.FloatPrecision");
  TMtx out(A.Rows(), SumOfSizes(A.Cols(), B.Cols()), A.FloatPrecision());
  for (int r = 0; r < A.Rows(); ++r) {
    for (int c = 0; c < A.Cols(); ++c) out.SetCValue(r * out.Cols() + c, A.CValues(r * A.Cols() + c));
    for (int c = 0; c < B.Cols(); ++c) out.SetCValue(r * out.Cols() + A.Cols() + c, B.CValues(r * B.Cols() + c));
  }
  Dst = std::move(out);
}

void ConcatVert(TMtx& Dst, const TMtx& A, const TMtx& B) {
  if (A.Cols() != B.Cols()) ERaise("ConcatVert: A.Cols <> B.Cols");
  if (A.FloatPrecision() != B.FloatPrecision()) ERaise("ConcatVert: A.FloatPrecision <> B.FloatPrecision");
  TMtx out(SumOfSizes(A.Rows(), B.Rows()), A.Cols(), A.FloatPrecision());
  for (int i = 0; i < A.Length(); ++i) out.SetCValue(i, A.CValues(i));
  for (int i = 0; i < B.Length(); ++i) out.SetCValue(A.Length() + i, B.CValues(i));
  Dst = std::move(out);
}

}  // namespace Kalix
