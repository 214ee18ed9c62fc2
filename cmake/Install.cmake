# Installation: headers, libraries, the CMake package and the pkg-config file.
#
# Layout under the prefix:
#   include/ZRFramework/ZRFramework.h      the library's header   (#include <ZRFramework/ZRFramework.h>)
#   include/ZRPlatform/<Framework>/...     the host layer's headers (#include <CoreFoundation/CoreFoundation.h>)
#   lib/libZRFramework.so, lib/libZRPlatform.so
#   lib/cmake/ZRFramework/                 find_package(ZRFramework) -> ZRFramework::ZRFramework
#   lib/pkgconfig/zrframework.pc           pkg-config --cflags --libs zrframework
#
# The host headers get a directory of their own because their folder names (CoreFoundation,
# Foundation, Carbon ...) are the platform's: kept out of the shared include directory, they cannot
# shadow anything else installed there.
include(CMakePackageConfigHelpers)

set(ZR_INSTALL_CMAKEDIR "${CMAKE_INSTALL_LIBDIR}/cmake/ZRFramework"
    CACHE STRING "Where the CMake package files are installed, relative to the prefix")

install(TARGETS ZRFramework ZRPlatform EXPORT ZRFrameworkTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/ZRFramework
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  FILES_MATCHING PATTERN "*.h")
install(DIRECTORY ${PROJECT_SOURCE_DIR}/platform/include/
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/ZRPlatform
  FILES_MATCHING PATTERN "*.h")

# Installed binaries find the libraries beside (or below) them wherever the prefix is moved to (the
# zr bundle sets its own run path, from inside the bundle).
set_target_properties(ZRFramework PROPERTIES INSTALL_RPATH "$ORIGIN")

# CMake package. The libraries' own dependencies (ICU, OpenSSL, fontconfig) are PRIVATE to the
# shared libraries, so consumers need none of them. The test variants (ZRFrameworkTesting,
# ZRPlatformTesting) and <ZRPlatform/Testing.h> are never installed.
install(EXPORT ZRFrameworkTargets
  NAMESPACE ZRFramework::
  FILE ZRFrameworkTargets.cmake
  DESTINATION ${ZR_INSTALL_CMAKEDIR})
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/ZRFrameworkConfig.cmake.in
  ${PROJECT_BINARY_DIR}/ZRFrameworkConfig.cmake
  INSTALL_DESTINATION ${ZR_INSTALL_CMAKEDIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/ZRFrameworkConfigVersion.cmake
  VERSION ${PROJECT_VERSION}
  COMPATIBILITY SameMajorVersion)
install(FILES
    ${PROJECT_BINARY_DIR}/ZRFrameworkConfig.cmake
    ${PROJECT_BINARY_DIR}/ZRFrameworkConfigVersion.cmake
  DESTINATION ${ZR_INSTALL_CMAKEDIR})

# pkg-config. Requires.private names the pkg-config modules the shared libraries link privately,
# for static-link tools that ask; a CMakeLists that adds such a dependency appends its module here.
list(APPEND ZR_PKGCONFIG_PRIVATE_MODULES icu-uc icu-i18n libcrypto fontconfig pugixml libsystemd)
list(REMOVE_DUPLICATES ZR_PKGCONFIG_PRIVATE_MODULES)
list(JOIN ZR_PKGCONFIG_PRIVATE_MODULES " " ZR_PKGCONFIG_REQUIRES_PRIVATE)
# The prefix is the one given at install time (cmake --install --prefix DIR), not the configured
# one, so the file is finished by an install step. Absolute install directories are written as they
# are; relative ones hang off ${prefix}.
set(ZR_PKGCONFIG_PREFIX "@ZR_PKGCONFIG_INSTALL_PREFIX@")
foreach(_dir LIBDIR INCLUDEDIR)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${_dir}}")
    set(ZR_PKGCONFIG_${_dir} "${CMAKE_INSTALL_${_dir}}")
  else()
    set(ZR_PKGCONFIG_${_dir} "\${prefix}/${CMAKE_INSTALL_${_dir}}")
  endif()
endforeach()
configure_file(${CMAKE_CURRENT_LIST_DIR}/zrframework.pc.in ${PROJECT_BINARY_DIR}/zrframework.pc.in @ONLY)
install(CODE "
  set(ZR_PKGCONFIG_INSTALL_PREFIX \"\${CMAKE_INSTALL_PREFIX}\")
  configure_file(\"${PROJECT_BINARY_DIR}/zrframework.pc.in\" \"${PROJECT_BINARY_DIR}/zrframework.pc\" @ONLY)
")
install(FILES ${PROJECT_BINARY_DIR}/zrframework.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
