#include "bench/perf/measuring.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>

namespace fs = std::filesystem;

namespace perf {

namespace {

constexpr const char *kResults = "/tmp/measured";
constexpr const char *kCalls = "/tmp/calls";
constexpr double kNanosecondsPerMicrosecond = 1000;

Words measure_words(const std::vector<Words> &commands, const Conditions &conditions)
{
    Words words = {"measure", "-o", kResults, "-n", std::to_string(conditions.runs)};
    if (conditions.files > 0) {
        words.insert(words.end(), {"-l", std::to_string(conditions.files)});
    }
    if (conditions.in_bench) {
        words.emplace_back("-k");
    }
    if (conditions.peak) {
        words.emplace_back("-p");
    }
    for (const Words &command : commands) {
        words.emplace_back("--");
        words.insert(words.end(), command.begin(), command.end());
    }
    return words;
}

void run(bench::Root &root, const Words &words, const Conditions &conditions)
{
    bench::Run run;
    run.program = PERF_MEASURE;
    run.words = words;
    run.system_view = true;
    run.limit = conditions.limit;
    run.environment = {"VALGRIND_LIB=/.bench/workstation/usr/libexec/valgrind"};
    const bench::Trace trace = root.run(run);
    if (trace.timed_out || trace.status != 0) {
        throw bench::Error("measuring failed (status " + std::to_string(trace.status) + "): " + trace.errors);
    }
}

}  // namespace

const std::string kRc = "/.bench/rc";

bench::Setup usual_router(const bench::Target &target)
{
    bench::Setup setup;
    setup.image_defaults = true;
    setup.image_replies = true;
    setup.settings = bench::image_settings(target.image);
    setup.interfaces = {{"br0", "192.168.0.1", 24}, {"ppp0", "203.0.113.10", 32}, {"eth0", "", 24}};
    return setup;
}

std::string inside(const fs::path &program)
{
    return "/.bench/workstation" + program.string();
}

std::vector<Samples> measure(bench::Root &root, const std::vector<Words> &commands,
                             const Conditions &conditions)
{
    run(root, measure_words(commands, conditions), conditions);
    std::vector<Samples> samples(commands.size());
    std::istringstream lines(root.read(kResults).value_or(""));
    size_t command = 0;
    Sample sample;
    int status = 0;
    while (lines >> command >> sample.own >> sample.all >> sample.wall >> status >> sample.peak >>
           sample.own_pages) {
        if (status != 0) {
            throw bench::Error("exit status " + std::to_string(status) + " of " +
                               commands.at(command).front());
        }
        sample.own /= kNanosecondsPerMicrosecond;
        sample.all /= kNanosecondsPerMicrosecond;
        sample.wall /= kNanosecondsPerMicrosecond;
        samples.at(command).push_back(sample);
    }
    root.remove(kResults);
    return samples;
}

double instructions(bench::Root &root, const Words &words)
{
    Words command = {inside("/usr/bin/valgrind.bin"), "--tool=callgrind", "-q",
                     std::string("--callgrind-out-file=") + kCalls};
    command.insert(command.end(), words.begin(), words.end());
    (void)measure(root, {command}, {});
    std::istringstream lines(root.read(kCalls).value_or(""));
    root.remove(kCalls);
    std::string line;
    const std::string total = "summary: ";
    while (std::getline(lines, line)) {
        if (line.starts_with(total)) {
            return atof(line.c_str() + total.size());
        }
    }
    throw bench::Error("no total in what callgrind wrote for " + words.front());
}

Spread spread(std::vector<double> values)
{
    if (values.empty()) {
        throw bench::Error("nothing was measured");
    }
    std::sort(values.begin(), values.end());
    return {values.front(), values[values.size() / 2]};
}

Spread spread(const Samples &samples, double Sample::*field)
{
    std::vector<double> values;
    for (const Sample &sample : samples) {
        values.push_back(sample.*field);
    }
    return spread(values);
}

}  // namespace perf
