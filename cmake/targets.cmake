# The house's own building blocks: warnings for every target, rooms of the library, tests.

# Every target of ours builds with these.
add_library(orb_warnings INTERFACE)
# -Wrestrict is off for gcc: gcc 12 finds it at -O2 and above in the standard library's own string operator+.
target_compile_options(orb_warnings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wno-sign-conversion
                       $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Wold-style-cast>
                       $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>
                       $<$<BOOL:${ORB_WERROR}>:-Werror>)

# orb_room(FILE...): the sources of one room of the library, relative to its folder.
function(orb_room)
  foreach(file IN LISTS ARGN)
    set_property(GLOBAL APPEND PROPERTY ORB_LIBRARY_SOURCES ${CMAKE_CURRENT_SOURCE_DIR}/${file})
  endforeach()
endfunction()

# orb_precompile(TARGET [MODEL]): with ORB_PRECOMPILE, what the library and its plug-ins use of the standard library is
# parsed once for a target, or for the model whose options it shares.
function(orb_precompile target)
  if(ORB_PRECOMPILE AND ARGC GREATER 1)
    target_precompile_headers(${target} REUSE_FROM ${ARGV1})
  elseif(ORB_PRECOMPILE)
    target_precompile_headers(${target} PRIVATE <algorithm> <atomic> <charconv> <cmath> <cstdio> <cstdlib> <cstring>
                              <memory> <mutex> <new> <span> <string_view> <type_traits> <utility>)
  endif()
endfunction()

# orb_kernels(FILE...): loops over samples, of a room of the library or of the target of this folder. Fuzzing does not
# trace their comparisons, which lead nowhere and would take most of its time.
function(orb_kernels)
  if(ORB_BUILD_FUZZ)
    set_property(SOURCE ${ARGN} DIRECTORY ${PROJECT_SOURCE_DIR}/orbbase ${CMAKE_CURRENT_SOURCE_DIR}
                 APPEND PROPERTY COMPILE_OPTIONS -fno-sanitize-coverage=trace-cmp)
    set_property(SOURCE ${ARGN} DIRECTORY ${PROJECT_SOURCE_DIR}/orbbase ${CMAKE_CURRENT_SOURCE_DIR}
                 PROPERTY SKIP_PRECOMPILE_HEADERS ON)
  endif()
endfunction()

# The build tree has the shape of the installed one, so that the tool finds its plug-ins in both.
set(ORB_BUILD_LIBDIR ${CMAKE_BINARY_DIR}/${CMAKE_INSTALL_LIBDIR})
set(ORB_BUILD_BINDIR ${CMAKE_BINARY_DIR}/${CMAKE_INSTALL_BINDIR})

# orb_plugin(NAME SOURCES...): a loadable format module. Those of one folder are installed and packaged together.
function(orb_plugin name)
  add_library(plugin_${name} MODULE ${ARGN})
  set_property(GLOBAL APPEND PROPERTY ORB_PLUGINS plugin_${name})
  set_target_properties(plugin_${name} PROPERTIES OUTPUT_NAME ${name} PREFIX ""
                        LIBRARY_OUTPUT_DIRECTORY ${ORB_BUILD_LIBDIR}/orbbase/plugins-3.2)
  target_link_libraries(plugin_${name} PRIVATE ORBbase::orbbase orb_shipped)
  if(NOT WIN32)
    # Only what the library looks up leaves the module; templates of the standard library stay inside.
    target_link_options(plugin_${name} PRIVATE LINKER:--version-script=${PROJECT_SOURCE_DIR}/cmake/plugin.map)
    set_target_properties(plugin_${name} PROPERTIES LINK_DEPENDS ${PROJECT_SOURCE_DIR}/cmake/plugin.map)
  endif()
  get_filename_component(family ${CMAKE_CURRENT_SOURCE_DIR} NAME)
  set_property(GLOBAL APPEND PROPERTY ORB_PLUGIN_FAMILIES ${family})
  install(TARGETS plugin_${name} LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/orbbase/plugins-3.2
          COMPONENT plugin-${family})
endfunction()

# The test programs with tests of threads, which are named so: what the thread sanitizer looks at.
add_custom_target(thread_tests)
# The test programs of the library's rooms, labelled so: what the coverage build runs.
add_custom_target(library_tests)

# What is tested is optimized; the tests themselves would only take longer to build.
function(orb_test_rules target)
  target_compile_options(${target} PRIVATE $<$<CONFIG:Release,None>:-O0>)
  target_link_libraries(${target} PRIVATE orb_warnings)
endfunction()

# What every test program has in common, with the library or without.
function(orb_test_program target)
  orb_test_rules(${target})
  set_target_properties(${target} PROPERTIES UNITY_BUILD ${ORB_UNITY} UNITY_BUILD_BATCH_SIZE 0)
  target_link_libraries(${target} PRIVATE orb_test_main)
  if(ORB_PRECOMPILE)
    target_precompile_headers(${target} REUSE_FROM orb_test_main)
  endif()
endfunction()

# orb_test(NAME SOURCES...): a GoogleTest program against the library with everything visible; every TEST is
# a ctest of its own, a process of its own, in a folder of its own.
function(orb_test name)
  add_executable(${name} ${ARGN})
  orb_test_program(${name})
  # Found by gcc 12 in the standard library's own vectors.
  target_compile_options(${name} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wno-stringop-overflow;-Wno-stringop-overread>)
  target_link_libraries(${name} PRIVATE orbbase_testing orb_test_support)
  foreach(source IN LISTS ARGN)
    if(source MATCHES "_test\\.cpp$")
      file(STRINGS ${source} thread_tests REGEX "^TEST.*[Tt]hread" ENCODING UTF-8)
      if(thread_tests)
        add_dependencies(thread_tests ${name})
      endif()
    endif()
  endforeach()
  set(label surroundings)
  if(NOT CMAKE_CURRENT_SOURCE_DIR MATCHES "/tests/(plugins|tools|docs)")
    set(label library)
    add_dependencies(library_tests ${name})
  endif()
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST WORKING_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}
                       PROPERTIES TIMEOUT 120 LABELS ${label})
endfunction()
