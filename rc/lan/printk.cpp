// Kernel log: takes the kernel's messages off the console, or puts them back.
//
// Deliberate: starting this service means the messages go to the log daemon only.

#include "rc/lan/lan.h"

#include <sys/klog.h>

namespace {

// The kernel log call's actions.
constexpr int kConsoleOff = 6;
constexpr int kConsoleOn = 7;

}  // namespace

int start_printk()
{
    return klogctl(kConsoleOff, nullptr, 0);
}

int stop_printk()
{
    return klogctl(kConsoleOn, nullptr, 0);
}
