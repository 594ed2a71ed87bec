# The version, "major.minor.revision": what -DQUORVIA_VERSION=... says, else the last tag "v1.2.3" before this
# commit, else (in a tree without git) the one before the commit that `git archive` took, else 1.0.0.
# Looked up when CMake configures; a new commit alone changes nothing, so it builds nothing anew.
set(QUORVIA_VERSION "" CACHE STRING "Version of the build (empty: from git's tags)")
set(version "${QUORVIA_VERSION}")
set(archived "$Format:%(describe:tags,match=v*.*.*,exclude=*-*)$")

if(NOT version AND EXISTS ${CMAKE_CURRENT_SOURCE_DIR}/.git)
  execute_process(COMMAND git describe --tags --match v*.*.* --exclude *-*
    WORKING_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR} OUTPUT_VARIABLE archived ERROR_QUIET)
endif()
if(NOT version AND archived MATCHES "^v([0-9]+\\.[0-9]+\\.[0-9]+)(-|\n|$)")
  set(version ${CMAKE_MATCH_1})
endif()
if(NOT version)
  set(version 1.0.0)
elseif(NOT version MATCHES "^[0-9]+\\.[0-9]+\\.[0-9]+$")
  message(FATAL_ERROR "QUORVIA_VERSION is three numbers with dots between them, not \"${version}\"")
endif()
