# What an installed ORBbase offers to others: find_package(ORBbase) with ORBbase::orbbase and ORBbase::host,
# and pkg-config orbbase and orbbase-host.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/ORBbase)
set(ORB_PLUGIN_DIR ${CMAKE_INSTALL_LIBDIR}/orbbase/plugins-3.2)
configure_package_config_file(cmake/ORBbaseConfig.cmake.in ${CMAKE_BINARY_DIR}/ORBbaseConfig.cmake
                              INSTALL_DESTINATION ${package_dir} PATH_VARS ORB_PLUGIN_DIR)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/ORBbaseConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(EXPORT ORBbaseTargets NAMESPACE ORBbase:: DESTINATION ${package_dir} COMPONENT development)
install(FILES ${CMAKE_BINARY_DIR}/ORBbaseConfig.cmake ${CMAKE_BINARY_DIR}/ORBbaseConfigVersion.cmake
        DESTINATION ${package_dir} COMPONENT development)

# Relative to the file's own place, so that an installed tree can be moved.
set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH prefix_from_pkgconfig ${CMAKE_INSTALL_PREFIX}/${pkgconfig_dir} ${CMAKE_INSTALL_PREFIX})
foreach(package orbbase orbbase-host)
  configure_file(cmake/${package}.pc.in ${CMAKE_BINARY_DIR}/${package}.pc @ONLY)
  install(FILES ${CMAKE_BINARY_DIR}/${package}.pc DESTINATION ${pkgconfig_dir} COMPONENT development)
endforeach()

install(FILES README.md CHANGELOG.md CONTRIBUTING.md SECURITY.md LICENSE
        DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development)
install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development
        PATTERN man EXCLUDE PATTERN reference EXCLUDE PATTERN examples/CMakeLists.txt EXCLUDE)

get_property(ORB_PLUGIN_FAMILIES GLOBAL PROPERTY ORB_PLUGIN_FAMILIES)
if(ORB_PLUGIN_FAMILIES)
  list(REMOVE_DUPLICATES ORB_PLUGIN_FAMILIES)
endif()
if(PROJECT_IS_TOP_LEVEL AND ORB_BUILD_TOOLS AND ORB_BUILD_PLUGINS AND NOT WIN32)
  include(cmake/debian/packages.cmake)
endif()
