#include "platform/orb/profile_list.h"

#include <algorithm>
#include <cstring>

#include "platform/orb/cdr_writer.h"
#include "platform/orb/iiop_profile.h"

namespace QZ_IOR {

namespace {

// What the octets of a profile begin with; head, key prefix and tail follow.
struct Frame {
  std::uint32_t tag;
  std::uint32_t head_size;
  std::uint32_t key_size;
  std::uint32_t tail_size;
  std::uint8_t keyed;
  std::uint8_t little_endian;
  std::uint16_t unused;
};

}  // namespace

void ProfileList::append(std::vector<unsigned char>& packed, const Profile& profile) {
  const auto size = [](Octets octets) { return static_cast<std::uint32_t>(octets.size()); };
  const Frame frame{profile.tag,
                    size(profile.head),
                    size(profile.key_prefix),
                    size(profile.tail),
                    profile.keyed,
                    profile.little_endian,
                    0};
  const Octets framed(reinterpret_cast<const unsigned char*>(&frame), sizeof frame);
  const std::size_t needed =
      packed.size() + sizeof frame + profile.head.size() + profile.key_prefix.size() + profile.tail.size();
  // Exactly for the first, which is nearly always the only one; ever more at once for thousands.
  if (needed > packed.capacity()) packed.reserve(std::max(needed, 2 * packed.capacity()));
  for (const Octets part : {framed, profile.head, profile.key_prefix, profile.tail}) {
    packed.insert(packed.end(), part.begin(), part.end());
  }
}

Profile ProfileList::take(Octets& packed) {
  Frame frame;
  std::memcpy(&frame, packed.data(), sizeof frame);
  packed = packed.subspan(sizeof frame);
  const auto part = [&](std::size_t size) {
    const Octets octets = packed.first(size);
    packed = packed.subspan(size);
    return octets;
  };
  const Octets head = part(frame.head_size);
  const Octets key_prefix = part(frame.key_size);
  return {frame.tag, frame.keyed != 0, frame.little_endian != 0, head, key_prefix, part(frame.tail_size)};
}

std::size_t ProfileList::size() const {
  std::size_t count = 0;
  for_each([&](const Profile&) { ++count; });
  return count;
}

std::optional<Profile> ProfileList::first_keyed() const {
  std::optional<Profile> first;
  for_each([&](const Profile& profile) {
    if (profile.keyed && !first) first = profile;
  });
  return first;
}

void ProfileList::append_ior(std::vector<unsigned char>& out, bool little_endian, std::string_view type_id,
                             Octets remaining_key) const {
  QZ_CORBA::CdrWriter writer(out, little_endian);
  writer.write_string(type_id);
  writer.write_ulong(static_cast<std::uint32_t>(size()));
  for_each([&](const Profile& profile) {
    writer.write_ulong(profile.tag);
    if (!profile.keyed) {
      writer.write_octet_seq(profile.head);
      return;
    }
    const std::size_t key_size = profile.key_prefix.size() + remaining_key.size();
    writer.write_ulong(static_cast<std::uint32_t>(IIOPProfile::body_size(profile.head, key_size, profile.tail)));
    IIOPProfile::append_body(out, profile.little_endian, profile.head, profile.key_prefix, remaining_key, profile.tail);
  });
}

}  // namespace QZ_IOR
