// Full factorial designs, distinct values with their counts, row and column removal, and
// Cronbach's alpha.

#include <cmath>
#include <complex>
#include <cstdint>
#include <type_traits>
#include <utility>

#include "Statistics/Statistics.h"

namespace Statistics {

using namespace Kalix;

namespace {

// Dispatch on all four element types: designs and row/column removal are pure data movement
// and have no reason to refuse complex storage.
template <class F>
void WithElementType(TMtxFloatPrecision p, F&& f) {
  switch (p) {
    case mvDouble:
      f(std::type_identity<double>{});
      break;
    case mvSingle:
      f(std::type_identity<float>{});
      break;
    case mvDoubleComplex:
      f(std::type_identity<TCplx>{});
      break;
    default:
      f(std::type_identity<TSCplx>{});
      break;
  }
}

template <class T>
struct TRealOf {
  using type = T;
};
template <class R>
struct TRealOf<std::complex<R>> {
  using type = R;
};

// An element of type T (real or complex) with real part v.
template <class T>
T ElementFrom(double v) {
  return T(static_cast<typename TRealOf<T>::type>(v));
}

// Sorted values are compared exactly: a tolerance would merge distinct measurements and make
// "equal" non-transitive along chains of nearly equal values.
constexpr double kUniqueTol = 0.0;

template <class T>
bool Same(T a, T b) {
  return Equal(static_cast<double>(a), static_cast<double>(b), kUniqueTol);
}

// Distinct values of the sorted s into d; run lengths into c when given. Returns how many.
template <class T>
std::size_t UniqueKernel(std::span<const T> s, std::span<T> d, std::int32_t* c) {
  const std::size_t n = s.size();
  if (n == 0) return 0;
  d[0] = s[0];
  std::size_t k = 1;
  std::int32_t run = 0;
  for (std::size_t i = 1; i < n; ++i) {
    ++run;
    if (!Same(s[i], s[i - 1])) {
      d[k] = s[i];
      if (c != nullptr) c[k - 1] = run;
      ++k;
      run = 0;
    }
  }
  if (c != nullptr) {
    // The last run is measured from the end. Deliberate: when no difference is met before the
    // start (constant data, or one element) its count is not written and keeps whatever
    // sizing left there.
    std::int32_t t = 1;
    for (std::size_t j = n - 1; j >= 1; --j) {
      if (!Same(s[j], s[j - 1])) {
        c[k - 1] = t;
        break;
      }
      ++t;
    }
  }
  return k;
}

}  // namespace

// ---------------------------------------------------------------- factorial designs

void FullFactDesign(int n, TMtx& Dst, TMtxFloatPrecision Precision, const TVec* MulVec) {
  if (!ValidPrecision(Precision)) ERaise("FullFactDesign: Precision is not a valid precision");
  if (n < 0) ERaise("FullFactDesign: n < 0");
  const int rows = aRound(Exp2(n));
  Dst.Size(rows, n, Precision);
  Dst.SetZero();
  // Deliberate: a blank before the colon, and the check comes after Dst has been sized.
  if (MulVec != nullptr && MulVec->Length() != n) ERaise("FullFactDesign : MulVec.Length <> n");
  WithElementType(Precision, [&](auto t) {
    using T = typename decltype(t)::type;
    auto d = Dst.Span<T>();
    const std::size_t cols = static_cast<std::size_t>(n);
    // Bit j of the row number goes to column n - 1 - j, so the last column changes fastest.
    // Deliberate: MulVec[j] therefore scales column n - 1 - j (reversed order).
    for (int j = 0; j < n; ++j) {
      const std::size_t col = cols - 1 - static_cast<std::size_t>(j);
      for (int r = 0; r < rows; ++r) {
        const T level = ElementFrom<T>((r >> j) & 1);
        d[static_cast<std::size_t>(r) * cols + col] =
            MulVec != nullptr ? level * ElementFrom<T>(MulVec->Values(j)) : level;
      }
    }
  });
}

void FullFactDesign(const TVec& Levels, TMtx& Dst) {
  const double product = Product(Levels);
  // A product past the int range would be saturated into a wrong (and huge) row count.
  if (std::fabs(product) >= 2147483647.5) ERaise("FullFactDesign: too many rows");
  // Every level is checked before Dst is touched, so a bad level never leaves a zero design.
  for (int j = 0; j < Levels.Length(); ++j)
    if (!(aRound(Levels.Values(j)) >= 1)) ERaise("FullFactDesign: a level rounds below 1");
  const int rows = aRound(product);
  const int k = Levels.Length();
  Dst.Size(rows, k, Levels.FloatPrecision());
  Dst.SetZero();
  WithElementType(Levels.FloatPrecision(), [&](auto t) {
    using T = typename decltype(t)::type;
    auto d = Dst.Span<T>();
    const std::size_t cols = static_cast<std::size_t>(k);
    int c = rows;  // runs of the current column still to repeat
    for (int j = 0; j < k; ++j) {
      const int L = aRound(Levels.Values(j));
      c /= L;
      if (L * c == 0) continue;      // fractional levels rounding the product below this column
      const int b = rows / (L * c);  // product of the earlier columns' levels
      for (int a = 0; a < c; ++a)
        for (int v = 0; v < L; ++v) {
          const std::size_t start = static_cast<std::size_t>((a * L + v) * b);
          for (std::size_t i = 0; i < static_cast<std::size_t>(b); ++i)
            d[(start + i) * cols + static_cast<std::size_t>(j)] = ElementFrom<T>(v + 1);
        }
    }
  });
}

// ---------------------------------------------------------------- distinct values

void Unique(const TDenseKalix& Src, TVec& Dst, TVecInt* Counts) {
  if (Src.Complex()) ERaise("Unique: Src.Complex");
  TVecScratch sorted;
  sorted->Copy(Src);  // before Dst is touched: Dst may be Src
  SortAscend(*sorted);
  const int n = sorted->Length();
  Dst.Size(n, Src.FloatPrecision());
  if (Counts != nullptr) Counts->Size(n, prInt32);
  const std::size_t k = WithPrecision(Src, [&](auto t) {
    using T = typename decltype(t)::type;
    std::int32_t* c = Counts != nullptr ? Counts->Span<std::int32_t>().data() : nullptr;
    return UniqueKernel<T>(std::as_const(*sorted).Span<T>(), Dst.Span<T>(), c);
  });
  Dst.Resize(static_cast<int>(k));
  if (Counts != nullptr) Counts->Resize(static_cast<int>(k));
}

// ---------------------------------------------------------------- row and column removal

void RemoveRow(const TMtx& Src, TMtx& Dst, int Index) {
  if (Index > Src.Rows() - 1) ERaise("RemoveRow: Index>Src.Rows-1");
  // No elements: nothing to copy, however many (empty) rows there are.
  if (Src.Length() == 0 && Index >= 0) return Dst.Size(Src.Rows() - 1, Src.Cols(), Src.FloatPrecision());
  try {
    // Built aside, so that Dst may be Src; a negative Index fails in the core's row access.
    TMtx out(Src.Rows() - 1, Src.Cols(), Src.FloatPrecision());
    TVecScratch row;
    for (int r = 0; r < Index; ++r) {
      Src.GetRow(*row, r);
      out.SetRow(*row, r);
    }
    for (int r = Index + 1; r < Src.Rows(); ++r) {
      Src.GetRow(*row, r);
      out.SetRow(*row, r - 1);
    }
    Dst = std::move(out);
  } catch (...) {
    // Deliberate: blanks on both sides of the colon.
    ERaiseWithPrefix("RemoveRow : ");
  }
}

void RemoveColumn(const TMtx& Src, TMtx& Dst, int Index) {
  if (Index > Src.Cols() - 1) ERaise("RemoveColumn: Index>Src.Cols-1");
  if (Src.Length() == 0 && Index >= 0) return Dst.Size(Src.Rows(), Src.Cols() - 1, Src.FloatPrecision());
  try {
    TMtx out(Src.Rows(), Src.Cols() - 1, Src.FloatPrecision());
    TVecScratch col;
    for (int c = 0; c < Index; ++c) {
      Src.GetCol(*col, c);
      out.SetCol(*col, c);
    }
    for (int c = Index + 1; c < Src.Cols(); ++c) {
      Src.GetCol(*col, c);
      out.SetCol(*col, c - 1);
    }
    Dst = std::move(out);
  } catch (...) {
    // Deliberate: blanks on both sides of the colon.
    ERaiseWithPrefix("RemoveColumn : ");
  }
}

// ---------------------------------------------------------------- reliability

double CronbachAlpha(const TMtx& X) {
  const double k = X.Cols();
  TMtxScratch C;
  Covariance(X, *C, true);
  // Item variances on the diagonal; the variance of the total score is the sum of all of C.
  return k / (k - 1.0) * (1.0 - Trace(*C) / Sum(*C));
}

}  // namespace Statistics
