#include "fd_text.h"

#include <errno.h>
#include <unistd.h>

namespace esxisim {

bool WriteWhole(int fd, const std::string& text) {
    size_t done = 0;
    while (done < text.size()) {
        ssize_t n = write(fd, text.data() + done, text.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        done += static_cast<size_t>(n);
    }
    return true;
}

bool ReadWhole(int fd, std::string* text) {
    char buffer[4096];
    for (;;) {
        ssize_t n = read(fd, buffer, sizeof(buffer));
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return false;
        if (n == 0) return true;
        text->append(buffer, static_cast<size_t>(n));
    }
}

}  // namespace esxisim
