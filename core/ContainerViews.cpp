// Read-only views of memory owned by the caller (array libraries, memory-mapped files), so
// that a large input is read in place instead of copied into a container of its own.
#include <Eigen/Core>

#include <climits>
#include <cstdint>

#include "Containers.h"

namespace Kalix {

// The kernels map buffers with Eigen's largest alignment, so a view must honour it.
std::size_t ViewAlignment() noexcept { return EIGEN_MAX_ALIGN_BYTES > 0 ? EIGEN_MAX_ALIGN_BYTES : 1; }

void TBuffer::Borrow(const void* Data, std::size_t Bytes) noexcept {
  Release();
  // Never written through: views are handed to routines as const containers only.
  data_ = static_cast<std::byte*>(const_cast<void*>(Data));
  blockBytes_ = Bytes;
}

namespace {

void CheckViewData(const void* Data, long long Bytes) {
  if (Bytes > 0 && reinterpret_cast<std::uintptr_t>(Data) % ViewAlignment() != 0)
    ERaise("View: Data is not aligned to ViewAlignment()");
}

}  // namespace

TVec TVec::View(const void* Data, int N, TMtxFloatPrecision p) {
  if (N < 0) ERaise("View: N < 0");
  if (!ValidPrecision(p)) ERaise("View: FloatPrecision is not a valid precision");
  const auto bytes = static_cast<long long>(N) * static_cast<long long>(ElementSize(p));
  CheckViewData(Data, bytes);
  TVec v;
  v.prec_ = p;
  v.rows_ = v.length_ = N;
  v.cols_ = 1;
  if (N > 0) v.buf_.Borrow(Data, static_cast<std::size_t>(bytes));
  return v;
}

TMtx TMtx::View(const void* Data, int Rows, int Cols, TMtxFloatPrecision p) {
  if (Rows < 0 || Cols < 0) ERaise("View: Rows < 0 or Cols < 0");
  const long long n = static_cast<long long>(Rows) * Cols;
  if (n > INT_MAX) ERaise("View: too many elements");
  if (!ValidPrecision(p)) ERaise("View: FloatPrecision is not a valid precision");
  CheckViewData(Data, n * static_cast<long long>(ElementSize(p)));
  TMtx m;
  m.prec_ = p;
  m.rows_ = Rows;
  m.cols_ = Cols;
  m.length_ = static_cast<int>(n);
  if (n > 0) m.buf_.Borrow(Data, static_cast<std::size_t>(n) * ElementSize(p));
  return m;
}

TVecInt TVecInt::View(const std::int32_t* Data, int N) {
  if (N < 0) ERaise("View: N < 0");
  CheckViewData(Data, N);
  TVecInt v;
  v.length_ = N;
  if (N > 0) v.buf_.Borrow(Data, static_cast<std::size_t>(N) * sizeof(std::int32_t));
  return v;
}

}  // namespace Kalix
