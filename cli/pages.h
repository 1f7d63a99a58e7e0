// Lists of the host administration, which come in pages.
#pragma once

#include <omniORB4/CORBA.h>

#include <memory>
#include <string>
#include <type_traits>
#include <utility>

namespace poaloc {

inline constexpr CORBA::ULong PAGE_ENTRIES = 1000;

// use(entry) for each entry; list(from, how_many, next) is the operation.
template <class List, class Use>
void for_each_entry(List list, Use use) {
  using Page = std::remove_pointer_t<decltype(list("", 0, CORBA::String_out(std::declval<CORBA::String_var&>())))>;
  std::string from;
  do {
    CORBA::String_var next;
    const std::unique_ptr<Page> page(list(from.c_str(), PAGE_ENTRIES, CORBA::String_out(next)));
    for (CORBA::ULong i = 0; i < page->length(); ++i) use((*page)[i]);
    from = next.in();
  } while (!from.empty());
}

}  // namespace poaloc
