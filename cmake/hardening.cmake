# What is shipped defends itself: the library, the tool, the plug-ins and the archive that applications link. Only
# where it is optimized, which the checked calls need, and where no sanitizer looks in its own way.
include(CheckCXXCompilerFlag)
include(CheckPIESupported)

add_library(orb_shipped INTERFACE)
target_link_libraries(orb_shipped INTERFACE orb_warnings)
set(ORB_HARDENED OFF)
if(CMAKE_BUILD_TYPE MATCHES "^(Release|RelWithDebInfo|MinSizeRel)$" AND NOT WIN32
   AND NOT "${CMAKE_C_FLAGS} ${CMAKE_CXX_FLAGS}" MATCHES "-fsanitize")
  set(ORB_HARDENED ON)
  check_pie_supported()
  target_compile_options(orb_shipped INTERFACE -fstack-protector-strong -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3)
  target_link_options(orb_shipped INTERFACE LINKER:-z,relro,-z,now,-z,noexecstack)
  # Not on every processor.
  foreach(flag -fstack-clash-protection -fcf-protection)
    string(MAKE_C_IDENTIFIER ORB_HAS${flag} known)
    check_cxx_compiler_flag(${flag} ${known})
    if(${known})
      target_compile_options(orb_shipped INTERFACE ${flag})
    endif()
  endforeach()
endif()
