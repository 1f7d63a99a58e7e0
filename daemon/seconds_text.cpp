#include "daemon/seconds_text.h"

namespace poalocd {

std::string seconds_text(Milliseconds time) {
  std::string text = std::to_string(static_cast<double>(time.count()) / 1000);
  text.erase(text.find_last_not_of('0') + 1);
  if (text.back() == '.') text.pop_back();
  return text;
}

}  // namespace poalocd
