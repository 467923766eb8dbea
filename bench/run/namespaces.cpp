// The strongest sandbox: bubblewrap makes mount, process, network, host-name and IPC namespaces, as root or
// through a user namespace, with the root as "/"; init inside makes the interfaces.
#include <initializer_list>

#include "bench/run/sandbox.h"

namespace fs = std::filesystem;

namespace bench {

namespace {

void add_words(std::vector<std::string> &words, std::initializer_list<std::string> more)
{
    words.insert(words.end(), more);
}

}  // namespace

// Mount points are made by the sandbox where they are missing; all are in /.bench or prepared by the root.
SandboxCommand namespaces_command(const Target &target, const fs::path &root, const Run &run)
{
    std::vector<std::string> words = {kBubblewrap};
    add_words(words, {"--unshare-pid", "--unshare-net", "--unshare-uts", "--unshare-ipc", "--as-pid-1",
                      "--die-with-parent", "--clearenv"});
    if (needs_user_namespace()) {
        add_words(words, {"--unshare-user", "--uid", "0", "--gid", "0"});
    }
    add_words(words, {"--cap-drop", "ALL"});
    for (const char *capability :
         {"CAP_NET_ADMIN", "CAP_NET_RAW", "CAP_DAC_OVERRIDE", "CAP_FOWNER", "CAP_KILL"}) {
        add_words(words, {"--cap-add", capability});
    }
    add_words(words, {"--bind", root, "/"});
    add_words(words, {"--dev-bind", "/dev/null", "/dev/null", "--dev-bind", "/dev/full", "/dev/full"});
    for (const Guest &guest : guests(target, run)) {
        add_words(words, {"--ro-bind", guest.outside, guest.inside});
    }
    if (run.system_view || !run.wrapper.empty()) {
        add_words(words, {"--ro-bind", "/", "/.bench/workstation", "--proc", "/.bench/proc"});
    }
    add_words(words, {"--chdir", "/", "/.bench/bin/bench_init"});
    return {words};
}

}  // namespace bench
