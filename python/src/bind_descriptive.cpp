// Percentiles, ranks, moments, covariance, designs, histograms and principal components.
#include "KalixPy.h"

namespace kalixpy {

using namespace Statistics;

namespace {

py::object Histogram(py::handle data, int bins, py::object range, bool centers, bool counts_real) {
  InVec x = ArgVec(data, "data");
  TVec edges;
  const bool ranged = !range.is_none();
  double lo = 0, hi = 0;
  if (ranged) std::tie(lo, hi) = range.cast<std::pair<double, double>>();
  if (counts_real) {
    TVec counts;
    Unlocked([&] {
      if (ranged) Statistics::Histogram(x, bins, counts, edges, centers, lo, hi);
      else Statistics::Histogram(x, bins, counts, edges, centers);
    });
    return py::make_tuple(ToNumpy(std::move(counts)), ToNumpy(std::move(edges)));
  }
  TVecInt counts;
  Unlocked([&] {
    if (ranged) Statistics::Histogram(x, bins, counts, edges, centers, lo, hi);
    else Statistics::Histogram(x, bins, counts, edges, centers);
  });
  return py::make_tuple(ToNumpy(std::move(counts)), ToNumpy(std::move(edges)));
}

}  // namespace

void BindDescriptive(py::module_& m) {
  m.def(
      "percentile",
      [](py::handle x, py::handle p, py::handle method) -> py::object {
        InVec X = ArgVec(x, "x");
        const auto how = PercentileMethod(method);
        if (PyFloat_Check(p.ptr()) || (!py::isinstance<py::array>(p) && !PySequence_Check(p.ptr()))) {
          const double q = p.cast<double>();
          return py::float_(Unlocked([&] { return Percentile(X, q, how); }));
        }
        InVec P = ArgDoubles(p, "p");
        TVec out(P.v.Length());
        Unlocked([&] { Percentile(X, P.v.Span<double>(), out.Span<double>(), how); });
        return ToNumpy(std::move(out));
      },
      "x"_a, "p"_a, "method"_a = py::none(),
      Doc("Statistics::Percentile", "P-th percentile (0 <= p <= 1) of x, or one per element of an array p.").c_str());
  m.def(
      "inter_quartile", [](py::handle x, py::handle method) {
        InVec X = ArgVec(x, "x");
        const auto how = PercentileMethod(method);
        return Unlocked([&] { return InterQuartile(X, how); });
      },
      "x"_a, "method"_a = py::none(), Doc("Statistics::InterQuartile", "Upper minus lower quartile.").c_str());
  m.def(
      "ranks",
      [](py::handle x) {
        TVec X = CopyVec(x, "x"), r;
        Unlocked([&] { Ranks(X, r); });
        return py::make_tuple(ToNumpy(std::move(X)), ToNumpy(std::move(r)));
      },
      "x"_a,
      Doc("Statistics::Ranks", "(sorted copy of x, values at the sort permutation); x itself is not changed.").c_str());
  m.def(
      "tied_ranks",
      [](py::handle x) {
        InVec X = ArgVec(x, "x");
        TVec r;
        double ties = 0;
        Unlocked([&] { TiedRanks(X, r, ties); });
        return py::make_tuple(ToNumpy(std::move(r)), ties);
      },
      "x"_a, Doc("Statistics::TiedRanks", "(average ranks, tie sum of (t^3 - t)/2).").c_str());

  // Scalar summaries of one vector.
  m.def("mean_g", [](py::handle x) { InVec X = ArgVec(x, "x"); return Unlocked([&] { return MeanG(X); }); }, "x"_a,
        Doc("Statistics::MeanG", "Geometric mean.").c_str());
  m.def("mean_h", [](py::handle x) { InVec X = ArgVec(x, "x"); return Unlocked([&] { return MeanH(X); }); }, "x"_a,
        Doc("Statistics::MeanH", "Harmonic mean.").c_str());
  m.def(
      "mean_t", [](py::handle x, double percent) {
        InVec X = ArgVec(x, "x");
        return Unlocked([&] { return MeanT(X, percent); });
      },
      "x"_a, "percent"_a, Doc("Statistics::MeanT", "Trimmed mean, a fraction percent cut in all.").c_str());
  m.def(
      "mode",
      [](py::handle x, py::object index, py::object length) {
        InVec X = ArgVec(x, "x");
        if (index.is_none() && length.is_none()) return Unlocked([&] { return Mode(X); });
        const int i = index.is_none() ? 0 : index.cast<int>();
        const int n = length.is_none() ? X.v.Length() - i : length.cast<int>();
        return Unlocked([&] { return Mode(X, i, n); });
      },
      "x"_a, "index"_a = py::none(), "length"_a = py::none(),
      Doc("Statistics::Mode", "Most frequent value (smallest of ties), optionally of x[index:index+length].").c_str());
  m.def(
      "moment", [](py::handle x, double mu, int order) {
        InVec X = ArgVec(x, "x");
        return Unlocked([&] { return Moment(X, mu, order); });
      },
      "x"_a, "mu"_a, "order"_a, Doc("Statistics::Moment", "Mean of (x - mu)^order.").c_str());
  m.def(
      "covariance",
      [](py::handle x, py::handle y, bool biased) -> py::object {
        if (y.is_none()) {
          auto xa = py::array::ensure(x);
          if (xa && xa.ndim() == 2) {
            InMtx X = ArgMtx(x, "x");
            TMtx r;
            Unlocked([&] { Covariance(X.m, r, biased); });
            return ToNumpy(std::move(r));
          }
          InVec X = ArgVec(x, "x");
          double r = 0;
          Unlocked([&] { Covariance(X.v, r, biased); });
          return py::float_(r);
        }
        InVec X = ArgVec(x, "x"), Y = ArgVec(y, "y");
        TMtx r;
        Unlocked([&] { Covariance(X.v, Y.v, r, biased); });
        return ToNumpy(std::move(r));
      },
      "x"_a, "y"_a = py::none(), "biased"_a = false,
      Doc("Statistics::Covariance",
          "Variance of a vector, 2 x 2 covariance of x and y, or covariance of a matrix's columns.").c_str());
  m.def(
      "corr_coef",
      [](py::handle x, py::handle y, bool t_stat) -> py::object {
        if (y.is_none()) {
          InMtx X = ArgMtx(x, "x");
          TMtx r;
          Unlocked([&] { CorrCoef(X.m, r); });
          return ToNumpy(std::move(r));
        }
        InVec X = ArgVec(x, "x"), Y = ArgVec(y, "y");
        TMtx r;
        if (!t_stat) {
          Unlocked([&] { CorrCoef(X.v, Y.v, r); });
          return ToNumpy(std::move(r));
        }
        double t = 0;
        Unlocked([&] { CorrCoef(X.v, Y.v, r, t); });
        return py::make_tuple(ToNumpy(std::move(r)), t);
      },
      "x"_a, "y"_a = py::none(), "t_stat"_a = false,
      Doc("Statistics::CorrCoef",
          "2 x 2 correlation of x and y (with t_stat: the deliberately unnormalised (matrix, t) form), or of a "
          "matrix's columns.").c_str());
  m.def(
      "range_rows", [](py::handle a) {
        InMtx A = ArgMtx(a, "a");
        TVec r;
        Unlocked([&] { RangeRows(A, r); });
        return ToNumpy(std::move(r));
      },
      "a"_a, Doc("Statistics::RangeRows", "Max - min of each row.").c_str());
  m.def(
      "range_cols", [](py::handle a) {
        InMtx A = ArgMtx(a, "a");
        TVec r;
        Unlocked([&] { RangeCols(A, r); });
        return ToNumpy(std::move(r));
      },
      "a"_a, Doc("Statistics::RangeCols", "Max - min of each column.").c_str());

  // Designs and matrix utilities.
  m.def(
      "full_fact_design",
      [](py::handle levels, py::handle mul, bool single) {
        TMtx d;
        if (PyLong_Check(levels.ptr())) {
          const int n = levels.cast<int>();
          auto M = ArgVecOpt(mul, "mul");
          const auto prec = single ? Kalix::mvSingle : Kalix::mvDouble;
          Unlocked([&] { FullFactDesign(n, d, prec, M ? &M->v : nullptr); });
        } else {
          InVec L = ArgVec(levels, "levels");
          Unlocked([&] { FullFactDesign(L.v, d); });
        }
        return ToNumpy(std::move(d));
      },
      "levels"_a, "mul"_a = py::none(), "single"_a = false,
      Doc("Statistics::FullFactDesign",
          "Two-level design of n factors (an int), or mixed-level design of the given levels (an array).").c_str());
  m.def(
      "unique",
      [](py::handle x) {
        InVec X = ArgVec(x, "x");
        TVec u;
        TVecInt c;
        Unlocked([&] { Unique(X.v, u, &c); });
        return py::make_tuple(ToNumpy(std::move(u)), ToNumpy(std::move(c)));
      },
      "x"_a, Doc("Statistics::Unique", "(sorted distinct values, their counts).").c_str());
  m.def(
      "remove_row", [](py::handle a, int i) {
        InMtx A = ArgMtx(a, "a");
        TMtx r;
        Unlocked([&] { RemoveRow(A, r, i); });
        return ToNumpy(std::move(r));
      },
      "a"_a, "index"_a, Doc("Statistics::RemoveRow", "a without row index.").c_str());
  m.def(
      "remove_column", [](py::handle a, int i) {
        InMtx A = ArgMtx(a, "a");
        TMtx r;
        Unlocked([&] { RemoveColumn(A, r, i); });
        return ToNumpy(std::move(r));
      },
      "a"_a, "index"_a, Doc("Statistics::RemoveColumn", "a without column index.").c_str());
  m.def("cronbach_alpha", [](py::handle a) { InMtx A = ArgMtx(a, "a"); return Unlocked([&] { return CronbachAlpha(A); }); },
        "a"_a, Doc("Statistics::CronbachAlpha", "Cronbach's alpha of the items in the columns.").c_str());

  // Histograms.
  m.def(
      "histogram",
      [](py::handle data, py::handle bins, py::object range, bool centers, bool real) -> py::object {
        if (PyLong_Check(bins.ptr())) return Histogram(data, bins.cast<int>(), range, centers, real);
        InVec x = ArgVec(data, "data"), c = ArgVec(bins, "bins");
        TVec counts;
        Unlocked([&] { Statistics::Histogram(x.v, c.v, counts); });
        return ToNumpy(std::move(counts));
      },
      "data"_a, "bins"_a, "range"_a = py::none(), "centers"_a = false, "real"_a = false,
      Doc("Statistics::Histogram",
          "(counts, edges or centres) of equal-width bins (an int), over range=(min, max) or the data's; "
          "real=True gives counts in the data's precision. An array of bin centres gives counts only.").c_str());
  m.def(
      "cumulative_hist",
      [](py::handle data, py::handle bins, bool centers) -> py::object {
        InVec x = ArgVec(data, "data");
        TVec r;
        if (PyLong_Check(bins.ptr())) {
          TVec edges;
          const int n = bins.cast<int>();
          Unlocked([&] { CumulativeHist(x.v, n, r, edges, centers); });
          return py::make_tuple(ToNumpy(std::move(r)), ToNumpy(std::move(edges)));
        }
        InVec c = ArgVec(bins, "bins");
        Unlocked([&] { CumulativeHist(x.v, c.v, r); });
        return ToNumpy(std::move(r));
      },
      "data"_a, "bins"_a, "centers"_a = false,
      Doc("Statistics::CumulativeHist", "Cumulative relative frequencies; arguments as histogram.").c_str());

  // Principal components.
  py::enum_<TPCAMode>(m, "PCAMode", "C++: Statistics::TPCAMode.")
      .value("corr", PCACorrMat)
      .value("cov", PCACovMat)
      .value("raw", PCARawData);
  m.def(
      "pca",
      [](py::handle c) {
        InMtx C = ArgMtx(c, "c");
        TMtx pc;
        TVec eig, pct;
        Unlocked([&] { PCA(C.m, pc, eig, &pct); });
        const py::object type = RecordType("PCAResult", "components eigenvalues variance_percent");
        return type(ToNumpy(std::move(pc)), ToNumpy(std::move(eig)), ToNumpy(std::move(pct)));
      },
      "c"_a, Doc("Statistics::PCA", "Principal components of a covariance or correlation matrix.").c_str());
  m.def(
      "pca_data",
      [](py::handle data, py::handle mode) {
        InMtx D = ArgMtx(data, "data");
        const auto how = mode.is_none() ? PCACorrMat : static_cast<TPCAMode>(EnumArg(mode, "mode", {"corr", "cov", "raw"}));
        TMtx pc, z;
        TVec eig, pct;
        Unlocked([&] { PCA(D.m, pc, z, eig, &pct, how); });
        const py::object type = RecordType("PCADataResult", "components scores eigenvalues variance_percent");
        return type(ToNumpy(std::move(pc)), ToNumpy(std::move(z)), ToNumpy(std::move(eig)), ToNumpy(std::move(pct)));
      },
      "data"_a, "mode"_a = py::none(),
      Doc("Statistics::PCA", "Principal components of data (rows are observations): loadings, scores, eigenvalues.").c_str());
}

}  // namespace kalixpy
