// Mat: storage, transfers, element access, files, and its zero-copy numpy views; the file exporters.

#include <pybind11/numpy.h>

#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "bindings.hpp"
#include "element.hpp"
#include "mat/mat_layout.hpp"
#include "vela/mat/exporters.hpp"
#include "vela/mat/mat.hpp"
#include "vela/mat/point_cloud_files.hpp"
#include "vela/types/enum_names.hpp"

namespace py = pybind11;

namespace vela {
namespace python {
namespace {

std::string typeName(MAT_TYPE type) {
    return py::str(py::cast(type)).cast<std::string>();
}

template <typename S>
S toChannel(py::handle item, MAT_TYPE type) {
    const std::string given = py::type::handle_of(item).attr("__name__").cast<std::string>();
    if constexpr (std::is_floating_point<S>::value) {
        if (!PyNumber_Check(item.ptr()) || py::isinstance<py::str>(item))
            throw py::type_error(typeName(type) + " values are numbers, not " + given);
        return static_cast<S>(py::float_(py::reinterpret_borrow<py::object>(item)).cast<double>());
    } else {
        if (!PyIndex_Check(item.ptr()))
            throw py::type_error(typeName(type) + " values are integers, not " + given);
        const auto value = py::reinterpret_steal<py::object>(PyNumber_Index(item.ptr())).cast<long long>();
        const long long low = std::numeric_limits<S>::min();
        const long long high = std::numeric_limits<S>::max();
        if (value < low || value > high)
            throw py::value_error(typeName(type) + " values lie in " + std::to_string(low) + ".." +
                                  std::to_string(high) + ", not " + std::to_string(value));
        return static_cast<S>(value);
    }
}

// One number for a one-channel element, else a sequence of one number per channel.
template <typename T>
T toElement(py::handle value, MAT_TYPE type) {
    using Scalar = typename Element<T>::Scalar;
    constexpr size_t channels = Element<T>::channels;
    T element{};
    Scalar* out = Element<T>::data(element);
    if (channels == 1 && !py::isinstance<py::sequence>(value)) {
        out[0] = toChannel<Scalar>(value, type);
        return element;
    }
    if (!py::isinstance<py::sequence>(value) || py::isinstance<py::str>(value))
        throw py::type_error("a " + typeName(type) + " value is a sequence of " + std::to_string(channels) +
                             " numbers");
    const auto items = py::reinterpret_borrow<py::sequence>(value);
    if (items.size() != channels)
        throw py::value_error("a " + typeName(type) + " value has " + std::to_string(channels) +
                              (channels == 1 ? " number" : " numbers") + ", not " +
                              std::to_string(items.size()));
    for (size_t i = 0; i < channels; ++i)
        out[i] = toChannel<Scalar>(items[i], type);
    return element;
}

template <typename S>
py::object channelObject(S value) {
    if (std::is_floating_point<S>::value) return py::float_(static_cast<double>(value));
    return py::int_(static_cast<long long>(value));
}

// A number for a one-channel element, else a tuple.
template <typename T>
py::object fromElement(T element) {
    constexpr size_t channels = Element<T>::channels;
    const auto* values = Element<T>::data(element);
    if (channels == 1) return channelObject(values[0]);
    py::tuple out(channels);
    for (size_t i = 0; i < channels; ++i)
        out[i] = channelObject(values[i]);
    return std::move(out);
}

// Which numpy arrays a Mat can take: the MAT_TYPE whose channel type and count match.
MAT_TYPE matTypeOf(const py::dtype& dtype, size_t channels) {
    const char kind = dtype.kind();
    const auto bytes = static_cast<size_t>(dtype.itemsize());
    for (int value = toValue(MAT_TYPE::F32_C1); value <= toValue(MAT_TYPE::S8_C4); ++value) {
        const auto type = static_cast<MAT_TYPE>(value);
        const ChannelType channel = channelTypeOf(type);
        if (channel.kind == kind && channel.bytes == bytes && detail::channelsOf(type) == channels)
            return type;
    }
    throw py::value_error(
        "no MAT_TYPE holds " + std::to_string(channels) + " channel(s) of " +
        dtype.attr("name").cast<std::string>() +
        ": use float32 with 1 to 4 channels, uint8 with 1 to 4, uint16 with 1 or int8 with 4");
}

// The handle on a buffer that a view keeps: the buffer lives as long as the view, whatever the Mat does.
py::capsule keepAlive(const std::shared_ptr<unsigned char>& buffer) {
    return py::capsule(new std::shared_ptr<unsigned char>(buffer),
                       [](void* held) { delete static_cast<std::shared_ptr<unsigned char>*>(held); });
}

// Shape (height, width) for one channel, (height, width, channels) otherwise; strides in bytes from stepCPU.
py::array hostView(const Mat& mat) {
    if (!mat.isInit()) throw py::value_error("the Mat is empty: allocate it or read a file first");
    if (!detail::hasHostSide(mat.memType))
        throw py::value_error(
            "the Mat has no host memory (" + toString(mat.memType).str() +
            "): call updateCPUfromGPU, or hand the GPU buffer over with __cuda_array_interface__");
    const ChannelType channel = channelTypeOf(mat.dataType);
    std::vector<py::ssize_t> shape = {static_cast<py::ssize_t>(mat.height),
                                      static_cast<py::ssize_t>(mat.width)};
    std::vector<py::ssize_t> strides = {static_cast<py::ssize_t>(mat.stepCPU),
                                        static_cast<py::ssize_t>(mat.pixelBytes)};
    if (mat.channels > 1) {
        shape.push_back(static_cast<py::ssize_t>(mat.channels));
        strides.push_back(static_cast<py::ssize_t>(channel.bytes));
    }
    const py::dtype dtype(channel.typestr);
    if (!mat.cpuBuffer) {
        if (mat.width != 0 && mat.height != 0)
            throw py::value_error("the Mat's host buffer could not be allocated");
        return py::array(dtype, shape, strides);  // an empty grid has no buffer to share
    }
    return py::array(dtype, shape, strides, mat.cpuBuffer.get(), keepAlive(mat.cpuBuffer));
}

// Wraps the array's memory, or copies it into a new owned host Mat when `copy`.
std::unique_ptr<Mat> fromNumpy(const py::array& array, bool copy) {
    const auto ndim = array.ndim();
    if (ndim != 2 && ndim != 3)
        throw py::value_error(
            "a Mat is made from a (height, width) or (height, width, channels) array, not " +
            std::to_string(ndim) + "-dimensional");
    const size_t height = static_cast<size_t>(array.shape(0));
    const size_t width = static_cast<size_t>(array.shape(1));
    const size_t channels = ndim == 3 ? static_cast<size_t>(array.shape(2)) : 1;
    const py::dtype dtype = array.dtype();
    if (dtype.itemsize() > 1 && py::str(dtype.attr("byteorder")).cast<std::string>() == ">")
        throw py::value_error(
            "the array is big-endian; convert it with array.astype(array.dtype.newbyteorder('<'))");
    const MAT_TYPE type = matTypeOf(dtype, channels);
    if (copy) {
        auto mat = std::make_unique<Mat>(width, height, type, MEM::CPU);
        hostView(*mat)[py::ellipsis()] = array;
        return mat;
    }
    const size_t pixelBytes = detail::bytesPerElement(type);
    const auto itemsize = static_cast<py::ssize_t>(dtype.itemsize());
    const bool packedElements = (width <= 1 || array.strides(1) == static_cast<py::ssize_t>(pixelBytes)) &&
                                (ndim == 2 || channels <= 1 || array.strides(2) == itemsize);
    const size_t rowBytes = width * pixelBytes;
    // Host element access and host copies take a Mat's rows as packed, so rows further apart (a column
    // slice) would be addressed wrongly and written past the view.
    const bool rowsPacked =
        height <= 1 || (array.strides(0) >= 0 && static_cast<size_t>(array.strides(0)) == rowBytes);
    if (!packedElements || !rowsPacked)
        throw py::value_error(
            "a Mat wraps packed rows (C-contiguous, rows exactly width x element bytes apart); this array's "
            "strides do not fit: pass copy=True, or numpy.ascontiguousarray(array)");
    if (!array.writeable()) throw py::value_error("the array is read-only; a Mat writes into its memory");
    if (!array.attr("flags").attr("aligned").cast<bool>()) throw py::value_error("the array is not aligned");
    const size_t step = rowBytes;
    auto* data = static_cast<unsigned char*>(const_cast<void*>(array.data()));
    auto mat = std::make_unique<Mat>(width, height, type, data, step, MEM::CPU);
    // The Mat refers to the array's memory without owning it; its handle holds a reference to the array, so
    // the array lives as long as this Mat, the Mats that share the handle and their views.
    auto* owner = new py::object(array);
    mat->cpuBuffer = std::shared_ptr<unsigned char>(data, [owner](unsigned char*) {
        py::gil_scoped_acquire gil;
        delete owner;
    });
    return mat;
}

// Element (x, y) must lie in the grid: setValue does not check it.
void checkInside(const Mat& mat, size_t x, size_t y) {
    if (mat.isInit() && (x >= mat.width || y >= mat.height))
        throw py::index_error("(" + std::to_string(x) + ", " + std::to_string(y) + ") is outside the " +
                              std::to_string(mat.width) + " x " + std::to_string(mat.height) + " grid");
}

template <typename T>
using ElementOf = std::remove_pointer_t<T>;

}  // namespace

void bindMat(py::module_& m) {
    py::class_<Mat> mat(
        m, "Mat", py::module_local(),
        "A width x height grid of elements of one MAT_TYPE in host memory, GPU memory or both.\n"
        "numpy() is a view of the host buffer; from_numpy wraps an array without copying.");
    mat.def(py::init<>())
        .def(py::init<size_t, size_t, MAT_TYPE, MEM>(), py::arg("width"), py::arg("height"), py::arg("type"),
             py::arg("mem") = MEM::CPU)
        .def(py::init<Resolution, MAT_TYPE, MEM>(), py::arg("resolution"), py::arg("type"),
             py::arg("mem") = MEM::CPU)
        .def(py::init<const Mat&>(), py::arg("other"), "shares the other Mat's buffers (see ref)")
        // Wrapping constructors take buffer addresses as ints; nothing keeps that memory alive.
        .def(py::init(
                 [](size_t width, size_t height, MAT_TYPE type, std::uintptr_t ptr, size_t step, MEM mem) {
                     return std::make_unique<Mat>(width, height, type, reinterpret_cast<unsigned char*>(ptr),
                                                  step, mem);
                 }),
             py::arg("width"), py::arg("height"), py::arg("type"), py::arg("ptr"), py::arg("step"),
             py::arg("mem"))
        .def(py::init([](Resolution resolution, MAT_TYPE type, std::uintptr_t ptr, size_t step, MEM mem) {
                 return std::make_unique<Mat>(resolution, type, reinterpret_cast<unsigned char*>(ptr), step,
                                              mem);
             }),
             py::arg("resolution"), py::arg("type"), py::arg("ptr"), py::arg("step"), py::arg("mem"))
        .def(py::init([](size_t width, size_t height, MAT_TYPE type, std::uintptr_t ptrCPU, size_t stepCPU,
                         std::uintptr_t ptrGPU, size_t stepGPU) {
                 return std::make_unique<Mat>(width, height, type, reinterpret_cast<unsigned char*>(ptrCPU),
                                              stepCPU, reinterpret_cast<unsigned char*>(ptrGPU), stepGPU);
             }),
             py::arg("width"), py::arg("height"), py::arg("type"), py::arg("ptrCPU"), py::arg("stepCPU"),
             py::arg("ptrGPU"), py::arg("stepGPU"))
        // The layout describes the buffers, so it changes only through alloc, free, ref, move and read.
        .def_readonly("width", &Mat::width)
        .def_readonly("height", &Mat::height)
        .def_readonly("channels", &Mat::channels)
        .def_readonly("stepGPU", &Mat::stepGPU)
        .def_readonly("stepCPU", &Mat::stepCPU)
        .def_readonly("pixelBytes", &Mat::pixelBytes)
        .def_readonly("dataType", &Mat::dataType)
        .def_readonly("memType", &Mat::memType)
        .def_readonly("initialized", &Mat::initialized)
        .def_readonly("memoryOwner", &Mat::memoryOwner)
        .def_readwrite("name", &Mat::name)
        .def_readwrite("userFlag", &Mat::userFlag)
        .def_readwrite("timestamp", &Mat::timestamp)
        .def("alloc", py::overload_cast<size_t, size_t, MAT_TYPE, MEM>(&Mat::alloc), py::arg("width"),
             py::arg("height"), py::arg("type"), py::arg("mem") = MEM::CPU)
        .def("alloc", py::overload_cast<Resolution, MAT_TYPE, MEM>(&Mat::alloc), py::arg("resolution"),
             py::arg("type"), py::arg("mem") = MEM::CPU)
        .def("free", &Mat::free, py::arg("mem") = MEM_BOTH)
        .def("ref", &Mat::ref, py::arg("other"))
        .def("move", &Mat::move, py::arg("dst"))
        .def_static("swap", &Mat::swap, py::arg("a"), py::arg("b"))
        .def(
            "copyTo",
            [](const Mat& self, Mat& dst, COPY_TYPE type, std::uintptr_t stream) {
                return self.copyTo(dst, type, toStream(stream));
            },
            py::arg("dst"), py::arg("type") = COPY_TYPE::CPU_CPU, py::arg("stream") = 0)
        .def(
            "setFrom",
            [](Mat& self, const Mat& src, COPY_TYPE type, std::uintptr_t stream) {
                return self.setFrom(src, type, toStream(stream));
            },
            py::arg("src"), py::arg("type") = COPY_TYPE::CPU_CPU, py::arg("stream") = 0)
        .def(
            "updateCPUfromGPU",
            [](Mat& self, std::uintptr_t stream) { return self.updateCPUfromGPU(toStream(stream)); },
            py::arg("stream") = 0)
        .def(
            "updateGPUfromCPU",
            [](Mat& self, std::uintptr_t stream, int reserved) {
                return self.updateGPUfromCPU(toStream(stream), reserved);
            },
            py::arg("stream") = 0, py::arg("reserved") = 0)
        .def("clone", &Mat::clone, py::arg("src"))
        .def(
            "getPtr",
            [](const Mat& self, MEM mem) {
                return reinterpret_cast<std::uintptr_t>(self.getPtr<unsigned char>(mem));
            },
            py::arg("mem") = MEM::CPU, "the buffer's address as an int (0 when there is none)")
        .def(
            "setTo",
            [](Mat& self, py::handle value, MEM mem, std::uintptr_t stream) {
                return withElementType(self.dataType, [&](auto* tag) {
                    using T = ElementOf<decltype(tag)>;
                    return self.setTo(toElement<T>(value, self.dataType), mem, toStream(stream));
                });
            },
            py::arg("value"), py::arg("mem") = MEM::CPU, py::arg("stream") = 0)
        .def(
            "setValue",
            [](Mat& self, size_t x, size_t y, py::handle value, MEM mem) {
                checkInside(self, x, y);
                return withElementType(self.dataType, [&](auto* tag) {
                    using T = ElementOf<decltype(tag)>;
                    return self.setValue(x, y, toElement<T>(value, self.dataType), mem);
                });
            },
            py::arg("x"), py::arg("y"), py::arg("value"), py::arg("mem") = MEM::CPU,
            "IndexError outside the grid")
        .def(
            "getValue",
            [](const Mat& self, size_t x, size_t y, MEM mem) {
                return withElementType(self.dataType, [&](auto* tag) {
                    using T = ElementOf<decltype(tag)>;
                    T value{};
                    const ERROR_CODE status = self.getValue(x, y, &value, mem);
                    return py::make_tuple(status, fromElement(value));
                });
            },
            py::arg("x"), py::arg("y"), py::arg("mem") = MEM::CPU, "(status, value)")
        .def("write", &Mat::write, py::arg("filePath"), py::arg("mem") = MEM::CPU,
             py::arg("compression") = -1)
        .def("read", &Mat::read, py::arg("filePath"))
        .def("getStepBytes", &Mat::getStepBytes, py::arg("mem") = MEM::CPU)
        .def("getInfos", &Mat::getInfos)
        .def("getWidth", &Mat::getWidth)
        .def("getHeight", &Mat::getHeight)
        .def("getChannels", &Mat::getChannels)
        .def("getDataType", &Mat::getDataType)
        .def("getMemoryType", &Mat::getMemoryType)
        .def("getPixelBytes", &Mat::getPixelBytes)
        .def("getResolution", &Mat::getResolution)
        .def("isInit", &Mat::isInit)
        .def("isMemoryOwner", &Mat::isMemoryOwner)
        .def("__repr__",
             [](const Mat& self) {
                 return "<vela.Mat " + py::str(self.getInfos()).attr("rstrip")().cast<std::string>() + ">";
             })
        .def(
            "numpy", &hostView,
            "a view of the host buffer, (height, width) for one channel, else (height, width, channels); the "
            "view keeps the buffer alive")
        .def_static("from_numpy", &fromNumpy, py::arg("array"), py::arg("copy") = false,
                    "a Mat on the array's memory (kept alive while the Mat refers to it), or a copy");
    bindArrayInterfaces(mat);

    m.def(
        "convertImage",
        [](Mat& src, Mat& dst, std::uintptr_t stream) { return convertImage(src, dst, toStream(stream)); },
        py::arg("src"), py::arg("dst"), py::arg("stream") = 0);

    {
        using E = DEPTH_FORMAT;
        bindEnum<E>(m, "DEPTH_FORMAT", {VELA_PY_VALUE(PNG), VELA_PY_VALUE(PFM), VELA_PY_VALUE(PGM)});
    }
    {
        using E = POINT_CLOUD_FORMAT;
        bindEnum<E>(m, "POINT_CLOUD_FORMAT",
                    {VELA_PY_VALUE(XYZ), VELA_PY_VALUE(PCD), VELA_PY_VALUE(PLY), VELA_PY_VALUE(VTK)});
    }
    m.def("saveDepthAs", &saveDepthAs, py::arg("depth"), py::arg("format"), py::arg("name"),
          py::arg("factor") = 1.0f);
    m.def("savePointCloudAs", &savePointCloudAs, py::arg("cloud"), py::arg("format"), py::arg("name"),
          py::arg("withColor") = false);

    {
        using E = FILE_ENCODING;
        bindEnum<E>(m, "FILE_ENCODING",
                    {VELA_PY_VALUE(BINARY), VELA_PY_VALUE(ASCII), VELA_PY_VALUE(BINARY_COMPRESSED)});
    }
    py::class_<PointCloudWriteOptions>(m, "PointCloudWriteOptions", py::module_local())
        .def(py::init([](FILE_ENCODING encoding, bool withColor, bool keepInvalid) {
                 return PointCloudWriteOptions{encoding, withColor, keepInvalid};
             }),
             py::arg("encoding") = FILE_ENCODING::BINARY, py::arg("withColor") = false,
             py::arg("keepInvalid") = false)
        .def_readwrite("encoding", &PointCloudWriteOptions::encoding)
        .def_readwrite("withColor", &PointCloudWriteOptions::withColor)
        .def_readwrite("keepInvalid", &PointCloudWriteOptions::keepInvalid);
    py::class_<DepthWriteOptions>(m, "DepthWriteOptions", py::module_local())
        .def(py::init([](float factor, uint16_t invalidValue) {
                 return DepthWriteOptions{factor, invalidValue};
             }),
             py::arg("factor") = 1.0f, py::arg("invalidValue") = 0)
        .def_readwrite("factor", &DepthWriteOptions::factor)
        .def_readwrite("invalidValue", &DepthWriteOptions::invalidValue);
    m.def("writePointCloud", &writePointCloud, py::arg("cloud"), py::arg("path"), py::arg("format"),
          py::arg("options") = PointCloudWriteOptions{});
    m.def("writeDepth", &writeDepth, py::arg("depth"), py::arg("path"), py::arg("format"),
          py::arg("options") = DepthWriteOptions{});
    m.def("readPointCloud", &readPointCloud, py::arg("path"), py::arg("cloud"),
          "replaces `cloud` with the cloud read from `path`, as Mat.read does with an image");
    m.def(
        "readPointCloud",
        [](const String& path) {
            Mat cloud;
            const ERROR_CODE status = readPointCloud(path, cloud);
            return std::make_pair(status, cloud);
        },
        py::arg("path"),
        "Python: returns (status, cloud), cloud a new Mat (empty when status is not SUCCESS)");
}

}  // namespace python
}  // namespace vela
