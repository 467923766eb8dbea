// Counter daemon: started and stopped, nothing else.
//
// Runs:   potcounter killall

#include "rc/wan/wan.h"

#include "rc/rc.h"

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
