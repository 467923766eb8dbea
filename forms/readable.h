// Files of the router that people cannot read as they are, as lines that they can: lease files, vpn.conf,
// flash images, settings stores.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "forms/descriptions.h"
#include "forms/vpn.h"

namespace forms {

// Empty: a text, or in no form that is known. Files are told by their bytes, lease files by their name too.
std::vector<std::string> readable_lines(std::string_view path, std::string_view bytes, Secrets secrets);

// A list's records, each a heading and its fields, one a line, with what they mean.
std::vector<std::string> record_lines(const Description &setting, std::string_view value, Secrets secrets);

// Sixteen bytes a line in hexadecimal, behind the offset of the first.
std::vector<std::string> dump_lines(std::string_view bytes);

}  // namespace forms
