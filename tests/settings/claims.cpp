#include "tests/settings/claims.h"

#include <algorithm>
#include <map>
#include <sstream>

namespace settings_test {

namespace {

using forms::Claim;
using forms::Finding;

constexpr const char *kRoutes =
    "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\t\tMTU\tWindow\tIRTT\n"
    "br0\t0001A8C0\t00000000\t0001\t0\t0\t0\t00FFFFFF\t0\t0\t0\n"
    "ppp0\t00000000\t017100CB\t0003\t0\t0\t0\t00000000\t0\t0\t0\n";

bench::Setup setup_of(const std::vector<forms::Setting> &store)
{
    bench::Setup setup;
    setup.settings = store;
    setup.image_defaults = true;
    setup.image_replies = true;
    for (const char *name : {"ppp0", "nas0", "atm1"}) {
        setup.interfaces.push_back({name, "203.0.113.10", 24, ""});
    }
    setup.files.push_back({"/proc/net/route", kRoutes});
    setup.files.push_back({"/tmp/wan_uptime", "4000.12 3900.34\n"});
    return setup;
}

// A run of rc and what it left.
struct Done {
    bench::Trace trace;
    std::map<std::string, std::string> files;
};

bool contains(const std::string &text, const std::string &part)
{
    return text.find(part) != std::string::npos;
}

bool is_there(const Claim &claim, const Done &done)
{
    if (claim.where == Claim::Where::kFile) {
        const auto found = done.files.find(claim.path);
        return found != done.files.end() && contains(found->second, claim.text);
    }
    if (claim.where == Claim::Where::kOutput) {
        return contains(done.trace.output, claim.text);
    }
    return std::any_of(done.trace.events.begin(), done.trace.events.end(), [&](const bench::Event &event) {
        if (claim.where == Claim::Where::kHostName) {
            return event.kind == bench::Kind::kHostname && event.text == claim.text;
        }
        return event.kind == bench::Kind::kShell && contains(event.text, claim.text);
    });
}

Done run(const bench::Target &target, const std::vector<forms::Setting> &store, const std::string &words,
         const std::vector<Finding> &findings)
{
    bench::Root root(target, setup_of(store));
    bench::Run run;
    run.words = {"rc"};
    std::istringstream stream(words);
    for (std::string word; stream >> word;) {
        run.words.push_back(word);
    }
    run.most_pauses = 500;
    run.limit = 300;
    Done done;
    done.trace = root.run(run);
    for (const Finding &finding : findings) {
        for (const Claim &claim : finding.claims) {
            const auto content = claim.where == Claim::Where::kFile ? root.read(claim.path) : std::nullopt;
            if (content) {
                done.files[claim.path] = *content;
            }
        }
    }
    return done;
}

}  // namespace

std::vector<std::string> broken_claims(const bench::Target &target, const std::vector<forms::Setting> &store,
                                       const std::vector<Finding> &findings)
{
    std::map<std::string, Done> done;
    std::vector<std::string> broken;
    for (const Finding &finding : findings) {
        for (const Claim &claim : finding.claims) {
            if (done.count(claim.words) == 0) {
                done.emplace(claim.words, run(target, store, claim.words, findings));
            }
            if (is_there(claim, done.at(claim.words)) != claim.is_there) {
                broken.push_back(forms::finding_line(finding) + "\n    rc " + claim.words + " " +
                                 (claim.where == Claim::Where::kFile ? claim.path : "") +
                                 (claim.is_there ? " lacks \"" : " has \"") + bench::escape(claim.text) +
                                 "\"");
            }
        }
    }
    return broken;
}

}  // namespace settings_test
