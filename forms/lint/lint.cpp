#include "forms/lint/lint.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>

#include "forms/escapes.h"
#include "forms/lint/internal.h"

namespace forms {

Store::Store(const std::vector<Setting> &settings)
{
    for (const Description *one : all_descriptions()) {
        values_[one->key] = one->value;
    }
    // Of entries with the same key the first one is found.
    for (auto one = settings.rbegin(); one != settings.rend(); ++one) {
        values_[one->key] = one->value;
    }
}

const std::string &Store::get(const std::string &key) const
{
    static const std::string none;
    const auto found = values_.find(key);
    return found == values_.end() ? none : found->second;
}

bool Store::is_fine(const std::string &key) const
{
    const Description *setting = find_description(key);
    return setting != nullptr && refusals(*setting, get(key)).empty();
}

std::vector<Record> fine_records(const Store &store, const char *key)
{
    std::vector<Record> records;
    const Description &setting = *find_description(key);
    const std::string &value = store.get(key);
    if (value.empty() || !refusals(setting, value).empty()) {
        return records;
    }
    for (const std::string &text : records_of(setting, value)) {
        Record record;
        record.number = static_cast<int>(records.size()) + 1;
        const std::vector<std::string> fields = fields_of(setting, text);
        for (size_t i = 0; i < setting.fields.size(); ++i) {
            record.fields[setting.fields[i].name] = i < fields.size() ? fields[i] : "";
        }
        records.push_back(std::move(record));
    }
    return records;
}

Finding &Findings::add(Grade grade, const char *code, const std::string &key, const std::string &message)
{
    return all.emplace_back(Finding{.key = key, .grade = grade, .code = code, .message = message});
}

Finding &Findings::add(Grade grade, const char *code, const std::string &key, const Record &record,
                       const char *field, const std::string &message)
{
    return all.emplace_back(Finding{.key = key,
                                    .record = record.number,
                                    .field = field,
                                    .grade = grade,
                                    .code = code,
                                    .message = message});
}

Claim runs(const char *words, const std::string &text)
{
    return {words, Claim::Where::kCommand, "", true, text};
}

Claim never_runs(const char *words, const std::string &text)
{
    return {words, Claim::Where::kCommand, "", false, text};
}

Claim has(const char *words, const char *path, const std::string &text)
{
    return {words, Claim::Where::kFile, path, true, text};
}

Claim lacks(const char *words, const char *path, const std::string &text)
{
    return {words, Claim::Where::kFile, path, false, text};
}

Claim prints(const char *words, const std::string &text)
{
    return {words, Claim::Where::kOutput, "", true, text};
}

std::optional<Net> lan_net(const Store &store)
{
    const auto address = store.address("lan_ipaddr");
    const auto mask = store.address("lan_netmask");
    if (!address || !mask || !read_netmask(store.get("lan_netmask"))) {
        return std::nullopt;
    }
    return Net{*address, *mask};
}

std::optional<Span> read_span(const std::string &text)
{
    const size_t slash = text.find('/');
    const size_t dash = text.find('-');
    const auto first = read_address(text.substr(0, std::min(slash, dash)));
    if (!first) {
        return std::nullopt;
    }
    if (slash != std::string::npos) {
        const std::string width = text.substr(slash + 1);
        const auto mask = read_address(width);
        const auto bits = static_cast<unsigned>(read_number(width));
        const uint32_t ones = mask ? *mask : bits == 0 ? 0 : ~uint32_t{0} << (32U - std::min(bits, 32U));
        return Span{*first & ones, *first | ~ones};
    }
    if (dash != std::string::npos) {
        const auto last = read_address(text.substr(dash + 1));
        return last ? std::optional<Span>(Span{*first, *last}) : std::nullopt;
    }
    return Span{*first, *first};
}

bool is_one_device(const std::string &hardware)
{
    const bool is_nothing = hardware.find_first_not_of("0:") == std::string::npos;
    constexpr std::string_view kGroups = "13579bBdDfF";
    return !is_nothing && hardware.size() > 1 && kGroups.find(hardware[1]) == std::string_view::npos;
}

NoHost no_host(const Net &lan, uint32_t address, const std::string &front)
{
    if (!lan.holds(address)) {
        return {front + "-outside-lan", "is not on the LAN"};
    }
    if (address == lan.address) {
        return {front + "-is-router", "is the router itself"};
    }
    if (lan.ends_with(address)) {
        return {front + "-no-host", address == lan.first()
                                        ? "is the number of the LAN, which no host has"
                                        : "is the LAN's broadcast address, which no host has"};
    }
    return {};
}

std::vector<Finding> lint(const std::vector<Setting> &settings)
{
    const Store store(settings);
    Findings findings;
    lint_values(store, settings, findings);
    lint_texts(store, findings);
    lint_lan(store, findings);
    lint_wan(store, findings);
    lint_rules(store, findings);
    lint_forwarding(store, findings);
    lint_schedule(store, findings);
    lint_wireless(store, findings);
    lint_vpn(store, findings);
    std::map<std::string, size_t> order;
    for (const Description *one : all_descriptions()) {
        order.emplace(one->key, order.size());
    }
    const auto place = [&](const Finding &finding) {
        const auto found = order.find(finding.key);
        return std::pair(found == order.end() ? order.size() : found->second, finding.record);
    };
    std::stable_sort(findings.all.begin(), findings.all.end(),
                     [&](const Finding &a, const Finding &b) { return place(a) < place(b); });
    return findings.all;
}

int field_number(const std::string &key, const std::string &name)
{
    const Description *setting = find_description(key);
    for (size_t i = 0; setting != nullptr && i < setting->fields.size(); ++i) {
        if (setting->fields[i].name == name) {
            return static_cast<int>(i) + 1;
        }
    }
    return 0;
}

const char *grade_name(Grade grade)
{
    return grade == Grade::kError ? "error" : grade == Grade::kWarning ? "warning" : "note";
}

std::string finding_line(const Finding &finding)
{
    std::string line = escape(finding.key);
    if (finding.record != 0) {
        line += ": record " + std::to_string(finding.record);
    }
    if (!finding.field.empty()) {
        line += ": " + finding.field;
    }
    return line + ": " + grade_name(finding.grade) + ": " + finding.message + " [" + finding.code + "]";
}

std::string findings_json(const std::vector<Finding> &findings)
{
    nlohmann::ordered_json array = nlohmann::ordered_json::array();
    for (const Finding &finding : findings) {
        nlohmann::ordered_json one;
        one["key"] = escape(finding.key);
        if (finding.record != 0) {
            one["record"] = finding.record;
        }
        if (!finding.field.empty()) {
            one["field"] = field_number(finding.key, finding.field);
            one["field_name"] = finding.field;
        }
        one["grade"] = grade_name(finding.grade);
        one["code"] = finding.code;
        one["message"] = finding.message;
        array.push_back(one);
    }
    return array.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
}

}  // namespace forms
