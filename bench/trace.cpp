// What programs and tests ask of a root and of a trace in one line.
#include <algorithm>

#include "bench/router.h"
#include "forms/words.h"

namespace bench {

namespace {

std::string base_name(const std::string &path)
{
    return path.substr(path.rfind('/') + 1);
}

bool is_for(const std::string &tool, const std::string &words, const std::vector<std::string> &called)
{
    if (called.empty() || base_name(called[0]) != base_name(tool)) {
        return false;
    }
    std::string_view wanted = words;
    for (size_t at = 1; !wanted.empty();) {
        const std::string_view word = forms::take_word(wanted);
        if (word.empty()) {
            continue;
        }
        if (at >= called.size() || called[at] != word) {
            return false;
        }
        ++at;
    }
    return true;
}

}  // namespace

std::vector<std::string> Trace::commands() const
{
    std::vector<std::string> texts;
    for (const Event &event : events) {
        if (event.kind == Kind::kShell) {
            texts.push_back(event.text);
        }
    }
    return texts;
}

std::vector<std::string> Trace::lines() const
{
    std::vector<std::string> texts;
    for (const Event &event : events) {
        if (event.kind == Kind::kOut) {
            texts.push_back(event.text);
        }
    }
    return texts;
}

const FileChange *Trace::file(std::string_view path) const
{
    for (const FileChange &change : files) {
        if (change.path == path) {
            return &change;
        }
    }
    return nullptr;
}

Trace Root::rc(std::string_view words, Run like)
{
    like.words = {"rc"};
    while (!words.empty()) {
        const std::string_view word = words.substr(0, words.find(' '));
        like.words.emplace_back(word);
        words.remove_prefix(std::min(word.size() + 1, words.size()));
    }
    return run(like);
}

void Root::set(const std::vector<Setting> &changes)
{
    std::vector<Setting> entries = settings().value_or(std::vector<Setting>{});
    for (const Setting &entry : changes) {
        set_entry(entries, entry);
    }
    write("/tmp/nvram", store_bytes(entries));
}

void set_entry(std::vector<Setting> &settings, const Setting &entry)
{
    for (Setting &there : settings) {
        if (there.key == entry.key) {
            there.value = entry.value;
            return;
        }
    }
    settings.push_back(entry);
}

bool was_called(const std::vector<Trace> &traces, const std::string &tool, const std::string &words)
{
    return std::any_of(traces.begin(), traces.end(), [&](const Trace &trace) {
        return std::any_of(trace.events.begin(), trace.events.end(), [&](const Event &event) {
            return event.kind == Kind::kTool && is_for(tool, words, event.words);
        });
    });
}

}  // namespace bench
