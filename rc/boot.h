// Boot: what the command frame runs before a service.
#pragma once

// Brings the settings store into being: from flash, else from the factory defaults. Always 0.
// Choice: `rc init` leaves the upgrade flag for the next boot when the defaults or the store cannot be
// read.
// Choice: before `rc init` takes the defaults, the flash is read a second time.
// Choice: a missing `restore_default` is not "1".
int rc_init();

// Appends one record of the line driver's and the firmware's version to /etc/svn.info.
// Choice: the version record is also written for `rc start extra`, before the words are counted.
void write_version_records();
