// Dense containers of the numeric core: TVec, TMtx (row-major), TVecInt and TVecList.
//
// A dense container owns one 64-byte aligned buffer plus its element precision and shape.
// Hot code reads it through a checked std::span (x.Span<double>()); Values(i) / Values(r, c)
// read and write single elements as double for convenience.
#pragma once

#include <complex>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <type_traits>
#include <vector>

#include "Errors.h"
#include "kalix_export.h"

namespace Kalix {

/// Element precision of a dense container.
enum TMtxFloatPrecision : int { mvDouble, mvSingle, mvDoubleComplex, mvSingleComplex };
/// Element width of an integer container.
enum TIntPrecision : int { prInt32, prInt16, prUInt8 };
/// What kind of container an object is (compared where a routine accepts either kind).
enum TKalixType : int { ktVec, ktMtx, ktVecInt };

using TCplx = std::complex<double>;
using TSCplx = std::complex<float>;

/// The precision tag of a C++ element type (double, float and their complex forms).
template <class T>
constexpr TMtxFloatPrecision PrecisionOf() {
  if constexpr (std::is_same_v<T, double>) return mvDouble;
  else if constexpr (std::is_same_v<T, float>) return mvSingle;
  else if constexpr (std::is_same_v<T, TCplx>) return mvDoubleComplex;
  else {
    static_assert(std::is_same_v<T, TSCplx>, "unsupported element type");
    return mvSingleComplex;
  }
}

/// True for the four precision tags (false for any other value cast to the enum).
constexpr bool ValidPrecision(TMtxFloatPrecision p) { return p >= mvDouble && p <= mvSingleComplex; }

/// Bytes per element of a precision.
constexpr std::size_t ElementSize(TMtxFloatPrecision p) {
  return p == mvDouble ? 8 : p == mvSingle ? 4 : p == mvDoubleComplex ? 16 : 8;
}
constexpr std::size_t ElementSize(TIntPrecision p) { return p == prInt32 ? 4 : p == prInt16 ? 2 : 1; }

/// Owned, 64-byte aligned, zero-initialised storage. Large blocks come straight from the
/// kernel (huge pages where available), so big scratch buffers do not fault page by page.
class KALIX_EXPORT TBuffer {
 public:
  TBuffer() noexcept = default;
  TBuffer(const TBuffer&) = delete;
  TBuffer(TBuffer&& other) noexcept;
  TBuffer& operator=(const TBuffer&) = delete;
  TBuffer& operator=(TBuffer&& other) noexcept;
  ~TBuffer();

  std::byte* Data() noexcept { return data_; }
  const std::byte* Data() const noexcept { return data_; }
  std::size_t Capacity() const noexcept { return capacity_; }
  /// Ensures room for Bytes; the first Keep bytes survive a reallocation, new bytes are zero.
  void Reserve(std::size_t Bytes, std::size_t Keep);
  /// Frees the storage.
  void Release() noexcept;
  /// Points at Bytes of memory the caller owns (not copied, never freed here). The buffer
  /// reports no capacity, so any later sizing moves it into storage of its own.
  void Borrow(const void* Data, std::size_t Bytes) noexcept;
  /// True while the buffer points at borrowed memory.
  bool Borrowed() const noexcept { return block_ == nullptr && data_ != nullptr; }

 private:
  std::byte* data_ = nullptr;
  void* block_ = nullptr;
  std::size_t capacity_ = 0;
  std::size_t blockBytes_ = 0;
  bool mapped_ = false;
};

/// Common base of all containers: kind and element count.
class KALIX_EXPORT TKalixBase {
 public:
  TKalixType KalixType() const noexcept { return type_; }
  /// Number of elements (Rows * Cols for a matrix).
  int Length() const noexcept { return length_; }

 protected:
  explicit TKalixBase(TKalixType t) noexcept : type_(t) {}
  TKalixBase(const TKalixBase&) = default;
  TKalixBase& operator=(const TKalixBase&) = default;
  ~TKalixBase() = default;

  TKalixType type_;
  int length_ = 0;
};

/// Adds the element precision and the epsilons that go with it.
class KALIX_EXPORT TKalixSample : public TKalixBase {
 public:
  TMtxFloatPrecision FloatPrecision() const noexcept { return prec_; }
  bool Complex() const noexcept { return prec_ == mvDoubleComplex || prec_ == mvSingleComplex; }
  bool IsDouble() const noexcept { return prec_ == mvDouble || prec_ == mvDoubleComplex; }
  /// Machine epsilon of the container's precision.
  double PrecisionEPS() const noexcept;
  /// Square root of PrecisionEPS.
  double PrecisionSqrtEPS() const noexcept;

 protected:
  TKalixSample(TKalixType t, TMtxFloatPrecision p) noexcept : TKalixBase(t), prec_(p) {}
  TKalixSample(const TKalixSample&) = default;
  TKalixSample& operator=(const TKalixSample&) = default;
  ~TKalixSample() = default;

  TMtxFloatPrecision prec_;
};

/// Real or complex vector-or-matrix.
class KALIX_EXPORT TKalix : public TKalixSample {
 protected:
  using TKalixSample::TKalixSample;
  TKalix(const TKalix&) = default;
  TKalix& operator=(const TKalix&) = default;
  ~TKalix() = default;
};

class TDenseKalix;

/// Read/write handle of one element, as double (the real part for complex data). Convert it
/// (double(v[i])) or read through a const container before passing it to printf-style varargs.
class TElemRef {
 public:
  TElemRef(TDenseKalix& owner, int index) noexcept : owner_(owner), index_(index) {}
  inline operator double() const;  // NOLINT(google-explicit-constructor)
  inline TElemRef& operator=(double v);
  TElemRef& operator=(const TElemRef& v) { return *this = static_cast<double>(v); }
  TElemRef(const TElemRef&) = default;

 private:
  TDenseKalix& owner_;
  int index_;
};

/// Dense storage shared by TVec and TMtx. A vector has Rows() == Length() and Cols() == 1.
class KALIX_EXPORT TDenseKalix : public TKalix {
 public:
  int Rows() const noexcept { return rows_; }
  int Cols() const noexcept { return cols_; }
  bool IsEmpty() const noexcept { return length_ == 0; }

  /// Typed view of all elements; raises when T does not match FloatPrecision().
  template <class T>
  std::span<T> Span() {
    CheckType(PrecisionOf<T>());
    return {reinterpret_cast<T*>(buf_.Data()), static_cast<std::size_t>(length_)};
  }
  template <class T>
  std::span<const T> Span() const {
    CheckType(PrecisionOf<T>());
    return {reinterpret_cast<const T*>(buf_.Data()), static_cast<std::size_t>(length_)};
  }
  void* Data() noexcept { return buf_.Data(); }
  const void* Data() const noexcept { return buf_.Data(); }

  /// Standard-library access for std::ranges, std::span and Eigen::Map: data<T>() is the
  /// typed element pointer (T must match FloatPrecision(), double by default; raises
  /// otherwise), size() the element count, begin()/end() the double elements (a
  /// single-precision or complex container is ranged over through Span<T>()).
  template <class T = double>
  T* data() {
    return Span<T>().data();
  }
  template <class T = double>
  const T* data() const {
    return Span<T>().data();
  }
  std::size_t size() const noexcept { return static_cast<std::size_t>(length_); }
  double* begin() { return data(); }
  double* end() { return data() + size(); }
  const double* begin() const { return data(); }
  const double* end() const { return data() + size(); }

  /// Element i read as double (real part for complex data); raises when i is out of range.
  double Values(int i) const {
    CheckIndex(i);
    return Get(i);
  }
  TElemRef Values(int i) {
    CheckIndex(i);
    return {*this, i};
  }
  /// Element i as a complex number (imaginary part 0 for real data).
  TCplx CValues(int i) const;
  void SetCValue(int i, TCplx v);

  /// Takes the shape (a vector takes the element count) and precision of Template.
  void SizeAs(const TDenseKalix& Template) {
    if (type_ == ktVec || Template.type_ == ktVec)
      Shape(Template.length_, 1, Template.prec_);
    else
      Shape(Template.rows_, Template.cols_, Template.prec_);
  }
  /// Sets every element to zero, keeping shape and precision.
  void SetZero() noexcept;
  /// Sets every element to v.
  void SetVal(double v);
  /// Copies every element into a std::vector<double> (real parts for complex data).
  std::vector<double> ToVector() const;
  /// True for a read-only view made by TVec::View or TMtx::View (see there).
  bool IsView() const noexcept { return buf_.Borrowed(); }

 protected:
  TDenseKalix(TKalixType t, TMtxFloatPrecision p) noexcept : TKalix(t, p) {}
  TDenseKalix(const TDenseKalix& o);
  TDenseKalix(TDenseKalix&& o) noexcept;
  TDenseKalix& operator=(const TDenseKalix& o);
  TDenseKalix& operator=(TDenseKalix&& o) noexcept;
  ~TDenseKalix() = default;

  /// Shapes the storage; elements kept when the precision is unchanged, new ones are zero.
  void Shape(int rows, int cols, TMtxFloatPrecision p);
  /// Deep copy of another container's elements, shape and precision.
  void CopyFrom(const TDenseKalix& src);
  void CheckIndex(int i) const {
    if (i < 0 || i >= length_) ERaise("Values: index out of range");
  }
  void CheckType(TMtxFloatPrecision want) const {
    if (want != prec_) ERaise("Span: element type does not match FloatPrecision");
  }
  double Get(int i) const noexcept {
    switch (prec_) {
      case mvDouble: return reinterpret_cast<const double*>(buf_.Data())[i];
      case mvSingle: return static_cast<double>(reinterpret_cast<const float*>(buf_.Data())[i]);
      case mvDoubleComplex: return reinterpret_cast<const TCplx*>(buf_.Data())[i].real();
      default: return static_cast<double>(reinterpret_cast<const TSCplx*>(buf_.Data())[i].real());
    }
  }
  void Put(int i, double v) noexcept {
    switch (prec_) {
      case mvDouble: reinterpret_cast<double*>(buf_.Data())[i] = v; break;
      case mvSingle: reinterpret_cast<float*>(buf_.Data())[i] = static_cast<float>(v); break;
      case mvDoubleComplex: reinterpret_cast<TCplx*>(buf_.Data())[i] = v; break;
      default: reinterpret_cast<TSCplx*>(buf_.Data())[i] = static_cast<float>(v); break;
    }
  }
  friend class TElemRef;

  int rows_ = 0;
  int cols_ = 0;
  TBuffer buf_;
};

inline TElemRef::operator double() const { return owner_.Get(index_); }
inline TElemRef& TElemRef::operator=(double v) {
  owner_.Put(index_, v);
  return *this;
}

class TMtx;

/// Vector of real or complex numbers in single or double precision.
class KALIX_EXPORT TVec : public TDenseKalix {
 public:
  TVec() noexcept : TDenseKalix(ktVec, mvDouble) {}
  /// A zero vector of length n.
  explicit TVec(int n, TMtxFloatPrecision p = mvDouble);
  TVec(std::initializer_list<double> v, TMtxFloatPrecision p = mvDouble);
  explicit TVec(std::span<const double> v, TMtxFloatPrecision p = mvDouble);
  explicit TVec(std::span<const float> v);
  explicit TVec(const std::vector<double>& v, TMtxFloatPrecision p = mvDouble)
      : TVec(std::span<const double>(v), p) {}
  TVec(const TVec&) = default;
  TVec(TVec&&) noexcept = default;
  TVec& operator=(const TVec&) = default;
  TVec& operator=(TVec&&) noexcept = default;
  ~TVec() = default;

  double operator[](int i) const { return Values(i); }
  TElemRef operator[](int i) { return Values(i); }

  /// Sets the length, keeping the precision.
  void Size(int n) { Shape(n, 1, prec_); }
  void Size(int n, TMtxFloatPrecision p) { Shape(n, 1, p); }
  /// Takes length and precision (hence complexity) of Template.
  void Size(const TDenseKalix& Template) { Shape(Template.Length(), 1, Template.FloatPrecision()); }
  /// Sets the length keeping the contents; new elements are zero.
  void Resize(int n) { Shape(n, 1, prec_); }
  /// Deep copy of Src (a matrix is copied as its row-major elements).
  void Copy(const TDenseKalix& Src);
  /// Copies Len elements of Src starting at SrcIndex into this vector starting at DstIndex.
  void Copy(const TDenseKalix& Src, int SrcIndex, int DstIndex, int Len);
  /// A read-only view of N elements of precision p at Data, memory the caller owns: nothing
  /// is copied or freed. Pass it only where a routine takes a const vector, and keep the memory
  /// alive and unchanged while the routine runs; copies of the view own their elements, and
  /// sizing the view moves it into storage of its own. Data must be aligned to
  /// ViewAlignment() bytes. Raises "View: N < 0", "View: FloatPrecision is not a valid
  /// precision", then "View: Data is not aligned to ViewAlignment()".
  static TVec View(const void* Data, int N, TMtxFloatPrecision p = mvDouble);
};

/// Row-major matrix of real or complex numbers in single or double precision.
class KALIX_EXPORT TMtx : public TDenseKalix {
 public:
  TMtx() noexcept : TDenseKalix(ktMtx, mvDouble) {}
  /// A zero matrix of Rows x Cols.
  TMtx(int Rows, int Cols, TMtxFloatPrecision p = mvDouble);
  /// From a list of rows, which must all have the same length.
  TMtx(std::initializer_list<std::initializer_list<double>> rows, TMtxFloatPrecision p = mvDouble);
  TMtx(const TMtx&) = default;
  TMtx(TMtx&&) noexcept = default;
  TMtx& operator=(const TMtx&) = default;
  TMtx& operator=(TMtx&&) noexcept = default;
  ~TMtx() = default;

  using TDenseKalix::Values;
  /// Element (r, c) read as double; raises when out of range.
  double Values(int r, int c) const {
    CheckRC(r, c);
    return Get(r * cols_ + c);
  }
  TElemRef Values(int r, int c) {
    CheckRC(r, c);
    return {*this, r * cols_ + c};
  }
  double operator()(int r, int c) const { return Values(r, c); }
  TElemRef operator()(int r, int c) { return Values(r, c); }
  /// Typed view of row r.
  template <class T>
  std::span<T> Row(int r) {
    CheckRow(r);
    return Span<T>().subspan(static_cast<std::size_t>(r) * static_cast<std::size_t>(cols_),
                             static_cast<std::size_t>(cols_));
  }
  template <class T>
  std::span<const T> Row(int r) const {
    CheckRow(r);
    return Span<T>().subspan(static_cast<std::size_t>(r) * static_cast<std::size_t>(cols_),
                             static_cast<std::size_t>(cols_));
  }

  /// Sets the shape, keeping the precision.
  void Size(int Rows, int Cols) { Shape(Rows, Cols, prec_); }
  void Size(int Rows, int Cols, TMtxFloatPrecision p) { Shape(Rows, Cols, p); }
  /// Takes shape and precision of Template.
  void Size(const TMtx& Template) { Shape(Template.Rows(), Template.Cols(), Template.FloatPrecision()); }
  /// Deep copy of Src.
  void Copy(const TMtx& Src) { CopyFrom(Src); }

  /// Copies row r into Dst (sized Cols, this precision).
  void GetRow(TVec& Dst, int r) const;
  /// Copies column c into Dst (sized Rows, this precision).
  void GetCol(TVec& Dst, int c) const;
  /// Writes Src (length Cols) into row r.
  void SetRow(const TVec& Src, int r);
  /// Writes Src (length Rows) into column c.
  void SetCol(const TVec& Src, int c);
  /// A read-only view of a row-major Rows x Cols block at Data, on the terms of TVec::View.
  /// Raises "View: Rows < 0 or Cols < 0", "View: too many elements", then TVec::View's texts.
  static TMtx View(const void* Data, int Rows, int Cols, TMtxFloatPrecision p = mvDouble);

 private:
  void CheckRC(int r, int c) const {
    if (r < 0 || r >= rows_ || c < 0 || c >= cols_) ERaise("Values: index out of range");
  }
  void CheckRow(int r) const {
    if (r < 0 || r >= rows_) ERaise("Row: index out of range");
  }
};

/// Integer container base: element width.
class KALIX_EXPORT TKalixInt : public TKalixBase {
 public:
  TIntPrecision IntPrecision() const noexcept { return iprec_; }

 protected:
  TKalixInt(TKalixType t, TIntPrecision p) noexcept : TKalixBase(t), iprec_(p) {}
  TKalixInt(const TKalixInt&) = default;
  TKalixInt& operator=(const TKalixInt&) = default;
  ~TKalixInt() = default;

  TIntPrecision iprec_;
};

class TVecInt;

/// Read/write handle of one integer element.
class TIntRef {
 public:
  TIntRef(TVecInt& owner, int index) noexcept : owner_(owner), index_(index) {}
  inline operator int() const;  // NOLINT(google-explicit-constructor)
  inline TIntRef& operator=(int v);
  TIntRef& operator=(const TIntRef& v) { return *this = static_cast<int>(v); }
  TIntRef(const TIntRef&) = default;

 private:
  TVecInt& owner_;
  int index_;
};

/// Vector of integers (32-bit by default; 16-bit and 8-bit unsigned also possible).
class KALIX_EXPORT TVecInt : public TKalixInt {
 public:
  TVecInt() noexcept : TKalixInt(ktVecInt, prInt32) {}
  explicit TVecInt(int n, TIntPrecision p = prInt32);
  TVecInt(std::initializer_list<int> v, TIntPrecision p = prInt32);
  TVecInt(const TVecInt& o);
  TVecInt(TVecInt&& o) noexcept;
  TVecInt& operator=(const TVecInt& o);
  TVecInt& operator=(TVecInt&& o) noexcept;
  ~TVecInt() = default;

  /// Typed view; T must be int32_t, int16_t or uint8_t matching IntPrecision().
  template <class T>
  std::span<T> Span() {
    CheckType<T>();
    return {reinterpret_cast<T*>(buf_.Data()), static_cast<std::size_t>(length_)};
  }
  template <class T>
  std::span<const T> Span() const {
    CheckType<T>();
    return {reinterpret_cast<const T*>(buf_.Data()), static_cast<std::size_t>(length_)};
  }
  int Values(int i) const {
    CheckIndex(i);
    return Get(i);
  }
  TIntRef Values(int i) {
    CheckIndex(i);
    return {*this, i};
  }
  int operator[](int i) const { return Values(i); }
  TIntRef operator[](int i) { return Values(i); }

  /// Standard-library access as for the dense containers: data<T>() (T matching
  /// IntPrecision(), int32_t by default), size(), and begin()/end() over 32-bit elements.
  template <class T = std::int32_t>
  T* data() {
    return Span<T>().data();
  }
  template <class T = std::int32_t>
  const T* data() const {
    return Span<T>().data();
  }
  std::size_t size() const noexcept { return static_cast<std::size_t>(length_); }
  std::int32_t* begin() { return data(); }
  std::int32_t* end() { return data() + size(); }
  const std::int32_t* begin() const { return data(); }
  const std::int32_t* end() const { return data() + size(); }

  /// Sets the length, keeping the precision; kept elements survive, new ones are zero.
  void Size(int n) { Shape(n, iprec_); }
  void Size(int n, TIntPrecision p) { Shape(n, p); }
  void Resize(int n) { Shape(n, iprec_); }
  void SetZero() noexcept;
  void SetVal(int v);
  std::vector<int> ToVector() const;
  /// A read-only view of N 32-bit integers at Data, on the terms of TVec::View.
  static TVecInt View(const std::int32_t* Data, int N);
  bool IsView() const noexcept { return buf_.Borrowed(); }

 private:
  template <class T>
  void CheckType() const {
    constexpr TIntPrecision want = std::is_same_v<T, std::int32_t>   ? prInt32
                                   : std::is_same_v<T, std::int16_t> ? prInt16
                                                                     : prUInt8;
    static_assert(std::is_same_v<std::remove_const_t<T>, std::int32_t> ||
                  std::is_same_v<std::remove_const_t<T>, std::int16_t> ||
                  std::is_same_v<std::remove_const_t<T>, std::uint8_t>);
    if (want != iprec_) ERaise("Span: element type does not match IntPrecision");
  }
  void CheckIndex(int i) const {
    if (i < 0 || i >= length_) ERaise("Values: index out of range");
  }
  int Get(int i) const noexcept {
    switch (iprec_) {
      case prInt32: return reinterpret_cast<const std::int32_t*>(buf_.Data())[i];
      case prInt16: return reinterpret_cast<const std::int16_t*>(buf_.Data())[i];
      default: return reinterpret_cast<const std::uint8_t*>(buf_.Data())[i];
    }
  }
  void Put(int i, int v) noexcept {
    switch (iprec_) {
      case prInt32: reinterpret_cast<std::int32_t*>(buf_.Data())[i] = v; break;
      case prInt16: reinterpret_cast<std::int16_t*>(buf_.Data())[i] = static_cast<std::int16_t>(v); break;
      default: reinterpret_cast<std::uint8_t*>(buf_.Data())[i] = static_cast<std::uint8_t>(v); break;
    }
  }
  void Shape(int n, TIntPrecision p);
  friend class TIntRef;

  TBuffer buf_;
};

inline TIntRef::operator int() const { return owner_.Get(index_); }
inline TIntRef& TIntRef::operator=(int v) {
  owner_.Put(index_, v);
  return *this;
}

/// Alignment in bytes that the data of a view must have: what the library's vector kernels
/// assume of every buffer (16 in a portable x86-64 build, more with wider vector units).
KALIX_EXPORT std::size_t ViewAlignment() noexcept;

/// Owned list of vectors.
class KALIX_EXPORT TVecList {
 public:
  int Count() const noexcept { return static_cast<int>(items_.size()); }
  TVec& Items(int i);
  const TVec& Items(int i) const;
  /// Appends an empty vector and returns it.
  TVec& Add();
  void Clear() noexcept { items_.clear(); }
  /// Stacks the vectors (all of one length) as the rows of Dst.
  void ComposeRowMatrix(TMtx& Dst) const;

 private:
  std::vector<TVec> items_;
};

}  // namespace Kalix
