// Logistic and Poisson regression by iteratively reweighted least squares (McCullagh and
// Nelder, Generalized Linear Models, 2nd ed., section 2.5): each step solves the weighted
// normal equations X^T W X b = X^T W z of the linearised model, W and z from the current fit.

#include <Eigen/Cholesky>
#include <Eigen/Core>
#include <algorithm>
#include <boost/math/special_functions/gamma.hpp>
#include <cmath>
#include <cstddef>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "Regress/Regress.h"

namespace Regress {

using namespace Kalix;

namespace {

using Eigen::MatrixXd;
using Eigen::VectorXd;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
// |eta| beyond this puts a fitted probability within 1e-13 of 0 or 1: the data separate.
constexpr double kSeparationEta = 30;
// Rows per block when the normal equations are accumulated: the block stays in cache.
constexpr Eigen::Index kBlockRows = 2048;

enum class TFamily { binomial, poisson };

struct TData {
  VectorXd y, m, off;  // response (successes or counts), trials (1 for Poisson), offset
};

// Mean, d mu / d eta, and deviance and log-likelihood contributions of one observation.
double Mean(TFamily f, double eta) { return f == TFamily::binomial ? 1 / (1 + std::exp(-eta)) : std::exp(eta); }

// y log(y / mu) with 0 log 0 = 0.
double YLog(double y, double mu) { return y > 0 ? y * std::log(y / mu) : 0.0; }

double UnitDeviance(TFamily f, double y, double m, double mu) {
  if (f == TFamily::poisson) return 2 * (YLog(y, mu) - (y - mu));
  return 2 * (YLog(y, m * mu) + YLog(m - y, m * (1 - mu)));
}

// log(v!) from a table for the small whole counts of most data (lgamma costs as much as the
// rest of a pass), from lgamma otherwise.
double LogFactorial(double v) {
  constexpr int kTable = 1024;
  static const std::vector<double> table = [] {
    std::vector<double> t(kTable);
    for (int k = 0; k < kTable; ++k) t[static_cast<std::size_t>(k)] = boost::math::lgamma(k + 1.0);
    return t;
  }();
  if (v >= 0 && v < kTable && v == std::floor(v)) return table[static_cast<std::size_t>(v)];
  return boost::math::lgamma(v + 1);
}

double LogLik(TFamily f, double y, double m, double mu) {
  if (f == TFamily::poisson) return (y > 0 ? y * std::log(mu) : 0.0) - mu - LogFactorial(y);
  const double ly = y > 0 ? y * std::log(mu) : 0.0, lf = m - y > 0 ? (m - y) * std::log1p(-mu) : 0.0;
  return LogFactorial(m) - LogFactorial(y) - LogFactorial(m - y) + ly + lf;
}

double Deviance(TFamily f, const TData& d, const VectorXd& mu) {
  double dev = 0;
  for (Eigen::Index i = 0; i < mu.size(); ++i) dev += UnitDeviance(f, d.y[i], d.m[i], mu[i]);
  return dev;
}

// One pass over the data at the coefficients b (or, for the start, at the eta and mu given):
// the linear predictor, the fitted values and the deviance, and the weighted normal equations
// X^T W X b = X^T W z of the next IRLS step at this fit. The rows sqrt(w) [x, z] are packed a
// block at a time and their Gram matrix taken by the core's product kernel, which hands
// X^T W X and X^T W z at once; the pass is done before the step is known to be accepted,
// which a rare step-halving pays for with one wasted Gram.
struct TPass {
  double dev = 0, maxAbsEta = 0;
  MatrixXd XtWX;
  VectorXd XtWz;
};

template <class T>
void PassKernel(TFamily f, const TMtx& A, bool Constant, const TData& d, const VectorXd* b, VectorXd& eta,
                VectorXd& mu, TPass& out) {
  const Eigen::Index n = A.Rows(), ac = A.Cols(), c0 = Constant ? 1 : 0, p = ac + c0, q = p + 1;
  const T* a = A.Span<T>().data();
  out.dev = 0;
  out.maxAbsEta = 0;
  out.XtWX.setZero(p, p);
  out.XtWz.setZero(p);
  TMtxScratch packed, gram;
  for (Eigen::Index r0 = 0; r0 < n; r0 += kBlockRows) {
    const Eigen::Index nr = std::min(kBlockRows, n - r0);
    packed->Size(static_cast<int>(nr), static_cast<int>(q), mvDouble);
    double* m = packed->Span<double>().data();
    for (Eigen::Index r = 0; r < nr; ++r) {
      const Eigen::Index i = r0 + r;
      const T* row = a + i * ac;
      if (b) {
        double e = d.off[i] + (Constant ? (*b)[0] : 0.0);
        for (Eigen::Index j = 0; j < ac; ++j) e += static_cast<double>(row[j]) * (*b)[c0 + j];
        eta[i] = e;
        mu[i] = Mean(f, e);
      }
      out.dev += UnitDeviance(f, d.y[i], d.m[i], mu[i]);
      out.maxAbsEta = std::max(out.maxAbsEta, std::fabs(eta[i]));
      // Canonical links: W = m * dmu/deta and z = eta - offset + (y/m - mu) / (dmu/deta).
      const double dmu = f == TFamily::binomial ? mu[i] * (1 - mu[i]) : mu[i];
      const double sw = std::sqrt(d.m[i] * dmu);
      const double z = eta[i] - d.off[i] + (d.y[i] / d.m[i] - mu[i]) / dmu;
      double* dst = m + r * q;
      if (Constant) dst[0] = sw;
      for (Eigen::Index j = 0; j < ac; ++j) dst[c0 + j] = sw * static_cast<double>(row[j]);
      dst[p] = sw * z;
    }
    Mul(*gram, *packed, *packed, opTrans);
    const Eigen::Map<const Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>> g(
        gram->Span<double>().data(), q, q);
    out.XtWX += g.topLeftCorner(p, p);
    out.XtWz += g.col(p).head(p);
  }
}

void Pass(TFamily f, const TMtx& A, bool Constant, const TData& d, const VectorXd* b, VectorXd& eta, VectorXd& mu,
          TPass& out) {
  WithPrecision(A, [&](auto t) { PassKernel<typename decltype(t)::type>(f, A, Constant, d, b, eta, mu, out); });
}

// The IRLS step's coefficients from the normal equations of a pass; ok false when they are
// (numerically) singular.
VectorXd Solve(const TPass& ps, bool& ok) {
  Eigen::LDLT<MatrixXd> ldlt(ps.XtWX);
  const double tiny = 1e-13 * ps.XtWX.diagonal().cwiseAbs().maxCoeff();
  ok = ldlt.info() == Eigen::Success && (ldlt.vectorD().array() > tiny).all();
  return ldlt.solve(ps.XtWz);
}

// Null model: intercept (with Constant) plus offset, or the offset alone.
double NullDeviance(TFamily f, const TData& d, bool Constant) {
  const Eigen::Index n = d.y.size();
  VectorXd mu(n);
  if (f == TFamily::binomial) {
    const double p = Constant ? d.y.sum() / d.m.sum() : 0.5;
    mu.setConstant(p);
  } else {
    const double scale = Constant ? d.y.sum() / d.off.array().exp().sum() : 1.0;
    mu = d.off.array().exp() * scale;
  }
  return Deviance(f, d, mu);
}

struct TGlmOut {
  TVec &B;
  TGLMStats& Stats;
  TVec *BStdDev, *Z, *PValues;
  TMtx* Cov;
  TVec* YCalc;
};

void FitGlm(const char* Name, TFamily f, const TMtx& A, const TData& d, bool Constant, int MaxIter,
            double Tolerance, TMtxFloatPrecision prec, TGlmOut out) {
  const std::string pre = std::string(Name) + ": ";
  const Eigen::Index n = A.Rows(), p = A.Cols() + (Constant ? 1 : 0);
  // Start from the data themselves (mu between the observations and the mean).
  VectorXd mu(n), eta(n), muTry(n), etaTry(n);
  for (Eigen::Index i = 0; i < n; ++i) {
    mu[i] = f == TFamily::binomial ? (d.y[i] + 0.5) / (d.m[i] + 1) : d.y[i] + 0.1;
    eta[i] = f == TFamily::binomial ? std::log(mu[i] / (1 - mu[i])) : std::log(mu[i]);
  }
  TPass cur, next;
  Pass(f, A, Constant, d, nullptr, eta, mu, cur);
  VectorXd b = VectorXd::Zero(p);
  bool converged = false;
  int it = 0;
  while (it < MaxIter && !converged) {
    ++it;
    bool ok = false;
    VectorXd bNew = Solve(cur, ok);
    if (!ok) ERaise(pre + "singular design matrix");
    // Halve the step while the fit is not finite or the deviance rises (the first step
    // starts from the data, not from coefficients, so it is taken as it comes).
    for (int h = 0; h < 30; ++h) {
      Pass(f, A, Constant, d, &bNew, etaTry, muTry, next);
      if (std::isfinite(next.dev) && (it == 1 || next.dev <= cur.dev * (1 + 1e-12) + 1e-12)) break;
      bNew = (b + bNew) / 2;
    }
    if (!std::isfinite(next.dev)) ERaise(pre + "the fit is not finite");
    converged = std::fabs(next.dev - cur.dev) <= Tolerance * (std::fabs(next.dev) + 0.1);
    b = bNew;
    eta.swap(etaTry);
    mu.swap(muTry);
    std::swap(cur, next);
    if (f == TFamily::binomial && cur.maxAbsEta > kSeparationEta)
      ERaise(pre + "complete or quasi-complete separation: fitted probabilities 0 or 1");
  }
  // Covariance (X^T W X)^-1 at the final fit: the last pass formed it.
  const double dev = cur.dev;
  bool ok = false;
  Solve(cur, ok);
  MatrixXd cov = ok ? MatrixXd(cur.XtWX.ldlt().solve(MatrixXd::Identity(p, p))) : MatrixXd::Constant(p, p, kNaN);

  double ll = 0;
  for (Eigen::Index i = 0; i < n; ++i) ll += LogLik(f, d.y[i], d.m[i], mu[i]);
  out.Stats.Deviance = dev;
  out.Stats.NullDeviance = NullDeviance(f, d, Constant);
  out.Stats.LogLik = ll;
  out.Stats.AIC = -2 * ll + 2 * static_cast<double>(p);
  out.Stats.dfResidual = static_cast<int>(n - p);
  out.Stats.dfNull = static_cast<int>(n - (Constant ? 1 : 0));
  out.Stats.Iterations = it;
  out.Stats.Converged = converged;

  const int pi = static_cast<int>(p);
  out.B.Size(pi, prec);
  for (int j = 0; j < pi; ++j) out.B[j] = b[j];
  auto fill = [&](TVec* v, auto value) {
    if (!v) return;
    v->Size(pi, prec);
    for (int j = 0; j < pi; ++j) (*v)[j] = value(j);
  };
  auto se = [&](int j) { return std::sqrt(cov(j, j)); };
  fill(out.BStdDev, se);
  fill(out.Z, [&](int j) { return b[j] / se(j); });
  fill(out.PValues, [&](int j) { return 2 * NormalCDF(-std::fabs(b[j] / se(j)), 0, 1); });
  if (out.Cov) {
    out.Cov->Size(pi, pi, prec);
    for (int r = 0; r < pi; ++r)
      for (int c = 0; c < pi; ++c) (*out.Cov)(r, c) = cov(r, c);
  }
  if (out.YCalc) {
    out.YCalc->Size(static_cast<int>(n), prec);
    for (int i = 0; i < static_cast<int>(n); ++i) (*out.YCalc)[i] = mu[i];
  }
}

VectorXd ToEigen(const TVec& v) {
  VectorXd e(v.Length());
  WithPrecision(v, [&](auto t) {
    const auto s = v.Span<typename decltype(t)::type>();
    for (std::size_t i = 0; i < s.size(); ++i) e[static_cast<Eigen::Index>(i)] = static_cast<double>(s[i]);
  });
  return e;
}

// Shared checks: complexity, shapes, precisions, the optional vector, the settings.
void CheckGlm(const std::string& pre, const TVec& Y, const TMtx& A, const TVec* Extra, const char* ExtraName,
              int MaxIter, double Tolerance) {
  if (Y.Complex() || A.Complex()) ERaise(pre + "Y.Complex or A.Complex");
  if (Extra && Extra->Complex()) ERaise(pre + ExtraName + ".Complex");
  if (Y.Length() != A.Rows()) ERaise(pre + "Y.Length <> A.Rows");
  if (Y.FloatPrecision() != A.FloatPrecision()) ERaise(pre + "Y.FloatPrecision <> A.FloatPrecision");
  if (Extra && Extra->Length() != Y.Length()) ERaise(pre + ExtraName + ".Length <> Y.Length");
  const bool finite = WithPrecision(A, [&](auto t) {
    const auto a = A.Span<typename decltype(t)::type>();
    return std::all_of(a.begin(), a.end(), [](auto v) { return std::isfinite(v); });
  });
  if (!finite) ERaise(pre + "A is not finite");
  if (MaxIter < 1) ERaise(pre + "MaxIter < 1");
  if (!(Tolerance >= 0)) ERaise(pre + "Tolerance < 0");
}

}  // namespace

void LogisticRegress(const TVec& Y, const TMtx& A, TVec& B, TGLMStats& Stats, TVec* BStdDev, TVec* Z,
                     TVec* PValues, TMtx* Cov, TVec* YCalc, bool Constant, const TVec* Trials, int MaxIter,
                     double Tolerance) {
  const std::string pre = "LogisticRegress: ";
  CheckGlm(pre, Y, A, Trials, "Trials", MaxIter, Tolerance);
  TData d{ToEigen(Y), Trials ? ToEigen(*Trials) : VectorXd::Ones(Y.Length()), VectorXd::Zero(Y.Length())};
  for (Eigen::Index i = 0; i < d.y.size(); ++i) {
    if (Trials && !(d.m[i] > 0 && std::isfinite(d.m[i]))) ERaise(pre + "Trials <= 0");
    if (!Trials && d.y[i] != 0 && d.y[i] != 1) ERaise(pre + "Y not in {0, 1}");
    if (Trials && !(d.y[i] >= 0 && d.y[i] <= d.m[i])) ERaise(pre + "Y < 0 or Y > Trials");
  }
  FitGlm("LogisticRegress", TFamily::binomial, A, d, Constant, MaxIter, Tolerance,
         Y.FloatPrecision(), {B, Stats, BStdDev, Z, PValues, Cov, YCalc});
}

void PoissonRegress(const TVec& Y, const TMtx& A, TVec& B, TGLMStats& Stats, TVec* BStdDev, TVec* Z, TVec* PValues,
                    TMtx* Cov, TVec* YCalc, bool Constant, const TVec* Offset, int MaxIter, double Tolerance) {
  const std::string pre = "PoissonRegress: ";
  CheckGlm(pre, Y, A, Offset, "Offset", MaxIter, Tolerance);
  TData d{ToEigen(Y), VectorXd::Ones(Y.Length()), Offset ? ToEigen(*Offset) : VectorXd::Zero(Y.Length())};
  for (Eigen::Index i = 0; i < d.y.size(); ++i) {
    if (!(d.y[i] >= 0 && std::isfinite(d.y[i]))) ERaise(pre + "Y < 0");
    if (!std::isfinite(d.off[i])) ERaise(pre + "Offset is not finite");
  }
  FitGlm("PoissonRegress", TFamily::poisson, A, d, Constant, MaxIter, Tolerance,
         Y.FloatPrecision(), {B, Stats, BStdDev, Z, PValues, Cov, YCalc});
}

}  // namespace Regress
