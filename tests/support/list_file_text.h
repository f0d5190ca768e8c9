// The list file VmNap writes, as text: for tests that compare it byte for byte.
#ifndef VMNAP_TEST_SUPPORT_LIST_FILE_TEXT_H
#define VMNAP_TEST_SUPPORT_LIST_FILE_TEXT_H

#include <string>

// One VM element; `mark` is the rebootstatus ("to reboot", "rebooted") or empty for none.
std::string ListRow(const std::string& id, const std::string& name, const std::string& status,
                    const std::string& mark = "", int timeout_seconds = 300);

// The whole file for the host 127.0.0.1 (unless `host` says otherwise) with `rows` as its VMs.
std::string ListFileText(const std::string& maintenance, const std::string& reboot, const std::string& rows,
                         const std::string& host = "127.0.0.1");

#endif
