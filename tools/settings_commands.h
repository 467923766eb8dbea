// The commands of nvram that look into settings: lint and diff.
#pragma once

#include <string>
#include <vector>

#include "forms/settings.h"

// The settings of a store, a flash image or a text, whichever the file is; "-" is standard input.
// Choice: `nvram import` makes the text the whole store; `set` takes values literally.
std::vector<forms::Setting> read_any_settings(const std::string &path);

// Prints the findings about the settings; the exit status: 0 nothing above a note, 1 findings.
int lint_settings(const std::vector<forms::Setting> &settings, bool is_json);

// diff [--json] [--secrets] [--all] A B, each a file or --defaults; the exit status: 0 the same, 1
// differences.
// Choice: of more than ten settings that one side alone has, their number is said; --all lists them.
// Choice: the linter does not show values of secrets; `nvram diff` and `rcbench explain` mask them without
// `--secrets`. What a run shows (`--show`) is not masked: its commands hold the same texts.
int diff_settings(const std::vector<std::string> &words);
