// JSON files and CommunicationParameters.

#include <exception>
#include <string>

#include "bindings.hpp"
#include "vela/serialization/communication_parameters.hpp"
#include "vela/serialization/json_file.hpp"
#include "vela/serialization/serialization_format.hpp"

namespace py = pybind11;

namespace vela {
namespace python {
namespace {

// decode and load let a JSON value of the wrong type escape as an exception; from Python it is bad input.
template <typename F>
bool rejectingBadDocuments(F&& read) {
    try {
        return read();
    } catch (const std::exception& error) {
        throw py::value_error(error.what());
    }
}

}  // namespace

void bindSerialization(py::module_& m) {
    {
        using E = SERIALIZATION_FORMAT;
        bindEnum<E>(m, "SERIALIZATION_FORMAT",
                    {VELA_PY_VALUE(NONE), VELA_PY_VALUE(JSON), VELA_PY_VALUE(LAST)});
    }
    {
        using E = JSON_FILE_STATUS;
        bindEnum<E>(m, "JSON_FILE_STATUS",
                    {VELA_PY_VALUE(SUCCESS), VELA_PY_VALUE(NOT_FOUND), VELA_PY_VALUE(UNREADABLE),
                     VELA_PY_VALUE(INVALID_JSON), VELA_PY_VALUE(UNWRITABLE)});
    }
    m.def("saveJSONFile", &saveJSONFile, py::arg("path"), py::arg("text"), py::arg("indented"));
    m.def(
        "loadJSONFile",
        [](const String& path) {
            String text;
            const JSON_FILE_STATUS status = loadJSONFile(path, text);
            return py::make_tuple(status, text);
        },
        py::arg("path"), "(status, compact text)");

    using Parameters = CommunicationParameters;
    py::class_<Parameters> parameters(m, "CommunicationParameters", py::module_local(),
                                      "how two processes exchange data: shared memory or the local network");
    {
        using E = Parameters::COMM_TYPE;
        bindEnum<E>(parameters, "COMM_TYPE", {VELA_PY_VALUE(LOCAL_NETWORK), VELA_PY_VALUE(INTRA_PROCESS)});
        bindToString<E>(m);
        bindFromString<E>(m);
    }
    parameters.def(py::init<>())
        .def("setForSharedMemory", &Parameters::setForSharedMemory)
        .def("setForLocalNetwork", py::overload_cast<int>(&Parameters::setForLocalNetwork), py::arg("port"))
        .def("setForLocalNetwork", py::overload_cast<std::string, int>(&Parameters::setForLocalNetwork),
             py::arg("ip_address"), py::arg("port"))
        .def(
            "__eq__", [](const Parameters& a, const Parameters& b) { return a == b; }, py::is_operator())
        .def(
            "__ne__", [](const Parameters& a, const Parameters& b) { return a != b; }, py::is_operator())
        .def(
            "encode",
            [](const Parameters& self, SERIALIZATION_FORMAT format) {
                String text;
                const bool encoded = self.encode(text, format);
                return py::make_tuple(encoded, text);
            },
            py::arg("format"), "(encoded, text)")
        .def(
            "decode",
            [](Parameters& self, const String& text, SERIALIZATION_FORMAT format) {
                return rejectingBadDocuments([&] { return self.decode(text, format); });
            },
            py::arg("text"), py::arg("format"), "ValueError for a member of the wrong JSON type")
        .def("save", &Parameters::save, py::arg("path"), py::arg("format"))
        .def(
            "load",
            [](Parameters& self, const String& path, SERIALIZATION_FORMAT format) {
                return rejectingBadDocuments([&] { return self.load(path, format); });
            },
            py::arg("path"), py::arg("format"), "ValueError for a member of the wrong JSON type")
        .def_readwrite("communication_type", &Parameters::communication_type)
        .def_readwrite("ip_port", &Parameters::ip_port)
        .def_readwrite("ip_add", &Parameters::ip_add);

    m.def(
        "extractIpPort",
        [](std::string ip, int port) {
            const bool matched = extractIpPort(ip, port);
            return py::make_tuple(matched, ip, port);
        },
        py::arg("ip"), py::arg("port"),
        "(matched, address, port); both unchanged when the text does not match");
}

}  // namespace python
}  // namespace vela
