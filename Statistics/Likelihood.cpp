// Negative log-likelihoods for maximum-likelihood fitting and the standard errors of the
// estimates from the outer product of the per-observation scores.

#include "Statistics/detail/Likelihood.h"
#include "Statistics/detail/WeibullLogLike.h"

#include <Eigen/Core>
#include <array>
#include <boost/math/special_functions/gamma.hpp>
#include <cmath>
#include <limits>
#include <memory>
#include <vector>

namespace Statistics::detail {

using namespace Kalix;

namespace {

using TPars = std::array<double, 3>;

TPars ReadPars(TLikeDist Dist, std::span<const double> Pars) {
  const std::size_t k = static_cast<std::size_t>(ParCount(Dist));
  if (Pars.size() < k) ERaise("NegLogLike: Pars.Length too small");
  TPars p{};
  for (std::size_t j = 0; j < k; ++j) p[j] = Pars[j];
  return p;
}

TPars ReadPars(TLikeDist Dist, const TVec& Pars) {
  TPars p{};
  for (int j = 0; j < ParCount(Dist); ++j) p[static_cast<std::size_t>(j)] = Pars.Values(j);
  return p;
}

// Dst = density of X at p, in X's precision.
void Density(TLikeDist Dist, TVec& Dst, const TDenseKalix& X, const TPars& p) {
  switch (Dist) {
    case TLikeDist::Beta: BetaPDF(Dst, X, p[0], p[1]); break;
    case TLikeDist::Cauchy: CauchyPDF(Dst, X, p[0], p[1]); break;
    case TLikeDist::F: FPDF(Dst, X, Round(p[0]), Round(p[1])); break;
    case TLikeDist::Gamma: GammaPDF(Dst, X, p[0], p[1]); break;
    case TLikeDist::Student: StudentPDF(Dst, X, Round(p[0])); break;
    case TLikeDist::Triangular: TriangularPDF(Dst, X, p[0], p[1], p[2]); break;
    case TLikeDist::Weibull: WeibullPDF(Dst, X, p[0], p[1]); break;
  }
}

// Dst = ln of the density (plus the Weibull floor in the objective).
void LogDensity(TLikeDist Dist, TVec& Dst, const TDenseKalix& X, const TPars& p, bool floor) {
  Density(Dist, Dst, X, p);
  if (floor && Dist == TLikeDist::Weibull) Add(Dst, kWeibullFloor);
  Ln(Dst);
}

double PerElement(TLikeDist Dist, const TDenseKalix& X, const TPars& p) {
  TVecScratch lnf;
  LogDensity(Dist, *lnf, X, p, true);
  return -Sum(*lnf);
}

// ---------------------------------------------------------------- sufficient statistics

// lnGamma without the sign global of std::lgamma, so concurrent fits do not race.
double LnGamma(double x) {
  using Pol = boost::math::policies::policy<boost::math::policies::domain_error<boost::math::policies::ignore_error>,
                                            boost::math::policies::pole_error<boost::math::policies::ignore_error>,
                                            boost::math::policies::overflow_error<boost::math::policies::ignore_error>,
                                            boost::math::policies::evaluation_error<boost::math::policies::ignore_error>>;
  return boost::math::lgamma(x, Pol());
}

bool PositivePars(double a, double b) { return a > 0 && b > 0 && std::isfinite(a) && std::isfinite(b); }

// Sums over the data when every x lies inside the open support: Gamma wants sum x and
// sum ln x, Beta sum ln x and sum ln(1 - x). The sums of logarithms come from the geometric
// mean, whose blocked mantissa products cost about a plain sum; it is finite and positive
// exactly when every element is (a geometric mean beyond the double range only costs the
// fast path).
struct TSuffStats {
  bool Inside = false;
  double N = 0, S1 = 0, S2 = 0;
};

// n ln G, or NaN when the geometric mean G is not a positive finite number.
double SumOfLogs(const TVec& X) {
  const double g = MeanG(X);
  return g > 0 && g < std::numeric_limits<double>::infinity() ? X.Length() * std::log(g)
                                                              : std::numeric_limits<double>::quiet_NaN();
}

TSuffStats SuffStats(TLikeDist Dist, const TVec& X) {
  TSuffStats s;
  s.N = X.Length();
  if (Dist == TLikeDist::Beta) {
    TVecScratch c;
    c->SizeAs(X);
    Normalize(*c, X, 1.0, -1.0);  // 1 - x
    s.S1 = SumOfLogs(X);
    s.S2 = SumOfLogs(*c);
  } else {
    s.S1 = s.N * Mean(X);
    s.S2 = SumOfLogs(X);
  }
  s.Inside = s.N > 0 && std::isfinite(s.S1) && std::isfinite(s.S2);
  return s;
}

// -sum ln GammaPDF = n lnGamma(a) + n a ln b - (a - 1) sum ln x + sum x / b.
double GammaFromStats(const TSuffStats& s, double a, double b) {
  if (!PositivePars(a, b)) return std::numeric_limits<double>::quiet_NaN();
  return s.N * (LnGamma(a) + a * std::log(b)) - (a - 1) * s.S2 + s.S1 / b;
}

// -sum ln BetaPDF = n ln B(a, b) - (a - 1) sum ln x - (b - 1) sum ln(1 - x).
double BetaFromStats(const TSuffStats& s, double a, double b) {
  if (!PositivePars(a, b)) return std::numeric_limits<double>::quiet_NaN();
  return s.N * (LnGamma(a) + LnGamma(b) - LnGamma(a + b)) - (a - 1) * s.S1 - (b - 1) * s.S2;
}

// ---------------------------------------------------------------- Weibull on ln x

// ln x computed once per fit: each objective value is then one pass of WeibullLogLikeSum.
template <class T>
struct TWeibullLogs {
  std::vector<T> LnX;

  double operator()(double a, double b) const {
    if (!PositivePars(a, b)) return std::numeric_limits<double>::quiet_NaN();
    return -WeibullLogLikeSum(std::span<const T>(LnX), a, b);
  }
};

template <class T>
std::shared_ptr<const TWeibullLogs<T>> WeibullLogs(std::span<const T> x) {
  for (const T v : x)
    if (!(v > T(0) && v < std::numeric_limits<T>::infinity())) return nullptr;
  auto w = std::make_shared<TWeibullLogs<T>>();
  w->LnX.resize(x.size());
  for (std::size_t i = 0; i < x.size(); ++i) w->LnX[i] = std::log(x[i]);
  return w;
}

template <class T>
using TArrayMap = Eigen::Map<Eigen::Array<T, Eigen::Dynamic, 1>>;

template <class T>
TArrayMap<T> ArrayOf(TVec& v) {
  return TArrayMap<T>(v.Span<T>().data(), v.Length());
}

// ln x (and ln(1 - x) for Beta) of data inside the open support, so that the Gamma, Weibull
// and Beta log-densities are vectorised arithmetic on them instead of one density call per
// element.
template <class T>
struct TLogData {
  bool Inside = false;
  std::span<const T> X;
  TVec* LnX;
  TVec* Ln1mX;

  TLogData(TLikeDist Dist, std::span<const T> x, TVec& lnX, TVec& ln1mX) : X(x), LnX(&lnX), Ln1mX(&ln1mX) {
    const bool beta = Dist == TLikeDist::Beta;
    if (!beta && Dist != TLikeDist::Gamma && Dist != TLikeDist::Weibull) return;
    const T top = beta ? T(1) : std::numeric_limits<T>::infinity();
    for (const T v : x)
      if (!(v > T(0) && v < top)) return;
    const Eigen::Map<const Eigen::Array<T, Eigen::Dynamic, 1>> xm(x.data(), static_cast<Eigen::Index>(x.size()));
    const int n = static_cast<int>(x.size());
    lnX.Size(n, PrecisionOf<T>());
    ArrayOf<T>(lnX) = xm.log();
    if (beta) {
      ln1mX.Size(n, PrecisionOf<T>());
      ArrayOf<T>(ln1mX) = (-xm).log1p();
    }
    Inside = true;
  }

  void LogDensity(TLikeDist Dist, const TPars& p, TArrayMap<T> out) const {
    const double a = p[0], b = p[1];
    if (!PositivePars(a, b)) {
      out.setConstant(std::numeric_limits<T>::quiet_NaN());
      return;
    }
    const auto lx = ArrayOf<T>(*LnX);
    const Eigen::Map<const Eigen::Array<T, Eigen::Dynamic, 1>> xm(X.data(), static_cast<Eigen::Index>(X.size()));
    switch (Dist) {
      case TLikeDist::Gamma:
        out = static_cast<T>(-LnGamma(a) - a * std::log(b)) + static_cast<T>(a - 1) * lx - xm / static_cast<T>(b);
        break;
      case TLikeDist::Weibull:
        out = static_cast<T>(std::log(a) + std::log(b)) + static_cast<T>(b - 1) * lx -
              static_cast<T>(a) * (static_cast<T>(b) * lx).exp();
        break;
      default:
        out = static_cast<T>(LnGamma(a + b) - LnGamma(a) - LnGamma(b)) + static_cast<T>(a - 1) * lx +
              static_cast<T>(b - 1) * ArrayOf<T>(*Ln1mX);
    }
  }
};

const TDenseKalix& DataOf(TObjConsts ObjConsts) {
  if (ObjConsts.empty() || ObjConsts[0] == nullptr) ERaise("NegLogLike: ObjConsts[0] is not the data");
  return *ObjConsts[0];
}

}  // namespace

int ParCount(TLikeDist Dist) {
  switch (Dist) {
    case TLikeDist::Student: return 1;
    case TLikeDist::Triangular: return 3;
    default: return 2;
  }
}

double NegLogLikePerElement(TLikeDist Dist, const TDenseKalix& X, std::span<const double> Pars) {
  return PerElement(Dist, X, ReadPars(Dist, Pars));
}

// Forward differences of each observation's log-density form the n x p score matrix J; with
// J = QR, (J^T J)^-1 = R^-1 R^-T.
void ScoreStdErrors(TLikeDist Dist, const TDenseKalix& X, std::span<const double> Pars, TTwoElmReal& StdErr) {
  const TPars p = ReadPars(Dist, Pars);
  const int k = ParCount(Dist), n = X.Length();
  const double h = X.PrecisionSqrtEPS();
  TVecScratch f0, f1, lnX, lnY;
  TMtxScratch score, r;
  score->Size(n, k, X.FloatPrecision());
  WithPrecision(X, [&](auto t) {
    using T = typename decltype(t)::type;
    const TLogData<T> logs(Dist, X.Span<T>(), *lnX, *lnY);
    auto logDensity = [&](const TPars& q, TVec& out) {
      out.Size(n, X.FloatPrecision());
      if (!logs.Inside) return LogDensity(Dist, out, X, q, false);
      logs.LogDensity(Dist, q, ArrayOf<T>(out));
    };
    logDensity(p, *f0);
    const std::span<const T> base = f0->Span<T>();
    const auto j = score->Span<T>();
    const T scale = static_cast<T>(-1.0 / h);
    for (int c = 0; c < k; ++c) {
      TPars q = p;
      q[static_cast<std::size_t>(c)] += h;
      logDensity(q, *f1);
      const std::span<const T> moved = f1->Span<T>();
      for (std::size_t i = 0; i < base.size(); ++i)
        j[i * static_cast<std::size_t>(k) + static_cast<std::size_t>(c)] = (moved[i] - base[i]) * scale;
    }
  });
  LQR(*score, *r);
  Inv(*r);
  for (int c = 0; c < 2 && c < k; ++c) {
    double v = 0;
    for (int m = c; m < r->Cols(); ++m) v += r->Values(c, m) * r->Values(c, m);
    StdErr[static_cast<std::size_t>(c)] = std::sqrt(v);
  }
}

TRealFunction MakeObjective(TLikeDist Dist, const TDenseKalix& X) {
  const TDenseKalix* data = &X;
  auto perElement = [Dist, data](const TVec& Pars, const TVec&, TObjConsts) {
    return PerElement(Dist, *data, ReadPars(Dist, Pars));
  };
  if (Dist == TLikeDist::Gamma || Dist == TLikeDist::Beta) {
    if (X.KalixType() != ktVec) return perElement;
    const TSuffStats s = SuffStats(Dist, static_cast<const TVec&>(X));
    if (!s.Inside) return perElement;
    if (Dist == TLikeDist::Gamma)
      return [s](const TVec& Pars, const TVec&, TObjConsts) { return GammaFromStats(s, Pars.Values(0), Pars.Values(1)); };
    return [s](const TVec& Pars, const TVec&, TObjConsts) { return BetaFromStats(s, Pars.Values(0), Pars.Values(1)); };
  }
  if (Dist == TLikeDist::Weibull) {
    return WithPrecision(X, [&](auto t) -> TRealFunction {
      using T = typename decltype(t)::type;
      auto w = WeibullLogs<T>(X.Span<T>());
      if (!w) return perElement;
      return [w](const TVec& Pars, const TVec&, TObjConsts) { return (*w)(Pars.Values(0), Pars.Values(1)); };
    });
  }
  return perElement;
}

double NegLogLike(TLikeDist Dist, const TVec& Pars, TObjConsts ObjConsts, TTwoElmReal* StdErr) {
  const TDenseKalix& x = DataOf(ObjConsts);
  const TPars p = ReadPars(Dist, Pars);
  const double value = MakeObjective(Dist, x)(Pars, Pars, ObjConsts);
  if (StdErr != nullptr) ScoreStdErrors(Dist, x, std::span<const double>(p.data(), 3), *StdErr);
  return value;
}

}  // namespace Statistics::detail
