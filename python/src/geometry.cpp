// Matrices, rotations, translations, orientations, transforms and poses; coordinate-system and unit
// conversions.

#include <pybind11/numpy.h>
#include <pybind11/operators.h>

#include <string>

#include "bindings.hpp"
#include "vela/geometry/coordinate_system.hpp"
#include "vela/geometry/matrix3f.hpp"
#include "vela/geometry/matrix4f.hpp"
#include "vela/geometry/orientation.hpp"
#include "vela/geometry/pose.hpp"
#include "vela/geometry/rotation.hpp"
#include "vela/geometry/transform.hpp"
#include "vela/geometry/translation.hpp"

namespace py = pybind11;

namespace vela {
namespace python {
namespace {

// N floats from any sequence or array of N numbers, nested or flat, row-major.
template <size_t N>
py::array_t<float> floatsOf(const py::array_t<float, py::array::c_style | py::array::forcecast>& values) {
    if (static_cast<size_t>(values.size()) != N)
        throw py::value_error("expected " + std::to_string(N) + " numbers, got " +
                              std::to_string(values.size()));
    return values;
}

size_t checkedIndex(py::ssize_t index, size_t size) {
    if (index < 0 || static_cast<size_t>(index) >= size)
        throw py::index_error("index " + std::to_string(index) + " is outside 0.." +
                              std::to_string(size - 1));
    return static_cast<size_t>(index);
}

// Element (row, col) of an N x N row-major matrix, bounds checked.
template <size_t N>
float& elementAt(float* elements, const std::pair<py::ssize_t, py::ssize_t>& at) {
    return elements[checkedIndex(at.first, N) * N + checkedIndex(at.second, N)];
}

// What Matrix3f and Matrix4f share: elements, indexing, the in-place operations, arithmetic and printing.
// The in-place transpose and inverse are instance methods; their copying forms are bound as _transpose and
// _inverse, and the package serves both under the one C++ name.
template <typename M, size_t N, typename InverseResult>
void bindSquareMatrix(py::class_<M>& matrix, InverseResult (M::*inverse)()) {
    matrix.def(py::init<>())
        .def(py::init([](const py::array_t<float, py::array::c_style | py::array::forcecast>& values) {
                 return M(floatsOf<N * N>(values).data());
             }),
             py::arg("elements"), "from N x N numbers, row-major")
        .def_property(
            "elements", [](const M& self) { return py::array_t<float>(N * N, self.elements); },
            [](M& self, const py::array_t<float, py::array::c_style | py::array::forcecast>& values) {
                const auto checked = floatsOf<N * N>(values);
                std::copy(checked.data(), checked.data() + N * N, self.elements);
            },
            "a copy of the row-major elements")
        .def_readwrite("name", &M::name)
        .def("__getitem__",
             [](M& self, std::pair<py::ssize_t, py::ssize_t> at) { return elementAt<N>(self.elements, at); })
        .def("__setitem__", [](M& self, std::pair<py::ssize_t, py::ssize_t> at,
                               float value) { elementAt<N>(self.elements, at) = value; })
        .def("setZeros", &M::setZeros)
        .def_static("zeros", &M::zeros)
        .def("setIdentity", &M::setIdentity)
        .def_static("identity", &M::identity)
        .def("transpose", py::overload_cast<>(&M::transpose))
        .def_static("_transpose", py::overload_cast<const M&>(&M::transpose), py::arg("input"))
        .def("inverse", inverse)
        .def_static("_inverse", py::overload_cast<const M&>(&M::inverse), py::arg("input"))
        .def(py::self * py::self)
        .def(
            "__mul__", [](const M& self, float scalar) { return self * scalar; }, py::is_operator())
        .def(py::self + py::self)
        .def(
            "__add__", [](const M& self, float scalar) { return self + scalar; }, py::is_operator())
        .def(py::self - py::self)
        .def(
            "__sub__", [](const M& self, float scalar) { return self - scalar; }, py::is_operator())
        .def(py::self == py::self)
        .def(py::self != py::self)
        .def("getInfos", &M::getInfos)
        .def("__repr__", [](const M& self) { return self.getInfos(); });
}

// Component access shared by Translation and Orientation, which also makes them sequences.
template <typename V, size_t N>
void bindComponents(py::class_<V>& vector) {
    vector.def_readwrite("x", &V::x)
        .def_readwrite("y", &V::y)
        .def_readwrite("z", &V::z)
        .def("__len__", [](const V&) { return N; })
        .def("__getitem__", [](const V& self, py::ssize_t i) { return self[checkedIndex(i, N)]; })
        .def("__setitem__", [](V& self, py::ssize_t i, float value) { self[checkedIndex(i, N)] = value; })
        .def(
            "__eq__", [](const V& a, const V& b) { return a == b; }, py::is_operator())
        .def(
            "__ne__", [](const V& a, const V& b) { return a != b; }, py::is_operator())
        .def("__repr__", [](const V& self) {
            std::string text =
                py::str(py::type::handle_of(py::cast(self)).attr("__name__")).cast<std::string>() + "(";
            for (size_t i = 0; i < N; ++i)
                text += (i == 0 ? "" : ", ") + py::repr(py::float_(self[i])).cast<std::string>();
            return text + ")";
        });
}

void bindMatrices(py::module_& m) {
    py::class_<Matrix3f> matrix3f(m, "Matrix3f", py::module_local(),
                                  "3x3 single-precision matrix, row-major");
    bindSquareMatrix<Matrix3f, 3>(matrix3f, &Matrix3f::inverse);

    py::class_<Matrix4f> matrix4f(m, "Matrix4f", py::module_local(),
                                  "4x4 single-precision matrix, row-major");
    bindSquareMatrix<Matrix4f, 4>(matrix4f, &Matrix4f::inverse);
    matrix4f
        .def(
            "__mul__", [](const Matrix4f& self, const Vector4<float>& v) { return self * v; },
            py::is_operator())
        .def("setSubMatrix3f", &Matrix4f::setSubMatrix3f, py::arg("input"), py::arg("row"), py::arg("column"))
        .def("setSubVector3f", &Matrix4f::setSubVector3f, py::arg("input"), py::arg("column"))
        .def("setSubVector4f", &Matrix4f::setSubVector4f, py::arg("input"), py::arg("column"));
}

void bindRotations(py::module_& m) {
    py::class_<Translation> translation(m, "Translation", py::module_local(),
                                        "translation or direction (x, y, z)");
    translation.def(py::init<>())
        .def(py::init<float, float, float>(), py::arg("t1"), py::arg("t2"), py::arg("t3"))
        .def(py::init<const Vector3<float>&>(), py::arg("vector"));
    bindComponents<Translation, 3>(translation);
    translation.def("normalize", py::overload_cast<>(&Translation::normalize))
        .def_static("_normalize", py::overload_cast<const Translation&>(&Translation::normalize),
                    py::arg("tr"))
        .def(
            "__mul__", [](const Translation& self, const Orientation& q) { return self * q; },
            py::is_operator());

    py::class_<Orientation> orientation(m, "Orientation", py::module_local(),
                                        "rotation as a quaternion (x, y, z, w)");
    py::class_<Rotation, Matrix3f> rotation(m, "Rotation", py::module_local(), "3x3 rotation matrix");
    py::class_<Transform, Matrix4f> transform(m, "Transform", py::module_local(), "4x4 rigid transform");

    orientation.def(py::init<>())
        .def(py::init<const Vector4<float>&>(), py::arg("vector"))
        .def(py::init<const Rotation&>(), py::arg("rotation"))
        .def(py::init<const Translation&, const Translation&>(), py::arg("tr1"), py::arg("tr2"));
    bindComponents<Orientation, 4>(orientation);
    orientation.def_readwrite("w", &Orientation::w)
        .def("__call__", &Orientation::operator(), py::arg("x"))
        .def("setRotationMatrix", &Orientation::setRotationMatrix, py::arg("rotation"))
        .def("getRotationMatrix", &Orientation::getRotationMatrix)
        .def("setIdentity", &Orientation::setIdentity)
        .def_static("identity", &Orientation::identity)
        .def("setZeros", &Orientation::setZeros)
        .def_static("zeros", &Orientation::zeros)
        .def("normalise", &Orientation::normalise)
        .def(py::self * py::self);

    rotation.def(py::init<>())
        .def(py::init<const Matrix3f&>(), py::arg("matrix"))
        .def(py::init<float, const Translation&>(), py::arg("angle"), py::arg("axis"))
        .def(py::init<const Orientation&>(), py::arg("orientation"))
        .def("getOrientation", &Rotation::getOrientation)
        .def("setOrientation", &Rotation::setOrientation, py::arg("orientation"))
        .def("getRotationVector", &Rotation::getRotationVector)
        .def("setRotationVector", &Rotation::setRotationVector, py::arg("vec"))
        .def("getEulerAngles", &Rotation::getEulerAngles, py::arg("radian") = true)
        .def("setEulerAngles", &Rotation::setEulerAngles, py::arg("euler_angles"), py::arg("radian") = true);

    transform.def(py::init<>())
        .def(py::init<const Matrix4f&>(), py::arg("matrix"))
        .def(py::init<const Rotation&, const Translation&>(), py::arg("rotation"), py::arg("translation"))
        .def(py::init<const Orientation&, const Translation&>(), py::arg("orientation"),
             py::arg("translation"))
        .def("setRotationMatrix", &Transform::setRotationMatrix, py::arg("rotation"))
        .def("getRotationMatrix", &Transform::getRotationMatrix)
        .def("setTranslation", &Transform::setTranslation, py::arg("translation"))
        .def("getTranslation", &Transform::getTranslation)
        .def("setOrientation", &Transform::setOrientation, py::arg("orientation"))
        .def("getOrientation", &Transform::getOrientation)
        .def("getRotationVector", &Transform::getRotationVector)
        .def("setRotationVector", &Transform::setRotationVector, py::arg("vec"))
        .def("getEulerAngles", &Transform::getEulerAngles, py::arg("radian") = true)
        .def("setEulerAngles", &Transform::setEulerAngles, py::arg("euler_angles"), py::arg("radian") = true);

    // As in C++: products of rotations and transforms are plain matrices that convert back, and vectors
    // stand for translations and quaternions.
    py::implicitly_convertible<Matrix3f, Rotation>();
    py::implicitly_convertible<Matrix4f, Transform>();
    py::implicitly_convertible<py::sequence, Translation>();
    py::implicitly_convertible<py::sequence, Orientation>();

    py::class_<Pose>(m, "Pose", py::module_local(), "rigid transform with a time stamp and a confidence")
        .def(py::init<>())
        .def(py::init<const Transform&, unsigned long long, int>(), py::arg("pose_data"),
             py::arg("timestamp"), py::arg("confidence"))
        .def_readwrite("pose_data", &Pose::pose_data)
        .def_readwrite("timestamp", &Pose::timestamp)
        .def_readwrite("pose_confidence", &Pose::pose_confidence)
        .def_readwrite("valid", &Pose::valid)
        .def("getOrientation", &Pose::getOrientation)
        .def("getTranslation", &Pose::getTranslation)
        .def("getRotationMatrix", &Pose::getRotationMatrix)
        .def("getRotationVector", &Pose::getRotationVector)
        .def("getEulerAngles", &Pose::getEulerAngles, py::arg("radian") = true);
}

void bindConversions(py::module_& m) {
    m.def("getCoordinateTransformConversion4f", &getCoordinateTransformConversion4f,
          py::arg("coord_system_src"), py::arg("coord_system_dst"));
    m.def("getCoordinateTransformConversion3f", &getCoordinateTransformConversion3f,
          py::arg("coord_system_src"), py::arg("coord_system_dst"));
    m.def("getScaleMillimeter", &getScaleMillimeter, py::arg("unit"));
    m.def("getUnitScale", &getUnitScale, py::arg("unit_src"), py::arg("unit_dst"));
    m.def("convertCoordinateSystem",
          py::overload_cast<Transform&, COORDINATE_SYSTEM, COORDINATE_SYSTEM>(&convertCoordinateSystem),
          py::arg("motion"), py::arg("coord_system_src"), py::arg("coord_system_dst"));
    m.def("convertCoordinateSystem",
          py::overload_cast<Mat&, COORDINATE_SYSTEM, COORDINATE_SYSTEM, MEM>(&convertCoordinateSystem),
          py::arg("mat"), py::arg("coord_system_src"), py::arg("coord_system_dst"), py::arg("mem"));
    m.def("convertUnit", py::overload_cast<Transform&, UNIT, UNIT>(&convertUnit), py::arg("motion"),
          py::arg("unit_src"), py::arg("unit_dst"));
    m.def("convertUnit", py::overload_cast<Mat&, UNIT, UNIT, MEM>(&convertUnit), py::arg("mat"),
          py::arg("unit_src"), py::arg("unit_dst"), py::arg("mem"));
    m.def("computeRotationMatrixFromGravity", &computeRotationMatrixFromGravity, py::arg("measured"),
          py::arg("reference"));
    m.def("removeYaw", &removeYaw, py::arg("pose"), py::arg("system"));
}

}  // namespace

void bindGeometry(py::module_& m) {
    bindMatrices(m);
    bindRotations(m);
    bindConversions(m);
}

}  // namespace python
}  // namespace vela
