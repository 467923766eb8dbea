// What is made from the descriptions of the settings: JSON Schema, the validator in C, the table of shell
// exposure for people.
#pragma once

#include <string>
#include <string_view>

namespace forms {

// share/settings.schema.json: JSON Schema 2020-12 of an object with all settings as texts.
std::string settings_schema();

// share/settings_check.c, from forms/settings_check.c.in.
std::string settings_check_source(std::string_view frame);

// docs/shell.md.
std::string shell_page();

}  // namespace forms
