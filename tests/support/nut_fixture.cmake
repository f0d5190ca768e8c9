# NUT's daemons (nut-server, nut-client) with their own configuration in a temporary directory, in the
# sshd fixture's network namespace (see nut_fixture.h).
add_library(vmnap-nut-fixture STATIC
  isolated_daemon.cc
  nut_fixture.cc
)
target_include_directories(vmnap-nut-fixture PUBLIC ${CMAKE_CURRENT_SOURCE_DIR})
target_link_libraries(vmnap-nut-fixture PUBLIC vmnap-test-support)
