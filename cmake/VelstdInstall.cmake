# Install rules: library, headers (flat, in include/velstd), CMake package, pkg-config file, printers
# for gdb.
include(CMakePackageConfigHelpers)

set(velstdPackageDir "${CMAKE_INSTALL_LIBDIR}/cmake/velstd")

install(TARGETS velstd EXPORT velstdTargets
        LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
        ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}"
        RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
set(privateHeaders "")
foreach(header IN LISTS VELSTD_PRIVATE_HEADERS)
  list(APPEND privateHeaders PATTERN "${header}" EXCLUDE)
endforeach()
foreach(dir IN LISTS VELSTD_HEADER_DIRS)
  install(DIRECTORY "${PROJECT_SOURCE_DIR}/${dir}/"
          DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/velstd"
          FILES_MATCHING PATTERN "*.h" ${privateHeaders})
endforeach()

install(EXPORT velstdTargets NAMESPACE velstd:: DESTINATION "${velstdPackageDir}")
configure_package_config_file(
  "${PROJECT_SOURCE_DIR}/cmake/velstdConfig.cmake.in"
  "${PROJECT_BINARY_DIR}/velstdConfig.cmake"
  INSTALL_DESTINATION "${velstdPackageDir}"
  NO_SET_AND_CHECK_MACRO)
# Before 1.0 a minor version may change the interface.
write_basic_package_version_file("${PROJECT_BINARY_DIR}/velstdConfigVersion.cmake"
  COMPATIBILITY SameMinorVersion)
install(FILES "${PROJECT_BINARY_DIR}/velstdConfig.cmake"
              "${PROJECT_BINARY_DIR}/velstdConfigVersion.cmake"
        DESTINATION "${velstdPackageDir}")

# The prefix is told relative to the .pc file, so that the installed tree may be moved.
file(RELATIVE_PATH velstdPcToPrefix "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
string(REGEX REPLACE "/$" "" velstdPcToPrefix "${velstdPcToPrefix}")
configure_file("${PROJECT_SOURCE_DIR}/cmake/velstd.pc.in" "${PROJECT_BINARY_DIR}/velstd.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/velstd.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

# For gdb, which looks for what belongs to a library under the library's own path below its directory
# of scripts; and where people find it, for programs that gdb does not see the library in.
set(velstdPrinters "${PROJECT_SOURCE_DIR}/tools/gdb/velstd_gdb.py")
install(FILES "${velstdPrinters}" DESTINATION "${CMAKE_INSTALL_DATADIR}/velstd/gdb")
install(FILES "${velstdPrinters}"
        DESTINATION
          "${CMAKE_INSTALL_DATADIR}/gdb/auto-load\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}"
        RENAME "libvelstd.so.${PROJECT_VERSION}-gdb.py")
