// How often this program has waited until what it wrote was on the disk, and a disk that fails.
#pragma once

// Those that did not fail.
unsigned disk_waits();

// The calling thread's next wait fails, with EIO.
void fail_next_disk_wait();
