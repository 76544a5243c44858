// Statistics: multivariate analysis and designs beyond principal components: PCA residuals,
// orthogonal rotation, Hotelling's T^2 and Box's M tests, pairwise distances, classical
// multidimensional scaling and Latin-hypercube designs. Included from Statistics.h.
#pragma once

#include "../core/KalixCore.h"

namespace Statistics {

// ---------------------------------------------------------------- distances

/// Dissimilarity between two rows x, y: Euclidean, its square, city block (sum |x - y|),
/// Chebyshev (max |x - y|), Minkowski (sum |x - y|^P)^(1/P), Mahalanobis
/// sqrt((x - y)' S^-1 (x - y)), correlation 1 - r(x, y) and cosine 1 - x'y / (|x| |y|).
enum TDistanceMetric : int {
  dmEuclidean,
  dmSqEuclidean,
  dmCityBlock,
  dmChebyshev,
  dmMinkowski,
  dmMahalanobis,
  dmCorrelation,
  dmCosine
};

/// D (n x n, symmetric, zero diagonal) = distances between the rows of X (n x p). P is the
/// Minkowski power; Cov (p x p) the Mahalanobis covariance, estimated from X when null. A NaN
/// in a row makes its distances NaN. Raises "PairwiseDistance: X.Complex = true",
/// "PairwiseDistance: Cov.Complex = true", "PairwiseDistance: Metric out of range",
/// "PairwiseDistance: P <= 0" (Minkowski), "PairwiseDistance: Cov is not Cols x Cols",
/// "PairwiseDistance: Cov.FloatPrecision <> X.FloatPrecision", "PairwiseDistance: covariance
/// matrix is singular", in that order.
KALIX_EXPORT void PairwiseDistance(const Kalix::TMtx& X, Kalix::TMtx& D, TDistanceMetric Metric = dmEuclidean,
                                   double P = 2.0, const Kalix::TMtx* Cov = nullptr);
/// D (n x m) = distances between the rows of X (n x p) and of Y (m x p); an estimated
/// Mahalanobis covariance comes from the rows of X and Y together. Messages as above, with
/// "PairwiseDistance: Y.Complex = true" after X's, then after Cov's "PairwiseDistance: X.Cols <>
/// Y.Cols" and "PairwiseDistance: X.FloatPrecision <> Y.FloatPrecision".
KALIX_EXPORT void PairwiseDistance(const Kalix::TMtx& X, const Kalix::TMtx& Y, Kalix::TMtx& D,
                                   TDistanceMetric Metric = dmEuclidean, double P = 2.0,
                                   const Kalix::TMtx* Cov = nullptr);

// ---------------------------------------------------------------- Hotelling and Box tests

/// One-sample Hotelling T^2 = n (m - Mu)' S^-1 (m - Mu) (S the covariance, divisor n - 1);
/// returns T^2, F = (n - p) T^2 / (p (n - 1)) on p, n - p degrees of freedom in *F, the upper-tail
/// p-value and decision, and HalfWidth[j] = sqrt(p (n - 1) / (n - p) F_{1-Alpha} S_jj / n), the
/// simultaneous intervals m_j +- HalfWidth[j] (Hotelling 1931; Johnson & Wichern 5.2, 5.4).
/// NaN data give NaN and hrNan; a bad Alpha gives NaN p-value, hrNan and NaN half-widths.
/// Raises "HotellingT2: Data.Complex = true", "HotellingT2: Mu.Complex = true",
/// "HotellingT2: Mu.Length <> Data.Cols", "HotellingT2: Data.Rows <= Data.Cols",
/// "HotellingT2: covariance matrix is singular".
KALIX_EXPORT double HotellingT2(const Kalix::TMtx& Data, const Kalix::TVec& Mu, THypothesisResult& hRes,
                                double& Signif, Kalix::TVec* HalfWidth = nullptr, double* F = nullptr,
                                double Alpha = 0.05);
/// Two-sample Hotelling T^2 = (m1 - m2)' [S_pooled (1/n1 + 1/n2)]^-1 (m1 - m2), F = (n1 + n2 - p - 1)
/// T^2 / (p (n1 + n2 - 2)) on p, n1 + n2 - p - 1 degrees of freedom; HalfWidth for m1 - m2
/// (Johnson & Wichern 6.3). Raises "HotellingT2: Data1.Complex = true", "HotellingT2:
/// Data2.Complex = true", "HotellingT2: Data1.Cols <> Data2.Cols", "HotellingT2:
/// Data1.FloatPrecision <> Data2.FloatPrecision", "HotellingT2: Data1.Rows + Data2.Rows - 2 <
/// Data1.Cols", "HotellingT2: covariance matrix is singular".
KALIX_EXPORT double HotellingT2(const Kalix::TMtx& Data1, const Kalix::TMtx& Data2, THypothesisResult& hRes,
                                double& Signif, Kalix::TVec* HalfWidth = nullptr, double* F = nullptr,
                                double Alpha = 0.05);
/// Box's M test of equal covariance matrices in the groups that Groups (one label per row of
/// Data) defines: returns M = (N - k) ln|S_p| - sum (n_i - 1) ln|S_i|, with the chi-square
/// approximation's statistic in *ChiSq (p (p + 1)(k - 1)/2 degrees of freedom), whose p-value
/// decides, and the F approximation's statistic, degrees of freedom and p-value in *F, *FDf
/// and *FSignif (Box 1949; Rencher, Methods of Multivariate Analysis, 7.3.2). NaN data give
/// NaN and hrNan, a bad Alpha NaN, a NaN Signif and hrNan. Raises
/// "BoxMTest: Data.Complex = true", "BoxMTest: Groups.Length <> Data.Rows", "BoxMTest: fewer
/// than 2 groups", "BoxMTest: a group has no more rows than Data.Cols", "BoxMTest: covariance
/// matrix is singular".
KALIX_EXPORT double BoxMTest(const Kalix::TMtx& Data, const Kalix::TVecInt& Groups, THypothesisResult& hRes,
                             double& Signif, double* ChiSq = nullptr, double* F = nullptr,
                             TTwoElmReal* FDf = nullptr, double* FSignif = nullptr, double Alpha = 0.05);

// ---------------------------------------------------------------- rotation, residuals, scaling

/// Members of the orthomax family: gamma = 1 (varimax), 0 (quartimax), k/2 (equamax, k factors).
enum TRotationMethod : int { rotVarimax, rotQuartimax, rotEquamax };

/// Orthogonal rotation of Loadings (p x k) maximising the orthomax criterion by Method:
/// Rotated = Loadings * RotMtx, RotMtx (k x k) orthogonal. With Normalize each row is scaled
/// to unit length first and back after (Kaiser 1958). Iterates the polar update of the
/// criterion's gradient (gamma <= 1) until no element of RotMtx moves by more than Tolerance, or
/// gradient projection (equamax beyond two factors) until the projected gradient's norm is below
/// it, at most MaxIter times (Jennrich 2001). A non-finite loading gives NaN in both outputs.
/// Raises "OrthoRotate: Loadings.Complex = true",
/// "OrthoRotate: Method out of range", "OrthoRotate: MaxIter < 1".
KALIX_EXPORT void OrthoRotate(const Kalix::TMtx& Loadings, Kalix::TMtx& Rotated, Kalix::TMtx& RotMtx,
                              TRotationMethod Method = rotVarimax, bool Normalize = true, int MaxIter = 1000,
                              double Tolerance = 1e-10);

/// Residuals of Data (n x p) reconstructed from the first NumComp principal components (Mode as
/// in PCA, residuals in the centred or standardised scale): Residuals (n x p), Q[i] = squared
/// prediction error of row i and T2[i] = sum over retained components of score^2 / eigenvalue.
/// Raises "PCAResiduals: Data.Complex = true", "PCAResiduals: (NumComp < 0) or (NumComp >
/// Data.Cols)".
KALIX_EXPORT void PCAResiduals(const Kalix::TMtx& Data, int NumComp, Kalix::TMtx& Residuals, Kalix::TVec& Q,
                               Kalix::TVec& T2, TPCAMode Mode);

/// Classical (Torgerson 1952) scaling of a distance matrix D (n x n): the K leading eigenvectors
/// of B = -J D^2 J / 2 scaled by sqrt(eigenvalue) in Coords (n x K; a column whose eigenvalue is
/// not positive is zero), all n eigenvalues of B in Eig (non-increasing), and in GOF the ratios
/// sum of the K leading / sum |Eig| and / sum max(Eig, 0) (Mardia 1978). Raises "ClassicalMDS:
/// D.Complex = true", "ClassicalMDS: D is not square", "ClassicalMDS: (K < 1) or (K >=
/// D.Rows)", "ClassicalMDS: D is not symmetric", "ClassicalMDS: D has a negative element".
KALIX_EXPORT void ClassicalMDS(const Kalix::TMtx& D, Kalix::TMtx& Coords, Kalix::TVec& Eig,
                               TTwoElmReal* GOF = nullptr, int K = 2);

// ---------------------------------------------------------------- designs

/// Latin-hypercube designs: strata sampled uniformly, strata centres, and maximin designs
/// (largest smallest distance) by the best of Iterations random designs or by an exchange search.
enum TLHSMethod : int { lhsRandom, lhsCentered, lhsMaximinBest, lhsMaximinSearch };

/// N points in [0, 1)^K with exactly one point in each of the N equal strata of every
/// coordinate (McKay, Beckman & Conover 1979): Design is N x K in Precision. Maximin designs
/// keep the largest smallest pairwise distance of their candidates (Morris & Mitchell 1995); the
/// first candidate is the lhsRandom design of the same Seed. Seed = -1 takes a fresh seed, as
/// the random-variate functions do. Raises "LatinHypercube: N < 1", "LatinHypercube: K < 1",
/// "LatinHypercube: Method out of range", "LatinHypercube: Iterations < 1",
/// "LatinHypercube: Precision is not a valid precision".
KALIX_EXPORT void LatinHypercube(int N, int K, Kalix::TMtx& Design, TLHSMethod Method = lhsRandom, int Seed = -1,
                                 int Iterations = 100, Kalix::TMtxFloatPrecision Precision = Kalix::mvDouble);

}  // namespace Statistics
