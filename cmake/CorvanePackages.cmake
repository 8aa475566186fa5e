# The Debian packages that cpack makes: what `cmake --install` lays down, by components, and what Debian asks for
# beside it. script/package runs it.

set(CORVANE_MAINTAINER "Corvane developers <developers@corvane.invalid>" CACHE STRING
    "Whom the packages name as their maintainer; \".invalid\" is reserved for addresses that do not exist")

# One line of the change log for each of the newest section's, which is what this version changes. The date is the
# commit's when $SOURCE_DATE_EPOCH says so.
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/CHANGELOG.md)
file(READ ${PROJECT_SOURCE_DIR}/CHANGELOG.md changes)
string(REGEX REPLACE "^# Changes\n\n## [^\n]*\n" "" changes "${changes}")
string(FIND "${changes}" "\n## " end)
string(SUBSTRING "${changes}" 0 ${end} changes)
string(STRIP "${changes}" changes)
string(REPLACE "\n  " " " changes "${changes}")
set(documents ${PROJECT_BINARY_DIR}/documents)
file(WRITE ${documents}/changelog "${changes}")
execute_process(COMMAND fold --spaces --width=74 ${documents}/changelog OUTPUT_VARIABLE changes
                COMMAND_ERROR_IS_FATAL ANY)
string(REGEX REPLACE " *\n" "\n    " changes "${changes}")
string(REGEX REPLACE "(^|\n    )- " "\\1  * " changes "${changes}")
string(REPLACE "\n      * " "\n  * " changes "${changes}")
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
file(WRITE ${documents}/changelog
     "corvane (${PROJECT_VERSION}) unstable; urgency=medium\n\n${changes}\n\n -- ${CORVANE_MAINTAINER}  ${date}\n")
execute_process(COMMAND gzip --best --no-name --force ${documents}/changelog COMMAND_ERROR_IS_FATAL ANY)

# corvane_package(name COMPONENTS ... DESCRIPTION text OPTION value ...): the options are those of CPackDeb for one
# package, such as SECTION. The description's first line is the synopsis.
function(corvane_package name)
  cmake_parse_arguments(PARSE_ARGV 1 package "" "DESCRIPTION;SECTION;DEPENDS;SUGGESTS;CONTROL_EXTRA" "COMPONENTS")
  list(GET package_COMPONENTS 0 documents_component)
  install(FILES ${PROJECT_SOURCE_DIR}/cmake/packages/copyright ${PROJECT_BINARY_DIR}/documents/changelog.gz
          DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name} COMPONENT ${documents_component})
  string(TOUPPER ${name} group)
  foreach(component IN LISTS package_COMPONENTS)
    string(TOUPPER ${component} component)
    set(CPACK_COMPONENT_${component}_GROUP ${name} PARENT_SCOPE)
  endforeach()
  set(CPACK_DEBIAN_${group}_PACKAGE_NAME ${name} PARENT_SCOPE)
  set(CPACK_DEBIAN_${group}_DESCRIPTION "${package_DESCRIPTION}" PARENT_SCOPE)
  foreach(option SECTION DEPENDS SUGGESTS CONTROL_EXTRA)
    set(CPACK_DEBIAN_${group}_PACKAGE_${option} "${package_${option}}" PARENT_SCOPE)
  endforeach()
endfunction()

set(same_version "libcorvane0 (= ${PROJECT_VERSION})")
corvane_package(corvane COMPONENTS tool SECTION utils DEPENDS "${same_version}" DESCRIPTION
"command-line tool for units of a factory test line
corvane shows and changes what test stations leave on a unit: test-status
bytes, configuration keys, diagnostic records, boot arguments and the test
log. It samples CPU usage per process, inspects dumps, exports and compares
whole units, and summarises the results of many runs.

On Linux a virtual device, a folder of readable files, stands in for the unit.")

# `ldconfig` runs by its trigger. cpack would add maintainer scripts that call it as well, unless it is told of other
# ones; it leaves out those that do not exist.
set(control ${PROJECT_BINARY_DIR}/control)
file(WRITE ${control}/triggers "activate-noawait ldconfig\n")
corvane_package(libcorvane0 COMPONENTS libraries corefoundation SECTION libs
                CONTROL_EXTRA "${control}/triggers;${control}/postinst;${control}/postrm" DESCRIPTION
"support library for factory test and burn-in programs
Corvane is what the programs of test stations link: the test-status bytes, the
configuration keys and the records that stations leave on a unit, its boot
arguments and facts, a test log, and CPU usage per process.

This package holds the library, the station kit above it, and the libraries
that offer a virtual device on Linux.")

corvane_package(libcorvane-dev COMPONENTS development corefoundation-development SECTION libdevel
                DEPENDS "${same_version}" SUGGESTS "corvane (= ${PROJECT_VERSION}), cmake, pkgconf" DESCRIPTION
"support library for factory test programs - development files
Corvane is what the programs of test stations link: the test-status bytes, the
configuration keys and the records that stations leave on a unit, its boot
arguments and facts, a test log, and CPU usage per process.

This package holds the headers, the packages for CMake and pkg-config, and a
burn-in station as an example.")

corvane_package(corvane-doc COMPONENTS documents SECTION doc DESCRIPTION
"support library for factory test programs - documentation
Corvane is what the programs of test stations link: the test-status bytes, the
configuration keys and the records that stations leave on a unit, its boot
arguments and facts, a test log, and CPU usage per process.

This package holds the pages for those who write stations, run them on a line,
and analyse units: tutorial, reference, results, virtual units, installation.")
install(FILES ${PROJECT_SOURCE_DIR}/README.md DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/corvane-doc COMPONENT documents)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/corvane-doc COMPONENT documents
        FILES_MATCHING PATTERN "*.md" PATTERN "*.png")
set(CPACK_DEBIAN_CORVANE-DOC_PACKAGE_ARCHITECTURE all)

set(examples ${CMAKE_INSTALL_DATADIR}/doc/libcorvane-dev/examples)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples/ DESTINATION ${examples} PATTERN "*_test.*" EXCLUDE)

set(CPACK_GENERATOR DEB)
set(CPACK_OUTPUT_FILE_PREFIX ${PROJECT_BINARY_DIR}/packages)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
# Each package's description has its own first line.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_SOURCE corvane)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${CORVANE_MAINTAINER}")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS
    ${PROJECT_BINARY_DIR} ${PROJECT_BINARY_DIR}/host ${PROJECT_BINARY_DIR}/host/corefoundation
    ${PROJECT_BINARY_DIR}/unit ${PROJECT_BINARY_DIR}/station)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
include(CPack)
