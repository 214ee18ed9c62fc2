# Installation: headers, libraries, the CMake package and the pkg-config file.
install(TARGETS ZRFramework ZRPlatform EXPORT ZRFrameworkTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
