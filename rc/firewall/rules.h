// The open rules file and the one way to write a line into it.
#pragma once

#include <cstddef>
#include <cstdio>

// The text after "iptables " has room for one character fewer than this; the rest is silently cut.
constexpr size_t kRuleSize = 1024;

// Where fw_rule writes from now on; null: its lines are dropped. The stream stays the caller's.
void fw_rules_to(FILE *file);

// Writes one line: "iptables ", the filled format, a line end. Formats know %s, %d and %c without flags;
// surplus arguments are ignored.
void fw_rule(const char *format, ...) __attribute__((format(printf, 1, 2)));

// Writes every format of a table that ends with null, each filled with the same text.
void fw_rule_list(const char *const *formats, const char *text);

// Fills a format of fw_rule's kind into `text`, which holds `size` bytes: what does not fit is cut, the
// result is always terminated. The format is trusted, not checked: it comes from a table of this folder.
void fw_fill(char *text, size_t size, const char *format, ...);
