// Building blocks of principal component analysis, shared by the routines that work on
// components (PCA itself, and analyses built on its loadings and scores). Never installed.
#pragma once

#include "core/KalixCore.h"

namespace Statistics::detail {

/// Principal axes of a symmetric matrix S (only its lower triangle is read): Eig receives the
/// eigenvalue magnitudes in non-increasing order, PC the matching unit eigenvectors in columns,
/// each signed so that its element of largest magnitude is positive. These are the singular
/// values and right singular vectors of S. Non-finite S gives NaN throughout.
void SymmetricAxes(const Kalix::TMtx& S, Kalix::TMtx& PC, Kalix::TVec& Eig);

/// Flips each column of PC whose element of largest magnitude (the first of equal ones) is
/// negative, so the loadings do not depend on the decomposition's arbitrary signs.
void NormaliseSigns(Kalix::TMtx& PC);

/// Component scores Z = W * PC, W = Data with Means subtracted from every row and, when
/// StdDevs is given, divided by them column by column. W is formed a block of rows at a time,
/// so the data are read once and nothing of Data's size is allocated besides Z.
void Scores(const Kalix::TMtx& Data, const Kalix::TVec& Means, const Kalix::TVec* StdDevs, const Kalix::TMtx& PC,
            Kalix::TMtx& Z);

/// Correlation-mode PCA of Data (as the data form of PCA) that also hands back the column
/// means and standard deviations the scores were standardised with.
void CorrelationPCA(const Kalix::TMtx& Data, Kalix::TMtx& PC, Kalix::TMtx& Z, Kalix::TVec& Eig, Kalix::TVec& Means,
                    Kalix::TVec& StdDevs);

/// VarPct = Eig * (100 / Sum(Eig)): the percentage of the total variance per component.
void VarPercent(const Kalix::TVec& Eig, Kalix::TVec& VarPct);

}  // namespace Statistics::detail
