# The names of the actions, for the engine's log, are those of the interface. Gives the target a file with them.
function(action_names target)
  file(STRINGS ${PROJECT_SOURCE_DIR}/backend/drivex/common/include/CleXDSmb.h actions REGEX "^    [A-Z][A-Za-z0-9]* = [0-9]+,")
  list(TRANSFORM actions REPLACE "^ *([A-Za-z0-9]+) = ([0-9]+),.*" "{\\2, \"\\1\"},\n")
  list(JOIN actions "" actions)
  file(CONFIGURE OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/action_names.inc CONTENT "@actions@" @ONLY)
  target_include_directories(${target} PRIVATE ${CMAKE_CURRENT_BINARY_DIR})
endfunction()
