# Debian's packages, by CPack: a package for each component, split as Debian splits.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vexaxd)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(VEXA_CONTACT "The maintainers of libvexaxd_p <maintainers@localhost.localdomain>" CACHE STRING
  "Whom packages name as their maintainer")
set(CPACK_PACKAGE_CONTACT ${VEXA_CONTACT})
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${VEXA_STAGE}/lib)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

# debian_package(COMPONENT NAME SECTION ARCHITECTURE "what it is" "what for" [DEPENDS ...])
set(exact "(= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")
macro(debian_package component name section architecture summary description)
  string(TOUPPER ${component} upper)
  list(APPEND CPACK_COMPONENTS_ALL ${component})
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${name})
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section})
  if(NOT ${architecture} STREQUAL any)
    set(CPACK_DEBIAN_${upper}_PACKAGE_ARCHITECTURE ${architecture})
  endif()
  set(CPACK_DEBIAN_${upper}_DESCRIPTION "${summary}\n${description}")
  set(depends ${ARGN})
  list(JOIN depends ", " depends)
  set(CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS "${depends}")
  install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${name} COMPONENT ${component}
    RENAME copyright)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/changelog.Debian.gz DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${name}
    COMPONENT ${component})
endmacro()

# One entry: what changed stands in CHANGELOG.md.
string(TIMESTAMP stamp "%a, %d %b %Y %H:%M:%S +0000" UTC)
file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/changelog.Debian
"vexaxd (${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}) unstable; urgency=medium

  * Release ${PROJECT_VERSION}; CHANGELOG.md in libvexaxd-dev tells what changed.

 -- ${CPACK_PACKAGE_CONTACT}  ${stamp}
")
execute_process(COMMAND gzip -9nf ${CMAKE_CURRENT_BINARY_DIR}/changelog.Debian COMMAND_ERROR_IS_FATAL ANY)

debian_package(Library libvexaxd0 libs any
  "bridge between a statistics backend and language runtimes"
  "A program loads this library and drives a statistics backend through flat C
functions: it submits commands, reads the dictionary, walks and writes cases,
and emits tables. The backend drives languages in turn.")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_LIST_DIR}/debian/triggers)
debian_package(Development libvexaxd-dev libdevel any
  "headers of the bridge between a statistics backend and languages"
  "Headers of the C interface and of the classes for backends and hosts of
languages, the description of the interface that bindings are made from, and
what pkg-config and CMake find them by."
  "libvexaxd0 ${exact}")
debian_package(Engine vexaxd-engine math any
  "practice backend for programs that use libvexaxd_p"
  "A small statistics backend that serves datasets from CSV files and runs blocks
of R, Python, Java and Lua, and the command vexa, for people. Bindings and
programs are developed and tested with it."
  "libvexaxd0 ${exact}")
set(CPACK_DEBIAN_ENGINE_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_LIST_DIR}/debian/engine/prerm)
set(CPACK_DEBIAN_ENGINE_PACKAGE_RECOMMENDS "libpython3.11")
set(CPACK_DEBIAN_ENGINE_PACKAGE_SUGGESTS "xterm, python3-vexaxd, r-cran-vexaxd, libvexaxd-java, lua-vexaxd")
if(TARGET vexasql)
  debian_package(PostgreSQL vexaxd-postgresql math any
    "PostgreSQL database behind programs that use libvexaxd_p"
    "A backend whose language is SQL: queries and tables of a PostgreSQL server are
the datasets that R, Python, Java and Lua work on."
    "vexaxd-engine ${exact}")
endif()
debian_package(Python python3-vexaxd python all
  "statistics backend driven from Python"
  "Every function of the client interface of libvexaxd_p as a Python module,
with data frames from and to the backend."
  "vexaxd-engine" "python3")
set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA
  ${CMAKE_CURRENT_LIST_DIR}/debian/python/postinst ${CMAKE_CURRENT_LIST_DIR}/debian/python/prerm)
if(TARGET vexastatistics)
  debian_package(R r-cran-vexaxd gnu-r any
    "statistics backend driven from R"
    "Every function of the client interface of libvexaxd_p as a package of R,
with data frames from and to the backend."
    "libvexaxd0 ${exact}" "r-base-core" "r-api-4.0")
  set(CPACK_DEBIAN_R_PACKAGE_RECOMMENDS "vexaxd-engine")
endif()
if(VEXA_JAVA)
  debian_package(Java libvexaxd-java java any
    "statistics backend driven from Java"
    "Extensions in Java that the backend runs, and every function of the client
interface for programs in Java."
    "vexaxd-engine ${exact}" "default-jre-headless (>= 2:1.17)")
endif()
if(TARGET vexaxd_lua)
  debian_package(Lua lua-vexaxd interpreters any
    "statistics backend driven from Lua"
    "Every function of the client interface of libvexaxd_p as a module for Lua 5.4."
    "vexaxd-engine ${exact}" "lua5.4")
  install(CODE "file(MAKE_DIRECTORY \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/lua/5.4\")
    file(CREATE_LINK ../../../../libexec/vexaxd/lib/lua/vexaxd.so
      \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/lua/5.4/vexaxd.so\" SYMBOLIC)" COMPONENT Lua)
endif()
if(TARGET vexanode)
  debian_package(Node node-vexaxd javascript all
    "statistics backend driven from Node"
    "Every function of the client interface of libvexaxd_p for Node, over koffi,
which npm has."
    "vexaxd-engine" "nodejs")
endif()

# Blocks import the modules from the home, programs from where Python looks.
install(CODE "
  set(modules \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/lib/python3/dist-packages\")
  file(MAKE_DIRECTORY \"\${modules}\")
  foreach(file vexaxd.py vexaxd.pyi vexaxd_columns.py)
    file(CREATE_LINK ../../../libexec/vexaxd/lib/python/\${file} \"\${modules}/\${file}\" SYMBOLIC)
  endforeach()" COMPONENT Python)
install(CODE "
  set(bin \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}\")
  file(MAKE_DIRECTORY \"\${bin}\")
  file(CREATE_LINK ../libexec/vexaxd/bin/vexa \"\${bin}/vexa\" SYMBOLIC)" COMPONENT Engine)
# As Debian wants them.
install(CODE "
  file(GLOB_RECURSE pages \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_MANDIR}/vexa*.[1-9]\")
  if(pages)
    execute_process(COMMAND gzip -9nf \${pages} COMMAND_ERROR_IS_FATAL ANY)
  endif()" ALL_COMPONENTS)
include(CPack)
