// State members of storage types. Each kind is a type of its own, so that accessors are checked at compile time:
//   static constexpr QZ_PSS::Octets EP_ID{"ep_id"};
#pragma once

#include <string>

namespace QZ_PSS {

enum class Kind { octets, string, boolean, ulong, ulonglong, reference, object, octets_list, string_list };

inline bool is_list(Kind kind) {
  return kind == Kind::octets_list || kind == Kind::string_list;
}

// name: a lower-case identifier, at most 40 characters; also the column's name.
struct Member {
  const char* name;
  Kind kind;
};

struct Octets : Member {
  constexpr explicit Octets(const char* member_name) : Member{member_name, Kind::octets} {}
};
struct String : Member {
  constexpr explicit String(const char* member_name) : Member{member_name, Kind::string} {}
};
struct Boolean : Member {
  constexpr explicit Boolean(const char* member_name) : Member{member_name, Kind::boolean} {}
};
struct ULong : Member {
  constexpr explicit ULong(const char* member_name) : Member{member_name, Kind::ulong} {}
};
struct ULongLong : Member {
  constexpr explicit ULongLong(const char* member_name) : Member{member_name, Kind::ulonglong} {}
};
// A reference to a record whose type is T or derived from it, in any home of the same store; may be nil.
template <class T>
struct Reference : Member {
  constexpr explicit Reference(const char* member_name) : Member{member_name, Kind::reference} {}
};
// An object reference of the CORBA interface I; may be nil. Read back without asking the object for its type.
template <class I>
struct ObjectReference : Member {
  constexpr explicit ObjectReference(const char* member_name) : Member{member_name, Kind::object} {}
};
// Seq: an IDL sequence of CORBA::OctetSeq.
template <class Seq>
struct OctetsList : Member {
  constexpr explicit OctetsList(const char* member_name) : Member{member_name, Kind::octets_list} {}
};
// Read and written as std::vector<std::string>.
struct StringList : Member {
  constexpr explicit StringList(const char* member_name) : Member{member_name, Kind::string_list} {}
};

}  // namespace QZ_PSS
