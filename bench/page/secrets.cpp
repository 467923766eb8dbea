#include "bench/page/secrets.h"

#include <algorithm>

#include "forms/check.h"
#include "forms/descriptions.h"

namespace page {

namespace {

constexpr const char *kMask = "********";
constexpr size_t kShort = 4;  // shorter values would be found in every word

bool is_letter_or_digit(char c)
{
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// Secret fields of the records of a list.
void add_fields(const forms::Description &setting, std::string_view value, std::vector<std::string> &secrets)
{
    for (const std::string &record : forms::records_of(setting, value)) {
        const std::vector<std::string> fields = forms::fields_of(setting, record);
        for (size_t i = 0; i < std::min(fields.size(), setting.fields.size()); ++i) {
            if (setting.fields[i].is_secret && fields[i] != "0") {
                secrets.push_back(fields[i]);
            }
        }
    }
}

}  // namespace

void Secrets::add(const std::vector<bench::Setting> &settings)
{
    std::vector<std::string> found;
    for (const bench::Setting &entry : settings) {
        const forms::Description *setting = forms::find_description(entry.key);
        if (setting != nullptr && setting->is_secret) {
            // A default is no secret, and often a plain word: it is masked where it stands alone.
            (entry.value == setting->value ? words_ : found).push_back(entry.value);
        } else if (setting != nullptr) {
            add_fields(*setting, entry.value, found);
        }
    }
    for (const std::string &value : found) {
        (value.size() < kShort ? words_ : values_).push_back(value);
    }
    for (std::vector<std::string> *list : {&values_, &words_}) {
        std::sort(list->begin(), list->end(), [](const std::string &left, const std::string &right) {
            return left.size() != right.size() ? left.size() > right.size() : left < right;
        });
        list->erase(std::unique(list->begin(), list->end()), list->end());
        std::erase(*list, "");
    }
}

std::string Secrets::masked(std::string_view text) const
{
    std::string out(text);
    const auto mask = [&](const std::string &value, bool alone) {
        for (size_t at = 0; (at = out.find(value, at)) != std::string::npos;) {
            const bool joined =
                (at > 0 && is_letter_or_digit(out[at - 1])) ||
                (at + value.size() < out.size() && is_letter_or_digit(out[at + value.size()]));
            if (alone && joined) {
                at += value.size();
                continue;
            }
            out.replace(at, value.size(), kMask);
            at += std::char_traits<char>::length(kMask);
        }
    };
    for (const std::string &value : values_) {
        mask(value, false);
    }
    for (const std::string &value : words_) {
        mask(value, true);
    }
    return out;
}

bench::Trace Secrets::masked(bench::Trace trace) const
{
    if (values_.empty() && words_.empty()) {
        return trace;
    }
    for (bench::Event &event : trace.events) {
        event.text = masked(event.text);
        for (std::string &word : event.words) {
            word = masked(word);
        }
    }
    for (bench::FileChange &change : trace.files) {
        change.before = masked(change.before);
        change.after = masked(change.after);
    }
    for (bench::SettingChange &change : trace.settings) {
        const forms::Description *setting = forms::find_description(change.key);
        for (std::optional<std::string> *value : {&change.before, &change.after}) {
            if (*value) {
                *value =
                    setting != nullptr && setting->is_secret && !(*value)->empty() ? kMask : masked(**value);
            }
        }
    }
    trace.output = masked(trace.output);
    trace.errors = masked(trace.errors);
    return trace;
}

}  // namespace page
