// Answers of the router's tools and what they do, as records and as text: the same lines in scenarios and in
// files of replies.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "forms/settings.h"

namespace forms {

// What a stand-in answers when it is called with words that begin with `words` (compared word by word;
// spaces separate words; empty: any call). Among replies that fit, those with most words win; several with
// the same words answer one call after the other, over all runs in the root, and the last one stays. A
// stand-in without a fitting reply prints nothing and succeeds.
struct Reply {
    std::string tool;  // base name or path; only the base name counts
    std::string words;
    std::string output;
    int status = 0;
    std::string errors = {};  // to standard error
};

// A shell command that the stand-in runs in the root, before it answers; chosen like a reply, independent
// of it. It finds the tool's words in $1, $2... What it prints is part of the stand-in's output.
struct Effect {
    std::string tool;
    std::string words;
    std::string command;
};

// What follows the word "reply": "TOOL WORDS"; "status-reply": "N TOOL WORDS"; "effect": "TOOL WORDS =>
// COMMAND". False when it is something else; `why` then says what is expected.
[[nodiscard]] bool read_reply(std::string_view text, Reply &reply, std::string &why);
[[nodiscard]] bool read_status_reply(std::string_view text, Reply &reply, std::string &why);
[[nodiscard]] bool read_effect(std::string_view text, Effect &effect, std::string &why);

// Adds the replies and effects of a text of such lines; "| TEXT" below a reply is a line of its output. Lines
// that begin with "#" and empty lines are skipped.
[[nodiscard]] bool read_replies(std::string_view text, std::vector<Reply> &replies,
                                std::vector<Effect> &effects, Fault &fault);

}  // namespace forms
