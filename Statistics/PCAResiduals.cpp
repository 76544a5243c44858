// Residuals of a principal-component reconstruction: what the first NumComp components leave
// of each (centred or standardised) observation, its squared prediction error Q and its
// Hotelling T^2 in the retained space (Jackson & Mudholkar 1979; Jackson, A User's Guide to
// Principal Components, 1991, ch. 1-2).
//
// With the full orthonormal loading matrix P and scores Z = W P of the working data W,
// W = Z P', so the residual of the first k components is Z_(k+1..p) P_(k+1..p)' and
// Q = sum over the discarded scores squared: no second pass over the data is needed.

#include <cstddef>

#include "Statistics/Statistics.h"

namespace Statistics {

using namespace Kalix;

namespace {

template <class T>
void ResidualKernel(const TMtx& PC, const TMtx& Z, const TVec& Eig, int k, TMtx& E, TVec& Q, TVec& T2) {
  const std::size_t n = static_cast<std::size_t>(Z.Rows()), p = static_cast<std::size_t>(PC.Rows()),
                    c = static_cast<std::size_t>(Z.Cols()), kk = static_cast<std::size_t>(k);
  const auto pc = PC.Span<T>();
  const auto z = Z.Span<T>();
  const auto e = Eig.Span<T>();
  E.Size(Z.Rows(), PC.Rows(), PrecisionOf<T>());
  Q.Size(Z.Rows(), PrecisionOf<T>());
  T2.Size(Z.Rows(), PrecisionOf<T>());
  auto res = E.Span<T>();
  auto q = Q.Span<T>();
  auto t2 = T2.Span<T>();
  for (std::size_t i = 0; i < n; ++i) {
    const T* zi = z.data() + i * c;
    T qs = 0, ts = 0;
    for (std::size_t a = 0; a < kk; ++a) ts += zi[a] * zi[a] / e[a];
    for (std::size_t a = kk; a < c; ++a) qs += zi[a] * zi[a];
    q[i] = qs;
    t2[i] = ts;
    T* r = res.data() + i * p;
    for (std::size_t j = 0; j < p; ++j) {
      T s = 0;
      for (std::size_t a = kk; a < c; ++a) s += zi[a] * pc[j * c + a];
      r[j] = s;
    }
  }
}

}  // namespace

void PCAResiduals(const TMtx& Data, int NumComp, TMtx& Residuals, TVec& Q, TVec& T2, TPCAMode Mode) {
  if (Data.Complex()) ERaise("PCAResiduals: Data.Complex = true");
  if (NumComp < 0 || NumComp > Data.Cols()) ERaise("PCAResiduals: (NumComp < 0) or (NumComp > Data.Cols)");
  TMtxScratch pc, z;
  TVecScratch eig;
  PCA(Data, *pc, *z, *eig, nullptr, Mode);
  WithPrecision(Data, [&](auto t) {
    ResidualKernel<typename decltype(t)::type>(*pc, *z, *eig, NumComp, Residuals, Q, T2);
  });
}

}  // namespace Statistics
