# Optional pieces of the library: OpenMP threads and the linear-algebra backends.
# Each backend's sources live in src/linalg/backends/<name>/ and are compiled only when chosen.

set(TBRELAX_BACKEND_SOURCES "")

if(TBRELAX_OPENMP)
  find_package(OpenMP COMPONENTS CXX)
endif()

if(TBRELAX_LAPACK)
  set(BLA_VENDOR OpenBLAS)
  find_package(LAPACK REQUIRED)
  # OpenBLAS runs threads of its own: where its thread controls exist, the LAPACK solver sets
  # their count to OpenMP's before each solve.
  include(CheckFunctionExists)
  set(CMAKE_REQUIRED_LIBRARIES ${LAPACK_LIBRARIES})
  check_function_exists(openblas_set_num_threads TBRELAX_OPENBLAS_THREADS)
  unset(CMAKE_REQUIRED_LIBRARIES)
  file(GLOB lapack_sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/src/linalg/backends/lapack/*.cpp)
  list(APPEND TBRELAX_BACKEND_SOURCES ${lapack_sources})
endif()

# The GPU path: cuSOLVER and cuBLAS called from C++, and two small kernels in a library of their
# own (the project's C++ flags, -Wall or -march=native, are not nvcc's).
if(TBRELAX_CUDA)
  if(NOT DEFINED CMAKE_CUDA_ARCHITECTURES)
    # Machine code for Hopper (H100, H200), and PTX that any newer GPU compiles at start-up.
    set(CMAKE_CUDA_ARCHITECTURES 90-real 75-virtual)
  endif()
  # One CUDA runtime in the process: the kernels and the cuBLAS/cuSOLVER calls must share it.
  set(CMAKE_CUDA_RUNTIME_LIBRARY Shared)
  enable_language(CUDA)
  find_package(CUDAToolkit REQUIRED)
  file(GLOB cuda_sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/src/linalg/backends/cuda/*.cpp)
  list(APPEND TBRELAX_BACKEND_SOURCES ${cuda_sources})
  add_library(tbrelax_cuda_kernels STATIC ${CMAKE_CURRENT_SOURCE_DIR}/src/linalg/backends/cuda/cuda_kernels.cu)
  set_property(TARGET tbrelax_cuda_kernels PROPERTY COMPILE_OPTIONS "")
  # CMake 3.25 does not know nvcc's C++20 flag; the kernels need nothing beyond C++17.
  set_target_properties(tbrelax_cuda_kernels PROPERTIES CUDA_STANDARD 17 CUDA_STANDARD_REQUIRED ON)
  # No fused multiply-adds behind our back, as in the C++ code.
  target_compile_options(tbrelax_cuda_kernels PRIVATE --fmad=false -Xcompiler=-Wall,-Wextra)
  target_include_directories(tbrelax_cuda_kernels PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/src)
  target_link_libraries(tbrelax_cuda_kernels PUBLIC CUDA::cudart)
endif()

# MPI for the process group of the programs (src/parallel/mpi), never for the library.
set(TBRELAX_MPI_SOURCES "")
if(TBRELAX_MPI)
  find_package(MPI REQUIRED COMPONENTS CXX)
  file(GLOB TBRELAX_MPI_SOURCES CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/src/parallel/mpi/*.cpp)
endif()

# ScaLAPACK and ELPA for the distributed electronic step (src/parallel/distributed), again only
# in the programs' process group. Without them the step reports itself missing.
set(TBRELAX_ELPA_SOURCES ${CMAKE_CURRENT_SOURCE_DIR}/src/parallel/no_distribution.cpp)
if(TBRELAX_ELPA)
  if(NOT TBRELAX_MPI)
    message(FATAL_ERROR "TBRELAX_ELPA needs TBRELAX_MPI=ON")
  endif()
  find_package(PkgConfig REQUIRED)
  pkg_check_modules(ELPA REQUIRED IMPORTED_TARGET elpa)
  pkg_check_modules(SCALAPACK REQUIRED IMPORTED_TARGET scalapack-openmpi)
  file(GLOB TBRELAX_ELPA_SOURCES CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/src/parallel/distributed/*.cpp)
endif()

function(tbrelax_link_backends target)
  if(OpenMP_CXX_FOUND)
    target_link_libraries(${target} PUBLIC OpenMP::OpenMP_CXX)
  endif()
  if(TBRELAX_LAPACK)
    target_link_libraries(${target} PUBLIC LAPACK::LAPACK)
    target_compile_definitions(${target} PUBLIC TBRELAX_HAVE_LAPACK=1)
    if(TBRELAX_OPENBLAS_THREADS)
      target_compile_definitions(${target} PRIVATE TBRELAX_HAVE_OPENBLAS_THREADS=1)
    endif()
  endif()
  if(TBRELAX_CUDA)
    target_link_libraries(${target} PRIVATE tbrelax_cuda_kernels CUDA::cusolver CUDA::cublas CUDA::cudart)
    target_compile_definitions(${target} PUBLIC TBRELAX_HAVE_CUDA=1)
  endif()
endfunction()
