// nvram diff: what differs between two sets of settings, lists record by record and field by field.
#include <algorithm>
#include <cstdio>
#include <iterator>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

#include "forms/check.h"
#include "forms/descriptions.h"
#include "forms/escapes.h"
#include "forms/lint/lint.h"
#include "forms/nearest.h"
#include "forms/program.h"
#include "tools/settings_commands.h"

namespace {

using forms::Description;
using forms::Setting;
using Text = std::optional<std::string>;

struct Change {
    std::string key;
    int record = 0;
    std::string field;
    Text before;
    Text after;
};

struct Wish {
    bool is_json = false;
    bool shows_secrets = false;
    bool shows_all = false;
    std::vector<std::string> files;
};

// The settings that one side alone has, where they are too many to be shown.
struct Rest {
    std::string side;  // "a" or "b"
    std::string name;  // the file's
    std::vector<std::string> keys;
};

Text find(const std::vector<Setting> &settings, const std::string &key)
{
    for (const Setting &one : settings) {
        if (one.key == key) {
            return one.value;
        }
    }
    return std::nullopt;
}

std::vector<Setting> read_side(const std::string &word)
{
    if (word != "--defaults") {
        return read_any_settings(word);
    }
    std::vector<Setting> defaults;
    for (const Description *one : forms::all_descriptions()) {
        defaults.push_back({one->key, one->value});
    }
    return defaults;
}

bool is_secret(const Description *setting, const std::string &field)
{
    if (setting == nullptr) {
        return false;
    }
    const auto found = std::find_if(setting->fields.begin(), setting->fields.end(),
                                    [&](const forms::Field &one) { return one.name == field; });
    const bool holds_secrets = std::any_of(setting->fields.begin(), setting->fields.end(),
                                           [](const forms::Field &one) { return one.is_secret; });
    return setting->is_secret || (found != setting->fields.end() ? found->is_secret : holds_secrets);
}

// Fields of two records that both have all of them.
void compare_fields(const Description &setting, int number, const std::vector<std::string> &before,
                    const std::vector<std::string> &after, std::vector<Change> &changes)
{
    for (size_t i = 0; i < setting.fields.size() && i < before.size(); ++i) {
        if (before[i] != after[i]) {
            changes.push_back({setting.key, number, setting.fields[i].name, before[i], after[i]});
        }
    }
}

void compare_lists(const Description &setting, const std::string &before, const std::string &after,
                   std::vector<Change> &changes)
{
    const std::vector<std::string> old_records = forms::records_of(setting, before);
    const std::vector<std::string> new_records = forms::records_of(setting, after);
    for (size_t i = 0; i < std::max(old_records.size(), new_records.size()); ++i) {
        const Text old_one = i < old_records.size() ? Text(old_records[i]) : std::nullopt;
        const Text new_one = i < new_records.size() ? Text(new_records[i]) : std::nullopt;
        if (old_one == new_one) {
            continue;
        }
        const int number = static_cast<int>(i) + 1;
        const auto old_fields = forms::fields_of(setting, old_one.value_or(""));
        const auto new_fields = forms::fields_of(setting, new_one.value_or(""));
        if (old_one && new_one && old_fields.size() == new_fields.size()) {
            compare_fields(setting, number, old_fields, new_fields, changes);
        } else {
            changes.push_back({setting.key, number, "", old_one, new_one});
        }
    }
}

void compare_values(const std::string &key, const Text &before, const Text &after,
                    std::vector<Change> &changes)
{
    if (before == after) {
        return;
    }
    const Description *setting = forms::find_description(key);
    const size_t count = changes.size();
    if (setting != nullptr && !setting->fields.empty() && before && after) {
        compare_lists(*setting, *before, *after, changes);
    }
    if (changes.size() == count) {
        changes.push_back({key, 0, "", before, after});
    }
}

std::vector<Change> compare(const std::vector<Setting> &before, const std::vector<Setting> &after)
{
    std::vector<Change> changes;
    for (const Setting &one : before) {
        compare_values(one.key, find(before, one.key), find(after, one.key), changes);
    }
    for (const Setting &one : after) {
        if (!find(before, one.key)) {
            compare_values(one.key, std::nullopt, one.value, changes);
        }
    }
    return changes;
}

void mask(Text &text)
{
    if (text && !text->empty()) {
        text = "********";
    }
}

void mask_secrets(std::vector<Change> &changes)
{
    for (Change &change : changes) {
        if (is_secret(forms::find_description(change.key), change.field)) {
            mask(change.before);
            mask(change.after);
        }
    }
}

std::string shown(const Text &text)
{
    return text ? "\"" + forms::escape(*text) + "\"" : "-";
}

// Takes the settings that one side alone has off the changes when they are many: of a dump that holds a few
// settings, the default ones that are not in it say nothing.
std::vector<Rest> take_rests(std::vector<Change> &changes, const std::vector<std::string> &files)
{
    constexpr size_t kMost = 10;
    std::vector<Rest> rests;
    for (const bool is_first : {true, false}) {
        const auto is_of_side = [&](const Change &change) {
            return change.record == 0 && (is_first ? !change.after : !change.before);
        };
        const std::string &file = files[is_first ? 0 : 1];
        Rest rest = {is_first ? "a" : "b", file == "--defaults" ? "the defaults" : forms::shown(file), {}};
        for (const Change &change : changes) {
            if (is_of_side(change)) {
                rest.keys.push_back(change.key);
            }
        }
        if (rest.keys.size() > kMost) {
            std::erase_if(changes, is_of_side);
            rests.push_back(rest);
        }
    }
    return rests;
}

void print_lines(const std::vector<Change> &changes, const std::vector<Rest> &rests)
{
    for (const Change &change : changes) {
        std::string where = forms::escape(change.key);
        where += change.record == 0 ? "" : ": record " + std::to_string(change.record);
        where += change.field.empty() ? "" : ": " + change.field;
        printf("%s: %s -> %s\n", where.c_str(), shown(change.before).c_str(), shown(change.after).c_str());
    }
    for (const Rest &rest : rests) {
        printf("%zu settings are only in %s; --all lists them\n", rest.keys.size(), rest.name.c_str());
    }
}

void print_json(const std::vector<Change> &changes, const std::vector<Rest> &rests)
{
    nlohmann::ordered_json array = nlohmann::ordered_json::array();
    for (const Change &change : changes) {
        nlohmann::ordered_json one;
        one["key"] = forms::escape(change.key);
        if (change.record != 0) {
            one["record"] = change.record;
        }
        if (!change.field.empty()) {
            one["field"] = forms::field_number(change.key, change.field);
            one["field_name"] = change.field;
        }
        one["before"] = change.before ? nlohmann::ordered_json(forms::escape(*change.before)) : nullptr;
        one["after"] = change.after ? nlohmann::ordered_json(forms::escape(*change.after)) : nullptr;
        array.push_back(one);
    }
    for (const Rest &rest : rests) {
        nlohmann::ordered_json keys = nlohmann::ordered_json::array();
        for (const std::string &key : rest.keys) {
            keys.push_back(forms::escape(key));
        }
        array.push_back({{"only_in", rest.side}, {"count", rest.keys.size()}, {"keys", keys}});
    }
    printf("%s\n", array.dump(2).c_str());
}

// Before a name these only say what kind of file it is, which its bytes say too.
bool names_a_kind(const std::string &word)
{
    return word == "-f" || word == "--file" || word == "--flash" || word == "--defaults";
}

Wish read_wish(const std::vector<std::string> &words)
{
    Wish wish;
    size_t names = 0;
    const std::pair<const char *, bool *> options[] = {
        {"--json", &wish.is_json}, {"--secrets", &wish.shows_secrets}, {"--all", &wish.shows_all}};
    for (const std::string &word : words) {
        const auto *option = std::find_if(std::begin(options), std::end(options),
                                          [&](const auto &one) { return word == one.first; });
        if (option != std::end(options)) {
            *option->second = true;
        } else if (word.size() > 1 && word[0] == '-' && !names_a_kind(word)) {
            throw forms::usage_error(
                "diff knows no option \"" + forms::shown(word) + "\"" +
                forms::did_you_mean(word, {"--json", "--secrets", "--all", "--defaults"}));
        } else {
            wish.files.push_back(word);
            names += names_a_kind(word) ? 0 : 1;
        }
    }
    // With two names every such word belongs to a name; "--defaults" without one is a side by itself.
    std::erase_if(wish.files, [&](const std::string &word) {
        return names_a_kind(word) && (names >= 2 || word != "--defaults");
    });
    return wish;
}

}  // namespace

int diff_settings(const std::vector<std::string> &words)
{
    const Wish wish = read_wish(words);
    if (wish.files.size() != 2) {
        throw forms::usage_error("diff needs two files, or --defaults in place of one");
    }
    std::vector<Change> changes = compare(read_side(wish.files[0]), read_side(wish.files[1]));
    if (!wish.shows_secrets) {
        mask_secrets(changes);
    }
    const std::vector<Rest> rests = wish.shows_all ? std::vector<Rest>() : take_rests(changes, wish.files);
    wish.is_json ? print_json(changes, rests) : print_lines(changes, rests);
    return changes.empty() && rests.empty() ? forms::kDone : forms::kNo;
}
