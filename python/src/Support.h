// What every file of the binding needs: the lock of the library, and arrays that cross over.
#pragma once

#include <pybind11/functional.h>
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <vector>

namespace orqmodel {

namespace py = pybind11;

/// The library guards nothing between threads; this lets one Python thread in at a time. It is
/// recursive, since a progress callback may use the model that it is called about.
std::recursive_mutex& LibraryMutex();

/// Calls the library without the interpreter's lock, which is given up before the library's is
/// waited for: who holds that one may want the interpreter's for a callback.
template <class Work>
auto InLibrary(Work&& work) {
    const py::gil_scoped_release released;
    const std::lock_guard lock(LibraryMutex());
    return std::forward<Work>(work)();
}

/// What the library calls with the part of the work that is done: passes it on to a callable of
/// Python, if there is one, and looks for signals. What either raises ends the work.
std::function<void(double)> ProgressTo(const py::object& callable);

/// Room for values that is not cleared first.
template <class Value>
struct Buffer {
    explicit Buffer(std::size_t count)
        : values(std::make_unique_for_overwrite<Value[]>(count)), size(count) {}
    std::span<Value> Span() const { return {values.get(), size}; }
    std::unique_ptr<Value[]> values;
    std::size_t size;
};

/// A read-only array that owns the values, without a copy.
template <class Value>
py::array_t<Value> ToArray(Buffer<Value> buffer, std::vector<py::ssize_t> shape) {
    Value* const data = buffer.values.release();
    const py::capsule owner(data, [](void* values) { delete[] static_cast<Value*>(values); });
    py::array_t<Value> array(std::move(shape), data, owner);
    array.attr("setflags")(py::arg("write") = false);
    return array;
}

template <class Value>
py::array_t<Value> ToArray(std::span<const Value> values) {
    Buffer<Value> buffer(values.size());
    std::copy(values.begin(), values.end(), buffer.values.get());
    return ToArray(std::move(buffer), {static_cast<py::ssize_t>(values.size())});
}

/// Arrays of any number type are converted to these; what cannot be is a TypeError.
using Ints = py::array_t<int, py::array::c_style | py::array::forcecast>;
using Doubles = py::array_t<double, py::array::c_style | py::array::forcecast>;

template <class Array>
auto SpanOf(const Array& array) {
    return std::span(array.data(), static_cast<std::size_t>(array.size()));
}

/// Makes functions of the module the only way to an object of a class: `Class.__new__(Class)` would
/// give one that was never constructed, whose first use pybind11 answers with memory as it lies.
inline void ForbidNew(const py::handle& type) {
    reinterpret_cast<PyTypeObject*>(type.ptr())->tp_new = nullptr;
}

/// Throws IndexError where a number is not in [0, count).
void CheckIndex(const std::string& what, std::int64_t index, std::int64_t count);
/// Throws IndexError for an ordinal outside [0, count), ValueError for one given twice.
void CheckOrdinals(const std::string& what, std::span<const int> ordinals, int count);

}  // namespace orqmodel
