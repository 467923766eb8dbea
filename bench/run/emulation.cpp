#include <elf.h>

#include <initializer_list>
#include <optional>

#include "bench/router.h"
#include "bench/run/files.h"
#include "bench/run/platform.h"
#include "bench/run/processor.h"

namespace fs = std::filesystem;

namespace bench {

namespace {

// How a program for another processor runs here: Debian's names of the emulator and of the directories with
// that processor's C library.
struct Emulation {
    uint64_t machine;
    bool is_64_bit, is_big_endian;
    const char *emulator;
    std::initializer_list<const char *> triplets;
};

const Emulation kEmulations[] = {
    {EM_MIPS, false, true, "qemu-mips-static", {"mips-linux-gnu"}},
    {EM_MIPS, false, false, "qemu-mipsel-static", {"mipsel-linux-gnu"}},
    {EM_ARM, false, false, "qemu-arm-static", {"arm-linux-gnueabihf", "arm-linux-gnueabi"}},
    {EM_AARCH64, true, false, "qemu-aarch64-static", {"aarch64-linux-gnu"}},
    {EM_RISCV, true, false, "qemu-riscv64-static", {"riscv64-linux-gnu"}},
    {EM_S390, true, true, "qemu-s390x-static", {"s390x-linux-gnu"}},
    {EM_PPC, false, true, "qemu-ppc-static", {"powerpc-linux-gnu"}},
    {EM_PPC64, true, false, "qemu-ppc64le-static", {"powerpc64le-linux-gnu"}},
    {EM_386, false, false, "qemu-i386-static", {"i686-linux-gnu"}},
    {EM_X86_64, true, false, "qemu-x86_64-static", {"x86_64-linux-gnu"}},
};

const Emulation &emulation_of(const ProgramHead &program)
{
    for (const Emulation &one : kEmulations) {
        if (one.machine == program.machine && one.is_64_bit == program.is_64_bit &&
            one.is_big_endian == program.is_big_endian) {
            return one;
        }
    }
    throw Error("no emulator is known for processor " + std::to_string(program.machine) +
                "; name one with BENCH_EMULATOR and its libraries with BENCH_LIBRARY");
}

// The directory that has the loader which the program asks for.
std::string library_of(const ProgramHead &program)
{
    const fs::path loader = fs::path(program.loader).filename();
    std::string tried;
    for (const char *triplet : emulation_of(program).triplets) {
        const fs::path directory = fs::path("/usr") / triplet / "lib";
        if (fs::exists(directory / loader)) {
            return directory;
        }
        tried += (tried.empty() ? "" : ", ") + directory.string();
    }
    throw Error("no C library for it: " + program.loader + " is not in " + tried +
                "; name its directory with BENCH_LIBRARY");
}

}  // namespace

Target emulated_target(const fs::path &program)
{
    const std::optional<ProgramHead> head = program_head(read_whole(program));
    if (!head) {
        throw Error("cannot run " + program.string() + ": it is no program");
    }
    Target target = host_target(program);
    target.preload = fs::absolute(program).parent_path().parent_path() / "lib" / "libbench_preload.so";
    target.emulator = from_environment("BENCH_EMULATOR");
    if (target.emulator.empty()) {
        target.emulator = fs::path("/usr/bin") / emulation_of(*head).emulator;
    }
    if (!fs::exists(target.emulator)) {
        throw Error("no emulator " + target.emulator.string() + ": run scripts/setup");
    }
    target.library = from_environment("BENCH_LIBRARY");
    if (target.library.empty()) {
        target.library = library_of(*head);
    }
    return target;
}

}  // namespace bench
