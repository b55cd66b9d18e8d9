// Status codes, memory kinds and element types, resolutions, identifiers, the logger and the GPU-call
// report.

#include <pybind11/operators.h>

#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "bindings.hpp"
#include "vela/core/cuda_check.hpp"
#include "vela/core/error_code.hpp"
#include "vela/core/logger.hpp"
#include "vela/core/memory_types.hpp"
#include "vela/core/resolution.hpp"
#include "vela/core/uuid.hpp"
#include "vela/types/enum_names.hpp"

namespace py = pybind11;

namespace vela {
namespace python {
namespace {

void bindErrorCode(py::module_& m) {
    using E = ERROR_CODE;
    auto code = bindEnum<E>(m, "ERROR_CODE",
                            {VELA_PY_VALUE(CONFIGURATION_FALLBACK),
                             VELA_PY_VALUE(SENSORS_DATA_REQUIRED),
                             VELA_PY_VALUE(CORRUPTED_FRAME),
                             VELA_PY_VALUE(CAMERA_REBOOTING),
                             VELA_PY_VALUE(SUCCESS),
                             VELA_PY_VALUE(FAILURE),
                             VELA_PY_VALUE(NO_GPU_COMPATIBLE),
                             VELA_PY_VALUE(NOT_ENOUGH_GPU_MEMORY),
                             VELA_PY_VALUE(CAMERA_NOT_DETECTED),
                             VELA_PY_VALUE(SENSORS_MODULE_SERIAL_NOT_VALID),
                             VELA_PY_VALUE(CAMERA_MOTION_SENSORS_NOT_DETECTED),
                             VELA_PY_VALUE(INVALID_RESOLUTION),
                             VELA_PY_VALUE(LOW_USB_BANDWIDTH),
                             VELA_PY_VALUE(CALIBRATION_FILE_NOT_AVAILABLE),
                             VELA_PY_VALUE(INVALID_CALIBRATION_FILE),
                             VELA_PY_VALUE(INVALID_KVR_FILE),
                             VELA_PY_VALUE(KVR_RECORDING_ERROR),
                             VELA_PY_VALUE(KVR_UNSUPPORTED_COMPRESSION),
                             VELA_PY_VALUE(END_OF_KVR_FILE_REACHED),
                             VELA_PY_VALUE(INVALID_COORDINATE_SYSTEM),
                             VELA_PY_VALUE(INVALID_FIRMWARE),
                             VELA_PY_VALUE(INVALID_FUNCTION_PARAMETERS),
                             VELA_PY_VALUE(CUDA_ERROR),
                             VELA_PY_VALUE(CAMERA_NOT_INITIALIZED),
                             VELA_PY_VALUE(NVIDIA_DRIVER_OUT_OF_DATE),
                             VELA_PY_VALUE(INVALID_FUNCTION_CALL),
                             VELA_PY_VALUE(CORRUPTED_SDK_INSTALLATION),
                             VELA_PY_VALUE(INCOMPATIBLE_SDK_VERSION),
                             VELA_PY_VALUE(INVALID_AREA_FILE),
                             VELA_PY_VALUE(INCOMPATIBLE_AREA_FILE),
                             VELA_PY_VALUE(CAMERA_FAILED_TO_SETUP),
                             VELA_PY_VALUE(CAMERA_DETECTION_ISSUE),
                             VELA_PY_VALUE(CAMERA_STREAM_FAILED_TO_START),
                             VELA_PY_VALUE(NO_GPU_DETECTED),
                             VELA_PY_VALUE(PLANE_NOT_FOUND),
                             VELA_PY_VALUE(MODULE_NOT_COMPATIBLE_WITH_CAMERA),
                             VELA_PY_VALUE(MOTION_SENSORS_REQUIRED),
                             VELA_PY_VALUE(MODULE_NOT_COMPATIBLE_WITH_CUDA_VERSION)});
    // A status prints as its short text, as in C++; the sentence for an end user is one attribute away.
    // Replacing __str__ (rather than adding an overload) keeps the enumeration's own one from answering
    // first.
    code.attr("__str__") = py::cpp_function([](const E& value) { return toString(value); },
                                            py::name("__str__"), py::is_method(code));
    code.def_property_readonly(
        "verbose", [](const E& value) { return toVerbose(value); }, "the verbose text (toVerbose)");
    // Every status, SUCCESS included, would be true as an object: a truth test is refused so that
    // `if not vela.writePointCloud(...)` cannot pass over a failure unnoticed.
    code.def("__bool__", [](const E& /*value*/) -> bool {
        throw py::type_error(
            "the truth value of an ERROR_CODE is ambiguous: compare it with ERROR_CODE.SUCCESS, or use "
            "status.ok or vela.check(status)");
    });
    code.def_property_readonly(
        "ok", [](const E& value) { return static_cast<int>(value) <= static_cast<int>(E::SUCCESS); },
        "True for SUCCESS and the soft warnings (negative codes), False for a failure (positive codes)");
    bindToString<E>(m);
    m.def("toVerbose", &toVerbose, py::arg("code"));
    m.def("errorCode2str", &errorCode2str, py::arg("code"));
}

void bindMemoryTypes(py::module_& m) {
    {
        using E = MEM;
        // The combined kinds are constants of the type in C++; here they are also members, so that they print
        // with their names.
        bindEnum<E>(m, "MEM",
                    {VELA_PY_VALUE(CPU),
                     VELA_PY_VALUE(GPU),
                     {"MEM_BOTH", MEM_BOTH},
                     {"MEM_MANAGED", MEM_MANAGED},
                     {"MEM_UNIFIED", MEM_UNIFIED}});
        m.attr("MEM_BOTH") = MEM_BOTH;
        m.attr("MEM_MANAGED") = MEM_MANAGED;
        m.attr("MEM_UNIFIED") = MEM_UNIFIED;
        bindToString<E>(m);
    }
    {
        using E = MAT_TYPE;
        bindEnum<E>(m, "MAT_TYPE",
                    {VELA_PY_VALUE(F32_C1), VELA_PY_VALUE(F32_C2), VELA_PY_VALUE(F32_C3),
                     VELA_PY_VALUE(F32_C4), VELA_PY_VALUE(U8_C1), VELA_PY_VALUE(U8_C2), VELA_PY_VALUE(U8_C3),
                     VELA_PY_VALUE(U8_C4), VELA_PY_VALUE(U16_C1), VELA_PY_VALUE(S8_C4)});
        bindToString<E>(m);
    }
    {
        using E = COPY_TYPE;
        bindEnum<E>(
            m, "COPY_TYPE",
            {VELA_PY_VALUE(CPU_CPU), VELA_PY_VALUE(CPU_GPU), VELA_PY_VALUE(GPU_GPU), VELA_PY_VALUE(GPU_CPU)});
        bindToString<E>(m);
    }
}

void bindResolution(py::module_& m) {
    py::class_<Resolution>(m, "Resolution", py::module_local())
        .def(py::init<>())
        .def(py::init<size_t, size_t>(), py::arg("width"), py::arg("height"))
        .def_readwrite("width", &Resolution::width)
        .def_readwrite("height", &Resolution::height)
        .def("area", &Resolution::area)
        .def(py::self == py::self)
        .def(py::self != py::self)
        .def("__repr__", [](const Resolution& r) {
            return "Resolution(" + std::to_string(r.width) + ", " + std::to_string(r.height) + ")";
        });
}

// A Python callable handed to the logger's back-end thread: called and released with the interpreter lock
// held, since neither happens on a Python thread.
class LogCallback {
  public:
    // The deleter is given here: a default member initializer's deleter would be replaced by this one's.
    explicit LogCallback(py::function f) : function(new py::function(std::move(f)), Release{}) {}
    void operator()(LOG_LEVEL level, const std::string& message) const {
        // Messages still queued while the interpreter ends, or after, find no Python to call.
        if (!Py_IsInitialized() || _Py_IsFinalizing()) return;
        py::gil_scoped_acquire gil;
        try {
            (*function)(level, message);
        } catch (py::error_already_set& error) {
            error.discard_as_unraisable("vela log callback");
        }
    }

  private:
    struct Release {
        void operator()(py::function* f) const {
            // The registry outlives the interpreter: nothing to release then.
            if (!Py_IsInitialized() || _Py_IsFinalizing()) return;
            py::gil_scoped_acquire gil;
            delete f;
        }
    };
    std::shared_ptr<py::function> function;
};

// The callback sinks added from Python: detached before the interpreter ends, since the back-end thread
// cannot call Python, nor release a Python object, once it has gone. Changed with the interpreter lock held.
std::vector<std::pair<LOGGER_NAME, TarnLogger::SinkId>>& pythonSinks() {
    static auto* sinks = new std::vector<std::pair<LOGGER_NAME, TarnLogger::SinkId>>();
    return *sinks;
}

void removePythonSinks() {
    const std::vector<std::pair<LOGGER_NAME, TarnLogger::SinkId>> sinks = std::exchange(pythonSinks(), {});
    py::gil_scoped_release release;  // a callback under way needs the lock to finish
    for (const auto& sink : sinks)
        TarnLogger::get_instance().removeSink(sink.first, sink.second);
}

void bindLogger(py::module_& m) {
    py::module_::import("atexit").attr("register")(py::cpp_function(&removePythonSinks));
    {
        using E = LOGGER_NAME;
        bindEnum<E>(
            m, "LOGGER_NAME",
            {VELA_PY_VALUE(VELA), VELA_PY_VALUE(CAPTURE), VELA_PY_VALUE(DEPTH), VELA_PY_VALUE(TRACKING),
             VELA_PY_VALUE(MAPPING), VELA_PY_VALUE(DETECTION), VELA_PY_VALUE(STREAMING)});
    }
    {
        using E = LOG_LEVEL;
        bindEnum<E>(m, "LOG_LEVEL",
                    {VELA_PY_VALUE(TRACE), VELA_PY_VALUE(DEBUG), VELA_PY_VALUE(INFO), VELA_PY_VALUE(WARNING),
                     VELA_PY_VALUE(ERROR), VELA_PY_VALUE(CRITICAL), VELA_PY_VALUE(NONE)});
    }
    py::class_<TarnLogger, std::unique_ptr<TarnLogger, py::nodelete>>(m, "TarnLogger", py::module_local())
        .def_static("get_instance", &TarnLogger::get_instance, py::return_value_policy::reference)
        .def("registerLogger", &TarnLogger::registerLogger, py::arg("name"), py::arg("level"),
             py::arg("toStandardError") = true)
        .def("isRegistered", &TarnLogger::isRegistered, py::arg("name"))
        .def("setLevel", &TarnLogger::setLevel, py::arg("name"), py::arg("level"))
        .def("getLevel", &TarnLogger::getLevel, py::arg("name"))
        .def("addFileSink", &TarnLogger::addFileSink, py::arg("name"), py::arg("path"))
        .def(
            "addCallbackSink",
            [](TarnLogger& logger, LOGGER_NAME name, py::function callback) {
                const TarnLogger::SinkId id = logger.addCallbackSink(name, LogCallback(std::move(callback)));
                if (id != 0) pythonSinks().emplace_back(name, id);
                return id;
            },
            py::arg("name"), py::arg("callback"), "callback(level, message) runs on the logger's own thread")
        // Waiting for the back-end thread, which may need the interpreter lock to call a Python sink.
        .def(
            "removeSink",
            [](TarnLogger& logger, LOGGER_NAME name, TarnLogger::SinkId sink) {
                {
                    std::vector<std::pair<LOGGER_NAME, TarnLogger::SinkId>>& sinks = pythonSinks();
                    sinks.erase(std::remove(sinks.begin(), sinks.end(), std::make_pair(name, sink)),
                                sinks.end());
                }
                py::gil_scoped_release release;
                return logger.removeSink(name, sink);
            },
            py::arg("name"), py::arg("sink"))
        .def("log", &TarnLogger::log, py::arg("name"), py::arg("level"), py::arg("message"))
        .def("flush", &TarnLogger::flush, py::call_guard<py::gil_scoped_release>());
}

}  // namespace

void bindCore(py::module_& m) {
    bindErrorCode(m);
    bindMemoryTypes(m);
    bindResolution(m);
    bindLogger(m);

    auto uuid = m.def_submodule("uuid", "random identifiers");
    uuid.def("generate_uuid_v4", &uuid::generate_uuid_v4);
    m.def("generate_unique_id", &generate_unique_id);

    // The GPU-call report, for code that makes its own CUDA calls; `err` is the runtime's error number.
    m.def(
        "checkCuda",
        [](int err, const char* function, const char* file, int line) {
            return checkCuda(static_cast<cudaError_t>(err), function, file, line);
        },
        py::arg("err"), py::arg("function"), py::arg("file"), py::arg("line"));
    m.def(
        "__cudaSafeCall",
        [](int err, const char* function, const char* file, int line) {
            __cudaSafeCall(static_cast<cudaError_t>(err), function, file, line);
        },
        py::arg("err"), py::arg("function"), py::arg("file"), py::arg("line"));
    m.def("cleanupAndUpperCaseString", &cleanupAndUpperCaseString, py::arg("text"),
          py::arg("separatorsAsSpace"));
}

}  // namespace python
}  // namespace vela
