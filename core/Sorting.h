// Sorting, gathering and selection by comparison. NaNs sort after every number; sorts that
// return the permutation are stable (equal values keep their original order).
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "Containers.h"
#include "kalix_export.h"

namespace Kalix {

namespace Kern {
/// Sorts x ascending in place (radix sort for long inputs).
template <class T> KALIX_EXPORT void SortAscend(std::span<T> x);
/// Sorts x ascending in place and writes to Idx[i] the original position of sorted element i.
template <class T> KALIX_EXPORT void SortAscendIdx(std::span<T> x, std::span<std::int32_t> Idx);
/// As SortAscendIdx, descending (NaNs still last).
template <class T> KALIX_EXPORT void SortDescendIdx(std::span<T> x, std::span<std::int32_t> Idx);
/// The k-th and (k+1)-th smallest values of x (zero-based; NaNs rank above every number),
/// without modifying x: the same values a full sort would put at positions k and k + 1.
/// Next is NaN when k + 1 is past the end. Requires k < x.size().
template <class T> KALIX_EXPORT void OrderStatPair(std::span<const T> x, std::size_t k, T& Kth, T& Next);
}  // namespace Kern

/// Sorts a real vector ascending in place.
KALIX_EXPORT void SortAscend(TVec& X);
/// Sorts ascending in place; Indexes[i] receives the position before sorting of element i.
KALIX_EXPORT void SortAscend(TVec& X, TVecInt& Indexes);
/// Sorts a real vector descending in place.
KALIX_EXPORT void SortDescend(TVec& X);
/// Sorts descending in place; Indexes[i] receives the position before sorting of element i.
KALIX_EXPORT void SortDescend(TVec& X, TVecInt& Indexes);
/// Sorts the rows of A by the values of column Col, ascending (stable).
KALIX_EXPORT void SortAscend(TMtx& A, int Col);

/// Dst[i] = Src[Indexes[i]]; Dst is sized like Indexes with Src's precision.
KALIX_EXPORT void GatherByIndex(TVec& Dst, const TVec& Src, const TVecInt& Indexes);
/// Dst receives the elements of Src whose Mask entry is non-zero, in order.
KALIX_EXPORT void GatherByMask(TVec& Dst, const TVec& Src, const TVecInt& Mask);
/// Writes the elements of Src, in order, to the positions of Dst whose Mask entry is non-zero.
KALIX_EXPORT void ScatterByMask(TVec& Dst, const TVec& Src, const TVecInt& Mask);

/// Positions i where "X[i] Op Value" holds; Op is one of "<", "<=", ">", ">=", "=", "<>".
/// Returns their count.
KALIX_EXPORT int FindIndexes(TVecInt& Indexes, const TVec& X, std::string_view Op, double Value);
/// Mask[i] = 1 where "X[i] Op Value" holds, else 0. Returns the count of ones.
KALIX_EXPORT int FindMask(TVecInt& Mask, const TVec& X, std::string_view Op, double Value);
/// Dst receives the elements of X for which "X[i] Op Value" holds; their positions go to
/// Indexes when given. Returns their count.
KALIX_EXPORT int FindAndGather(TVec& Dst, const TVec& X, std::string_view Op, double Value,
                               TVecInt* Indexes = nullptr);

}  // namespace Kalix
