// A member's value on its way to or from the store.
#pragma once

#include <omniORB4/CORBA.h>

#include <string>
#include <string_view>
#include <vector>

#include "platform/pss/member.h"

namespace QZ_PSS {

// One column's value: text for octets (lower-case hex), strings, references and object references; number otherwise.
struct Field {
  std::string text;
  long long number = 0;
};

std::string to_hex(const CORBA::OctetSeq& octets);
// PERSIST_STORE with MINOR_BAD_RECORD when text is not hex.
CORBA::OctetSeq from_hex(std::string_view text);

template <class Seq>
std::vector<std::string> to_hex_list(const Seq& list) {
  std::vector<std::string> result;
  result.reserve(list.length());
  for (CORBA::ULong i = 0; i < list.length(); ++i) result.push_back(to_hex(list[i]));
  return result;
}

}  // namespace QZ_PSS
