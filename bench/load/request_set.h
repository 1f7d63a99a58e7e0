// The messages that a load is made of, encoded once.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace bench {

struct RequestForm {
  bool locate = false;
  int minor = 2;  // of GIOP 1.x
  std::string operation = "ping";
};

// One message for each object key. Little-endian; a Request has no arguments and wants a response.
class RequestSet {
 public:
  explicit RequestSet(RequestForm form) : m_form(std::move(form)) {}

  void add(std::span<const unsigned char> key);
  std::size_t size() const { return m_starts.size(); }

  // Appends message n, with that request id.
  void append(std::vector<unsigned char>& out, std::size_t n, std::uint32_t request_id) const;

 private:
  std::size_t id_position() const;

  const RequestForm m_form;
  std::vector<unsigned char> m_octets;  // the messages, one after the other
  std::vector<std::size_t> m_starts;
};

}  // namespace bench
