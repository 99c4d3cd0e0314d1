# Optional pieces of the library: OpenMP threads and the linear-algebra backends.
# Each backend's sources live in src/linalg/backends/<name>/ and are compiled only when chosen.

set(TBRELAX_BACKEND_SOURCES "")

if(TBRELAX_OPENMP)
  find_package(OpenMP COMPONENTS CXX)
endif()

if(TBRELAX_LAPACK)
  set(BLA_VENDOR OpenBLAS)
  find_package(LAPACK REQUIRED)
  file(GLOB lapack_sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/src/linalg/backends/lapack/*.cpp)
  list(APPEND TBRELAX_BACKEND_SOURCES ${lapack_sources})
endif()

function(tbrelax_link_backends target)
  if(OpenMP_CXX_FOUND)
    target_link_libraries(${target} PUBLIC OpenMP::OpenMP_CXX)
  endif()
  if(TBRELAX_LAPACK)
    target_link_libraries(${target} PUBLIC LAPACK::LAPACK)
    target_compile_definitions(${target} PUBLIC TBRELAX_HAVE_LAPACK=1)
  endif()
endfunction()
