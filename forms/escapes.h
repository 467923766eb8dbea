// How bytes are written as text that people read and type: \n \t \\ \xHH. Bench, scenarios and host tools
// all write them so.
#pragma once

#include <string>
#include <string_view>

namespace forms {

// A line end, a tab and a backslash become \n \t \\; other bytes that a terminal does not show, and a space
// at the end, become \xHH.
std::string escape(std::string_view text);

// Whether bytes that escape() never writes as they are may be in a text: yes where a shell passes them.
enum class RawControls { kRefused, kAllowed };

// The reverse of escape(). False for any other backslash and for a refused control byte; `why` then says so.
[[nodiscard]] bool unescape(std::string_view text, std::string &out, std::string &why,
                            RawControls raw = RawControls::kRefused);

// Text of any origin for a message: escaped, and cut where it is longer than people want to read.
std::string shown(std::string_view text);

}  // namespace forms
