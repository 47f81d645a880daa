# Settings that every target of the project shares.
include(GNUInstallDirs)

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

find_program(SKELVAR_CCACHE ccache)
if(SKELVAR_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${SKELVAR_CCACHE})
endif()

find_package(Threads REQUIRED)
find_package(TBB REQUIRED)
find_package(Boost REQUIRED COMPONENTS filesystem thread)
find_package(ZLIB REQUIRED)

# Warnings, and floating point exactly as written: no contraction, never fast-math.
add_library(skelvar_options INTERFACE)
target_compile_options(skelvar_options INTERFACE -Wall -Wextra -Wpedantic -Wno-unknown-pragmas
                                                 -ffp-contract=off)
