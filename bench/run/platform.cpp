#include "bench/run/platform.h"

#include <cstdlib>

#include "bench/router.h"
#include "bench/run/elf.h"

namespace fs = std::filesystem;

namespace bench {

std::string from_environment(const char *name, const char *otherwise)
{
    const char *value = getenv(name);
    return value == nullptr ? otherwise : value;
}

const Platform &platform()
{
    static const Platform found = [] {
        Platform p;
        for (const char *shell : {"/usr/bin/dash", "/bin/dash"}) {
            if (p.shell.empty() && fs::exists(shell)) {
                p.shell = shell;
            }
        }
        for (const char *busybox : {"/usr/bin/busybox", "/bin/busybox"}) {
            if (p.busybox.empty() && fs::exists(busybox)) {
                p.busybox = busybox;
            }
        }
        if (p.shell.empty() || p.busybox.empty()) {
            throw Error("no dash or busybox on this workstation: run scripts/setup");
        }
        p.loader = elf_needs(p.shell).loader;
        if (!p.loader.empty()) {
            p.libraries = fs::canonical(p.loader).parent_path();
        }
        return p;
    }();
    return found;
}

Target host_target(const fs::path &program)
{
    Target target;
    target.program = fs::absolute(program);
    target.preload = fs::absolute(from_environment("BENCH_PRELOAD", BENCH_PRELOAD));
    target.helpers = fs::absolute(from_environment("BENCH_HELPERS", BENCH_HELPERS));
    target.image = fs::absolute(from_environment("BENCH_IMAGE", BENCH_IMAGE));
    return target;
}

}  // namespace bench
