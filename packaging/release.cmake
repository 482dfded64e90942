# The version is that of the `project` command. The newest entries of both changelogs have to name the same one.
# Result: HOSTMEM_RELEASE_DATE, the date of the newest entry of CHANGELOG.md, YYYY-MM-DD.
set(release_notes ${CMAKE_SOURCE_DIR}/CHANGELOG.md)
set(package_notes ${CMAKE_SOURCE_DIR}/debian/changelog)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${release_notes} ${package_notes})

file(STRINGS ${release_notes} newest_release REGEX "^## " LIMIT_COUNT 1)
if(NOT newest_release MATCHES "^## ([0-9.]+) \\(([0-9]+-[0-9][0-9]-[0-9][0-9])\\)$")
   message(FATAL_ERROR "CHANGELOG.md: its first entry is not \"## VERSION (YYYY-MM-DD)\"")
endif()
set(HOSTMEM_RELEASE_DATE ${CMAKE_MATCH_2})
if(NOT CMAKE_MATCH_1 STREQUAL PROJECT_VERSION)
   message(FATAL_ERROR "CHANGELOG.md is of version ${CMAKE_MATCH_1}, the project of ${PROJECT_VERSION}")
endif()

# A packager elsewhere may have left Debian's folder out, and a distribution has revisions of its own.
if(EXISTS ${package_notes})
   file(STRINGS ${package_notes} newest_package LIMIT_COUNT 1)
   if(NOT newest_package MATCHES "^hostmem \\((.*)-[^-]+\\) ")
      message(FATAL_ERROR "debian/changelog: no version with a revision in its first line")
   endif()
   if(NOT CMAKE_MATCH_1 STREQUAL PROJECT_VERSION)
      message(FATAL_ERROR "debian/changelog is of version ${CMAKE_MATCH_1}, the project of ${PROJECT_VERSION}")
   endif()
endif()
