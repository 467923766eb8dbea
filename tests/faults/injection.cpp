#include "tests/faults/injection.h"

#include <sstream>

namespace {

std::optional<std::string> from_hexadecimal(const std::string &text)
{
    std::string bytes;
    for (size_t i = 1; i + 1 < text.size(); i += 2) {
        bytes += static_cast<char>(std::stoi(text.substr(i, 2), nullptr, 16));
    }
    return bytes;
}

// What a file is in a result, where `before` and `usual` are known.
std::optional<std::string> state(const std::string &word, const std::optional<std::string> &before,
                                 const std::optional<std::string> &usual)
{
    return word == "before"    ? before
           : word == "usual"   ? usual
           : word == "missing" ? std::nullopt
                               : from_hexadecimal(word);
}

struct Files {
    std::optional<std::string> store;
    std::optional<std::string> flash;
};

bool read_outcome(std::istream &results, const Files &before, const Files &usual, Outcome &outcome)
{
    std::string store;
    std::string flash;
    Fault &fault = outcome.fault;
    if (!(results >> fault.call >> fault.at >> fault.what >> fault.error >> outcome.end >> outcome.number >>
          outcome.path >> outcome.left >> outcome.store_writes >> outcome.flash_writes >>
          outcome.flash_reads >> store >> flash)) {
        return false;
    }
    outcome.store = state(store, before.store, usual.store);
    outcome.flash = state(flash, before.flash, usual.flash);
    outcome.store_expected = store == "before" || store == "usual";
    outcome.flash_expected = flash == "before" || flash == "usual";
    outcome.counts.resize(kCalls.size());
    for (long &count : outcome.counts) {
        results >> count;
    }
    return true;
}

std::filesystem::path library_for(const bench::Target &target)
{
    return target.preload.parent_path() / "libbench_faults.so";
}

}  // namespace

std::string Fault::text() const
{
    return call + " " + std::to_string(at) + " " + what + " " + std::to_string(error);
}

std::vector<Outcome> run_faults(bench::Root &root, const bench::Target &target, const bench::Run &run,
                                const std::vector<Fault> &faults)
{
    std::string plan = "none 0 none 0\n";
    for (const Fault &fault : faults) {
        plan += fault.text() + "\n";
    }
    root.write("/.bench/faults.plan", plan);
    const Files before = {root.read("/tmp/nvram"), root.read("/dev/mtdblock/3")};
    bench::Run all = run;
    all.guest = library_for(target);
    all.limit = 3600;
    const bench::Trace trace = root.run(all);
    std::istringstream results(root.read("/.bench/faults.results").value_or(""));
    std::vector<Outcome> outcomes;
    Files usual;
    for (Outcome outcome; read_outcome(results, before, usual, outcome); outcome = {}) {
        if (outcomes.empty()) {
            usual = {outcome.store, outcome.flash};
        }
        outcomes.push_back(outcome);
    }
    if (outcomes.size() != faults.size() + 1) {
        throw bench::Error("only " + std::to_string(outcomes.size()) + " of " +
                           std::to_string(faults.size() + 1) + " runs have an outcome: " + trace.errors);
    }
    return outcomes;
}
