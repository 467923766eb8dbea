#include "bench/rule_origins.h"

#include <algorithm>
#include <functional>
#include <map>
#include <optional>
#include <span>

namespace bench {

namespace {

constexpr char kRecordEnd = '\x01';

using Lines = std::vector<std::string>;

// How a line that is gone went.
enum class Loss {
    kNone,
    kReworded,  // a line of the same chain came in its place
    kGone,
};

Lines lines_of(const std::string &text)
{
    Lines lines;
    for (size_t at = 0; at < text.size();) {
        const size_t end = std::min(text.find('\n', at), text.size());
        lines.push_back(text.substr(at, end - at));
        at = end + 1;
    }
    return lines;
}

// ---- what is missing in the rules written without a setting ---------------------------------------------

// "-A CHAIN" of a rule, whichever table it names.
std::string place_of(const std::string &line)
{
    const size_t command = line.find(" -", line.starts_with("iptables -t") ? sizeof "iptables -t" : 0);
    if (command == std::string::npos) {
        return line;
    }
    const size_t chain = line.find(' ', command + 1);
    return line.substr(command, line.find(' ', chain + 1) - command);
}

// Marks the lines [begin, end) as lost; those for which a line of their chain came are reworded.
void mark_lost(const Lines &before, size_t begin, size_t end, Lines came, std::vector<Loss> &losses)
{
    for (size_t i = begin; i < end; ++i) {
        const auto other = std::find_if(came.begin(), came.end(), [&](const std::string &line) {
            return place_of(line) == place_of(before[i]);
        });
        losses[i] = other == came.end() ? Loss::kGone : Loss::kReworded;
        if (other != came.end()) {
            came.erase(other);
        }
    }
}

// The part of two texts that differs: without the lines that both begin and end with.
struct Middle {
    size_t begin;
    size_t before_end;
    size_t after_end;
};

Middle middle_of(const Lines &before, const Lines &after)
{
    Middle middle = {0, before.size(), after.size()};
    while (middle.begin < std::min(before.size(), after.size()) &&
           before[middle.begin] == after[middle.begin]) {
        ++middle.begin;
    }
    while (middle.before_end > middle.begin && middle.after_end > middle.begin &&
           before[middle.before_end - 1] == after[middle.after_end - 1]) {
        --middle.before_end;
        --middle.after_end;
    }
    return middle;
}

// lengths[i][j]: the longest common subsequence of the middle's lines from i and from j on.
std::vector<std::vector<unsigned>> common_lengths(const Lines &before, const Lines &after,
                                                  const Middle &middle)
{
    const size_t rows = middle.before_end - middle.begin;
    const size_t columns = middle.after_end - middle.begin;
    std::vector<std::vector<unsigned>> lengths(rows + 1, std::vector<unsigned>(columns + 1, 0));
    for (size_t i = rows; i-- > 0;) {
        for (size_t j = columns; j-- > 0;) {
            lengths[i][j] = before[middle.begin + i] == after[middle.begin + j]
                                ? lengths[i + 1][j + 1] + 1
                                : std::max(lengths[i + 1][j], lengths[i][j + 1]);
        }
    }
    return lengths;
}

// What became of each line.
std::vector<Loss> losses_between(const Lines &before, const Lines &after)
{
    std::vector<Loss> losses(before.size(), Loss::kNone);
    const Middle middle = middle_of(before, after);
    const std::vector<std::vector<unsigned>> common = common_lengths(before, after, middle);
    size_t i = middle.begin;
    size_t j = middle.begin;
    size_t lost_from = i;
    Lines came;
    const auto close = [&] {
        mark_lost(before, lost_from, i, came, losses);
        came.clear();
    };
    while (i < middle.before_end || j < middle.after_end) {
        const bool both = i < middle.before_end && j < middle.after_end;
        if (both && before[i] == after[j]) {
            close();
            ++i;
            ++j;
            lost_from = i;
        } else if (i < middle.before_end && (!both || common[i + 1 - middle.begin][j - middle.begin] >=
                                                          common[i - middle.begin][j + 1 - middle.begin])) {
            ++i;
        } else {
            came.push_back(after[j++]);
        }
    }
    close();
    return losses;
}

// ---- experiments ----------------------------------------------------------------------------------------

// A router in which rc writes its rules again and again, from changed settings.
class Laboratory {
  public:
    Laboratory(const Target &target, const Setup &setup, const Run &like)
        : root_(target, setup),
          like_(like),
          copy_(root_.settings()),
          defaults_(root_.settings("/etc/default").value_or(std::vector<Setting>()))
    {
        like_.words = {"rc", "firewall", "create"};
        text_ = written();
        lines_ = lines_of(text_);
    }

    const std::string &text() const { return text_; }
    const Lines &lines() const { return lines_; }

    // The settings that rc reads for its rules, found by what it does: with an empty working copy each
    // default that it reads becomes part of that. One that is not read changes nothing by itself. Should rc
    // write other rules that way, all settings that it could read.
    std::vector<Setting> settings()
    {
        std::vector<Setting> all = known_settings();
        root_.write("/etc/default", store_bytes(all));
        root_.write("/tmp/nvram", store_bytes({}));
        if (written() == text_) {
            const std::vector<Setting> read = root_.settings().value_or(std::vector<Setting>());
            std::erase_if(all, [&](const Setting &entry) { return !has_key(read, entry.key); });
        }
        return all;
    }

    // What becomes of each line when `change` has changed the entries, in the working copy as in the
    // defaults.
    std::vector<Loss> losses(const std::function<void(std::vector<Setting> &)> &change)
    {
        std::vector<Setting> defaults = defaults_;
        change(defaults);
        root_.write("/etc/default", store_bytes(defaults));
        if (copy_) {
            std::vector<Setting> entries = *copy_;
            change(entries);
            root_.write("/tmp/nvram", store_bytes(entries));
        } else {
            root_.remove("/tmp/nvram");
        }
        return losses_between(lines_, lines_of(written()));
    }

  private:
    static bool has_key(const std::vector<Setting> &settings, const std::string &key)
    {
        return std::any_of(settings.begin(), settings.end(),
                           [&](const Setting &setting) { return setting.key == key; });
    }

    // Those of the working copy, then those that the defaults alone have.
    std::vector<Setting> known_settings() const
    {
        std::vector<Setting> all = copy_.value_or(std::vector<Setting>());
        for (const Setting &entry : defaults_) {
            if (!has_key(all, entry.key)) {
                all.push_back(entry);
            }
        }
        return all;
    }

    std::string written()
    {
        root_.run_unwatched(like_);
        return root_.read("/tmp/rules").value_or("");
    }

    Root root_;
    Run like_;
    std::optional<std::vector<Setting>> copy_;
    std::vector<Setting> defaults_;
    std::string text_;
    Lines lines_;
};

std::string other_text(std::string value)
{
    if (!value.empty()) {
        value.back() = value.back() == '9' ? '8' : static_cast<char>(value.back() + 1);
    }
    return value;
}

bool is_list(const Setting &setting)
{
    return setting.value.find(kRecordEnd) != std::string::npos;
}

// Gives an entry another value, none to take it away; one that is not there stays away.
void turn(std::vector<Setting> &entries, const std::string &key, const std::optional<std::string> &value)
{
    const auto entry =
        std::find_if(entries.begin(), entries.end(), [&](const Setting &other) { return other.key == key; });
    if (entry == entries.end()) {
        return;
    }
    if (value) {
        entry->value = *value;
    } else {
        entries.erase(entry);
    }
}

// What a setting is tried with first: it is taken away, or, because without it much is as with 0, one that
// says 0 is set to 1.
std::optional<std::string> first_trial(const Setting &setting)
{
    return setting.value == "0" ? std::optional<std::string>("1") : std::nullopt;
}

// Then it has another text: its last character, a number where it is one, is the next one.
bool has_second_trial(const Setting &setting)
{
    return setting.value != "0" && !setting.value.empty() && !is_list(setting);
}

// What one setting takes with it.
struct Influence {
    Setting setting;
    std::vector<Loss> losses;
    std::map<Loss, long> lines = {};  // how many, by how they went
};

bool takes_lines(const Influence &influence)
{
    return std::any_of(influence.losses.begin(), influence.losses.end(),
                       [](Loss loss) { return loss != Loss::kNone; });
}

void add_losses(Influence &influence, const std::vector<Loss> &more)
{
    for (size_t i = 0; i < more.size(); ++i) {
        influence.losses[i] = std::max(influence.losses[i], more[i]);
    }
}

void try_another_text(Laboratory &laboratory, Influence &influence)
{
    const Setting &setting = influence.setting;
    add_losses(influence, laboratory.losses([&](std::vector<Setting> &entries) {
        turn(entries, setting.key, other_text(setting.value));
    }));
}

// Those of a group whose other text takes a line, are found by halves: where the texts of all change no line,
// none of them does.
void try_other_texts(Laboratory &laboratory, std::span<Influence *> group)
{
    if (group.size() == 1) {
        try_another_text(laboratory, *group[0]);
        return;
    }
    const std::vector<Loss> together = laboratory.losses([&](std::vector<Setting> &entries) {
        for (const Influence *influence : group) {
            turn(entries, influence->setting.key, other_text(influence->setting.value));
        }
    });
    if (std::any_of(together.begin(), together.end(), [](Loss loss) { return loss != Loss::kNone; })) {
        try_other_texts(laboratory, group.first(group.size() / 2));
        try_other_texts(laboratory, group.subspan(group.size() / 2));
    }
}

// The settings that lines depend on.
std::vector<Influence> influences_in(Laboratory &laboratory)
{
    std::vector<Influence> influences;
    for (const Setting &setting : laboratory.settings()) {
        influences.push_back({setting, laboratory.losses([&](std::vector<Setting> &entries) {
                                  turn(entries, setting.key, first_trial(setting));
                              })});
    }
    std::vector<Influence *> quiet;  // most of them take nothing with another text either
    for (Influence &influence : influences) {
        if (has_second_trial(influence.setting) && takes_lines(influence)) {
            try_another_text(laboratory, influence);
        } else if (has_second_trial(influence.setting)) {
            quiet.push_back(&influence);
        }
    }
    if (!quiet.empty()) {
        try_other_texts(laboratory, quiet);
    }
    std::erase_if(influences, [](const Influence &influence) { return !takes_lines(influence); });
    for (Influence &influence : influences) {
        for (const Loss loss : influence.losses) {
            ++influence.lines[loss];
        }
    }
    return influences;
}

// ---- from influences to origins -------------------------------------------------------------------------

// The influences on a line that say most: those that take it away before those that reword it, and of these
// those that take the fewest lines.
RuleOrigin origin_of(const std::vector<Influence> &influences, size_t line)
{
    RuleOrigin origin;
    Loss strongest = Loss::kNone;
    long fewest = 0;
    for (const Influence &influence : influences) {
        const Loss loss = influence.losses[line];
        if (loss == Loss::kNone || loss < strongest) {
            continue;
        }
        const long lines = influence.lines.at(loss);
        if (loss == strongest && lines > fewest) {
            continue;
        }
        if (loss > strongest || lines < fewest) {
            origin.settings.clear();
        }
        origin.settings.push_back(influence.setting.key);
        strongest = loss;
        fewest = lines;
    }
    return origin;
}

std::vector<std::string> records_of(const std::string &list)
{
    std::vector<std::string> records;
    for (size_t at = 0; at < list.size();) {
        const size_t end = std::min(list.find(kRecordEnd, at), list.size() - 1) + 1;
        records.push_back(list.substr(at, end - at));
        at = end;
    }
    return records;
}

// The list without the records whose number has this bit.
std::string without_bit(const std::vector<std::string> &records, unsigned bit)
{
    std::string left;
    for (size_t i = 0; i < records.size(); ++i) {
        left += ((i + 1) >> bit & 1) == 0 ? records[i] : "";
    }
    return left;
}

bool is_alone_behind(const Setting &setting, const RuleOrigin &origin)
{
    return origin.settings == std::vector<std::string>{setting.key};
}

// Of other lists the records do not matter.
bool is_alone_behind_a_line(const Setting &setting, const std::vector<RuleOrigin> &origins)
{
    return std::any_of(origins.begin(), origins.end(),
                       [&](const RuleOrigin &origin) { return is_alone_behind(setting, origin); });
}

// Tells the records of a list apart: bit by bit of their numbers, all that have it are taken out; a line is
// of the record whose number's bits it went with.
void find_records(Laboratory &laboratory, const Setting &setting, std::vector<RuleOrigin> &origins)
{
    const std::vector<std::string> records = records_of(setting.value);
    std::vector<size_t> numbers(origins.size(), 0);
    for (unsigned bit = 0; records.size() >> bit != 0; ++bit) {
        const std::vector<Loss> losses = laboratory.losses([&](std::vector<Setting> &entries) {
            for (Setting &entry : entries) {
                entry.value = entry.key == setting.key ? without_bit(records, bit) : entry.value;
            }
        });
        for (size_t line = 0; line < numbers.size(); ++line) {
            numbers[line] |= losses[line] == Loss::kNone ? 0 : size_t{1} << bit;
        }
    }
    for (size_t line = 0; line < origins.size(); ++line) {
        if (is_alone_behind(setting, origins[line]) && numbers[line] <= records.size()) {
            origins[line].record = numbers[line];
        }
    }
}

}  // namespace

std::string origin_text(const RuleOrigin &origin)
{
    std::string text;
    for (const std::string &setting : origin.settings) {
        text += (text.empty() ? "" : ", ") + setting;
    }
    return text.empty() ? "always" : text + (origin.record == 0 ? "" : " " + std::to_string(origin.record));
}

RulesFile rules_with_origins(const Target &target, const Setup &setup, const Run &like)
{
    Laboratory laboratory(target, setup, like);
    const std::vector<Influence> influences = influences_in(laboratory);
    RulesFile file = {laboratory.text(), {}};
    for (size_t line = 0; line < laboratory.lines().size(); ++line) {
        file.origins.push_back(origin_of(influences, line));
    }
    for (const Influence &influence : influences) {
        if (is_list(influence.setting) && is_alone_behind_a_line(influence.setting, file.origins)) {
            find_records(laboratory, influence.setting, file.origins);
        }
    }
    return file;
}

}  // namespace bench
