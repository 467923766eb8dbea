// Boot: what the command frame runs before a service.
#pragma once

// Brings the settings store into being: from flash, else from the factory defaults. Always 0.
int rc_init();

// Appends one record of the line driver's and the firmware's version to /etc/svn.info.
void write_version_records();
