// kalix.partials: the library's mergeable partial results as Python classes with add, merge,
// state / from_state (and pickling through the state) and finish. add and finish release the
// interpreter lock; merge and state are small and keep it, so merging into a partial that
// other threads also merge into stays safe. One partial must not be added to from two
// threads at once (distinct partials may).
#include <span>
#include <string>
#include <vector>

#include "KalixPy.h"

namespace kalixpy {
namespace {

using Statistics::TComomentsPartial;
using Statistics::THistogramPartial;
using Statistics::TMomentsPartial;
using Regress::TAnova1Partial;
using Regress::TLeastSquaresPartial;

py::array_t<double> StateArray(const std::vector<double>& s) {
  return py::array_t<double>(static_cast<py::ssize_t>(s.size()), s.data());
}

std::vector<double> StateArg(py::handle obj) {
  auto a = py::array_t<double, py::array::c_style | py::array::forcecast>::ensure(obj);
  if (!a || a.ndim() != 1) throw py::type_error("kalix: a partial's state must be a one-dimensional float64 array");
  return {a.data(), a.data() + a.size()};
}

// Adds a C-contiguous float64 / float32 array of ndim dimensions straight from NumPy's buffer
// (no copy, any alignment: the partials read plain spans); returns false for anything else,
// which then goes through the general conversions (copies, type errors).
template <class P>
bool AddInPlace(P& self, py::handle obj, int ndim, int cols) {
  if (!py::isinstance<py::array>(obj)) return false;
  const auto a = py::reinterpret_borrow<py::array>(obj);
  if (a.ndim() != ndim || !(a.flags() & py::array::c_style)) return false;
  if (ndim == 2 && a.shape(1) != cols && a.size() > 0) return false;  // the container path raises
  const auto n = static_cast<std::size_t>(a.size());
  if (a.dtype().is(py::dtype::of<double>())) {
    const std::span<const double> x(static_cast<const double*>(a.data()), n);
    Unlocked([&] { self.Add(x); });
  } else if (a.dtype().is(py::dtype::of<float>())) {
    const std::span<const float> x(static_cast<const float*>(a.data()), n);
    Unlocked([&] { self.Add(x); });
  } else {
    return false;
  }
  return true;
}

// The methods every partial shares: merge (returning self), state, from_state and pickling.
template <class P, class C>
void Common(C& c, const char* cpp) {
  c.def(
       "merge",
       [](P& self, const P& other) -> P& {
         self.Merge(other);
         return self;
       },
       "other"_a, py::return_value_policy::reference_internal,
       Doc((std::string(cpp) + "::Merge").c_str(), "Adds another partial of the same kind; returns self.").c_str())
      .def(
          "state", [](const P& self) { return StateArray(self.State()); },
          Doc((std::string(cpp) + "::State").c_str(), "The flat float64 state (for sending or storing).").c_str())
      .def_static(
          "from_state", [](py::handle s) { return P(std::span<const double>(StateArg(s))); }, "state"_a,
          Doc(cpp, "The partial rebuilt from state().").c_str())
      .def(py::pickle([](const P& self) { return StateArray(self.State()); },
                      [](const py::array_t<double>& s) { return P(std::span<const double>(StateArg(s))); }));
}

void BindMoments(py::module_& m) {
  py::class_<TMomentsPartial> c(m, "Moments",
                                "C++: Statistics::TMomentsPartial. Count, mean and central moments 2 to 4 of "
                                "values added in blocks; partials merge in any order.");
  c.def(py::init<>())
      .def(
          "add",
          [](TMomentsPartial& self, py::handle x) {
            if (AddInPlace(self, x, 1, 0)) return;
            InVec X = ArgVec(x, "x");
            Unlocked([&] { self.Add(X); });
          },
          "x"_a, Doc("Statistics::TMomentsPartial::Add", "Adds a 1-D array of values.").c_str())
      .def_property_readonly("n", [](const TMomentsPartial& self) { return self.Count(); })
      .def(
          "finish",
          [](const TMomentsPartial& self) {
            double mean, var, skew, kurt;
            self.Finish(mean, var, skew, kurt);
            return py::dict("n"_a = static_cast<long long>(self.Count()), "mean"_a = mean, "variance"_a = var,
                            "skewness"_a = skew, "kurtosis"_a = kurt);
          },
          Doc("Statistics::TMomentsPartial::Finish",
              "dict of n, mean, variance (divisor n - 1), skewness m3/m2^1.5 and kurtosis m4/m2^2 "
              "(not excess).")
              .c_str());
  Common<TMomentsPartial>(c, "Statistics::TMomentsPartial");
}

void BindComoments(py::module_& m) {
  py::class_<TComomentsPartial> c(m, "Comoments",
                                  "C++: Statistics::TComomentsPartial. Count, column means and co-moment "
                                  "matrix of p columns, added in blocks of rows.");
  c.def(py::init<int>(), "p"_a)
      .def(
          "add",
          [](TComomentsPartial& self, py::handle x) {
            if (AddInPlace(self, x, 2, self.Cols())) return;
            InMtx X = ArgMtx(x, "x");
            Unlocked([&] { self.Add(X); });
          },
          "x"_a, Doc("Statistics::TComomentsPartial::Add", "Adds the rows of a 2-D n x p array.").c_str())
      .def_property_readonly("p", &TComomentsPartial::Cols)
      .def_property_readonly("n", [](const TComomentsPartial& self) { return self.Count(); })
      .def(
          "finish",
          [](const TComomentsPartial& self) {
            TVec mean;
            TMtx cov, corr;
            Unlocked([&] { self.Finish(mean, cov, corr); });
            return py::dict("n"_a = static_cast<long long>(self.Count()), "mean"_a = ToNumpy(std::move(mean)),
                            "covariance"_a = ToNumpy(std::move(cov)), "correlation"_a = ToNumpy(std::move(corr)));
          },
          Doc("Statistics::TComomentsPartial::Finish",
              "dict of n, mean, covariance (divisor n - 1) and correlation matrices.")
              .c_str());
  Common<TComomentsPartial>(c, "Statistics::TComomentsPartial");
}

void BindHistogram(py::module_& m) {
  py::class_<THistogramPartial> c(m, "Histogram",
                                  "C++: Statistics::THistogramPartial. Counts in `bins` equal-width bins over the "
                                  "fixed limits [lo, hi] (a value equal to hi in the last bin, values outside "
                                  "and NaNs not counted).");
  c.def(py::init<double, double, int>(), "lo"_a, "hi"_a, "bins"_a)
      .def(
          "add",
          [](THistogramPartial& self, py::handle x) {
            if (AddInPlace(self, x, 1, 0)) return;
            InVec X = ArgVec(x, "x");
            Unlocked([&] { self.Add(X); });
          },
          "x"_a, Doc("Statistics::THistogramPartial::Add", "Counts a 1-D array of values.").c_str())
      .def(
          "finish",
          [](const THistogramPartial& self) {
            TVec counts, edges;
            Unlocked([&] { self.Finish(counts, edges); });
            py::array cnt = ToNumpy(std::move(counts));
            return py::dict("counts"_a = cnt.attr("astype")("int64"), "edges"_a = ToNumpy(std::move(edges)));
          },
          Doc("Statistics::THistogramPartial::Finish", "dict of counts (int64) and the bins + 1 edges.").c_str());
  Common<THistogramPartial>(c, "Statistics::THistogramPartial");
}

void BindLeastSquares(py::module_& m) {
  py::class_<TLeastSquaresPartial> c(m, "LeastSquares",
                                     "C++: Regress::TLeastSquaresPartial. Least squares of y on [1 | X] (constant) "
                                     "or X through the triangular factor of the design, added in blocks of rows.");
  c.def(py::init<int, bool>(), "p"_a, "constant"_a = true)
      .def(
          "add",
          [](TLeastSquaresPartial& self, py::handle x, py::handle y) {
            InMtx X = ArgMtx(x, "X");
            InVec Y = ArgVec(y, "y");
            Unlocked([&] { self.Add(Y, X); });
          },
          "X"_a, "y"_a, Doc("Regress::TLeastSquaresPartial::Add", "Adds the rows of X (n x p) and y (n).").c_str())
      .def_property_readonly("n", [](const TLeastSquaresPartial& self) { return self.Count(); })
      .def(
          "finish",
          [](const TLeastSquaresPartial& self) {
            TVec b, se;
            Regress::TLeastSquaresStats s{};
            Unlocked([&] { self.Finish(b, se, s); });
            return py::dict("coefficients"_a = ToNumpy(std::move(b)), "std_errors"_a = ToNumpy(std::move(se)),
                            "rss"_a = s.SSE, "r2"_a = s.R2, "df"_a = s.dfE, "n"_a = static_cast<long long>(s.n),
                            "sst"_a = s.SST, "adjusted_r2"_a = s.AdjustedR2, "residual_var"_a = s.ResidualVar,
                            "F"_a = s.F, "pvalue"_a = s.Signif);
          },
          Doc("Regress::TLeastSquaresPartial::Finish",
              "dict of coefficients (intercept first), std_errors, rss, r2, df (residual degrees of freedom), "
              "n, sst, adjusted_r2, residual_var, F and pvalue.")
              .c_str());
  Common<TLeastSquaresPartial>(c, "Regress::TLeastSquaresPartial");
}

void BindAnova1(py::module_& m) {
  py::class_<TAnova1Partial> c(m, "Anova1",
                               "C++: Regress::TAnova1Partial. One-way ANOVA from per-group counts, means and "
                               "sums of squares; groups numbered 0 .. k-1 as regress.anova1 takes them.");
  c.def(py::init<>())
      .def(
          "add",
          [](TAnova1Partial& self, py::handle x, py::handle groups) {
            InVec X = ArgVec(x, "x");
            InInt G = ArgInt(groups, "groups");
            Unlocked([&] { self.Add(X, G); });
          },
          "x"_a, "groups"_a, Doc("Regress::TAnova1Partial::Add", "Adds values x with int group numbers.").c_str())
      .def_property_readonly("n", [](const TAnova1Partial& self) { return self.Count(); })
      .def(
          "finish",
          [](const TAnova1Partial& self, double alpha) {
            double p = 0;
            Regress::TANOVA1Result r{};
            Unlocked([&] { r = self.Finish(p, alpha); });
            return py::dict("ss1"_a = r.SS1, "ss2"_a = r.SS2, "ss_total"_a = r.SSTotal,
                            "deg1"_a = r.Deg1, "deg2"_a = r.Deg2, "deg_total"_a = r.DegTotal, "ms1"_a = r.MS1,
                            "ms2"_a = r.MS2, "F"_a = r.FDist, "f_crit"_a = r.FCrit, "pvalue"_a = p);
          },
          "alpha"_a = 0.05,
          Doc("Regress::TAnova1Partial::Finish",
              "dict of the ANOVA table as regress.anova1 gives it: ss1 (between), ss2 (within), ss_total, deg1, "
              "deg2, deg_total, ms1, ms2, F, f_crit and pvalue.")
              .c_str());
  Common<TAnova1Partial>(c, "Regress::TAnova1Partial");
}

}  // namespace

void BindPartials(py::module_& m) {
  BindMoments(m);
  BindComoments(m);
  BindHistogram(m);
  BindLeastSquares(m);
  BindAnova1(m);
}

}  // namespace kalixpy
