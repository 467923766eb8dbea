#include "bench/run/place.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include "bench/router.h"
#include "bench/run/files.h"
#include "bench/run/platform.h"
#include "bench/run/sandbox.h"

namespace fs = std::filesystem;

namespace bench {

namespace {

constexpr unsigned long kRoomForARoot = 16UL << 20;

// Scripts of the root must be runnable where it is, and a run must have room.
bool is_usable(const fs::path &directory)
{
    struct statvfs info = {};
    return access(directory.c_str(), W_OK | X_OK) == 0 && statvfs(directory.c_str(), &info) == 0 &&
           (info.f_flag & ST_NOEXEC) == 0 && info.f_bavail * info.f_frsize >= kRoomForARoot;
}

constexpr const char *kNameOfRoots = "bench.";

bool is_left_behind(const fs::path &directory)
{
    struct stat info = {};
    constexpr time_t kMinute = 60;  // younger ones may be on their way to their lock
    return lstat(directory.c_str(), &info) == 0 && S_ISDIR(info.st_mode) && info.st_uid == geteuid() &&
           time(nullptr) - info.st_mtim.tv_sec > kMinute && fs::exists(directory / ".bench") &&
           !fs::exists(directory / ".bench/kept");
}

// Removes roots of processes that were killed before they could do it.
void sweep(const fs::path &place)
{
    std::error_code error;
    for (const fs::directory_entry &entry : fs::directory_iterator(place, error)) {
        if (!entry.path().filename().string().starts_with(kNameOfRoots) || !is_left_behind(entry.path())) {
            continue;
        }
        const int lock = lock_root(entry.path());
        if (lock >= 0) {
            remove_tree(entry.path());
            close(lock);
        }
    }
}

std::vector<fs::path> places()
{
    std::vector<fs::path> usable;
    for (const std::string &place : {std::string("/dev/shm"), from_environment("TMPDIR", ""),
                                     std::string("/tmp"), std::string("/var/tmp")}) {
        if (!place.empty() && is_usable(place)) {
            usable.emplace_back(place);
        }
    }
    return usable;
}

}  // namespace

void remove_tree(const fs::path &directory)
{
    std::error_code error;
    fs::remove_all(directory, error);
    if (!error) {
        return;
    }
    for (fs::recursive_directory_iterator at(directory, fs::directory_options::skip_permission_denied, error),
         end;
         !error && at != end; at.increment(error)) {
        if (at->is_directory(error) && !at->is_symlink(error)) {
            fs::permissions(at->path(), fs::perms::owner_all, fs::perm_options::add, error);
        }
    }
    fs::remove_all(directory, error);
}

int lock_root(const fs::path &directory)
{
    const int fd = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd >= 0 && flock(fd, LOCK_EX | LOCK_NB) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

bool has_place_for_roots(bool with_devices)
{
    const std::vector<fs::path> all = places();
    return std::any_of(all.begin(), all.end(),
                       [&](const fs::path &place) { return !with_devices || can_hold_devices(place); });
}

fs::path make_directory_for_root()
{
    static const fs::path chosen = [] {
        for (const fs::path &place : places()) {
            if (sandbox() != Sandbox::kChroot || can_hold_devices(place)) {
                sweep(place);
                return place;
            }
        }
        throw Error(
            "no directory to build a root in: set TMPDIR to one that is writable and not mounted noexec");
    }();
    std::string name = chosen / (std::string(kNameOfRoots) + "XXXXXX");
    if (mkdtemp(name.data()) == nullptr) {
        throw Error(system_error("make a directory in", chosen));
    }
    chmod(name.c_str(), 0755);
    return name;
}

}  // namespace bench
