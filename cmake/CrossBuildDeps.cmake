# What a cross build (Windows, from Linux) takes from the build machine:
# header-only JSON from its package, and GoogleTest built from the sources
# Debian ships, since no package holds them built for the target. The
# build machine's include directory itself must stay out of the target's
# compile: only the JSON headers are linked into the build tree.
find_path(FERROW_HOST_JSON_DIR nlohmann/json.hpp PATHS /usr/include NO_CMAKE_FIND_ROOT_PATH
          NO_DEFAULT_PATH)
if(NOT FERROW_HOST_JSON_DIR)
  message(FATAL_ERROR "nlohmann/json.hpp not found: install nlohmann-json3-dev")
endif()
set(host_headers ${PROJECT_BINARY_DIR}/host-headers)
file(MAKE_DIRECTORY ${host_headers})
file(CREATE_LINK ${FERROW_HOST_JSON_DIR}/nlohmann ${host_headers}/nlohmann SYMBOLIC)
add_library(nlohmann_json::nlohmann_json INTERFACE IMPORTED)
set_target_properties(nlohmann_json::nlohmann_json PROPERTIES
  INTERFACE_INCLUDE_DIRECTORIES ${host_headers})

if(FERROW_BUILD_TESTS)
  set(FERROW_GTEST_SOURCE /usr/src/googletest CACHE PATH "GoogleTest's sources")
  if(NOT EXISTS ${FERROW_GTEST_SOURCE}/CMakeLists.txt)
    message(FATAL_ERROR "GoogleTest sources not found at ${FERROW_GTEST_SOURCE}: "
                        "install googletest")
  endif()
  set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
  set(BUILD_GMOCK OFF CACHE BOOL "" FORCE)
  add_subdirectory(${FERROW_GTEST_SOURCE} ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
  # Newer GoogleTest names its targets GTest:: itself.
  if(NOT TARGET GTest::gtest)
    add_library(GTest::gtest ALIAS gtest)
    add_library(GTest::gtest_main ALIAS gtest_main)
  endif()
  set(GTest_FOUND TRUE)
endif()
