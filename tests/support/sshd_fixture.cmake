# A real OpenSSH server in a private network namespace, and a pipe-driven child process to talk to it
# (see sshd_fixture.h). Linked into vmnap-test-support so every test can use it.

# Names that carry the creating process's pid, and the removal of those whose process has gone
# (leftover_names.h, leftover_sweep.h); vmnap-sweep runs it from the command line and as the guard.
add_library(vmnap-leftovers STATIC
  admin_command.cc
  leftover_names.cc
  leftover_sweep.cc
  sshd_fixture_process.cc
)
target_include_directories(vmnap-leftovers PUBLIC ${CMAKE_CURRENT_SOURCE_DIR})
add_executable(vmnap-sweep sweep_main.cc)
target_link_libraries(vmnap-sweep PRIVATE vmnap-leftovers)

add_library(vmnap-sshd-fixture STATIC
  sshd_fixture.cc
  leftover_guard.cc
  plink_home.cc
)
target_include_directories(vmnap-sshd-fixture PUBLIC ${CMAKE_CURRENT_SOURCE_DIR})
target_link_libraries(vmnap-sshd-fixture PUBLIC vmnap-leftovers)
target_compile_definitions(vmnap-sshd-fixture PRIVATE VMNAP_SWEEP_PATH="$<TARGET_FILE:vmnap-sweep>")
add_dependencies(vmnap-sshd-fixture vmnap-sweep)
target_link_libraries(vmnap-test-support PUBLIC vmnap-sshd-fixture)

# At the start of every test run: what killed runs of the suite left behind (only theirs). Every test
# requires this fixture.
add_test(NAME vmnap.sweep_leftovers COMMAND vmnap-sweep)
set_tests_properties(vmnap.sweep_leftovers PROPERTIES FIXTURES_SETUP vmnap-leftovers TIMEOUT 120)

add_executable(sshd_fixture_tests
  tests/sshd_fixture_test.cc
  tests/plink_home_test.cc
)
target_link_libraries(sshd_fixture_tests PRIVATE vmnap-test-support GTest::gtest_main)
gtest_discover_tests(sshd_fixture_tests DISCOVERY_TIMEOUT 60
  PROPERTIES TIMEOUT 60 FIXTURES_REQUIRED vmnap-leftovers)

# Killed runs: a child that sets up the fixture and is then killed outright (leftovers_test.cc).
add_executable(vmnap-fixture-holder tests/fixture_holder.cc)
target_link_libraries(vmnap-fixture-holder PRIVATE vmnap-test-support)
add_executable(leftovers_tests tests/leftovers_test.cc)
target_link_libraries(leftovers_tests PRIVATE vmnap-test-support GTest::gtest_main)
target_compile_definitions(leftovers_tests PRIVATE
  FIXTURE_HOLDER_PATH="$<TARGET_FILE:vmnap-fixture-holder>" VMNAP_SWEEP_PATH="$<TARGET_FILE:vmnap-sweep>")
add_dependencies(leftovers_tests vmnap-fixture-holder vmnap-sweep)
gtest_discover_tests(leftovers_tests DISCOVERY_TIMEOUT 60
  PROPERTIES TIMEOUT 120 FIXTURES_REQUIRED vmnap-leftovers)
