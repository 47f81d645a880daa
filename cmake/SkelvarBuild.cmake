# Settings that every target of the project shares.
include(GNUInstallDirs)
list(PREPEND CMAKE_MODULE_PATH ${CMAKE_CURRENT_LIST_DIR})

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release)
endif()
# Programs of the build tree find the libraries where they were built, installed ones beside them.
file(RELATIVE_PATH skelvar_bin_to_lib /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})
set(CMAKE_INSTALL_RPATH $ORIGIN $ORIGIN/${skelvar_bin_to_lib})
# A soname carries what must stay binary compatible: in the 0 series the minor version too.
if(PROJECT_VERSION_MAJOR EQUAL 0)
  set(SKELVAR_SOVERSION 0.${PROJECT_VERSION_MINOR})
else()
  set(SKELVAR_SOVERSION ${PROJECT_VERSION_MAJOR})
endif()

find_program(SKELVAR_CCACHE ccache)
if(SKELVAR_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${SKELVAR_CCACHE})
endif()

# Warnings, and floating point exactly as written: no contraction, never fast-math.
add_library(skelvar_options INTERFACE)
target_compile_options(skelvar_options INTERFACE -Wall -Wextra -Wpedantic -Wno-unknown-pragmas
                                                 -ffp-contract=off)
# Some source files are compiled as one where that saves time. g++ then takes each of them for a
# header, whose anonymous namespaces would differ from file to file.
if(CMAKE_UNITY_BUILD AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  target_compile_options(skelvar_options INTERFACE -Wno-subobject-linkage)
endif()

# Checked builds. The first fault ends the program, so that no test can pass over it.
if(SKELVAR_SANITIZE)
  add_compile_options(-fsanitize=${SKELVAR_SANITIZE} -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${SKELVAR_SANITIZE})
  # Arrays take plain memory there, so that the checks see where each one ends.
  target_compile_definitions(skelvar_options INTERFACE SKELVAR_CHECKED_BUILD)
endif()
if(SKELVAR_SANITIZE STREQUAL "thread")
  include(ThreadCheckedTBB)
endif()

find_package(Threads REQUIRED)
find_package(TBB REQUIRED)
find_package(Boost REQUIRED COMPONENTS filesystem thread)
find_package(ZLIB REQUIRED)

# find_plain_library(TARGET HEADER LIBRARY): one that brings no package file of its own.
function(find_plain_library target header library)
  find_path(${library}_INCLUDE_DIR ${header} REQUIRED)
  find_library(${library}_LIBRARY ${library} REQUIRED)
  mark_as_advanced(${library}_INCLUDE_DIR ${library}_LIBRARY)
  add_library(${target} UNKNOWN IMPORTED)
  set_target_properties(${target} PROPERTIES
    IMPORTED_LOCATION ${${library}_LIBRARY}
    INTERFACE_INCLUDE_DIRECTORIES ${${library}_INCLUDE_DIR})
endfunction()
find_plain_library(MurmurHash::MurmurHash murmurhash.h murmurhash)
find_plain_library(Deflate::Deflate libdeflate.h deflate)
