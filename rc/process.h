// The process as a run needs it.
#pragma once

// Makes descriptors and signals what a run needs, whatever its caller left. The first step of a run.
void prepare_process();
