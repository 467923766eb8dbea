#include "bench/run/platform.h"

#include <elf.h>
#include <link.h>

#include <cstdlib>
#include <cstring>

#include "bench/router.h"
#include "bench/run/files.h"

namespace fs = std::filesystem;

namespace bench {

namespace {

// The loader that an ELF program of this workstation asks for; empty for a static one.
std::string program_loader(const fs::path &program)
{
    const std::string bytes = read_whole(program);
    ElfW(Ehdr) head = {};
    if (bytes.size() < sizeof head) {
        return "";
    }
    memcpy(&head, bytes.data(), sizeof head);
    if (memcmp(head.e_ident, ELFMAG, SELFMAG) != 0) {
        return "";
    }
    for (size_t i = 0; i < head.e_phnum; i++) {
        ElfW(Phdr) part = {};
        const size_t at = head.e_phoff + i * sizeof part;
        if (at + sizeof part > bytes.size()) {
            return "";
        }
        memcpy(&part, bytes.data() + at, sizeof part);
        if (part.p_type == PT_INTERP && part.p_offset + part.p_filesz <= bytes.size() && part.p_filesz > 0) {
            return bytes.substr(part.p_offset, part.p_filesz - 1);
        }
    }
    return "";
}

}  // namespace

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
        p.loader = program_loader(p.shell);
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

Target mips_target(const fs::path &program, const fs::path &preload)
{
    Target target = host_target(program);
    target.preload = fs::absolute(preload);
    target.emulator = from_environment("BENCH_EMULATOR", "/usr/bin/qemu-mips-static");
    target.library = from_environment("BENCH_MIPS_LIBRARY", "/usr/mips-linux-gnu/lib");
    return target;
}

}  // namespace bench
