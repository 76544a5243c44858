// Student's t and z tests of location: one sample, paired and pooled two samples.

#include <cmath>

#include "Statistics/Statistics.h"
#include "Statistics/detail/HypothesisRule.h"
#include "Statistics/detail/SampleMoments.h"

namespace Statistics {

using namespace Kalix;
using detail::AlphaInRange;
using detail::CriticalP;
using detail::Decide;
using detail::KnownTail;
using detail::QuietNan;
using detail::TailInterval;
using detail::TailSignif;

namespace {

struct TMeanSD {
  double mean, sd, n;
};

TMeanSD MeanAndSD(const TVec& X) {
  const detail::TSampleMoments m = detail::MeanAndVariance(X);
  return {m.mean, std::sqrt(m.var), m.n};
}

double OneSampleT(const TVec& Data, double Mu, THypothesisResult& hRes, double& Signif, TTwoElmReal& ConfInt,
                  THypothesisType hType, double Alpha) {
  if (!AlphaInRange(Alpha) || !KnownTail(hType)) return QuietNan(hRes, Signif, &ConfInt);
  const TMeanSD s = MeanAndSD(Data);
  const double se = s.sd / std::sqrt(s.n);
  const double t = (s.mean - Mu) / se;
  const double df = s.n - 1.0;
  Signif = TailSignif(StudentCDF(t, df), hType);
  ConfInt = TailInterval(s.mean, StudentCDFInv(CriticalP(Alpha, hType), df) * se, hType);
  hRes = Decide(Signif, t, Alpha);
  return t;
}

}  // namespace

double tTest(const TVec& Data, double Mu, THypothesisResult& hRes, double& Signif, TTwoElmReal& ConfInt,
             THypothesisType hType, double Alpha) {
  if (Data.Complex()) ERaise("tTest: Data.Complex = true");
  return OneSampleT(Data, Mu, hRes, Signif, ConfInt, hType, Alpha);
}

double tTest(const TVec& Data1, const TVec& Data2, THypothesisResult& hRes, double& Signif, TTwoElmReal& ConfInt,
             bool Paired, THypothesisType hType, double Alpha) {
  // Deliberate: only Data1 is checked here; a complex Data2 is refused by the core later.
  if (Data1.Complex()) ERaise("tTest: vectors must be real");
  if (Paired) {
    if (Data1.Length() != Data2.Length()) ERaise("tTest: Data1.Length <> Data2.Length");
    if (Data1.FloatPrecision() != Data2.FloatPrecision()) ERaise("tTest: Data1.FloatPrecision <> Data2.FloatPrecision");
  }
  if (!AlphaInRange(Alpha) || !KnownTail(hType)) return QuietNan(hRes, Signif, &ConfInt);
  if (Paired) {
    TVecScratch d;
    d->Copy(Data1);
    Sub(*d, Data2);
    return OneSampleT(*d, 0.0, hRes, Signif, ConfInt, hType, Alpha);
  }
  // Pooled variance, equal variances assumed.
  const TMeanSD a = MeanAndSD(Data1), b = MeanAndSD(Data2);
  const double df = a.n + b.n - 2.0;
  const double sp =
      std::sqrt((1.0 / a.n + 1.0 / b.n) * ((a.n - 1.0) * a.sd * a.sd + (b.n - 1.0) * b.sd * b.sd) / df);
  const double d = a.mean - b.mean;
  const double t = d / sp;
  const double h = StudentCDFInv(CriticalP(Alpha, hType), df) * sp;
  Signif = TailSignif(StudentCDF(t, df), hType);
  ConfInt = TailInterval(d, h, hType);
  // Deliberate: the pooled form decides on and returns the half-width h, not t.
  hRes = Decide(Signif, h, Alpha);
  return h;
}

double ZTest(const TVec& Data, double Mu, double Sigma, THypothesisResult& hRes, double& Signif,
             TTwoElmReal& ConfInt, THypothesisType hType, double Alpha) {
  if (Data.Complex()) ERaise("ZTest: Data.Complex = true");
  if (!AlphaInRange(Alpha) || Sigma == 0.0 || !KnownTail(hType)) return QuietNan(hRes, Signif, &ConfInt);
  const double m = Mean(Data);
  const double se = Sigma / std::sqrt(static_cast<double>(Data.Length()));
  const double z = (m - Mu) / se;
  Signif = TailSignif(NormalCDF(z, 0.0, 1.0), hType);
  ConfInt = TailInterval(m, NormalCDFInv(CriticalP(Alpha, hType), 0.0, 1.0) * se, hType);
  hRes = Decide(Signif, z, Alpha);
  return z;
}

}  // namespace Statistics
