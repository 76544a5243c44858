// Fuzz entries of the numeric core (namespace Kalix).
#include "FuzzHarness.h"

using namespace KalixFuzz;
using namespace Kalix;

namespace {
using TP1 = double (*)(double, double);
using TP2 = double (*)(double, double, double);
using TV1 = void (*)(TDenseKalix&, const TDenseKalix&, double);
using TV2 = void (*)(TDenseKalix&, const TDenseKalix&, double, double);
struct TProb1 {
  TP1 scalar;
  TV1 vec;
};
struct TProb2 {
  TP2 scalar;
  TV2 vec;
};
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
  const std::size_t i = c.Bytes().Byte(), j = c.Bytes().Byte();
  const auto& f1 = kProb1[i % std::size(kProb1)];
  const auto& f2 = kProb2[j % std::size(kProb2)];
  c.Run("probability, one parameter", [&](TOutputs& o) {
    o.Num(f1.scalar(s, a));
    f1.vec(o.Vec(0), x, a);
  });
  c.Run("probability, two parameters", [&](TOutputs& o) {
    o.Num(f2.scalar(s, a, b));
    f2.vec(o.Mtx(0), x, a, b);
  });
  c.Run("TriangularPDF", [&](TOutputs& o) { o.Num(TriangularPDF(s, a, b, d)), TriangularPDF(o.Vec(0), x, a, b, d); });
  c.Run("trigamma", [&](TOutputs& o) { o.Num(trigamma(s)), trigamma(o.Vec(0), x); });
  c.Run("Gamma, Erf, ErfInv", [&](TOutputs& o) { o.Num(Gamma(s)), o.Num(Erf(s)), o.Num(ErfInv(s)); });
}

KALIX_FUZZ_ENTRY(LinAlg) {
  const TMtx& a = c.Mtx();
  const TMtx& b = c.Mtx();
  const TVec& y = c.Vec();
  const double th = c.Double();
  const auto opA = c.Enum<TMtxOperation>(2), opB = c.Enum<TMtxOperation>(2);
  const auto type = c.Enum<TMtxType>(5);
  const bool flag = c.Null();
  c.Run("Mul(mtx)", [&](TOutputs& o) { Mul(o.Mtx(0), a, flag ? a : b, opA, opB); });
  c.Run("Mul(vec)", [&](TOutputs& o) { Mul(o.Vec(0), a, y, opA); });
  c.Run("LQRSolve(vec)", [&](TOutputs& o) { LQRSolve(o.Vec(0), a, y, flag ? nullptr : &o.Mtx(0)); });
  c.Run("LQRSolve(mtx)", [&](TOutputs& o) { LQRSolve(o.Mtx(0), a, b); });
  c.Run("LQR", [&](TOutputs& o) { LQR(a, o.Mtx(0), flag ? nullptr : &o.Mtx(1)); });
  c.Run("SVDSolve", [&](TOutputs& o) { SVDSolve(o.Vec(0), a, y, o.Vec(1), th); });
  c.Run("LUSolve", [&](TOutputs& o) { LUSolve(o.Vec(0), a, y, type, opA); });
  c.Run("Inv", [&](TOutputs& o) { Inv(o.Mtx(0) = a), Inv(o.Mtx(1), a); });
  c.Run("Determinant", [&](TOutputs& o) { o.Num(Determinant(a)); });
  c.Run("SVD", [&](TOutputs& o) {
    SVD(a, o.Mtx(0), o.Vec(0), o.Mtx(1), !flag);
    SVD(a, o.Vec(1));
  });
  c.Run("Eig", [&](TOutputs& o) { Eig(a, o.Vec(0), flag ? nullptr : &o.Mtx(0)); });
  c.Run("Cholesky", [&](TOutputs& o) { Cholesky(o.Mtx(0), a); });
}

KALIX_FUZZ_ENTRY(Reductions) {
  const Kalix::TDenseKalix& x = c.Dense();
  const Kalix::TDenseKalix& y = c.Dense();
  const TVec& v = c.Vec();
  const TMtx& m = c.Mtx();
  const double mu = c.Double();
  const int i = c.Count(), n = c.Count();
  c.Run("scalar reductions", [&](TOutputs& o) {
    for (TRed f : kReductions) o.Num(f(x));
    o.Num(StdDev(x, mu));
  });
  double hi = 0, lo = 0;
  TCplx chi, clo;
  c.Run("MaxMin", [&](TOutputs& o) { MaxMin(x, hi, lo), o.Nums(hi, lo); });
  c.Run("MaxMinc", [&](TOutputs& o) { MaxMinc(x, chi, clo), o.Num(chi), o.Num(clo); });
  c.Run("Mean(range)", [&](TOutputs& o) { o.Num(Mean(v, i, n)); });
  c.Run("pair reductions", [&](TOutputs& o) { o.Num(NormL2(x, y)), o.Num(DotProd(x, y)); });
  c.Run("Trace", [&](TOutputs& o) { o.Num(Trace(m)); });
  c.Run("row and column reductions", [&](TOutputs& o) {
    int k = 0;
    for (TRowRed f : kRowReductions) f(m, o.Vec(k++));
  });
}

KALIX_FUZZ_ENTRY(Sorting) {
  const TVec& x = c.Vec();
  const TMtx& m = c.Mtx();
  const TVecInt& idx = c.VecInt(-2, 12);
  const int col = c.Count();
  const double value = c.Double();
  static const char* const kOps[] = {"<", "<=", ">", ">=", "=", "<>", "!", ""};
  const char* op = kOps[c.Bytes().Byte() % 8];
  // In-place routines work on copies of the inputs in the output slots.
  c.Run("SortAscend", [&](TOutputs& o) { SortAscend(o.Vec(0) = x), SortDescend(o.Vec(1) = x, o.VecInt(0)); });
  c.Run("SortAscend(idx)", [&](TOutputs& o) { SortAscend(o.Vec(0) = x, o.VecInt(0)), SortDescend(o.Vec(1) = x); });
  c.Run("SortAscend(mtx)", [&](TOutputs& o) { SortAscend(o.Mtx(0) = m, col); });
  c.Run("GatherByIndex", [&](TOutputs& o) { GatherByIndex(o.Vec(0), x, idx); });
  c.Run("GatherByMask", [&](TOutputs& o) { GatherByMask(o.Vec(0), x, idx); });
  c.Run("ScatterByMask", [&](TOutputs& o) { ScatterByMask(o.Vec(0) = x, x, idx); });
  c.Run("FindIndexes", [&](TOutputs& o) { o.Num(FindIndexes(o.VecInt(0), x, op, value)); });
  c.Run("FindMask", [&](TOutputs& o) { o.Num(FindMask(o.VecInt(0), x, op, value)); });
}

KALIX_FUZZ_ENTRY(Ops) {
  const Kalix::TDenseKalix& x = c.Dense();
  const Kalix::TDenseKalix& y = c.Dense();
  const TVec& v = c.Vec();
  const TVec& w = c.Vec();
  const TMtx& a = c.Mtx();
  const TMtx& b = c.Mtx();
  const double s = c.Double(), t = c.Double();
  const int n = c.Bytes().Bool() ? c.Count() : c.Bytes().Int(-3, 40);
  const auto eyePrecision = c.AnyPrecision();
  using TUnary = void (*)(TDenseKalix&, const TDenseKalix&);
  static const TUnary kUnary[] = {Abs, Sqr, Sqrt, Inv, Ln, Exp, Round, Trunc, Ceil, Floor, Sign};
  const TUnary unary = kUnary[c.Bytes().Byte() % std::size(kUnary)];
  c.Run("unary", [&](TOutputs& o) { unary(o.Vec(0), x); });
  c.Run("Power", [&](TOutputs& o) { Power(o.Vec(0), x, s), IntPower(o.Mtx(0), x, n); });
  c.Run("scalar ops", [&](TOutputs& o) {
    TVec& d = o.Vec(0) = v;
    Add(d, s), Sub(d, t), SubFrom(d, s), Scale(d, t), DivideBy(d, s), ThreshBottom(d, t);
  });
  c.Run("pair ops", [&](TOutputs& o) {
    TVec& d = o.Vec(0) = v;
    Add(d, y), Sub(d, y), Mul(d, y), Divide(d, y), AddScaled(d, y, s);
  });
  c.Run("Normalize", [&](TOutputs& o) { Normalize(o.Vec(0), x, s, t); });
  c.Run("vector ops", [&](TOutputs& o) {
    TVec& d = o.Vec(0) = v;
    CumSum(d), ZScore(d), Reverse(d);
    Difference(o.Vec(1), v);
    Concat(o.Vec(2), v, w);
    TVec& r = o.Vec(3);
    r.Size(5, mvDouble);  // Ramp fills the length it is given
    Ramp(r, s, t);
  });
  c.Run("matrix builders", [&](TOutputs& o) {
    if (n < 3000) Eye(o.Mtx(0), n, eyePrecision);
    Transp(o.Mtx(1), a), Diag(o.Vec(0), a);
    if (v.Length() < 300) Toeplitz(o.Mtx(2), v);
    if (n < 300) VanderMonde(o.Mtx(3), v, n);
    ConcatHorz(o.Mtx(4), a, b), ConcatVert(o.Mtx(5), a, b);
  });
}
