# Installs the shared library, the public headers and a CMake package so that
# another project can say find_package(Ferrow) and link Ferrow::ferrow (and,
# when the panels were built, Ferrow::panels).
include(CMakePackageConfigHelpers)

install(TARGETS ferrow EXPORT FerrowTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
if(FERROW_PANELS)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/ferrow
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
else()
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/ferrow
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} PATTERN panels EXCLUDE)
endif()

set(FERROW_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Ferrow)
install(EXPORT FerrowTargets NAMESPACE Ferrow:: DESTINATION ${FERROW_CMAKE_DIR})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/FerrowConfig.cmake.in
  ${PROJECT_BINARY_DIR}/FerrowConfig.cmake INSTALL_DESTINATION ${FERROW_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/FerrowConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/FerrowConfig.cmake
  ${PROJECT_BINARY_DIR}/FerrowConfigVersion.cmake DESTINATION ${FERROW_CMAKE_DIR})
