// Multivariate analysis and designs: distances, Hotelling's T^2 and Box's M, orthomax
// rotation, PCA residuals, classical scaling and Latin hypercubes (in kalix.statistics).
#include <limits>
#include <optional>

#include "KalixPy.h"

namespace kalixpy {

using namespace Statistics;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

TDistanceMetric Metric(py::handle h) {
  if (h.is_none()) return dmEuclidean;
  return static_cast<TDistanceMetric>(EnumArg(h, "metric", {"euclidean", "sqeuclidean", "cityblock", "chebyshev",
                                                            "minkowski", "mahalanobis", "correlation", "cosine"}));
}

}  // namespace

void BindMultivariate(py::module_& m) {
  py::enum_<TDistanceMetric>(m, "DistanceMetric", "C++: Statistics::TDistanceMetric.")
      .value("euclidean", dmEuclidean)
      .value("sqeuclidean", dmSqEuclidean)
      .value("cityblock", dmCityBlock)
      .value("chebyshev", dmChebyshev)
      .value("minkowski", dmMinkowski)
      .value("mahalanobis", dmMahalanobis)
      .value("correlation", dmCorrelation)
      .value("cosine", dmCosine);
  py::enum_<TRotationMethod>(m, "RotationMethod", "C++: Statistics::TRotationMethod.")
      .value("varimax", rotVarimax)
      .value("quartimax", rotQuartimax)
      .value("equamax", rotEquamax);
  py::enum_<TLHSMethod>(m, "LHSMethod", "C++: Statistics::TLHSMethod.")
      .value("random", lhsRandom)
      .value("centered", lhsCentered)
      .value("maximin_best", lhsMaximinBest)
      .value("maximin_search", lhsMaximinSearch);

  m.def(
      "pairwise_distance",
      [](py::handle x, py::handle y, py::handle metric, double p, py::handle cov) {
        InMtx X = ArgMtx(x, "x");
        const auto how = Metric(metric);
        std::optional<InMtx> C;
        if (!cov.is_none()) C = ArgMtx(cov, "cov");
        const TMtx* c = C ? &C->m : nullptr;
        TMtx d;
        if (y.is_none()) {
          Unlocked([&] { PairwiseDistance(X, d, how, p, c); });
        } else {
          InMtx Y = ArgMtx(y, "y");
          Unlocked([&] { PairwiseDistance(X, Y, d, how, p, c); });
        }
        return ToNumpy(std::move(d));
      },
      "x"_a, "y"_a = py::none(), "metric"_a = py::none(), "p"_a = 2.0, "cov"_a = py::none(),
      Doc("Statistics::PairwiseDistance", "Distances between the rows of x (n x n), or of x and y (n x m); p is the "
                                          "Minkowski power, cov the Mahalanobis covariance (estimated when None).")
          .c_str());
  m.def(
      "hotelling_t2",
      [](py::handle data, py::handle data2, py::handle mu, double alpha) {
        InMtx D = ArgMtx(data, "data");
        THypothesisResult h = hrNan;
        double p = kNaN, t2 = kNaN, f = kNaN;
        TVec hw;
        if (data2.is_none()) {
          if (mu.is_none()) throw py::value_error("kalix: the one-sample test needs mu");
          InVec M = ArgVec(mu, "mu");
          Unlocked([&] { t2 = HotellingT2(D, M, h, p, &hw, &f, alpha); });
        } else {
          InMtx D2 = ArgMtx(data2, "data2");
          Unlocked([&] { t2 = HotellingT2(D, D2, h, p, &hw, &f, alpha); });
        }
        const py::object t = RecordType("HotellingResult", "statistic pvalue decision f half_width");
        return t(t2, p, h, f, ToNumpy(std::move(hw)));
      },
      "data"_a, "data2"_a = py::none(), "mu"_a = py::none(), "alpha"_a = 0.05,
      Doc("Statistics::HotellingT2", "One-sample T^2 of the mean vector mu, or two-sample T^2 with data2; f is the "
                                     "F form, half_width the simultaneous interval half-widths.").c_str());
  m.def(
      "box_m_test",
      [](py::handle data, py::handle groups, double alpha) {
        InMtx D = ArgMtx(data, "data");
        InInt G = ArgInt(groups, "groups");
        THypothesisResult h = hrNan;
        double p = kNaN, stat = kNaN, chi = kNaN, f = kNaN, fp = kNaN;
        TTwoElmReal df{kNaN, kNaN};
        Unlocked([&] { stat = BoxMTest(D, G, h, p, &chi, &f, &df, &fp, alpha); });
        const py::object t = RecordType("BoxMResult", "statistic pvalue decision chi_square f f_df f_pvalue");
        return t(stat, p, h, chi, f, Pair(df), fp);
      },
      "data"_a, "groups"_a, "alpha"_a = 0.05,
      Doc("Statistics::BoxMTest", "Box's M test of equal group covariance matrices (one group number per row); "
                                  "the chi-square approximation decides, the F one is reported too.").c_str());
  m.def(
      "ortho_rotate",
      [](py::handle loadings, py::handle method, bool normalize, int max_iter, double tol) {
        InMtx L = ArgMtx(loadings, "loadings");
        const auto how = method.is_none() ? rotVarimax
                                          : static_cast<TRotationMethod>(
                                                EnumArg(method, "method", {"varimax", "quartimax", "equamax"}));
        TMtx r, t;
        Unlocked([&] { OrthoRotate(L, r, t, how, normalize, max_iter, tol); });
        return py::make_tuple(ToNumpy(std::move(r)), ToNumpy(std::move(t)));
      },
      "loadings"_a, "method"_a = py::none(), "normalize"_a = true, "max_iter"_a = 1000, "tolerance"_a = 1e-10,
      Doc("Statistics::OrthoRotate", "(rotated loadings, rotation matrix) of an orthomax rotation.").c_str());
  m.def(
      "pca_residuals",
      [](py::handle data, int num_comp, py::handle mode) {
        InMtx D = ArgMtx(data, "data");
        const auto how =
            mode.is_none() ? PCACorrMat : static_cast<TPCAMode>(EnumArg(mode, "mode", {"corr", "cov", "raw"}));
        TMtx r;
        TVec q, t2;
        Unlocked([&] { PCAResiduals(D, num_comp, r, q, t2, how); });
        const py::object t = RecordType("PCAResidualsResult", "residuals q t2");
        return t(ToNumpy(std::move(r)), ToNumpy(std::move(q)), ToNumpy(std::move(t2)));
      },
      "data"_a, "num_comp"_a, "mode"_a = py::none(),
      Doc("Statistics::PCAResiduals", "Residuals of data rebuilt from num_comp principal components, with Q (squared "
                                      "prediction error) and T^2 per row.").c_str());
  m.def(
      "classical_mds",
      [](py::handle d, int k) {
        InMtx D = ArgMtx(d, "d");
        TMtx c;
        TVec eig;
        TTwoElmReal gof{kNaN, kNaN};
        Unlocked([&] { ClassicalMDS(D, c, eig, &gof, k); });
        const py::object t = RecordType("MDSResult", "coords eigenvalues gof");
        return t(ToNumpy(std::move(c)), ToNumpy(std::move(eig)), Pair(gof));
      },
      "d"_a, "k"_a = 2,
      Doc("Statistics::ClassicalMDS", "Classical scaling of a distance matrix into k coordinates, with all "
                                      "eigenvalues and the two goodness-of-fit ratios.").c_str());
  m.def(
      "latin_hypercube",
      [](int n, int k, py::handle method, int seed, int iterations, py::handle dtype) {
        const auto how = method.is_none() ? lhsRandom
                                          : static_cast<TLHSMethod>(EnumArg(
                                                method, "method", {"random", "centered", "maximin_best", "maximin_search"}));
        const auto prec = DrawPrecision(dtype);
        TMtx d;
        Unlocked([&] { LatinHypercube(n, k, d, how, seed, iterations, prec); });
        return ToNumpy(std::move(d));
      },
      "n"_a, "k"_a, "method"_a = py::none(), "seed"_a = -1, "iterations"_a = 100, "dtype"_a = py::none(),
      Doc("Statistics::LatinHypercube", "n x k Latin-hypercube design in [0, 1); seed=-1 takes a fresh seed.").c_str());
}

}  // namespace kalixpy
