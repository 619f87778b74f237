# Debian packages, one per component; ./dev package builds them.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_VENDOR fmcw_demod)
set(CPACK_PACKAGE_CONTACT "fmcw_demod maintainers <maintainers@fmcw-demod.example>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_COMPONENTS_ALL library development program)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ
                                                GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${PROJECT_BINARY_DIR}/fmcw_demod"
                                                "${PROJECT_BINARY_DIR}/platform/common_log")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(library_package "libfmcw-demod${PROJECT_VERSION_MAJOR}")
set(same_version "(= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME "${library_package}")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA "${PROJECT_SOURCE_DIR}/cmake/debian/triggers")
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION
    "Shared libraries: they hand a host the timing, slope, bandwidth, linearity,
deviations and power of every chirp in a capture of complex baseband samples.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libfmcw-demod-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${library_package} ${same_version}")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
    "What a host needs to build against libfmcw_demod: headers, CMake package and
pkg-config file.")
set(CPACK_DEBIAN_PROGRAM_PACKAGE_NAME fmcw)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_DEPENDS "${library_package} ${same_version}")
set(CPACK_COMPONENT_PROGRAM_DESCRIPTION
    "The command-line program: analyses SigMF and raw captures, writes tables, JSON
and CSV, and synthesises captures of known truth.")

# What Debian expects in /usr/share/doc of each package.
file(STRINGS cmake/debian/changelog first_line LIMIT_COUNT 1)
if(NOT first_line MATCHES "\\(${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}\\)")
  message(FATAL_ERROR "cmake/debian/changelog does not begin with version ${PROJECT_VERSION}")
endif()
execute_process(
  COMMAND gzip -9n -c "${PROJECT_SOURCE_DIR}/cmake/debian/changelog"
  OUTPUT_FILE "${PROJECT_BINARY_DIR}/changelog.Debian.gz" COMMAND_ERROR_IS_FATAL ANY)
foreach(component library development program)
  string(TOUPPER ${component} upper)
  install(
    FILES cmake/debian/copyright "${PROJECT_BINARY_DIR}/changelog.Debian.gz"
    DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME}"
    COMPONENT ${component})
endforeach()

include(CPack)
