#include "bench/iptables_dialect.h"

#include <algorithm>
#include <array>
#include <utility>

#include "bench/router.h"

namespace bench {

namespace {

using Words = std::vector<std::string>;

constexpr size_t kLongestPrefix = 29;
constexpr const char *kDropChain = "ROUTER_DROP";
constexpr const char *kDropMark = "0x44524f50";

// A mark match that no packet passes: no bit is looked at, and the value is not 0.
const Words kNever = {"-m", "mark", "--mark", "0x1/0x0"};

Words split_words(std::string_view text)
{
    Words words;
    bool in_word = false;
    bool quoted = false;
    for (const char c : text) {
        if (c == ' ' && !quoted) {
            in_word = false;
            continue;
        }
        if (!in_word) {
            words.emplace_back();
            in_word = true;
        }
        quoted = (c == '"') != quoted;
        words.back() += c;
    }
    return words;
}

bool takes_value(const std::string &word)
{
    constexpr std::array kOptions = {"-i",          "-o",          "-s",   "-d",       "-p",    "--dport",
                                     "--src-range", "--dst-range", "--to", "--string", "--mark"};
    return std::find(kOptions.begin(), kOptions.end(), word) != kOptions.end();
}

bool may_stand_before_negation(const std::string &word)
{
    constexpr std::array kOptions = {"-i", "-o", "-s", "-d", "-p"};
    return std::find(kOptions.begin(), kOptions.end(), word) != kOptions.end();
}

// The place of `wanted` in a row, or the end.
size_t find_words(const Words &words, const Words &wanted)
{
    const auto place = std::search(words.begin(), words.end(), wanted.begin(), wanted.end());
    return static_cast<size_t>(place - words.begin());
}

void replace_words(Words &words, size_t place, size_t count, const Words &with)
{
    const auto first = words.begin() + static_cast<std::ptrdiff_t>(place);
    const auto next = words.erase(first, first + static_cast<std::ptrdiff_t>(count));
    words.insert(next, with.begin(), with.end());
}

// One rule on its way from one dialect to the other.
class Rule {
  public:
    Rule(const RuleCommand &command, size_t line, std::vector<DialectNote> &notes)
        : command_(command), words_(command.words), line_(line), notes_(notes)
    {
    }

    // False: left out.
    bool translate(bool schedule_active)
    {
        if (has_empty_field()) {
            note(Difference::kEmptyField, true);
            return false;
        }
        turn_negations();
        name_algorithm();
        exchange({"-m", "psd"}, kNever, Difference::kScanDetection);
        exchange({"-m", "condition", "--condition", "schedule"}, schedule_active ? Words() : kNever,
                 Difference::kScheduleFlag);
        exchange({"-m", "condition", "!", "--condition", "schedule"}, schedule_active ? kNever : Words(),
                 Difference::kScheduleFlag);
        if (exchange({"-j", "PNAT"}, {"-j", "MARK"}, Difference::kPortTriggering)) {
            words_.insert(words_.begin(), kNever.begin(), kNever.end());
        }
        exchange({"--reject-with", "http-block"}, {"--reject-with", "tcp-reset"}, Difference::kBlockPage);
        if (command_.table == "nat") {
            exchange({"-j", "DROP"}, {"-j", kDropChain}, Difference::kDropInNat);
        }
        cut_prefix();
        return true;
    }

    std::string text() const
    {
        std::string text = "-A " + command_.chain;
        for (const std::string &word : words_) {
            text += " " + word;
        }
        return text;
    }

  private:
    void note(Difference difference, bool left_out = false)
    {
        notes_.push_back({line_, difference, left_out});
    }

    bool exchange(const Words &old, const Words &now, Difference difference)
    {
        const size_t place = find_words(words_, old);
        if (place == words_.size()) {
            return false;
        }
        replace_words(words_, place, old.size(), now);
        note(difference);
        return true;
    }

    // An option at the end, or before another option, with or without a negation between them.
    bool has_empty_field() const
    {
        for (size_t i = 0; i < words_.size(); ++i) {
            if (!takes_value(words_[i])) {
                continue;
            }
            size_t value = i + 1;
            if (value < words_.size() && words_[value] == "!") {
                ++value;
            }
            if (value == words_.size() || words_[value][0] == '-') {
                return true;
            }
        }
        return false;
    }

    void turn_negations()
    {
        for (size_t i = 0; i + 1 < words_.size(); ++i) {
            if (may_stand_before_negation(words_[i]) && words_[i + 1] == "!") {
                std::swap(words_[i], words_[i + 1]);
                note(Difference::kOldNegation);
                ++i;
            }
        }
    }

    void name_algorithm()
    {
        const size_t place = find_words(words_, {"-m", "string"});
        if (place != words_.size()) {
            replace_words(words_, place + 2, 0, {"--algo", "bm"});
            note(Difference::kStringAlgorithm);
        }
    }

    void cut_prefix()
    {
        const size_t place = find_words(words_, {"--log-prefix"});
        if (place + 1 >= words_.size()) {
            return;
        }
        std::string &prefix = words_[place + 1];
        const size_t quotes = prefix[0] == '"' ? 2 : 0;
        if (prefix.size() > kLongestPrefix + quotes) {
            prefix = '"' + prefix.substr(quotes / 2, kLongestPrefix) + '"';
            note(Difference::kLongLogPrefix);
        }
    }

    const RuleCommand &command_;
    Words words_;
    size_t line_;
    std::vector<DialectNote> &notes_;
};

// How an error says where it is.
std::string at(size_t line)
{
    return "rules:" + std::to_string(line) + ": ";
}

struct Chain {
    std::string name;
    std::string policy = "-";
    Words rules = {};
};

struct Table {
    std::vector<Chain> chains;

    Chain *find(const std::string &name)
    {
        const auto same = [&](const Chain &chain) { return chain.name == name; };
        const auto place = std::find_if(chains.begin(), chains.end(), same);
        return place == chains.end() ? nullptr : &*place;
    }
};

// What the router's kernel would hold, in today's words.
class Kernel {
  public:
    Kernel(bool schedule_active, std::vector<DialectNote> &notes)
        : schedule_active_(schedule_active), notes_(notes)
    {
        nat_.chains = {{"PREROUTING", "ACCEPT"}, {"OUTPUT", "ACCEPT"}, {"POSTROUTING", "ACCEPT"}};
        filter_.chains = {{"INPUT", "ACCEPT"}, {"FORWARD", "ACCEPT"}, {"OUTPUT", "ACCEPT"}};
    }

    void run(const RuleCommand &command, size_t line)
    {
        Table &table = command.table == "nat" ? nat_ : filter_;
        switch (command.command) {
            case 'F':
                flush(table, command.chain);
                return;
            case 'X':
                remove(table, command.chain, line);
                return;
            case 'N':
                table.chains.push_back({command.chain});
                return;
            case 'P':
                set_policy(table, command, line);
                return;
            default:
                add(table, command, line);
                return;
        }
    }

    std::string restore()
    {
        if (drop_in_nat_ != 0) {
            drop_marked();
        }
        std::string text;
        write(text, "nat", nat_);
        write(text, "filter", filter_);
        return text;
    }

  private:
    static Chain &chain_of(Table &table, const std::string &name, size_t line)
    {
        Chain *chain = table.find(name);
        if (chain == nullptr) {
            throw Error(at(line) + "no chain " + name);
        }
        return *chain;
    }

    static void flush(Table &table, const std::string &name)
    {
        for (Chain &chain : table.chains) {
            if (name.empty() || chain.name == name) {
                chain.rules.clear();
            }
        }
    }

    static void set_policy(Table &table, const RuleCommand &command, size_t line)
    {
        Chain &chain = chain_of(table, command.chain, line);
        if (command.words.empty()) {
            throw Error(at(line) + "no policy for chain " + command.chain);
        }
        chain.policy = command.words[0];
    }

    void remove(Table &table, const std::string &name, size_t line)
    {
        const auto same = [&](const Chain &chain) { return chain.name == name; };
        if (std::erase_if(table.chains, same) == 0) {
            notes_.push_back({line, Difference::kMissingChain, true});
        }
    }

    void add(Table &table, const RuleCommand &command, size_t line)
    {
        Chain &chain = chain_of(table, command.chain, line);
        const size_t noted = notes_.size();
        Rule rule(command, line, notes_);
        if (!rule.translate(schedule_active_)) {
            return;
        }
        for (size_t i = noted; i < notes_.size(); ++i) {
            if (notes_[i].difference == Difference::kDropInNat && drop_in_nat_ == 0) {
                drop_in_nat_ = line;
            }
        }
        chain.rules.insert(command.command == 'I' ? chain.rules.begin() : chain.rules.end(), rule.text());
    }

    // The other half of a drop in the nat table: the connection's first packet is marked there, meets no
    // other rule of the table, and is dropped before any rule of the filter table.
    void drop_marked()
    {
        const std::string chain = kDropChain;
        const std::string mark = kDropMark;
        nat_.chains.push_back(
            {chain, "-", {"-A " + chain + " -j MARK --set-mark " + mark, "-A " + chain + " -j ACCEPT"}});
        for (const std::string hook : {"INPUT", "FORWARD"}) {
            Words &rules = chain_of(filter_, hook, drop_in_nat_).rules;
            rules.insert(rules.begin(), "-A " + hook + " -m mark --mark " + mark + " -j DROP");
        }
    }

    static void write(std::string &text, const std::string &name, const Table &table)
    {
        text += "*" + name + "\n";
        for (const Chain &chain : table.chains) {
            text += ":" + chain.name + " " + chain.policy + " [0:0]\n";
        }
        for (const Chain &chain : table.chains) {
            for (const std::string &rule : chain.rules) {
                text += rule + "\n";
            }
        }
        text += "COMMIT\n";
    }

    bool schedule_active_;
    size_t drop_in_nat_ = 0;  // the first one's line
    std::vector<DialectNote> &notes_;
    Table nat_ = {};
    Table filter_ = {};
};

bool is_command(const std::string &word)
{
    return word.size() == 2 && word[0] == '-' &&
           std::string_view("FXNPAI").find(word[1]) != std::string_view::npos;
}

}  // namespace

RuleCommand parse_rule(std::string_view line)
{
    RuleCommand command;
    const Words words = split_words(line);
    for (size_t i = 0; i < words.size(); ++i) {
        const bool last = i + 1 == words.size();
        if (i == 0 && words[i] == "iptables") {
            continue;
        }
        if (words[i] == "-t" && !last) {
            command.table = words[++i];
        } else if (command.command == '\0' && is_command(words[i])) {
            command.command = words[i][1];
            command.chain = last ? "" : words[++i];
        } else {
            command.words.push_back(words[i]);
        }
    }
    return command;
}

const char *difference_name(Difference difference)
{
    switch (difference) {
        case Difference::kOldNegation:
            return "old negation";
        case Difference::kStringAlgorithm:
            return "string match without algorithm";
        case Difference::kScanDetection:
            return "match psd";
        case Difference::kScheduleFlag:
            return "match condition";
        case Difference::kPortTriggering:
            return "target PNAT";
        case Difference::kBlockPage:
            return "reject type http-block";
        case Difference::kDropInNat:
            return "drop in nat";
        case Difference::kLongLogPrefix:
            return "long log prefix";
        case Difference::kMissingChain:
            return "missing chain";
        case Difference::kEmptyField:
            return "empty field";
    }
    return "";
}

Dialect translate_rules(std::string_view rules, bool schedule_active)
{
    Dialect dialect;
    Kernel kernel(schedule_active, dialect.notes);
    for (size_t line = 1; !rules.empty(); ++line) {
        const std::string text(rules.substr(0, rules.find('\n')));
        rules.remove_prefix(std::min(text.size() + 1, rules.size()));
        const RuleCommand command = parse_rule(text);
        if (command.command == '\0' || (command.table != "nat" && command.table != "filter")) {
            throw Error(at(line) + "not a rule: " + text);
        }
        kernel.run(command, line);
    }
    dialect.restore = kernel.restore();
    return dialect;
}

}  // namespace bench
