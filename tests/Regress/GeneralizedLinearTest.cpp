#include "support/TestSupport.h"

using namespace Kalix;
using namespace KalixTest;
using namespace Regress;

namespace {

// Deterministic data, built the same way in R: i = 1..40, x1 = sin(i), x2 = 2 cos(0.7 i).
struct TGlmData {
  TMtx A{40, 2};
  TVec binary{40}, successes{40}, trials{40}, counts{40}, offset{40};
};

TGlmData MakeData(TMtxFloatPrecision p = mvDouble) {
  TGlmData d;
  d.A.Size(40, 2, p);
  for (TVec* v : {&d.binary, &d.successes, &d.trials, &d.counts, &d.offset}) v->Size(40, p);
  for (int k = 0; k < 40; ++k) {
    const double i = k + 1, x1 = std::sin(i), x2 = 2 * std::cos(0.7 * i);
    d.A(k, 0) = x1, d.A(k, 1) = x2;
    d.binary[k] = std::fmod(i * 0.6180339887, 1.0) < 1 / (1 + std::exp(-(0.3 + 1.2 * x1 - 0.8 * x2))) ? 1 : 0;
    d.trials[k] = 5 + (k + 1) % 4;
    d.successes[k] = std::floor(d.trials[k] * std::fmod(i * 0.41421356, 1.0));
    d.counts[k] = std::floor(std::exp(0.5 + 0.3 * x1 + 0.2 * x2) * (1 + std::fmod(i * 0.7548776662, 1.0)));
    d.offset[k] = std::log(1 + (k + 1) % 5);
  }
  return d;
}

struct TGlmRef {
  std::vector<double> b, se;
  double deviance, nullDeviance, aic;
};

void ExpectFit(const TGlmRef& r, const TVec& b, const TVec& se, const TGLMStats& st, double tol) {
  ExpectAllClose(r.b, b, tol);
  ExpectAllClose(r.se, se, tol);
  ExpectAllClose({r.deviance, r.nullDeviance, r.aic}, {st.Deviance, st.NullDeviance, st.AIC}, tol);
  EXPECT_TRUE(st.Converged);
}

}  // namespace

TEST(GeneralizedLinear, AgainstRGlm) {
  // R: glm(..., control = glm.control(epsilon = 1e-15)), summary()$coefficients, deviance, null.deviance, AIC;
  // binary y ~ x1 + x2, cbind(k, m - k) ~ x1 + x2, and Poisson counts with offset(log(1 + i %% 5)).
  const TGlmRef logit{{-0.162886566519807, 1.93317041690824, -1.31757116085335},
                      {0.435663747838919, 0.784537312555836, 0.426623295599222},
                      33.1114842844771, 55.4517744447956, 39.1114842844771};
  const TGlmRef trials{{-0.379969334234894, 0.106899831237929, -0.00582396843636461},
                       {0.126836148614856, 0.17839238963577, 0.0901484147707089},
                       101.078228280692, 101.441234667291, 179.512360771116};
  const TGlmRef poisson{{-0.446708876671596, 0.279077232838407, 0.262151381818634},
                        {0.120452998978995, 0.160461610309414, 0.0799076047807442},
                        27.4048310610662, 41.8643865422598, 134.343753036103};
  const TGlmData d = MakeData();
  TVec b, se, z, pv, fit;
  TGLMStats st{};
  LogisticRegress(d.binary, d.A, b, st, &se, &z, &pv, nullptr, &fit);
  ExpectFit(logit, b, se, st, 1e-8);
  EXPECT_TRUE(st.dfResidual == 37 && st.dfNull == 39);
  ExpectAllClose({b[1] / se[1], 2 * NormalCDF(-std::fabs(z[2]), 0, 1)}, {z[1], pv[2]}, 1e-14);
  EXPECT_CLOSE(1 / (1 + std::exp(-(b[0] + b[1] * d.A(5, 0) + b[2] * d.A(5, 1)))), fit[5], 1e-12);
  LogisticRegress(d.successes, d.A, b, st, &se, nullptr, nullptr, nullptr, nullptr, true, &d.trials);
  ExpectFit(trials, b, se, st, 1e-8);
  PoissonRegress(d.counts, d.A, b, st, &se, nullptr, nullptr, nullptr, &fit, true, &d.offset);
  ExpectFit(poisson, b, se, st, 1e-8);
  EXPECT_CLOSE(std::exp(d.offset[3] + b[0] + b[1] * d.A(3, 0) + b[2] * d.A(3, 1)), fit[3], 1e-12);
  const TGlmData s = MakeData(mvSingle);  // Single-precision data: the same fit to single's digits, outputs in single
  PoissonRegress(s.counts, s.A, b, st, &se, nullptr, nullptr, nullptr, nullptr, true, &s.offset);
  EXPECT_EQ(b.FloatPrecision(), mvSingle);
  ExpectAllClose(poisson.b, b, 2e-5);
}

TEST(GeneralizedLinear, SeparationAndBadData) {
  const TMtx A = Mtx({{1}, {2}, {3}, {4}, {5}, {6}});
  TVec b;
  TGLMStats st{};
  // Complete (y = x > 3) and quasi-complete (a tie at the boundary) separation.
  for (const TMtx& S : {A, Mtx({{1}, {2}, {3}, {3}, {4}, {5}})})
    EXPECT_RAISES(LogisticRegress(Vec({0, 0, 0, 1, 1, 1}), S, b, st),
                  "LogisticRegress: complete or quasi-complete separation: fitted probabilities 0 or 1");
  const TVec y = Vec({0, 1, 0, 1, 1, 0});
  EXPECT_RAISES(LogisticRegress(ComplexVec(), A, b, st), "LogisticRegress: Y.Complex or A.Complex");
  EXPECT_RAISES(LogisticRegress(Vec({0, 1}), A, b, st), "LogisticRegress: Y.Length <> A.Rows");
  EXPECT_RAISES(LogisticRegress(Vec({0, 1, 0, 1, 1, 0}, mvSingle), A, b, st),
                "LogisticRegress: Y.FloatPrecision <> A.FloatPrecision");
  EXPECT_RAISES(LogisticRegress(Vec({0, 1, 0, 2, 1, 0}), A, b, st), "LogisticRegress: Y not in {0, 1}");
  const TVec m = Vec({2, 2, 2, 2, 2, 0}), m3 = Vec({2, 2, 2, 2, 2, 2}), shortOff = Vec({0, 0});
  // The trials (offset) and iteration arguments, with every optional output skipped.
  const auto logit = [&](const TVec& yy, const TVec* trials, int maxIter = 100) {
    LogisticRegress(yy, A, b, st, nullptr, nullptr, nullptr, nullptr, nullptr, true, trials, maxIter);
  };
  EXPECT_RAISES(logit(y, &m), "LogisticRegress: Trials <= 0");
  EXPECT_RAISES(logit(Vec({0, 1, 0, 3, 1, 0}), &m3), "LogisticRegress: Y < 0 or Y > Trials");
  EXPECT_RAISES(LogisticRegress(y, Mtx({{1, 2}, {2, 4}, {3, 6}, {4, 8}, {5, 10}, {6, 12}}), b, st),
                "LogisticRegress: singular design matrix");
  EXPECT_RAISES(logit(y, nullptr, 0), "LogisticRegress: MaxIter < 1");
  EXPECT_RAISES(PoissonRegress(Vec({1, 2, -1, 0, 3, 1}), A, b, st), "PoissonRegress: Y < 0");
  EXPECT_RAISES(PoissonRegress(Vec({1, 2, 1, 0, 3, NAN}), A, b, st), "PoissonRegress: Y < 0");
  EXPECT_RAISES(PoissonRegress(y, A, b, st, nullptr, nullptr, nullptr, nullptr, nullptr, true, &shortOff),
                "PoissonRegress: Offset.Length <> Y.Length");
  EXPECT_RAISES(PoissonRegress(y, Mtx({{1}, {2}, {NAN}, {4}, {5}, {6}}), b, st), "PoissonRegress: A is not finite");
}
