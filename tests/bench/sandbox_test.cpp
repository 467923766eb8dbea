// What holds in every sandbox: a run ends, leaves nothing running, and reaches nobody outside. The tests run
// in the sandbox that is used here, and once more as in a container.

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "bench/router.h"
#include "bench/run/watch.h"
#include "tests/programs.h"
#include "tests/running.h"

namespace {

pid_t pretended = 0;  // the process's number; 0: its true one

}  // namespace

// In place of the C library's.
extern "C" pid_t getpid() noexcept
{
    return pretended != 0 ? pretended : static_cast<pid_t>(syscall(SYS_getpid));
}

namespace {

bench::Trace run_probe(const std::string &command, double limit)
{
    bench::Target target = bench::host_target("rc");
    target.program = target.helpers / "bench_probe";
    bench::Root root(target, {});
    bench::Run run;
    run.words = {"rc", "sh", command};
    run.limit = limit;
    return root.run(run);
}

// A process of the workstation, outside every run.
class Bystander {
  public:
    Bystander() : process_(fork())
    {
        if (process_ == 0) {
            for (;;) {
                pause();
            }
        }
    }
    ~Bystander()
    {
        kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
    }
    Bystander(const Bystander &) = delete;
    Bystander &operator=(const Bystander &) = delete;

    std::string number() const { return std::to_string(process_); }
    bool lives() const { return waitpid(process_, nullptr, WNOHANG) == 0; }

  private:
    pid_t process_;
};

Ran rcbench_with(const std::string &sandbox)
{
    return Folder().run("BENCH_SANDBOX='" + sandbox + "' " RCBENCH_TOOL " --verbose --brief list");
}

TEST(Bench, ARunThatStandsStillIsEnded)
{
    const bench::Trace trace = run_probe("/bin/busybox mkfifo /tmp/f; read x </tmp/f", 0.5);
    EXPECT_TRUE(trace.timed_out);
    EXPECT_EQ(trace.limit, "time");
    EXPECT_EQ(trace.signal, SIGKILL);
}

TEST(Bench, WhatLeftItsSessionIsEndedToo)
{
    const bench::Trace trace = run_probe("/bin/busybox setsid /bin/sh -c 'while :; do :; done' & exit 0", 1);
    EXPECT_TRUE(trace.timed_out);
    EXPECT_EQ(trace.status, 0) << "rc itself had ended";
}

TEST(Bench, ARunSignalsNobodyOutside)
{
    const Bystander bystander;
    const bench::Trace trace = run_probe("kill -9 " + bystander.number() + " || echo nobody", 20);
    EXPECT_EQ(trace.output, "nobody\n");
    EXPECT_TRUE(bystander.lives());
}

TEST(Bench, ARunSignalsItsOwn)
{
    const bench::Trace trace =
        run_probe("while :; do :; done & kill $! && wait $!; echo $?; kill -0 $$ && echo here", 20);
    EXPECT_EQ(trace.output, "143\nhere\n");
    EXPECT_FALSE(trace.timed_out);
}

// Whether the process runs; one that has ended and that nobody waited for does not.
bool is_running(const std::string &process)
{
    std::string text;
    std::getline(std::ifstream("/proc/" + process + "/stat"), text, '\0');
    const size_t after_name = text.rfind(')');
    return after_name != std::string::npos && text.substr(after_name + 1, 3) != " Z ";
}

bool ends_in_time(const std::string &process)
{
    constexpr int kGenerous = 6000;  // looks: a minute
    int looks = 0;
    while (is_running(process) && ++looks < kGenerous) {
        usleep(10000);
    }
    return looks < kGenerous;
}

TEST(Bench, ASandboxThatDoesNotEndIsKilledWithAllItStarted)
{
    int ends[2] = {};
    ASSERT_EQ(pipe(ends), 0);
    const pid_t shell = fork();
    if (shell == 0) {
        dup2(ends[1], STDOUT_FILENO);
        execl("/bin/sh", "sh", "-c",
              "sh -c 'sleep 1000 & echo $! $$; wait' & setsid sh -c 'echo $$; sleep 1000; :' & wait",
              nullptr);
        _exit(127);
    }
    close(ends[1]);
    std::string text;
    char piece[100];
    while (std::count(text.begin(), text.end(), '\n') < 2) {
        const ssize_t got = read(ends[0], piece, sizeof piece);
        ASSERT_GT(got, 0);
        text.append(piece, static_cast<size_t>(got));
    }
    close(ends[0]);
    bench::kill_all(shell);
    int status = 0;
    EXPECT_EQ(waitpid(shell, &status, 0), shell);
    EXPECT_EQ(WTERMSIG(status), SIGKILL);
    std::istringstream processes(text);
    int count = 0;
    for (std::string process; processes >> process; ++count) {
        EXPECT_TRUE(ends_in_time(process)) << process;
    }
    EXPECT_EQ(count, 3);
}

// Than the one that is prepared.
bool runs_another_program(const bench::Target &target)
{
    try {
        bench::Root root(target, {});
        bench::Run run;
        run.words = {"rc", "printk", "start"};
        run.program = std::filesystem::path(RCBENCH_TOOL).parent_path() / "rc";
        return root.run(run).output.find("ap_name=printk action=start\n") != std::string::npos;
    } catch (const std::exception &error) {
        fprintf(stderr, "%s\n", error.what());
        return false;
    }
}

// The system gives the number of a process that has ended to another one.
TEST(Bench, ProcessesOfTheSameNumberDoNotMeet)
{
    bench::Target target = bench::host_target("rc");
    target.program = target.helpers / "bench_probe";
    bench::prepare(target);
    for (int i = 0; i < 2; ++i) {
        const pid_t child = fork();
        if (child == 0) {
            pretended = 4711;
            _exit(runs_another_program(target) ? 0 : 1);
        }
        int status = -1;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
    }
}

TEST(Bench, TheSandboxUsedIsNamed)
{
    const std::string name = bench::sandbox_name(bench::sandbox());
    const Ran said = rcbench_with(name);
    EXPECT_EQ(said.status, 0);
    EXPECT_NE(said.errors.find("rcbench: sandbox: " + name + "\n"), std::string::npos) << said.errors;
}

TEST(Bench, ASandboxThatDoesNotExistIsRefusedInOneLine)
{
    const Ran said = rcbench_with("jail");
    EXPECT_EQ(said.status, 3);
    EXPECT_EQ(said.errors, "rcbench: BENCH_SANDBOX=jail: no such sandbox; use namespaces, chroot or proot\n");
}

}  // namespace
