// Preloaded into rc, so that what it asks of the C library is answered by the bench: pauses return at once
// and are recorded, the clock can be the bench's, calls that would change the machine are recorded in place
// of being done. Built for the processor of rc; never loaded into anything else.
//
// Environment, set by the bench: BENCH_CLOCK and BENCH_CLOCK_END, see inside.h; BENCH_FAIL, recorded
// calls fail; BENCH_PAUSES, the most pauses of one run.
#pragma once

#include <dlfcn.h>

#include <cstdio>
#include <cstring>

#include "bench/run/inside/inside.h"

// Choice: rc is process 2 of every run; signals it sends are recorded, never sent.
// Choice: a pause of a millisecond or more first lets background commands end, so that their place in a
// trace is fixed.
// Choice: more than 5000 counted pauses in one run end it: the PPP retry loop has no end of its own.
// Choice: a clock that is set moves by the pauses of rc alone, and goes on from run to run; commands take no
// time. Choice: a run in the background has a clock of its own; the next run asked for begins when all of
// that has ended.
namespace preload {

// The C library's own function of that name.
template <typename Function>
Function *real(const char *name)
{
    void *found = dlsym(RTLD_NEXT, name);
    Function *function = nullptr;
    memcpy(&function, &found, sizeof function);
    return function;
}

inline void record_number(char kind, long number)
{
    char text[24];
    snprintf(text, sizeof text, "%ld", number);
    inside::write_record(kind, text);
}

}  // namespace preload
