# Each dependency fails the configuration with one line naming the Debian package that provides it.
# A macro, so that the variables a package sets stay visible to the rest of the build.
macro(vela_require package debian)
  find_package(${package} ${ARGN} QUIET)
  if(NOT ${package}_FOUND)
    message(FATAL_ERROR "vela: ${package} not found: apt-get install ${debian}")
  endif()
endmacro()

vela_require(CUDAToolkit "the CUDA toolkit (cudart)")
vela_require(OpenCV libopencv-dev COMPONENTS core imgcodecs calib3d)
vela_require(Eigen3 libeigen3-dev NO_MODULE)
vela_require(nlohmann_json nlohmann-json3-dev)
vela_require(fmt libfmt-dev)
vela_require(spdlog libspdlog-dev)
vela_require(liblzf liblzf-dev)
