// Operations that no command reaches: kept with the product's own tools, called only by tests.
#pragma once

// Sets a variable of the boot environment, unless it already has this value (case ignored).
// 0: done, 1: the environment could not be opened.
int set_boot_env(const char *name, const char *value);

// Appends the 16 bytes of factory data, led by a "-", to /tmp/mac and prints them as a line. Always 0;
// without its flash partition nothing is done.
// Choice: the reader of the factory data does nothing when its flash partition cannot be opened; missing
// bytes are NUL.
int read_factory_data();
