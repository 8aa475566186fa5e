# What `cmake --install` lays down: libraries, tool, headers, a CMake package and a pkg-config file.

include(CMakePackageConfigHelpers)

set(targets corvane corvane-unit corvane-station)
if(CORVANE_PLATFORM STREQUAL host)
  list(APPEND targets corvane-host)
endif()
install(TARGETS ${targets} EXPORT CorvaneTargets LIBRARY COMPONENT libraries
                                                         NAMELINK_COMPONENT development)
if(CORVANE_TOOL)
  # Not exported: the CMake package would refuse to be found where the tool is not installed.
  install(TARGETS corvane-tool RUNTIME COMPONENT tool BUNDLE DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tool)
  list(APPEND targets corvane-tool)
endif()

install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/corvane DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/Corvane)
install(EXPORT CorvaneTargets NAMESPACE Corvane:: DESTINATION ${package_folder})
set(config "include(\${CMAKE_CURRENT_LIST_DIR}/CorvaneTargets.cmake)\n")
if(NOT BUILD_SHARED_LIBS AND CORVANE_PLATFORM STREQUAL host)
  # A program links what the static libraries use.
  string(PREPEND config "include(CMakeFindDependencyMacro)\nfind_dependency(PkgConfig)\n"
                        "pkg_check_modules(LIBPLIST REQUIRED IMPORTED_TARGET libplist-2.0)\n")
endif()
file(WRITE ${PROJECT_BINARY_DIR}/CorvaneConfig.cmake "${config}")
write_basic_package_version_file(${PROJECT_BINARY_DIR}/CorvaneConfigVersion.cmake
                                 COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/CorvaneConfig.cmake
              ${PROJECT_BINARY_DIR}/CorvaneConfigVersion.cmake DESTINATION ${package_folder})

# What a program is compiled and linked with besides: on the device its frameworks.
if(CORVANE_PLATFORM STREQUAL device)
  set(PKGCONFIG_LIBS "-framework CoreFoundation")
  set(PKGCONFIG_LIBS_PRIVATE "-framework IOKit -framework Foundation")
elseif(CORVANE_COREFOUNDATION)
  cmake_path(GET COREFOUNDATION_LIBRARY PARENT_PATH folder)
  # CMake itself adds no folder below the sources or the build folder.
  set_property(TARGET ${targets} APPEND PROPERTY INSTALL_RPATH ${folder})
  # pkg-config takes a blank for the end of an argument.
  string(REPLACE " " "\\ " library "${COREFOUNDATION_LIBRARY}")
  string(REPLACE " " "\\ " folder "${folder}")
  set(PKGCONFIG_CFLAGS " \"-isystem${COREFOUNDATION_INCLUDE_DIR}\" -I\${includedir}/corvane-host")
  set(PKGCONFIG_LIBS "-lcorvane-host -Wl,-rpath,${folder} ${library}")
else()
  set(PKGCONFIG_CFLAGS " -I\${includedir}/corvane-corefoundation -I\${includedir}/corvane-host")
  set(PKGCONFIG_LIBS "-lcorvane-host -lcorvane-corefoundation")
endif()

if(NOT BUILD_SHARED_LIBS AND CORVANE_PLATFORM STREQUAL host)
  set(PKGCONFIG_REQUIRES "libplist-2.0")
endif()

# Programs find the libraries of an installation outside the system's folders.
if(NOT CMAKE_SKIP_INSTALL_RPATH)
  set(PKGCONFIG_RPATH "-Wl,-rpath,\${libdir} ")
endif()

# Relative, so that an installation can be moved and `cmake --install --prefix` works.
file(RELATIVE_PATH PREFIX_FROM_PKGCONFIG /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" PREFIX_FROM_PKGCONFIG "${PREFIX_FROM_PKGCONFIG}")
foreach(package corvane corvane-unit corvane-station)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/${package}.pc.in ${PROJECT_BINARY_DIR}/${package}.pc
                 @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${package}.pc
          DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()
