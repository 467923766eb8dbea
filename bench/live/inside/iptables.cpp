// The router's filter tool for today's: files of command lines and single calls.
//
// Beside what the translator does (bench/iptables_dialect.h), the schedule flag stays a match: on a set that
// the router's process 1 fills while the flag says 1. And a redirect of the web pages gets the mark that the
// platform's kernel gives it, without which no rule lets it in.
#include <algorithm>
#include <cctype>
#include <string_view>

#include "bench/iptables_dialect.h"
#include "bench/live/inside/tool.h"

namespace live_tool {

namespace {

constexpr const char *kTool = "iptables-legacy";
constexpr const char *kRestore = "iptables-legacy-restore";

void replace_all(std::string &text, std::string_view old, std::string_view now)
{
    for (size_t at = 0; (at = text.find(old, at)) != std::string::npos; at += now.size()) {
        text.replace(at, old.size(), now);
    }
}

std::string with_set(std::string text)
{
    replace_all(text, "-m condition ! --condition schedule", "-m set ! --match-set schedule src");
    replace_all(text, "-m condition --condition schedule", "-m set --match-set schedule src");
    return text;
}

// A redirect to the web pages is preceded by its mark.
std::string with_marks(const std::string &rules)
{
    std::string text;
    for (size_t at = 0; at < rules.size();) {
        const size_t end = std::min(rules.find('\n', at), rules.size());
        const std::string line = rules.substr(at, end - at);
        const size_t target = line.find("-j DNAT --to ");
        if (line.find("-A PRE_BASIC") != std::string::npos && target != std::string::npos &&
            line.ends_with(":80")) {
            text += line.substr(0, target) + "-j MARK --set-mark 0x2643\n";
        }
        text += line + "\n";
        at = end + 1;
    }
    return text;
}

bool has_chain(const std::string &table, const std::string &chain)
{
    int status = 0;
    (void)output_of({kTool, "-t", table, "-S", chain}, status);
    return status == 0;
}

// The platform's own chain stays: no rules file makes it.
int load_file(const std::string &file)
{
    std::string rules = with_marks(with_set(read_file(file)));
    if (has_chain("nat", "BYPASS_TMSS")) {
        rules = "iptables -t nat -N BYPASS_TMSS\n" + rules;
    }
    return feed({kRestore}, bench::translate_rules(rules, false).restore);
}

std::string line_of(const Words &words)
{
    std::string line = "iptables";
    for (const std::string &word : words) {
        line += " " + word;
    }
    return with_set(line);
}

bool is_builtin(const std::string &chain)
{
    return std::isupper(static_cast<unsigned char>(chain[0])) != 0 &&
           (chain == "INPUT" || chain == "OUTPUT" || chain == "FORWARD" || chain == "PREROUTING" ||
            chain == "POSTROUTING");
}

// The words after the chain of a rule, in today's dialect.
Words translated_rule(const bench::RuleCommand &command, const std::string &number)
{
    std::string line = "iptables -t " + command.table + " -A " + command.chain;
    for (const std::string &word : command.words) {
        if (number.empty() || &word != &command.words.front()) {
            line += " " + word;
        }
    }
    const std::string chain =
        is_builtin(command.chain) ? "" : "iptables -t " + command.table + " -N " + command.chain + "\n";
    const std::string restore = bench::translate_rules(chain + line, false).restore;
    const size_t from = restore.find("\n-A " + command.chain + " ");
    if (from == std::string::npos) {
        return {};
    }
    const std::string rule = restore.substr(from + 1, restore.find('\n', from + 1) - from - 1);
    return bench::parse_rule("iptables " + rule).words;
}

// A drop in nat needs its other half, which a file brings when it has one.
void bring_drop_chain()
{
    if (has_chain("nat", "ROUTER_DROP")) {
        return;
    }
    const bench::Dialect pieces = bench::translate_rules("iptables -t nat -A PREROUTING -j DROP\n", false);
    std::string text;
    for (size_t at = 0; at < pieces.restore.size();) {
        const size_t end = pieces.restore.find('\n', at);
        const std::string line = pieces.restore.substr(at, end - at);
        const bool is_ours =
            line.find("ROUTER_DROP") != std::string::npos && !line.starts_with("-A PREROUTING");
        if (is_ours || line.starts_with("*") || line == "COMMIT") {
            text += line + "\n";
        } else if (line.find("-m mark") != std::string::npos) {
            text += "-I" + line.substr(2) + "\n";
        }
        at = end + 1;
    }
    (void)feed({kRestore, "--noflush"}, text);
}

int call(const Words &words)
{
    const bench::RuleCommand command = bench::parse_rule(line_of(words));
    // "-D" is no command of the translator's.
    const auto deletes = std::find(words.begin(), words.end(), "-D");
    const bool is_delete = deletes != words.end() && deletes + 1 != words.end();
    if (!is_delete && command.command != 'A' && command.command != 'I') {
        Words all = {kTool};
        all.insert(all.end(), words.begin(), words.end());
        enter_workstation();
        return become(kTool, all);
    }
    bench::RuleCommand rule = command;
    if (is_delete) {
        Words added = words;
        added[static_cast<size_t>(deletes - words.begin())] = "-A";
        rule = bench::parse_rule(line_of(added));
    }
    const bool has_number = command.command == 'I' && !rule.words.empty() &&
                            std::isdigit(static_cast<unsigned char>(rule.words[0][0])) != 0;
    const std::string number = has_number ? rule.words[0] : "";
    const Words translated = translated_rule(rule, number);
    Words all = {kTool, "-t", rule.table, is_delete ? "-D" : std::string("-") + command.command, rule.chain};
    if (has_number) {
        all.push_back(number);
    }
    all.insert(all.end(), translated.begin(), translated.end());
    if (std::find(all.begin(), all.end(), "ROUTER_DROP") != all.end()) {
        bring_drop_chain();
    }
    enter_workstation();
    return become(kTool, all);
}

}  // namespace

int filter(const Words &words)
{
    const auto batch = std::find(words.begin(), words.end(), "-C");
    if (batch != words.end() && batch + 1 != words.end()) {
        return load_file(*(batch + 1));
    }
    return call(words);
}

}  // namespace live_tool
