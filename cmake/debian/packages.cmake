# Debian packages by CPack: the library, what developers need, the tool, and one for each folder of plug-ins.
# scripts/package builds them.
set(ORB_PACKAGE_MAINTAINER "ORBbase developers <developers@orbbase.invalid>" CACHE STRING
    "Who answers for the Debian packages: a name and an address, for packages that are given away")
set(release 1)
set(version ${PROJECT_VERSION}-${release})

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME orbbase)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT ${ORB_PACKAGE_MAINTAINER})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE ${release})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${ORB_BUILD_LIBDIR})
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has its own
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/documents.cmake)
# For the script: CPack hands on what begins with its name.
set(CPACK_ORB_SOURCE_DIR ${PROJECT_SOURCE_DIR})
set(CPACK_ORB_VERSION ${version})
set(CPACK_ORB_MAINTAINER ${ORB_PACKAGE_MAINTAINER})
set(CPACK_ORB_MANDIR ${CMAKE_INSTALL_MANDIR})

# package(COMPONENT NAME SECTION SUMMARY TEXT)
macro(package component name section summary text)
  string(TOUPPER ${component} upper)
  list(APPEND CPACK_COMPONENTS_ALL ${component})
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${name})
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section})
  set(CPACK_DEBIAN_${upper}_DESCRIPTION "${summary}\n${text}")
endmacro()

package(runtime liborbbase3 libs "reads and writes raster image files of many formats"
        "A library with one interface for all formats: scanline by scanline, in bounded\nmemory, with all that describes a picture. Formats are plug-ins.")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SUGGESTS orbbase-tools)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_LIST_DIR}/triggers)

package(development liborbbase-dev libdevel "development files of ORBbase"
        "Headers, the CMake and pkg-config descriptions, and the static library that\nfinds and loads plug-ins for an application.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "liborbbase3 (= ${version})")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)

set(families ${ORB_PLUGIN_FAMILIES})
list(TRANSFORM families PREPEND orbbase-plugin-)
list(JOIN families ", " plugins)
package(tools orbbase-tools graphics "converts, compares and shows raster image files"
        "The command-line tool orb: pictures and sequences of frames, checked for what\na conversion would lose, never written by halves.")
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "liborbbase3 (>= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_TOOLS_PACKAGE_RECOMMENDS ${plugins})

foreach(family IN LISTS ORB_PLUGIN_FAMILIES)
  string(TOUPPER ${family} format)
  package(plugin-${family} orbbase-plugin-${family} graphics "${format} files for ORBbase"
          "The plug-in with which programs that use ORBbase, and its tool orb, read and\nwrite ${format} files.")
  set(CPACK_DEBIAN_PLUGIN-${format}_PACKAGE_DEPENDS "liborbbase3 (>= ${PROJECT_VERSION})")
endforeach()

include(CPack)
