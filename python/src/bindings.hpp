#pragma once

// What every binding source shares: conversions between vela's small value types and Python objects, and
// the functions that add each module's classes and functions to the Python module.

#include <pybind11/pybind11.h>

#include <cuda_runtime_api.h>

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <utility>

#include "vela/core/error_code.hpp"
#include "vela/core/string.hpp"
#include "vela/core/vector.hpp"
#include "vela/mat/mat.hpp"

namespace pybind11 {
namespace detail {

// A String is a Python str, bytes or path-like object, taken by its file-system bytes (so a file name that is
// not UTF-8 passes through unchanged). A String ends at its first null byte, so text holding one is refused
// rather than cut short.
template <>
struct type_caster<vela::String> {
    PYBIND11_TYPE_CASTER(vela::String, const_name("str"));

    bool load(handle source, bool /*convert*/) {
        object text = reinterpret_borrow<object>(source);
        if (!PyUnicode_Check(source.ptr()) && !PyBytes_Check(source.ptr())) {
            if (!hasattr(source, "__fspath__")) return false;
            text = module_::import("os").attr("fspath")(source);
        }
        if (PyUnicode_Check(text.ptr())) text = module_::import("os").attr("fsencode")(text);
        if (!PyBytes_Check(text.ptr())) return false;
        std::string bytes = text.cast<std::string>();
        if (bytes.find('\0') != std::string::npos) throw value_error("embedded null byte");
        value = vela::String(bytes);
        return true;
    }

    static handle cast(const vela::String& text, return_value_policy /*policy*/, handle /*parent*/) {
        // Bytes that are not UTF-8 come back as the file-system encoding gives them, as os.fsdecode does.
        PyObject* decoded =
            PyUnicode_DecodeFSDefaultAndSize(text.c_str(), static_cast<Py_ssize_t>(text.size()));
        if (decoded == nullptr) throw error_already_set();
        return decoded;
    }
};

// Vector2/3/4 are tuples on the way out and any sequence of as many numbers on the way in.
template <typename V, typename T, size_t N>
struct vela_vector_caster {
    PYBIND11_TYPE_CASTER(V, const_name("tuple"));

    bool load(handle source, bool convert) {
        if (!isinstance<sequence>(source) || isinstance<str>(source) || isinstance<bytes>(source))
            return false;
        const auto items = reinterpret_borrow<sequence>(source);
        if (items.size() != N) return false;
        for (size_t i = 0; i < N; ++i) {
            make_caster<T> element;
            if (!element.load(items[i], convert)) return false;
            value[i] = cast_op<T>(element);
        }
        return true;
    }

    static handle cast(const V& vector, return_value_policy /*policy*/, handle /*parent*/) {
        tuple out(N);
        for (size_t i = 0; i < N; ++i)
            out[i] = pybind11::cast(vector[i]);
        return out.release();
    }
};

template <typename T>
struct type_caster<vela::Vector2<T>> : vela_vector_caster<vela::Vector2<T>, T, 2> {};
template <typename T>
struct type_caster<vela::Vector3<T>> : vela_vector_caster<vela::Vector3<T>, T, 3> {};
template <typename T>
struct type_caster<vela::Vector4<T>> : vela_vector_caster<vela::Vector4<T>, T, 4> {};

}  // namespace detail
}  // namespace pybind11

namespace vela {
namespace python {

/// A CUDA stream handed over from Python as its address (an int); 0 is the default stream.
inline cudaStream_t toStream(std::uintptr_t address) {
    return reinterpret_cast<cudaStream_t>(address);
}

/// Binds the enumeration E under `name` in `scope` (the module, or the class it belongs to), with each
/// enumerator under its C++ name.
template <typename E>
pybind11::enum_<E> bindEnum(pybind11::handle scope, const char* name,
                            std::initializer_list<std::pair<const char*, E>> values) {
    pybind11::enum_<E> bound(scope, name, pybind11::module_local());
    for (const auto& value : values)
        bound.value(value.first, value.second);
    return bound;
}
/// One enumerator of the enumeration `E` in scope, for bindEnum's list.
#define VELA_PY_VALUE(enumerator) \
    { #enumerator, E::enumerator }

/// Adds the toString overload of E to the module.
template <typename E>
void bindToString(pybind11::module_& m) {
    m.def("toString", [](const E& value) { return toString(value); });
}

/// Adds the fromString overload of E: fromString(text, out) returns (status, value), where value is `out`
/// unchanged when the text names nothing.
template <typename E>
void bindFromString(pybind11::module_& m) {
    m.def(
        "fromString",
        [](const String& text, E out) {
            const ERROR_CODE status = fromString(text, out);
            return std::make_pair(status, out);
        },
        pybind11::arg("text"), pybind11::arg("out"));
}

void bindCore(pybind11::module_& m);
void bindMat(pybind11::module_& m);
void bindArrayInterfaces(pybind11::class_<Mat>& mat);
void bindGeometry(pybind11::module_& m);
void bindTypes(pybind11::module_& m);
void bindSerialization(pybind11::module_& m);
void bindPointCloud(pybind11::module_& m);
/// Gives every function, class and enumeration of `m` its header's documentation; called last.
void attachHeaderDocs(pybind11::module_& m);

}  // namespace python
}  // namespace vela
