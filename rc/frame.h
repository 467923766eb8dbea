// The command frame's own operations: what main, boot and their tests call of each other.
#pragma once

#include "rc/rc.h"

// Everything a run of rc does. Returns the exit status, or ends the process itself after the usage text.
int rc_main(int word_count, char **words);

// Makes descriptors and signals what a run needs, whatever its caller left. The first step of a run.
void prepare_process();

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
int rc_action(const Service *table, const char *name, const char *action);

// Prints the usage text and ends the process with status 0.
[[noreturn]] void rc_usage();

// Brings the settings store into being: from flash, else from the factory defaults. Always 0.
int rc_init();

// Appends one record of the line driver's and the firmware's version to /etc/svn.info.
void write_version_records();

// ---- toolbox that no command reaches -----------------------------------------------------------------

// Sets a variable of the boot environment, unless it already has this value (case ignored).
// 0: done, 1: the environment could not be opened.
int set_boot_env(const char *name, const char *value);

// Appends the 16 bytes of factory data, led by a "-", to /tmp/mac and prints them as a line. Always 0;
// without its flash partition nothing is done.
int read_factory_data();
