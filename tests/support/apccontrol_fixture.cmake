# apcupsd's apccontrol from Debian's package, unpacked, run on a directory of event scripts in the sshd
# fixture's network namespace (see apccontrol_fixture.h); its runs are IsolatedDaemons of the NUT fixture.
add_library(vmnap-apccontrol-fixture STATIC apccontrol_fixture.cc)
target_include_directories(vmnap-apccontrol-fixture PUBLIC ${CMAKE_CURRENT_SOURCE_DIR})
target_link_libraries(vmnap-apccontrol-fixture PUBLIC vmnap-nut-fixture vmnap-test-support)
