# `cmake --install build --prefix P` installs the programs, the library tbrelax::core with its
# headers (under include/tbrelax, included as "tb/force.hpp" and so on), a CMake package
# (find_package(tbrelax)) and a pkg-config file (tbrelax.pc).
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(TBRELAX_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/tbrelax)

install(TARGETS tbrelax_core EXPORT tbrelaxTargets ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
if(TARGET tbrelax_cuda_kernels)
  # The static library's own static dependency travels with it.
  install(TARGETS tbrelax_cuda_kernels EXPORT tbrelaxTargets ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
endif()
foreach(app tbrelax tbcalc)
  if(TARGET ${app})
    install(TARGETS ${app} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  endif()
endforeach()
install(DIRECTORY src/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tbrelax
        FILES_MATCHING PATTERN "*.hpp" PATTERN "backends" EXCLUDE)
install(EXPORT tbrelaxTargets NAMESPACE tbrelax:: DESTINATION ${TBRELAX_CMAKE_DIR})

configure_package_config_file(cmake/tbrelaxConfig.cmake.in ${PROJECT_BINARY_DIR}/tbrelaxConfig.cmake
                              INSTALL_DESTINATION ${TBRELAX_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/tbrelaxConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/tbrelaxConfig.cmake ${PROJECT_BINARY_DIR}/tbrelaxConfigVersion.cmake
        DESTINATION ${TBRELAX_CMAKE_DIR})

# pkg-config links statically against the library, so its dependencies are listed in Libs.
set(TBRELAX_PC_LIBS "")
if(OpenMP_CXX_FOUND)
  string(APPEND TBRELAX_PC_LIBS " ${OpenMP_CXX_FLAGS}")
endif()
if(TBRELAX_LAPACK)
  foreach(lib ${LAPACK_LIBRARIES})
    string(APPEND TBRELAX_PC_LIBS " ${lib}")
  endforeach()
endif()
if(TBRELAX_CUDA)
  string(APPEND TBRELAX_PC_LIBS " -ltbrelax_cuda_kernels -L${CUDAToolkit_LIBRARY_DIR} -lcusolver -lcublas -lcudart")
endif()
# The prefix is found from where the file lies, so that `cmake --install --prefix` anywhere works.
file(RELATIVE_PATH TBRELAX_PC_TO_PREFIX "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
string(REGEX REPLACE "/$" "" TBRELAX_PC_TO_PREFIX "${TBRELAX_PC_TO_PREFIX}")
configure_file(cmake/tbrelax.pc.in ${PROJECT_BINARY_DIR}/tbrelax.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/tbrelax.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
