#include "bench/run/snapshot.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "bench/run/files.h"

namespace fs = std::filesystem;

namespace bench {

namespace {

// The old time stamp: no run writes a file at the turn of the year 2000.
constexpr time_t kMark = 946684800;

void add_node(const fs::path &place, const std::string &path, bool mark, Snapshot &snapshot)
{
    struct stat info = {};
    if (lstat(place.c_str(), &info) != 0) {
        return;
    }
    Node node;
    if (S_ISDIR(info.st_mode)) {
        node.type = 'd';
    } else if (S_ISLNK(info.st_mode)) {
        node.type = 'l';
        node.content = fs::read_symlink(place).string();
    } else if (!S_ISREG(info.st_mode)) {
        node.type = 'o';
    } else {
        node.content = access(place.c_str(), R_OK) == 0 ? read_whole(place) : "";
        node.written = info.st_mtim.tv_sec != kMark;
        if (mark && node.written) {
            const timespec stamps[2] = {{kMark, 0}, {kMark, 0}};
            utimensat(AT_FDCWD, place.c_str(), stamps, AT_SYMLINK_NOFOLLOW);
        }
    }
    snapshot.emplace(path, std::move(node));
}

std::string text_of(const Node &node)
{
    return node.type == 'd' ? "" : node.content;
}

}  // namespace

Snapshot take_snapshot(const fs::path &root, bool mark)
{
    Snapshot snapshot;
    const size_t prefix = root.string().size();
    std::error_code error;
    for (fs::recursive_directory_iterator at(root, fs::directory_options::skip_permission_denied, error), end;
         !error && at != end; at.increment(error)) {
        const std::string path = at->path().string().substr(prefix);
        if (path == "/.bench") {
            at.disable_recursion_pending();
            continue;
        }
        add_node(at->path(), path, mark, snapshot);
    }
    return snapshot;
}

std::vector<FileChange> compare_snapshots(const Snapshot &before, const Snapshot &after)
{
    using What = FileChange::What;
    std::vector<FileChange> changes;
    for (const auto &[path, node] : before) {
        if (!after.contains(path)) {
            changes.push_back({path, What::kRemoved, text_of(node), "", node.type});
        }
    }
    for (const auto &[path, node] : after) {
        const auto old = before.find(path);
        if (old == before.end()) {
            changes.push_back({path, What::kCreated, "", text_of(node), node.type});
        } else if (old->second.type != node.type || old->second.content != node.content) {
            changes.push_back({path, What::kChanged, text_of(old->second), text_of(node), node.type});
        } else if (node.type == 'f' && node.written) {
            changes.push_back({path, What::kRewritten, text_of(old->second), text_of(node), node.type});
        }
    }
    std::sort(changes.begin(), changes.end(),
              [](const FileChange &a, const FileChange &b) { return a.path < b.path; });
    return changes;
}

std::vector<SettingChange> compare_settings(const std::vector<Setting> &before,
                                            const std::vector<Setting> &after)
{
    const auto find = [](const std::vector<Setting> &all,
                         const std::string &key) -> std::optional<std::string> {
        for (const Setting &setting : all) {
            if (setting.key == key) {
                return setting.value;
            }
        }
        return std::nullopt;
    };
    std::vector<SettingChange> changes;
    for (const Setting &setting : after) {
        const std::optional<std::string> old = find(before, setting.key);
        if (old != setting.value) {
            changes.push_back({setting.key, old, setting.value});
        }
    }
    for (const Setting &setting : before) {
        if (!find(after, setting.key)) {
            changes.push_back({setting.key, setting.value, std::nullopt});
        }
    }
    return changes;
}

}  // namespace bench
