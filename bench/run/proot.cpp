// The sandbox of an ordinary user without user namespaces: proot watches the run's system calls and shows it
// the root as "/". Files outside cannot be named from inside; processes and the network are held back by
// init.
#include "bench/run/sandbox.h"

namespace fs = std::filesystem;

namespace bench {

SandboxCommand proot_command(const Target &target, const fs::path &root, const Run &run)
{
    std::vector<std::string> words = {kProot, "-0", "-r", root, "-w", "/"};
    std::vector<Guest> all = guests(target, run);
    all.push_back({"/dev/null", "/dev/null"});
    all.push_back({"/dev/full", "/dev/full"});
    all.push_back({"/proc", "/.bench/proc"});
    if (run.system_view || !run.wrapper.empty()) {
        all.push_back({"/", "/.bench/workstation"});
    }
    for (const Guest &guest : all) {
        words.emplace_back("-b");
        words.push_back(guest.outside.string() + ":" + guest.inside);
    }
    words.emplace_back("/.bench/bin/bench_init");
    words.emplace_back("shared");
    return {words, {"PROOT_TMP_DIR=" + (root / ".bench").string()}};
}

}  // namespace bench
