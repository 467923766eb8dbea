#include "bench/run/paths.h"

#include <algorithm>
#include <string>
#include <vector>

#include "bench/router.h"

namespace fs = std::filesystem;

namespace bench {

namespace {

constexpr int kMostLinks = 40;

std::vector<std::string> split_path(std::string_view path)
{
    std::vector<std::string> parts;
    while (!path.empty()) {
        const size_t end = std::min(path.find('/'), path.size());
        if (end > 0 && path.substr(0, end) != ".") {
            parts.emplace_back(path.substr(0, end));
        }
        path.remove_prefix(std::min(end + 1, path.size()));
    }
    return parts;
}

}  // namespace

fs::path resolve(const fs::path &root, std::string_view path, bool follow_last)
{
    std::vector<std::string> left = split_path(path);
    std::reverse(left.begin(), left.end());
    std::vector<std::string> done;
    int links = 0;
    while (!left.empty()) {
        const std::string part = left.back();
        left.pop_back();
        if (part == "..") {
            if (!done.empty()) {
                done.pop_back();
            }
            continue;
        }
        fs::path here = root;
        for (const std::string &name : done) {
            here /= name;
        }
        here /= part;
        std::error_code error;
        if ((follow_last || !left.empty()) && fs::is_symlink(fs::symlink_status(here, error))) {
            if (++links > kMostLinks) {
                throw Error("too many links in " + std::string(path));
            }
            const std::string text = fs::read_symlink(here).string();
            if (text.starts_with('/')) {
                done.clear();
            }
            const std::vector<std::string> more = split_path(text);
            left.insert(left.end(), more.rbegin(), more.rend());
            continue;
        }
        done.push_back(part);
    }
    fs::path place = root;
    for (const std::string &name : done) {
        place /= name;
    }
    return place;
}

bool is_bench_path(const fs::path &root, const fs::path &place)
{
    return place.string().starts_with((root / ".bench").string() + "/");
}

}  // namespace bench
