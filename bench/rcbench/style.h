// Colour and width of what goes to standard output.
#pragma once

#include "bench/show/printer.h"

namespace rcbench {

// The style with colour and width as the terminal has them; neither when the output is no terminal.
bench::Style fitted(bench::Style style);

}  // namespace rcbench
