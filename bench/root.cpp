// Builds a root and keeps it: files, links, settings, replies; paths of the root as the workstation sees
// them.
#include <elf.h>
#include <fcntl.h>
#include <link.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "bench/internal.h"
#include "bench/router.h"

namespace fs = std::filesystem;

namespace bench {

namespace {

std::string from_environment(const char *name, const char *otherwise)
{
    const char *value = getenv(name);
    return value == nullptr ? otherwise : value;
}

std::string system_error(const std::string &what, const fs::path &path)
{
    return "cannot " + what + " " + path.string() + ": " + strerror(errno);
}

// ---- paths of the root ----------------------------------------------------------------------------------

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

// Follows `path` in the root as a process inside would, and gives the place on the workstation. What does
// not exist stays as it is.
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

// ---- data files of the image ----------------------------------------------------------------------------

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
        return "/.bench/bin/bench_tool";
    }
    if (kind == "real") {
        return "/.bench/busybox";
    }
    if (kind == "shell") {
        return "/.bench/bin/bench_sh";
    }
    return kind == "rc" ? "/.bench/bin/bench_launch" : nullptr;
}

void put_setting(std::vector<Setting> &settings, const Setting &setting)
{
    const auto same = std::find_if(settings.begin(), settings.end(),
                                   [&](const Setting &other) { return other.key == setting.key; });
    if (same == settings.end()) {
        settings.push_back(setting);
    } else {
        same->value = setting.value;
    }
}

// ---- replies and effects as the stand-in reads them -----------------------------------------------------

std::string base_name(const std::string &tool)
{
    return tool.substr(tool.rfind('/') + 1);
}

// Words with exactly one blank between them.
std::string normal_words(const std::string &text)
{
    std::istringstream parts(text);
    std::string word;
    std::string words;
    while (parts >> word) {
        words += (words.empty() ? "" : " ") + word;
    }
    return words;
}

template <typename Row, typename Other>
bool has_same(const std::vector<Row> &rows, const Other &row)
{
    return std::any_of(rows.begin(), rows.end(), [&](const auto &other) {
        return base_name(other.tool) == base_name(row.tool) &&
               normal_words(other.words) == normal_words(row.words);
    });
}

std::string plan_bytes(const std::vector<Reply> &replies, const std::vector<Effect> &effects)
{
    std::string plan;
    for (const Reply &reply : replies) {
        add_field(plan, "R");
        add_field(plan, base_name(reply.tool));
        add_field(plan, normal_words(reply.words));
        add_field(plan, std::to_string(reply.status));
        add_field(plan, reply.output);
        add_field(plan, reply.errors);
    }
    for (const Effect &effect : effects) {
        add_field(plan, "E");
        add_field(plan, base_name(effect.tool));
        add_field(plan, normal_words(effect.words));
        add_field(plan, "0");
        add_field(plan, effect.command);
        add_field(plan, "");
    }
    return plan;
}

// ---- where roots are made -------------------------------------------------------------------------------

constexpr unsigned long kRoomForARoot = 16UL << 20;

// Scripts of the root must be runnable where it is, and a run must have room.
bool is_usable(const fs::path &directory)
{
    struct statvfs info = {};
    return access(directory.c_str(), W_OK | X_OK) == 0 && statvfs(directory.c_str(), &info) == 0 &&
           (info.f_flag & ST_NOEXEC) == 0 && info.f_bavail * info.f_frsize >= kRoomForARoot;
}

// Removes what a run may have left, directories without permissions included.
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

constexpr const char *kNameOfRoots = "bench.";

// Takes the lock that says that a root is in use; it ends with the process. -1: somebody has it.
int lock_root(const fs::path &directory)
{
    const int fd = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd >= 0 && flock(fd, LOCK_EX | LOCK_NB) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

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

fs::path make_directory_for_root()
{
    for (const std::string &place :
         {std::string("/dev/shm"), from_environment("TMPDIR", ""), std::string("/tmp")}) {
        if (place.empty() || !is_usable(place)) {
            continue;
        }
        static const bool swept = (sweep(place), true);
        (void)swept;
        std::string name = place + "/" + kNameOfRoots + "XXXXXX";
        if (mkdtemp(name.data()) != nullptr) {
            chmod(name.c_str(), 0755);
            return name;
        }
    }
    throw Error("no directory to build a root in: set TMPDIR to one that is writable and not mounted noexec");
}

}  // namespace

// ---- shared with the other files ------------------------------------------------------------------------

std::string read_whole(const fs::path &file)
{
    const int fd = open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) {
        throw Error(system_error("read", file));
    }
    std::string text;
    char piece[65536];
    ssize_t got = 0;
    while ((got = ::read(fd, piece, sizeof piece)) > 0) {
        text.append(piece, static_cast<size_t>(got));
    }
    close(fd);
    if (got < 0) {
        throw Error(system_error("read", file));
    }
    return text;
}

void write_whole(const fs::path &file, std::string_view bytes)
{
    const int fd = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) {
        throw Error(system_error("write", file));
    }
    ssize_t written = 0;
    while (!bytes.empty() && (written = ::write(fd, bytes.data(), bytes.size())) > 0) {
        bytes.remove_prefix(static_cast<size_t>(written));
    }
    if (close(fd) != 0 || !bytes.empty()) {
        throw Error(system_error("write", file));
    }
}

void add_field(std::string &out, std::string_view bytes)
{
    out += std::to_string(bytes.size());
    out += ':';
    out += bytes;
    out += '\0';
}

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

// ---- targets --------------------------------------------------------------------------------------------

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

// ---- the root -------------------------------------------------------------------------------------------

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
    fs::create_directories(directory_, error);
    if (!fs::is_directory(directory_, error) || !fs::is_empty(directory_, error)) {
        throw Error("not an empty directory: " + directory_.string());
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
    for (const char *name : {"bin", "board", "count", "pause", "library"}) {
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
    if (!platform().loader.empty()) {
        fs::create_directories(directory_ / platform().libraries.relative_path());
        write(platform().loader.string(), "");
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
        put_setting(defaults, setting);
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
    build_plan(setup);
}

void Root::build_plan(const Setup &setup)
{
    std::vector<Reply> replies = setup.replies;
    std::vector<Effect> effects = setup.effects;
    if (setup.image_replies) {
        std::vector<Reply> usual;
        std::vector<Effect> usual_effects;
        read_replies_text(target_.image / "replies", usual, usual_effects);
        std::copy_if(usual.begin(), usual.end(), std::back_inserter(replies),
                     [&](const Reply &reply) { return !has_same(setup.replies, reply); });
        std::copy_if(usual_effects.begin(), usual_effects.end(), std::back_inserter(effects),
                     [&](const Effect &effect) {
                         return !has_same(setup.effects, effect) && !has_same(setup.replies, effect);
                     });
    }
    write_whole(directory_ / ".bench/plan", plan_bytes(replies, effects));
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
