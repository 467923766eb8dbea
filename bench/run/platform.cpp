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

fs::path own_file(const char *name)
{
    const fs::path programs = fs::read_symlink("/proc/self/exe").parent_path();
    return fs::weakly_canonical(programs.parent_path() / name);
}

Target host_target(const fs::path &program)
{
    const auto place = [](const char *variable, const char *name) {
        const std::string other = from_environment(variable);
        return other.empty() ? own_file(name) : fs::absolute(other);
    };
    Target target;
    target.program = fs::absolute(program);
    target.preload = place("BENCH_PRELOAD", "lib/rcbench/preload/libbench_preload.so");
    target.helpers = place("BENCH_HELPERS", "lib/rcbench/inside");
    target.image = place("BENCH_IMAGE", "share/rcbench/image");
    return target;
}

}  // namespace bench
