#include "bench/packets/load.h"

#include <algorithm>

#include "bench/packets/dialect.h"
#include "bench/packets/values.h"
#include "bench/packets/words.h"

namespace packets {

namespace {

// The tool's work on one table.
class Editor {
  public:
    explicit Editor(Table &table) : table_(table) {}

    void run(const Command &command, size_t line)
    {
        switch (command.verb) {
            case 'F':
                flush(command.chain);
                return;
            case 'N':
                make(command.chain);
                return;
            case 'X':
                remove(command.chain);
                return;
            case 'P':
                set_policy(command, line);
                return;
            case 'D':
                erase(command);
                return;
            default:
                add(command, line);
                return;
        }
    }

  private:
    Chain &chain(const std::string &name)
    {
        Chain *found = table_.find(name);
        if (found == nullptr) {
            throw Refused{Why::kMissingChain, "no chain " + name + " in table " + table_.name};
        }
        return *found;
    }

    void flush(const std::string &name)
    {
        if (!name.empty()) {
            chain(name).rules.clear();
            return;
        }
        for (Chain &each : table_.chains) {
            each.rules.clear();
        }
    }

    void make(const std::string &name)
    {
        if (table_.find(name) != nullptr) {
            throw Refused{Why::kChainInUse, "chain " + name + " is there already"};
        }
        table_.chains.push_back({name});
    }

    bool is_called(const std::string &name) const
    {
        return std::any_of(table_.chains.begin(), table_.chains.end(), [&](const Chain &each) {
            return std::any_of(each.rules.begin(), each.rules.end(), [&](const Rule &rule) {
                return rule.target.action == Action::kJump && rule.target.chain == name;
            });
        });
    }

    bool in_use(const Chain &each) const
    {
        return each.built_in || !each.rules.empty() || is_called(each.name);
    }

    void remove(const std::string &name)
    {
        if (name.empty()) {
            std::erase_if(table_.chains, [&](const Chain &each) { return !in_use(each); });
            return;
        }
        if (in_use(chain(name))) {
            throw Refused{Why::kChainInUse, "chain " + name + " is in use"};
        }
        std::erase_if(table_.chains, [&](const Chain &each) { return each.name == name; });
    }

    void set_policy(const Command &command, size_t line)
    {
        Chain &changed = chain(command.chain);
        if (!changed.built_in) {
            throw Refused{Why::kBadWords, "a policy for chain " + command.chain + ", which is not built in"};
        }
        changed.drops = command.drops;
        changed.policy_line = line;
    }

    void erase(const Command &command)
    {
        std::vector<Rule> &rules = chain(command.chain).rules;
        auto place = rules.begin();
        if (command.place != 0) {
            place += static_cast<std::ptrdiff_t>(std::min(command.place - 1, rules.size()));
        } else {
            place = std::find_if(rules.begin(), rules.end(),
                                 [&](const Rule &rule) { return rule.same_as(command.rule); });
        }
        if (place == rules.end()) {
            throw Refused{Why::kNoSuchRule, "no such rule in chain " + command.chain};
        }
        rules.erase(place);
    }

    // True when a packet in `from` can come to `to`.
    bool leads_to(const std::string &from, const std::string &to) const
    {
        const Chain *start = table_.find(from);
        return from == to ||
               (start != nullptr && std::any_of(start->rules.begin(), start->rules.end(), [&](const Rule &r) {
                    return r.target.action == Action::kJump && leads_to(r.target.chain, to);
                }));
    }

    void check_jump(const Command &command) const
    {
        const Target &target = command.rule.target;
        if (target.action != Action::kJump) {
            return;
        }
        const Chain *called = table_.find(target.chain);
        if (called == nullptr) {
            throw Error("target " + target.chain + " is not known here, and no chain of table " +
                        table_.name);
        }
        if (called->built_in || leads_to(target.chain, command.chain)) {
            throw Refused{Why::kBadWords, "a jump to " + target.chain + " from here never ends"};
        }
    }

    void add(const Command &command, size_t line)
    {
        std::vector<Rule> &rules = chain(command.chain).rules;
        check_jump(command);
        size_t place = command.verb == 'A' ? rules.size() : command.place == 0 ? 0 : command.place - 1;
        if (place > rules.size()) {
            throw Refused{Why::kBadWords,
                          "chain " + command.chain + " has no place " + std::to_string(command.place)};
        }
        Rule rule = command.rule;
        rule.line = line;
        rules.insert(rules.begin() + static_cast<std::ptrdiff_t>(place), std::move(rule));
    }

    Table &table_;
};

void link(Table &table)
{
    for (Chain &chain : table.chains) {
        for (Rule &rule : chain.rules) {
            if (rule.target.action == Action::kJump) {
                rule.target.chain_index =
                    static_cast<size_t>(table.find(rule.target.chain) - table.chains.data());
            }
        }
    }
}

// Of table mangle only the names of its chains are known: lines that miss them are refused as everywhere.
void run_in_mangle(const Command &command)
{
    constexpr const char *kChains[] = {"PREROUTING", "INPUT", "FORWARD", "OUTPUT", "POSTROUTING"};
    const bool is_there = has(kChains, command.chain);
    if (command.chain.empty() || (command.verb == 'F' && is_there)) {
        return;
    }
    if (!is_there && command.verb != 'N') {
        throw Refused{Why::kMissingChain, "no chain " + command.chain + " in table mangle"};
    }
    unknown("table", "mangle");
}

bool is_tool(const std::string &word)
{
    return word == "iptables" || word.ends_with("/iptables");
}

}  // namespace

Loader::Loader()
{
    rules_.nat = {"nat", {{"PREROUTING", true}, {"POSTROUTING", true}, {"OUTPUT", true}}};
    rules_.filter = {"filter", {{"INPUT", true}, {"FORWARD", true}, {"OUTPUT", true}}};
}

void Loader::edit(const Command &command, size_t line)
{
    if (command.table == "mangle") {
        run_in_mangle(command);
        return;
    }
    Editor(command.table == "nat" ? rules_.nat : rules_.filter).run(command, line);
}

void Loader::run(const std::vector<std::string> &words, const std::string &text, const std::string &where)
{
    const size_t line = ++rules_.lines;
    Parsed parsed;
    try {
        parsed = parse_command(words);
        if (parsed.command) {
            parsed.command->rule.text = text;
            edit(*parsed.command, line);
            return;
        }
    } catch (const Refused &refused) {
        parsed.why = refused.why;
        parsed.reason = refused.reason;
    } catch (const Error &error) {
        throw Error(where + ": " + error.what() + ": " + text);
    }
    rules_.refused.push_back({line, text, parsed.why, parsed.reason});
}

void Loader::file(std::string_view text, const std::string &name)
{
    for (size_t number = 1; !text.empty(); ++number) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        std::vector<std::string> words = split_line(line);
        const std::string where = name + ":" + std::to_string(number);
        if (words.empty() || words[0] != "iptables") {
            throw Error(where + ": not a line for the filter tool: " + std::string(line));
        }
        words.erase(words.begin());
        run(words, squeezed(line.substr(line.find("iptables") + 8)), where);
    }
}

void Loader::call(const std::vector<std::string> &words)
{
    if (words.empty() || !is_tool(words[0])) {
        throw Error("not a call of the filter tool: " + joined(words));
    }
    const std::vector<std::string> rest(words.begin() + 1, words.end());
    run(rest, joined(rest), words[0]);
}

RuleSet Loader::finish()
{
    link(rules_.nat);
    link(rules_.filter);
    return rules_;
}

RuleSet load_rules(std::string_view file)
{
    Loader loader;
    loader.file(file);
    return loader.finish();
}

void set_origins(RuleSet &rules, const std::vector<Origin> &origins)
{
    const auto of = [&](size_t line) {
        return line >= 1 && line <= origins.size() ? origins[line - 1] : Origin{};
    };
    for (Table *table : {&rules.nat, &rules.filter}) {
        for (Chain &chain : table->chains) {
            chain.policy_origin = of(chain.policy_line);
            for (Rule &rule : chain.rules) {
                rule.origin = of(rule.line);
            }
        }
    }
}

}  // namespace packets
