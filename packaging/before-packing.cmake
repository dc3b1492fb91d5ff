# Run by CPack once everything is installed into the folder that becomes the package.

# Of the loadable modules, too. CPack's own way to the same list has the system look through the
# folder of the modules for libraries, after every installation and for nothing.
file(GLOB binaries "${CPACK_TEMPORARY_DIRECTORY}/usr/bin/*"
  "${CPACK_TEMPORARY_DIRECTORY}/usr/lib/softtoken/*")
set(work "${CPACK_TOPLEVEL_DIRECTORY}/dependencies")
file(WRITE "${work}/debian/control" "")
# What dpkg-shlibdeps knows a package's folder by.
file(MAKE_DIRECTORY "${CPACK_TEMPORARY_DIRECTORY}/DEBIAN")
execute_process(COMMAND dpkg-shlibdeps -O ${binaries}
  WORKING_DIRECTORY "${work}" OUTPUT_VARIABLE dependencies COMMAND_ERROR_IS_FATAL ANY)
file(REMOVE_RECURSE "${CPACK_TEMPORARY_DIRECTORY}/DEBIAN")
if(NOT dependencies MATCHES "^shlibs:Depends=([^\n]+)")
  message(FATAL_ERROR "dpkg-shlibdeps found no dependencies: ${dependencies}")
endif()
set(CPACK_DEBIAN_PACKAGE_DEPENDS "${CMAKE_MATCH_1}")

# The package does not depend on when it was built.
if(DEFINED ENV{SOURCE_DATE_EPOCH})
  execute_process(
    COMMAND find "${CPACK_TEMPORARY_DIRECTORY}" -exec
      touch --no-dereference "--date=@$ENV{SOURCE_DATE_EPOCH}" {} +
    COMMAND_ERROR_IS_FATAL ANY)
endif()
