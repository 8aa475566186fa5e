# The library, and how everything is compiled.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
add_compile_options(-Wall -Wextra -Wconversion)
# g++ 12 takes `"text" + std::string` at -O3 for an overlapping copy; later ones do not.
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  add_compile_options(-Wno-restrict)
endif()
# Off the device a library's calls of its own functions go straight to them, not by way of its tables.
if(CORVANE_PLATFORM STREQUAL host)
  add_compile_options(-fno-semantic-interposition)
  add_link_options($<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,SHARED_LIBRARY>:-Wl,-Bsymbolic-functions>)
endif()
if(CORVANE_SANITIZE)
  add_compile_options(-fsanitize=${CORVANE_SANITIZE} -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${CORVANE_SANITIZE})
endif()

# Unique symbols could not stand in several of the objects that corvane_enclose makes.
if(NOT BUILD_SHARED_LIBS AND CMAKE_CXX_COMPILER_ID STREQUAL GNU)
  add_compile_options(-fno-gnu-unique)
endif()

# Optimised builds carry what Debian's hardening-check asks for.
include(CheckPIESupported)
check_pie_supported()
if(CORVANE_PLATFORM STREQUAL host AND CMAKE_BUILD_TYPE MATCHES "^(Rel|MinSize)" AND NOT CORVANE_SANITIZE)
  add_compile_options(-fstack-protector-strong -fstack-clash-protection -U_FORTIFY_SOURCE
                      -D_FORTIFY_SOURCE=2)
  add_link_options(-Wl,-z,relro -Wl,-z,now)
endif()

# The folder of the program or library that is loaded, in the words of the platform's loader. A program in a bundle lies
# a folder deeper.
if(CORVANE_PLATFORM STREQUAL host)
  set(CMAKE_INSTALL_RPATH "$ORIGIN;$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
else()
  set(CMAKE_INSTALL_RPATH "@loader_path;@loader_path/../${CMAKE_INSTALL_LIBDIR}"
                          "@loader_path/../../${CMAKE_INSTALL_LIBDIR}")
endif()
# A library outside the system's folders, such as another CoreFoundation, is found where it was linked.
set(CMAKE_INSTALL_RPATH_USE_LINK_PATH TRUE)

# Each subsystem folder adds its sources to this one target.
add_library(corvane)
add_library(Corvane::corvane ALIAS corvane)
set_target_properties(corvane PROPERTIES VERSION ${PROJECT_VERSION}
                                         SOVERSION ${PROJECT_VERSION_MAJOR})
target_compile_features(corvane INTERFACE cxx_std_20)

# Public headers are in include/corvane/FOLDER/, those in FOLDER/ are internal. Both are named "FOLDER/header.h" here;
# a program names the public ones <corvane/FOLDER/header.h>.
set(CORVANE_INCLUDE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include/corvane)
target_include_directories(
  corvane PRIVATE ${CORVANE_INCLUDE}
  INTERFACE $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)

# corvane_enclose(target): a static library holds what it shares with the others. Off the device it becomes one object,
# which hides what the shared library hides: without that the fault rules of one library's calls would hold for all of
# them. To be called in the folder that makes the target.
function(corvane_enclose target)
  get_target_property(type ${target} TYPE)
  if(NOT type STREQUAL STATIC_LIBRARY)
    return()
  endif()
  if(CORVANE_PLATFORM STREQUAL device)
    target_sources(${target} PRIVATE $<TARGET_OBJECTS:corvane-formats> $<TARGET_OBJECTS:corvane-platform>)
    return()
  endif()
  get_property(options TARGET ${target} PROPERTY CORVANE_WRAP_OPTIONS)
  list(TRANSFORM options REPLACE "^-Wl," "")
  set(object ${PROJECT_BINARY_DIR}/${target}.o)
  add_custom_command(
    TARGET ${target} POST_BUILD
    COMMAND ${CMAKE_LINKER} -r --force-group-allocation ${options} --whole-archive $<TARGET_FILE:${target}>
            --no-whole-archive $<TARGET_FILE:corvane-formats> $<TARGET_FILE:corvane-platform> -o ${object}
    COMMAND ${CMAKE_OBJCOPY} --localize-hidden ${object}
    COMMAND ${CMAKE_COMMAND} -E rm $<TARGET_FILE:${target}>
    COMMAND ${CMAKE_AR} rcs $<TARGET_FILE:${target}> ${object}
    VERBATIM)
endfunction()

# corvane_precompile(group target header...): with CORVANE_PRECOMPILE the target's sources see the headers
# precompiled. The targets of a group, which have to be compiled with the same flags, share them. Not under a
# launcher such as ccache, which would have to compile every source each time.
function(corvane_precompile group target)
  if(NOT CORVANE_PRECOMPILE OR CMAKE_CXX_COMPILER_LAUNCHER)
    return()
  endif()
  get_property(owner GLOBAL PROPERTY CORVANE_PRECOMPILED_${group})
  if(owner)
    target_precompile_headers(${target} REUSE_FROM ${owner})
  else()
    target_precompile_headers(${target} PRIVATE ${ARGN})
    set_property(GLOBAL PROPERTY CORVANE_PRECOMPILED_${group} ${target})
  endif()
endfunction()

# corvane_compile_together(target source...): where headers are precompiled, these sources are compiled as one.
function(corvane_compile_together target)
  if(CORVANE_PRECOMPILE AND NOT CMAKE_CXX_COMPILER_LAUNCHER AND NOT CMAKE_UNITY_BUILD)
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
    set_source_files_properties(${ARGN} PROPERTIES UNITY_GROUP together)
  endif()
endfunction()
set(CORVANE_JSON_HEADERS <algorithm> <filesystem> <functional> <iostream> <map> <memory>
                         <nlohmann/json.hpp> <optional> <string> <vector>)

if(CORVANE_TESTS AND CORVANE_PLATFORM STREQUAL host)
  enable_testing()
  include(GoogleTest)
  find_package(GTest REQUIRED)
endif()

# corvane_test(log_test [library...]): the program of log_test.cc of this folder, linked with the
# libraries, each of its tests a test of its own with a process of its own. Tests make their units
# themselves; one that forgets to gets none.
function(corvane_test source)
  if(NOT CORVANE_TESTS OR NOT CORVANE_PLATFORM STREQUAL host)
    return()
  endif()
  cmake_path(GET source FILENAME name)
  add_executable(${name} ${source}.cc)
  target_link_libraries(${name} PRIVATE corvane-testing ${ARGN})
  corvane_precompile(tests ${name} <gtest/gtest.h> <filesystem> <functional>)
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 300 ENVIRONMENT
                                                               CORVANE_DEVICE=/dev/null)
endfunction()
