// One run of a root: the run file, the sandbox, and what changed, as a trace.
#include <algorithm>
#include <chrono>
#include <sstream>

#include "bench/router.h"
#include "bench/run/files.h"
#include "bench/run/platform.h"
#include "bench/run/record.h"
#include "bench/run/run_file.h"
#include "bench/run/sandbox.h"
#include "bench/run/snapshot.h"

namespace fs = std::filesystem;

namespace bench {

namespace {

void reset_bench(const fs::path &bench, const Run &run)
{
    for (const fs::directory_entry &entry : fs::directory_iterator(bench)) {
        if (entry.path().filename().string().starts_with("out.")) {
            fs::remove(entry.path());
        }
    }
    fs::remove(bench / "count/runs");
    for (const char *name : {"pause", "clock"}) {
        fs::remove_all(bench / name);
        fs::create_directory(bench / name);
    }
    write_whole(bench / "record", "");
    write_whole(bench / "errors", "");
    for (const auto &[number, command] : run.pauses) {
        write_whole(bench / "pause" / std::to_string(number), command + "\n");
    }
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

// The latest time to which a pause moved a clock.
int64_t latest_time(const fs::path &clocks, int64_t start)
{
    int64_t latest = start;
    for (const fs::directory_entry &entry : fs::directory_iterator(clocks)) {
        std::istringstream times(read_whole(entry.path()));
        for (int64_t time = 0; times >> time;) {
            latest = std::max(latest, time);
        }
    }
    return latest;
}

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
        run_in_sandbox(target_, directory_, run);
    }
    Trace trace;
    read_record(*this, trace);
    trace.files = compare_snapshots(before, take_snapshot(directory_, false));
    trace.settings = compare_settings(settings_before, settings().value_or(std::vector<Setting>{}));
    if (run.clock) {
        trace.clock_end = latest_time(directory_ / ".bench/clock", *run.clock * 1000000);
    }
    trace.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    return trace;
}

void Root::run_unwatched(const Run &run)
{
    reset_bench(directory_ / ".bench", run);
    write_whole(directory_ / ".bench/run", run_file(target_, run, interfaces_));
    run_in_sandbox(target_, directory_, run);
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
    run_in_sandbox(plain, directory_, run);
    return read("/.bench/out.0").value_or("");
}

}  // namespace bench
