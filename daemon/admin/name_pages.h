// Lists in pages, in the order of the entries' names.
#pragma once

#include <omniORB4/CORBA.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string>

namespace poalocd {

inline constexpr CORBA::ULong MAX_PAGE = 1000;
// Octets of a page but for its last element, well below what any ORB takes as one message.
inline constexpr std::size_t MAX_PAGE_SIZE = 256 * 1024;

// Octets that it takes in a message.
template <class Element>
std::size_t size_of(const Element& element) {
  cdrMemoryStream stream;
  element >>= stream;
  return stream.bufSize();
}

// fetch(name, most) gives entries behind that name, none at the end; name_of(entry) is an entry's name;
// describe(entry, element) makes it an element of the list, or returns false when it is to be left out. The caller
// deletes the list and releases next, which is where to go on. A page ends early when its elements are large.
template <class List, class Fetch, class NameOf, class Describe>
List* make_page(const char* from, CORBA::ULong how_many, CORBA::String_out next, Fetch fetch, NameOf name_of,
                Describe describe) {
  const CORBA::ULong most = std::clamp<CORBA::ULong>(how_many, 1, MAX_PAGE);
  auto list = std::make_unique<List>(most);
  std::string last = from;
  std::size_t size = 0;
  while (list->length() < most && size < MAX_PAGE_SIZE) {
    const auto entries = fetch(last, most - list->length());
    if (entries.empty()) {
      last.clear();
      break;
    }
    for (auto entry = entries.begin(); entry != entries.end() && size < MAX_PAGE_SIZE; ++entry) {
      last = name_of(*entry);
      const CORBA::ULong length = list->length();
      list->length(length + 1);
      if (describe(*entry, (*list)[length])) {
        size += size_of((*list)[length]);
      } else {
        list->length(length);
      }
    }
  }
  next = CORBA::string_dup(last.c_str());
  return list.release();
}

}  // namespace poalocd
