# What an installed tree needs besides the library: the files by which CMake and pkg-config find it. Both name no path
# but relative to themselves, so that the tree can be moved, or be the root of another machine.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/VekBf)

install(
  TARGETS vekbf vekbf_static vekbf_direction vekbf_direction_static vekbf_stream vekbf_stream_static
  EXPORT VekBfTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  PUBLIC_HEADER DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(
  EXPORT VekBfTargets
  NAMESPACE VekBf::
  DESTINATION ${package_dir})

configure_package_config_file(
  ${CMAKE_CURRENT_LIST_DIR}/VekBfConfig.cmake.in ${PROJECT_BINARY_DIR}/package/VekBfConfig.cmake
  INSTALL_DESTINATION ${package_dir}
  NO_SET_AND_CHECK_MACRO)
# The interface changes with the first number only, like the SONAME.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/package/VekBfConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/package/VekBfConfig.cmake
              ${PROJECT_BINARY_DIR}/package/VekBfConfigVersion.cmake
        DESTINATION ${package_dir})

# Arrays that `array = NAME` finds.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/arrays/ DESTINATION ${CMAKE_INSTALL_DATADIR}/vekbf/arrays
        FILES_MATCHING PATTERN *.conf)

# An absolute folder stays what it was set to; any other is given from the place of the file itself.
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  set(pc_prefix ${CMAKE_INSTALL_PREFIX})
  set(pc_libdir ${CMAKE_INSTALL_LIBDIR})
else()
  file(RELATIVE_PATH up /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
  string(REGEX REPLACE "/$" "" up ${up})
  set(pc_prefix \${pcfiledir}/${up})
  set(pc_libdir \${prefix}/${CMAKE_INSTALL_LIBDIR})
endif()
if(IS_ABSOLUTE "${CMAKE_INSTALL_INCLUDEDIR}")
  set(pc_includedir ${CMAKE_INSTALL_INCLUDEDIR})
else()
  set(pc_includedir \${prefix}/${CMAKE_INSTALL_INCLUDEDIR})
endif()
function(vekbf_pkg_config pc_name pc_description)
  configure_file(${CMAKE_CURRENT_LIST_DIR}/vekbf.pc.in ${PROJECT_BINARY_DIR}/package/${pc_name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/package/${pc_name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endfunction()
vekbf_pkg_config(vekbf "${PROJECT_DESCRIPTION}")
vekbf_pkg_config(vekbf-direction "${PROJECT_DESCRIPTION}: the direction of the talker")
vekbf_pkg_config(vekbf-stream "${PROJECT_DESCRIPTION}: streams of any chunk length")
