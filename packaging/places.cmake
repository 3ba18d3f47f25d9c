# Where everything lies. The build stages a whole home, so that it runs without being installed; installed, the same home
# lies beside the libraries' folder, and the library finds it from where it lies itself.
set(VEXA_STAGE ${PROJECT_BINARY_DIR}/home)
set(VEXA_PUBLIC_HEADERS ${PROJECT_BINARY_DIR}/include/vexaxd)
if(VEXA_INSTALL)
  include(GNUInstallDirs)
  set(VEXA_INSTALL_HOME ${CMAKE_INSTALL_LIBEXECDIR}/vexaxd)
  set(VEXA_INSTALL_INCLUDE ${CMAKE_INSTALL_INCLUDEDIR}/vexaxd)
  set(VEXA_INSTALL_SHARE ${CMAKE_INSTALL_DATADIR}/vexaxd)
  set(VEXA_INSTALL_DOC ${CMAKE_INSTALL_DATAROOTDIR}/doc/vexaxd)
  file(RELATIVE_PATH VEXA_HOME_FROM_LIBRARY ${CMAKE_INSTALL_FULL_LIBDIR} ${CMAKE_INSTALL_FULL_LIBEXECDIR}/vexaxd)
  file(RELATIVE_PATH VEXA_LIBRARY_FROM_HOME ${CMAKE_INSTALL_FULL_LIBEXECDIR}/vexaxd/lib ${CMAKE_INSTALL_FULL_LIBDIR})
endif()

# Nothing is installed where something could not be: looked at ahead of the first file.
if(VEXA_INSTALL)
  install(CODE "
    foreach(place ${CMAKE_INSTALL_LIBDIR} ${CMAKE_INSTALL_INCLUDEDIR} ${CMAKE_INSTALL_LIBEXECDIR} ${CMAKE_INSTALL_DATADIR})
      cmake_path(ABSOLUTE_PATH place BASE_DIRECTORY \"\${CMAKE_INSTALL_PREFIX}\")
      set(place \"\$ENV{DESTDIR}\${place}\")
      while(NOT EXISTS \"\${place}\")
        cmake_path(GET place PARENT_PATH place)
      endwhile()
      execute_process(COMMAND test -d \"\${place}\" -a -w \"\${place}\" RESULT_VARIABLE refused)
      if(refused)
        message(FATAL_ERROR \"\${place} cannot be written to: nothing has been installed\")
      endif()
    endforeach()" ALL_COMPONENTS)
endif()

# Installs programs and libraries into a folder of the home.
function(vexa_install_targets component folder)
  if(VEXA_INSTALL)
    install(TARGETS ${ARGN}
      RUNTIME DESTINATION ${VEXA_INSTALL_HOME}/${folder} COMPONENT ${component}
      LIBRARY DESTINATION ${VEXA_INSTALL_HOME}/${folder} COMPONENT ${component})
  endif()
endfunction()

# Installs files of the staged home, named from its top, where they stand in it.
function(vexa_install_staged component)
  if(VEXA_INSTALL)
    foreach(path ${ARGN})
      cmake_path(GET path PARENT_PATH folder)
      install(FILES ${VEXA_STAGE}/${path} DESTINATION ${VEXA_INSTALL_HOME}/${folder} COMPONENT ${component})
    endforeach()
  endif()
endfunction()
