#pragma once

#include <vector>

template <class T>
using QZ_Vector = std::vector<T>;
