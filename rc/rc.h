// What every service needs: its row in the service tables, the ways to run commands, running markers and the
// WAN address.
#pragma once

#include "rc/running.h"
#include "rc/shell.h"

// One operation of a service: no arguments; a negative result is failure, anything else success.
using Operation = int (*)();

// One row of a service table. A table ends with a row whose name is null; an operation that a service
// does not have is null, and such a row is skipped as if its name did not match.
struct Service {
    const char *name;
    Operation start;
    Operation stop;
    Operation create;
};
