// What happened in a run, in order: one line an event.
#pragma once

#include <string>
#include <vector>

#include "bench/router.h"
#include "bench/show/printer.h"

namespace bench {

// The word before an event: "run", "wait", "out"...
const char *event_label(const Event &event);

// The lines of the timeline. Without --full, what repeats is told once with the number of times.
std::vector<Line> timeline(const Trace &trace, const Style &style);

// The same without tints, not fitted to any width.
std::vector<std::string> timeline_text(const Trace &trace, const Style &style);

// How the run ended: "exit status 0".
std::string ending(const Trace &trace);

}  // namespace bench
