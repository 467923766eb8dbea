#include "bench/show/json.h"

#include "bench/show/changes.h"
#include "bench/show/timeline.h"

namespace bench {

namespace {

Json json_words(const std::vector<std::string> &words)
{
    Json list = Json::array();
    for (const std::string &word : words) {
        list.push_back(json_text(word));
    }
    return list;
}

Json json_optional(const std::optional<std::string> &text)
{
    return text ? json_text(*text) : Json(nullptr);
}

Json json_event(const Event &event)
{
    Json json = {{"kind", event_label(event)}, {"depth", event.depth}};
    switch (event.kind) {
        case Kind::kSleep:
            json["seconds"] = event.number;
            break;
        case Kind::kUsleep:
            json["microseconds"] = event.number;
            break;
        case Kind::kKlog:
            json["action"] = event.number;
            break;
        case Kind::kKill:
            json["process"] = event.number;
            json["signal"] = event.signal;
            break;
        case Kind::kTool:
            json["words"] = json_words(event.words);
            break;
        default:
            json["text"] = json_text(event.text);
            if (event.unended) {
                json["unended"] = true;
            }
    }
    return json;
}

Json json_setting(const SettingChange &change)
{
    return {{"key", json_text(change.key)},
            {"before", json_optional(change.before)},
            {"after", json_optional(change.after)}};
}

Json json_file(const FileChange &change)
{
    return {{"path", json_text(change.path)},
            {"what", change_word(change.what)},
            {"content", json_text(change.after)}};
}

template <typename Items, typename Write>
Json json_list(const Items &items, const Write &write)
{
    Json list = Json::array();
    for (const auto &item : items) {
        list.push_back(write(item));
    }
    return list;
}

}  // namespace

Json json_text(std::string_view bytes)
{
    std::string text;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x80) {
            text += c;
        } else {
            text += static_cast<char>(0xc0 | byte >> 6);
            text += static_cast<char>(0x80 | (byte & 0x3f));
        }
    }
    return text;
}

Json json_report(const std::vector<std::string> &words, const Trace &trace)
{
    return {{"words", json_words(words)},
            {"status", trace.status},
            {"timed_out", trace.timed_out},
            {"limit", trace.limit.empty() ? Json(nullptr) : Json(trace.limit)},
            {"events", json_list(trace.events, json_event)},
            {"settings", json_list(trace.settings, json_setting)},
            {"files", json_list(trace.files, json_file)},
            {"errors", json_text(trace.errors)}};
}

std::string written(const Json &json)
{
    return json.dump(2, ' ', true) + "\n";
}

}  // namespace bench
