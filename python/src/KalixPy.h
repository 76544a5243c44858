// Conversions shared by the binding sources: NumPy arrays in (read in place where the layout
// allows), containers out (handed to NumPy without a copy), enums from strings, result
// records, and the rule that the interpreter lock is released around every library call.
#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <initializer_list>
#include <optional>
#include <string>
#include <utility>

#include "KalixStats.h"

namespace kalixpy {

namespace py = pybind11;
using namespace pybind11::literals;
using Kalix::TMtx;
using Kalix::TVec;
using Kalix::TVecInt;

/// A vector argument: the container the library reads and the array it views, kept alive
/// for as long as the call runs.
struct InVec {
  py::object keep;
  TVec v;
  operator const TVec&() const noexcept { return v; }  // NOLINT(google-explicit-constructor)
};
struct InMtx {
  py::object keep;
  TMtx m;
  operator const TMtx&() const noexcept { return m; }  // NOLINT(google-explicit-constructor)
};
struct InInt {
  py::object keep;
  TVecInt v;
  operator const TVecInt&() const noexcept { return v; }  // NOLINT(google-explicit-constructor)
};

/// A one-dimensional numeric array (or anything NumPy turns into one) read in place when it
/// is C-contiguous, aligned and float64/float32/complex; other numbers are converted to
/// float64. Raises TypeError for other dtypes or dimensions, KalixError beyond 2^31 - 1.
InVec ArgVec(py::handle obj, const char* name);
/// As ArgVec, for a vector argument that may be None (an optional weight vector).
std::optional<InVec> ArgVecOpt(py::handle obj, const char* name);
/// A two-dimensional array, rows and columns as in NumPy (the containers are row-major).
InMtx ArgMtx(py::handle obj, const char* name);
/// A one-dimensional integer array as 32-bit integers (a copy unless it is int32 already).
InInt ArgInt(py::handle obj, const char* name);
/// Data addresses read in place by this thread since the last call (a test hook).
py::list DebugViews();
/// A private copy (for arguments a routine changes, such as data it sorts).
TVec CopyVec(py::handle obj, const char* name);
/// A float64 vector for a std::span<const double> parameter.
InVec ArgDoubles(py::handle obj, const char* name);

/// The container's elements as a NumPy array that owns the container (no copy): float64,
/// float32, complex128 or complex64 as its precision; a matrix is two-dimensional.
py::array ToNumpy(TVec&& v);
py::array ToNumpy(TMtx&& m);
py::array ToNumpy(TVecInt&& v);
inline py::tuple Pair(const Statistics::TTwoElmReal& a) { return py::make_tuple(a[0], a[1]); }

/// Runs f with the interpreter lock released (f must not touch Python objects).
template <class F>
decltype(auto) Unlocked(F&& f) {
  py::gil_scoped_release release;
  return f();
}

/// "two-sided" | "less" | "greater" (or a HypothesisType member) as the library's enum.
Statistics::THypothesisType Alternative(py::handle obj);
/// dtype None, float64 or float32 as the library's precision (TypeError otherwise).
Kalix::TMtxFloatPrecision DrawPrecision(py::handle dtype);
/// "nplus" | "nminus" | "closest" | "edf" | "edf_ave" (or a PercentileMethod member).
Statistics::TPercentileMethod PercentileMethod(py::handle obj);
/// A library enum given as its Python member or as one of Names (index = ordinal).
int EnumArg(py::handle obj, const char* what, std::initializer_list<const char*> names);

/// The module that holds the record types (set once by the module's initialisation).
py::handle& RecordsHome();
/// A named-tuple type of the package, made on first use and kept for the life of the interpreter.
py::object RecordType(const char* name, const char* fields);
/// The result of a hypothesis test: statistic, pvalue, decision, confidence_interval.
py::object TestResult(double statistic, double pvalue, Statistics::THypothesisResult decision,
                      const Statistics::TTwoElmReal& ci);

/// "C++: <Name>. <text>" docstrings, so each Python function names what it calls.
inline std::string Doc(const char* cpp, const char* text) { return std::string("C++: ") + cpp + ". " + text; }

// One registration function per area; the module entry point calls them in turn.
void BindCore(py::module_& m);
void BindDescriptive(py::module_& m);
void BindFits(py::module_& m);
void BindTests(py::module_& m);
void BindRegress(py::module_& m);
void BindModels(py::module_& m);
void BindTimeSeries(py::module_& m);
void BindRandom(py::module_& m);
void BindQuality(py::module_& m);
void BindProbPlots(py::module_& m);
void BindMultivariate(py::module_& m);
void BindPartials(py::module_& m);

}  // namespace kalixpy
