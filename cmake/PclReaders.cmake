# PCL's file readers as one target, `vela_pcl_readers`, for the tests that open vela's files with them.
# Found directly rather than through PCL's package, which drags in VTK and an MPI that is not installed.
if(NOT TARGET vela_pcl_readers)
  find_path(VELA_PCL_INCLUDE_DIR pcl/io/pcd_io.h PATH_SUFFIXES pcl-1.13)
  find_library(VELA_PCL_IO_LIBRARY pcl_io)
  find_library(VELA_PCL_COMMON_LIBRARY pcl_common)
  if(NOT VELA_PCL_INCLUDE_DIR OR NOT VELA_PCL_IO_LIBRARY OR NOT VELA_PCL_COMMON_LIBRARY)
    message(FATAL_ERROR "vela: PCL not found: apt-get install libpcl-dev")
  endif()
  add_library(vela_pcl_readers INTERFACE)
  target_include_directories(vela_pcl_readers SYSTEM INTERFACE ${VELA_PCL_INCLUDE_DIR})
  target_link_libraries(vela_pcl_readers INTERFACE ${VELA_PCL_IO_LIBRARY} ${VELA_PCL_COMMON_LIBRARY}
                        Eigen3::Eigen)
endif()
