// A settings store as text that people read and write: one entry a line, key=value.
//
// Line ends, tabs, backslashes and other bytes that a terminal does not show are written \n \t \\ \xHH; so
// are a blank at the end of a line and a "#" at its beginning. Lines that begin with "#" and blank lines
// are passed over when text is read. Every store with sound entries survives the way to text and back.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace text_form {

// The reverse of escape(). False for an unknown escape, a raw control byte or a NUL; `why` then says so.
[[nodiscard]] bool unescape(std::string_view text, std::string &out, std::string &why);

// The entries of a store up to its empty entry, as text.
std::string from_store(std::string_view store);

// What is wrong with a text, and on which line (the first is 1).
struct Fault {
    size_t line = 0;
    std::string why;
};

// A text as a whole store, final NUL included. False when a line is no entry or repeats a key; `store` is
// then not changed.
[[nodiscard]] bool to_store(std::string_view text, std::string &store, Fault &fault);

}  // namespace text_form
