// Runs a program in a root, isolated: bubblewrap makes the namespaces and mounts, bench_init inside makes
// the interfaces, starts the program and waits for everything it left in the background.
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>

#include "bench/inside.h"
#include "bench/internal.h"
#include "bench/router.h"

namespace fs = std::filesystem;

namespace bench {

namespace {

constexpr const char *kSandbox = "/usr/bin/bwrap";
// The init inside ends a run at its limit; should it fail to, the sandbox is killed this much later.
constexpr double kGrace = 10;

// Whether the sandbox needs a user namespace: an ordinary user's always, root's where the plain way failed.
std::atomic<bool> with_user_namespace = geteuid() != 0;

void add_words(std::vector<std::string> &words, std::initializer_list<std::string> more)
{
    words.insert(words.end(), more);
}

// Mount points are made by the sandbox where they are missing; all are in /.bench or prepared by build().
std::vector<std::string> sandbox_words(const Target &target, const fs::path &root, const Run &run)
{
    std::vector<std::string> words = {kSandbox};
    add_words(words, {"--unshare-pid", "--unshare-net", "--unshare-uts", "--unshare-ipc", "--as-pid-1",
                      "--die-with-parent", "--clearenv"});
    if (with_user_namespace) {
        add_words(words, {"--unshare-user", "--uid", "0", "--gid", "0"});
    }
    add_words(words, {"--cap-drop", "ALL"});
    for (const char *capability :
         {"CAP_NET_ADMIN", "CAP_NET_RAW", "CAP_DAC_OVERRIDE", "CAP_FOWNER", "CAP_KILL"}) {
        add_words(words, {"--cap-add", capability});
    }
    add_words(words, {"--bind", root, "/"});
    add_words(words, {"--dev-bind", "/dev/null", "/dev/null", "--dev-bind", "/dev/full", "/dev/full"});
    add_words(words, {"--ro-bind", target.helpers, "/.bench/bin"});
    add_words(words, {"--ro-bind", platform().shell, inside::kShell});
    add_words(words, {"--ro-bind", platform().busybox, "/.bench/busybox"});
    add_words(words, {"--ro-bind", target.preload, "/.bench/preload"});
    add_words(words, {"--ro-bind", target.program, "/.bench/rc"});
    if (!run.program.empty()) {
        add_words(words, {"--ro-bind", fs::absolute(run.program), "/.bench/program"});
    }
    if (!target.emulator.empty()) {
        add_words(words, {"--ro-bind", target.emulator, "/.bench/emulator"});
        add_words(words, {"--ro-bind", target.library, "/.bench/library/lib"});
    }
    if (!platform().loader.empty()) {
        add_words(words, {"--ro-bind", platform().libraries, platform().libraries});
        add_words(words, {"--ro-bind", fs::canonical(platform().loader), platform().loader});
    }
    if (run.system_view || !run.wrapper.empty()) {
        add_words(words, {"--ro-bind", "/", "/.bench/workstation", "--proc", "/.bench/proc"});
    }
    add_words(words, {"--chdir", "/", "/.bench/bin/bench_init"});
    return words;
}

void add_pair(std::string &out, char letter, std::string_view value)
{
    add_field(out, std::string(1, letter));
    add_field(out, value);
}

std::string interface_text(const Interface &interface, size_t number)
{
    char hardware[32];
    snprintf(hardware, sizeof hardware, "02:00:00:00:00:%02zx", number & 0xff);
    return interface.name + " " + (interface.address.empty() ? "-" : interface.address) + " " +
           std::to_string(interface.bits) + " " +
           (interface.hardware.empty() ? hardware : interface.hardware);
}

// The words before the program: a checker, or the emulator with the preloaded library for the emulated
// program alone.
std::vector<std::string> prefix_words(const Target &target, const Run &run)
{
    std::vector<std::string> words;
    for (const std::string &word : run.wrapper) {
        words.push_back(words.empty() ? "/.bench/workstation" + word : word);
    }
    if (!target.emulator.empty()) {
        add_words(words, {"/.bench/emulator", "-0", "%0", "-L", "/.bench/library", "-E",
                          "LD_PRELOAD=/.bench/preload"});
    }
    return words;
}

std::string run_file(const Target &target, const Run &run, const std::vector<Interface> &interfaces)
{
    std::string out;
    add_pair(out, 'P', "/.bench/rc");
    add_pair(out, 'R', run.program.empty() ? "/.bench/rc" : "/.bench/program");
    for (const std::string &word : prefix_words(target, run)) {
        add_pair(out, 'p', word);
    }
    for (const std::string &word : run.words) {
        add_pair(out, 'a', word);
    }
    // The program must set the search path itself: this one is not enough for its commands.
    add_pair(out, 'e', "PATH=/bin");
    if (target.emulator.empty()) {
        add_pair(out, 'e', "LD_PRELOAD=/.bench/preload");
    }
    if (run.clock) {
        add_pair(out, 'e', "BENCH_CLOCK=" + std::to_string(*run.clock));
    }
    if (run.calls_fail) {
        add_pair(out, 'e', "BENCH_FAIL=1");
    }
    add_pair(out, 'e', "BENCH_PAUSES=" + std::to_string(run.most_pauses));
    if (!run.wrapper.empty()) {
        add_pair(out, 'e', "VALGRIND_LIB=/.bench/workstation/usr/libexec/valgrind");
    }
    for (const std::string &variable : run.environment) {
        add_pair(out, 'e', variable);
    }
    if (run.nested) {
        add_pair(out, 'n', "1");
    }
    add_pair(out, 'l', std::to_string(static_cast<long>(run.limit * 1000)));
    for (size_t i = 0; i < interfaces.size(); i++) {
        add_pair(out, 'i', interface_text(interfaces[i], i + 1));
    }
    return out;
}

// Waits for the process to end, at most so long; false when it has not.
bool wait_for(pid_t process, double seconds)
{
    const int fd = static_cast<int>(syscall(SYS_pidfd_open, process, 0));
    if (fd < 0) {
        return true;  // an old kernel: the limit inside must do
    }
    const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    bool ended = false;
    for (;;) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        pollfd asked = {fd, POLLIN, 0};
        const int ready = poll(&asked, 1, static_cast<int>(std::max<long>(left.count(), 0)));
        if (ready < 0 && errno == EINTR) {
            continue;
        }
        ended = ready > 0;
        break;
    }
    close(fd);
    return ended;
}

// Runs the sandbox to its end; its messages go to /.bench/sandbox.
void run_sandbox(const std::vector<std::string> &words, const fs::path &root, double limit)
{
    std::vector<char *> arguments;
    arguments.reserve(words.size() + 1);
    for (const std::string &word : words) {
        arguments.push_back(const_cast<char *>(word.c_str()));
    }
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, (root / ".bench/sandbox").c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
    char *no_environment[] = {nullptr};
    pid_t process = 0;
    const int error = posix_spawn(&process, kSandbox, &actions, nullptr, arguments.data(), no_environment);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        throw Error(std::string("cannot run ") + kSandbox + ": " + strerror(error) + ": run scripts/setup");
    }
    if (!wait_for(process, limit + kGrace)) {
        kill(process, SIGKILL);
    }
    int status = 0;
    while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
}

void reset_bench(const fs::path &bench, const Run &run)
{
    for (const fs::directory_entry &entry : fs::directory_iterator(bench)) {
        if (entry.path().filename().string().starts_with("out.")) {
            fs::remove(entry.path());
        }
    }
    fs::remove(bench / "count/runs");
    fs::remove_all(bench / "pause");
    fs::create_directory(bench / "pause");
    write_whole(bench / "record", "");
    write_whole(bench / "errors", "");
    for (const auto &[number, command] : run.pauses) {
        write_whole(bench / "pause" / std::to_string(number), command + "\n");
    }
}

// Whether the init inside got as far as starting the program.
bool has_begun(const fs::path &root)
{
    return read_whole(root / ".bench/record").starts_with(inside::kEntryReady);
}

void start(const Target &target, const fs::path &root, const Run &run)
{
    run_sandbox(sandbox_words(target, root, run), root, run.limit);
    if (!has_begun(root) && !with_user_namespace) {
        with_user_namespace = true;
        run_sandbox(sandbox_words(target, root, run), root, run.limit);
        with_user_namespace = has_begun(root);
    }
    if (!has_begun(root)) {
        throw Error("the sandbox did not start: " + read_whole(root / ".bench/sandbox"));
    }
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

// Checkers look at their own process under /proc; for the time of the run the root has the real one there.
class SystemView {
  public:
    SystemView(const fs::path &root, bool wanted) : root_(wanted ? root : fs::path())
    {
        if (wanted) {
            fs::rename(root_ / "proc/self", root_ / ".bench/self");
            fs::create_symlink("/.bench/proc/self", root_ / "proc/self");
            fs::create_symlink("/.bench/proc/2", root_ / "proc/2");
        }
    }
    ~SystemView()
    {
        std::error_code error;
        if (!root_.empty()) {
            fs::remove(root_ / "proc/self", error);
            fs::remove(root_ / "proc/2", error);
            fs::rename(root_ / ".bench/self", root_ / "proc/self", error);
        }
    }
    SystemView(const SystemView &) = delete;
    SystemView &operator=(const SystemView &) = delete;

  private:
    fs::path root_;
};

}  // namespace

Trace Root::run(const Run &run)
{
    const auto begin = std::chrono::steady_clock::now();
    reset_bench(directory_ / ".bench", run);
    write_whole(directory_ / ".bench/run", run_file(target_, run, interfaces_));
    const Snapshot before = take_snapshot(directory_, true);
    const std::vector<Setting> settings_before = settings().value_or(std::vector<Setting>{});
    {
        const SystemView view(directory_, run.system_view || !run.wrapper.empty());
        start(target_, directory_, run);
    }
    Trace trace;
    read_record(*this, trace);
    trace.files = compare_snapshots(before, take_snapshot(directory_, false));
    trace.settings = compare_settings(settings_before, settings().value_or(std::vector<Setting>{}));
    trace.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    return trace;
}

std::string Root::shell(const std::string &command)
{
    Target plain = target_;
    plain.emulator.clear();
    Run run;
    run.words = {"sh", "-c", command};
    run.program = platform().shell;
    run.environment = {"PATH=/bin:/sbin:/usr/sbin:/usr/bin"};
    reset_bench(directory_ / ".bench", run);
    write_whole(directory_ / ".bench/run", run_file(plain, run, interfaces_));
    start(plain, directory_, run);
    return read("/.bench/out.0").value_or("");
}

}  // namespace bench
