# every_function(TARGET): gives the target the header every_function.inc, which names each function of the public header
# once, as EVERY_FUNCTION(name).
function(every_function target)
  set(header ${PROJECT_SOURCE_DIR}/backend/drivex/vexaxd_p/vexaxd_p.h)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${header})
  file(READ ${header} text)
  string(REGEX MATCHALL "VEXA_API [^;(]*\\(" declarations "${text}")
  list(TRANSFORM declarations REPLACE "^.*[ *]([A-Za-z0-9]+)\\($" "EVERY_FUNCTION(\\1)")
  list(JOIN declarations "\n" lines)
  file(CONFIGURE OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/every_function/every_function.inc CONTENT "${lines}\n" @ONLY)
  target_include_directories(${target} PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/every_function)
endfunction()
