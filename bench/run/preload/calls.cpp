// Calls that would change the machine (host and domain name, kernel log, signals) are recorded in place of
// being done.
#include <sys/klog.h>

#include <cerrno>
#include <csignal>

#include "bench/run/preload/real.h"

namespace {

// What a recorded call answers.
int recorded_result()
{
    if (getenv("BENCH_FAIL") == nullptr) {
        return 0;
    }
    errno = EPERM;
    return -1;
}

}  // namespace

// The C library's names, with its types and linkage.
// The names, and those of the parameters in the headers, are reserved ones.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name,bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
extern "C" {

int sethostname(const char *name, size_t length) noexcept
{
    inside::write_record(inside::kEntryHostname, name, length);
    return recorded_result();
}

int setdomainname(const char *name, size_t length) noexcept
{
    inside::write_record(inside::kEntryDomainname, name, length);
    return recorded_result();
}

int klogctl(int action, char *, int) noexcept
{
    preload::record_number(inside::kEntryKlog, action);
    return recorded_result();
}

int kill(pid_t process, int signal) noexcept
{
    char text[48];
    snprintf(text, sizeof text, "%ld %d", static_cast<long>(process), signal);
    inside::write_record(inside::kEntryKill, text);
    return recorded_result();
}

// A program built with the address sanitizer asks for these when it starts. In a root without the real
// /proc it cannot read its environment or look for leaks, and this library stands before its own.
const char *__asan_default_options()
{
    return "detect_leaks=0:verify_asan_link_order=0";
}
}
// NOLINTEND(readability-inconsistent-declaration-parameter-name,bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
