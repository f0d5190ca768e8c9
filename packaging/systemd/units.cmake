# The one-shot units of one host each (instance name = host name), and the example host configuration.
foreach(unit vmnap-suspend@.service vmnap-resume@.service)
  configure_file(${CMAKE_CURRENT_LIST_DIR}/${unit}.in ${unit} @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${unit} DESTINATION ${VMNAP_UNIT_DIR})
endforeach()
install(FILES ${CMAKE_CURRENT_LIST_DIR}/esx01.conf DESTINATION ${VMNAP_DOC_DIR}/examples)
