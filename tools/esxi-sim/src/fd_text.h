// Whole texts to and from a descriptor, going on through interrupted calls.
#ifndef ESXI_SIM_FD_TEXT_H
#define ESXI_SIM_FD_TEXT_H

#include <string>

namespace esxisim {

// Writes all of `text`; false when a write fails.
bool WriteWhole(int fd, const std::string& text);

// Appends everything up to the end of input to `text`; false when a read fails.
bool ReadWhole(int fd, std::string* text);

}  // namespace esxisim

#endif
