// What happened in a run, in order: one line an event.
#pragma once

#include <string>
#include <vector>

#include "bench/router.h"
#include "bench/show/printer.h"

namespace bench {

// The word before an event: "run", "wait", "out"...
const char *event_label(const Event &event);

// The lines of the timeline, not folded.
std::vector<Line> timeline(const Trace &trace, const Style &style);

// The same without tints, not fitted to any width.
std::vector<std::string> timeline_text(const Trace &trace, const Style &style);

// Where rc spent its time, as far as it is told by its pauses: "pauses of 63 s: 60 s after pppd, 3 s after
// insmod". Empty for less than a second.
std::string time_spent(const Trace &trace);

// That and why the bench itself ended the run; empty when it did not.
std::string cut_off(const Trace &trace);

// How the run ended: "exit status 0".
std::string ending(const Trace &trace);

}  // namespace bench
