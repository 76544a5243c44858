// Dense linear algebra on row-major real matrices: products, solvers, decompositions.
// Outputs are sized by the functions and keep the inputs' precision (single stays single).
// Errors: mismatched sizes or precisions and complex data raise; a singular matrix raises
// where a routine needs an inverse (Inv, LUSolve, Cholesky of a non-positive-definite matrix).
#pragma once

#include "Containers.h"
#include "kalix_export.h"

namespace Kalix {

/// Transposition option of a product operand.
enum TMtxOperation : int { opNone, opTrans };
/// Structure of a system matrix handed to LUSolve.
enum TMtxType : int { mtGeneral, mtSymmetric, mtSymmPosDef, mtUpperTriangle, mtLowerTriangle };

/// Dst = op(A) * op(B). A product of a matrix with its own transpose (Mul(D, A, A, opTrans))
/// is computed as a symmetric rank update at half the cost.
KALIX_EXPORT void Mul(TMtx& Dst, const TMtx& A, const TMtx& B, TMtxOperation OpA = opNone,
                      TMtxOperation OpB = opNone);
/// Dst = op(A) * x.
KALIX_EXPORT void Mul(TVec& Dst, const TMtx& A, const TVec& x, TMtxOperation OpA = opNone);

/// Least-squares solution X of A * X = Y by Householder QR; the minimum-norm solution when A
/// is wide or rank-deficient. Tall systems are reduced block by block, so the data are read
/// once and the work stays in cache. If R is given it receives the Cols x Cols triangular
/// factor of A (diagonal signs as the reduction left them) when A has at least as many rows
/// as columns, and is emptied otherwise.
KALIX_EXPORT void LQRSolve(TVec& X, const TMtx& A, const TVec& Y, TMtx* R = nullptr);
KALIX_EXPORT void LQRSolve(TMtx& X, const TMtx& A, const TMtx& Y);
/// Upper-triangular factor R (min(Rows, Cols) x Cols) of A = Q * R, and Q (Rows x min) if asked.
KALIX_EXPORT void LQR(const TMtx& A, TMtx& R, TMtx* Q = nullptr);
/// Least-squares solution by SVD; singular values below Threshold * largest are treated as zero.
/// SV receives the singular values (non-increasing).
KALIX_EXPORT void SVDSolve(TVec& X, const TMtx& A, const TVec& Y, TVec& SV, double Threshold = 1e-9);
/// Solves the square system op(A) * X = Y by LU (or Cholesky / triangular substitution as
/// MtxType says); raises "LUSolve: matrix is singular" for a singular matrix.
KALIX_EXPORT void LUSolve(TVec& X, const TMtx& A, const TVec& Y, TMtxType MtxType = mtGeneral,
                          TMtxOperation Op = opNone);
/// Inverse of a square matrix in place / into Dst; raises "Inv: matrix is singular".
KALIX_EXPORT void Inv(TMtx& A);
KALIX_EXPORT void Inv(TMtx& Dst, const TMtx& A);
/// Determinant of a square matrix.
KALIX_EXPORT double Determinant(const TMtx& A);
/// A = U * diag(S) * V^T with S non-increasing. Reduced: U is Rows x k, V is Cols x k,
/// k = min(Rows, Cols); otherwise U and V are square.
KALIX_EXPORT void SVD(const TMtx& A, TMtx& U, TVec& S, TMtx& V, bool Reduced = true);
/// Singular values only (non-increasing).
KALIX_EXPORT void SVD(const TMtx& A, TVec& S);
/// Eigenvalues (ascending) and, if Vectors is given, eigenvectors in columns of a symmetric
/// matrix (only the lower triangle is read).
KALIX_EXPORT void Eig(const TMtx& A, TVec& Values, TMtx* Vectors = nullptr);
/// Lower-triangular L with A = L * L^T; raises "Cholesky: matrix is not positive definite".
KALIX_EXPORT void Cholesky(TMtx& L, const TMtx& A);

}  // namespace Kalix
