# Installs the library, its public headers, a CMake package (find_package(tarnwell) gives
# tarnwell::tarnwell) and a pkg-config file.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(TARGETS tarnwell tarnwell_testing EXPORT tarnwellTargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/tarnwell/
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tarnwell
  FILES_MATCHING PATTERN "*.h"
  PATTERN "detail" EXCLUDE)
install(FILES ${PROJECT_BINARY_DIR}/generated/tarnwell/version.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tarnwell)
install(EXPORT tarnwellTargets NAMESPACE tarnwell::
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tarnwell)

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/tarnwellConfig.cmake.in
  ${PROJECT_BINARY_DIR}/tarnwellConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tarnwell)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/tarnwellConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/tarnwellConfig.cmake ${PROJECT_BINARY_DIR}/tarnwellConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tarnwell)

if(BUILD_SHARED_LIBS)
  set(TARNWELL_PC_PRIVATE_LIBS "")
  set(TARNWELL_PC_REQUIRES_PRIVATE "simdjson sqlite3 libcurl")
else()
  set(TARNWELL_PC_PRIVATE_LIBS "-pthread")
  set(TARNWELL_PC_REQUIRES_PRIVATE "simdjson sqlite3 libcurl")
endif()
configure_file(${PROJECT_SOURCE_DIR}/cmake/tarnwell.pc.in ${PROJECT_BINARY_DIR}/tarnwell.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/tarnwell.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
