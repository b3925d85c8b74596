# Installation: the shared and static libraries, the public header, the
# command-line reader, a CMake package (find_package(pdf417) gives the
# imported targets pdf417::pdf417 and pdf417::pdf417_static) and a
# pkg-config file (pdf417.pc). Included by the top-level CMakeLists.
include(CMakePackageConfigHelpers)

set(PDF417_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/pdf417)
set(PDF417_INSTALL_PKGCONFIGDIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(TARGETS pdf417 pdf417_static EXPORT pdf417Targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
# (The targets' include directory for installed use is set where they are
# defined, with $<INSTALL_INTERFACE:include>.)
install(FILES ${PROJECT_SOURCE_DIR}/include/pdf417/pdf417.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/pdf417)
if(TARGET pdf417read)
  install(TARGETS pdf417read RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

install(EXPORT pdf417Targets NAMESPACE pdf417:: FILE pdf417Targets.cmake
  DESTINATION ${PDF417_INSTALL_CMAKEDIR})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/pdf417Config.cmake.in
  ${PROJECT_BINARY_DIR}/pdf417Config.cmake
  INSTALL_DESTINATION ${PDF417_INSTALL_CMAKEDIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/pdf417ConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/pdf417Config.cmake ${PROJECT_BINARY_DIR}/pdf417ConfigVersion.cmake
  DESTINATION ${PDF417_INSTALL_CMAKEDIR})

# The .pc file finds its prefix from its own place (${pcfiledir}), so the
# installed tree still works after `cmake --install --prefix` or a move.
if(IS_ABSOLUTE "${PDF417_INSTALL_PKGCONFIGDIR}")
  set(PDF417_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
else()
  file(RELATIVE_PATH PDF417_PC_UP "/root/${PDF417_INSTALL_PKGCONFIGDIR}" "/root")
  string(REGEX REPLACE "/$" "" PDF417_PC_UP "${PDF417_PC_UP}")
  set(PDF417_PC_PREFIX "\${pcfiledir}/${PDF417_PC_UP}")
endif()
foreach(kind LIBDIR INCLUDEDIR)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${kind}}")
    set(PDF417_PC_${kind} "${CMAKE_INSTALL_${kind}}")
  else()
    set(PDF417_PC_${kind} "\${prefix}/${CMAKE_INSTALL_${kind}}")
  endif()
endforeach()
configure_file(${PROJECT_SOURCE_DIR}/cmake/pdf417.pc.in ${PROJECT_BINARY_DIR}/pdf417.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/pdf417.pc DESTINATION ${PDF417_INSTALL_PKGCONFIGDIR})
