# Public headers may include only vela's own headers, standard headers, the compiler's x86 intrinsics and
# the CUDA runtime API: the libraries vela uses inside are not part of its interface.
# The adapters under vela/interop/ are opt-in and include the library they adapt; vela/vela.hpp must not
# include them.
file(GLOB_RECURSE headers ${HEADER_DIR}/vela/*.hpp)
list(FILTER headers EXCLUDE REGEX "/vela/interop/")
file(STRINGS ${HEADER_DIR}/vela/vela.hpp umbrella REGEX "interop/")
if(umbrella)
  message(FATAL_ERROR "vela/vela.hpp includes an opt-in adapter: ${umbrella}")
endif()
set(offending "")
foreach(header ${headers})
  file(STRINGS ${header} includes REGEX "^[ \t]*#[ \t]*include")
  foreach(line ${includes})
    if(NOT line MATCHES "#[ \t]*include[ \t]*([<\"]vela/|<cuda_runtime_api\\.h>|<immintrin\\.h>|<[a-z_]+>)")
      string(APPEND offending "\n  ${header}: ${line}")
    endif()
  endforeach()
endforeach()
if(offending)
  message(FATAL_ERROR "public headers include private dependencies:${offending}")
endif()
