// The extension module: vela's public interface from Python, names as in C++.

#include "bindings.hpp"

#if VELA_PYTHON_SIMULATED
#include "sim_device.hpp"
#endif

PYBIND11_MODULE(VELA_PYTHON_MODULE, m) {
    m.doc() =
        "vela, the core types of the depth-camera SDK: Mat with zero-copy numpy, CUDA array interface "
        "and DLPack views, geometry, status codes, enumerations and configuration records";
    // Every type is bound local to its module (py::module_local), so that the test build on the simulated GPU
    // loads beside this one without either taking over the other's types.
    // Enumerations first: later signatures use them as default values.
    m.attr("__version__") = VELA_VERSION;  // the CMake project's version
    vela::python::bindCore(m);
    vela::python::bindTypes(m);
    vela::python::bindMat(m);
    vela::python::bindGeometry(m);
    vela::python::bindSerialization(m);
    vela::python::bindPointCloud(m);
    vela::python::attachHeaderDocs(m);  // after every binding
#if VELA_PYTHON_SIMULATED
    // The test build on the simulated GPU lets the tests count device allocations.
    m.def("_sim_live_allocations", &vela::sim::liveAllocations);
#endif
}
