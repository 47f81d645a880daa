# What `cmake --install` puts where: libraries, headers, a CMake package and a pkg-config file.
include(CMakePackageConfigHelpers)

set(skelvar_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/Skelvar)
set(skelvar_pkgconfig_libs -lskelvarcore)
file(RELATIVE_PATH skelvar_pkgconfig_to_prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)

install(TARGETS skelvarcore EXPORT SkelvarTargets FILE_SET HEADERS)
install(EXPORT SkelvarTargets NAMESPACE Skelvar:: DESTINATION ${skelvar_package_dir})
if(TARGET orvel)
  install(TARGETS orvel EXPORT OrvelTargets FILE_SET HEADERS)
  install(EXPORT OrvelTargets NAMESPACE orvel:: DESTINATION ${skelvar_package_dir})
  string(APPEND skelvar_pkgconfig_libs " -lorvel")
endif()
if(TARGET kvf)
  install(TARGETS kvf)
endif()

configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/SkelvarConfig.cmake.in SkelvarConfig.cmake
                              INSTALL_DESTINATION ${skelvar_package_dir})
write_basic_package_version_file(SkelvarConfigVersion.cmake COMPATIBILITY SameMinorVersion)
configure_file(${CMAKE_CURRENT_LIST_DIR}/skelvar.pc.in skelvar.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/SkelvarConfig.cmake
              ${PROJECT_BINARY_DIR}/SkelvarConfigVersion.cmake
        DESTINATION ${skelvar_package_dir})
install(FILES ${PROJECT_BINARY_DIR}/skelvar.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
