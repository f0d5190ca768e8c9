# vmnap(8): scdoc source, paths filled in at configure time, converted and compressed at build time.
configure_file(${CMAKE_CURRENT_LIST_DIR}/vmnap.8.scd vmnap.8.scd @ONLY)
add_custom_command(
  OUTPUT vmnap.8.gz
  COMMAND sh -c "\"$0\" < \"$1\" > \"$2\"" ${VMNAP_SCDOC} vmnap.8.scd vmnap.8
  COMMAND gzip -9n -f -k vmnap.8
  DEPENDS ${CMAKE_CURRENT_BINARY_DIR}/vmnap.8.scd
  WORKING_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}
  COMMENT "Building the vmnap(8) manual"
  VERBATIM)
add_custom_target(vmnap-manual ALL DEPENDS ${CMAKE_CURRENT_BINARY_DIR}/vmnap.8.gz)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/vmnap.8.gz DESTINATION ${VMNAP_MAN_DIR})
