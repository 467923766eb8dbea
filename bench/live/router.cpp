#include "bench/live/router.h"

#include <poll.h>
#include <sys/inotify.h>
#include <sys/mount.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <sstream>

#include "bench/run/files.h"
#include "bench/run/platform.h"

namespace fs = std::filesystem;

namespace live {

namespace {

using bench::Error;

constexpr const char *kFlag = "/proc/net/ipt_condition/schedule";

// ---- the root ---------------------------------------------------------------------------------------------

// Files of the root that are the kernel's own in a live router.
constexpr const char *kKernelFiles[] = {"uptime", "sys", "net/route", "net/dev", "net/arp"};

void use_kernel_files(bench::Root &root)
{
    for (const char *name : kKernelFiles) {
        root.make_link(std::string("/proc/") + name, std::string("/.live/proc/") + name);
    }
}

std::string program_words(const bench::Target &target)
{
    if (target.emulator.empty()) {
        return "LD_PRELOAD=/.live/preload exec /.live/rc \"$@\"\n";
    }
    return "exec /.live/emulator -L /.live/library -E LD_PRELOAD=/.live/preload /.live/rc \"$@\"\n";
}

void place_tool(bench::Root &root, const bench::Target &target, const ToolRow &row)
{
    if (row.kind == "real") {
        root.make_link(row.path, row.what == "busybox" ? "/.live/busybox" : row.what);
        return;
    }
    const fs::path script = target.image / "live" / row.what;
    root.remove(row.path);
    root.write(row.path, bench::read_whole(script));
}

// Mount points for what be_router_init() brings.
void make_mount_points(bench::Root &root)
{
    for (const char *directory : {"/.live/workstation", "/.live/proc", "/.live/bin", "/.live/line",
                                  "/.live/as", "/.live/library/lib", "/sys"}) {
        root.make_directory(directory);
    }
    for (const char *file : {"/.live/preload", "/.live/rc", "/.live/busybox", "/.live/dash",
                             "/.live/emulator", "/dev/urandom", "/dev/zero"}) {
        root.write(file, "");
    }
}

// ---- process 1 --------------------------------------------------------------------------------------------

void bind(const fs::path &outside, const std::string &inside)
{
    const std::string place = kRouterRoot + inside;
    if (mount(outside.c_str(), place.c_str(), nullptr, MS_BIND | MS_REC, nullptr) != 0) {
        throw Error("cannot bind " + outside.string() + " at " + inside + ": " + strerror(errno));
    }
}

void mount_kernel(const char *type, const std::string &inside)
{
    const std::string place = kRouterRoot + inside;
    if (mount(type, place.c_str(), type, MS_NOSUID | MS_NODEV | MS_NOEXEC, nullptr) != 0) {
        throw Error(std::string("cannot mount ") + type + " for the router: " + strerror(errno));
    }
}

void mount_router(const bench::Target &target)
{
    if (mount("none", "/", "", MS_REC | MS_PRIVATE, nullptr) != 0) {
        throw Error(std::string("cannot keep mounts apart: ") + strerror(errno));
    }
    bind("/", "/.live/workstation");
    mount_kernel("proc", "/.live/proc");
    mount_kernel("sysfs", "/sys");
    bind(target.helpers, "/.live/bin");
    bind(target.program, "/.live/rc");
    bind(target.preload.parent_path() / "libbench_live_preload.so", "/.live/preload");
    bind(bench::platform().busybox, "/.live/busybox");
    bind(bench::platform().shell, "/.live/dash");
    if (!target.emulator.empty()) {
        bind(target.emulator, "/.live/emulator");
        bind(target.library, "/.live/library/lib");
    }
    if (!bench::platform().loader.empty()) {
        bind(bench::platform().libraries, "/.bench/libraries");  // the root has links there
    }
    for (const char *device : {"/dev/null", "/dev/full", "/dev/zero", "/dev/urandom"}) {
        bind(device, device);
    }
}

// A program of the workstation that works on the router's network.
void run_tool(const std::vector<const char *> &words)
{
    const pid_t child = fork();
    if (child == 0) {
        std::vector<char *> arguments;
        arguments.reserve(words.size() + 1);
        for (const char *word : words) {
            arguments.push_back(const_cast<char *>(word));
        }
        arguments.push_back(nullptr);
        if (chroot("/.live/workstation") == 0) {
            setenv("PATH", "/usr/sbin:/usr/bin:/sbin:/bin", 1);
            execvp(arguments[0], arguments.data());
        }
        _exit(127);
    }
    while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
}

// The set "schedule" has every address while the flag says 1, so that rules can match on it; what it was
// switched to last stands in /.live/schedule.
void follow_flag()
{
    const bool active = access(kFlag, R_OK) == 0 && bench::read_whole(kFlag).starts_with("1");
    run_tool({"ipset", "flush", "schedule"});
    if (active) {
        run_tool({"ipset", "add", "schedule", "0.0.0.0/1"});
        run_tool({"ipset", "add", "schedule", "128.0.0.0/1"});
    }
    bench::write_whole("/.live/schedule.new", active ? "1" : "0");
    fs::rename("/.live/schedule.new", "/.live/schedule");
}

void collect_ended()
{
    while (waitpid(-1, nullptr, WNOHANG) > 0) {
    }
}

}  // namespace

std::vector<ToolRow> live_tools(const bench::Target &target)
{
    std::istringstream lines(bench::read_whole(target.image / "live/tools"));
    std::vector<ToolRow> rows;
    std::string line;
    while (std::getline(lines, line)) {
        std::istringstream words(line);
        ToolRow row;
        if (!line.empty() && line[0] != '#' && words >> row.path >> row.kind >> row.what) {
            rows.push_back(row);
        }
    }
    return rows;
}

std::unique_ptr<bench::Root> build_router(const RouterChoice &choice)
{
    bench::Setup setup;
    setup.defaults = choice.settings;
    setup.settings.reset();
    auto root = std::make_unique<bench::Root>(choice.target, setup, kRouterRoot);
    make_mount_points(*root);
    use_kernel_files(*root);
    for (const ToolRow &row : live_tools(choice.target)) {
        place_tool(*root, choice.target, row);
    }
    for (const char *path : {"/usr/sbin/rc", "/sbin/rc"}) {
        root->remove(path);
        root->write(path, "#!/bin/sh\n" + program_words(choice.target));
    }
    root->make_link("/bin/sh", "/.live/dash");
    for (const char *path : {"/bin/busybox", "/.bench/busybox"}) {
        root->make_link(path, "/.live/busybox");
    }
    root->write("/.live/circuit", bench::read_whole(choice.target.image / "live/circuit"));
    root->write("/.live/schedule", "0");
    return root;
}

void be_router_init(const bench::Target &target)
{
    mount_router(target);
    if (chroot(kRouterRoot) != 0 || chdir("/") != 0) {
        throw Error(std::string("cannot enter the router's root: ") + strerror(errno));
    }
    sigset_t ended;
    sigemptyset(&ended);
    sigaddset(&ended, SIGCHLD);
    sigprocmask(SIG_BLOCK, &ended, nullptr);
    const int signals = signalfd(-1, &ended, SFD_CLOEXEC | SFD_NONBLOCK);
    const int changes = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    (void)inotify_add_watch(changes, kFlag, IN_CLOSE_WRITE);
    run_tool({"ipset", "create", "schedule", "hash:net"});
    bench::write_whole("/.live/ready", "");
    for (;;) {
        pollfd asked[2] = {{signals, POLLIN, 0}, {changes, POLLIN, 0}};
        (void)poll(asked, 2, -1);
        char bytes[4096];
        while (read(signals, bytes, sizeof bytes) > 0) {
        }
        collect_ended();
        if (read(changes, bytes, sizeof bytes) > 0) {
            follow_flag();
        }
    }
}

void set_line(bench::Root &root, const Line &line)
{
    root.write("/.live/line/provider",
               "SIGNAL=" + std::string(line.has_signal ? "Showtime" : "Idle") + "\nCIRCUIT=" + line.circuit +
                   "\nENCAPSULATION=" + line.encapsulation + "\nPPP_USER='" + line.user +
                   "'\nPPP_PASSWORD='" + line.password + "'\nARP_SERVER=" + line.arp_server + "\n");
}

RouterRun rc_run(const RouterChoice &choice, const std::string &words, const std::string &clock)
{
    RouterRun run;
    run.words = {"/usr/sbin/rc"};
    std::istringstream parts(words);
    for (std::string word; parts >> word;) {
        run.words.push_back(word);
    }
    run.environment = {"LIVE_PAUSES=" + std::to_string(choice.pauses)};
    if (!clock.empty()) {
        run.environment.push_back("BENCH_CLOCK=" + clock + "000000");
    }
    return run;
}

std::vector<int> running_rc()
{
    std::vector<int> numbers;
    for (const fs::directory_entry &entry : fs::directory_iterator("/proc")) {
        std::error_code error;
        const std::string directory = entry.path();
        if (!isdigit(static_cast<unsigned char>(entry.path().filename().string()[0]))) {
            continue;
        }
        std::string words;
        std::string status;
        try {
            words = bench::read_whole(directory + "/cmdline");
            status = bench::read_whole(directory + "/status");
        } catch (const Error &) {
            continue;  // it has ended meanwhile
        }
        if (words.find("/.live/rc") == std::string::npos) {
            continue;
        }
        const size_t at = status.find("NSpid:");
        const std::string line = status.substr(at, status.find('\n', at) - at);
        numbers.push_back(atoi(line.c_str() + line.find_last_of(" \t") + 1));
    }
    return numbers;
}

}  // namespace live
