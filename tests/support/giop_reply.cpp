#include "tests/support/giop_reply.h"

#include <sstream>
#include <stdexcept>

namespace support {

namespace {

constexpr std::uint32_t TAG_INTERNET_IOP = 0;

void require(bool condition, const char* what) {
  if (!condition) throw std::runtime_error(what);
}

SystemException read_exception(CdrReader& in) {
  SystemException exception;
  exception.id = in.text();
  exception.minor = in.ulong();
  exception.completed = in.ulong();
  require(exception.completed <= 2, "no such completion status");
  return exception;
}

void read_iiop_profile(const Octets& profile, ForwardedReference& reference) {
  require(!profile.empty() && profile[0] <= 1, "a profile is no encapsulation");
  CdrReader in(profile, static_cast<ByteOrder>(profile[0]), 1);
  require(in.octet() == 1, "an IIOP profile of another major version");
  const unsigned minor = in.octet();
  reference.host = in.text();
  reference.port = in.ushort();
  reference.key = in.sequence();
  if (minor > 0) {
    for (std::uint32_t count = in.ulong(); count > 0; --count) {
      reference.component_tags.push_back(in.ulong());
      in.sequence();
    }
  }
  require(in.at_end(), "octets after an IIOP profile");
}

void skip_service_contexts(CdrReader& in) {
  for (std::uint32_t count = in.ulong(); count > 0; --count) {
    in.ulong();
    in.sequence();
  }
}

}  // namespace

ForwardedReference read_reference(CdrReader& in) {
  ForwardedReference reference;
  reference.type_id = in.text();
  bool iiop_seen = false;
  for (std::uint32_t count = in.ulong(); count > 0; --count) {
    const std::uint32_t tag = in.ulong();
    const Octets profile = in.sequence();
    if (tag == TAG_INTERNET_IOP && !iiop_seen) read_iiop_profile(profile, reference);
    iiop_seen = iiop_seen || tag == TAG_INTERNET_IOP;
    reference.profile_tags.push_back(tag);
  }
  return reference;
}

ForwardedReference parse_stringified_reference(const std::string& text) {
  Octets octets;
  for (std::size_t i = 4; i + 1 < text.size(); i += 2) {
    octets.push_back(static_cast<unsigned char>(std::stoi(text.substr(i, 2), nullptr, 16)));
  }
  require(text.starts_with("IOR:") && !octets.empty(), "no stringified reference");
  CdrReader in(octets, static_cast<ByteOrder>(octets[0]), 1);
  return read_reference(in);
}

Reply parse_reply(const RawMessage& message) {
  Reply reply;
  reply.dialect = {message.minor(), message.order()};
  reply.type = message.type();
  require(reply.type == REPLY || reply.type == LOCATE_REPLY, "neither a Reply nor a LocateReply");
  require(!message.more_fragments(), "a reply in fragments");
  CdrReader in(message.octets, message.order(), HEADER_SIZE);
  const bool locate = reply.type == LOCATE_REPLY;
  if (!locate && reply.dialect.minor < 2) skip_service_contexts(in);
  reply.id = in.ulong();
  reply.status = in.ulong();
  if (!locate && reply.dialect.minor == 2) skip_service_contexts(in);
  const bool has_exception = reply.status == (locate ? std::uint32_t{LOC_SYSTEM_EXCEPTION} : SYSTEM_EXCEPTION);
  const bool has_forward = reply.status == (locate ? std::uint32_t{OBJECT_FORWARD} : LOCATION_FORWARD);
  // The body of a GIOP 1.2 Reply begins on a multiple of 8; that of a LocateReply does not.
  if (!locate && reply.dialect.minor == 2 && (has_exception || has_forward || !in.rest().empty())) in.align(8);
  if (has_exception) reply.exception = read_exception(in);
  if (has_forward) reply.forward = read_reference(in);
  reply.body = in.rest();
  if (has_exception || has_forward || locate) require(reply.body.empty(), "octets after a reply");
  return reply;
}

std::string describe(const Reply& reply) {
  std::ostringstream out;
  out << name_of(reply.dialect) << (reply.type == REPLY ? " Reply " : " LocateReply ") << reply.id << " with status "
      << reply.status;
  if (reply.exception) {
    out << ", " << reply.exception->id << " minor 0x" << std::hex << reply.exception->minor << " completed "
        << reply.exception->completed;
  }
  if (reply.forward) out << ", forward to " << reply.forward->host << ":" << std::dec << reply.forward->port;
  return out.str();
}

}  // namespace support
