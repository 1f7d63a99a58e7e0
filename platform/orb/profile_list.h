// Tagged profiles, taken apart so that a reference with any object key is put together by a few copies.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace QZ_IOR {

// A view of one profile: the octets must outlive it.
struct Profile {
  using Octets = std::span<const unsigned char>;

  std::uint32_t tag;
  bool keyed;          // IIOP; any other profile is kept as it is in head
  bool little_endian;  // the byte order of the body
  Octets head;         // up to the key's length
  Octets key_prefix;   // with which every object key begins
  Octets tail;         // from the number of components on
};

// A view of profiles that lie in one piece of memory, from wherever it begins, so that who needs them all waits for
// memory once. Immutable; safe from any thread.
class ProfileList {
 public:
  using Octets = std::span<const unsigned char>;

  // packed: empty, or made by append; it must outlive the view.
  explicit ProfileList(Octets packed) : m_packed(packed) {}
  static void append(std::vector<unsigned char>& packed, const Profile& profile);

  // Each profile in turn: f(const Profile&).
  template <class Function>
  void for_each(Function f) const {
    for (Octets rest = m_packed; !rest.empty();) f(take(rest));
  }
  std::size_t size() const;
  // The first with an object key.
  std::optional<Profile> first_keyed() const;

  // Appends an IOR as CDR: type id and tagged profiles, aligned from where it begins. It may end anywhere.
  void append_ior(std::vector<unsigned char>& out, bool little_endian, std::string_view type_id,
                  Octets remaining_key) const;

 private:
  static Profile take(Octets& packed);

  Octets m_packed;
};

}  // namespace QZ_IOR
