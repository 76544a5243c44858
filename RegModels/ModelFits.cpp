// Fits of the regression models by linearisation: the line directly, the power, exponential
// and logarithmic models on logarithms, the logistic model through its asymptotes, and the
// rational and multiple linear models as linear least-squares systems.

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <stdexcept>

#include "RegModels/RegModels.h"

namespace RegModels {

using namespace Kalix;
using Regress::LinRegress;
using Regress::MulLinRegress;
using Regress::regSolveLQR;

namespace {

// PowerFit reports its argument errors as the runtime's general exception, not EKalixError.
[[noreturn]] void PowerFitRaise(const char* text) { throw std::runtime_error(text); }

// W = Weights[Idx] * y^2: on a log scale the residual of y is relative, and weighting by y^2
// restores the weight an absolute residual would have.
void LogScaleWeights(TVec& W, const TVec& Weights, const TVecInt& Idx, const TVec& y) {
  GatherByIndex(W, Weights, Idx);
  Mul(W, y);
  Mul(W, y);
}

// A line fitted to transformed data; B[0] = exp(B[0]) where the model's scale was logged.
void FitLine(TVec& B, const TVec& x, const TVec& y, const TVec* W, bool ExpIntercept) {
  LinRegress(x, y, B, true, W);
  if (ExpIntercept) B.Values(0) = std::exp(B.Values(0));
}

// Logistic linearisation over the inner points (views of the caller's data, never changed):
// z = ln(d/u - 1) with u = y - B0 is linear in x with slope -B2 and intercept B3; the weights
// ((y - B1)/d * u)^2 undo the stretching of the log near the asymptotes.
template <class T>
void LogisticTransform(std::span<const T> x, std::span<const T> y, std::span<const T> w, double b0, double b1,
                       TVec& xs, TVec& z, TVec* v) {
  const std::size_t n = x.size();
  const T B0 = static_cast<T>(b0), B1 = static_cast<T>(b1), d = B1 - B0;
  xs.Size(static_cast<int>(n), PrecisionOf<T>());
  z.Size(static_cast<int>(n), PrecisionOf<T>());
  auto xo = xs.Span<T>();
  auto zo = z.Span<T>();
  for (std::size_t i = 0; i < n; ++i) {
    const T u = y[i] - B0;
    xo[i] = x[i];
    zo[i] = std::log(d / u - T(1));
  }
  if (v) {
    v->Size(static_cast<int>(n), PrecisionOf<T>());
    auto vo = v->Span<T>();
    for (std::size_t i = 0; i < n; ++i) {
      const T u = y[i] - B0;
      const T r = (y[i] - B1) / d * u;
      vo[i] = r * r * w[i];
    }
  }
}

// Rows [x, x^2 .. x^NumDeg, -y x, -y x^2 .. -y x^DenDeg]: y (1 + sum b_j x^j) = sum a_k x^k
// rearranged as a linear model in a and b.
template <class T>
void FracDesign(std::span<const T> x, std::span<const T> y, std::size_t NumDeg, std::size_t DenDeg, TMtx& D) {
  const std::size_t n = x.size(), cols = NumDeg + DenDeg;
  D.Size(static_cast<int>(n), static_cast<int>(cols), PrecisionOf<T>());
  T* d = D.Span<T>().data();
  for (std::size_t i = 0; i < n; ++i) {
    T* row = d + i * cols;
    if (NumDeg > 0) row[0] = x[i];
    for (std::size_t j = 1; j < NumDeg; ++j) row[j] = row[j - 1] * x[i];
    if (DenDeg > 0) row[NumDeg] = -y[i] * x[i];
    for (std::size_t j = NumDeg + 1; j < cols; ++j) row[j] = row[j - 1] * x[i];
  }
}

}  // namespace

void LineFit(TVec& B, const TVec& X, const TVec& Y, const TVec* Weights) { LinRegress(X, Y, B, true, Weights); }

void ExpFit(TVec& B, const TVec& X, const TVec& Y, const TVec* Weights) {
  if (X.Length() != Y.Length()) ERaise("X.Length <> Y.Length");
  TVecScratch xg, yg, w;
  TVecIntScratch idx;
  const int count = FindAndGather(*yg, Y, ">", 0.0, &*idx);  // ln y needs y > 0
  GatherByIndex(*xg, X, *idx);
  if (Weights) LogScaleWeights(*w, *Weights, *idx, *yg);
  Ln(*yg);
  if (count > 0) FitLine(B, *xg, *yg, Weights ? &*w : nullptr, true);
}

void LnFit(TVec& B, const TVec& X, const TVec& Y, const TVec* Weights) {
  // Deliberate: "Lenght" as the message has always been spelt.
  if (X.Length() != Y.Length()) ERaise("X.Lenght <> Y.Length");
  TVecScratch xg, yg, w;
  TVecIntScratch idx;
  const int count = FindAndGather(*xg, X, ">", 0.0, &*idx);  // ln x needs x > 0
  GatherByIndex(*yg, Y, *idx);
  if (Weights) LogScaleWeights(*w, *Weights, *idx, *yg);
  Ln(*xg);
  if (count > 0) FitLine(B, *xg, *yg, Weights ? &*w : nullptr, false);
}

void PowerFit(TVec& B, const TVec& X, const TVec& Y, const TVec* Weights) {
  // Deliberate: both texts say "Lenght", the second also for a precision mismatch.
  if (X.Length() != Y.Length()) PowerFitRaise("X.Lenght <> Y.Length");
  if (X.FloatPrecision() != Y.FloatPrecision()) PowerFitRaise("X.Lenght <> Y.FloatPrecision");
  TVecScratch lx, ly, lxg, lyg, yg, w;
  TVecIntScratch mask, maskY;
  Ln(*lx, X);
  Ln(*ly, Y);
  FindMask(*mask, X, ">", 0.0);
  FindMask(*maskY, Y, ">", 0.0);
  auto m = mask->Span<std::int32_t>();
  auto my = maskY->Span<std::int32_t>();
  int count = 0;
  for (std::size_t i = 0; i < m.size(); ++i) {
    m[i] &= my[i];
    count += m[i];
  }
  GatherByMask(*lxg, *lx, *mask);
  GatherByMask(*lyg, *ly, *mask);
  if (Weights) {
    GatherByMask(*yg, Y, *mask);
    w->Copy(*yg);
    Mul(*w, *yg);
    // Deliberate: the whole Weights vector, not its selected part; once points are dropped
    // the lengths differ and the core refuses the product.
    Mul(*w, *Weights);
  }
  if (count > 0) FitLine(B, *lxg, *lyg, Weights ? &*w : nullptr, true);
}

void LogisticFit(TVec& B, const TVec& X, const TVec& Y, bool FourParam, const TVec* Weights) {
  if (X.Length() != Y.Length()) ERaise("LogisticFit: X.Length <> Y.Length");
  if (X.FloatPrecision() != Y.FloatPrecision()) ERaise("LogisticFit: X.FloatPrecision <> Y.FloatPrecision");
  const int n = X.Length();
  // The first and last samples fix the asymptotes.
  const double b0 = FourParam ? Y.Values(0) : 0.0;
  const double b1 = Y.Values(n - 1);
  const int inner = n > 2 ? n - 2 : 0, first = inner > 0 ? 1 : 0;
  TVecScratch xs, z, v, wr, line;
  if (Weights) {
    // The inner weights as a scratch copy; the core refuses a short or mismatched vector.
    wr->Size(inner, X.FloatPrecision());
    wr->Copy(*Weights, first, 0, inner);
  }
  WithPrecision(X, [&](auto t) {
    using T = typename decltype(t)::type;
    const std::size_t f = static_cast<std::size_t>(first), len = static_cast<std::size_t>(inner);
    std::span<const T> w;
    if (Weights) w = wr->Span<T>();
    LogisticTransform<T>(X.Span<T>().subspan(f, len), Y.Span<T>().subspan(f, len), w, b0, b1, *xs, *z,
                         Weights ? &*v : nullptr);
  });
  LineFit(*line, *xs, *z, Weights ? &*v : nullptr);
  B.Size(4, X.FloatPrecision());
  B.Values(0) = b0;
  B.Values(1) = b1;
  B.Values(2) = -line->Values(1);
  B.Values(3) = line->Values(0);
}

void FracFit(TVec& B, const TVec& X, const TVec& Y, int NumDeg, int DenDeg, bool Constant, const TVec* Weights) {
  // Deliberate: "Lenght" as the message has always been spelt.
  if (X.Length() != Y.Length()) ERaise("FracFit: X.Lenght <> Y.Length");
  if (X.FloatPrecision() != Y.FloatPrecision()) ERaise("FracFit: X.FloatPrecision <> Y.FloatPrecision");
  if (NumDeg < 0 || DenDeg < 0) ERaise("FracFit: (NumDeg < 0) or (DenDeg < 0)");
  TMtxScratch d;
  WithPrecision(X, [&](auto t) {
    using T = typename decltype(t)::type;
    FracDesign<T>(X.Span<T>(), Y.Span<T>(), static_cast<std::size_t>(NumDeg), static_cast<std::size_t>(DenDeg), *d);
  });
  if (Weights)
    MulLinRegress(Y, *d, B, *Weights, Constant, nullptr, nullptr, regSolveLQR);
  else
    MulLinRegress(Y, *d, B, Constant, nullptr, nullptr, regSolveLQR);
}

void MulLinFit(TVec& B, const TMtx& A, const TVec& Y, bool Constant, const TVec* Weights) {
  if (Weights)
    MulLinRegress(Y, A, B, *Weights, Constant, nullptr, nullptr, regSolveLQR);
  else
    MulLinRegress(Y, A, B, Constant, nullptr, nullptr, regSolveLQR);
}

}  // namespace RegModels
