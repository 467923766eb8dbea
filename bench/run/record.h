// The record of a run, as its helpers wrote it in the root, read into a trace.
#pragma once

#include "bench/router.h"

namespace bench {

// Events, exit status and output from the record in the root.
void read_record(const Root &root, Trace &trace);

}  // namespace bench
