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

# kivdbxt.pc names absolute folders, as pkg-config files do. It is written when the install
# runs, so that it names the prefix of that install (`cmake --install build --prefix DIR`).
install(CODE "
  set(KIV_PC_IN [[${PROJECT_SOURCE_DIR}/cmake/kivdbxt.pc.in]])
  set(KIV_PC_OUT [[${PROJECT_BINARY_DIR}/pkgconfig/kivdbxt.pc]])
  set(KIV_LIBDIR [[${CMAKE_INSTALL_LIBDIR}]])
  set(KIV_INCLUDEDIR [[${CMAKE_INSTALL_INCLUDEDIR}]])
  set(PROJECT_VERSION [[${PROJECT_VERSION}]])
  include([[${PROJECT_SOURCE_DIR}/cmake/write_pc.cmake]])")
install(FILES ${PROJECT_BINARY_DIR}/pkgconfig/kivdbxt.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/kivdbxt)
