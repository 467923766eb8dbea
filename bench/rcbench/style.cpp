#include "bench/rcbench/style.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>

namespace rcbench {

bench::Style fitted(bench::Style style)
{
    if (isatty(STDOUT_FILENO) != 1) {
        return style;
    }
    style.colour = getenv("NO_COLOR") == nullptr;
    winsize size = {};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0) {
        style.columns = size.ws_col;
    }
    return style;
}

}  // namespace rcbench
