// Drops the greeting Debian's busybox ash prints when it starts interactively, which an ESXi host's shell
// does not print:
//   "\n\nBusyBox v1.35.0 (Debian 1:1.35.0-4+deb12u1+b1) built-in shell (ash)\n"
//   "Enter 'help' for a list of built-in commands.\n\n"
// The shell's output goes through Pass() piece by piece, as it comes. While the output so far can still be
// the start of the greeting it is held back; once the greeting is complete it is dropped, and once the
// output is something else everything is passed on unchanged.
#ifndef ESXI_SIM_GREETING_FILTER_H
#define ESXI_SIM_GREETING_FILTER_H

#include <string>

namespace esxisim {

class GreetingFilter {
public:
    // What of `text` (the next piece of the shell's output) is to be shown now.
    std::string Pass(const std::string& text);

    // At the end of the output: what is still held back (an unfinished greeting is not one).
    std::string Flush();

private:
    enum class Match { kPartial, kWhole, kNone };
    Match Check(size_t* length) const;

    bool decided_ = false;
    std::string held_;
};

}  // namespace esxisim

#endif
