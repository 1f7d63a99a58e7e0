#include "platform/pss/store_url.h"

#include "platform/pss/pss_errors.h"

namespace QZ_PSS {

std::string store_file(const std::string& url) {
  const std::string scheme = "sqlite://";
  if (!url.starts_with(scheme + "/"))
    throw OpenError("cannot open the store \"" + url + "\": not of the form sqlite:///path/of/the/file");
  std::string path = url.substr(scheme.size());
  if (path.ends_with("/") || path.find_first_of(std::string("\"\0", 2)) != std::string::npos)
    throw OpenError("cannot open the store \"" + url + "\": its path does not name a file");
  return path;
}

}  // namespace QZ_PSS
