// Counter daemon: started and stopped, nothing else.
//
// Reads:  -
// Writes: -
// Runs:   potcounter killall
// Needs:  -

#include "rc/rc.h"
#include "rc/wan/wan.h"

int start_pot()
{
    run("/usr/sbin/potcounter&");
    return 0;
}

int stop_pot()
{
    run("/usr/bin/killall potcounter");
    return 0;
}
