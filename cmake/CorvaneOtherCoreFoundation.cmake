# The target corvane-corefoundation for -DCORVANE_COREFOUNDATION=DIR: the CoreFoundation found in DIR.
# Its headers are DIR/include/CoreFoundation/, its library is DIR/lib/libCoreFoundation.so, or in DIR/lib64 or
# DIR/lib/ARCHITECTURE (such as x86_64-linux-gnu).

get_filename_component(folder "${CORVANE_COREFOUNDATION}" ABSOLUTE BASE_DIR "${CMAKE_BINARY_DIR}")
find_path(COREFOUNDATION_INCLUDE_DIR CoreFoundation/CoreFoundation.h
          PATHS ${folder}/include NO_DEFAULT_PATH REQUIRED)
find_library(COREFOUNDATION_LIBRARY CoreFoundation PATHS ${folder}/lib ${folder}/lib64
             ${folder}/lib/${CMAKE_LIBRARY_ARCHITECTURE} NO_DEFAULT_PATH REQUIRED)
message(STATUS "CoreFoundation: ${COREFOUNDATION_LIBRARY}, ${COREFOUNDATION_INCLUDE_DIR}")

add_library(corvane-corefoundation INTERFACE)
add_library(Corvane::corvane-corefoundation ALIAS corvane-corefoundation)
# Not target_include_directories, which refuses to install a folder below the sources or the build folder.
target_compile_options(corvane-corefoundation INTERFACE "SHELL:-isystem \"${COREFOUNDATION_INCLUDE_DIR}\"")
target_link_libraries(corvane-corefoundation INTERFACE ${COREFOUNDATION_LIBRARY})
install(TARGETS corvane-corefoundation EXPORT CorvaneTargets)
