#include "KalixPy.h"

#include <array>
#include <climits>
#include <cstdint>
#include <cstring>

namespace kalixpy {

namespace {

// The last few data addresses read in place by this thread (a debug hook for the tests that
// check arrays are not copied).
struct TViewLog {
  std::array<std::uintptr_t, 8> addr{};
  unsigned next = 0;
};
thread_local TViewLog viewLog;

void LogView(const void* p) { viewLog.addr[viewLog.next++ % viewLog.addr.size()] = reinterpret_cast<std::uintptr_t>(p); }

py::array AsArray(py::handle obj) {
  if (py::isinstance<py::array>(obj)) return py::reinterpret_borrow<py::array>(obj);
  PyObject* a = py::detail::npy_api::get().PyArray_FromAny_(obj.ptr(), nullptr, 0, 0, 0, nullptr);
  if (a == nullptr) throw py::error_already_set();
  return py::reinterpret_steal<py::array>(a);
}

[[noreturn]] void TypeError(const char* name, const std::string& what) {
  throw py::type_error(std::string("kalix: argument '") + name + "' " + what);
}

// The element precision a dtype is read in; other numbers become float64.
Kalix::TMtxFloatPrecision PrecisionFor(const py::dtype& dt, const char* name) {
  const char kind = dt.kind();
  if (kind == 'f' && dt.itemsize() == 4) return Kalix::mvSingle;
  if (kind == 'c') return dt.itemsize() == 8 ? Kalix::mvSingleComplex : Kalix::mvDoubleComplex;
  if (kind == 'f' || kind == 'i' || kind == 'u' || kind == 'b') return Kalix::mvDouble;
  TypeError(name, "must hold numbers, not dtype " + std::string(py::str(py::handle(dt))));
}

py::dtype DtypeOf(Kalix::TMtxFloatPrecision p) {
  switch (p) {
    case Kalix::mvSingle: return py::dtype::of<float>();
    case Kalix::mvDoubleComplex: return py::dtype::of<std::complex<double>>();
    case Kalix::mvSingleComplex: return py::dtype::of<std::complex<float>>();
    default: return py::dtype::of<double>();
  }
}

void CheckLength(py::ssize_t n, const char* name) {
  if (n > INT_MAX)
    Kalix::ERaise(std::string("kalix: argument '") + name + "' has " + std::to_string(n) +
                  " elements, beyond the library's limit of 2147483647");
}

// The array in the wanted dtype, C-contiguous: the argument itself when it already is one.
py::array Contiguous(const py::array& a, py::dtype dt) {
  constexpr int kFlags = py::array::c_style | py::array::forcecast;
  if (a.dtype().is(dt) || a.dtype().equal(dt)) {
    if ((a.flags() & py::detail::npy_api::NPY_ARRAY_C_CONTIGUOUS_) != 0) return a;
  }
  auto& api = py::detail::npy_api::get();
  return py::reinterpret_steal<py::array>(
      api.PyArray_FromAny_(a.ptr(), dt.release().ptr(), 0, 0, kFlags | py::detail::npy_api::NPY_ARRAY_ALIGNED_, nullptr));
}

bool Viewable(const void* p) { return reinterpret_cast<std::uintptr_t>(p) % Kalix::ViewAlignment() == 0; }

// Reads a contiguous array in place, or copies it into owned storage when misaligned.
template <class View, class Copy>
auto ViewOrCopy(const py::array& c, View view, Copy copy) {
  if (c.size() == 0 || Viewable(c.data())) {
    LogView(c.data());
    return view(c.data());
  }
  auto owned = copy();
  std::memcpy(owned.Data(), c.data(), static_cast<std::size_t>(c.nbytes()));
  return owned;
}

}  // namespace

py::list DebugViews() {
  py::list out;
  for (std::uintptr_t a : viewLog.addr)
    if (a != 0) out.append(a);
  viewLog = {};
  return out;
}

InVec ArgVec(py::handle obj, const char* name) {
  py::array a = AsArray(obj);
  if (a.ndim() != 1) TypeError(name, "must be one-dimensional, got " + std::to_string(a.ndim()) + " dimensions");
  CheckLength(a.size(), name);
  const auto p = PrecisionFor(a.dtype(), name);
  py::array c = Contiguous(a, DtypeOf(p));
  const int n = static_cast<int>(c.size());
  TVec v = ViewOrCopy(
      c, [&](const void* d) { return TVec::View(d, n, p); }, [&] { return TVec(n, p); });
  return {std::move(c), std::move(v)};
}

std::optional<InVec> ArgVecOpt(py::handle obj, const char* name) {
  if (obj.is_none()) return std::nullopt;
  return ArgVec(obj, name);
}

InMtx ArgMtx(py::handle obj, const char* name) {
  py::array a = AsArray(obj);
  if (a.ndim() != 2) TypeError(name, "must be two-dimensional, got " + std::to_string(a.ndim()) + " dimensions");
  CheckLength(a.size(), name);
  CheckLength(a.shape(0), name);
  CheckLength(a.shape(1), name);
  const auto p = PrecisionFor(a.dtype(), name);
  py::array c = Contiguous(a, DtypeOf(p));
  const int r = static_cast<int>(c.shape(0)), k = static_cast<int>(c.shape(1));
  TMtx m = ViewOrCopy(
      c, [&](const void* d) { return TMtx::View(d, r, k, p); }, [&] { return TMtx(r, k, p); });
  return {std::move(c), std::move(m)};
}

InInt ArgInt(py::handle obj, const char* name) {
  py::array a = AsArray(obj);
  if (a.ndim() != 1) TypeError(name, "must be one-dimensional, got " + std::to_string(a.ndim()) + " dimensions");
  const char kind = a.dtype().kind();
  if (kind != 'i' && kind != 'u' && kind != 'b') TypeError(name, "must hold integers, not dtype " + std::string(py::str(py::handle(a.dtype()))));
  CheckLength(a.size(), name);
  // Wider integers are narrowed only when every value fits: a wrapped value would be a wrong answer.
  if (a.dtype().itemsize() > 4 && a.size() > 0 &&
      (a.attr("max")().cast<long long>() > INT_MAX || a.attr("min")().cast<long long>() < INT_MIN))
    Kalix::ERaise(std::string("kalix: argument '") + name + "' holds values beyond the 32-bit integer range");
  py::array c = Contiguous(a, py::dtype::of<std::int32_t>());
  const int n = static_cast<int>(c.size());
  TVecInt v;
  if (n == 0 || Viewable(c.data())) {
    LogView(c.data());
    v = TVecInt::View(static_cast<const std::int32_t*>(c.data()), n);
  } else {
    v.Size(n);
    std::memcpy(v.data(), c.data(), static_cast<std::size_t>(c.nbytes()));
  }
  return {std::move(c), std::move(v)};
}

TVec CopyVec(py::handle obj, const char* name) {
  InVec in = ArgVec(obj, name);
  return TVec(in.v);  // a copy owns its elements
}

InVec ArgDoubles(py::handle obj, const char* name) {
  py::array a = AsArray(obj);
  if (a.ndim() != 1) TypeError(name, "must be one-dimensional, got " + std::to_string(a.ndim()) + " dimensions");
  PrecisionFor(a.dtype(), name);
  if (a.dtype().kind() == 'c') TypeError(name, "must hold real numbers, not dtype " + std::string(py::str(py::handle(a.dtype()))));
  CheckLength(a.size(), name);
  py::array c = Contiguous(a, py::dtype::of<double>());
  const int n = static_cast<int>(c.size());
  TVec v = ViewOrCopy(
      c, [&](const void* d) { return TVec::View(d, n); }, [&] { return TVec(n); });
  return {std::move(c), std::move(v)};
}

namespace {

template <class C>
py::array Owned(C&& c, py::dtype dt, std::vector<py::ssize_t> shape) {
  if (c.Length() == 0) return py::array(dt, shape);
  auto* owner = new C(std::move(c));
  py::capsule cap(owner, [](void* p) { delete static_cast<C*>(p); });
  return py::array(dt, std::move(shape), {}, owner->Data(), cap);
}

}  // namespace

py::array ToNumpy(TVec&& v) {
  const auto n = static_cast<py::ssize_t>(v.Length());
  auto dt = DtypeOf(v.FloatPrecision());
  return Owned(std::move(v), dt, {n});
}

py::array ToNumpy(TMtx&& m) {
  const auto r = static_cast<py::ssize_t>(m.Rows()), c = static_cast<py::ssize_t>(m.Cols());
  auto dt = DtypeOf(m.FloatPrecision());
  return Owned(std::move(m), dt, {r, c});
}

py::array ToNumpy(TVecInt&& v) {
  const auto n = static_cast<py::ssize_t>(v.Length());
  py::dtype dt = v.IntPrecision() == Kalix::prInt32   ? py::dtype::of<std::int32_t>()
                 : v.IntPrecision() == Kalix::prInt16 ? py::dtype::of<std::int16_t>()
                                                      : py::dtype::of<std::uint8_t>();
  if (n == 0) return py::array(dt, std::vector<py::ssize_t>{n});
  auto* owner = new TVecInt(std::move(v));
  py::capsule cap(owner, [](void* p) { delete static_cast<TVecInt*>(p); });
  return py::array(dt, {n}, {}, owner->data<std::int32_t>(), cap);
}

int EnumArg(py::handle obj, const char* what, std::initializer_list<const char*> names) {
  if (py::isinstance<py::str>(obj)) {
    const std::string s = obj.cast<std::string>();
    int i = 0;
    for (const char* n : names) {
      if (s == n) return i;
      ++i;
    }
    std::string list;
    for (const char* n : names) list += std::string(list.empty() ? "" : ", ") + "'" + n + "'";
    throw py::value_error(std::string("kalix: ") + what + " must be one of " + list + ", not '" + s + "'");
  }
  if (py::hasattr(obj, "value") && py::hasattr(obj, "name")) return obj.attr("value").cast<int>();
  throw py::type_error(std::string("kalix: ") + what + " must be a string or an enum member");
}

Statistics::THypothesisType Alternative(py::handle obj) {
  if (obj.is_none()) return Statistics::htTwoTailed;
  // Ordinals of the library: two-tailed, right-tailed (greater), left-tailed (less).
  return static_cast<Statistics::THypothesisType>(EnumArg(obj, "alternative", {"two-sided", "greater", "less"}));
}

Statistics::TPercentileMethod PercentileMethod(py::handle obj) {
  if (obj.is_none()) return Statistics::pctMethodNPlus;
  return static_cast<Statistics::TPercentileMethod>(
      EnumArg(obj, "method", {"nplus", "nminus", "closest", "edf", "edf_ave"}));
}

py::handle& RecordsHome() {
  static py::handle home;  // the _records submodule, alive as long as the extension module
  return home;
}

py::object RecordType(const char* name, const char* fields) {
  // Looked up on every call rather than cached in a function-local static: a static's guard
  // held across Python code can deadlock against another thread waiting for the lock.
  py::dict types = RecordsHome().attr("__dict__");
  if (PyObject* t = PyDict_GetItemString(types.ptr(), name)) return py::reinterpret_borrow<py::object>(t);
  py::object made = py::module_::import("collections").attr("namedtuple")(name, fields);
  made.attr("__module__") = "kalix";
  // Two threads may both get here: the first type stored wins for both.
  PyObject* kept = PyDict_SetDefault(types.ptr(), py::str(name).ptr(), made.ptr());
  if (kept == nullptr) throw py::error_already_set();
  return py::reinterpret_borrow<py::object>(kept);
}

py::object TestResult(double statistic, double pvalue, Statistics::THypothesisResult decision,
                      const Statistics::TTwoElmReal& ci) {
  const py::object type = RecordType("TestResult", "statistic pvalue decision confidence_interval");
  return type(statistic, pvalue, decision, Pair(ci));
}

}  // namespace kalixpy
