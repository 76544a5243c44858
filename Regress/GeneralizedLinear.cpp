// Logistic and Poisson regression by iteratively reweighted least squares (McCullagh and
// Nelder, Generalized Linear Models, 2nd ed., section 2.5): each step solves the weighted
// normal equations X^T W X b = X^T W z of the linearised model, W and z from the current fit.

#include <Eigen/Cholesky>
#include <Eigen/Core>
#include <algorithm>
#include <boost/math/special_functions/gamma.hpp>
#include <cmath>
#include <limits>
#include <string>
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

// The design [1 | A] (or A) read a block of rows at a time in double, whatever A's precision.
// Accumulating X^T W X over 1e6 rows in single precision would lose the estimate's digits.
class TDesign {
 public:
  TDesign(const TMtx& A, bool Constant) : a_(A), constant_(Constant) {}
  Eigen::Index Rows() const { return a_.Rows(); }
  Eigen::Index Cols() const { return a_.Cols() + (constant_ ? 1 : 0); }
  void Block(Eigen::Index r0, Eigen::Index nr, MatrixXd& X) const {
    X.resize(nr, Cols());
    const Eigen::Index c0 = constant_ ? 1 : 0, ac = a_.Cols();
    if (constant_) X.col(0).setOnes();
    WithPrecision(a_, [&](auto t) {
      using T = typename decltype(t)::type;
      const T* a = a_.Span<T>().data();
      for (Eigen::Index r = 0; r < nr; ++r)
        for (Eigen::Index c = 0; c < ac; ++c) X(r, c0 + c) = static_cast<double>(a[(r0 + r) * ac + c]);
    });
  }

 private:
  const TMtx& a_;
  bool constant_;
};

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

double LogLik(TFamily f, double y, double m, double mu) {
  using boost::math::lgamma;
  if (f == TFamily::poisson) return (y > 0 ? y * std::log(mu) : 0.0) - mu - lgamma(y + 1);
  const double ly = y > 0 ? y * std::log(mu) : 0.0, lf = m - y > 0 ? (m - y) * std::log1p(-mu) : 0.0;
  return lgamma(m + 1) - lgamma(y + 1) - lgamma(m - y + 1) + ly + lf;
}

double Deviance(TFamily f, const TData& d, const VectorXd& mu) {
  double dev = 0;
  for (Eigen::Index i = 0; i < mu.size(); ++i) dev += UnitDeviance(f, d.y[i], d.m[i], mu[i]);
  return dev;
}

// eta = X b + offset.
VectorXd LinearPredictor(const TDesign& X, const VectorXd& b, const VectorXd& off) {
  VectorXd eta(X.Rows());
  MatrixXd blk;
  for (Eigen::Index r0 = 0; r0 < X.Rows(); r0 += kBlockRows) {
    const Eigen::Index nr = std::min(kBlockRows, X.Rows() - r0);
    X.Block(r0, nr, blk);
    eta.segment(r0, nr) = blk * b + off.segment(r0, nr);
  }
  return eta;
}

// One IRLS step from the fit mu (eta): returns the new coefficients, and X^T W X in XtWX.
VectorXd IrlsStep(TFamily f, const TDesign& X, const TData& d, const VectorXd& eta, const VectorXd& mu,
                  MatrixXd& XtWX, bool& ok) {
  const Eigen::Index p = X.Cols();
  XtWX.setZero(p, p);
  VectorXd XtWz = VectorXd::Zero(p);
  MatrixXd blk;
  VectorXd w, z;
  for (Eigen::Index r0 = 0; r0 < X.Rows(); r0 += kBlockRows) {
    const Eigen::Index nr = std::min(kBlockRows, X.Rows() - r0);
    X.Block(r0, nr, blk);
    w.resize(nr);
    z.resize(nr);
    for (Eigen::Index r = 0; r < nr; ++r) {
      const Eigen::Index i = r0 + r;
      // Canonical links: W = m * dmu/deta and z = eta - offset + (y/m - mu) / (dmu/deta).
      const double dmu = f == TFamily::binomial ? mu[i] * (1 - mu[i]) : mu[i];
      w[r] = d.m[i] * dmu;
      z[r] = eta[i] - d.off[i] + (d.y[i] / d.m[i] - mu[i]) / dmu;
    }
    XtWX.selfadjointView<Eigen::Lower>().rankUpdate(blk.transpose() * w.cwiseSqrt().asDiagonal());
    XtWz.noalias() += blk.transpose() * (w.cwiseProduct(z));
  }
  XtWX = XtWX.selfadjointView<Eigen::Lower>();
  Eigen::LDLT<MatrixXd> ldlt(XtWX);
  const double tiny = 1e-13 * XtWX.diagonal().cwiseAbs().maxCoeff();
  ok = ldlt.info() == Eigen::Success && (ldlt.vectorD().array() > tiny).all();
  return ldlt.solve(XtWz);
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

void FitGlm(const char* Name, TFamily f, const TDesign& X, const TData& d, bool Constant, int MaxIter,
            double Tolerance, TMtxFloatPrecision prec, TGlmOut out) {
  const std::string pre = std::string(Name) + ": ";
  const Eigen::Index n = X.Rows(), p = X.Cols();
  // Start from the data themselves (mu between the observations and the mean).
  VectorXd mu(n), eta(n);
  for (Eigen::Index i = 0; i < n; ++i) {
    mu[i] = f == TFamily::binomial ? (d.y[i] + 0.5) / (d.m[i] + 1) : d.y[i] + 0.1;
    eta[i] = f == TFamily::binomial ? std::log(mu[i] / (1 - mu[i])) : std::log(mu[i]);
  }
  double dev = Deviance(f, d, mu);
  VectorXd b = VectorXd::Zero(p);
  MatrixXd XtWX;
  bool converged = false;
  int it = 0;
  while (it < MaxIter && !converged) {
    ++it;
    bool ok = false;
    VectorXd bNew = IrlsStep(f, X, d, eta, mu, XtWX, ok);
    if (!ok) ERaise(pre + "singular design matrix");
    VectorXd etaNew = LinearPredictor(X, bNew, d.off);
    // Halve the step while the fit is not finite or the deviance rises (the first step
    // starts from the data, not from coefficients, so it is taken as it comes).
    double devNew = kNaN;
    for (int h = 0; h < 30; ++h) {
      mu = etaNew.unaryExpr([f](double e) { return Mean(f, e); });
      devNew = Deviance(f, d, mu);
      if (std::isfinite(devNew) && (it == 1 || devNew <= dev * (1 + 1e-12) + 1e-12)) break;
      bNew = (b + bNew) / 2;
      etaNew = LinearPredictor(X, bNew, d.off);
    }
    if (!std::isfinite(devNew)) ERaise(pre + "the fit is not finite");
    converged = std::fabs(devNew - dev) <= Tolerance * (std::fabs(devNew) + 0.1);
    b = bNew;
    eta = etaNew;
    dev = devNew;
    if (f == TFamily::binomial && eta.cwiseAbs().maxCoeff() > kSeparationEta)
      ERaise(pre + "complete or quasi-complete separation: fitted probabilities 0 or 1");
  }
  // Covariance (X^T W X)^-1 at the final fit.
  bool ok = false;
  IrlsStep(f, X, d, eta, mu, XtWX, ok);
  MatrixXd cov = ok ? MatrixXd(XtWX.ldlt().solve(MatrixXd::Identity(p, p))) : MatrixXd::Constant(p, p, kNaN);

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
  for (int i = 0; i < v.Length(); ++i) e[i] = v[i];
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
  for (int i = 0; i < A.Length(); ++i)
    if (!std::isfinite(A.Values(i))) ERaise(pre + "A is not finite");
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
  FitGlm("LogisticRegress", TFamily::binomial, TDesign(A, Constant), d, Constant, MaxIter, Tolerance,
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
  FitGlm("PoissonRegress", TFamily::poisson, TDesign(A, Constant), d, Constant, MaxIter, Tolerance,
         Y.FloatPrecision(), {B, Stats, BStdDev, Z, PValues, Cov, YCalc});
}

}  // namespace Regress
