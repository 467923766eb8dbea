// The process as a run needs it.
#pragma once

// Makes descriptors and signals what a run needs, whatever its caller left. The first step of a run.
// Choice: whatever the caller leaves, rc works the same: standard descriptors that it has closed become
// `/dev/null`, children that it ignores are no longer ignored, and when nothing reads the output, the
// output is lost and the work goes on. Commands get the signals as the caller left them, except the one
// about children.
void prepare_process();
