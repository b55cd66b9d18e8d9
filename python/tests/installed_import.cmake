# Installs the build into a scratch prefix and imports the package from there, with nothing of the build
# tree on the path.
file(REMOVE_RECURSE ${WORK_DIR})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${VELA_BUILD_DIR} --prefix ${WORK_DIR}/prefix
                RESULT_VARIABLE result OUTPUT_QUIET ERROR_VARIABLE output)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "install failed: ${output}")
endif()
set(ENV{PYTHONPATH} ${WORK_DIR}/prefix/${PACKAGE_DIR})
execute_process(COMMAND ${PYTHON} -c "import vela; print(vela.__file__); print(vela.toString(vela.ERROR_CODE.SUCCESS))"
                WORKING_DIRECTORY ${WORK_DIR} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
if(NOT result EQUAL 0 OR NOT output MATCHES "^${WORK_DIR}/prefix/${PACKAGE_DIR}/vela/__init__.py\nSUCCESS\n$")
  message(FATAL_ERROR "the installed package does not import from the prefix:\n${output}")
endif()
