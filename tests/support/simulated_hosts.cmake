# Simulated ESXi hosts behind the sshd fixture, and a stand-in for someone starting a VM meanwhile
# (see simulated_hosts.h, power_on_when_suspended.h); they read and write the simulator's state files.
add_library(vmnap-sim-support STATIC
  simulated_hosts.cc
  power_on_when_suspended.cc
)
target_include_directories(vmnap-sim-support PUBLIC ${CMAKE_CURRENT_SOURCE_DIR})
target_link_libraries(vmnap-sim-support PUBLIC vmnap-test-support vmnap-simulated-host esxi-sim-lib)
