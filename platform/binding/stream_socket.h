#pragma once

#include <cstddef>
#include <span>

namespace QZ_Binding {

// A connected TCP socket that never waits. For one thread at a time.
class StreamSocket {
 public:
  enum class Outcome {
    DONE,
    NOT_NOW,  // nothing to read, or no room to write to, at the moment
    ENDED     // the peer has ended this direction, or the connection is broken
  };
  struct Transfer {
    Outcome outcome;
    std::size_t count;  // octets; 0 unless DONE
  };

  // Takes the descriptor over.
  explicit StreamSocket(int descriptor) : m_descriptor(descriptor) {}
  StreamSocket(StreamSocket&& other) noexcept;
  StreamSocket& operator=(StreamSocket&&) = delete;
  ~StreamSocket() { close(); }

  // -1 once closed.
  int descriptor() const { return m_descriptor; }

  // Replies leave at once, and a peer whose machine or network is lost is found out some time.
  void set_options();
  Transfer read(std::span<unsigned char> buffer);
  Transfer write(std::span<const unsigned char> octets);
  // The peer reads an end of input behind all that was written.
  void end_output();
  // The peer has ended its direction, or the connection is broken; there may still be octets to read before the end.
  bool peer_has_closed() const;
  void close();

 private:
  int m_descriptor;
};

}  // namespace QZ_Binding
