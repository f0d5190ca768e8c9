# A real OpenSSH server in a private network namespace, and a pipe-driven child process to talk to it
# (see sshd_fixture.h). Linked into vmnap-test-support so every test can use it.
add_library(vmnap-sshd-fixture STATIC
  sshd_fixture.cc
  sshd_fixture_process.cc
)
target_include_directories(vmnap-sshd-fixture PUBLIC ${CMAKE_CURRENT_SOURCE_DIR})
target_link_libraries(vmnap-test-support PUBLIC vmnap-sshd-fixture)

add_executable(sshd_fixture_tests tests/sshd_fixture_test.cc)
target_link_libraries(sshd_fixture_tests PRIVATE vmnap-test-support GTest::gtest_main)
gtest_discover_tests(sshd_fixture_tests DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 60)
