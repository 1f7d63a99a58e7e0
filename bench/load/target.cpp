#include "bench/load/target.h"

#include <omniORB4/CORBA.h>

#include <fstream>
#include <stdexcept>

namespace bench {

namespace {

CORBA::ORB_ptr orb() {
  static const CORBA::ORB_var the_orb = [] {
    int argc = 0;
    return CORBA::ORB_init(argc, nullptr);
  }();
  return the_orb;
}

IIOP::ProfileBody first_iiop_profile(const std::string& reference) {
  const CORBA::Object_var object = orb()->string_to_object(reference.c_str());
  cdrMemoryStream stream;
  CORBA::Object::_marshalObjRef(object, stream);
  IOP::IOR ior;
  ior <<= stream;
  for (CORBA::ULong i = 0; i < ior.profiles.length(); ++i) {
    if (ior.profiles[i].tag != IOP::TAG_INTERNET_IOP) continue;
    IIOP::ProfileBody body;
    IIOP::unmarshalProfile(ior.profiles[i], body);
    return body;
  }
  throw std::runtime_error("no IIOP address in " + reference);
}

}  // namespace

Target parse_target(const std::string& reference) {
  try {
    const IIOP::ProfileBody body = first_iiop_profile(reference);
    const CORBA::Octet* const key = body.object_key.get_buffer();
    return {body.address.host.in(), body.address.port, {key, key + body.object_key.length()}};
  } catch (const CORBA::Exception& exception) {
    throw std::runtime_error("no IOR and no corbaloc (" + std::string(exception._name()) + "): " + reference);
  }
}

std::vector<Target> read_targets(const std::string& path) {
  std::ifstream file(path);
  std::vector<Target> targets;
  for (std::string line; std::getline(file, line);) {
    if (!line.empty()) targets.push_back(parse_target(line));
  }
  if (targets.empty()) throw std::runtime_error("no targets in " + path);
  for (const Target& target : targets) {
    if (target.host != targets.front().host || target.port != targets.front().port) {
      throw std::runtime_error("targets at different addresses in " + path);
    }
  }
  return targets;
}

}  // namespace bench
