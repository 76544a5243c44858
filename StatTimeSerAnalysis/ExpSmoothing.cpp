// Exponential smoothing: single (level), double (Holt: level and additive trend) and triple
// (Holt-Winters: level, additive trend, multiplicative season; Winters, Management Science 6,
// 1960). Each variant has one error function of the optimiser's objective shape
// f(Pars, Consts, Objects) -> mean squared one-step error, which fills the smoothed components
// held in Objects; the given-constant forms call it once, the fitted forms hand it to the
// bounded Nelder-Mead simplex and call it once more at the optimum.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <span>

#include "StatTimeSerAnalysis/StatTimeSerAnalysis.h"

namespace StatTimeSerAnalysis {

using namespace Kalix;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr int kFitMaxIter = 500;
constexpr double kFitTolerance = 1e-8;

bool OutsideUnit(double v) { return !(v >= 0 && v <= 1); }  // NaN included

// The optimiser's object list holds non-const pointers; the error functions only read Y.
TDenseKalix* Obj(const TVec& Y) { return const_cast<TVec*>(&Y); }

// Sum of squares over the first n elements of a span.
template <class T>
T SumSq(std::span<const T> r) {
  return Kern::SumOfSquares<T>(r);
}

// ---------------------------------------------------------------- single

template <class T>
double SingleKernel(T alpha, long method, std::span<const T> y, std::span<T> S, std::span<T> R) {
  const std::size_t n = y.size(), len = S.size();  // len = n - 1
  if (len == 0) return kNaN;
  S[0] = method == 1 ? Kern::Mean<T>(y.first(std::min<std::size_t>(4, n))) : y[0];
  // Deliberate: the last observation enters only the error, never the level.
  for (std::size_t t = 1; t + 1 < n; ++t) S[t] = S[t - 1] + alpha * (y[t] - S[t - 1]);
  for (std::size_t i = 0; i < len; ++i) R[i] = y[i + 1] - S[i];
  return static_cast<double>(SumSq<T>(R) / static_cast<T>(n - 1));
}

// Objects: Y, S, R. Consts: the initialisation method.
double SingleError(const TVec& Pars, const TVec& Consts, TObjConsts O) {
  const long method = std::lround(Consts.Values(0));
  return WithPrecision(*O[0], [&](auto tag) {
    using T = typename decltype(tag)::type;
    return SingleKernel<T>(static_cast<T>(Pars.Values(0)), method, O[0]->Span<T>(), O[1]->Span<T>(),
                           O[2]->Span<T>());
  });
}

// ---------------------------------------------------------------- double

template <class T>
T InitialTrend(std::span<const T> y, long method) {
  const std::size_t n = y.size();
  const T nan = std::numeric_limits<T>::quiet_NaN();
  if (method == 1) return n >= 4 ? (y[3] - y[0]) / T(3) : nan;
  if (method == 2) return (y[n - 1] - y[0]) / static_cast<T>(n - 1);
  return n >= 2 ? y[1] - y[0] : nan;
}

template <class T>
double DoubleKernel(T alpha, T gamma, long method, std::span<const T> y, std::span<T> S, std::span<T> B,
                    std::span<T> R) {
  const std::size_t n = y.size(), len = S.size();  // len = n (smoother) or n - 1 (forecast)
  if (len == 0) return kNaN;
  S[0] = y[0];
  B[0] = InitialTrend(y, method);
  for (std::size_t t = 1; t < len; ++t) {
    S[t] = alpha * y[t] + (T(1) - alpha) * (S[t - 1] + B[t - 1]);
    B[t] = gamma * (S[t] - S[t - 1]) + (T(1) - gamma) * B[t - 1];
  }
  for (std::size_t i = 0; i < len; ++i) R[i] = S[i] + B[i];
  for (std::size_t i = 0; i + 1 < len; ++i) R[i] -= y[i + 1];
  // Deliberate: with len = n - 1 the last term summed, R[n-2], has no observation subtracted.
  return static_cast<double>(SumSq<T>(R.first(std::min(len, n - 1))) / static_cast<T>(n - 1));
}

// Objects: Y, S, B, R. Consts: the initialisation method.
double DoubleError(const TVec& Pars, const TVec& Consts, TObjConsts O) {
  const long method = std::lround(Consts.Values(0));
  return WithPrecision(*O[0], [&](auto tag) {
    using T = typename decltype(tag)::type;
    return DoubleKernel<T>(static_cast<T>(Pars.Values(0)), static_cast<T>(Pars.Values(1)), method,
                           O[0]->Span<T>(), O[1]->Span<T>(), O[2]->Span<T>(), O[3]->Span<T>());
  });
}

// ---------------------------------------------------------------- triple

// Season averages A, initial trend, level and seasonal factors from the complete seasons.
template <class T>
void TripleStart(std::span<const T> y, std::size_t L, std::span<T> S, std::span<T> B, std::span<T> I,
                 std::span<T> A) {
  const std::size_t c = y.size() / L;
  for (std::size_t j = 0; j < c; ++j) A[j] = Kern::Mean<T>(y.subspan(j * L, L));
  T b(0);
  for (std::size_t i = 0; i < L; ++i) b += (y[L + i] - y[i]) / static_cast<T>(L * L);
  B[0] = b;
  std::fill(I.begin(), I.end(), T(0));
  for (std::size_t i = 0; i < L; ++i) {
    T s(0);
    for (std::size_t j = 0; j < c; ++j) s += y[j * L + i] / A[j];
    I[i] = s / static_cast<T>(c);
  }
  S[0] = A[0];
}

template <class T>
double TripleKernel(T alpha, T beta, T gamma, std::size_t L, std::span<const T> y, std::span<T> S, std::span<T> B,
                    std::span<T> I, std::span<T> A) {
  const std::size_t n = y.size(), len = n - L;
  TripleStart(y, L, S, B, I, A);
  // Level and trend form the only dependency chain; the divisions feed it from the side.
  T s = S[0], b = B[0];
  for (std::size_t t = 1; t < len; ++t) {
    const T yt = y[t + L - 1];
    const T sNew = alpha * yt / I[t - 1] + (T(1) - alpha) * (s + b);
    I[t + L - 1] = beta * yt / sNew + (T(1) - beta) * I[t - 1];
    b = gamma * (sNew - s) + (T(1) - gamma) * b;
    s = sNew;
    S[t] = s;
    B[t] = b;
  }
  // One-step errors (S + B) I - Y over the seasons after the first, in four lanes.
  T acc[4] = {};
  std::size_t i = 0;
  for (; i + 4 <= len; i += 4)
    for (std::size_t j = 0; j < 4; ++j) {
      const T r = (S[i + j] + B[i + j]) * I[i + j] - y[L + i + j];
      acc[j] += r * r;
    }
  T ss = (acc[0] + acc[1]) + (acc[2] + acc[3]);
  for (; i < len; ++i) {
    const T r = (S[i] + B[i]) * I[i] - y[L + i];
    ss += r * r;
  }
  return static_cast<double>(ss / static_cast<T>(len));
}

// Objects: Y, S, B, I, A. Consts: the period. Pars: Alpha, Beta, Gamma.
double TripleError(const TVec& Pars, const TVec& Consts, TObjConsts O) {
  const auto L = static_cast<std::size_t>(std::lround(Consts.Values(0)));
  return WithPrecision(*O[0], [&](auto tag) {
    using T = typename decltype(tag)::type;
    return TripleKernel<T>(static_cast<T>(Pars.Values(0)), static_cast<T>(Pars.Values(1)),
                           static_cast<T>(Pars.Values(2)), L, O[0]->Span<T>(), O[1]->Span<T>(), O[2]->Span<T>(),
                           O[3]->Span<T>(), O[4]->Span<T>());
  });
}

// ---------------------------------------------------------------- shared plumbing

// Sizes every object after Y to its length, in Y's precision.
void SizeObjects(const TVec& Y, std::span<TVec* const> objs, std::span<const int> lengths) {
  for (std::size_t i = 0; i < objs.size(); ++i) objs[i]->Size(std::max(lengths[i], 0), Y.FloatPrecision());
}

double Evaluate(const TRealFunction& f, std::span<const double> pars, double c, std::span<TDenseKalix* const> objs) {
  const TVec P(pars), C({c});
  return f(P, C, objs);
}

// Bounded simplex over the constants in pars (start in, optimum out), then one evaluation at the
// optimum so the objects hold its components. Returns that error.
double Fit(const TRealFunction& f, std::span<double> pars, double c, std::span<TDenseKalix* const> objs,
           TMtxFloatPrecision prec) {
  const std::vector<double> lo(pars.size(), 0.0), hi(pars.size(), 1.0);
  const double consts[1] = {c};
  double fmin = 0;
  TOptStopReason stop{};
  Simplex(f, pars, consts, objs, lo, hi, fmin, stop, prec, kFitMaxIter, kFitTolerance);
  return Evaluate(f, pars, c, objs);
}

void CheckSingle(double Alpha, const TVec& Y) {
  if (OutsideUnit(Alpha)) ERaise("SingleExpSmooth: (Alpha>1) or (Alpha<0)");
  if (Y.Complex()) ERaise("SingleExpSmooth: Y.Complex = true");
}

void CheckDoubleSmooth(double Alpha, double Gamma, const TVec& Y) {
  if (OutsideUnit(Alpha)) ERaise("DoubleExpSmooth: (Alpha>1) or (Alpha<0)");
  if (OutsideUnit(Gamma)) ERaise("DoubleExpSmooth: (Gamma>1) or (Gamma<0)");
  if (Y.Complex()) ERaise("DoubleExpSmooth: Y.Complex = true");
}

void CheckDoubleForecast(double Alpha, double Gamma, const TVec& Y, int T) {
  if (OutsideUnit(Alpha)) ERaise("DoubleExpForecast: (Alpha>1) or (Alpha<0)");
  if (OutsideUnit(Gamma)) ERaise("DoubleExpForecast: (Gamma>1) or (Gamma<0)");
  if (Y.Complex()) ERaise("DoubleExpForecast: Y.Complex = true");
  if (T < 1) ERaise("DoubleExpForecast: T<1");
}

void CheckTripleSmooth(double Alpha, double Beta, double Gamma, const TVec& Y, int Period) {
  if (OutsideUnit(Alpha)) ERaise("TripleExpSmooth: (Alpha>1) or (Alpha<0)");
  if (OutsideUnit(Beta)) ERaise("TripleExpSmooth: (Beta>1) or (Beta<0)");
  if (OutsideUnit(Gamma)) ERaise("TripleExpSmooth: (Gamma>1) or (Gamma<0)");
  if (Y.Complex()) ERaise("TripleExpSmooth: Y.Complex = true");
  if (Period < 1 || Y.Length() % Period != 0) ERaise("TripleExpSmooth: (Y.Length mod Period <> 0)");
  if (Y.Length() < 2LL * Period) ERaise("TripleExpSmooth: Y.Length < 2*Period");
}

void CheckTripleForecast(double Alpha, double Beta, double Gamma, const TVec& Y, int T, int Period) {
  if (OutsideUnit(Alpha)) ERaise("TripleExpForecast: (Alpha>1) or (Alpha<0)");
  if (OutsideUnit(Beta)) ERaise("TripleExpForecast: (Beta>1) or (Beta<0)");
  if (OutsideUnit(Gamma)) ERaise("TripleExpForecast: (Gamma>1) or (Gamma<0)");
  if (Y.Complex()) ERaise("TripleExpForecast: Y.Complex = true");
  if (Period < 1 || Y.Length() % Period != 0) ERaise("TripleExpForecast: (Y.Length mod Period <> 0)");
  if (T < Period) ERaise("TripleExpForecast: T<Period");
  if (Y.Length() < 2LL * Period) ERaise("TripleExpForecast: Y.Length < 2*Period");
}

// YHat[i] = fitted(i) for i < k, tail(i) after; k = 0 leaves no base for a tail (NaN).
template <class Fitted, class Tail>
void FillForecast(TVec& YHat, const TVec& Y, int len, int k, Fitted fitted, Tail tail) {
  YHat.Size(std::max(len, 0), Y.FloatPrecision());
  for (int i = 0; i < len; ++i) YHat.Values(i) = i < k ? fitted(i) : k > 0 ? tail(i) : kNaN;
}

}  // namespace

// ---------------------------------------------------------------- single

void SingleExpSmooth(const TVec& Y, TVec& S, double Alpha, double& MSE, int InitMethod) {
  CheckSingle(Alpha, Y);
  TVecScratch R;
  TVec* objs[] = {&S, &*R};
  const int len = Y.Length() - 1;
  SizeObjects(Y, objs, std::array{len, len});
  TDenseKalix* o[] = {Obj(Y), &S, &*R};
  const double a[] = {Alpha};
  MSE = Evaluate(SingleError, a, InitMethod, o);
}

double SingleExpSmooth(const TVec& Y, TVec& S, double& Alpha, int InitMethod) {
  CheckSingle(Alpha, Y);
  TVecScratch R;
  TVec* objs[] = {&S, &*R};
  const int len = Y.Length() - 1;
  SizeObjects(Y, objs, std::array{len, len});
  TDenseKalix* o[] = {Obj(Y), &S, &*R};
  return Fit(SingleError, std::span(&Alpha, 1), InitMethod, o, Y.FloatPrecision());
}

void SingleExpForecast(const TVec& Y, TVec& YHat, double Alpha, int T, int InitMethod) {
  TVecScratch S, R;
  const int len = Y.Length() - 1;
  TVec* objs[] = {&*S, &*R};
  SizeObjects(Y, objs, std::array{len, len});
  TDenseKalix* o[] = {Obj(Y), &*S, &*R};
  const double a[] = {Alpha};
  Evaluate(SingleError, a, InitMethod, o);
  const TVec& s = *S;
  const int k = std::min(T - 1, std::max(len, 0));
  FillForecast(YHat, Y, T - 1, k, [&](int i) { return s[i]; }, [&](int) { return s[k - 1]; });
}

void SingleExpForecast(const TVec& Y, TVec& YHat, double& Alpha, int T, double& MSE, int InitMethod) {
  TVecScratch S;
  MSE = SingleExpSmooth(Y, *S, Alpha, InitMethod);
  SingleExpForecast(Y, YHat, Alpha, T, InitMethod);
}

// ---------------------------------------------------------------- double

void DoubleExpSmooth(const TVec& Y, TVec& S, TVec& B, double Alpha, double Gamma, double& MSE, int InitMethod) {
  CheckDoubleSmooth(Alpha, Gamma, Y);
  TVecScratch R;
  const int n = Y.Length();
  TVec* objs[] = {&S, &B, &*R};
  SizeObjects(Y, objs, std::array{n, n, n});
  TDenseKalix* o[] = {Obj(Y), &S, &B, &*R};
  const double a[] = {Alpha, Gamma};
  MSE = Evaluate(DoubleError, a, InitMethod, o);
}

double DoubleExpSmooth(const TVec& Y, TVec& S, TVec& B, double& Alpha, double& Gamma, int InitMethod) {
  CheckDoubleSmooth(Alpha, Gamma, Y);
  TVecScratch R;
  const int n = Y.Length();
  TVec* objs[] = {&S, &B, &*R};
  SizeObjects(Y, objs, std::array{n, n, n});
  TDenseKalix* o[] = {Obj(Y), &S, &B, &*R};
  double pars[] = {Alpha, Gamma};
  const double mse = Fit(DoubleError, pars, InitMethod, o, Y.FloatPrecision());
  Alpha = pars[0];
  Gamma = pars[1];
  return mse;
}

void DoubleExpForecast(const TVec& Y, TVec& YHat, double Alpha, double Gamma, int T, int InitMethod) {
  CheckDoubleForecast(Alpha, Gamma, Y, T);
  TVecScratch S, B, R;
  // Deliberate: the forecast pass smooths n - 1 points (the smoother n).
  const int len = std::max(Y.Length() - 1, 0);
  TVec* objs[] = {&*S, &*B, &*R};
  SizeObjects(Y, objs, std::array{len, len, len});
  TDenseKalix* o[] = {Obj(Y), &*S, &*B, &*R};
  const double a[] = {Alpha, Gamma};
  Evaluate(DoubleError, a, InitMethod, o);
  const TVec &s = *S, &b = *B;
  const int k = std::min(T - 1, len);
  // Deliberate: the horizon multiplier of the first forecast is 2.
  FillForecast(
      YHat, Y, T - 1, k, [&](int i) { return s[i] + b[i]; },
      [&](int i) { return s[k - 1] + (i - k + 2) * b[k - 1]; });
}

void DoubleExpForecast(const TVec& Y, TVec& YHat, double& Alpha, double& Gamma, int T, double& MSE,
                       int InitMethod) {
  CheckDoubleForecast(Alpha, Gamma, Y, T);
  TVecScratch S, B;
  MSE = DoubleExpSmooth(Y, *S, *B, Alpha, Gamma, InitMethod);
  DoubleExpForecast(Y, YHat, Alpha, Gamma, T, InitMethod);
}

// ---------------------------------------------------------------- triple

void TripleExpSmooth(const TVec& Y, TVec& S, TVec& B, TVec& I, double Alpha, double Beta, double Gamma,
                     double& MSE, int Period) {
  CheckTripleSmooth(Alpha, Beta, Gamma, Y, Period);
  TVecScratch A;
  const int n = Y.Length();
  TVec* objs[] = {&S, &B, &I, &*A};
  SizeObjects(Y, objs, std::array{n - Period, n - Period, n, n / Period});
  TDenseKalix* o[] = {Obj(Y), &S, &B, &I, &*A};
  const double a[] = {Alpha, Beta, Gamma};
  MSE = Evaluate(TripleError, a, Period, o);
}

double TripleExpSmooth(const TVec& Y, TVec& S, TVec& B, TVec& I, double& Alpha, double& Beta, double& Gamma,
                       int Period) {
  CheckTripleSmooth(Alpha, Beta, Gamma, Y, Period);
  TVecScratch A;
  const int n = Y.Length();
  TVec* objs[] = {&S, &B, &I, &*A};
  SizeObjects(Y, objs, std::array{n - Period, n - Period, n, n / Period});
  TDenseKalix* o[] = {Obj(Y), &S, &B, &I, &*A};
  double pars[] = {Alpha, Beta, Gamma};
  const double mse = Fit(TripleError, pars, Period, o, Y.FloatPrecision());
  Alpha = pars[0];
  Beta = pars[1];
  Gamma = pars[2];
  return mse;
}

void TripleExpForecast(const TVec& Y, TVec& YHat, double Alpha, double Beta, double Gamma, int T, int Period) {
  CheckTripleForecast(Alpha, Beta, Gamma, Y, T, Period);
  TVecScratch S, B, I, A;
  const int n = Y.Length(), L = Period;
  TVec* objs[] = {&*S, &*B, &*I, &*A};
  SizeObjects(Y, objs, std::array{n - L, n - L, n, n / L});
  TDenseKalix* o[] = {Obj(Y), &*S, &*B, &*I, &*A};
  const double a[] = {Alpha, Beta, Gamma};
  Evaluate(TripleError, a, Period, o);
  const TVec &s = *S, &b = *B, &f = *I;
  const int k = std::min(T - L, n - L);  // n >= 2L, so k - L >= 0 whenever a tail exists
  // Deliberate: here the horizon multiplier starts at 1 (2 in double smoothing).
  FillForecast(
      YHat, Y, T - L, k, [&](int i) { return (s[i] + b[i]) * f[i]; },
      [&](int i) { return (s[k - 1] + (i - k + 1) * b[k - 1]) * f[k - L + (i - k) % L]; });
}

void TripleExpForecast(const TVec& Y, TVec& YHat, double& Alpha, double& Beta, double& Gamma, int T, double& MSE,
                       int Period) {
  CheckTripleForecast(Alpha, Beta, Gamma, Y, T, Period);
  TVecScratch S, B, I;
  MSE = TripleExpSmooth(Y, *S, *B, *I, Alpha, Beta, Gamma, Period);
  TripleExpForecast(Y, YHat, Alpha, Beta, Gamma, T, Period);
}

}  // namespace StatTimeSerAnalysis
