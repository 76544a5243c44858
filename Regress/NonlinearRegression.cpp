// Nonlinear least squares: numeric derivatives of a model and the Levenberg-Marquardt fit.

#include <cmath>
#include <limits>
#include <span>
#include <vector>

#include "Regress/Regress.h"

namespace Regress {

using namespace Kalix;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// Step for parameter b: relative to b, the bare step at 0; rounded so that b + h is exact.
// Forward differences take sqrt(eps); central ones eps^(1/3), which balances their O(h^2)
// truncation against rounding at about eps^(2/3).
double StepFor(double b, bool Central, TMtxFloatPrecision p) {
  const double base = p == mvSingle ? double{GradStepSizeSingle} : GradStepSize;
  const double s = Central ? std::cbrt(base * base) : base;
  const double h = b != 0 ? s * std::fabs(b) : s;
  const double t = b + h;
  return t - b;
}

// Column j of the derivatives at each X[i], written by put(i, value).
template <class F, class Put>
void DeriveColumn(const F& f, std::span<const double> x, std::span<const double> y0, std::vector<double>& b,
                  std::size_t j, bool Central, TMtxFloatPrecision p, Put put) {
  const double bj = b[j], h = StepFor(bj, Central, p);
  if (Central) {
    for (std::size_t i = 0; i < x.size(); ++i) {
      b[j] = bj + h;
      const double up = f(b, x[i]);
      b[j] = bj - h;
      put(i, (up - f(b, x[i])) / (2 * h));
    }
  } else {
    b[j] = bj + h;
    for (std::size_t i = 0; i < x.size(); ++i) put(i, (f(b, x[i]) - y0[i]) / h);
  }
  b[j] = bj;
}

// Raised out of the optimiser when the model itself raised: the fit stops there.
struct TModelRaised {};

// The fit's residuals sqrt(w) (y - f) and their Jacobian, with the best point met kept for a
// fit the model cuts short.
class TNLinProblem {
 public:
  TNLinProblem(const TVec& X, const TVec& Y, const TRegressFun& F, const TDeriveProc& D, const TVec* W, bool Central)
      : x_(X.ToVector()), y_(Y.ToVector()), f_(F), d_(D), central_(Central), prec_(X.FloatPrecision()) {
    sw_.assign(x_.size(), 1.0);
    if (W)
      for (std::size_t i = 0; i < sw_.size(); ++i) sw_[i] = std::sqrt((*W)[static_cast<int>(i)]);
  }

  double Model(std::span<const double> b, double x) {
    try {
      return f_(b, x);
    } catch (...) {
      throw TModelRaised{};
    }
  }

  void Residuals(const TVec& Pars, TVec& r) {
    b_ = Pars.ToVector();
    r.Size(static_cast<int>(x_.size()), mvDouble);
    auto rs = r.Span<double>();
    fr_.resize(x_.size());
    double ss = 0;
    for (std::size_t i = 0; i < x_.size(); ++i) {
      fr_[i] = Model(b_, x_[i]);
      rs[i] = sw_[i] * (y_[i] - fr_[i]);
      ss += rs[i] * rs[i];
    }
    br_ = b_;
    if (ss < bestSS_) {
      bestSS_ = ss;
      best_ = b_;
    }
  }

  void Jacobian(const TVec& Pars, TMtx& J) {
    b_ = Pars.ToVector();
    const std::size_t n = x_.size(), p = b_.size();
    J.Size(static_cast<int>(n), static_cast<int>(p), mvDouble);
    auto js = J.Span<double>();
    const bool central = central_ && NearSolution();
    // The model at b: the optimiser has nearly always just asked for the residuals there.
    if (d_ || !central) {
      if (b_ == br_ && fr_.size() == n) {
        fx_ = fr_;
      } else {
        fx_.resize(n);
        for (std::size_t i = 0; i < n; ++i) fx_[i] = Model(b_, x_[i]);
      }
    }
    if (d_) {
      g_.Size(static_cast<int>(p), mvDouble);
      for (std::size_t i = 0; i < n; ++i) {
        try {
          d_(f_, x_[i], fx_[i], b_, g_);
        } catch (...) {
          throw TModelRaised{};
        }
        if (g_.Length() != static_cast<int>(p)) ERaise("NLinRegress: DeriveProc changed the length of Grad");
        for (std::size_t k = 0; k < p; ++k) js[i * p + k] = -sw_[i] * g_[static_cast<int>(k)];
      }
      return;
    }
    const auto model = [this](std::span<const double> b, double x) { return Model(b, x); };
    for (std::size_t k = 0; k < p; ++k)
      DeriveColumn(model, x_, fx_, b_, k, central, prec_,
                   [&](std::size_t i, double v) { js[i * p + k] = -sw_[i] * v; });
  }

  const std::vector<double>& Best() const { return best_; }

 private:
  // Forward differences (half the model calls) suffice while the steps are large: their
  // error only perturbs the path. Once a step changes no parameter by more than kNear of
  // itself, the fit is in its final, quadratically converging phase, and every later
  // Jacobian, the one the covariance and the stationarity of the minimiser rest on included,
  // takes central differences.
  bool NearSolution() {
    constexpr double kNear = 1e-3;
    if (!near_ && bj_.size() == b_.size()) {
      near_ = true;
      for (std::size_t j = 0; j < b_.size(); ++j)
        if (std::fabs(b_[j] - bj_[j]) > kNear * std::fabs(bj_[j])) near_ = false;
    }
    bj_ = b_;
    return near_;
  }

  std::vector<double> x_, y_, sw_, b_, fx_, best_, fr_, br_, bj_;
  bool near_ = false;
  const TRegressFun& f_;
  const TDeriveProc& d_;
  bool central_;
  TMtxFloatPrecision prec_;
  double bestSS_ = std::numeric_limits<double>::infinity();
  TVec g_;
};

void CheckNLin(const TVec& X, const TVec& Y, const TVec& B, const TVec* W, int MaxIter, double Tolerance) {
  if (X.Complex() || Y.Complex()) ERaise("NLinRegress: X.Complex or Y.Complex");
  if (B.Complex()) ERaise("NLinRegress: B.Complex");
  if (X.Length() != Y.Length()) ERaise("NLinRegress: X.Length <> Y.Length");
  if (X.FloatPrecision() != Y.FloatPrecision()) ERaise("NLinRegress: X.FloatPrecision <> Y.FloatPrecision");
  if (B.Length() == 0) ERaise("NLinRegress: B.Length = 0");
  if (Y.Length() < B.Length()) ERaise("NLinRegress: Y.Length < B.Length");
  if (W) {
    if (W->Complex()) ERaise("NLinRegress: Weights.Complex");
    if (W->Length() != X.Length()) ERaise("NLinRegress: Weights.Length <> X.Length");
    if (W->FloatPrecision() != X.FloatPrecision()) ERaise("NLinRegress: Weights.FloatPrecision <> X.FloatPrecision");
    for (int i = 0; i < W->Length(); ++i)
      if (!((*W)[i] >= 0)) ERaise("NLinRegress: Weights < 0");
  }
  if (MaxIter < 0) ERaise("NLinRegress: MaxIter < 0");
  if (!(Tolerance >= 0)) ERaise("NLinRegress: Tolerance < 0");
}

}  // namespace

void NumericDerive(const TRegressFun& RegressFun, double X, double Y, std::span<const double> Pars, TVec& Grad,
                   bool Central, TMtxFloatPrecision FloatPrecision) {
  if (Pars.empty()) ERaise("NumericDerive: Pars.Length = 0");
  std::vector<double> b(Pars.begin(), Pars.end());
  const double x[1] = {X}, y[1] = {Y};
  std::vector<double> g(b.size());
  for (std::size_t j = 0; j < b.size(); ++j)
    DeriveColumn(RegressFun, x, y, b, j, Central, FloatPrecision, [&](std::size_t, double v) { g[j] = v; });
  Grad.Size(static_cast<int>(g.size()), FloatPrecision);
  for (std::size_t j = 0; j < g.size(); ++j) Grad[static_cast<int>(j)] = g[j];
}

void MultiNumericDerive(const TRegressFun& RegressFun, const TVec& X, std::span<const double> Pars, TMtx& Jac,
                        bool Central) {
  if (X.Complex()) ERaise("MultiNumericDerive: X.Complex");
  if (Pars.empty()) ERaise("MultiNumericDerive: Pars.Length = 0");
  const std::vector<double> x = X.ToVector();
  std::vector<double> b(Pars.begin(), Pars.end()), y0(x.size());
  if (!Central)
    for (std::size_t i = 0; i < x.size(); ++i) y0[i] = RegressFun(b, x[i]);
  std::vector<double> jac(x.size() * b.size());
  const std::size_t p = b.size();
  for (std::size_t j = 0; j < p; ++j)
    DeriveColumn(RegressFun, x, y0, b, j, Central, X.FloatPrecision(),
                 [&](std::size_t i, double v) { jac[i * p + j] = v; });
  Jac.Size(X.Length(), static_cast<int>(p), X.FloatPrecision());
  for (std::size_t k = 0; k < jac.size(); ++k) Jac.Values(static_cast<int>(k)) = jac[k];
}

void NLinRegress(const TVec& X, const TVec& Y, const TRegressFun& RegressFun, TVec& B, TNLinStats& Stats, TVec* YCalc,
                 TMtx* Cov, TVec* BStdDev, const TDeriveProc& DeriveProc, const TVec* Weights, int MaxIter,
                 double Tolerance, bool CentralDiff) {
  CheckNLin(X, Y, B, Weights, MaxIter, Tolerance);
  const TMtxFloatPrecision prec = X.FloatPrecision();
  const int n = X.Length(), p = B.Length();
  TNLinProblem prob(X, Y, RegressFun, DeriveProc, Weights, CentralDiff);
  std::vector<double> b = B.ToVector();
  auto res = [&](const TVec& P, const TVec&, TObjConsts, TVec& r) { prob.Residuals(P, r); };
  auto jac = [&](const TVec& P, const TVec&, TObjConsts, TMtx& J) { prob.Jacobian(P, J); };
  TMtx invH;
  double sse = kNaN;
  TOptStopReason why = optNotStarted;
  int iters = 0;
  bool raised = false;
  try {
    iters = Marquardt(res, jac, b, {}, {}, sse, why, &invH, prec, MaxIter, Tolerance);
  } catch (const TModelRaised&) {
    raised = true;
    why = optNaNObjective;
    if (!prob.Best().empty()) b = prob.Best();
  }
  // The residuals at the final point, evaluated once more: a fit the model cut short has none.
  TVec r;
  try {
    prob.Residuals(TVec(b, prec), r);
    sse = 0;
    for (int i = 0; i < n; ++i) sse += r[i] * r[i];
  } catch (const TModelRaised&) {
    sse = kNaN;
  }
  if (raised || invH.Rows() != p) {
    invH.Size(p, p, prec);
    invH.SetVal(kNaN);
  }
  const int dfE = n - p;
  const double s2 = sse / dfE;
  // Marquardt leaves NaN in (J^T J)^-1 when J is rank-deficient.
  if (why == optConverged && std::isnan(invH(0, 0))) why = optSingular;

  B.Size(p, prec);
  for (int j = 0; j < p; ++j) B[j] = b[static_cast<std::size_t>(j)];
  if (YCalc) {
    YCalc->Size(n, prec);
    for (int i = 0; i < n; ++i) {
      try {
        (*YCalc)[i] = prob.Model(b, X[i]);
      } catch (const TModelRaised&) {
        (*YCalc)[i] = kNaN;
      }
    }
  }
  if (Cov) {
    Cov->Size(p, p, prec);
    for (int k = 0; k < p * p; ++k) Cov->Values(k) = s2 * invH.Values(k);
  }
  if (BStdDev) {
    BStdDev->Size(p, prec);
    for (int j = 0; j < p; ++j) (*BStdDev)[j] = std::sqrt(s2 * invH(j, j));
  }
  Stats.SSE = sse;
  Stats.ResidualVar = s2;
  Stats.dfE = dfE;
  Stats.Iterations = iters;
  Stats.StopReason = why;
}

}  // namespace Regress
