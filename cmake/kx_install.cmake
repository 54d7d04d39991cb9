# What `cmake --install` puts where: libraries, headers, the tool, the sample installation, and what find_package and
# pkg-config need to find them. Included after all targets are there. The installed tree may be moved.

include(CMakePackageConfigHelpers)

get_property(kx_libraries GLOBAL PROPERTY kx_libraries)
set(kx_package_folder "${CMAKE_INSTALL_LIBDIR}/cmake/kxclientutil")

install(TARGETS ${kx_libraries} EXPORT kxclientutil_targets
  ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}"
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
  RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
install(EXPORT kxclientutil_targets
  NAMESPACE kxclientutil::
  FILE kxclientutil-targets.cmake
  DESTINATION "${kx_package_folder}")

configure_package_config_file(
  "${CMAKE_CURRENT_LIST_DIR}/kxclientutil-config.cmake.in"
  "${PROJECT_BINARY_DIR}/kxclientutil-config.cmake"
  INSTALL_DESTINATION "${kx_package_folder}"
  PATH_VARS CMAKE_INSTALL_DATADIR)
# Before 1.0 a change of the minor version may break users.
write_basic_package_version_file(
  "${PROJECT_BINARY_DIR}/kxclientutil-config-version.cmake"
  COMPATIBILITY SameMinorVersion)
install(FILES
  "${PROJECT_BINARY_DIR}/kxclientutil-config.cmake"
  "${PROJECT_BINARY_DIR}/kxclientutil-config-version.cmake"
  DESTINATION "${kx_package_folder}")

# pkg-config: all our libraries, since a user may call each. An archive brings what it needs itself along; a shared
# library knows that on its own.
set(kx_pc_libraries "")
set(kx_pc_flags "")
foreach(library IN LISTS kx_libraries)
  get_target_property(kind ${library} TYPE)
  if(NOT kind STREQUAL "INTERFACE_LIBRARY")
    string(PREPEND kx_pc_libraries " -l${library}")
    if(NOT BUILD_SHARED_LIBS)
      string(TOUPPER ${library} upper)
      string(APPEND kx_pc_flags " -D${upper}_STATIC_DEFINE")
    endif()
  endif()
endforeach()
if(BUILD_SHARED_LIBS)
  set(kx_pc_requires "Requires.private")
else()
  set(kx_pc_requires "Requires")
endif()
file(RELATIVE_PATH kx_pc_prefix "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
string(REGEX REPLACE "/$" "" kx_pc_prefix "${kx_pc_prefix}")
configure_file("${CMAKE_CURRENT_LIST_DIR}/kxclientutil.pc.in" "${PROJECT_BINARY_DIR}/kxclientutil.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/kxclientutil.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

# Never the key that unwraps credentials, should somebody have run the tools on the source tree.
install(DIRECTORY "${PROJECT_SOURCE_DIR}/share/installation"
  DESTINATION "${CMAKE_INSTALL_DATADIR}/kxclientutil"
  PATTERN "credentials.key" EXCLUDE)

if(TARGET kx)
  install(TARGETS kx kx-devnode RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
endif()
