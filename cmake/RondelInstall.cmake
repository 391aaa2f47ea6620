# SPDX-License-Identifier: MIT
# Libraries, headers, the CMake package, pkg-config files and the gdb printers.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/Rondel)

foreach(kind Shared Static)
  string(TOLOWER rondel_${kind} target)
  string(TOUPPER RONDEL_${kind}_LIB wanted)
  if(${wanted})
    install(TARGETS ${target} EXPORT Rondel${kind}Targets
            LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
            INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
    install(EXPORT Rondel${kind}Targets NAMESPACE Rondel:: DESTINATION ${package_dir})
  endif()
endforeach()

file(GLOB_RECURSE headers RELATIVE ${PROJECT_SOURCE_DIR} CONFIGURE_DEPENDS Rondel/*.h)
list(FILTER headers EXCLUDE REGEX "^Rondel/testing/")
foreach(header IN LISTS headers)
  cmake_path(GET header PARENT_PATH folder)
  install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${folder})
endforeach()

configure_package_config_file(cmake/RondelConfig.cmake.in RondelConfig.cmake INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(RondelConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/RondelConfig.cmake ${PROJECT_BINARY_DIR}/RondelConfigVersion.cmake
              cmake/RondelDependencies.cmake DESTINATION ${package_dir})

# rondel.pc serves the shared library, rondel-static.pc names the archive and all it needs. Both find the prefix from where
# they lie, since it may be chosen as late as by cmake --install --prefix; only folders that were set apart stay absolute.
set(pkgconfig_prefix ${CMAKE_INSTALL_PREFIX})
if(NOT IS_ABSOLUTE ${CMAKE_INSTALL_LIBDIR})
  file(RELATIVE_PATH to_prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
  string(REGEX REPLACE "/$" "" to_prefix ${to_prefix})
  set(pkgconfig_prefix "\${pcfiledir}/${to_prefix}")
endif()
foreach(dir libdir includedir)
  string(TOUPPER CMAKE_INSTALL_${dir} variable)
  if(IS_ABSOLUTE ${${variable}})
    set(pkgconfig_${dir} ${${variable}})
  else()
    set(pkgconfig_${dir} "\${prefix}/${${variable}}")
  endif()
endforeach()
if(RONDEL_SHARED_LIB)
  configure_file(cmake/rondel.pc.in rondel.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/rondel.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endif()
if(RONDEL_STATIC_LIB)
  configure_file(cmake/rondel-static.pc.in rondel-static.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/rondel-static.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endif()

# gdb loads a script by itself when it is named after the library that it finds. The prefix is the one at the install.
set(printers ${PROJECT_SOURCE_DIR}/tools/gdb/rondel_printers.py)
set(library_dir ${CMAKE_INSTALL_LIBDIR})
if(NOT IS_ABSOLUTE ${library_dir})
  set(library_dir "\${CMAKE_INSTALL_PREFIX}/${library_dir}")
endif()
if(EXISTS ${printers} AND RONDEL_SHARED_LIB)
  install(FILES ${printers} RENAME librondel.so.${PROJECT_VERSION}-gdb.py
          DESTINATION ${CMAKE_INSTALL_DATADIR}/gdb/auto-load${library_dir})
endif()
