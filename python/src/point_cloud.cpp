// Camera records and point clouds from depth: CameraParameters, CalibrationParameters,
// depthToPointCloud (taking Mats or numpy arrays), transformPointCloud, convertPointCloudUnit and the
// colour helpers.

#include <pybind11/stl.h>

#include <cstdint>
#include <string>

#include "bindings.hpp"
#include "vela/geometry/point_cloud.hpp"
#include "vela/types/calibration.hpp"

namespace py = pybind11;

namespace vela {
namespace python {
namespace {

// A Mat given as itself, or a numpy array wrapped (not copied) by Mat.from_numpy; the holder keeps the
// wrapping Mat alive for the call.
Mat& asMat(const py::object& value, py::object& holder) {
    holder = py::isinstance<Mat>(value) ? value : py::type::of<Mat>().attr("from_numpy")(value);
    return holder.cast<Mat&>();
}

template <typename Record>
void bindRecordFiles(py::class_<Record>& record) {
    record
        .def(
            "encode",
            [](const Record& self, SERIALIZATION_FORMAT format) {
                String text;
                const bool encoded = self.encode(text, format);
                return py::make_tuple(encoded, text);
            },
            py::arg("format") = SERIALIZATION_FORMAT::JSON, "(encoded, text)")
        .def("decode", &Record::decode, py::arg("text"), py::arg("format") = SERIALIZATION_FORMAT::JSON)
        .def("save", &Record::save, py::arg("path"), py::arg("format") = SERIALIZATION_FORMAT::JSON)
        .def("load", &Record::load, py::arg("path"), py::arg("format") = SERIALIZATION_FORMAT::JSON)
        .def("scale", &Record::scale, py::arg("resolution"))
        .def("getInfos", &Record::getInfos)
        .def("__repr__", [](const Record& self) { return std::string(self.getInfos().c_str()); })
        .def(
            "__eq__", [](const Record& a, const Record& b) { return a == b; }, py::is_operator())
        .def(
            "__ne__", [](const Record& a, const Record& b) { return a != b; }, py::is_operator());
}

}  // namespace

void bindPointCloud(py::module_& m) {
    py::class_<CameraParameters> camera(m, "CameraParameters", py::module_local(),
                                        "pinhole intrinsics in pixels, distortion and image size");
    camera.def(py::init<>())
        .def_readwrite("fx", &CameraParameters::fx)
        .def_readwrite("fy", &CameraParameters::fy)
        .def_readwrite("cx", &CameraParameters::cx)
        .def_readwrite("cy", &CameraParameters::cy)
        .def_property(
            "disto",
            [](const CameraParameters& self) {
                return std::vector<double>(std::begin(self.disto), std::end(self.disto));
            },
            [](CameraParameters& self, const std::vector<double>& values) {
                if (values.size() > 12) throw py::value_error("at most 12 distortion coefficients");
                for (size_t i = 0; i < 12; ++i)
                    self.disto[i] = i < values.size() ? values[i] : 0.0;
            },
            "12 coefficients k1, k2, p1, p2, k3, k4, k5, k6, s1, s2, s3, s4; a shorter list is padded with 0")
        .def_readwrite("h_fov", &CameraParameters::h_fov)
        .def_readwrite("v_fov", &CameraParameters::v_fov)
        .def_readwrite("d_fov", &CameraParameters::d_fov)
        .def_readwrite("image_size", &CameraParameters::image_size)
        .def("updateFieldsOfView", &CameraParameters::updateFieldsOfView);
    bindRecordFiles(camera);

    py::class_<CalibrationParameters> calibration(
        m, "CalibrationParameters", py::module_local(),
        "a stereo pair: both cameras and the left-to-right transform");
    calibration.def(py::init<>())
        .def_readwrite("left_cam", &CalibrationParameters::left_cam)
        .def_readwrite("right_cam", &CalibrationParameters::right_cam)
        .def_readwrite("stereo_transform", &CalibrationParameters::stereo_transform)
        .def("getCameraBaseline", &CalibrationParameters::getCameraBaseline);
    bindRecordFiles(calibration);

    using Parameters = DepthToPointCloudParameters;
    py::class_<Parameters>(m, "DepthToPointCloudParameters", py::module_local(),
                           "units, axes and depth range of depthToPointCloud")
        .def(py::init<>())
        .def(py::init([](UNIT depth_unit, float depth_scale, UNIT cloud_unit, COORDINATE_SYSTEM system,
                         float min_depth, float max_depth) {
                 return Parameters{depth_unit, depth_scale, cloud_unit, system, min_depth, max_depth};
             }),
             py::arg("depth_unit") = UNIT::MILLIMETER, py::arg("depth_scale") = 1.0f,
             py::arg("cloud_unit") = UNIT::MILLIMETER,
             py::arg("coordinate_system") = COORDINATE_SYSTEM::IMAGE, py::arg("min_depth") = 0.0f,
             py::arg("max_depth") = FLT_MAX)
        .def_readwrite("depth_unit", &Parameters::depth_unit)
        .def_readwrite("depth_scale", &Parameters::depth_scale)
        .def_readwrite("cloud_unit", &Parameters::cloud_unit)
        .def_readwrite("coordinate_system", &Parameters::coordinate_system)
        .def_readwrite("min_depth", &Parameters::min_depth)
        .def_readwrite("max_depth", &Parameters::max_depth);

    m.def(
        "depthToPointCloud",
        [](const py::object& depth, const CameraParameters& camera, const py::object& colour,
           const Parameters& parameters, MEM mem, std::uintptr_t stream, py::object cloud) {
            py::object depthHolder, colourHolder;
            const Mat& depthMat = asMat(depth, depthHolder);
            const Mat noColour;
            const Mat& colourMat = colour.is_none() ? noColour : asMat(colour, colourHolder);
            if (cloud.is_none()) cloud = py::cast(Mat());
            Mat& out = cloud.cast<Mat&>();
            const ERROR_CODE status =
                depthToPointCloud(depthMat, colourMat, camera, out, parameters, mem, toStream(stream));
            return py::make_tuple(status, cloud);
        },
        py::arg("depth"), py::arg("camera"), py::arg("colour") = py::none(),
        py::arg("parameters") = Parameters(), py::arg("mem") = MEM::CPU, py::arg("stream") = 0,
        py::arg("cloud") = py::none(),
        "(status, cloud): depth and colour are Mats or numpy arrays (float32 or uint16 depth; uint8 BGR or "
        "BGRA "
        "colour); the cloud is a Mat (F32_C4 with colour, else F32_C3), written in place when given and "
        "fitting");
    m.def(
        "transformPointCloud",
        [](Mat& cloud, const Transform& transform, MEM mem, std::uintptr_t stream) {
            return transformPointCloud(cloud, transform, mem, toStream(stream));
        },
        py::arg("cloud"), py::arg("transform"), py::arg("mem") = MEM::CPU, py::arg("stream") = 0);
    m.def(
        "convertPointCloudUnit",
        [](Mat& cloud, UNIT src, UNIT dst, MEM mem, std::uintptr_t stream) {
            return convertPointCloudUnit(cloud, src, dst, mem, toStream(stream));
        },
        py::arg("cloud"), py::arg("unit_src"), py::arg("unit_dst"), py::arg("mem") = MEM::CPU,
        py::arg("stream") = 0, "x, y and z scaled; a packed colour keeps its bits");
    m.def("swapRedBlue", py::overload_cast<Mat&>(&swapRedBlue), py::arg("mat"));
    m.def("packColor", &packColor, py::arg("red"), py::arg("green"), py::arg("blue"), py::arg("alpha") = 255,
          "the fourth float of a coloured point: bytes red, green, blue, alpha");
    m.def("unpackColor", &unpackColor, py::arg("packed"), "(red, green, blue, alpha)");
}

}  // namespace python
}  // namespace vela
