// Any bytes as escapes, words, settings, replies, lines of a trace, and a program's options: what is read is
// written and read again to the same, and what is refused says why in a line.
#include <string>
#include <vector>

#include "forms/escapes.h"
#include "forms/events.h"
#include "forms/program.h"
#include "forms/replies.h"
#include "forms/settings.h"
#include "forms/words.h"
#include "tests/fuzz/fuzz.h"

namespace {

void check_why(const std::string &why)
{
    MUST(!why.empty() && why.size() < 1000);
    for (const char c : why) {
        MUST(c >= ' ' && c <= '~');
    }
}

void check_escapes(std::string_view text)
{
    std::string again;
    std::string why;
    MUST(forms::unescape(forms::escape(text), again, why) && again == text);
    MUST(forms::unescape(text, again, why) || !why.empty());
    check_why(forms::shown(text) + ".");
}

void check_words(std::string_view text)
{
    std::vector<std::string> words;
    std::vector<std::string> again;
    std::string why;
    if (!forms::split_words(text, words, why)) {
        check_why(why);
        return;
    }
    MUST(forms::split_words(forms::join_words(words), again, why) && again == words);
}

void check_settings(std::string_view text)
{
    std::vector<forms::Setting> settings;
    std::vector<forms::Setting> again;
    forms::Fault fault;
    if (!forms::read_settings(text, settings, fault)) {
        check_why(fault.in("file"));
        return;
    }
    MUST(forms::read_settings(forms::settings_text(settings), again, fault) && again == settings);
    MUST(forms::store_settings(forms::store_bytes(settings)) == settings);
}

void check_replies(std::string_view text)
{
    std::vector<forms::Reply> replies;
    std::vector<forms::Effect> effects;
    forms::Fault fault;
    if (!forms::read_replies(text, replies, effects, fault)) {
        check_why(fault.in("file"));
    }
}

// Plain lines expand to themselves, and short ones to what they are short for.
void check_trace(std::string_view text)
{
    std::vector<std::string> plain;
    std::string why;
    while (!text.empty()) {
        const std::string_view line = cut_line(text);
        if (!forms::expand_trace_line(line, plain, why)) {
            check_why(why);
        }
    }
    std::vector<std::string> again;
    for (const std::string &line : forms::shorten_trace(plain)) {
        MUST(forms::expand_trace_line(line, again, why));
    }
    MUST(again == plain);
}

void check_options(std::string_view text)
{
    std::vector<std::string> arguments;
    while (!text.empty()) {
        arguments.emplace_back(cut_line(text));
        if (arguments.back().starts_with("--help") || arguments.back().starts_with("--version") ||
            arguments.back().starts_with("-h")) {
            return;
        }
    }
    size_t taken = 0;
    const forms::Program program = {
        .name = "tool",
        .usage = {"WORDS"},
        .options = {{'f', "file", "FILE", "a file", [&](const std::string &) { taken += 2; }},
                    {'\0', "all", nullptr, "all", [&](const std::string &) { ++taken; }}}};
    try {
        const std::vector<std::string> words = forms::read_options(program, arguments);
        MUST(words.size() <= arguments.size());
    } catch (const forms::Failure &failure) {
        MUST(failure.status == forms::kUnusable);
        check_why(failure.what());
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string_view text = input_of(data, size);
    check_escapes(text);
    check_words(text);
    check_settings(text);
    check_replies(text);
    check_trace(text);
    check_options(text);
    return 0;
}
