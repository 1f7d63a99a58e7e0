#pragma once

// The calling thread, which works in short bursts, asks for the processor for a tenth of a millisecond at a time. In
// return Linux from 6.12 on gives it sooner to the thread when it wakes up while other programs keep all processors
// busy; older systems do nothing. Its share stays the same. A thread of another policy than SCHED_OTHER stays as it is.
void ask_for_short_slices();
