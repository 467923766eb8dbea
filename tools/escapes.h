// How bytes are written as text that people read and type: \n \t \\ \xHH. Bench, scenarios and host tools
// all write them so.
#pragma once

#include <string>
#include <string_view>

// A line end, a tab and a backslash become \n \t \\; other bytes that a terminal does not show, and a blank
// at the end, become \xHH.
std::string escape(std::string_view text);

// The byte that the escape at the front of `text` stands for; moves `text` past it. -1: it is none, `text`
// is as it was.
[[nodiscard]] int take_escape(std::string_view &text);

// A byte that may not stand in such a text as it is.
[[nodiscard]] bool is_control(char c);
