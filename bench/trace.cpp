// What programs and tests ask of a root and of a trace in one line.
#include <algorithm>

#include "bench/router.h"

namespace bench {

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

}  // namespace bench
