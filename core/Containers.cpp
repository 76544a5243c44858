#include "Containers.h"

#include <algorithm>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace Kalix {

namespace {

constexpr std::size_t kAlign = 64;
// Blocks this large bypass malloc: fresh anonymous pages are already zero and, with huge
// pages, a 100 MB scratch copy costs tens of page faults instead of tens of thousands.
constexpr std::size_t kMapThreshold = std::size_t{4} << 20;
constexpr std::size_t kHugePage = std::size_t{2} << 20;

std::size_t RoundUp(std::size_t v, std::size_t a) { return (v + a - 1) / a * a; }

std::byte* AlignUp(void* p, std::size_t a) {
  auto v = reinterpret_cast<std::uintptr_t>(p);
  return reinterpret_cast<std::byte*>((v + a - 1) / a * a);
}

}  // namespace

// ---------------------------------------------------------------- TBuffer

TBuffer::TBuffer(TBuffer&& other) noexcept
    : data_(other.data_),
      block_(other.block_),
      capacity_(other.capacity_),
      blockBytes_(other.blockBytes_),
      mapped_(other.mapped_) {
  other.data_ = nullptr;
  other.block_ = nullptr;
  other.capacity_ = other.blockBytes_ = 0;
  other.mapped_ = false;
}

TBuffer& TBuffer::operator=(TBuffer&& other) noexcept {
  if (this != &other) {
    Release();
    data_ = other.data_;
    block_ = other.block_;
    capacity_ = other.capacity_;
    blockBytes_ = other.blockBytes_;
    mapped_ = other.mapped_;
    other.data_ = nullptr;
    other.block_ = nullptr;
    other.capacity_ = other.blockBytes_ = 0;
    other.mapped_ = false;
  }
  return *this;
}

TBuffer::~TBuffer() { Release(); }

void TBuffer::Release() noexcept {
  if (block_ != nullptr) {
#if defined(__linux__)
    if (mapped_) {
      munmap(block_, blockBytes_);
    } else {
      std::free(block_);
    }
#else
    std::free(block_);
#endif
  }
  data_ = nullptr;
  block_ = nullptr;
  capacity_ = blockBytes_ = 0;
  mapped_ = false;
}

void TBuffer::Reserve(std::size_t Bytes, std::size_t Keep) {
  if (Bytes <= capacity_) return;
  TBuffer fresh;
#if defined(__linux__)
  if (Bytes >= kMapThreshold) {
    std::size_t len = RoundUp(Bytes, kHugePage) + kHugePage;
    void* p = mmap(nullptr, len, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (p == MAP_FAILED) throw std::bad_alloc();
    fresh.block_ = p;
    fresh.blockBytes_ = len;
    fresh.mapped_ = true;
    fresh.data_ = AlignUp(p, kHugePage);
    fresh.capacity_ = len - static_cast<std::size_t>(fresh.data_ - static_cast<std::byte*>(p));
    madvise(fresh.data_, fresh.capacity_, MADV_HUGEPAGE);
  }
#endif
  if (fresh.block_ == nullptr) {
    void* p = std::calloc(Bytes + kAlign, 1);
    if (p == nullptr) throw std::bad_alloc();
    fresh.block_ = p;
    fresh.blockBytes_ = Bytes + kAlign;
    fresh.data_ = AlignUp(p, kAlign);
    fresh.capacity_ = Bytes;
  }
  // A borrowed buffer reports no capacity; what it holds is in blockBytes_.
  const std::size_t held = Borrowed() ? blockBytes_ : capacity_;
  if (Keep > 0 && data_ != nullptr) std::memcpy(fresh.data_, data_, std::min(Keep, held));
  *this = std::move(fresh);
}

// ---------------------------------------------------------------- TKalixSample

double TKalixSample::PrecisionEPS() const noexcept { return IsDouble() ? DBL_EPSILON : static_cast<double>(FLT_EPSILON); }

double TKalixSample::PrecisionSqrtEPS() const noexcept { return std::sqrt(PrecisionEPS()); }

// ---------------------------------------------------------------- TDenseKalix

TDenseKalix::TDenseKalix(const TDenseKalix& o) : TKalix(o) {
  length_ = rows_ = cols_ = 0;
  CopyFrom(o);
}

TDenseKalix::TDenseKalix(TDenseKalix&& o) noexcept
    : TKalix(o), rows_(o.rows_), cols_(o.cols_), buf_(std::move(o.buf_)) {
  o.length_ = o.rows_ = o.cols_ = 0;
}

TDenseKalix& TDenseKalix::operator=(const TDenseKalix& o) {
  if (this != &o) CopyFrom(o);
  return *this;
}

TDenseKalix& TDenseKalix::operator=(TDenseKalix&& o) noexcept {
  if (this != &o) {
    prec_ = o.prec_;
    length_ = o.length_;
    rows_ = o.rows_;
    cols_ = o.cols_;
    buf_ = std::move(o.buf_);
    o.length_ = o.rows_ = o.cols_ = 0;
  }
  return *this;
}

void TDenseKalix::Shape(int rows, int cols, TMtxFloatPrecision p) {
  if (rows < 0 || cols < 0) ERaise("Size: negative dimension");
  // An out-of-range tag would otherwise be sized as a valid one and read as another type.
  if (!ValidPrecision(p)) ERaise("Size: FloatPrecision is not a valid precision");
  const long long n = static_cast<long long>(rows) * cols;
  if (n > INT_MAX) ERaise("Size: too many elements");
  const std::size_t es = ElementSize(p);
  const std::size_t newBytes = static_cast<std::size_t>(n) * es;
  const std::size_t oldBytes = (p == prec_) ? static_cast<std::size_t>(length_) * es : 0;
  const bool grows = newBytes > buf_.Capacity();
  buf_.Reserve(newBytes, std::min(oldBytes, newBytes));
  // A fresh block is zero already; reused storage is cleared beyond what is kept.
  if (!grows && newBytes > oldBytes) std::memset(buf_.Data() + oldBytes, 0, newBytes - oldBytes);
  prec_ = p;
  rows_ = rows;
  cols_ = cols;
  length_ = static_cast<int>(n);
}

void TDenseKalix::CopyFrom(const TDenseKalix& src) {
  if (&src == this) return;
  const int rows = src.type_ == ktVec && type_ == ktMtx ? src.length_ : src.rows_;
  const int cols = src.type_ == ktVec && type_ == ktMtx ? 1 : src.cols_;
  if (type_ == ktVec) {
    Shape(src.length_, 1, src.prec_);
  } else {
    Shape(rows, cols, src.prec_);
  }
  if (src.length_ > 0) std::memcpy(buf_.Data(), src.buf_.Data(), static_cast<std::size_t>(src.length_) * ElementSize(prec_));
}

TCplx TDenseKalix::CValues(int i) const {
  CheckIndex(i);
  switch (prec_) {
    case mvDoubleComplex: return reinterpret_cast<const TCplx*>(buf_.Data())[i];
    case mvSingleComplex: {
      TSCplx v = reinterpret_cast<const TSCplx*>(buf_.Data())[i];
      return {static_cast<double>(v.real()), static_cast<double>(v.imag())};
    }
    default: return {Get(i), 0.0};
  }
}

void TDenseKalix::SetCValue(int i, TCplx v) {
  CheckIndex(i);
  switch (prec_) {
    case mvDoubleComplex: reinterpret_cast<TCplx*>(buf_.Data())[i] = v; break;
    case mvSingleComplex:
      reinterpret_cast<TSCplx*>(buf_.Data())[i] = TSCplx(static_cast<float>(v.real()), static_cast<float>(v.imag()));
      break;
    default: Put(i, v.real()); break;
  }
}

void TDenseKalix::SetZero() noexcept {
  if (length_ > 0) std::memset(buf_.Data(), 0, static_cast<std::size_t>(length_) * ElementSize(prec_));
}

void TDenseKalix::SetVal(double v) {
  switch (prec_) {
    case mvDouble: std::fill_n(reinterpret_cast<double*>(buf_.Data()), length_, v); break;
    case mvSingle: std::fill_n(reinterpret_cast<float*>(buf_.Data()), length_, static_cast<float>(v)); break;
    case mvDoubleComplex: std::fill_n(reinterpret_cast<TCplx*>(buf_.Data()), length_, TCplx(v)); break;
    default: std::fill_n(reinterpret_cast<TSCplx*>(buf_.Data()), length_, TSCplx(static_cast<float>(v))); break;
  }
}

std::vector<double> TDenseKalix::ToVector() const {
  std::vector<double> out(static_cast<std::size_t>(length_));
  for (int i = 0; i < length_; ++i) out[static_cast<std::size_t>(i)] = Get(i);
  return out;
}

// ---------------------------------------------------------------- TVec

TVec::TVec(int n, TMtxFloatPrecision p) : TDenseKalix(ktVec, p) { Shape(n, 1, p); }

TVec::TVec(std::initializer_list<double> v, TMtxFloatPrecision p) : TDenseKalix(ktVec, p) {
  Shape(static_cast<int>(v.size()), 1, p);
  int i = 0;
  for (double x : v) Put(i++, x);
}

TVec::TVec(std::span<const double> v, TMtxFloatPrecision p) : TDenseKalix(ktVec, p) {
  if (v.size() > static_cast<std::size_t>(INT_MAX)) ERaise("Size: too many elements");
  Shape(static_cast<int>(v.size()), 1, p);
  if (p == mvDouble) {
    if (!v.empty()) std::memcpy(buf_.Data(), v.data(), v.size_bytes());
  } else {
    for (int i = 0; i < length_; ++i) Put(i, v[static_cast<std::size_t>(i)]);
  }
}

TVec::TVec(std::span<const float> v) : TDenseKalix(ktVec, mvSingle) {
  if (v.size() > static_cast<std::size_t>(INT_MAX)) ERaise("Size: too many elements");
  Shape(static_cast<int>(v.size()), 1, mvSingle);
  if (!v.empty()) std::memcpy(buf_.Data(), v.data(), v.size_bytes());
}

void TVec::Copy(const TDenseKalix& Src) { CopyFrom(Src); }

void TVec::Copy(const TDenseKalix& Src, int SrcIndex, int DstIndex, int Len) {
  if (Src.FloatPrecision() != prec_) ERaise("Copy: Src.FloatPrecision <> FloatPrecision");
  if (Len < 0 || SrcIndex < 0 || DstIndex < 0 || static_cast<long long>(SrcIndex) + Len > Src.Length() ||
      static_cast<long long>(DstIndex) + Len > length_)
    ERaise("Copy: index out of range");
  const std::size_t es = ElementSize(prec_);
  if (Len > 0)
    std::memmove(buf_.Data() + static_cast<std::size_t>(DstIndex) * es,
                 static_cast<const std::byte*>(Src.Data()) + static_cast<std::size_t>(SrcIndex) * es,
                 static_cast<std::size_t>(Len) * es);
}

// ---------------------------------------------------------------- TMtx

TMtx::TMtx(int Rows, int Cols, TMtxFloatPrecision p) : TDenseKalix(ktMtx, p) { Shape(Rows, Cols, p); }

TMtx::TMtx(std::initializer_list<std::initializer_list<double>> rows, TMtxFloatPrecision p)
    : TDenseKalix(ktMtx, p) {
  const int r = static_cast<int>(rows.size());
  const int c = r > 0 ? static_cast<int>(rows.begin()->size()) : 0;
  Shape(r, c, p);
  int i = 0;
  for (const auto& row : rows) {
    if (static_cast<int>(row.size()) != c) ERaise("TMtx: rows of unequal length");
    for (double x : row) Put(i++, x);
  }
}

void TMtx::GetRow(TVec& Dst, int r) const {
  CheckRow(r);
  Dst.Size(cols_, prec_);
  const std::size_t es = ElementSize(prec_);
  if (cols_ > 0)
    std::memcpy(Dst.Data(), buf_.Data() + static_cast<std::size_t>(r) * static_cast<std::size_t>(cols_) * es,
                static_cast<std::size_t>(cols_) * es);
}

void TMtx::GetCol(TVec& Dst, int c) const {
  if (c < 0 || c >= cols_) ERaise("GetCol: index out of range");
  Dst.Size(rows_, prec_);
  const std::size_t es = ElementSize(prec_);
  auto* dst = static_cast<std::byte*>(Dst.Data());
  for (int r = 0; r < rows_; ++r)
    std::memcpy(dst + static_cast<std::size_t>(r) * es,
                buf_.Data() + (static_cast<std::size_t>(r) * static_cast<std::size_t>(cols_) + static_cast<std::size_t>(c)) * es, es);
}

void TMtx::SetRow(const TVec& Src, int r) {
  CheckRow(r);
  if (Src.Length() != cols_ || Src.FloatPrecision() != prec_) ERaise("SetRow: Src does not match the row");
  const std::size_t es = ElementSize(prec_);
  if (cols_ > 0)
    std::memcpy(buf_.Data() + static_cast<std::size_t>(r) * static_cast<std::size_t>(cols_) * es, Src.Data(),
                static_cast<std::size_t>(cols_) * es);
}

void TMtx::SetCol(const TVec& Src, int c) {
  if (c < 0 || c >= cols_) ERaise("SetCol: index out of range");
  if (Src.Length() != rows_ || Src.FloatPrecision() != prec_) ERaise("SetCol: Src does not match the column");
  const std::size_t es = ElementSize(prec_);
  const auto* src = static_cast<const std::byte*>(Src.Data());
  for (int r = 0; r < rows_; ++r)
    std::memcpy(buf_.Data() + (static_cast<std::size_t>(r) * static_cast<std::size_t>(cols_) + static_cast<std::size_t>(c)) * es,
                src + static_cast<std::size_t>(r) * es, es);
}

// ---------------------------------------------------------------- TVecInt

TVecInt::TVecInt(int n, TIntPrecision p) : TKalixInt(ktVecInt, p) { Shape(n, p); }

TVecInt::TVecInt(std::initializer_list<int> v, TIntPrecision p) : TKalixInt(ktVecInt, p) {
  Shape(static_cast<int>(v.size()), p);
  int i = 0;
  for (int x : v) Put(i++, x);
}

TVecInt::TVecInt(const TVecInt& o) : TKalixInt(o) {
  length_ = 0;
  Shape(o.length_, o.iprec_);
  if (o.length_ > 0) std::memcpy(buf_.Data(), o.buf_.Data(), static_cast<std::size_t>(o.length_) * ElementSize(o.iprec_));
}

TVecInt::TVecInt(TVecInt&& o) noexcept : TKalixInt(o), buf_(std::move(o.buf_)) { o.length_ = 0; }

TVecInt& TVecInt::operator=(const TVecInt& o) {
  if (this != &o) {
    Shape(o.length_, o.iprec_);
    if (o.length_ > 0) std::memcpy(buf_.Data(), o.buf_.Data(), static_cast<std::size_t>(o.length_) * ElementSize(o.iprec_));
  }
  return *this;
}

TVecInt& TVecInt::operator=(TVecInt&& o) noexcept {
  if (this != &o) {
    iprec_ = o.iprec_;
    length_ = o.length_;
    buf_ = std::move(o.buf_);
    o.length_ = 0;
  }
  return *this;
}

void TVecInt::Shape(int n, TIntPrecision p) {
  if (n < 0) ERaise("Size: negative dimension");
  const std::size_t es = ElementSize(p);
  const std::size_t newBytes = static_cast<std::size_t>(n) * es;
  const std::size_t oldBytes = (p == iprec_) ? static_cast<std::size_t>(length_) * es : 0;
  const bool grows = newBytes > buf_.Capacity();
  buf_.Reserve(newBytes, std::min(oldBytes, newBytes));
  if (!grows && newBytes > oldBytes) std::memset(buf_.Data() + oldBytes, 0, newBytes - oldBytes);
  iprec_ = p;
  length_ = n;
}

void TVecInt::SetZero() noexcept {
  if (length_ > 0) std::memset(buf_.Data(), 0, static_cast<std::size_t>(length_) * ElementSize(iprec_));
}

void TVecInt::SetVal(int v) {
  for (int i = 0; i < length_; ++i) Put(i, v);
}

std::vector<int> TVecInt::ToVector() const {
  std::vector<int> out(static_cast<std::size_t>(length_));
  for (int i = 0; i < length_; ++i) out[static_cast<std::size_t>(i)] = Get(i);
  return out;
}

// ---------------------------------------------------------------- TVecList

TVec& TVecList::Items(int i) {
  if (i < 0 || i >= Count()) ERaise("TVecList.Items: index out of range");
  return items_[static_cast<std::size_t>(i)];
}

const TVec& TVecList::Items(int i) const {
  if (i < 0 || i >= Count()) ERaise("TVecList.Items: index out of range");
  return items_[static_cast<std::size_t>(i)];
}

TVec& TVecList::Add() { return items_.emplace_back(); }

void TVecList::ComposeRowMatrix(TMtx& Dst) const {
  const int rows = Count();
  const int cols = rows > 0 ? items_[0].Length() : 0;
  const TMtxFloatPrecision p = rows > 0 ? items_[0].FloatPrecision() : mvDouble;
  for (const TVec& v : items_)
    if (v.Length() != cols || v.FloatPrecision() != p) ERaise("ComposeRowMatrix: vectors differ in length or precision");
  Dst.Size(rows, cols, p);
  for (int r = 0; r < rows; ++r) Dst.SetRow(items_[static_cast<std::size_t>(r)], r);
}

}  // namespace Kalix
