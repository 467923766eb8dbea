// Local time follows the root's /etc/TZ as the router's C library does (the workstation's looks only at the
// variable TZ).
#include <ctime>

#include "bench/run/preload/real.h"

using preload::real;

namespace {

// While one of these lives, TZ is the text of /etc/TZ (unless the program has a TZ of its own).
class RouterZone {
  public:
    RouterZone()
    {
        char rule[128];
        if (getenv("TZ") != nullptr || !read_rule(rule, sizeof rule)) {
            return;
        }
        setenv("TZ", rule, 1);
        set_ = true;
    }
    ~RouterZone()
    {
        if (set_) {
            unsetenv("TZ");
        }
    }
    RouterZone(const RouterZone &) = delete;
    RouterZone &operator=(const RouterZone &) = delete;

  private:
    static bool read_rule(char *rule, size_t size)
    {
        const int fd = open("/etc/TZ", O_RDONLY | O_CLOEXEC);
        if (fd < 0) {
            return false;
        }
        const ssize_t length = read(fd, rule, size - 1);
        close(fd);
        rule[length > 0 ? length : 0] = '\0';
        rule[strcspn(rule, "\r\n")] = '\0';
        return rule[0] != '\0';
    }

    bool set_ = false;
};

}  // namespace

// The C library's names, with its types and linkage. On a 32-bit target programs built for 64-bit time
// call the names with 64. The names, and those of the parameters in the headers, are reserved.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name,bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
extern "C" {

tm *localtime(const time_t *when) noexcept
{
    const RouterZone zone;
    return real<tm *(const time_t *)>("localtime")(when);
}

tm *localtime_r(const time_t *when, tm *result) noexcept
{
    const RouterZone zone;
    tzset();  // localtime_r itself need not look at TZ again
    return real<tm *(const time_t *, tm *)>("localtime_r")(when, result);
}

time_t mktime(tm *local) noexcept
{
    const RouterZone zone;
    return real<time_t(tm *)>("mktime")(local);
}

void tzset() noexcept
{
    const RouterZone zone;
    real<void()>("tzset")();
}

#if defined(__mips__) && !defined(__LP64__)
tm *__localtime64(const int64_t *when)
{
    const RouterZone zone;
    return real<tm *(const int64_t *)>("__localtime64")(when);
}

tm *__localtime64_r(const int64_t *when, tm *result)
{
    const RouterZone zone;
    tzset();
    return real<tm *(const int64_t *, tm *)>("__localtime64_r")(when, result);
}

int64_t __mktime64(tm *local)
{
    const RouterZone zone;
    return real<int64_t(tm *)>("__mktime64")(local);
}
#endif
}
// NOLINTEND(readability-inconsistent-declaration-parameter-name,bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
