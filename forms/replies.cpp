#include "forms/replies.h"

#include <algorithm>

#include "forms/escapes.h"
#include "forms/words.h"

namespace forms {

namespace {

bool refuse(std::string &why, std::string text)
{
    why = std::move(text);
    return false;
}

std::string_view trimmed(std::string_view text)
{
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    text.remove_suffix(text.size() - std::min(text.find_last_not_of(' ') + 1, text.size()));
    return text;
}

// "TOOL WORDS"
bool read_call(std::string_view text, std::string &tool, std::string &words, std::string &why)
{
    if (!unescape(take_word(text), tool, why) || !unescape(trimmed(text), words, why)) {
        return false;
    }
    return !tool.empty() || refuse(why, "the tool's name is missing");
}

// The replies and effects so far, and the reply that "|" lines belong to.
struct Reader {
    std::vector<Reply> &replies;
    std::vector<Effect> &effects;
    bool takes_output = false;
};

bool read_output_line(std::string_view line, Reader &reader, std::string &why)
{
    if (!reader.takes_output) {
        return refuse(why, "a | line belongs to a reply above it");
    }
    line.remove_prefix(line.starts_with("| ") ? 2 : 1);
    std::string text;
    if (!unescape(line, text, why)) {
        return false;
    }
    reader.replies.back().output += text + '\n';
    return true;
}

bool read_line(std::string_view line, Reader &reader, std::string &why)
{
    if (line.empty() || line.front() == '#') {
        return true;
    }
    if (line.ends_with(' ')) {
        return refuse(why, "a space at the end of a line is written \\x20");
    }
    if (line.front() == '|') {
        return read_output_line(line, reader, why);
    }
    const std::string_view name = take_word(line);
    reader.takes_output = name != "effect";
    if (name == "effect") {
        return read_effect(line, reader.effects.emplace_back(), why);
    }
    if (name == "reply") {
        return read_reply(line, reader.replies.emplace_back(), why);
    }
    if (name == "status-reply") {
        return read_status_reply(line, reader.replies.emplace_back(), why);
    }
    return refuse(why, "not a reply, status-reply or effect: " + shown(name));
}

}  // namespace

bool read_reply(std::string_view text, Reply &reply, std::string &why)
{
    return read_call(text, reply.tool, reply.words, why);
}

bool read_status_reply(std::string_view text, Reply &reply, std::string &why)
{
    if (!read_number(take_word(text), reply.status) || reply.status > 255) {
        return refuse(why, "status-reply N TOOL WORDS expected, N at most 255");
    }
    return read_reply(text, reply, why);
}

bool read_effect(std::string_view text, Effect &effect, std::string &why)
{
    constexpr std::string_view kArrow = " => ";
    const size_t at = text.find(kArrow);
    if (at == std::string_view::npos) {
        return refuse(why, "effect TOOL WORDS => COMMAND expected");
    }
    return read_call(text.substr(0, at), effect.tool, effect.words, why) &&
           unescape(text.substr(at + kArrow.size()), effect.command, why);
}

bool read_replies(std::string_view text, std::vector<Reply> &replies, std::vector<Effect> &effects,
                  Fault &fault)
{
    Reader reader{replies, effects};
    fault = {};
    while (!text.empty()) {
        ++fault.line;
        if (!read_line(take_line(text), reader, fault.why)) {
            return false;
        }
    }
    return true;
}

}  // namespace forms
