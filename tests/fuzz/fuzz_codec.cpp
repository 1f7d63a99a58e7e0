// A client's octets, in any pieces. The first octet of the input chooses the pieces, the rest is the stream.
#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "platform/binding/giop/message_encoder.h"
#include "platform/binding/giop/message_reader.h"
#include "platform/orb/cdr_writer.h"
#include "tests/fuzz/check.h"

namespace {

using QZ_Giop::Event;
using QZ_Giop::MessageReader;
using QZ_Giop::RequestHeader;
using Octets = std::span<const unsigned char>;

// Small, so that short inputs reach them.
constexpr MessageReader::Limits LIMITS{512, 3};
constexpr MessageReader::Limits WIDE{std::size_t{1} << 20, 3};

struct Heard {
  Event::Kind kind;
  std::uint32_t id;
  QZ_Giop::MessageFault fault;
  bool locate, response_expected, little_endian;
  unsigned minor;
  std::string key;

  auto all() const { return std::tie(kind, id, fault, locate, response_expected, little_endian, minor, key); }
  bool operator==(const Heard& other) const { return all() == other.all(); }
};

Heard heard(const Event& event) {
  if (event.kind != Event::Kind::REQUEST)
    return {event.kind, event.request_id, event.fault, false, false, false, 0, {}};
  const RequestHeader& r = event.request;
  return {event.kind,          r.request_id,    event.fault,     r.locate,
          r.response_expected, r.little_endian, r.version.minor, {r.key.begin(), r.key.end()}};
}

struct Outcome {
  std::vector<Heard> events;
  unsigned minor;
  bool little_endian, incomplete;

  bool operator==(const Outcome& other) const {
    return events == other.events && minor == other.minor && little_endian == other.little_endian &&
           incomplete == other.incomplete;
  }
};

// Reads the stream in pieces that next_size tells, each in memory of its own.
template <class NextSize>
Outcome read(Octets stream, MessageReader::Limits limits, NextSize next_size) {
  MessageReader reader(limits);
  Outcome outcome{};
  bool failed = false;
  while (!stream.empty()) {
    const std::size_t size = std::min<std::size_t>(std::max<std::size_t>(next_size(), 1), stream.size());
    const auto memory = std::make_unique<unsigned char[]>(size);
    std::copy_n(stream.begin(), size, memory.get());
    stream = stream.subspan(size);
    Octets rest(memory.get(), size);
    for (;;) {
      const std::size_t before = rest.size();
      const Event event = reader.read(rest, {});
      FUZZ_CHECK(rest.size() <= before);
      if (event.kind == Event::Kind::MORE) break;
      FUZZ_CHECK(!failed);
      failed = event.kind == Event::Kind::FAULT;
      FUZZ_CHECK(failed == (event.fault != QZ_Giop::MessageFault::NONE));
      outcome.events.push_back(heard(event));
      FUZZ_CHECK(outcome.events.back().key.size() <= limits.header_size);
    }
    FUZZ_CHECK(rest.empty());
  }
  outcome.minor = reader.version().minor;
  outcome.little_endian = reader.little_endian();
  outcome.incomplete = reader.oldest_incomplete().has_value();
  return outcome;
}

// The same request as its client could have written it at its shortest.
std::vector<unsigned char> written(const Heard& request) {
  const auto type = request.locate ? QZ_Giop::MessageType::LOCATE_REQUEST : QZ_Giop::MessageType::REQUEST;
  std::vector<unsigned char> out = {'G',
                                    'I',
                                    'O',
                                    'P',
                                    1,
                                    static_cast<unsigned char>(request.minor),
                                    request.little_endian,
                                    static_cast<unsigned char>(type),
                                    0,
                                    0,
                                    0,
                                    0};
  QZ_CORBA::CdrWriter writer(out, request.little_endian);
  const std::vector<unsigned char> key(request.key.begin(), request.key.end());
  const bool old = request.minor < 2;
  if (!request.locate && old) writer.write_ulong(0);  // service contexts
  writer.write_ulong(request.id);
  if (!request.locate) writer.write_octet(request.response_expected);
  if (!request.locate && request.minor > 0) writer.write_octets(std::vector<unsigned char>(3));
  if (!old) writer.write_ushort(0);  // the target is a key
  writer.write_octet_seq(key);
  if (!request.locate) writer.write_string("op");
  if (!request.locate && !old) writer.write_ulong(0);  // service contexts
  QZ_Giop::end_message(out, 0);
  return out;
}

void check_answer(const Heard& request) {
  const QZ_Giop::ReplyTo to{{1, static_cast<std::uint8_t>(request.minor)}, request.little_endian, request.id};
  QZ_Giop::Buffer out;
  const std::size_t start = request.locate
                                ? QZ_Giop::begin_locate_reply(out, to, QZ_Giop::LocateStatus::LOC_SYSTEM_EXCEPTION)
                                : QZ_Giop::begin_reply(out, to, QZ_Giop::ReplyStatus::SYSTEM_EXCEPTION);
  QZ_Giop::append_system_exception(out, start, to.little_endian, "IDL:omg.org/CORBA/TRANSIENT:1.0", 0, 1);
  QZ_Giop::end_message(out, start);
  QZ_Giop::MessageHeader header;
  const auto head = Octets(out).first<QZ_Giop::MESSAGE_HEADER_SIZE>();
  FUZZ_CHECK(QZ_Giop::parse_message_header(head, header) == QZ_Giop::MessageFault::NONE);
  FUZZ_CHECK(header.version == to.version && header.little_endian == to.little_endian);
  FUZZ_CHECK(header.size == out.size() - QZ_Giop::MESSAGE_HEADER_SIZE && !header.more_fragments);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const Octets stream(data + 1, size - 1);
  const Outcome whole = read(stream, LIMITS, [&] { return stream.size(); });

  // However the octets arrive, they mean the same.
  FUZZ_CHECK(read(stream, LIMITS, [] { return 1; }) == whole);
  std::uint32_t state = data[0];
  FUZZ_CHECK(read(stream, LIMITS, [&] { return (state = state * 1664525 + 1013904223) >> 24 & 31; }) == whole);

  for (const Heard& request : whole.events) {
    if (request.kind != Event::Kind::REQUEST) continue;
    check_answer(request);
    const auto again = written(request);
    const Outcome outcome = read(again, WIDE, [&] { return again.size(); });
    FUZZ_CHECK(outcome.events.size() == 1 && !outcome.incomplete);
    Heard expected = request;
    expected.response_expected |= request.locate;
    FUZZ_CHECK(outcome.events.front() == expected);
  }
  return 0;
}
