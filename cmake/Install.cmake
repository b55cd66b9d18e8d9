include(CMakePackageConfigHelpers)

install(TARGETS vela EXPORT velaTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(DIRECTORY include/vela DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

set(VELA_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/vela)
install(EXPORT velaTargets NAMESPACE vela:: DESTINATION ${VELA_CMAKE_DIR})
configure_package_config_file(cmake/velaConfig.cmake.in ${PROJECT_BINARY_DIR}/velaConfig.cmake
  INSTALL_DESTINATION ${VELA_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/velaConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/velaConfig.cmake ${PROJECT_BINARY_DIR}/velaConfigVersion.cmake
  DESTINATION ${VELA_CMAKE_DIR})

# pkg-config, relocatable: paths are relative to the .pc file. Public headers include the CUDA runtime API.
list(GET CUDAToolkit_INCLUDE_DIRS 0 VELA_CUDA_INCLUDE_DIR)
file(RELATIVE_PATH VELA_PC_TO_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" VELA_PC_TO_PREFIX "${VELA_PC_TO_PREFIX}")
configure_file(cmake/vela.pc.in ${PROJECT_BINARY_DIR}/vela.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vela.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
