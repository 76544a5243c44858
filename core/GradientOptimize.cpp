#include "GradientOptimize.h"

#include <Eigen/Core>
#include <Eigen/LU>
#include <Eigen/QR>
#include <unsupported/Eigen/LevenbergMarquardt>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <string>

#include "Errors.h"
#include "ScalarMath.h"

namespace Kalix {

namespace {

using Eigen::MatrixXd;
using Eigen::VectorXd;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();
// Line-search constants: sufficient decrease, and the curvature condition of conjugate gradients.
constexpr double kArmijo = 1e-4, kCurvature = 0.1;

double EpsOf(TMtxFloatPrecision p) { return p == mvSingle ? double{EPS_SINGLE} : EPS_DOUBLE; }

// The parameters as the objective sees them: a TVec of the working precision. Load rounds x
// to that precision in place, so the optimiser's point and the evaluated point agree.
class TParHolder {
 public:
  TParHolder(int n, TMtxFloatPrecision p) : par_(n, p) {}
  const TVec& Load(VectorXd& x) {
    for (int j = 0; j < static_cast<int>(x.size()); ++j) {
      par_.Values(j) = x[j];
      x[j] = par_.Values(j);
    }
    return par_;
  }

 private:
  TVec par_;
};

void AddLog(std::vector<std::string>* Log, int it, double f) {
  if (Log == nullptr) return;
  char line[96];
  std::snprintf(line, sizeof line, "Iter %d: FMin = %.17g", it, f);
  Log->emplace_back(line);
}

void WriteMatrix(const MatrixXd& M, TMtx& Dst, TMtxFloatPrecision p) {
  const int n = static_cast<int>(M.rows());
  Dst.Size(n, n, p);
  for (int r = 0; r < n; ++r)
    for (int c = 0; c < n; ++c) Dst(r, c) = M(r, c);
}

void CheckCommon(const char* Name, std::size_t n, int MaxIter, double Tolerance) {
  const std::string p = std::string(Name) + ": ";
  if (n == 0) ERaise(p + "Pars is empty");
  if (MaxIter < 0) ERaise(p + "MaxIter < 0");
  if (!(Tolerance >= 0)) ERaise(p + "Tolerance < 0");
}

// ---------------------------------------------------------------- Levenberg-Marquardt

// Residuals and Jacobian in the shape the trust-region solver wants. Forward differences
// reuse the residuals of the last evaluated point, which is the accepted iterate.
struct TLMFunctor : Eigen::DenseFunctor<double> {
  TLMFunctor(const TResidualProc& f, const TJacobianProc& j, const TVec& c, TObjConsts oc, TMtxFloatPrecision p,
             int m, int n)
      : DenseFunctor<double>(n, m), fun(f), jac(j), consts(c), objConsts(oc), prec(p), pars(n, p) {}

  int operator()(const VectorXd& x, VectorXd& fvec) {
    lastX = x;
    const TVec& par = pars.Load(lastX);
    fun(par, consts, objConsts, res);
    if (res.Length() != values()) ERaise("Marquardt: the residual procedure changed the number of residuals");
    fvec.resize(values());
    for (int i = 0; i < values(); ++i) fvec[i] = res[i];
    lastF = fvec;
    return 0;
  }

  int df(const VectorXd& x, JacobianType& fjac) {
    fjac.resize(values(), inputs());
    if (jac) {
      VectorXd xr = x;
      jac(pars.Load(xr), consts, objConsts, J);
      if (J.Rows() != values() || J.Cols() != inputs()) ERaise("Marquardt: the Jacobian has the wrong size");
      for (int i = 0; i < values(); ++i)
        for (int k = 0; k < inputs(); ++k) fjac(i, k) = J(i, k);
    } else {
      if (lastX.size() != x.size() || lastX != x) {
        VectorXd f0;
        (*this)(x, f0);
      }
      const VectorXd x0 = lastX, f0 = lastF;
      const double step = prec == mvSingle ? double{GradStepSizeSingle} : GradStepSize;
      VectorXd xt = x0, ft;
      for (int k = 0; k < inputs(); ++k) {
        const double h = step * std::max(std::fabs(x0[k]), 1.0);
        xt[k] = x0[k] + h;
        (*this)(xt, ft);
        fjac.col(k) = (ft - f0) / (lastX[k] - x0[k]);
        xt[k] = x0[k];
      }
      lastX = x0;
      lastF = f0;
    }
    if (!fjac.allFinite()) return -1;
    return 0;
  }

  const TResidualProc& fun;
  const TJacobianProc& jac;
  const TVec& consts;
  TObjConsts objConsts;
  TMtxFloatPrecision prec;
  TParHolder pars;
  TVec res;
  TMtx J;
  VectorXd lastX, lastF;
};

TOptStopReason FromLM(Eigen::LevenbergMarquardtSpace::Status s) {
  using namespace Eigen::LevenbergMarquardtSpace;
  switch (s) {
    case RelativeReductionTooSmall:
    case RelativeErrorTooSmall:
    case RelativeErrorAndReductionTooSmall:
    case CosinusTooSmall:
    // No further progress is possible at machine precision: as converged as can be.
    case FtolTooSmall:
    case XtolTooSmall:
    case GtolTooSmall: return optConverged;
    case TooManyFunctionEvaluation: return optMaxIterReached;
    case UserAsked: return optNaNObjective;  // the Jacobian was not finite
    default: return optSingular;
  }
}

// (J^T J)^-1 from a column-pivoted QR of J, so the condition number is not squared. The
// columns are scaled to unit length first: the rank test then sees the columns' directions,
// not their units, and flags a Jacobian whose scaled condition is beyond about 1e9 (a
// central-difference Jacobian of a product of two parameters differs from rank 1 by 1e-11).
MatrixXd GaussNewtonInverse(const MatrixXd& J) {
  const Eigen::Index n = J.cols();
  const VectorXd norms = J.colwise().norm().transpose();
  if (!(norms.array() > 0).all()) return MatrixXd::Constant(n, n, kNaN);
  const MatrixXd Js = J * norms.cwiseInverse().asDiagonal();
  Eigen::ColPivHouseholderQR<MatrixXd> qr(Js);
  qr.setThreshold(1e-9);
  if (qr.rank() < n) return MatrixXd::Constant(n, n, kNaN);
  const MatrixXd R = qr.matrixR().topLeftCorner(n, n).triangularView<Eigen::Upper>();
  const MatrixXd Rinv = R.triangularView<Eigen::Upper>().solve(MatrixXd::Identity(n, n));
  const auto P = qr.colsPermutation();
  const MatrixXd C = P * (Rinv * Rinv.transpose()) * P.transpose();
  return norms.cwiseInverse().asDiagonal() * C * norms.cwiseInverse().asDiagonal();
}

// Full Gauss-Newton steps from the converged point. Near the minimum the trust region's test
// of actual against predicted reduction drowns in rounding and stops short of it; undamped
// steps, kept while they do not raise the sum of squares, take the last digits.
void Polish(TLMFunctor& f, VectorXd& x, double& ss, double eps) {
  TLMFunctor::JacobianType J;
  VectorXd r, xt, rt;
  for (int k = 0; k < 5; ++k) {
    f(x, r);
    if (f.df(x, J) != 0) return;
    const VectorXd s = J.colPivHouseholderQr().solve(-r);
    xt = x + s;
    f(xt, rt);
    const double sst = rt.squaredNorm();
    if (!(sst <= ss * (1 + 4 * eps))) return;
    x = xt;
    ss = sst;
    if (s.norm() <= eps * x.norm()) return;
  }
}

// ---------------------------------------------------------------- line-search descent

enum class TDirection { bfgs, conjGrad };

class TDescent {
 public:
  TDescent(const char* Name, const TRealFunction& Fun, const TGradProc& Grad, const TVec& Consts,
           TObjConsts ObjConsts, std::span<const double> Lower, std::span<const double> Upper,
           TMtxFloatPrecision Prec, double Tol, std::vector<std::string>* Log)
      : name_(Name),
        fun_(Fun),
        grad_(Grad),
        consts_(Consts),
        objConsts_(ObjConsts),
        n_(static_cast<Eigen::Index>(Lower.size())),
        lo_(Eigen::Map<const VectorXd>(Lower.data(), n_)),
        hi_(Eigen::Map<const VectorXd>(Upper.data(), n_)),
        prec_(Prec),
        tol_(std::max(Tol, 10 * EpsOf(Prec))),
        log_(Log),
        pars_(static_cast<int>(n_), Prec) {}

  double F(VectorXd& x) {
    x = x.cwiseMax(lo_).cwiseMin(hi_);
    const double f = fun_(pars_.Load(x), consts_, objConsts_);
    return std::isnan(f) ? kInf : f;
  }

  // Gradient at x (already projected and rounded), by the caller's procedure or by central
  // differences with steps of eps^(1/3), the size that balances truncation and rounding.
  VectorXd G(const VectorXd& x) {
    VectorXd g(n_);
    VectorXd xr = x;
    if (grad_) {
      grad_(pars_.Load(xr), consts_, objConsts_, gv_);
      if (gv_.Length() != n_) ERaise(std::string(name_) + ": the gradient has the wrong length");
      for (Eigen::Index j = 0; j < n_; ++j) g[j] = gv_[static_cast<int>(j)];
      return g;
    }
    const double step = std::cbrt(EpsOf(prec_));
    for (Eigen::Index j = 0; j < n_; ++j) {
      const double h = step * std::max(1.0, std::fabs(x[j]));
      VectorXd a = x, b = x;
      a[j] += h;
      b[j] -= h;
      const double fa = fun_(pars_.Load(a), consts_, objConsts_), fb = fun_(pars_.Load(b), consts_, objConsts_);
      g[j] = (fa - fb) / (a[j] - b[j]);
    }
    return g;
  }

  // Coordinates held at a bound by the gradient: they leave the model for this iteration.
  Eigen::Array<bool, Eigen::Dynamic, 1> Active(const VectorXd& x, const VectorXd& g) const {
    return ((x.array() <= lo_.array()) && (g.array() > 0)) || ((x.array() >= hi_.array()) && (g.array() < 0));
  }

  int Run(TDirection Dir, VectorXd& x, int MaxIter, double& FMin, TOptStopReason& Reason) {
    double f = F(x);
    FMin = f;
    if (MaxIter == 0) {
      Reason = optNotStarted;
      return 0;
    }
    VectorXd g = G(x);
    if (!std::isfinite(f) || !g.allFinite()) {
      Reason = optBadStart;
      return 0;
    }
    MatrixXd H = MatrixXd::Identity(n_, n_);
    VectorXd dPrev = VectorXd::Zero(n_), gPrev = VectorXd::Zero(n_);
    double alphaPrev = 0, slopePrev = 0;
    bool scaled = false;
    Reason = optMaxIterReached;
    int it = 0;
    for (; it < MaxIter; ++it) {
      const auto active = Active(x, g);
      const VectorXd gf = active.select(VectorXd::Zero(n_), g);
      if (gf.lpNorm<Eigen::Infinity>() <= tol_ * std::max(1.0, std::fabs(f))) {
        Reason = optSmallGradient;
        break;
      }
      VectorXd d;
      if (Dir == TDirection::bfgs) {
        d = -(H * gf);
      } else {
        // PR+ (Nocedal and Wright, Numerical Optimization, 5.45): beta clipped at 0, a restart
        // every n iterations.
        const double gg = gPrev.squaredNorm();
        double beta = (it % n_ == 0 || gg == 0) ? 0 : gf.dot(gf - gPrev) / gg;
        beta = std::max(0.0, beta);
        d = -gf + beta * dPrev;
      }
      d = active.select(VectorXd::Zero(n_), d);
      double slope = gf.dot(d);
      if (!(slope < 0)) {
        H.setIdentity();
        d = -gf;
        slope = -gf.squaredNorm();
      }
      // First trial step: 1 for quasi-Newton (scaled down on the first iteration), the previous
      // step's decrease carried over for conjugate gradients (Nocedal and Wright, 3.60).
      double alpha = 1;
      const double dmax = d.lpNorm<Eigen::Infinity>();
      if (it == 0) alpha = std::min(1.0, 1.0 / dmax);
      else if (Dir == TDirection::conjGrad && slope != 0) alpha = std::min(1.0, alphaPrev * slopePrev / slope);
      VectorXd xt, gt;
      double ft = kInf;
      const bool found = Dir == TDirection::bfgs ? Backtrack(x, f, g, d, slope, alpha, xt, ft)
                                                 : Wolfe(x, f, d, slope, alpha, xt, ft, gt);
      if (!found) {
        Reason = optLineSearchFailed;
        break;
      }
      if (Dir == TDirection::bfgs) gt = G(xt);
      const VectorXd s = xt - x, y = gt - g;
      if (Dir == TDirection::bfgs) {
        const double sy = s.dot(y);
        if (sy > 1e-12 * s.norm() * y.norm()) {
          // Nocedal and Wright 6.17, with the first matrix scaled by s'y / y'y (6.20).
          if (!scaled) {
            H *= sy / y.squaredNorm();
            scaled = true;
          }
          const double rho = 1 / sy;
          const VectorXd Hy = H * y;
          H += (rho * rho * y.dot(Hy) + rho) * (s * s.transpose()) - rho * (Hy * s.transpose() + s * Hy.transpose());
        }
      }
      const double drop = f - ft;
      gPrev = gf;
      dPrev = d;
      alphaPrev = alpha;
      slopePrev = slope;
      x = xt;
      f = ft;
      g = gt;
      AddLog(log_, it + 1, f);
      if (!g.allFinite()) {
        Reason = optNaNObjective;
        ++it;
        break;
      }
      // A small decrease alone is no minimum on a flat valley floor: the gradient must be
      // small too, on the scale of the square root of the tolerance.
      const double scale = std::max(1.0, std::fabs(f));
      const VectorXd gfNew = Active(x, g).select(VectorXd::Zero(n_), g);
      if (drop <= tol_ * scale && gfNew.lpNorm<Eigen::Infinity>() <= std::sqrt(tol_) * scale) {
        Reason = optConverged;
        ++it;
        break;
      }
    }
    FMin = f;
    return it;
  }

  // Backtracking to the Armijo condition (sufficient decrease) along the projected path,
  // with safeguarded quadratic interpolation of f.
  bool Backtrack(const VectorXd& x, double f, const VectorXd& g, const VectorXd& d, double slope, double alpha,
                 VectorXd& xt, double& ft) {
    for (int k = 0; k < 60; ++k) {
      xt = x + alpha * d;
      ft = F(xt);
      if (ft <= f + kArmijo * g.dot(xt - x) && xt != x) return true;
      double next = 0.5;
      if (std::isfinite(ft)) {
        const double q = -slope * alpha / (2 * (ft - f - slope * alpha));
        if (std::isfinite(q)) next = std::clamp(q, 0.1, 0.5);
      }
      alpha *= next;
    }
    return false;
  }

  // Strong Wolfe line search by bracketing and bisection (Nocedal and Wright, Algorithms 3.5
  // and 3.6): conjugate directions need the near-exact steps that Armijo alone does not give.
  bool Wolfe(const VectorXd& x, double f, const VectorXd& d, double slope, double alpha, VectorXd& xt, double& ft,
             VectorXd& gt) {
    double lo = 0, flo = f, hi = kInf;
    for (int k = 0; k < 60; ++k) {
      xt = x + alpha * d;
      ft = F(xt);
      if (!(ft <= f + kArmijo * alpha * slope) || (k > 0 && ft >= flo)) {
        hi = alpha;
      } else {
        gt = G(xt);
        const double st = gt.dot(d);
        if (std::fabs(st) <= kCurvature * std::fabs(slope) && xt != x) return true;
        if (st >= 0) {
          hi = alpha;
        } else {
          lo = alpha;
          flo = ft;
        }
      }
      alpha = std::isinf(hi) ? 2 * alpha : 0.5 * (lo + hi);
    }
    if (lo > 0) {
      xt = x + lo * d;
      ft = F(xt);
      gt = G(xt);
      return true;
    }
    return false;
  }

  // Inverse of the central-difference Hessian of f at x, symmetrised; NaN when singular.
  MatrixXd InverseHessian(const VectorXd& x) {
    MatrixXd Hs(n_, n_);
    const double step = std::cbrt(EpsOf(prec_));
    for (Eigen::Index j = 0; j < n_; ++j) {
      const double h = step * std::max(1.0, std::fabs(x[j]));
      VectorXd a = x, b = x;
      a[j] += h;
      b[j] -= h;
      VectorXd ar = a, br = b;
      pars_.Load(ar);
      pars_.Load(br);
      Hs.col(j) = (G(ar) - G(br)) / (ar[j] - br[j]);
    }
    const MatrixXd S = 0.5 * (Hs + Hs.transpose());
    Eigen::FullPivLU<MatrixXd> lu(S);
    if (!lu.isInvertible()) return MatrixXd::Constant(n_, n_, kNaN);
    return lu.inverse();
  }

 private:
  const char* name_;
  const TRealFunction& fun_;
  const TGradProc& grad_;
  const TVec& consts_;
  TObjConsts objConsts_;
  Eigen::Index n_;
  VectorXd lo_, hi_;
  TMtxFloatPrecision prec_;
  double tol_;
  std::vector<std::string>* log_;
  TParHolder pars_;
  TVec gv_;
};

int RunDescent(const char* Name, TDirection Dir, const TRealFunction& Fun, const TGradProc& Grad,
               std::span<double> Pars, std::span<const double> Consts, TObjConsts ObjConsts,
               std::span<const double> Lower, std::span<const double> Upper, double& FMin,
               TOptStopReason& StopReason, TMtx* InvHessian, TMtxFloatPrecision Prec, int MaxIter, double Tolerance,
               std::vector<std::string>* Log) {
  CheckCommon(Name, Pars.size(), MaxIter, Tolerance);
  const std::string p = std::string(Name) + ": ";
  if (Lower.size() != Pars.size() || Upper.size() != Pars.size()) ERaise(p + "bounds do not match Pars");
  for (std::size_t j = 0; j < Pars.size(); ++j)
    if (Lower[j] > Upper[j]) ERaise(p + "LowerBounds > UpperBounds");
  const TVec consts(Consts);
  TDescent opt(Name, Fun, Grad, consts, ObjConsts, Lower, Upper, Prec, Tolerance, Log);
  VectorXd x = Eigen::Map<const VectorXd>(Pars.data(), static_cast<Eigen::Index>(Pars.size()));
  const int it = opt.Run(Dir, x, MaxIter, FMin, StopReason);
  if (StopReason != optBadStart)
    for (std::size_t j = 0; j < Pars.size(); ++j) Pars[j] = x[static_cast<Eigen::Index>(j)];
  if (InvHessian) WriteMatrix(opt.InverseHessian(x), *InvHessian, Prec);
  return it;
}

}  // namespace

int Marquardt(const TResidualProc& Fun, const TJacobianProc& Jac, std::span<double> Pars,
              std::span<const double> Consts, TObjConsts ObjConsts, double& FMin, TOptStopReason& StopReason,
              TMtx* InvHessian, TMtxFloatPrecision FloatPrecision, int MaxIter, double Tolerance,
              std::vector<std::string>* Log) {
  CheckCommon("Marquardt", Pars.size(), MaxIter, Tolerance);
  const int n = static_cast<int>(Pars.size());
  const TVec consts(Consts);
  // One evaluation at the start fixes the number of residuals.
  TParHolder start(n, FloatPrecision);
  VectorXd x = Eigen::Map<const VectorXd>(Pars.data(), n);
  TVec r0;
  Fun(start.Load(x), consts, ObjConsts, r0);
  if (r0.Length() < n) ERaise("Marquardt: fewer residuals than parameters");
  double ss = 0;
  for (int i = 0; i < r0.Length(); ++i) ss += r0[i] * r0[i];
  FMin = ss;
  if (!std::isfinite(ss)) {
    StopReason = optBadStart;
    if (InvHessian) WriteMatrix(MatrixXd::Constant(n, n, kNaN), *InvHessian, FloatPrecision);
    return 0;
  }
  TLMFunctor f(Fun, Jac, consts, ObjConsts, FloatPrecision, r0.Length(), n);
  Eigen::LevenbergMarquardt<TLMFunctor> lm(f);
  const double tol = std::max(Tolerance, 10 * EpsOf(FloatPrecision));
  // The sum of squares is quadratic near the minimum: a relative reduction of Tolerance^2
  // matches a relative step of Tolerance.
  lm.setXtol(tol);
  lm.setFtol(std::max(tol * tol, 10 * EpsOf(FloatPrecision)));
  lm.setGtol(0);
  lm.setMaxfev(std::numeric_limits<int>::max());
  auto status = lm.minimizeInit(x);
  int it = 0;
  StopReason = optNotStarted;
  using Eigen::LevenbergMarquardtSpace::Status;
  while (status == Status::NotStarted || status == Status::Running) {
    if (it == MaxIter) {
      if (it > 0) StopReason = optMaxIterReached;
      break;
    }
    status = lm.minimizeOneStep(x);
    ++it;
    AddLog(Log, it, lm.fnorm() * lm.fnorm());
    if (status != Status::NotStarted && status != Status::Running) StopReason = FromLM(status);
  }
  FMin = lm.fnorm() * lm.fnorm();
  if (StopReason == optConverged) Polish(f, x, FMin, EpsOf(FloatPrecision));
  f.pars.Load(x);
  for (int j = 0; j < n; ++j) Pars[static_cast<std::size_t>(j)] = x[j];
  if (InvHessian) {
    TLMFunctor::JacobianType J;
    const bool ok = f.df(x, J) == 0;
    WriteMatrix(ok ? GaussNewtonInverse(J) : MatrixXd::Constant(n, n, kNaN), *InvHessian, FloatPrecision);
  }
  return it;
}

int BFGS(const TRealFunction& Fun, const TGradProc& Grad, std::span<double> Pars, std::span<const double> Consts,
         TObjConsts ObjConsts, double& FMin, TOptStopReason& StopReason, TMtx* InvHessian,
         TMtxFloatPrecision FloatPrecision, int MaxIter, double Tolerance, std::vector<std::string>* Log) {
  const std::vector<double> lo(Pars.size(), -kInf), hi(Pars.size(), kInf);
  return RunDescent("BFGS", TDirection::bfgs, Fun, Grad, Pars, Consts, ObjConsts, lo, hi, FMin, StopReason,
                    InvHessian, FloatPrecision, MaxIter, Tolerance, Log);
}

int BFGS(const TRealFunction& Fun, const TGradProc& Grad, std::span<double> Pars, std::span<const double> Consts,
         TObjConsts ObjConsts, std::span<const double> LowerBounds, std::span<const double> UpperBounds,
         double& FMin, TOptStopReason& StopReason, TMtx* InvHessian, TMtxFloatPrecision FloatPrecision,
         int MaxIter, double Tolerance, std::vector<std::string>* Log) {
  return RunDescent("BFGS", TDirection::bfgs, Fun, Grad, Pars, Consts, ObjConsts, LowerBounds, UpperBounds, FMin,
                    StopReason, InvHessian, FloatPrecision, MaxIter, Tolerance, Log);
}

int ConjGrad(const TRealFunction& Fun, const TGradProc& Grad, std::span<double> Pars, std::span<const double> Consts,
             TObjConsts ObjConsts, double& FMin, TOptStopReason& StopReason, TMtx* InvHessian,
             TMtxFloatPrecision FloatPrecision, int MaxIter, double Tolerance, std::vector<std::string>* Log) {
  const std::vector<double> lo(Pars.size(), -kInf), hi(Pars.size(), kInf);
  return RunDescent("ConjGrad", TDirection::conjGrad, Fun, Grad, Pars, Consts, ObjConsts, lo, hi, FMin, StopReason,
                    InvHessian, FloatPrecision, MaxIter, Tolerance, Log);
}

int ConjGrad(const TRealFunction& Fun, const TGradProc& Grad, std::span<double> Pars, std::span<const double> Consts,
             TObjConsts ObjConsts, std::span<const double> LowerBounds, std::span<const double> UpperBounds,
             double& FMin, TOptStopReason& StopReason, TMtx* InvHessian, TMtxFloatPrecision FloatPrecision,
             int MaxIter, double Tolerance, std::vector<std::string>* Log) {
  return RunDescent("ConjGrad", TDirection::conjGrad, Fun, Grad, Pars, Consts, ObjConsts, LowerBounds, UpperBounds,
                    FMin, StopReason, InvHessian, FloatPrecision, MaxIter, Tolerance, Log);
}

}  // namespace Kalix
