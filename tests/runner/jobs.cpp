#include "tests/runner/jobs.h"

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>

namespace {

// The process of a case.
struct Process {
    pid_t id = -1;
    int report = -1;  // descriptor of a file in memory
    bool done = false;
    bool passed = false;
    int signal = 0;  // that ended it
};

// Which case it is, as the words of a command.
std::string case_words(const Job &job)
{
    return shell_word(job.file->path) + (job.one->name.empty() ? "" : " --case " + job.one->name);
}

// The body of a case's process: writes its report and returns its exit status, 2 when it could not be run.
int run_job(const Programs &programs, const JobOptions &options, const Job &job, int output)
{
    std::string report;
    bool passed = false;
    int status = 1;
    try {
        if (options.print) {
            report = job.one->name.empty() ? "" : "# " + case_words(job) + "\n";
            report += print_scenario(programs, job.scenario);
            passed = true;
        } else {
            passed = run_scenario(programs, *job.file, job.scenario, report);
        }
    } catch (const std::exception &error) {
        report = std::string("it could not be run: ") + error.what() + "\n";
        status = 2;
    }
    if (!passed) {
        report = "FAILED " + case_words(job) + "\n# " + job.scenario.title + "\n" + report +
                 "again: " + options.again + case_words(job) + "\n";
    }
    const bool written = write(output, report.data(), report.size()) == static_cast<ssize_t>(report.size());
    return passed && written ? 0 : status;
}

[[noreturn]] void give_up(const std::string &what)
{
    fprintf(stderr, "scenario: %s: %s\n", what.c_str(), strerror(errno));
    exit(3);
}

void start_job(const Programs &programs, const JobOptions &options, const Job &job, Process &process)
{
    process.report = memfd_create("report", MFD_CLOEXEC);
    if (process.report < 0) {
        give_up("cannot make a report");
    }
    fflush(nullptr);
    process.id = fork();
    if (process.id < 0) {
        give_up("cannot start a process");
    }
    if (process.id == 0) {
        _exit(run_job(programs, options, job, process.report));
    }
}

void print_report(const Job &job, const Process &process)
{
    char piece[65536];
    ssize_t got = 0;
    (void)lseek(process.report, 0, SEEK_SET);
    while ((got = read(process.report, piece, sizeof piece)) > 0) {
        fwrite(piece, 1, static_cast<size_t>(got), stdout);
    }
    close(process.report);
    if (process.signal != 0) {
        printf("FAILED %s\nits process was ended by signal %d\n", case_words(job).c_str(), process.signal);
    }
}

void wait_for_one(std::vector<Process> &processes, size_t started)
{
    int status = 0;
    const pid_t ended = waitpid(-1, &status, 0);
    for (size_t i = 0; i < started; ++i) {
        if (processes[i].id == ended) {
            processes[i].done = true;
            processes[i].passed = WIFEXITED(status) && WEXITSTATUS(status) == 0;
            processes[i].signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
        }
    }
}

}  // namespace

std::string shell_word(const std::string &word)
{
    const char *plain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789/._-+=:,@%";
    if (!word.empty() && word.find_first_not_of(plain) == std::string::npos) {
        return word;
    }
    std::string quoted = "'";
    for (const char c : word) {
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return quoted + "'";
}

JobCounts run_jobs(const Programs &programs, const JobOptions &options, const std::vector<Job> &jobs)
{
    std::vector<Process> processes(jobs.size());
    size_t started = 0;
    size_t running = 0;
    size_t printed = 0;
    size_t passed = 0;
    size_t wanted = jobs.size();
    while (printed < wanted) {
        for (; started < wanted && running < static_cast<size_t>(options.processes); ++started, ++running) {
            start_job(programs, options, jobs[started], processes[started]);
        }
        wait_for_one(processes, started);
        --running;
        for (; printed < started && processes[printed].done; ++printed) {
            print_report(jobs[printed], processes[printed]);
            passed += processes[printed].passed ? 1 : 0;
            wanted = options.stop && !processes[printed].passed ? started : wanted;
        }
    }
    return {passed, printed - passed};
}
