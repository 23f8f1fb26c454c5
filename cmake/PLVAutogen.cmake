# With Ninja, a target's moc step only re-runs when a file it already knows
# changes, so a source file newly picked up by a glob would never be moc'ed.
# When the globbed list differs from the last configure, drop the moc step's
# timestamp so that it runs again.
function(plv_autogen_follows_sources target)
  set(list_file ${CMAKE_CURRENT_BINARY_DIR}/${target}_sources.txt)
  string(REPLACE ";" "\n" content "${ARGN}")
  set(previous "")
  if(EXISTS ${list_file})
    file(READ ${list_file} previous)
  endif()
  if(NOT previous STREQUAL "${content}")
    file(WRITE ${list_file} "${content}")
    file(REMOVE ${CMAKE_CURRENT_BINARY_DIR}/${target}_autogen/timestamp)
  endif()
endfunction()
