# The Debian package, made by `cpack -G DEB` in the build directory: vmnap_<version>_<arch>.deb.
set(doc_dir ${CMAKE_CURRENT_BINARY_DIR}/doc)
file(MAKE_DIRECTORY ${doc_dir})
configure_file(${CMAKE_CURRENT_LIST_DIR}/copyright ${doc_dir}/copyright COPYONLY)
configure_file(${CMAKE_CURRENT_LIST_DIR}/changelog ${doc_dir}/changelog COPYONLY)
add_custom_command(
  OUTPUT ${doc_dir}/changelog.gz
  COMMAND gzip -9n -f -k changelog
  DEPENDS ${doc_dir}/changelog
  WORKING_DIRECTORY ${doc_dir}
  VERBATIM)
add_custom_target(vmnap-changelog ALL DEPENDS ${doc_dir}/changelog.gz)
install(FILES ${doc_dir}/copyright ${doc_dir}/changelog.gz DESTINATION ${VMNAP_DOC_DIR})

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vmnap)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "${VMNAP_MAINTAINER}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "suspend the VMs of a VMware ESXi host for maintenance")
# The long description as its lines are to be shown (at most 80 columns each).
string(JOIN "\n" CPACK_PACKAGE_DESCRIPTION
  "vmnap takes the virtual machines of one VMware ESXi host out of service"
  "before maintenance and brings them back afterwards. Run before the"
  "maintenance, it suspends every running VM, puts the host into maintenance"
  "mode and records in a list file which VMs it suspended; run afterwards, it"
  "takes the host out of maintenance mode and powers on exactly those VMs."
  "It talks to the host's shell through PuTTY's plink and answers the calling"
  "script with its exit status, so it fits in UPS, cron and systemd jobs;"
  "systemd units for one host each are included.")
set(CPACK_STRIP_FILES TRUE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${VMNAP_MAINTAINER}")
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_DEPENDS putty-tools)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_LIST_DIR}/postrm)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION TRUE)
include(CPack)
