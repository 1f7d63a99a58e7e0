#pragma once

#include <list>

template <class T>
using QZ_List = std::list<T>;
