// Behind the sources of rc in the unit that holds them all: everything at file scope that a run changes has
// its first value again, as in a new process.
#pragma once

void forget_run()
{
    patient = true;
    rules = nullptr;
    filter_opened = false;
    filter_closed = false;
}
