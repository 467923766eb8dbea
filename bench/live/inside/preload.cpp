// Preloaded into rc in a live router: pauses at the scale of the run, and the kernel log left alone.
//
// The clock can be set, as in any bench root (bench/run/preload/clock.cpp); real pauses do not move it.
#include <sys/klog.h>

#include <cstdlib>
#include <ctime>

namespace {

// For rc alone, not for the programs it starts.
__attribute__((constructor)) void stay_in_rc()
{
    unsetenv("LD_PRELOAD");
}

long pause_divisor()
{
    const char *text = getenv("LIVE_PAUSES");
    const long divisor = text == nullptr ? 1 : atol(text);
    return divisor > 0 ? divisor : 1;
}

}  // namespace

// The C library's names, with its types and linkage; the parameters of the headers have reserved names.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)
extern "C" {

// What is left when a signal comes is at full scale again.
unsigned sleep(unsigned seconds)
{
    const long divisor = pause_divisor();
    const long milliseconds = static_cast<long>(seconds) * 1000 / divisor;
    const timespec asked = {milliseconds / 1000, milliseconds % 1000 * 1000000};
    timespec left = {};
    if (nanosleep(&asked, &left) == 0) {
        return 0;
    }
    return static_cast<unsigned>((left.tv_sec * 1000 + left.tv_nsec / 1000000) * divisor / 1000);
}

// Without the right to it rc would end here, with it the whole machine's console would change.
int klogctl(int, char *, int) noexcept
{
    return 0;
}
}
// NOLINTEND(readability-inconsistent-declaration-parameter-name)
