// The command frame's own operations, as main and the tests call them.
#pragma once

#include "rc/rc.h"

// Everything a run of rc does. Returns the exit status, or ends the process itself after the usage text.
// Choice: when no word contains "rc", or none follows it, the usage text is printed.
// Choice: words beyond what `init`, `list` and `wan ACTION` need are ignored; an empty word is a word.
// Choice: messages whose line end is not specified are printed as lines of their own.
// Choice: in `rc list`, an address cut off by the end of the tool's output is printed as far as it goes.
int rc_main(int word_count, char **words);

// The service tables, in the order in which a name is looked up: the general one, the group that follows a
// new WAN address, the rest.
extern const Service kGeneral[];
extern const Service kWanGroup[];
extern const Service kLastTable[];

// Row scans over one table; a null name means every row. 0: done (or nameless scan ended), 1: name not
// found, -1: an operation returned a negative value and ended the scan.
int rc_start(const Service *table, const char *name);
int rc_stop(const Service *table, const char *name);
int rc_create(const Service *table, const char *name);

// Runs "start", "stop", "restart" or "create" between the service's running markers. The scan's result,
// or 0 when another run for this name is at work. Any other action ends the process with the usage text.
// Choice: a verb without a name (`rc start`) prints the name as "(null)".
int rc_action(const Service *table, const char *name, const char *action);

// Prints the usage text and ends the process with status 0.
[[noreturn]] void rc_usage();
