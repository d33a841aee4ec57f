# What Debian wants in each package beside what is installed: licence and changes, the pages compressed. CPack calls
# this between installing the components and packing them.
set(documents ${CPACK_TEMPORARY_DIRECTORY}/documents)

function(run)
  execute_process(COMMAND ${ARGN} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

# The date of the changes, not of the packing.
set(date "$ENV{SOURCE_DATE_EPOCH}")
if(NOT date)
  file(TIMESTAMP ${CPACK_ORB_SOURCE_DIR}/CHANGELOG.md date "%s" UTC)
endif()
execute_process(COMMAND date --utc --rfc-email --date=@${date} OUTPUT_VARIABLE date OUTPUT_STRIP_TRAILING_WHITESPACE
                COMMAND_ERROR_IS_FATAL ANY)

file(REMOVE_RECURSE ${documents})
file(MAKE_DIRECTORY ${documents})
file(COPY_FILE ${CPACK_ORB_SOURCE_DIR}/LICENSE ${documents}/copyright)
file(WRITE ${documents}/changelog.Debian
     "orbbase (${CPACK_ORB_VERSION}) unstable; urgency=medium

  * See changelog.gz for what changed in ORBbase.

 -- ${CPACK_ORB_MAINTAINER}  ${date}
")
file(COPY_FILE ${CPACK_ORB_SOURCE_DIR}/CHANGELOG.md ${documents}/changelog)
run(gzip -9n ${documents}/changelog.Debian ${documents}/changelog)
run(chmod 644 ${documents}/copyright ${documents}/changelog.gz ${documents}/changelog.Debian.gz)

foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} upper)
  set(tree ${CPACK_TEMPORARY_DIRECTORY}/${component}/usr)
  set(folder ${tree}/share/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
  file(MAKE_DIRECTORY ${folder})
  file(COPY ${documents}/copyright ${documents}/changelog.gz ${documents}/changelog.Debian.gz DESTINATION ${folder})
  set(override ${CMAKE_CURRENT_LIST_DIR}/overrides/${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
  if(EXISTS ${override})
    file(COPY ${override} DESTINATION ${tree}/share/lintian/overrides)
  endif()
  file(GLOB pages ${tree}/${CPACK_ORB_MANDIR}/man*/*.[1-9])
  if(pages)
    run(gzip -9n ${pages})
  endif()
endforeach()
