# What a build leaves out is told once more at the end, with what would bring it in.
function(vexa_left_out what why)
  set_property(GLOBAL APPEND PROPERTY VEXA_LEFT_OUT "${what}: ${why}")
endfunction()

function(vexa_say_what_is_left_out)
  get_property(left_out GLOBAL PROPERTY VEXA_LEFT_OUT)
  foreach(line ${left_out})
    message(STATUS "vexaxd leaves out ${line}")
  endforeach()
endfunction()

# Ends the configuration where what was asked for cannot be built, with the package that Debian has it in.
function(vexa_needs what found package option)
  if(NOT ${found})
    message(FATAL_ERROR "${what} is missing, which Debian has in ${package}. -D${option}=OFF builds without.")
  endif()
endfunction()
