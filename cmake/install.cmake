# Install rules: headers, the shared library, the CMake package, kivdbxt.pc and the licence.
# Every destination comes from GNUInstallDirs, so any prefix and a multiarch library folder
# (lib/x86_64-linux-gnu) work.
set(KIV_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/kivdbxt)

install(TARGETS kivdbxt EXPORT kivdbxtTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/kivdbxt DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

# CMake package: find_package(kivdbxt), target kivdbxt::kivdbxt. It locates itself, so it stays
# right under `cmake --install --prefix` and DESTDIR staging.
install(EXPORT kivdbxtTargets NAMESPACE kivdbxt:: DESTINATION ${KIV_CMAKE_DIR})
include(CMakePackageConfigHelpers)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/kivdbxtConfig.cmake.in
  ${PROJECT_BINARY_DIR}/kivdbxtConfig.cmake INSTALL_DESTINATION ${KIV_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/kivdbxtConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/kivdbxtConfig.cmake ${PROJECT_BINARY_DIR}/kivdbxtConfigVersion.cmake
  DESTINATION ${KIV_CMAKE_DIR})

# kivdbxt.pc finds the prefix from its own folder (lib/pkgconfig, lib/<multiarch>/pkgconfig):
# the install can be staged with DESTDIR or copied elsewhere. A folder configured outside the
# prefix (an absolute one) can only be named as it is.
set(KIV_PC_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
cmake_path(ABSOLUTE_PATH KIV_PC_DIR BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX} OUTPUT_VARIABLE KIV_PC_DIR)
file(RELATIVE_PATH KIV_PC_TO_PREFIX ${KIV_PC_DIR} ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" KIV_PC_TO_PREFIX "${KIV_PC_TO_PREFIX}")
foreach(kind LIBDIR INCLUDEDIR)
  cmake_path(ABSOLUTE_PATH CMAKE_INSTALL_${kind} BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX}
             OUTPUT_VARIABLE full)
  cmake_path(IS_PREFIX CMAKE_INSTALL_PREFIX ${full} NORMALIZE inside)
  if(inside)
    file(RELATIVE_PATH rel ${CMAKE_INSTALL_PREFIX} ${full})
    set(KIV_PC_${kind} "\${prefix}/${rel}")
  else()
    set(KIV_PC_${kind} ${full})
  endif()
endforeach()
configure_file(${PROJECT_SOURCE_DIR}/cmake/kivdbxt.pc.in ${PROJECT_BINARY_DIR}/pkgconfig/kivdbxt.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/pkgconfig/kivdbxt.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/kivdbxt)
