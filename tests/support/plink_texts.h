// Texts of plink 0.78 (putty-tools) as it printed them on a pipe (no terminal) against the test sshd at
// 127.0.0.1 with an ed25519 host key. The fingerprints are those of the recording run.
#ifndef VMNAP_TEST_SUPPORT_PLINK_TEXTS_H
#define VMNAP_TEST_SUPPORT_PLINK_TEXTS_H

#include <string>

// The server's key differs from the one in ~/.putty/sshhostkeys. The question ends the text; "y" would
// replace the cached key, "n" connect once, Return (an empty line) cancel.
inline const char kPlinkChangedKeyWarning[] =
    "WARNING - POTENTIAL SECURITY BREACH!\n"
    "The host key does not match the one Plink has cached for\n"
    "this server:\n"
    "  127.0.0.1 (port 22)\n"
    "This means that either the server administrator has changed\n"
    "the host key, or you have actually connected to another\n"
    "computer pretending to be the server.\n"
    "The new ssh-ed25519 key fingerprint is:\n"
    "  ssh-ed25519 255 SHA256:rE9v5woZzqRME7JoJ8lUA6THB1WRATVuScwdDLy9WA4\n"
    "If you were expecting this change and trust the new key,\n"
    "enter \"y\" to update Plink's cache and carry on connecting.\n"
    "If you want to carry on connecting but without updating the\n"
    "cache, enter \"n\".\n"
    "If you want to abandon the connection completely, press\n"
    "Return to cancel. Pressing Return is the ONLY guaranteed\n"
    "safe choice.\n"
    "Update cached key? (y/n, Return cancels connection, i for more info) ";

// What plink prints after Return was given to the question above, before it exits.
inline const char kPlinkConnectionAbandoned[] = "Connection abandoned.\n";

// `text` with the key after every "SHA256:" replaced by "FINGERPRINT", to compare texts of different keys.
inline std::string WithoutFingerprints(std::string text) {
    const std::string mark = "SHA256:";
    for (size_t at = text.find(mark); at != std::string::npos; at = text.find(mark, at + 1)) {
        size_t end = text.find('\n', at);
        text.replace(at + mark.size(), end == std::string::npos ? end : end - at - mark.size(), "FINGERPRINT");
    }
    return text;
}

#endif
