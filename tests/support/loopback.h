// A loopback address that no other test uses at the same time, so that fixed ports never collide.
#pragma once

#include <string>

namespace support {

// All of 127.0.0.0/8 is loopback; the address is made of the process id. which tells apart addresses (0 to 2) of
// one test.
std::string own_address(int which = 0);

}  // namespace support
