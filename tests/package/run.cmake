# Installs the built library into a scratch prefix, then builds and runs a downstream program against it
# twice: as a CMake project with find_package, and with the compiler flags pkg-config gives. The README's
# code sample (its first C++ block) is built both ways too.
file(REMOVE_RECURSE ${WORK_DIR})
file(READ ${README} readme)
string(REGEX MATCH "```cpp\n([^`]*)```" sample "${readme}")
if(NOT CMAKE_MATCH_1)
  message(FATAL_ERROR "no C++ sample in ${README}")
endif()
set(README_SAMPLE ${WORK_DIR}/readme_sample.cpp)
file(WRITE ${README_SAMPLE} "${CMAKE_MATCH_1}")
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "failed: ${ARGN}\n${output}")
  endif()
endfunction()
run(${CMAKE_COMMAND} --install ${VELA_BUILD_DIR} --prefix ${WORK_DIR}/prefix)
run(${CMAKE_COMMAND} -S ${CONSUMER_DIR} -B ${WORK_DIR}/build -DCMAKE_PREFIX_PATH=${WORK_DIR}/prefix
    -DCMAKE_BUILD_TYPE=Release -DREADME_SAMPLE=${README_SAMPLE})
run(${CMAKE_COMMAND} --build ${WORK_DIR}/build)
run(${WORK_DIR}/build/consumer)

set(ENV{PKG_CONFIG_PATH} ${WORK_DIR}/prefix/${LIBDIR}/pkgconfig)
execute_process(COMMAND pkg-config --cflags --libs vela OUTPUT_VARIABLE flags RESULT_VARIABLE result
                OUTPUT_STRIP_TRAILING_WHITESPACE)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "pkg-config does not know vela")
endif()
separate_arguments(flags UNIX_COMMAND "${flags}")
run(${CXX} -std=c++17 ${CONSUMER_DIR}/main.cpp ${flags} -Wl,-rpath,${WORK_DIR}/prefix/${LIBDIR} -o ${WORK_DIR}/consumer-pc)
run(${WORK_DIR}/consumer-pc)
run(${CXX} -std=c++17 ${README_SAMPLE} ${flags} -o ${WORK_DIR}/readme-sample-pc)
