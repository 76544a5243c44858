// Mergeable partial results: summaries of blocks of data that are built apart (per chunk,
// thread or process), merged in any order and finished into the statistic the library's
// in-memory routine gives for all the data at once, equal to rounding.
//
// Each partial is a value (copy it, send it): Add takes a block of data, Merge another partial
// of the same kind, Finish the result. State() flattens a partial into doubles (to send over
// MPI or pickle it) and the constructor from a state rebuilds it; the layouts are documented
// per class and start with a kind tag. Every partial accumulates in double, also for
// single-precision data, and keeps its own shift (its first value), so that data with a large
// common offset merge without losing digits. An empty partial is the identity of Merge.
#pragma once

#include <span>
#include <vector>

#include "../core/KalixCore.h"

namespace Statistics {

/// Count, mean and central moments 2 to 4. State: {1, n, shift, mean - shift, M2, M3, M4},
/// M_k the sums of k-th powers of deviations from the mean.
class KALIX_EXPORT TMomentsPartial {
 public:
  TMomentsPartial() = default;
  /// From State(). Raises "TMomentsPartial: State is not a moments state".
  explicit TMomentsPartial(std::span<const double> State);
  /// Adds the values of X (any length). Raises "TMomentsPartial.Add: X.Complex".
  void Add(const Kalix::TVec& X);
  /// Adds values read in place from any memory (no alignment needed).
  void Add(std::span<const double> X);
  void Add(std::span<const float> X);
  /// Adds the summary of another partial (Chan, Golub & LeVeque; Pebay).
  void Merge(const TMomentsPartial& Other);
  /// The flat state (7 doubles).
  std::vector<double> State() const;
  /// Number of values added.
  double Count() const noexcept { return n_; }
  /// Mean; variance with divisor n - 1 (as Covariance); skewness m3 / m2^1.5 and kurtosis
  /// m4 / m2^2 (not excess) from the moments with divisor n (as Moment). NaN where undefined.
  void Finish(double& Mean, double& Variance, double& Skewness, double& Kurtosis) const;

 private:
  template <class T>
  void AddValues(std::span<const T> x);
  double n_ = 0, shift_ = 0, mean_ = 0, m2_ = 0, m3_ = 0, m4_ = 0;  // mean_ is less shift_
};

/// Count, column means and the co-moment matrix of p columns. State: {2, p, n, shift[p],
/// mean[p] - shift[p], C[p * p]} with C the row-major sums of cross products of deviations.
class KALIX_EXPORT TComomentsPartial {
 public:
  /// An empty partial of Cols columns. Raises "TComomentsPartial: Cols < 1".
  explicit TComomentsPartial(int Cols);
  /// From State(). Raises "TComomentsPartial: State is not a comoments state".
  explicit TComomentsPartial(std::span<const double> State);
  /// Adds the rows of X. Raises "TComomentsPartial.Add: X.Complex", then
  /// "TComomentsPartial.Add: X.Cols <> Cols" (an empty X of any shape adds nothing).
  void Add(const Kalix::TMtx& X);
  /// Adds row-major rows read in place from any memory. Raises "TComomentsPartial.Add:
  /// X.Length mod Cols <> 0".
  void Add(std::span<const double> X);
  void Add(std::span<const float> X);
  /// Raises "TComomentsPartial.Merge: Other.Cols <> Cols".
  void Merge(const TComomentsPartial& Other);
  std::vector<double> State() const;
  int Cols() const noexcept { return p_; }
  double Count() const noexcept { return n_; }
  /// Column means, covariance matrix (divisor n - 1) and correlation matrix, as Covariance and
  /// CorrCoef of the whole matrix give them, in double.
  void Finish(Kalix::TVec& Mean, Kalix::TMtx& Covariance, Kalix::TMtx& Correlation) const;

 private:
  template <class T>
  void AddRows(std::span<const T> x);
  int p_ = 0;
  double n_ = 0;
  std::vector<double> shift_, mean_, c_;
};

/// Counts in NumBins equal-width bins over fixed limits [Min, Max], binned as Histogram bins
/// them (a value equal to Max in the last bin; values outside and NaNs not counted; equal
/// limits widened by about one unit per bin). State: {3, Min, Max, NumBins, counts[NumBins]}.
class KALIX_EXPORT THistogramPartial {
 public:
  /// Raises "THistogramPartial: NumBins <= 0", "THistogramPartial: Min > Max or not finite",
  /// then "THistogramPartial: NumBins + 1 edges exceed the largest vector".
  THistogramPartial(double Min, double Max, int NumBins);
  /// From State(). Raises "THistogramPartial: State is not a histogram state".
  explicit THistogramPartial(std::span<const double> State);
  /// Raises "THistogramPartial.Add: Data.Complex".
  void Add(const Kalix::TVec& Data);
  /// Counts values read in place from any memory.
  void Add(std::span<const double> Data);
  void Add(std::span<const float> Data);
  /// Raises "THistogramPartial.Merge: different bins" unless limits and NumBins are equal.
  void Merge(const THistogramPartial& Other);
  std::vector<double> State() const;
  /// Counts (NumBins, exact up to 2^53) and the NumBins + 1 edges.
  void Finish(Kalix::TVec& Counts, Kalix::TVec& Edges) const;

 private:
  template <class T>
  void Count(std::span<const T> x);
  double min_, max_;
  int bins_;
  std::vector<double> counts_;
};

}  // namespace Statistics
