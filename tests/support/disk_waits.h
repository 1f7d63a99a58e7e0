// How often this program has waited until what it wrote was on the disk.
#pragma once

unsigned disk_waits();
