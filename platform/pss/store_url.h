// Where a store lies.
#pragma once

#include <string>

namespace QZ_PSS {

// The file of "sqlite:///absolute/path/state.db". OpenError for a URL of another form.
std::string store_file(const std::string& url);

}  // namespace QZ_PSS
