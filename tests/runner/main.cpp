// Runs scenario files: scenario [OPTIONS] FILE...
//
// Each file is run in a process of its own, several at once; their reports come out in the order of the
// files. Exit status: 0 all passed, 1 some failed, 2 wrong input.
#include <getopt.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <optional>
#include <string>
#include <vector>

#include "tests/runner/runner.h"

namespace {

namespace fs = std::filesystem;

constexpr const char *kHelp =
    "usage: scenario [OPTIONS] FILE...\n"
    "Runs scenario files (tests/README.md) and shows where what happened differs from what they expect.\n"
    "\n"
    "  --program FILE   the rc under test (rc beside this program)\n"
    "  --direct FILE    the driver of single operations (rc-direct beside rc)\n"
    "  --preload FILE   the library preloaded into both (../lib/libbench_preload.so beside rc)\n"
    "  --emulate        rc is a program of the router's processor\n"
    "  --print          show what happens instead, in the form of a scenario\n"
    "  -j N             that many files at once (the number of processors)\n"
    "  --help           this text\n";

struct Options {
    fs::path program;
    fs::path direct;
    fs::path preload;
    bool emulate = false;
    bool print = false;
    int jobs = 0;
    std::vector<std::string> files;
    std::string again;  // this program and its options, as a shell reads them
};

// One file, read and ready to run, and its process while it does.
struct Job {
    Scenario scenario;
    int report = -1;  // descriptor of a file in memory
    pid_t process = -1;
    bool done = false;
    bool passed = false;
    int signal = 0;  // that ended the process
};

[[noreturn]] void refuse(const std::string &why)
{
    fprintf(stderr, "scenario: %s\n", why.c_str());
    exit(2);
}

// ---- options --------------------------------------------------------------------------------------------

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

int read_jobs(const char *text)
{
    char *end = nullptr;
    const long jobs = strtol(text, &end, 10);
    if (*text == '\0' || *end != '\0' || jobs < 1 || jobs > 1024) {
        refuse(std::string("-j takes a number from 1 to 1024, not \"") + text + "\"");
    }
    return static_cast<int>(jobs);
}

void read_option(int option, Options &options)
{
    switch (option) {
        case 'p':
            options.program = optarg;
            break;
        case 'd':
            options.direct = optarg;
            break;
        case 'l':
            options.preload = optarg;
            break;
        case 'e':
            options.emulate = true;
            break;
        case 's':
            options.print = true;
            break;
        case 'j':
            options.jobs = read_jobs(optarg);
            break;
        case 'h':
            fputs(kHelp, stdout);
            exit(0);
        default:
            refuse("see scenario --help");
    }
}

// What was given, completed by what lies beside it.
void complete_options(Options &options)
{
    if (options.program.empty()) {
        options.program = fs::read_symlink("/proc/self/exe").parent_path() / "rc";
    }
    options.program = fs::absolute(options.program);
    const fs::path beside = options.program.parent_path();
    options.direct = options.direct.empty() ? beside / "rc-direct" : fs::absolute(options.direct);
    options.preload = options.preload.empty() ? beside.parent_path() / "lib" / "libbench_preload.so"
                                              : fs::absolute(options.preload);
    if (options.jobs == 0) {
        const long processors = sysconf(_SC_NPROCESSORS_ONLN);
        options.jobs = processors > 0 ? static_cast<int>(processors) : 1;
    }
    for (const fs::path &file : {options.program, options.preload}) {
        if (access(file.c_str(), R_OK) != 0) {
            refuse("cannot read " + file.string() + ": " + strerror(errno));
        }
    }
}

Options read_options(int argc, char **argv)
{
    static const option kLong[] = {
        {"program", required_argument, nullptr, 'p'}, {"direct", required_argument, nullptr, 'd'},
        {"preload", required_argument, nullptr, 'l'}, {"emulate", no_argument, nullptr, 'e'},
        {"print", no_argument, nullptr, 's'},         {"jobs", required_argument, nullptr, 'j'},
        {"help", no_argument, nullptr, 'h'},          {nullptr, 0, nullptr, 0},
    };
    Options options;
    for (int option = 0; (option = getopt_long(argc, argv, "j:h", kLong, nullptr)) != -1;) {
        read_option(option, options);
    }
    options.files.assign(argv + optind, argv + argc);
    if (options.files.empty()) {
        refuse("no scenario file is given; see scenario --help");
    }
    // getopt has moved the files behind the options.
    for (int i = 0; i < optind; i++) {
        options.again += shell_word(argv[i]) + " ";
    }
    complete_options(options);
    return options;
}

// ---- files ----------------------------------------------------------------------------------------------

std::string read_file(const std::string &path)
{
    FILE *file = fopen(path.c_str(), "r");
    if (file == nullptr) {
        refuse("cannot read " + path + ": " + strerror(errno));
    }
    std::string text;
    char piece[65536];
    size_t got = 0;
    while ((got = fread(piece, 1, sizeof piece, file)) > 0) {
        text.append(piece, got);
    }
    const bool failed = ferror(file) != 0;
    fclose(file);
    if (failed) {
        refuse("cannot read " + path);
    }
    return text;
}

// Reads all files. Every wrong one gets its line, then nothing is run.
std::vector<Job> read_scenarios(const Options &options)
{
    std::vector<Job> jobs(options.files.size());
    bool good = true;
    for (size_t i = 0; i < jobs.size(); i++) {
        std::string why;
        Scenario &scenario = jobs[i].scenario;
        if (!parse_scenario(options.files[i], read_file(options.files[i]), scenario, why) ||
            (!options.print && !check_expectations(scenario, why))) {
            fprintf(stderr, "scenario: %s\n", why.c_str());
            good = false;
        }
    }
    if (!good) {
        exit(2);
    }
    return jobs;
}

// ---- running --------------------------------------------------------------------------------------------

// The body of a file's process: writes its report and returns its exit status, 2 when it could not be run.
int run_job(const Programs &programs, const Options &options, const Job &job)
{
    std::string report;
    bool passed = false;
    int status = 1;
    try {
        if (options.print) {
            report = print_scenario(programs, job.scenario);
            passed = true;
        } else {
            passed = run_scenario(programs, job.scenario, report);
        }
    } catch (const std::exception &error) {
        report = std::string("it could not be run: ") + error.what() + "\n";
        status = 2;
    }
    if (!passed) {
        report = "FAILED " + job.scenario.path + "\n# " + job.scenario.title + "\n" + report +
                 "again: " + options.again + shell_word(job.scenario.path) + "\n";
    }
    const bool written =
        write(job.report, report.data(), report.size()) == static_cast<ssize_t>(report.size());
    return passed && written ? 0 : status;
}

void start_job(const Programs &programs, const Options &options, Job &job)
{
    job.report = memfd_create("report", MFD_CLOEXEC);
    if (job.report < 0) {
        refuse(std::string("cannot make a report: ") + strerror(errno));
    }
    fflush(nullptr);
    job.process = fork();
    if (job.process < 0) {
        refuse(std::string("cannot start a process: ") + strerror(errno));
    }
    if (job.process == 0) {
        _exit(run_job(programs, options, job));
    }
}

void print_report(Job &job)
{
    char piece[65536];
    ssize_t got = 0;
    (void)lseek(job.report, 0, SEEK_SET);
    while ((got = read(job.report, piece, sizeof piece)) > 0) {
        fwrite(piece, 1, static_cast<size_t>(got), stdout);
    }
    close(job.report);
    if (job.signal != 0) {
        printf("FAILED %s\nits process was ended by signal %d\n", job.scenario.path.c_str(), job.signal);
    }
}

void wait_for_one(std::vector<Job> &jobs, size_t started)
{
    int status = 0;
    const pid_t ended = waitpid(-1, &status, 0);
    for (size_t i = 0; i < started; i++) {
        if (jobs[i].process == ended) {
            jobs[i].done = true;
            jobs[i].passed = WIFEXITED(status) && WEXITSTATUS(status) == 0;
            jobs[i].signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
        }
    }
}

// Runs all; returns how many passed.
size_t run_jobs(const Programs &programs, const Options &options, std::vector<Job> &jobs)
{
    size_t started = 0;
    size_t running = 0;
    size_t printed = 0;
    size_t passed = 0;
    while (printed < jobs.size()) {
        for (; started < jobs.size() && running < static_cast<size_t>(options.jobs); started++, running++) {
            start_job(programs, options, jobs[started]);
        }
        wait_for_one(jobs, started);
        running--;
        for (; printed < started && jobs[printed].done; printed++) {
            print_report(jobs[printed]);
            passed += jobs[printed].passed ? 1 : 0;
        }
    }
    return passed;
}

}  // namespace

int main(int argc, char **argv)
{
    const Options options = read_options(argc, argv);
    std::vector<Job> jobs = read_scenarios(options);
    Programs programs;
    programs.direct = options.direct;
    try {
        programs.target = options.emulate ? bench::mips_target(options.program, options.preload)
                                          : bench::host_target(options.program);
    } catch (const std::exception &error) {
        refuse(error.what());
    }
    programs.target.preload = options.preload;
    const size_t passed = run_jobs(programs, options, jobs);
    if (!options.print) {
        printf("%zu passed, %zu failed\n", passed, jobs.size() - passed);
    }
    return passed == jobs.size() ? 0 : 1;
}
