// What sshd shows after a login to the ESXi shell, before the first prompt. Line breaks and the two
// blanks after "tools." are as the hosts print them.
#include "profiles/profiles.h"

namespace esxisim {

// ESXi 5.5: lrivallain/vuptime, content/post/2015-01-25-nested-esxi-virtualbox.md (ssh login to a nested
// ESXi 5.5 host); the same text follows a PuTTY "Using keyboard-interactive authentication." login in a
// 5.x capture found by public code search.
const char kClassicBanner[] =
    "The time and date of this login have been sent to the system logs.\n"
    "\n"
    "VMware offers supported, powerful system administration tools.  Please\n"
    "see www.vmware.com/go/sysadmintools for details.\n"
    "\n"
    "The ESXi Shell can be disabled by an administrative user. See the\n"
    "vSphere Security documentation for more information.\n";

// ESXi 6.7: the yuangezhizao blog post "VMware ESXi 6.7.0 服务器虚拟化" (2019; an Xshell login followed by
// "[root@VM:~] "). ESXi 7.0: Japanese ESXi 7.0/8.0 patching notes found by public code search (login
// followed by "[root@esxi:~] "). Same bytes in both.
const char kLoggedShellBanner[] =
    "The time and date of this login have been sent to the system logs.\n"
    "\n"
    "WARNING:\n"
    "   All commands run on the ESXi shell are logged and may be included in\n"
    "   support bundles. Do not provide passwords directly on the command line.\n"
    "   Most tools can prompt for secrets or accept them from standard input.\n"
    "\n"
    "VMware offers supported, powerful system administration tools.  Please\n"
    "see www.vmware.com/go/sysadmintools for details.\n"
    "\n"
    "The ESXi Shell can be disabled by an administrative user. See the\n"
    "vSphere Security documentation for more information.\n";

// ESXi 8.0 Update 3 (image profile ESXi-8.0U3-24022510-standard): wporter.org, "Updating standalone VMware
// ESXi hosts from the online hostupdate depot with esxcli" (2025-03-08), an ssh login followed by
// "[root@server:~]". ESXi 9.0.0 prints the same (a transcript found by public code search).
const char kAutomationToolsBanner[] =
    "The time and date of this login have been sent to the system logs.\n"
    "\n"
    "WARNING:\n"
    "   All commands run on the ESXi shell are logged and may be included in\n"
    "   support bundles. Do not provide passwords directly on the command line.\n"
    "   Most tools can prompt for secrets or accept them from standard input.\n"
    "\n"
    "VMware offers powerful and supported automation tools. Please\n"
    "see https://developer.vmware.com for details.\n"
    "\n"
    "The ESXi Shell can be disabled by an administrative user. See the\n"
    "vSphere Security documentation for more information.\n";

}  // namespace esxisim
