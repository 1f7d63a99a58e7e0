#pragma once

#include <string>

using QZ_String = std::string;
