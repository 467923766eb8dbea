// Runs what a root's run file says, kept apart from the workstation in the way of sandbox().
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "bench/router.h"

namespace bench {

// Runs it to its end or to its limit; throws Error when the sandbox does not start.
void run_in_sandbox(const Target &target, const std::filesystem::path &root, const Run &run);

// ---- one way each: what must be there in the root first, and the command that runs the init inside

// A program with its words, and where it is told to keep files of its own.
struct SandboxCommand {
    std::vector<std::string> words;
    std::vector<std::string> environment = {};
};

SandboxCommand namespaces_command(const Target &target, const std::filesystem::path &root, const Run &run);
SandboxCommand chroot_command(const Target &target, const std::filesystem::path &root, const Run &run);
SandboxCommand proot_command(const Target &target, const std::filesystem::path &root, const Run &run);

// ---- what a run finds under /.bench and comes from outside ----------------------------------------------

struct Guest {
    std::filesystem::path outside;
    std::string inside;
};

// Single files and whole directories. Throws Error when one of them is missing.
std::vector<Guest> guests(const Target &target, const Run &run);

// ---- the choice -----------------------------------------------------------------------------------------

// Whether each way works here; `why` says what is missing when it does not.
bool can_use_namespaces(std::string &why);
bool can_use_chroot(std::string &why);
bool can_use_proot(std::string &why);

// Namespaces only: whether they need a user namespace, as an ordinary user's always do.
bool needs_user_namespace();

// chroot only: /dev/null and /dev/full of the root.
void make_devices(const std::filesystem::path &root);

// chroot only: keeps what roots share of the workstation's files for as long as the result lives.
std::shared_ptr<void> hold_copies();

// Whether the device files /dev/null and /dev/full can be made in this directory.
bool can_hold_devices(const std::filesystem::path &directory);

constexpr const char *kBubblewrap = "/usr/bin/bwrap";
constexpr const char *kProot = "/usr/bin/proot";

}  // namespace bench
