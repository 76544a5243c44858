// Stepwise selection of regressors. The (centred) cross-product matrix of [A | Y] is kept
// swept on the selected columns (Goodnight, "A tutorial on the SWEEP operator", The American
// Statistician 33, 1979, in its reversible form): each entry or removal is one O(q^2) sweep
// instead of a new least-squares fit, and the swept matrix hands every candidate's change of
// the residual sum of squares at once.

#include <Eigen/Core>
#include <algorithm>
#include <boost/math/distributions/fisher_f.hpp>
#include <cmath>
#include <cstddef>
#include <limits>
#include <string>
#include <vector>

#include "Regress/Regress.h"

namespace Regress {

using namespace Kalix;

namespace {

using TRowMtx = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;
using TMap = Eigen::Map<TRowMtx>;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
// A column whose residual sum of squares on the selected ones falls below this fraction of
// its own is (nearly) their linear combination: sweeping it would divide by rounding noise.
constexpr double kCollinear = 1e-10;
// Rows per block while the cross products are accumulated.
constexpr Eigen::Index kBlockRows = 1024;

// The data in double, centred on their means with a constant term: column j of A, then Y.
struct TCentredData {
  std::vector<double> mean;  // q = p + 1 values, zeros without a constant term
  Eigen::Index n = 0, q = 0;
};

template <class T>
double Value(const T* a, const T* y, Eigen::Index p, Eigen::Index i, Eigen::Index j) {
  return static_cast<double>(j < p ? a[i * p + j] : y[i]);
}

// Means by two passes (the second repairs the first's rounding), then G = Z^T Z of the
// centred data, accumulated a block of rows at a time.
template <class T>
void CrossProducts(const TVec& Y, const TMtx& A, bool Constant, TCentredData& cd, TMap G) {
  const T* a = A.Span<T>().data();
  const T* y = Y.Span<T>().data();
  const Eigen::Index n = cd.n, p = cd.q - 1, q = cd.q;
  cd.mean.assign(static_cast<std::size_t>(q), 0.0);
  if (Constant && n > 0)
    for (Eigen::Index j = 0; j < q; ++j) {
      double s = 0, e = 0;
      for (Eigen::Index i = 0; i < n; ++i) s += Value(a, y, p, i, j);
      const double m = s / static_cast<double>(n);
      for (Eigen::Index i = 0; i < n; ++i) e += Value(a, y, p, i, j) - m;
      cd.mean[static_cast<std::size_t>(j)] = m + e / static_cast<double>(n);
    }
  G.setZero();
  TRowMtx blk;
  for (Eigen::Index r0 = 0; r0 < n; r0 += kBlockRows) {
    const Eigen::Index nr = std::min(kBlockRows, n - r0);
    blk.resize(nr, q);
    for (Eigen::Index r = 0; r < nr; ++r)
      for (Eigen::Index j = 0; j < q; ++j) blk(r, j) = Value(a, y, p, r0 + r, j) - cd.mean[static_cast<std::size_t>(j)];
    G.noalias() += blk.transpose() * blk;
  }
}

// Sweeps G on pivot k (Forward) or undoes that sweep. Swept on a set S, G holds
// -(X_S^T X_S)^-1 on S x S, the coefficients of every other column regressed on S in rows S,
// and the residual cross products of the other columns (Y's residual sum of squares last).
void Sweep(TMap G, Eigen::Index k, bool Forward) {
  const Eigen::Index q = G.rows();
  const double d = G(k, k);
  for (Eigen::Index i = 0; i < q; ++i) {
    if (i == k) continue;
    const double gik = G(i, k) / d;
    for (Eigen::Index j = 0; j < q; ++j)
      if (j != k) G(i, j) -= gik * G(k, j);
  }
  const double s = Forward ? 1 / d : -1 / d;
  for (Eigen::Index i = 0; i < q; ++i)
    if (i != k) {
      G(i, k) *= s;
      G(k, i) = G(i, k);
    }
  G(k, k) = -1 / d;
}

// The statistics of one candidate step, and the search state they are computed from.
struct TCandidate {
  Eigen::Index col = -1;
  bool enter = false;
  double F = kNaN, p = kNaN, sse = kNaN, aic = kNaN;
};

class TSearch {
 public:
  TSearch(TMap G, std::vector<double> diag0, Eigen::Index n, bool Constant)
      : g_(G), diag0_(std::move(diag0)), in_(diag0_.size(), false), n_(n), c_(Constant ? 1 : 0) {}

  double SSE() const { return g_(Y(), Y()); }
  Eigen::Index Params() const { return count_ + c_; }
  double AIC(double sse, Eigen::Index params) const {
    const double n = static_cast<double>(n_);
    return n * std::log(sse / n) + 2 * static_cast<double>(params);
  }
  bool In(Eigen::Index j) const { return in_[static_cast<std::size_t>(j)]; }

  // Column j may enter: not selected, not collinear with the selection, leaves a residual df.
  bool CanEnter(Eigen::Index j) const {
    const double d0 = diag0_[static_cast<std::size_t>(j)];
    return !In(j) && d0 > 0 && g_(j, j) > kCollinear * d0 && n_ - Params() - 1 >= 1;
  }

  // Partial F of entering or removing j: the change of the residual sum of squares over
  // the residual mean square of the larger model, on 1 and its residual df.
  TCandidate Evaluate(Eigen::Index j, bool enter) const {
    TCandidate c;
    c.col = j;
    c.enter = enter;
    const double gjy = g_(j, Y()), gjj = g_(j, j);
    const double delta = enter ? gjy * gjy / gjj : -gjy * gjy / gjj;
    const double sseLarge = enter ? SSE() - delta : SSE();
    const Eigen::Index dfLarge = n_ - Params() - (enter ? 1 : 0);
    c.sse = enter ? sseLarge : SSE() + delta;
    c.aic = AIC(c.sse, Params() + (enter ? 1 : -1));
    c.F = delta / (std::max(sseLarge, 0.0) / static_cast<double>(dfLarge));
    if (dfLarge >= 1 && !std::isnan(c.F))
      c.p = std::isinf(c.F) ? 0.0
                            : boost::math::cdf(boost::math::complement(
                                  boost::math::fisher_f_distribution<double>(1, static_cast<double>(dfLarge)), c.F));
    return c;
  }

  void Apply(const TCandidate& c, std::vector<TStepwiseStep>* Path) {
    Sweep(g_, c.col, c.enter);
    in_[static_cast<std::size_t>(c.col)] = c.enter;
    count_ += c.enter ? 1 : -1;
    if (Path) Path->push_back({static_cast<int>(c.col), c.enter, c.F, c.p, SSE(), AIC(SSE(), Params())});
  }

  Eigen::Index Columns() const { return static_cast<Eigen::Index>(in_.size()); }

 private:
  Eigen::Index Y() const { return g_.rows() - 1; }
  TMap g_;
  std::vector<double> diag0_;
  std::vector<bool> in_;
  Eigen::Index n_, c_, count_ = 0;
};

// The best entering column by the F test (smallest p-value) or by AIC (lowest); col -1 if none.
TCandidate BestEntry(const TSearch& s, bool aic) {
  TCandidate best;
  for (Eigen::Index j = 0; j < s.Columns(); ++j) {
    if (!s.CanEnter(j)) continue;
    const TCandidate c = s.Evaluate(j, true);
    if (best.col < 0 || (aic ? c.aic < best.aic : c.p < best.p)) best = c;
  }
  return best;
}

TCandidate BestRemoval(const TSearch& s, bool aic) {
  TCandidate best;
  for (Eigen::Index j = 0; j < s.Columns(); ++j) {
    if (!s.In(j)) continue;
    const TCandidate c = s.Evaluate(j, false);
    if (best.col < 0 || (aic ? c.aic < best.aic : c.p > best.p)) best = c;
  }
  return best;
}

struct TSettings {
  TStepwiseMethod method;
  bool aic;
  double pEnter, pRemove;
};

void Search(TSearch& s, const TSettings& st, std::vector<TStepwiseStep>* Path) {
  const bool forward = st.method != swBackward, backward = st.method != swForward;
  if (st.method == swBackward)
    for (Eigen::Index j = 0; j < s.Columns(); ++j)
      if (s.CanEnter(j)) s.Apply(s.Evaluate(j, true), nullptr);
  // Each column can enter and leave a bounded number of times; the bound only guards
  // against a cycle of ties, which the strict comparisons below already exclude.
  const Eigen::Index maxSteps = 4 * (s.Columns() + 1);
  for (Eigen::Index step = 0; step < maxSteps; ++step) {
    if (st.aic) {
      // The single entry or removal that lowers AIC most.
      const double now = s.AIC(s.SSE(), s.Params());
      TCandidate best;
      if (forward) best = BestEntry(s, true);
      if (backward) {
        const TCandidate r = BestRemoval(s, true);
        if (r.col >= 0 && (best.col < 0 || r.aic < best.aic)) best = r;
      }
      if (best.col < 0 || !(best.aic < now)) return;
      s.Apply(best, Path);
      continue;
    }
    if (st.method == swBackward) {
      const TCandidate r = BestRemoval(s, false);
      if (r.col < 0 || !(r.p > st.pRemove)) return;
      s.Apply(r, Path);
      continue;
    }
    const TCandidate e = BestEntry(s, false);
    if (e.col < 0 || !(e.p < st.pEnter)) return;
    s.Apply(e, Path);
    if (!backward) continue;
    // Efroymson's rule: after an entry, drop the weakest column while it fails PRemove.
    for (TCandidate r = BestRemoval(s, false); r.col >= 0 && r.p > st.pRemove; r = BestRemoval(s, false))
      s.Apply(r, Path);
  }
}

// The final coefficients from the swept matrix, refined by one step of iterative refinement
// against the data (b += C X^T r), which recovers the digits the normal equations lose.
template <class T>
void FinalFit(const TVec& Y, const TMtx& A, const TSearch& s, const TMap G, const TCentredData& cd, bool Constant,
              TVecInt& Selected, TVec& B, TRegStats& Stats, TVec* BStdDev) {
  const Eigen::Index n = cd.n, p = cd.q - 1;
  std::vector<Eigen::Index> sel;
  for (Eigen::Index j = 0; j < p; ++j)
    if (s.In(j)) sel.push_back(j);
  const Eigen::Index k = static_cast<Eigen::Index>(sel.size());
  Eigen::VectorXd b(k), m(k);
  Eigen::MatrixXd C(k, k);
  for (Eigen::Index r = 0; r < k; ++r) {
    b[r] = G(sel[r], p);
    m[r] = cd.mean[static_cast<std::size_t>(sel[r])];
    for (Eigen::Index c = 0; c < k; ++c) C(r, c) = -G(sel[r], sel[c]);
  }
  const T* a = A.Span<T>().data();
  const T* y = Y.Span<T>().data();
  const double my = cd.mean[static_cast<std::size_t>(p)];
  auto residual = [&](Eigen::Index i) {
    double r = static_cast<double>(y[i]) - my;
    for (Eigen::Index c = 0; c < k; ++c) r -= (static_cast<double>(a[i * p + sel[c]]) - m[c]) * b[c];
    return r;
  };
  if (k > 0) {
    Eigen::VectorXd g = Eigen::VectorXd::Zero(k);
    for (Eigen::Index i = 0; i < n; ++i) {
      const double r = residual(i);
      for (Eigen::Index c = 0; c < k; ++c) g[c] += (static_cast<double>(a[i * p + sel[c]]) - m[c]) * r;
    }
    b += C * g;
  }
  const int c0 = Constant ? 1 : 0, np = static_cast<int>(k) + c0;
  const TMtxFloatPrecision prec = Y.FloatPrecision();
  TVecScratch yc;
  yc->Size(static_cast<int>(n), prec);
  for (Eigen::Index i = 0; i < n; ++i) yc->Values(static_cast<int>(i)) = static_cast<double>(y[i]) - residual(i);
  RegressTest(Y, *yc, np, Stats, Constant);

  Selected.Size(static_cast<int>(k));
  for (Eigen::Index r = 0; r < k; ++r) Selected[static_cast<int>(r)] = static_cast<int>(sel[r]);
  B.Size(np, prec);
  if (Constant) B[0] = my - m.dot(b);
  for (Eigen::Index r = 0; r < k; ++r) B[c0 + static_cast<int>(r)] = b[r];
  if (BStdDev) {
    // The intercept of the centred fit is the mean of Y, uncorrelated with the slopes.
    const double s2 = Stats.ResidualVar;
    BStdDev->Size(np, prec);
    if (Constant) (*BStdDev)[0] = std::sqrt(s2 * (1 / static_cast<double>(n) + m.dot(C * m)));
    for (Eigen::Index r = 0; r < k; ++r) (*BStdDev)[c0 + static_cast<int>(r)] = std::sqrt(s2 * C(r, r));
  }
}

template <class T>
void StepwiseKernel(const TVec& Y, const TMtx& A, TVecInt& Selected, TVec& B, TRegStats& Stats, TVec* BStdDev,
                    std::vector<TStepwiseStep>* Path, bool Constant, const TSettings& st) {
  TCentredData cd;
  cd.n = Y.Length();
  cd.q = A.Cols() + 1;
  TMtxScratch gs;
  gs->Size(static_cast<int>(cd.q), static_cast<int>(cd.q), mvDouble);
  TMap G(gs->Span<double>().data(), cd.q, cd.q);
  CrossProducts<T>(Y, A, Constant, cd, G);
  std::vector<double> diag0(static_cast<std::size_t>(cd.q - 1));
  for (Eigen::Index j = 0; j + 1 < cd.q; ++j) diag0[static_cast<std::size_t>(j)] = G(j, j);
  TSearch s(G, std::move(diag0), cd.n, Constant);
  if (Path) Path->clear();
  Search(s, st, Path);
  FinalFit<T>(Y, A, s, G, cd, Constant, Selected, B, Stats, BStdDev);
}

}  // namespace

void StepwiseRegress(const TVec& Y, const TMtx& A, TVecInt& Selected, TVec& B, TRegStats& Stats, TVec* BStdDev,
                     std::vector<TStepwiseStep>* Path, bool Constant, TStepwiseMethod Method,
                     TStepwiseCriterion Criterion, double PEnter, double PRemove) {
  const char* pre = "StepwiseRegress: ";
  auto raise = [pre](const char* what) { ERaise(std::string(pre) + what); };
  if (Y.Complex() || A.Complex()) raise("Y.Complex or A.Complex");
  if (Y.Length() != A.Rows()) raise("Y.Length <> A.Rows");
  if (Y.FloatPrecision() != A.FloatPrecision()) raise("Y.FloatPrecision <> A.FloatPrecision");
  for (int i = 0; i < Y.Length(); ++i)
    if (!std::isfinite(Y.Values(i))) raise("Y or A is not finite");
  for (int i = 0; i < A.Length(); ++i)
    if (!std::isfinite(A.Values(i))) raise("Y or A is not finite");
  if (Method < swForward || Method > swBoth) raise("unknown Method");
  if (Criterion != swcFTest && Criterion != swcAIC) raise("unknown Criterion");
  if (Criterion == swcFTest) {
    if (!(PEnter >= 0 && PEnter <= 1 && PRemove >= 0 && PRemove <= 1)) raise("PEnter or PRemove outside [0, 1]");
    if (PEnter > PRemove) raise("PEnter > PRemove");
  }
  const TSettings st{Method, Criterion == swcAIC, PEnter, PRemove};
  WithPrecision(Y, [&](auto t) {
    StepwiseKernel<typename decltype(t)::type>(Y, A, Selected, B, Stats, BStdDev, Path, Constant, st);
  });
}

}  // namespace Regress
