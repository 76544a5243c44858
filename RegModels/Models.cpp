// Evaluation and parameter gradients of the regression models.

#include <array>
#include <cmath>
#include <cstddef>

#include "RegModels/RegModels.h"

namespace RegModels {

using namespace Kalix;

namespace {

void RequireParams(std::size_t have, std::size_t need, const char* text) {
  if (have < need) ERaise(text);
}

// The first few parameters of a TVec as doubles (any real precision).
template <std::size_t N>
std::array<double, N> ParamsOf(const TVec& B, const char* text) {
  RequireParams(static_cast<std::size_t>(B.Length()), N, text);
  std::array<double, N> b{};
  for (std::size_t i = 0; i < N; ++i) b[i] = B.Values(static_cast<int>(i));
  return b;
}

// YCalc[i] = f(X[i]) in X's precision; f receives the element and a tag of its type.
template <class F>
void Elementwise(const TVec& X, TVec& YCalc, const F& f) {
  WithPrecision(X, [&](auto t) {
    using T = typename decltype(t)::type;
    YCalc.Size(X);
    auto x = X.Span<T>();
    auto y = YCalc.Span<T>();
    for (std::size_t i = 0; i < x.size(); ++i) y[i] = f(x[i]);
  });
}

template <class T>
T P(double v) {
  return static_cast<T>(v);
}

// ---------------------------------------------------------------- the four two-parameter models

void LineVec(const double* b, const TVec& X, TVec& YCalc) {
  Elementwise(X, YCalc, [b](auto x) {
    using T = decltype(x);
    return x * P<T>(b[1]) + P<T>(b[0]);
  });
}
void PowerVec(const double* b, const TVec& X, TVec& YCalc) {
  Elementwise(X, YCalc, [b](auto x) {
    using T = decltype(x);
    return std::pow(x, P<T>(b[1])) * P<T>(b[0]);
  });
}
void ExpVec(const double* b, const TVec& X, TVec& YCalc) {
  Elementwise(X, YCalc, [b](auto x) {
    using T = decltype(x);
    return std::exp(x * P<T>(b[1])) * P<T>(b[0]);
  });
}
void LnVec(const double* b, const TVec& X, TVec& YCalc) {
  Elementwise(X, YCalc, [b](auto x) {
    using T = decltype(x);
    return std::log(x) * P<T>(b[1]) + P<T>(b[0]);
  });
}

void LogisticVec(const double* b, const TVec& X, TVec& YCalc, bool FourParam) {
  Elementwise(X, YCalc, [b, FourParam](auto x) {
    using T = decltype(x);
    const T e = std::exp(x * P<T>(-b[2]) + P<T>(b[3])) + T(1);
    return FourParam ? (P<T>(b[1]) - P<T>(b[0])) / e + P<T>(b[0]) : P<T>(b[1]) / e;
  });
}

double FracScalar(std::span<const double> B, double X, int NumDeg) {
  if (NumDeg < 0 || static_cast<std::size_t>(NumDeg) >= B.size()) ERaise("FracEval: NumDeg out of range");
  const std::size_t nd = static_cast<std::size_t>(NumDeg);
  double num = 0.0;
  for (std::size_t k = nd + 1; k-- > 0;) num = num * X + B[k];  // Horner, B[NumDeg] first
  double den = 0.0;
  for (std::size_t k = B.size() - 1; k > nd; --k) den = (den + B[k]) * X;
  return num / (1.0 + den);
}

void FracVec(std::span<const double> B, const TVec& X, TVec& YCalc, int NumDeg) {
  FracScalar(B, 0.0, NumDeg);  // refuses a bad NumDeg before YCalc is touched
  Elementwise(X, YCalc, [&](auto x) {
    using T = decltype(x);
    return static_cast<T>(FracScalar(B, static_cast<double>(x), NumDeg));
  });
}

// A TVec of parameters as doubles, in a scratch vector.
std::span<const double> AsDoubles(const TVec& B, TVec& Tmp) {
  Tmp.Size(B.Length(), mvDouble);
  for (int i = 0; i < B.Length(); ++i) Tmp.Values(i) = B.Values(i);
  return Tmp.Span<double>();
}

}  // namespace

// ---------------------------------------------------------------- exported evaluation

double LineEval(std::span<const double> B, double X) {
  RequireParams(B.size(), 2, "LineEval: B.Length < 2");
  return B[0] + B[1] * X;
}
void LineEval(std::span<const double> B, const TVec& X, TVec& YCalc) {
  RequireParams(B.size(), 2, "LineEval: B.Length < 2");
  LineVec(B.data(), X, YCalc);
}
void LineEval(const TVec& B, const TVec& X, TVec& YCalc) {
  LineVec(ParamsOf<2>(B, "LineEval: B.Length < 2").data(), X, YCalc);
}

double PowerEval(std::span<const double> B, double X) {
  RequireParams(B.size(), 2, "PowerEval: B.Length < 2");
  return B[0] * std::pow(X, B[1]);
}
void PowerEval(std::span<const double> B, const TVec& X, TVec& YCalc) {
  RequireParams(B.size(), 2, "PowerEval: B.Length < 2");
  PowerVec(B.data(), X, YCalc);
}
void PowerEval(const TVec& B, const TVec& X, TVec& YCalc) {
  PowerVec(ParamsOf<2>(B, "PowerEval: B.Length < 2").data(), X, YCalc);
}

double ExpEval(std::span<const double> B, double X) {
  RequireParams(B.size(), 2, "ExpEval: B.Length < 2");
  return B[0] * std::exp(B[1] * X);
}
void ExpEval(std::span<const double> B, const TVec& X, TVec& YCalc) {
  RequireParams(B.size(), 2, "ExpEval: B.Length < 2");
  ExpVec(B.data(), X, YCalc);
}
void ExpEval(const TVec& B, const TVec& X, TVec& YCalc) {
  ExpVec(ParamsOf<2>(B, "ExpEval: B.Length < 2").data(), X, YCalc);
}

double LnEval(std::span<const double> B, double X) {
  RequireParams(B.size(), 2, "LnEval: B.Length < 2");
  return B[0] + B[1] * std::log(X);
}
void LnEval(std::span<const double> B, const TVec& X, TVec& YCalc) {
  RequireParams(B.size(), 2, "LnEval: B.Length < 2");
  LnVec(B.data(), X, YCalc);
}
void LnEval(const TVec& B, const TVec& X, TVec& YCalc) {
  LnVec(ParamsOf<2>(B, "LnEval: B.Length < 2").data(), X, YCalc);
}

double LogisticEval(std::span<const double> B, double X, bool FourParam) {
  RequireParams(B.size(), 4, "LogisticEval: B.Length < 4");
  const double e = 1.0 + std::exp(-B[2] * X + B[3]);
  return FourParam ? B[0] + (B[1] - B[0]) / e : B[1] / e;
}
void LogisticEval(std::span<const double> B, const TVec& X, TVec& YCalc, bool FourParam) {
  RequireParams(B.size(), 4, "LogisticEval: B.Length < 4");
  LogisticVec(B.data(), X, YCalc, FourParam);
}
void LogisticEval(const TVec& B, const TVec& X, TVec& YCalc, bool FourParam) {
  LogisticVec(ParamsOf<4>(B, "LogisticEval: B.Length < 4").data(), X, YCalc, FourParam);
}

double FracEval(std::span<const double> B, double X, int NumDeg, bool /*Constant*/) {
  return FracScalar(B, X, NumDeg);
}
double FracEval(const TVec& B, double X, int NumDeg, bool /*Constant*/) {
  TVecScratch tmp;
  return FracScalar(AsDoubles(B, *tmp), X, NumDeg);
}
void FracEval(std::span<const double> B, const TVec& X, TVec& YCalc, int NumDeg, bool /*Constant*/) {
  FracVec(B, X, YCalc, NumDeg);
}
void FracEval(const TVec& B, const TVec& X, TVec& YCalc, int NumDeg, bool /*Constant*/) {
  TVecScratch tmp;
  FracVec(AsDoubles(B, *tmp), X, YCalc, NumDeg);
}

double MulLinEval(std::span<const double> B, const TVec& X, bool Constant) {
  if (Constant) RequireParams(B.size(), 1, "MulLinEval: B.Length < 1");
  // Deliberate: X[0] is the constant's place in a design row and is never read; without
  // Constant B[0] is not used either.
  double y = Constant ? B[0] : 0.0;
  for (std::size_t j = 1; j < B.size(); ++j) y += B[j] * X.Values(static_cast<int>(j));
  return y;
}

void MulLinEval(std::span<const double> B, const TMtx& A, TVec& YCalc, bool Constant) {
  if (Constant) RequireParams(B.size(), 1, "MulLinEval: B.Length < 1");
  // [1 | A] * B as A * B[1..] + B[0], without copying A; the core's product checks the sizes.
  const std::span<const double> slopes = Constant ? B.subspan(1) : B;
  TVecScratch b;
  b->Size(static_cast<int>(slopes.size()), A.FloatPrecision());
  for (std::size_t j = 0; j < slopes.size(); ++j) b->Values(static_cast<int>(j)) = slopes[j];
  Mul(YCalc, A, *b);
  if (Constant) Add(YCalc, B[0]);
}

// ---------------------------------------------------------------- gradients

namespace {
// A gradient holds real numbers: complex or out-of-range tags are refused before sizing.
void CheckGradPrecision(TMtxFloatPrecision p, const char* text) {
  if (p != mvDouble && p != mvSingle) ERaise(text);
}
}  // namespace

void LineDeriv(const TRegressFun& /*RegressFun*/, double X, double /*Y*/, std::span<const double> /*Pars*/,
               TVec& Grad, TMtxFloatPrecision FloatPrecision) {
  CheckGradPrecision(FloatPrecision, "LineDeriv: FloatPrecision is not a real precision");
  Grad.Size(2, FloatPrecision);
  // Deliberate: 0, not 1, for the intercept's derivative.
  Grad.Values(0) = 0.0;
  Grad.Values(1) = X;
}

void PowerDeriv(const TRegressFun& /*RegressFun*/, double X, double Y, std::span<const double> Pars, TVec& Grad) {
  RequireParams(Pars.size(), 1, "PowerDeriv: Pars.Length < 1");
  Grad.Size(2);
  Grad.Values(0) = Y / Pars[0];
  Grad.Values(1) = std::log(X) * Y;
}

void ExpDeriv(const TRegressFun& /*RegressFun*/, double X, double Y, std::span<const double> Pars, TVec& Grad,
              TMtxFloatPrecision FloatPrecision) {
  CheckGradPrecision(FloatPrecision, "ExpDeriv: FloatPrecision is not a real precision");
  RequireParams(Pars.size(), 1, "ExpDeriv: Pars.Length < 1");
  Grad.Size(2, FloatPrecision);
  Grad.Values(0) = Y / Pars[0];
  Grad.Values(1) = Y * X;
}

}  // namespace RegModels
