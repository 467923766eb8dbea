// Questions about packets on many access rules: what rcbench packet and reach take beyond the run of rc.

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <algorithm>
#include <string>
#include <vector>

#include "bench/perf/measuring.h"
#include "bench/perf/perf.h"
#include "forms/settings.h"

namespace perf {

namespace {

constexpr int kRules = 1000;
constexpr double kGoal = 1000000;  // microseconds
constexpr const char *kPacket = "tcp 198.51.100.7 -> :443";

double microseconds(const timeval &time)
{
    return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_usec);
}

// Processor time of one rcbench and of all that it starts.
double time_of(const Words &words)
{
    std::vector<char *> arguments;
    std::string program = PERF_RCBENCH;
    arguments.push_back(program.data());
    Words copies = words;
    for (std::string &word : copies) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t process = 0;
    const int failed = posix_spawn(&process, program.c_str(), &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    rusage used = {};
    int status = 0;
    if (failed != 0 || wait4(process, &status, 0, &used) != process || !WIFEXITED(status) ||
        WEXITSTATUS(status) > 1) {
        throw bench::Error("rcbench " + words.front() + " does not run");
    }
    return microseconds(used.ru_utime) + microseconds(used.ru_stime);
}

class Questions {
  public:
    Questions(const bench::Target &target, const Effort &effort, std::vector<Figure> &figures)
        : runs_(std::max(3, effort.runs / 4)), figures_(figures), root_(target, {})
    {
        root_.write("/settings", forms::settings_text(image_with_rules(target, kRules)));
        rc_ = least({"run", "--brief"}, {"firewall", "start", ",", "route", "start"}).least;
    }

    void add(const std::string &name, const Words &question, const Words &packets)
    {
        const Spread taken = least(question, packets);
        Figure figure;
        figure.group = "Packet filter questions, 1,000 outbound rules of one line";
        figure.name = name;
        figure.unit = "us";
        figure.ours = taken.least - rc_;
        figure.median = taken.median - rc_;
        figure.against = "the run of rc itself";
        figure.other = rc_;
        figure.goal = "< 1 s";
        figure.met = figure.ours < kGoal;
        figures_.push_back(figure);
    }

  private:
    Spread least(Words words, const Words &behind) const
    {
        words.insert(words.end(), {"--settings", root_.host_path("/settings").string()});
        words.insert(words.end(), behind.begin(), behind.end());
        std::vector<double> times;
        times.reserve(static_cast<size_t>(runs_));
        for (int run = 0; run < runs_; ++run) {
            times.push_back(time_of(words));
        }
        return spread(times);
    }

    int runs_;
    std::vector<Figure> &figures_;
    bench::Root root_;
    double rc_ = 0;
};

}  // namespace

void packets(const bench::Target &target, const Effort &effort, std::vector<Figure> &figures)
{
    Questions questions(target, effort, figures);
    questions.add("packet --quick", {"packet", "--quick"}, {kPacket});
    questions.add("reach --quick", {"reach", "--quick"}, {});
    questions.add("packet, with the settings behind rules", {"packet"}, {kPacket});
    questions.add("reach, with the settings behind rules", {"reach"}, {});
}

}  // namespace perf
