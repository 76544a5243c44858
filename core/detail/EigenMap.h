// Eigen views of the core's containers (never installed: Eigen stays a private dependency).
//
// TMtx is row-major, so a matrix maps as RowMat<T>; internal helpers take RowRef<T>, which
// binds to such a map without a copy (a column-major Ref would silently copy the data).
// Container buffers are 64-byte aligned, hence the aligned maps.
#pragma once

#include <Eigen/Core>

#include "../Containers.h"

namespace Kalix::detail {

template <class T>
using RowMat = Eigen::Matrix<T, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;
template <class T>
using ColMat = Eigen::Matrix<T, Eigen::Dynamic, Eigen::Dynamic>;
template <class T>
using ColVec = Eigen::Matrix<T, Eigen::Dynamic, 1>;

template <class T>
using MtxMap = Eigen::Map<RowMat<T>, Eigen::AlignedMax>;
template <class T>
using ConstMtxMap = Eigen::Map<const RowMat<T>, Eigen::AlignedMax>;
template <class T>
using VecMap = Eigen::Map<ColVec<T>, Eigen::AlignedMax>;
template <class T>
using ConstVecMap = Eigen::Map<const ColVec<T>, Eigen::AlignedMax>;

template <class T>
using RowRef = Eigen::Ref<const RowMat<T>>;
template <class T>
using RowRefMut = Eigen::Ref<RowMat<T>>;

/// Matrix view; T must match A.FloatPrecision() (Span raises otherwise).
template <class T>
ConstMtxMap<T> Map(const TMtx& A) {
  return {A.Span<T>().data(), A.Rows(), A.Cols()};
}
template <class T>
MtxMap<T> Map(TMtx& A) {
  return {A.Span<T>().data(), A.Rows(), A.Cols()};
}
/// Column-vector view of a vector.
template <class T>
ConstVecMap<T> Map(const TVec& x) {
  return {x.Span<T>().data(), x.Length()};
}
template <class T>
VecMap<T> Map(TVec& x) {
  return {x.Span<T>().data(), x.Length()};
}

}  // namespace Kalix::detail
