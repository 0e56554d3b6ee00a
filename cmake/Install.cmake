# What `cmake --install` puts where, and how another project finds it: with find_package(zqm),
# which gives zqm::core and, as the component "static", zqm::core_static, or with pkg-config's zqm.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set_target_properties(zqm_static PROPERTIES EXPORT_NAME core_static)
foreach(kind shared static)
  install(TARGETS zqm_${kind} EXPORT zqm_${kind}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
  install(EXPORT zqm_${kind} FILE zqm-${kind}.cmake NAMESPACE zqm::
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zqm)
endforeach()

# What hosts, kit modules and ports of the platform use: the ground, every class of the library's
# name, and the decisions, by which a tool explains a launch. What these headers declare is exported.
# Other headers belong to the sources beside them, and some need a library that a host lacks.
install(DIRECTORY zqm DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  FILES_MATCHING
    REGEX "/zqm/(zqm|(base|platform|util|model|core)/[^/]+|([^/]+/)+(ZQM[^/]+|[^/]+Decision)|platform/linux/LinuxPlatform)\\.h$"
    REGEX "/(System|Icu|Numbers|Patterns|PropertyListFault|Cbor|Frame|RecordFile|StoreReport)\\.h$" EXCLUDE)

configure_package_config_file(cmake/zqm-config.cmake.in zqm-config.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zqm
  NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(zqm-config-version.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zqm-config.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/zqm-config-version.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zqm)

# Relative to the file itself, so that an installed tree can be moved.
file(RELATIVE_PATH ZQM_PREFIX_FROM_PKGCONFIG
  /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(cmake/zqm.pc.in zqm.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zqm.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
