// Lagged products and convolution.
//
// FFT: Eigen's FFT module with its built-in kissfft backend. It is header-only, ships with the
// Eigen we already depend on (MPL2/BSD, so it links into our MIT library, unlike FFTW), needs
// no new package or link step, and handles the 2-3-5-smooth lengths we pad to. Measured here it
// is fast enough that the FFT path wins only where the direct sum costs far more anyway.

#include "Signal.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <vector>

#include <unsupported/Eigen/FFT>

#include "Dispatch.h"
#include "Errors.h"

namespace Kalix {

namespace {

// Elements per block of the direct sum: the block and its lagged neighbour stay in L1/L2.
constexpr std::size_t kBlock = 2048;

// Smallest 2^a 3^b 5^c multiple of 4 that is >= n (the real-input FFT halves the work on
// lengths divisible by 4).
std::size_t FftLength(std::size_t n) {
  std::size_t best = 4;
  while (best < n) best *= 2;
  for (std::size_t p5 = 1; p5 * 4 <= best; p5 *= 5)
    for (std::size_t p3 = p5; p3 * 4 <= best; p3 *= 3) {
      std::size_t v = p3 * 4;
      while (v < n) v *= 2;
      best = std::min(best, v);
    }
  return best;
}

// Products of four consecutive lags k .. k+3 over t in [t0, t1): four lanes per lag, which the
// compiler maps to vector registers without reassociating a single sum itself.
template <class T>
void FourLags(const T* x, const T* y, std::size_t t0, std::size_t t1, std::size_t k, T* out) {
  T a[4][4] = {};
  std::size_t t = t0;
  for (; t + 4 <= t1; t += 4)
    for (std::size_t l = 0; l < 4; ++l)
      for (std::size_t j = 0; j < 4; ++j) a[l][j] += x[t + j] * y[t + j + k + l];
  for (std::size_t l = 0; l < 4; ++l) {
    T s = (a[l][0] + a[l][1]) + (a[l][2] + a[l][3]);
    for (std::size_t u = t; u < t1; ++u) s += x[u] * y[u + k + l];
    out[l] += s;
  }
}

template <class T>
T OneLag(const T* x, const T* y, std::size_t t0, std::size_t t1, std::size_t k) {
  T a[4] = {};
  std::size_t t = t0;
  for (; t + 4 <= t1; t += 4)
    for (std::size_t j = 0; j < 4; ++j) a[j] += x[t + j] * y[t + j + k];
  T s = (a[0] + a[1]) + (a[2] + a[3]);
  for (; t < t1; ++t) s += x[t] * y[t + k];
  return s;
}

// Direct sum, blocked over t so every lag of a block reads the same cached stretch of data;
// each lag's total is the sum of its block sums.
template <class T>
void LagProductsDirect(const T* x, const T* y, std::size_t n, T* R, std::size_t m) {
  std::fill(R, R + m, T(0));
  for (std::size_t t0 = 0; t0 < n; t0 += kBlock) {
    const std::size_t t1 = std::min(n, t0 + kBlock);
    std::size_t k = 0;
    // Lags k .. k+3 share the range t < n - k - 3; the last few t of each lag are added singly.
    for (; k + 4 <= m && t0 + k + 3 < n; k += 4) {
      const std::size_t end = std::min(t1, n - k - 3);
      FourLags(x, y, t0, end, k, R + k);
      for (std::size_t l = 0; l < 4; ++l)
        for (std::size_t u = end; u < std::min(t1, n - k - l); ++u) R[k + l] += x[u] * y[u + k + l];
    }
    for (; k < m && t0 + k < n; ++k) R[k] += OneLag(x, y, t0, std::min(t1, n - k), k);
  }
}

// R[k] = sum x[t] y[t+k] through the spectrum: zero padding to >= n + m - 1 keeps the circular
// products of lags below m free of wrap-around.
template <class T>
void LagProductsFft(const T* x, const T* y, std::size_t n, T* R, std::size_t m) {
  const std::size_t N = FftLength(n + m - 1);
  Eigen::FFT<T> fft;
  fft.SetFlag(Eigen::FFT<T>::HalfSpectrum);
  std::vector<T> buf(N, T(0));
  std::vector<std::complex<T>> fx(N / 2 + 1), fy;
  std::copy(x, x + n, buf.begin());
  fft.fwd(fx.data(), buf.data(), static_cast<Eigen::Index>(N));
  if (x == y) {
    for (auto& c : fx) c = std::complex<T>(std::norm(c), T(0));
  } else {
    fy.resize(N / 2 + 1);
    std::copy(y, y + n, buf.begin());
    fft.fwd(fy.data(), buf.data(), static_cast<Eigen::Index>(N));
    for (std::size_t i = 0; i < fx.size(); ++i) fx[i] = std::conj(fx[i]) * fy[i];
  }
  fft.inv(buf.data(), fx.data(), static_cast<Eigen::Index>(N));
  std::copy(buf.begin(), buf.begin() + static_cast<std::ptrdiff_t>(m), R);
}

// The direct sum costs about n*m multiply-adds, the FFT a few N log2 N operations with a
// larger constant; the factor was measured on 1e4 .. 1e6 values.
bool UseFft(std::size_t n, std::size_t m) {
  if (m <= 64 || n < 256) return false;
  const double N = static_cast<double>(FftLength(n + m - 1));
  return static_cast<double>(n) * static_cast<double>(m) > 3.0 * N * std::log2(N);
}

template <class T>
void ConvolveDirect(const T* x, std::size_t nx, const T* y, std::size_t ny, T* C) {
  // Each output is one dot product of x with y reversed; the shorter vector is the inner loop.
  if (ny > nx) {
    std::swap(x, y);
    std::swap(nx, ny);
  }
  for (std::size_t j = 0; j < nx + ny - 1; ++j) {
    const std::size_t lo = j + 1 > ny ? j + 1 - ny : 0, hi = std::min(j, nx - 1);
    T s(0);
    for (std::size_t i = lo; i <= hi; ++i) s += x[i] * y[j - i];
    C[j] = s;
  }
}

template <class T>
void ConvolveFft(const T* x, std::size_t nx, const T* y, std::size_t ny, T* C) {
  const std::size_t L = nx + ny - 1, N = FftLength(L);
  Eigen::FFT<T> fft;
  fft.SetFlag(Eigen::FFT<T>::HalfSpectrum);
  std::vector<T> buf(N, T(0));
  std::vector<std::complex<T>> fx(N / 2 + 1), fy(N / 2 + 1);
  std::copy(x, x + nx, buf.begin());
  fft.fwd(fx.data(), buf.data(), static_cast<Eigen::Index>(N));
  std::fill(buf.begin(), buf.end(), T(0));
  std::copy(y, y + ny, buf.begin());
  fft.fwd(fy.data(), buf.data(), static_cast<Eigen::Index>(N));
  for (std::size_t i = 0; i < fx.size(); ++i) fx[i] *= fy[i];
  fft.inv(buf.data(), fx.data(), static_cast<Eigen::Index>(N));
  std::copy(buf.begin(), buf.begin() + static_cast<std::ptrdiff_t>(L), C);
}

// Lagged products of X and Y (Y may be X) divided by n, into Dst of Lags elements.
void Correlate(TVec& Dst, const TVec& X, const TVec& Y, int Lags) {
  WithPrecision(X, [&](auto tag) {
    using T = typename decltype(tag)::type;
    Dst.Size(Lags, PrecisionOf<T>());
    auto r = Dst.Span<T>();
    Kern::LagProducts<T>(X.Span<T>(), Y.Span<T>(), r);
    if (X.IsEmpty()) return;  // no products at all: every lag stays 0
    const T n = static_cast<T>(X.Length());
    for (auto& v : r) v /= n;
  });
}

}  // namespace

namespace Kern {

template <class T>
void LagProducts(std::span<const T> x, std::span<const T> y, std::span<T> R) {
  if (x.size() != y.size()) ERaise("LagProducts: x.Length <> y.Length");
  const std::size_t n = x.size(), m = std::min(R.size(), n);
  std::fill(R.begin() + static_cast<std::ptrdiff_t>(m), R.end(), T(0));
  if (m == 0) return;
  if (UseFft(n, m))
    LagProductsFft(x.data(), y.data(), n, R.data(), m);
  else
    LagProductsDirect(x.data(), y.data(), n, R.data(), m);
}

template <class T>
void Convolve(std::span<const T> x, std::span<const T> y, std::span<T> C) {
  if (x.empty() || y.empty() || C.size() != x.size() + y.size() - 1) ERaise("Convolve: output length mismatch");
  if (std::min(x.size(), y.size()) <= 64)
    ConvolveDirect(x.data(), x.size(), y.data(), y.size(), C.data());
  else
    ConvolveFft(x.data(), x.size(), y.data(), y.size(), C.data());
}

#define KALIX_INSTANTIATE_SIGNAL(T)                                                                  \
  template KALIX_EXPORT void LagProducts<T>(std::span<const T>, std::span<const T>, std::span<T>); \
  template KALIX_EXPORT void Convolve<T>(std::span<const T>, std::span<const T>, std::span<T>);
KALIX_INSTANTIATE_SIGNAL(float)
KALIX_INSTANTIATE_SIGNAL(double)
#undef KALIX_INSTANTIATE_SIGNAL

}  // namespace Kern

void AutoCorrBiased(TVec& Dst, const TVec& X, int Lags) {
  if (X.Complex()) ERaise("AutoCorrBiased: X.Complex");
  if (Lags < 0) ERaise("AutoCorrBiased: Lags < 0");
  Correlate(Dst, X, X, Lags);
}

void CrossCorr(TVec& Dst, const TVec& X, const TVec& Y, int Lags) {
  if (X.Complex() || Y.Complex()) ERaise("CrossCorr: X.Complex or Y.Complex");
  if (X.Length() != Y.Length()) ERaise("CrossCorr: X.Length <> Y.Length");
  if (X.FloatPrecision() != Y.FloatPrecision()) ERaise("CrossCorr: X.FloatPrecision <> Y.FloatPrecision");
  if (Lags < 0) ERaise("CrossCorr: Lags < 0");
  Correlate(Dst, X, Y, Lags);
}

void Convolve(TVec& Dst, const TVec& X, const TVec& Y) {
  if (X.Complex() || Y.Complex()) ERaise("Convolve: X.Complex or Y.Complex");
  if (X.FloatPrecision() != Y.FloatPrecision()) ERaise("Convolve: X.FloatPrecision <> Y.FloatPrecision");
  WithPrecision(X, [&](auto tag) {
    using T = typename decltype(tag)::type;
    if (X.IsEmpty() || Y.IsEmpty()) {
      Dst.Size(0, PrecisionOf<T>());
      return;
    }
    Dst.Size(X.Length() + Y.Length() - 1, PrecisionOf<T>());
    Kern::Convolve<T>(X.Span<T>(), Y.Span<T>(), Dst.Span<T>());
  });
}

}  // namespace Kalix
