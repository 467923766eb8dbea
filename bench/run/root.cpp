// Builds a root and keeps it: files, links, settings, replies; paths of the root as the workstation sees
// them.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sstream>

#include "bench/router.h"
#include "bench/run/files.h"
#include "bench/run/paths.h"
#include "bench/run/place.h"
#include "bench/run/plan.h"
#include "bench/run/platform.h"
#include "bench/run/sandbox.h"
#include "forms/escapes.h"

namespace fs = std::filesystem;

namespace bench {

namespace {

// The lines of a data file that say something, as words; the rest of the line after `words` words is the
// last word.
std::vector<std::vector<std::string>> read_table(const fs::path &file, size_t words)
{
    std::istringstream lines(read_whole(file));
    std::vector<std::vector<std::string>> rows;
    std::string line;
    while (std::getline(lines, line)) {
        if (line.empty() || line.front() == '#') {
            continue;
        }
        std::vector<std::string> row;
        std::istringstream parts(line);
        std::string word;
        while (row.size() < words && parts >> word) {
            row.push_back(word);
        }
        std::string rest;
        if (std::getline(parts >> std::ws, rest)) {
            row.push_back(rest);
        }
        rows.push_back(std::move(row));
    }
    return rows;
}

void put_link(const fs::path &place, const std::string &text)
{
    if (symlink(text.c_str(), place.c_str()) != 0) {
        throw Error(system_error("make link", place));
    }
}

const char *helper_for(const std::string &kind)
{
    if (kind == "stand-in") {
        return "/.bench/bin/bench_stand_in";
    }
    if (kind == "real") {
        return "/.bench/busybox";
    }
    if (kind == "shell") {
        return "/.bench/bin/bench_shell_recorder";
    }
    return kind == "rc" ? "/.bench/bin/bench_rc_recorder" : nullptr;
}

}  // namespace

Root::Root(const Target &target, const Setup &setup)
    : target_(target),
      interfaces_(setup.interfaces),
      directory_(make_directory_for_root()),
      lock_(lock_root(directory_))
{
    try {
        build(setup);
    } catch (...) {
        remove_tree(directory_);
        close(lock_);
        throw;
    }
}

Root::Root(const Target &target, const Setup &setup, const fs::path &directory)
    : target_(target), interfaces_(setup.interfaces), directory_(fs::absolute(directory)), keep_(true)
{
    std::error_code error;
    const std::string which = "cannot keep the router in " + forms::shown(directory_.string()) + ": ";
    fs::create_directories(directory_, error);
    if (error) {
        throw Error(which + error.message());
    }
    const bool empty = fs::is_empty(directory_, error);
    if (error || !empty) {
        throw Error(which + (error ? error.message() : "it is not empty"));
    }
    if (access(directory_.c_str(), W_OK | X_OK) != 0) {
        throw Error(which + strerror(errno));
    }
    directory_ = fs::canonical(directory_);
    build(setup);
}

Root::~Root()
{
    if (!keep_) {
        remove_tree(directory_);
    }
    if (lock_ >= 0) {
        close(lock_);
    }
}

void Root::keep()
{
    keep_ = true;
    write_whole(directory_ / ".bench/kept", "");
}

void Root::build(const Setup &setup)
{
    try {
        build_all(setup);
    } catch (const fs::filesystem_error &error) {
        throw Error("cannot build the router in " + forms::shown(directory_.string()) + ": " +
                    error.code().message());
    }
}

void Root::build_all(const Setup &setup)
{
    for (const char *name : {"bin", "board", "clock", "count", "libraries", "library", "pause"}) {
        fs::create_directories(directory_ / ".bench" / name);
    }
    if (fs::exists(target_.image / "root")) {
        fs::copy(target_.image / "root", directory_,
                 fs::copy_options::recursive | fs::copy_options::copy_symlinks |
                     fs::copy_options::overwrite_existing);
    }
    build_tree();
    build_tools();
    // Places that the sandbox covers with the workstation's.
    write("/dev/null", "");
    write("/dev/full", "");
    if (sandbox() == Sandbox::kChroot) {
        make_devices(directory_);
        shared_ = hold_copies();
    }
    if (!platform().loader.empty()) {
        make_link(platform().libraries.string(), "/.bench/libraries");
        make_link(platform().loader.string(),
                  "/.bench/libraries/" + fs::canonical(platform().loader).filename().string());
    }
    build_state(setup);
}

void Root::build_tree()
{
    const fs::path table = target_.image / "tree";
    for (const std::vector<std::string> &row : read_table(table, 2)) {
        const bool has_text = row.size() == 3;
        if (row.size() >= 2 && row[0] == "dir") {
            fs::create_directories(host_path(row[1]));
        } else if (has_text && row[0] == "link") {
            put_link(host_path(row[1]), row[2]);
        } else if (row.size() >= 2 && row[0] == "file") {
            write(row[1], has_text ? unescape(row[2]) : "");
        } else {
            throw Error(table.string() + ": not dir, link or file: " + row[0]);
        }
    }
}

void Root::build_tools()
{
    const fs::path table = target_.image / "tools";
    for (const std::vector<std::string> &row : read_table(table, 2)) {
        const char *helper = row.size() == 2 ? helper_for(row[1]) : nullptr;
        if (helper == nullptr) {
            throw Error(table.string() + ": not stand-in, real, shell or rc: " + row[0]);
        }
        const fs::path place = host_path(row[0]);
        fs::create_directories(place.parent_path());
        put_link(place, helper);
    }
}

void Root::build_state(const Setup &setup)
{
    std::vector<Setting> defaults =
        setup.image_defaults ? image_settings(target_.image) : std::vector<Setting>{};
    for (const Setting &setting : setup.defaults) {
        set_entry(defaults, setting);
    }
    write("/etc/default", store_bytes(defaults));
    if (setup.settings) {
        write("/tmp/nvram", store_bytes(*setup.settings));
    }
    for (const NamedFile &file : setup.files) {
        write(file.path, file.bytes);
    }
    for (const std::string &path : setup.removed) {
        remove(path);
    }
    for (const std::string &path : setup.directories) {
        make_directory(path);
    }
    write_whole(directory_ / ".bench/plan", plan_bytes(setup, target_.image));
}

fs::path Root::host_path(std::string_view path) const
{
    if (!path.starts_with('/')) {
        throw Error("not an absolute path: " + std::string(path));
    }
    return resolve(directory_, path, false);
}

std::optional<std::string> Root::read(std::string_view path) const
{
    const fs::path place = resolve(directory_, path, true);
    std::error_code error;
    if (!fs::is_regular_file(fs::symlink_status(place, error)) || access(place.c_str(), R_OK) != 0) {
        return std::nullopt;
    }
    return read_whole(place);
}

bool Root::exists(std::string_view path) const
{
    std::error_code error;
    return fs::exists(fs::symlink_status(host_path(path), error));
}

void Root::write(std::string_view path, std::string_view bytes)
{
    fs::path place = resolve(directory_, path, true);
    if (is_bench_path(directory_, place)) {
        // A file in place of a tool: the link to the helper makes room.
        place = host_path(path);
        fs::remove(place);
    }
    std::error_code error;
    if (fs::is_directory(fs::symlink_status(place, error))) {
        fs::remove_all(place);
    }
    fs::create_directories(place.parent_path(), error);
    if (error) {
        throw Error("cannot make the directory of " + std::string(path) + ": " + error.message());
    }
    write_whole(place, bytes);
    if (bytes.starts_with("#!")) {
        chmod(place.c_str(), 0755);
    }
}

void Root::remove(std::string_view path)
{
    fs::remove_all(host_path(path));
}

void Root::make_directory(std::string_view path)
{
    const fs::path place = host_path(path);
    std::error_code error;
    if (!fs::is_directory(fs::symlink_status(place, error))) {
        fs::remove(place, error);
    }
    fs::create_directories(place, error);
    if (error) {
        throw Error("cannot make directory " + std::string(path) + ": " + error.message());
    }
}

void Root::make_link(std::string_view path, const std::string &text)
{
    const fs::path place = host_path(path);
    fs::remove_all(place);
    fs::create_directories(place.parent_path());
    put_link(place, text);
}

void Root::set_interface(const Interface &interface)
{
    const auto there = std::find_if(interfaces_.begin(), interfaces_.end(), [&](const Interface &candidate) {
        return candidate.name == interface.name;
    });
    if (there == interfaces_.end()) {
        interfaces_.push_back(interface);
    } else {
        *there = interface;
    }
}

std::optional<std::vector<Setting>> Root::settings(std::string_view path) const
{
    const std::optional<std::string> bytes = read(path);
    if (!bytes) {
        return std::nullopt;
    }
    return store_settings(*bytes);
}

std::optional<std::string> Root::setting(std::string_view key) const
{
    for (const Setting &setting : settings().value_or(std::vector<Setting>{})) {
        if (setting.key == key) {
            return setting.value;
        }
    }
    return std::nullopt;
}

}  // namespace bench
