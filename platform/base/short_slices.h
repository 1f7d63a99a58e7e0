#pragma once

// The calling thread, which works in short bursts, takes the processor for a tenth of a millisecond at a time. In
// return Linux from 6.12 on gives it sooner to the thread when it wakes up while other programs keep all processors
// busy; older systems do nothing. Its share stays the same. A thread with a scheduling policy of its own keeps that.
void ask_for_short_slices();
