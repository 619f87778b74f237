# What a consumer sees of an installed prefix: a CMake package and a pkg-config file.
include(CMakePackageConfigHelpers)

set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/fmcw_demod")
configure_package_config_file(cmake/fmcw_demodConfig.cmake.in fmcw_demodConfig.cmake
                              INSTALL_DESTINATION "${package_dir}")
write_basic_package_version_file(fmcw_demodConfigVersion.cmake COMPATIBILITY SameMajorVersion)
# The pkg-config file finds its prefix from where it lies, so that a prefix may be moved.
file(RELATIVE_PATH pc_to_prefix "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
configure_file(cmake/fmcw_demod.pc.in fmcw_demod.pc @ONLY)

install(
  TARGETS fmcw_demod common_log
  EXPORT fmcw_demodTargets
  LIBRARY COMPONENT library NAMELINK_COMPONENT development
  FILE_SET HEADERS COMPONENT development
  FILE_SET platform_headers COMPONENT development)
install(
  EXPORT fmcw_demodTargets
  NAMESPACE fmcw_demod::
  DESTINATION "${package_dir}"
  COMPONENT development)
install(
  FILES "${CMAKE_CURRENT_BINARY_DIR}/fmcw_demodConfig.cmake"
        "${CMAKE_CURRENT_BINARY_DIR}/fmcw_demodConfigVersion.cmake"
  DESTINATION "${package_dir}"
  COMPONENT development)
install(
  FILES "${CMAKE_CURRENT_BINARY_DIR}/fmcw_demod.pc"
  DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig"
  COMPONENT development)
