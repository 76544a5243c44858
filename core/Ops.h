// Element-wise arithmetic and shape operations on real dense containers. Each unary
// operation comes in place (Op(X)) and from a source (Op(Dst, Src), Dst sized like Src).
// Binary operations need equal lengths and precisions. Complex data are refused.
#pragma once

#include "Containers.h"
#include "kalix_export.h"

namespace Kalix {

#define KALIX_DECLARE_UNARY(Name)                                     \
  KALIX_EXPORT void Name(TDenseKalix& X);                             \
  KALIX_EXPORT void Name(TDenseKalix& Dst, const TDenseKalix& Src);
/// |x|, x², √x, 1/x, ln x, eˣ, rounding (halves to even), truncation, ceiling, floor, −x.
KALIX_DECLARE_UNARY(Abs)
KALIX_DECLARE_UNARY(Sqr)
KALIX_DECLARE_UNARY(Sqrt)
KALIX_DECLARE_UNARY(Inv)
KALIX_DECLARE_UNARY(Ln)
KALIX_DECLARE_UNARY(Exp)
KALIX_DECLARE_UNARY(Round)
KALIX_DECLARE_UNARY(Trunc)
KALIX_DECLARE_UNARY(Ceil)
KALIX_DECLARE_UNARY(Floor)
KALIX_DECLARE_UNARY(Sign)
#undef KALIX_DECLARE_UNARY

/// x^p element-wise.
KALIX_EXPORT void Power(TDenseKalix& X, double p);
KALIX_EXPORT void Power(TDenseKalix& Dst, const TDenseKalix& Src, double p);
/// x^n element-wise (integer n, repeated squaring).
KALIX_EXPORT void IntPower(TDenseKalix& X, int n);
KALIX_EXPORT void IntPower(TDenseKalix& Dst, const TDenseKalix& Src, int n);

/// X + v, X - v, v - X, X * v (Scale), v / X.
KALIX_EXPORT void Add(TDenseKalix& X, double v);
KALIX_EXPORT void Sub(TDenseKalix& X, double v);
KALIX_EXPORT void SubFrom(TDenseKalix& X, double v);
KALIX_EXPORT void Scale(TDenseKalix& X, double v);
KALIX_EXPORT void DivideBy(TDenseKalix& X, double v);
/// X + Y, X - Y, X * Y, X / Y element-wise (in place on X).
KALIX_EXPORT void Add(TDenseKalix& X, const TDenseKalix& Y);
KALIX_EXPORT void Sub(TDenseKalix& X, const TDenseKalix& Y);
KALIX_EXPORT void Mul(TDenseKalix& X, const TDenseKalix& Y);
KALIX_EXPORT void Divide(TDenseKalix& X, const TDenseKalix& Y);
/// X = X + s * Y.
KALIX_EXPORT void AddScaled(TDenseKalix& X, const TDenseKalix& Y, double s);
/// Dst = (Src - SubValue) / DivValue.
KALIX_EXPORT void Normalize(TDenseKalix& Dst, const TDenseKalix& Src, double SubValue, double DivValue);
/// Values below Threshold are raised to it.
KALIX_EXPORT void ThreshBottom(TDenseKalix& X, double Threshold);

/// Running sum in place.
KALIX_EXPORT void CumSum(TVec& X);
/// Dst[i] = Src[i + 1] - Src[i] (length n - 1; empty for n < 2).
KALIX_EXPORT void Difference(TVec& Dst, const TVec& Src);
/// (x - mean) / StdDev for a vector; for a matrix, per column.
KALIX_EXPORT void ZScore(TDenseKalix& X);
/// X[i] = Offset + i * Step, keeping X's length and precision.
KALIX_EXPORT void Ramp(TVec& X, double Offset, double Step);
/// Reverses the order of the elements.
KALIX_EXPORT void Reverse(TVec& X);
/// Dst = A followed by B (equal precisions).
KALIX_EXPORT void Concat(TVec& Dst, const TVec& A, const TVec& B);

/// Identity matrix of n x n.
KALIX_EXPORT void Eye(TMtx& A, int n, TMtxFloatPrecision p = mvDouble);
/// Transposed copy.
KALIX_EXPORT void Transp(TMtx& Dst, const TMtx& Src);
/// Main diagonal of A.
KALIX_EXPORT void Diag(TVec& Dst, const TMtx& A);
/// Symmetric Toeplitz matrix with first row v.
KALIX_EXPORT void Toeplitz(TMtx& Dst, const TVec& v);
/// Vandermonde matrix of x with Cols columns of descending powers x^(Cols-1) ... x^0.
KALIX_EXPORT void VanderMonde(TMtx& Dst, const TVec& x, int Cols);
/// [A | B] and [A ; B].
KALIX_EXPORT void ConcatHorz(TMtx& Dst, const TMtx& A, const TMtx& B);
KALIX_EXPORT void ConcatVert(TMtx& Dst, const TMtx& A, const TMtx& B);

}  // namespace Kalix
