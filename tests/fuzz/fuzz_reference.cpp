// Object references: text ("IOR:", corbaloc, a locator's URL) and, behind an octet for the byte order, CDR.
#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "cli/connection.h"
#include "cli/failure.h"
#include "cli/reference.h"
#include "cli/text.h"
#include "platform/orb/cdr_reader.h"
#include "platform/orb/iiop_profile.h"
#include "platform/orb/ior_impl.h"
#include "tests/fuzz/check.h"

// omniORB loses memory of references and addresses that it refuses.
extern "C" const char* __lsan_default_suppressions() {  // NOLINT(bugprone-reserved-identifier)
  return "leak:omniObjRef::_unMarshal\nleak:cdrStream::unmarshalRawString\nleak:omni::corbalocURIHandler\n";
}

namespace {

using QZ_IOR::IORImpl;
using Octets = std::vector<unsigned char>;

CORBA::ORB_ptr orb() {
  static const CORBA::ORB_var the_orb = [] {
    int argc = 0;
    const char* options[][2] = {{"traceLevel", "0"}, {nullptr, nullptr}};
    return CORBA::ORB_init(argc, nullptr, "omniORB4", options);
  }();
  return the_orb;
}

Octets written(const IORImpl& ior, bool little_endian) {
  Octets out;
  ior.append_to(out, little_endian);
  return out;
}

// Written in either byte order, it is the same reference.
void check_round_trip(IORImpl& ior) {
  const CORBA::String_var type_id = ior.type_id();
  for (const bool little_endian : {false, true}) {
    const Octets octets = written(ior, little_endian);
    const QZ_IOR::IOR_var owner = IORImpl::from_octets(octets, little_endian);
    auto& again = dynamic_cast<IORImpl&>(*owner.in());
    FUZZ_CHECK(std::string(CORBA::String_var(again.type_id()).in()) == type_id.in());
    FUZZ_CHECK(std::ranges::equal(ior.endpoint().packed_profiles(), again.endpoint().packed_profiles()));
    FUZZ_CHECK(ior.object_key() == again.object_key());
    FUZZ_CHECK(written(again, little_endian) == octets);
  }
}

void check_profile(IORImpl::Octets octets) {
  try {
    const QZ_IOR::IIOPProfile profile(octets);
    const Octets key(profile.object_key().begin(), profile.object_key().end());
    const Octets same_key = profile.with_object_key(key);
    const QZ_IOR::IIOPProfile again(same_key);
    FUZZ_CHECK(again.host() == profile.host() && again.port() == profile.port());
    FUZZ_CHECK(again.minor() == profile.minor() && again.components().size() == profile.components().size());
    FUZZ_CHECK(std::equal(key.begin(), key.end(), again.object_key().begin(), again.object_key().end()));
    FUZZ_CHECK(again.with_object_key(key) == same_key);
  } catch (const QZ_CORBA::CdrError&) {
    // No profile.
  }
}

void check_octets(bool little_endian, IORImpl::Octets octets) {
  QZ_IOR::IOR_var ior;
  bool well_formed = true;
  try {
    ior = IORImpl::from_octets(octets, little_endian);
  } catch (const CORBA::MARSHAL&) {
    well_formed = false;
  } catch (const CORBA::INV_OBJREF&) {
    // No profile.
  }
  if (!CORBA::is_nil(ior)) check_round_trip(dynamic_cast<IORImpl&>(*ior.in()));

  // The administrator's command reads references by itself. It shows what is broken in a single profile, where the
  // locator, which could not give it another key, refuses the whole; else they must agree.
  std::optional<poaloc::Reference> reference;
  try {
    reference = poaloc::parse_ior(Octets(octets.begin(), octets.end()), little_endian);
  } catch (const poaloc::Failure&) {
    // No reference.
  }
  const auto broken = [](const poaloc::ReferenceProfile& profile) {
    return profile.tag == QZ_IOR::TAG_INTERNET_IOP && !profile.iiop;
  };
  const bool whole = reference && std::none_of(reference->profiles.begin(), reference->profiles.end(), broken);
  FUZZ_CHECK(whole == well_formed);
  if (reference) FUZZ_CHECK(!poaloc::to_line(to_json(*reference)).empty());
}

void check_text(const std::string& text) {
  try {
    const auto reference = poaloc::parse_ior(text);
    const auto octets = poaloc::from_hex(text.substr(4));
    FUZZ_CHECK(poaloc::to_line(to_json(poaloc::parse_ior("IOR:" + poaloc::to_hex(octets)))) ==
               poaloc::to_line(to_json(reference)));
  } catch (const poaloc::Failure& failure) {
    FUZZ_CHECK(*failure.what() != '\0');
  }
  try {
    const std::string url = poaloc::Connection::locator_url(text);
    FUZZ_CHECK(poaloc::Connection::locator_url(url) == url && url.starts_with("corbaloc:"));
  } catch (const poaloc::Failure& failure) {
    FUZZ_CHECK(*failure.what() != '\0');
  }
}

// Through the ORB and back. Nobody is asked anything: only these two kinds of text name their objects themselves.
void check_orb(const std::string& text) {
  if (!text.starts_with("IOR:") && !text.starts_with("corbaloc:")) return;
  try {
    const CORBA::Object_var object = orb()->string_to_object(text.c_str());
    const QZ_IOR::IOR_var ior = QZ_IOR::from_object(object);
    if (CORBA::is_nil(ior)) return;
    check_round_trip(dynamic_cast<IORImpl&>(*ior.in()));
    const CORBA::Object_var back = QZ_IOR::to_object(ior);
    const QZ_IOR::IOR_var again = QZ_IOR::from_object(back);
    FUZZ_CHECK(written(dynamic_cast<IORImpl&>(*again.in()), true) == written(dynamic_cast<IORImpl&>(*ior.in()), true));
  } catch (const CORBA::SystemException&) {
    // The ORB refuses it, or it has nothing that can be sent elsewhere.
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string text(reinterpret_cast<const char*>(data), size);
  check_text(text);
  check_orb(text);
  check_octets((data[0] & 1) != 0, {data + 1, size - 1});
  check_profile({data + 1, size - 1});
  return 0;
}
