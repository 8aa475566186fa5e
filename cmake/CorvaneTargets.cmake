# The library, and how everything in the house is compiled.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
add_compile_options(-Wall -Wextra -Wconversion)
if(CORVANE_SANITIZE)
  add_compile_options(-fsanitize=${CORVANE_SANITIZE} -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${CORVANE_SANITIZE})
endif()

set(CMAKE_INSTALL_RPATH "$ORIGIN;$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
# A library outside the system's folders, such as another CoreFoundation, is found where it was linked.
set(CMAKE_INSTALL_RPATH_USE_LINK_PATH TRUE)

# Each subsystem folder adds its sources to this one target.
add_library(corvane SHARED)
add_library(Corvane::corvane ALIAS corvane)
set_target_properties(corvane PROPERTIES VERSION ${PROJECT_VERSION}
                                         SOVERSION ${PROJECT_VERSION_MAJOR})
target_include_directories(
  corvane PRIVATE ${PROJECT_SOURCE_DIR}
  INTERFACE $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)

# corvane_headers(bits.h ...): headers of this folder that a program may include.
function(corvane_headers)
  cmake_path(RELATIVE_PATH CMAKE_CURRENT_SOURCE_DIR BASE_DIRECTORY ${PROJECT_SOURCE_DIR}
             OUTPUT_VARIABLE folder)
  install(FILES ${ARGN} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/corvane/${folder})
endfunction()

if(CORVANE_TESTS AND CORVANE_PLATFORM STREQUAL host)
  enable_testing()
  include(GoogleTest)
  find_package(GTest REQUIRED)
endif()

# corvane_test(bits_test): the program of bits_test.cc of this folder, each of its tests a test of its
# own with a process of its own. Tests make their units themselves; one that forgets to gets none.
function(corvane_test source)
  if(NOT CORVANE_TESTS OR NOT CORVANE_PLATFORM STREQUAL host)
    return()
  endif()
  cmake_path(GET source FILENAME name)
  add_executable(${name} ${source}.cc)
  target_link_libraries(${name} PRIVATE corvane-testing)
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 300 ENVIRONMENT
                                                               CORVANE_DEVICE=/dev/null)
endfunction()
