#pragma once
// Data sets several regression suites share: Longley split into regressors and response, and the
// NIST StRD polynomial and one-way files in the shapes the routines take.

#include "support/TestSupport.h"

namespace KalixTest {

struct TYA {
  TVec y;
  TMtx A;
};

/// Longley's six regressors and Employed as the response.
inline TYA LongleyYA(TMtxFloatPrecision p = mvDouble) {
  const TMtx d = Longley(p, true);
  TYA r;
  Statistics::RemoveColumn(d, r.A, 6);
  d.GetCol(r.y, 6);
  return r;
}

/// y and the powers x .. x^degree of a NIST file whose data lines are "y x".
inline TYA NistPolynomial(const TNistFile& f, int degree) {
  const int n = static_cast<int>(f.data.size());
  TYA r{TVec(n), TMtx(n, degree)};
  for (int i = 0; i < n; ++i) {
    const auto& row = f.data[static_cast<std::size_t>(i)];
    r.y[i] = row[0];
    double xp = 1.0;
    for (int j = 0; j < degree; ++j) r.A(i, j) = xp *= row[1];
  }
  return r;
}

/// The values (plus offset) and zero-based group numbers of a NIST one-way file ("group value" lines).
inline void NistGroups(const TNistFile& f, TVec& x, TVecInt& g, double offset = 0.0) {
  const int n = static_cast<int>(f.data.size());
  x.Size(n), g.Size(n);
  for (int i = 0; i < n; ++i) {
    g[i] = static_cast<int>(f.data[static_cast<std::size_t>(i)][0]) - 1;
    x[i] = f.data[static_cast<std::size_t>(i)][1] + offset;
  }
}

}  // namespace KalixTest
