// Settings by themselves: keys that do not exist, values that their description does not allow.
#include <algorithm>
#include <set>

#include "forms/escapes.h"
#include "forms/lint/internal.h"

namespace forms {

namespace {

// Longer values are cut somewhere on their way, so nothing is promised of them.
constexpr size_t kLongestClaim = 200;

constexpr size_t kMostSteps = 3;

// The steps from one word to the other; more than kMostSteps are not counted on.
size_t distance(const std::string &a, const std::string &b)
{
    std::vector<size_t> row(b.size() + 1);
    for (size_t j = 0; j <= b.size(); ++j) {
        row[j] = j;
    }
    for (size_t i = 1; i <= a.size(); ++i) {
        size_t left_above = row[0];
        row[0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            const size_t above = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, left_above + (a[i - 1] == b[j - 1] ? 0 : 1)});
            left_above = above;
        }
        if (*std::min_element(row.begin(), row.end()) > kMostSteps) {
            return kMostSteps + 1;
        }
    }
    return row[b.size()];
}

std::string nearest_key(const std::string &key)
{
    constexpr size_t kLongestKey = 64;
    const size_t most = std::min(kMostSteps, key.size() / 3);  // else any short word is meant
    std::string nearest;
    size_t least = most + 1;
    for (const Description *one : all_descriptions()) {
        const size_t size = one->key.size();
        const bool is_close =
            key.size() <= kLongestKey && size + most >= key.size() && key.size() + most >= size;
        const size_t steps = is_close ? distance(key, one->key) : most + 1;
        if (steps < least) {
            least = steps;
            nearest = one->key;
        }
    }
    return nearest;
}

void lint_key(const std::string &key, Findings &findings)
{
    const std::string nearest = nearest_key(key);
    findings.add(Grade::kWarning, "unknown-key", key,
                 "rc knows no setting of this name" +
                     (nearest.empty() ? std::string() : "; did you mean " + nearest + "?"));
}

const char *code_of(const Refusal &refusal)
{
    if (refusal.is_too_long) {
        return "too-long";
    }
    if (refusal.reason.rfind("holds ", 0) == 0) {
        return "character";
    }
    const bool is_record = refusal.field == nullptr && refusal.record != 0;
    return is_record ? "fields" : refusal.value.empty() ? "empty" : "value";
}

bool has_long_number(std::string_view text)
{
    constexpr size_t kMost = 9;
    size_t digits = 0;
    for (const char c : text) {
        digits = c >= '0' && c <= '9' ? digits + 1 : 0;
        if (digits > kMost) {
            return true;
        }
    }
    return false;
}

struct Judge {
    const Description &setting;
    const Refusal &refusal;
    bool is_alone;  // nothing else is wrong with its record
    Lookup lookup;

    // The conditions hold under which the claims are true.
    bool is_used(const std::vector<Condition> &when) const { return all_hold(when, lookup); }
    std::vector<Claim> filled(const std::vector<Claim> &claims) const
    {
        std::vector<Claim> made = claims;
        const long most = refusal.field != nullptr ? refusal.field->type.most : setting.type.most;
        for (Claim &claim : made) {
            claim.text = fill_template(claim.text, lookup, static_cast<size_t>(most));
        }
        return made;
    }
};

// Whether a flag that is not 0 or 1 counts as on; none: it depends.
std::optional<bool> is_on(const Description &setting, const std::string &value)
{
    const bool first = !value.empty() && value[0] == '1';
    if (setting.read.empty()) {
        return first;
    }
    if (setting.read == "number 1") {
        return read_number(value) == 1;
    }
    if (setting.read == "number not 0") {
        return read_number(value) % 256 != 0;
    }
    if (setting.read == "first character not 0") {
        return value.empty() || value[0] != '0';
    }
    return std::nullopt;
}

// What follows the reason, with its claims.
std::string flag_text(const Judge &judge, std::vector<Claim> &claims)
{
    const auto on = is_on(judge.setting, judge.refusal.value);
    if (!on || !judge.is_used(judge.setting.wrong.when)) {
        return "";
    }
    claims = judge.filled(*on ? judge.setting.on : judge.setting.off);
    return claims.empty() ? "" : *on ? "; the router will take it as on" : "; the router will take it as off";
}

std::string consequence_text(const Judge &judge, std::vector<Claim> &claims)
{
    const Consequence &wrong =
        judge.refusal.field != nullptr ? judge.refusal.field->wrong : judge.setting.wrong;
    const bool is_promised =
        judge.refusal.value.size() <= kLongestClaim && !has_long_number(judge.refusal.value) &&
        (judge.refusal.field != nullptr || judge.refusal.record == 0) &&
        (judge.refusal.field == nullptr || (judge.is_alone && !judge.refusal.value.empty())) &&
        (judge.setting.key != "vpn" || judge.refusal.record == 1);  // an earlier record may end it all
    if (is_promised && judge.setting.type.form == Form::kFlag && judge.refusal.field == nullptr) {
        if (std::string text = flag_text(judge, claims); !text.empty()) {
            return text;
        }
    }
    const bool is_excused = !wrong.unless.empty() && all_hold(wrong.unless, judge.lookup);
    if (is_promised && !wrong.seen.empty() && !is_excused && judge.is_used(wrong.when)) {
        claims = judge.filled(wrong.seen);
        return "; the router will " + fill_template(wrong.phrase, judge.lookup, 0);
    }
    return judge.setting.advice.empty() || judge.refusal.value.empty() ? "" : "; " + judge.setting.advice;
}

std::string shown_value(const Refusal &refusal, bool is_secret)
{
    constexpr size_t kMost = 40;
    if (refusal.value.empty() || is_secret) {
        return "";
    }
    const std::string text = escape(refusal.value.substr(0, kMost));
    return "\"" + text + (refusal.value.size() > kMost ? "..." : "") + "\" ";
}

// Over-long text: what a reader that stops at the width has left of it.
std::string rest_text(const Judge &judge, bool is_secret)
{
    const long most =
        judge.refusal.field != nullptr ? judge.refusal.field->type.most : judge.setting.type.most;
    if (!judge.refusal.is_too_long || is_secret) {
        return "";
    }
    constexpr size_t kMost = 40;
    constexpr size_t kEnd = 16;
    const std::string rest = judge.refusal.value.substr(0, static_cast<size_t>(most));
    const bool is_whole = rest.size() <= kMost;
    return "; its first " + std::to_string(most) + (is_whole ? " are \"" : " end in \"") +
           escape(is_whole ? rest : rest.substr(rest.size() - kEnd)) + "\"";
}

// The error with which the reading of policies ends there.
std::string policy_error(const Refusal &refusal)
{
    const std::string field = refusal.field == nullptr ? "" : refusal.field->name;
    const bool is_format = refusal.record == 0 && refusal.reason.rfind("does not begin", 0) == 0;
    return field == "local_type"    ? " (error -7)"
           : field == "remote_type" ? " (error -9)"
           : is_format              ? " (error -3)"
                                    : "";
}

void lint_refusal(const Store &store, const Description &setting, const Refusal &refusal, bool is_alone,
                  Findings &findings)
{
    const Judge judge{setting, refusal, is_alone, [&](std::string_view name) {
                          if (name == "it") {
                              return refusal.value;
                          }
                          for (size_t i = 0; i < refusal.fields.size() && i < setting.fields.size(); ++i) {
                              if (refusal.record != 0 && setting.fields[i].name == name) {
                                  return refusal.fields[i];
                              }
                          }
                          return store.get(std::string(name));
                      }};
    const bool is_secret = setting.is_secret || (refusal.field != nullptr && refusal.field->is_secret) ||
                           (refusal.field == nullptr && refusal.record != 0 && setting.key == "vpn");
    std::vector<Claim> claims;
    const std::string consequence = consequence_text(judge, claims);
    Finding &finding = findings.add(Grade::kError, code_of(refusal), setting.key,
                                    shown_value(refusal, is_secret) + refusal.reason +
                                        (setting.key == "vpn" ? policy_error(refusal) : "") +
                                        rest_text(judge, is_secret) + consequence);
    finding.record = refusal.record;
    finding.field = refusal.field == nullptr ? "" : refusal.field->name;
    finding.claims = claims;
}

// Choice: a setting that only a service that is off reads may be empty; the linter complains when it is on.
bool is_needed(const Store &store, const Description &setting)
{
    return !setting.needed.empty() &&
           all_hold(setting.needed, [&](std::string_view name) { return store.get(std::string(name)); });
}

void lint_value(const Store &store, const Description &setting, Findings &findings)
{
    std::vector<Refusal> found = refusals(setting, store.get(setting.key));
    if (found.empty() && store.get(setting.key).empty() && is_needed(store, setting)) {
        found.push_back({0, nullptr, "", "is empty", {}, false});
    }
    for (const Refusal &refusal : found) {
        const auto of_record = std::count_if(
            found.begin(), found.end(), [&](const Refusal &other) { return other.record == refusal.record; });
        lint_refusal(store, setting, refusal, of_record == 1, findings);
    }
}

}  // namespace

void lint_values(const Store &store, const std::vector<Setting> &settings, Findings &findings)
{
    std::set<std::string> keys;
    for (const Setting &one : settings) {
        const Description *setting = find_description(one.key);
        if (!keys.insert(one.key).second) {
            findings.add(Grade::kWarning, "repeated-key", one.key, "is there more than once");
        } else if (setting == nullptr) {
            lint_key(one.key, findings);
        } else {
            lint_value(store, *setting, findings);
        }
    }
}

}  // namespace forms
