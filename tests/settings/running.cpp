#include "tests/settings/running.h"

#include <algorithm>
#include <sstream>

namespace settings_test {

namespace {

using bench::Event;
using bench::Kind;
using Words = std::vector<std::string>;

// A moment in the schedule of the defaults, so that every run sees the same: Monday 2026-03-02 10:00 UTC.
constexpr int64_t kMoment = 1772445600;

// Daemons that stay until they are killed, and the files that they read when they start.
const std::map<std::string, Words> kDaemons = {
    {"dnrd", {"/etc/hosts"}},
    {"ez-ipupdate", {}},
    {"keepalive", {}},
    {"mini_httpd", {}},
    {"miniupnpd", {}},
    {"nas", {}},
    {"potcounter", {}},
    {"pppd", {}},
    {"pppoe-relay", {}},
    {"routed", {}},
    {"syslogd", {"/etc/syslog.conf"}},
    {"udhcpc", {}},
    {"udhcpd", {"/etc/udhcpd.conf", "/var/udhcpd.leases"}},
    {"veltrax_ntp", {}},
    {"atmarpd", {}},
    {"br2684ctl", {}},
    {"rt2684d", {}},
    {"pluto", {"/etc/ipsec.secrets"}},
};

// What changes with time and with every run, and what is looked at otherwise.
bool is_passing(const std::string &path)
{
    for (const char *front :
         {"/tmp/var/run/", "/var/run/", "/tmp/nvram", "/dev/mtdblock", "/tmp/wan_", "/tmp/wlan_uptime",
          "/proc/uptime", "/proc/dev", "/etc/svn.info", "/tmp/adslver", "/tmp/vcc", "/.bench", "/tmp/rules",
          "/proc/net/dev", "/tmp/ntp_start", "/tmp/dsl_change", "/proc/led", "/tmp/var/ver", "/tmp/var/w"}) {
        if (path.rfind(front, 0) == 0) {
            return true;
        }
    }
    return false;
}

std::string base_name(const std::string &path)
{
    return path.substr(path.rfind('/') + 1);
}

std::string joined(const Words &words, size_t first, size_t last)
{
    std::string text;
    for (size_t i = first; i < last && i < words.size(); ++i) {
        text += (text.empty() ? "" : " ") + words[i];
    }
    return text;
}

std::string joined(const Words &words)
{
    return joined(words, 0, words.size());
}

bench::Setup setup_of(const std::vector<forms::Setting> &settings)
{
    bench::Setup setup;
    setup.settings = std::nullopt;
    setup.defaults = settings;
    setup.image_defaults = true;
    setup.image_replies = true;
    for (const char *name : {"ppp0", "nas0", "atm1"}) {
        setup.interfaces.push_back({name, "203.0.113.10", 24, ""});
    }
    setup.files.push_back({"/proc/bus/pci/00", ""});
    return setup;
}

}  // namespace

Running::Running(const bench::Target &target, const std::vector<forms::Setting> &settings)
    : root_(target, setup_of(settings))
{
    run("rc init");
    run("rc start");
    run("rc wan start");
}

void Running::run(const std::string &command)
{
    bench::Run like;
    like.nested = true;
    like.clock = kMoment;
    like.limit = 300;
    if (command.rfind("rc ", 0) == 0) {
        follow(root_.rc(command.substr(3), like));
    } else {
        (void)root_.shell(command);
    }
}

void Running::start(const std::string &daemon, const std::string &text)
{
    daemons_[daemon].push_back(text);
    files_read_[daemon].clear();
}

// A whole set begins by emptying every chain.
void Running::follow_filter(const std::string &text, const Words &words)
{
    const auto has = [&](const char *word) { return std::count(words.begin(), words.end(), word) != 0; };
    if (has("-C")) {
        rules_.clear();
        rule_set_ = root_.read("/tmp/rules").value_or("none");
    } else if (has("-F")) {
        std::erase_if(rules_,
                      [&](const std::string &one) { return one.find(words.back()) != std::string::npos; });
    } else if (has("-D")) {
        std::string rule = text;
        rule.replace(rule.find("-D "), 2, "-I");
        const auto found = std::find(rules_.begin(), rules_.end(), rule);
        if (found != rules_.end()) {
            rules_.erase(found);
        }
    } else if (has("-I") || has("-A")) {
        rules_.push_back(text);
    }
}

void Running::follow_radio(const Words &words)
{
    if (words.size() > 2 && words[1] == "mac" && words[2] != "none") {
        slots_["radio mac " + words[2]] = "listed";
        return;
    }
    if (words.size() > 1 && words[1] == "mac") {
        std::erase_if(slots_, [](const auto &one) { return one.first.rfind("radio mac ", 0) == 0; });
        return;
    }
    // The value is the last word; of a key the number before it belongs to its name.
    const std::string verb = words.size() > 1 ? words[1] : "";
    const bool is_key = verb == "addwep" || verb == "rmwep";
    const std::string name =
        is_key ? "wep " + joined(words, 2, 5) : joined(words, 1, std::max<size_t>(words.size() - 1, 2));
    slots_["radio " + name] = verb == "rmwep" ? "none" : words.back();
    if (verb == "wds" && words.size() > 2) {
        slots_["radio wds"] = joined(words, 2, words.size());
    }
}

void Running::follow_tool(const Words &words)
{
    const std::string tool = base_name(words[0]);
    const std::string text = tool + " " + joined(words, 1, words.size());
    const std::string first = words.size() > 1 ? words[1] : "";
    if (tool == "killall" || tool == "kill") {
        for (size_t i = 1; i < words.size() && first != "-1"; ++i) {
            daemons_.erase(base_name(words[i]));
        }
    } else if (tool == "ipsec" && first == "pluto") {
        start("pluto", text);
    } else if (tool == "ipsec" && text.find("--shutdown") != std::string::npos) {
        daemons_.erase("pluto");
        std::erase_if(slots_, [](const auto &one) { return one.first.rfind("tunnel ", 0) == 0; });
    } else if (tool == "ipsec" && first == "whack" && words.size() > 3) {
        slots_["tunnel " + words[3]] = text;
    } else if (tool == "ipsec" && first == "tncfg") {
        slots_["tunnel interface"] = text;
    } else if ((tool == "br2684ctl" || tool == "rt2684d") && first == "-d") {
        daemons_.erase(tool);
    } else if (tool == "atmarpd" || tool == "br2684ctl" || kDaemons.count(tool) != 0) {
        start(tool, text);
    } else if (tool == "iptables") {
        follow_filter(text, words);
    } else if (tool == "wlctl") {
        follow_radio(words);
    } else if (tool == "ifconfig" && words.size() > 2) {
        const std::string &what = words[2];
        const bool is_switch = what == "up" || what == "down";
        const bool is_part = what == "mtu" || what == "hw";
        slots_["interface " + first +
               (is_switch ? " state"
                : is_part ? " " + what
                          : " address")] = joined(words, 2, words.size());
    } else if (tool == "route" && (first == "add" || first == "del")) {
        const bool is_default = words.size() > 2 && words[2] == "default";
        const std::string name = is_default ? "route default" : "route " + joined(words, 2, words.size());
        if (first == "add") {
            slots_[name] = joined(words, 2, words.size());
        } else {
            slots_.erase(name);
        }
    } else if (tool == "brctl" && words.size() > 3) {
        slots_["bridge " + words[3]] = first;
    } else if (tool == "rmmod" && (first == "wl" || first == "wl.ko")) {
        std::erase_if(slots_, [](const auto &one) {
            return one.first.rfind("radio ", 0) == 0 || one.first.rfind("interface wl0", 0) == 0;
        });
    } else if (tool == "adslctl" && first == "configure") {
        slots_["line"] = text;
    }
}

void Running::follow(const bench::Trace &trace)
{
    for (const Event &event : trace.events) {
        if (event.kind == Kind::kTool && !event.words.empty()) {
            follow_tool(event.words);
        } else if (event.kind == Kind::kHostname || event.kind == Kind::kDomainname) {
            slots_[event.kind == Kind::kHostname ? "host name" : "domain name"] = event.text;
        }
    }
    for (const bench::FileChange &file : trace.files) {
        paths_.insert(file.path);
    }
    for (const auto &[daemon, files] : kDaemons) {
        const bool has_started = daemons_.count(daemon) != 0 && files_read_[daemon].empty();
        for (const std::string &path : has_started ? files : Words()) {
            files_read_[daemon][path] = root_.read(path).value_or("none");
        }
    }
}

State Running::state()
{
    State state = slots_;
    for (const auto &[daemon, copies] : daemons_) {
        state["daemon " + daemon] = joined(copies);
        for (const auto &[path, content] : files_read_.at(daemon)) {
            state["daemon " + daemon + " has read " + path] = content;
        }
    }
    state["rules"] = rule_set_;
    for (const std::string &rule : rules_) {
        state["rule " + rule] += "x";
    }
    for (const std::string &path : paths_) {
        if (!is_passing(path)) {
            if (const auto content = root_.read(path)) {
                state["file " + path] = *content;
            }
        }
    }
    state["board"] = root_.shell("ls /.bench/board");
    return state;
}

}  // namespace settings_test
