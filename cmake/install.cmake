# What `cmake --install` puts where:
#   bin/pcd-import                      link to the program in libexec
#   libexec/pcd-import/                 the program, the plug-in and the catalog
#                                       readers' module, which the program loads
#                                       from its own folder
#   lib/libzelhost.so.1                 the host library, with its headers in
#   include/zelhost/                    (model/ for the model objects)
#   lib/cmake/PcdImport/                find_package(PcdImport): PcdImport::zelhost
#   lib/pkgconfig/zelhost.pc            pkg-config --cflags --libs zelhost
include(CMakePackageConfigHelpers)

set(PCD_PROGRAM_DIR ${CMAKE_INSTALL_LIBEXECDIR}/pcd-import)
# The installed program and plug-in find the host library relative to
# themselves, wherever the tree is installed.
file(RELATIVE_PATH PCD_PROGRAM_TO_LIB
  ${CMAKE_INSTALL_FULL_LIBEXECDIR}/pcd-import ${CMAKE_INSTALL_FULL_LIBDIR})
set_target_properties(pcd-import ZELCaRepositoryDsOdbcImport PROPERTIES
  INSTALL_RPATH "$ORIGIN/${PCD_PROGRAM_TO_LIB}")

install(TARGETS pcd-import RUNTIME DESTINATION ${PCD_PROGRAM_DIR})
install(TARGETS ZELCaRepositoryDsOdbcImport pcd_catalog_readers
  LIBRARY DESTINATION ${PCD_PROGRAM_DIR})
file(RELATIVE_PATH PCD_BIN_TO_PROGRAM
  ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBEXECDIR}/pcd-import/pcd-import)
install(CODE "
  set(bindir \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}\")
  file(MAKE_DIRECTORY \"\${bindir}\")
  message(STATUS \"Installing: \${bindir}/pcd-import\")
  file(CREATE_LINK \"${PCD_BIN_TO_PROGRAM}\" \"\${bindir}/pcd-import\" SYMBOLIC)")

install(TARGETS zelhost EXPORT PcdImportTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY host/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zelhost
  FILES_MATCHING PATTERN "*.h" PATTERN "zel_fault_injection.h" EXCLUDE)

set(PCD_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/PcdImport)
install(EXPORT PcdImportTargets NAMESPACE PcdImport:: DESTINATION ${PCD_CMAKE_DIR})
configure_package_config_file(cmake/PcdImportConfig.cmake.in
  ${PROJECT_BINARY_DIR}/PcdImportConfig.cmake INSTALL_DESTINATION ${PCD_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/PcdImportConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/PcdImportConfig.cmake
  ${PROJECT_BINARY_DIR}/PcdImportConfigVersion.cmake DESTINATION ${PCD_CMAKE_DIR})

# The .pc file names its prefix relative to itself, so the tree can move.
file(RELATIVE_PATH PCD_PC_TO_PREFIX
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/zelhost.pc.in ${PROJECT_BINARY_DIR}/zelhost.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/zelhost.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
