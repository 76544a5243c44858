// Fuzz entries of the numeric core (namespace Kalix).
#include "FuzzHarness.h"

using namespace KalixFuzz;
using namespace Kalix;

namespace {
// The scalar and the vector form of a probability function.
template <class... P>
using TProb = std::pair<double (*)(double, P...), void (*)(TDenseKalix&, const TDenseKalix&, P...)>;
using TProb1 = TProb<double>;
using TProb2 = TProb<double, double>;
using TRed = double (*)(const TDenseKalix&);
using TRowRed = void (*)(const TMtx&, TVec&);

// Scalar and vector forms of the probability functions, by number of parameters.
const TProb1 kProb1[] = {{StudentPDF, StudentPDF},     {StudentCDF, StudentCDF},     {StudentCDFInv, StudentCDFInv},
                         {ChiSquarePDF, ChiSquarePDF}, {ChiSquareCDF, ChiSquareCDF}, {ChiSquareCDFInv, ChiSquareCDFInv},
                         {ExpCDF, ExpCDF},             {MaxwellCDF, MaxwellCDF},     {MaxwellCDFInv, MaxwellCDFInv},
                         {RayleighCDF, RayleighCDF},   {PoissonCDFInv, PoissonCDFInv}};
const TProb2 kProb2[] = {
    {NormalPDF, NormalPDF},     {NormalCDF, NormalCDF},         {NormalCDFInv, NormalCDFInv}, {FPDF, FPDF},
    {FCDF, FCDF},               {FCDFInv, FCDFInv},             {BetaPDF, BetaPDF},           {BetaCDF, BetaCDF},
    {GammaPDF, GammaPDF},       {GammaCDF, GammaCDF},           {GammaCDFInv, GammaCDFInv},   {CauchyPDF, CauchyPDF},
    {WeibullPDF, WeibullPDF},   {WeibullCDF, WeibullCDF},       {UniformCDF, UniformCDF},     {ErlangCDF, ErlangCDF},
    {LaplaceCDF, LaplaceCDF},   {LogNormalCDF, LogNormalCDF},   {LogisticCDFInv, LogisticCDFInv},
    {BinomCDF, BinomCDF}};
const TRed kReductions[] = {Sum, Mean, Median, Min, Max, Product, SumOfSquares, RMS, NormL1, StdDev, NormL2};
const TRowRed kRowReductions[] = {MeanRows, MeanCols, SumRows, SumCols, StdDevRows, StdDevCols};
}  // namespace

KALIX_FUZZ_ENTRY(Probability) {
  const Kalix::TDenseKalix& x = c.Dense();
  const double a = c.Double(), b = c.Double(), d = c.Double(), s = c.Double();
  const std::size_t i = c.Byte(), j = c.Byte();
  const auto& f1 = kProb1[i % std::size(kProb1)];
  const auto& f2 = kProb2[j % std::size(kProb2)];
  FUZZ_RUN(o.Num(f1.first(s, a)), f1.second(o.Vec(0), x, a));
  FUZZ_RUN(o.Num(f2.first(s, a, b)), f2.second(o.Mtx(0), x, a, b));
  FUZZ_RUN(o.Num(TriangularPDF(s, a, b, d)), TriangularPDF(o.Vec(0), x, a, b, d));
  FUZZ_RUN(o.Num(trigamma(s)), trigamma(o.Vec(0), x));
  FUZZ_RUN(o.Nums(Gamma(s), Erf(s), ErfInv(s)));
  c.Run("distribution functions of the variate laws", [&](TOutputs& o) {
    o.Nums(CauchyCDF(s, a, b), GumbelCDF(s, a, b), LogisticCDF(s, a, b), TriangularCDF(s, a, b, d),
           GenParetoCDF(s, a, b, d), PoissonCDF(s, a), NegBinomCDF(s, a, b), HypGeometricCDF(s, a, b, d),
           GeometricCDF(s, a));
  });
}

KALIX_FUZZ_ENTRY(LinAlg) {
  const TMtx &a = c.Mtx(), &b = c.Mtx();
  const TVec& y = c.Vec();
  const double th = c.Double();
  const auto opA = c.Enum<TMtxOperation>(2), opB = c.Enum<TMtxOperation>(2);
  const auto type = c.Enum<TMtxType>(5);
  const bool flag = c.Null();
  FUZZ_RUN(Mul(o.Mtx(0), a, flag ? a : b, opA, opB));
  FUZZ_RUN(Mul(o.Vec(0), a, y, opA));
  FUZZ_RUN(LQRSolve(o.Vec(0), a, y, flag ? nullptr : &o.Mtx(0)));
  FUZZ_RUN(LQRSolve(o.Mtx(0), a, b));
  FUZZ_RUN(LQR(a, o.Mtx(0), flag ? nullptr : &o.Mtx(1)));
  FUZZ_RUN(SVDSolve(o.Vec(0), a, y, o.Vec(1), th));
  FUZZ_RUN(LUSolve(o.Vec(0), a, y, type, opA));
  FUZZ_RUN(Inv(o.Mtx(0) = a), Inv(o.Mtx(1), a));
  FUZZ_RUN(o.Num(Determinant(a)));
  FUZZ_RUN(SVD(a, o.Mtx(0), o.Vec(0), o.Mtx(1), !flag), SVD(a, o.Vec(1)));
  FUZZ_RUN(Eig(a, o.Vec(0), flag ? nullptr : &o.Mtx(0)));
  FUZZ_RUN(Cholesky(o.Mtx(0), a));
}

// Reductions, element-wise operations, builders, sorting and gathering.
KALIX_FUZZ_ENTRY(VectorOps) {
  const Kalix::TDenseKalix &x = c.Dense(), &y = c.Dense();
  const TVec &v = c.Vec(), &w = c.Vec();
  const TMtx &m = c.Mtx(), &b = c.Mtx();
  const double mu = c.Double(), s = c.Double(), t = c.Double();
  const int i = c.Count(), count = c.Count(), n = c.Bool() ? c.Count() : c.Int(-3, 40);
  const auto eyePrecision = c.AnyPrecision();
  const TVecInt& idx = c.VecInt(-2, 12);
  const int col = c.Count();
  const double value = c.Double();
  static const char* const kOps[] = {"<", "<=", ">", ">=", "=", "<>", "!", ""};
  const char* op = kOps[c.Byte() % 8];
  using TUnary = void (*)(TDenseKalix&, const TDenseKalix&);
  static const TUnary kUnary[] = {Abs, Sqr, Sqrt, Inv, Ln, Exp, Round, Trunc, Ceil, Floor, Sign};
  const TUnary unary = kUnary[c.Byte() % std::size(kUnary)];
  FUZZ_RUN(for (TRed f : kReductions) o.Num(f(x)); o.Num(StdDev(x, mu)));
  double hi = 0, lo = 0;
  TCplx chi, clo;
  FUZZ_RUN(MaxMin(x, hi, lo), o.Nums(hi, lo));
  FUZZ_RUN(MaxMinc(x, chi, clo), o.Num(chi), o.Num(clo));
  FUZZ_RUN(o.Num(Mean(v, i, count)));
  FUZZ_RUN(o.Num(NormL2(x, y)), o.Num(DotProd(x, y)));
  FUZZ_RUN(o.Num(Trace(m)));
  FUZZ_RUN(int k = 0; for (TRowRed f : kRowReductions) f(m, o.Vec(k++)));
  FUZZ_RUN(unary(o.Vec(0), x));
  FUZZ_RUN(Power(o.Vec(0), x, s), IntPower(o.Mtx(0), x, n));
  c.Run("scalar ops", [&](TOutputs& o) {
    TVec& d = o.Vec(0) = v;
    Add(d, s), Sub(d, t), SubFrom(d, s), Scale(d, t), DivideBy(d, s), ThreshBottom(d, t);
  });
  FUZZ_RUN(TVec& d = o.Vec(0) = v; Add(d, y), Sub(d, y), Mul(d, y), Divide(d, y), AddScaled(d, y, s));
  FUZZ_RUN(Normalize(o.Vec(0), x, s, t));
  c.Run("vector ops", [&](TOutputs& o) {
    TVec& d = o.Vec(0) = v;
    CumSum(d), ZScore(d), Reverse(d), Difference(o.Vec(1), v), Concat(o.Vec(2), v, w);
    Ramp(o.Vec(3) = TVec(5), s, t);  // Ramp fills the length it is given
  });
  c.Run("matrix builders", [&](TOutputs& o) {
    if (n < 3000) Eye(o.Mtx(0), n, eyePrecision);
    Transp(o.Mtx(1), m), Diag(o.Vec(0), m);
    if (v.Length() < 300) Toeplitz(o.Mtx(2), v);
    if (n < 300) VanderMonde(o.Mtx(3), v, n);
    ConcatHorz(o.Mtx(4), m, b), ConcatVert(o.Mtx(5), m, b);
  });
  // In-place routines work on copies of the inputs in the output slots.
  FUZZ_RUN(SortAscend(o.Vec(0) = v), SortDescend(o.Vec(1) = v, o.VecInt(0)));
  FUZZ_RUN(SortAscend(o.Vec(0) = v, o.VecInt(0)), SortDescend(o.Vec(1) = v));
  FUZZ_RUN(SortAscend(o.Mtx(0) = m, col));
  FUZZ_RUN(GatherByIndex(o.Vec(0), v, idx));
  FUZZ_RUN(GatherByMask(o.Vec(0), v, idx));
  FUZZ_RUN(ScatterByMask(o.Vec(0) = v, v, idx));
  FUZZ_RUN(o.Num(FindIndexes(o.VecInt(0), v, op, value)));
  FUZZ_RUN(o.Num(FindMask(o.VecInt(0), v, op, value)));
}
