#include "platform/binding/giop/message_reader.h"

#include <gtest/gtest.h>

#include <memory>

#include "tests/unit/platform/binding/giop_messages.h"

namespace test {
namespace {

using QZ_Giop::Event;
using QZ_Giop::MessageFault;
using QZ_Giop::MessageReader;
using Kind = Event::Kind;

constexpr MessageReader::Limits LIMITS{4096, 4};

// What the reader said, with a copy of the key.
struct Heard {
  Kind kind;
  std::uint32_t id = 0;
  std::string key;
  bool locate = false;
  bool response = true;
  MessageFault fault = MessageFault::NONE;
};

// Feeds octets in pieces of the given size, each from memory of exactly that size, so that reading past it is seen by
// the address sanitizer.
std::vector<Heard> feed(MessageReader& reader, const Octets& octets, std::size_t piece) {
  std::vector<Heard> heard;
  for (std::size_t position = 0; position < octets.size(); position += piece) {
    const std::size_t size = std::min(piece, octets.size() - position);
    const auto memory = std::make_unique<unsigned char[]>(size);
    std::copy_n(octets.begin() + static_cast<std::ptrdiff_t>(position), size, memory.get());
    std::span<const unsigned char> rest(memory.get(), size);
    for (;;) {
      const Event event = reader.read(rest, {});
      if (event.kind == Kind::MORE) {
        EXPECT_TRUE(rest.empty());
        break;
      }
      Heard h{event.kind, event.request_id, {}, false, true, event.fault};
      if (event.kind == Kind::REQUEST) {
        h.id = event.request.request_id;
        h.key.assign(event.request.key.begin(), event.request.key.end());
        h.locate = event.request.locate;
        h.response = event.request.response_expected;
      }
      heard.push_back(h);
    }
  }
  return heard;
}

std::vector<Heard> feed(const Octets& octets, std::size_t piece = 1 << 20) {
  MessageReader reader(LIMITS);
  return feed(reader, octets, piece);
}

void expect_request(const std::vector<Heard>& heard, const Request& r, const std::string& what) {
  ASSERT_EQ(heard.size(), 1u) << what;
  ASSERT_EQ(heard[0].kind, Kind::REQUEST) << what << ": fault " << static_cast<int>(heard[0].fault);
  EXPECT_EQ(heard[0].id, r.id) << what;
  EXPECT_EQ(heard[0].key, r.key) << what;
  EXPECT_EQ(heard[0].locate, r.locate) << what;
  EXPECT_EQ(heard[0].response, r.response || r.locate) << what;
}

// Every form that a request can have.
std::vector<Request> all_forms() {
  std::vector<Request> forms;
  for (const std::uint8_t minor : {0, 1, 2}) {
    for (const bool little_endian : {false, true}) {
      for (const bool locate : {false, true}) {
        for (const Target target : {Target::KEY, Target::PROFILE, Target::REFERENCE}) {
          if (minor < 2 && target != Target::KEY) continue;
          for (const std::size_t contexts : {0, 2}) {
            for (const bool response : {true, false}) {
              Request r;
              r.minor = minor;
              r.little_endian = little_endian;
              r.locate = locate;
              r.target = target;
              r.contexts = contexts;
              r.response = response;
              r.id = 0x01020304;
              r.key = "a key of 21 octets...";
              r.operation = "op";
              r.body = 9;
              forms.push_back(r);
            }
          }
        }
      }
    }
  }
  return forms;
}

std::string name_of(const Request& r) {
  return "GIOP 1." + std::to_string(r.minor) + (r.little_endian ? " little" : " big") + (r.locate ? " locate" : "") +
         " target " + std::to_string(static_cast<int>(r.target)) + " contexts " + std::to_string(r.contexts) +
         (r.response ? "" : " oneway");
}

TEST(MessageReader, UnderstandsEveryFormInOnePieceAndInAnyPieces) {
  for (const Request& r : all_forms()) {
    const Octets octets = request(r);
    for (std::size_t piece = 1; piece <= octets.size(); ++piece) {
      expect_request(feed(octets, piece), r, name_of(r) + " in pieces of " + std::to_string(piece));
    }
  }
}

TEST(MessageReader, FindsAnEmptyKeyEmpty) {
  for (Request r : all_forms()) {
    r.key.clear();
    expect_request(feed(request(r)), r, name_of(r));
  }
}

TEST(MessageReader, UnderstandsSeveralMessagesInOnePiece) {
  Request first, second;
  second.id = 8;
  second.key = "other";
  second.minor = 0;
  const auto heard = feed(joined({request(first), cancel_request(5), request(second), close_connection()}));
  ASSERT_EQ(heard.size(), 4u);
  EXPECT_EQ(heard[0].key, "key");
  EXPECT_EQ(heard[1].kind, Kind::CANCEL);
  EXPECT_EQ(heard[1].id, 5u);
  EXPECT_EQ(heard[2].key, "other");
  EXPECT_EQ(heard[3].kind, Kind::CLOSE);
}

// GIOP 1.2 puts the request id into the first fragment; before four octets there is nothing to know it by.
std::size_t first_split(const Request& r) {
  return r.minor == 2 ? 4 : 0;
}

TEST(MessageReader, PutsTwoFragmentsTogetherAtEverySplit) {
  for (const Request& r : all_forms()) {
    if (r.minor == 0) continue;
    const Octets body = request_body(r);
    for (std::size_t split = first_split(r); split <= body.size(); ++split) {
      const auto middle = body.begin() + static_cast<std::ptrdiff_t>(split);
      const Octets octets = fragmented(r, {{body.begin(), middle}, {middle, body.end()}});
      for (const std::size_t piece : {std::size_t{7}, octets.size()}) {
        expect_request(feed(octets, piece), r,
                       name_of(r) + " split at " + std::to_string(split) + " in pieces of " + std::to_string(piece));
      }
    }
  }
}

// In GIOP 1.1 fragments of odd sizes can be read in two ways, so only those of whole words are certain.
TEST(MessageReader, PutsThreeFragmentsTogetherAtEveryPairOfSplits) {
  for (const Request& r : all_forms()) {
    if (r.minor == 0 || r.contexts == 0 || !r.response) continue;
    const Octets body = request_body(r);
    const std::size_t step = r.minor == 1 ? 4 : 1;
    for (std::size_t first = first_split(r); first <= body.size(); first += step) {
      for (std::size_t second = first; second <= body.size(); second += step) {
        const auto begin = body.begin();
        const auto a = begin + static_cast<std::ptrdiff_t>(first);
        const auto b = begin + static_cast<std::ptrdiff_t>(second);
        expect_request(feed(fragmented(r, {{begin, a}, {a, b}, {b, body.end()}})), r,
                       name_of(r) + " split at " + std::to_string(first) + " and " + std::to_string(second));
      }
    }
  }
}

TEST(MessageReader, TakesOneOctetPerFragment) {
  for (const Request& r : all_forms()) {
    if (r.minor == 0) continue;
    const Octets body = request_body(r);
    std::vector<Octets> parts = {Octets(body.begin(), body.begin() + static_cast<std::ptrdiff_t>(first_split(r)))};
    for (std::size_t i = first_split(r); i < body.size(); ++i) parts.push_back({body[i]});
    expect_request(feed(fragmented(r, parts)), r, name_of(r));
  }
}

// As CORBA has it for GIOP 1.1: what a fragment holds is aligned from that fragment's start.
TEST(MessageReader, AlignsTheContentsOfAGiop11FragmentByThemselves) {
  for (const bool little_endian : {false, true}) {
    Request r;
    r.minor = 1;
    r.little_endian = little_endian;
    r.id = 42;
    r.key = "key of 13 oct";
    for (std::size_t split = 0; split <= r.key.size(); ++split) {
      Octets first, second;
      QZ_CORBA::CdrWriter a(first, little_endian);
      a.write_ulong(0);
      a.write_ulong(r.id);
      a.write_octets(Octets{1, 0, 0, 0});
      a.write_ulong(static_cast<std::uint32_t>(r.key.size()));
      a.write_octets(octets(r.key.substr(0, split)));
      QZ_CORBA::CdrWriter b(second, little_endian);
      b.write_octets(octets(r.key.substr(split)));
      b.write_string("operation");
      b.write_octet_seq({});
      expect_request(feed(fragmented(r, {first, second})), r, "split at " + std::to_string(split));
    }
  }
}

TEST(MessageReader, KeepsInterleavedRequestsOfGiop12Apart) {
  Request a, b;
  a.id = 1;
  a.key = "first key";
  b.id = 2;
  b.key = "second";
  b.little_endian = false;
  b.locate = true;
  const Octets body_a = request_body(a), body_b = request_body(b);
  const auto part = [](const Octets& body, std::size_t from, std::size_t to) {
    return Octets(body.begin() + static_cast<std::ptrdiff_t>(from), body.begin() + static_cast<std::ptrdiff_t>(to));
  };
  const auto fragment = [](const Request& r, const Octets& contents, bool more) {
    Octets body;
    QZ_CORBA::CdrWriter writer(body, r.little_endian);
    writer.write_ulong(r.id);
    writer.write_octets(contents);
    return message(2, r.little_endian, 7, body, more);
  };
  const Octets octets =
      joined({message(2, true, 0, part(body_a, 0, 12), true), message(2, false, 3, part(body_b, 0, 4), true),
              request({.minor = 1, .id = 3}), fragment(a, part(body_a, 12, 20), true),
              fragment(b, part(body_b, 4, body_b.size()), false), cancel_request(77),
              fragment(a, part(body_a, 20, body_a.size()), false)});
  const auto heard = feed(octets, 5);
  ASSERT_EQ(heard.size(), 4u);
  EXPECT_EQ(heard[0].id, 3u);
  EXPECT_EQ(heard[1].key, "second");
  EXPECT_EQ(heard[2].kind, Kind::CANCEL);
  EXPECT_EQ(heard[3].key, "first key");
}

TEST(MessageReader, DropsAnIncompleteRequestThatIsCancelled) {
  Request r;
  const Octets body = request_body(r);
  const Octets begun = message(2, true, 0, Octets(body.begin(), body.begin() + 8), true);
  MessageReader reader(LIMITS);
  const auto heard = feed(reader, joined({begun, cancel_request(r.id), request(r)}), 1 << 20);
  ASSERT_EQ(heard.size(), 2u);
  EXPECT_EQ(heard[0].kind, Kind::CANCEL);
  EXPECT_EQ(heard[1].kind, Kind::REQUEST);
  EXPECT_FALSE(reader.oldest_incomplete());
}

TEST(MessageReader, TellsSinceWhenAMessageIsIncomplete) {
  using std::chrono::seconds;
  const QZ_Giop::Time start{seconds(100)};
  const Octets whole = request({});
  MessageReader reader(LIMITS);
  EXPECT_FALSE(reader.oldest_incomplete());
  for (std::size_t i = 0; i < whole.size(); ++i) {
    std::span<const unsigned char> octet(&whole[i], 1);
    const Event event = reader.read(octet, start + seconds(i));
    if (i + 1 < whole.size()) {
      ASSERT_EQ(event.kind, Kind::MORE);
      EXPECT_EQ(reader.oldest_incomplete(), start);
    } else {
      EXPECT_EQ(event.kind, Kind::REQUEST);
    }
  }
  EXPECT_FALSE(reader.oldest_incomplete());
}

// Whatever place of whichever fragment the reader is at.
TEST(MessageReader, TellsSinceWhenARequestInFragmentsIsIncomplete) {
  using std::chrono::seconds;
  const QZ_Giop::Time start{seconds(100)};
  const Octets body = request_body({.body = 40});
  Octets stream;
  for (auto piece = body.begin(); body.end() - piece > 8; piece += 8) {
    const Octets id(body.begin(), piece == body.begin() ? body.begin() : body.begin() + 4);
    stream =
        joined({stream, message(2, true, piece == body.begin() ? 0 : 7, joined({id, Octets(piece, piece + 8)}), true)});
  }
  MessageReader reader(LIMITS);
  for (std::size_t i = 0; i < stream.size(); ++i) {
    std::span<const unsigned char> octet(&stream[i], 1);
    ASSERT_EQ(reader.read(octet, start + seconds(i)).kind, Kind::MORE) << i;
    EXPECT_EQ(reader.oldest_incomplete(), start) << i;
  }
}

// ---- What is refused.

MessageFault fault_of(const Octets& octets, std::size_t piece = 1 << 20) {
  const auto heard = feed(octets, piece);
  return heard.empty() || heard.back().kind != Kind::FAULT ? MessageFault::NONE : heard.back().fault;
}

Octets changed(Octets octets, std::size_t position, unsigned char value) {
  octets[position] = value;
  return octets;
}

TEST(MessageReader, RefusesWhatIsNoGiopOfAKnownVersion) {
  const Octets good = request({});
  for (std::size_t i = 0; i < 4; ++i) EXPECT_EQ(fault_of(changed(good, i, 'x')), MessageFault::MAGIC);
  EXPECT_EQ(fault_of(changed(good, 4, 2)), MessageFault::VERSION);
  EXPECT_EQ(fault_of(changed(good, 4, 0)), MessageFault::VERSION);
  EXPECT_EQ(fault_of(changed(good, 5, 3)), MessageFault::VERSION);
  EXPECT_EQ(fault_of(changed(good, 7, 8)), MessageFault::TYPE);
  EXPECT_EQ(fault_of(changed(request({.minor = 0}), 7, 7)), MessageFault::TYPE);
}

TEST(MessageReader, RefusesFragmentsOfWhatCannotBeFragmented) {
  EXPECT_EQ(fault_of(changed(request({.minor = 0}), 6, 3)), MessageFault::FLAGS);
  EXPECT_EQ(fault_of(changed(cancel_request(1), 6, 3)), MessageFault::FLAGS);
  EXPECT_EQ(fault_of(changed(close_connection(), 6, 3)), MessageFault::FLAGS);
}

TEST(MessageReader, RefusesWhatOnlyAServerSends) {
  for (const std::uint8_t type : {1, 4}) {
    EXPECT_EQ(fault_of(message(2, true, type, Octets(16))), MessageFault::UNEXPECTED);
  }
}

TEST(MessageReader, RefusesSizesThatDoNotFit) {
  EXPECT_EQ(fault_of(message(2, true, 2, Octets(3))), MessageFault::SIZE);
  EXPECT_EQ(fault_of(message(2, true, 2, Octets(5))), MessageFault::SIZE);
  EXPECT_EQ(fault_of(message(2, true, 5, Octets(1))), MessageFault::SIZE);
  EXPECT_EQ(fault_of(message(2, true, 6, Octets(1))), MessageFault::SIZE);
  EXPECT_EQ(fault_of(message(2, true, 7, Octets(3))), MessageFault::SIZE);
  EXPECT_EQ(fault_of(message(2, true, 0, Octets(3), true)), MessageFault::SIZE);
}

TEST(MessageReader, RefusesFragmentsThatBelongToNothing) {
  EXPECT_EQ(fault_of(message(1, true, 7, Octets(8))), MessageFault::FRAGMENT_OF_NOTHING);
  EXPECT_EQ(fault_of(message(2, true, 7, Octets(8))), MessageFault::FRAGMENT_OF_NOTHING);
  const Octets begun = message(1, true, 0, Octets(8), true);
  EXPECT_EQ(fault_of(joined({begun, message(2, true, 7, Octets(8))})), MessageFault::FRAGMENT_OF_NOTHING);
  EXPECT_EQ(fault_of(joined({begun, message(1, false, 7, Octets(8))})), MessageFault::FLAGS);
}

TEST(MessageReader, RefusesTwoFragmentedRequestsThatCannotBeToldApart) {
  const Octets eleven = message(1, true, 0, Octets(8), true);
  EXPECT_EQ(fault_of(joined({eleven, eleven})), MessageFault::FRAGMENTED_ID_REUSED);
  const Octets twelve = message(2, true, 0, {1, 0, 0, 0, 3, 0, 0, 0}, true);
  EXPECT_EQ(fault_of(joined({twelve, twelve})), MessageFault::FRAGMENTED_ID_REUSED);
}

TEST(MessageReader, RefusesTooManyIncompleteRequests) {
  Octets all;
  for (unsigned char id = 0; id < LIMITS.incomplete_requests; ++id) {
    all = joined({all, message(2, true, 0, {id, 0, 0, 0, 3, 0, 0, 0}, true)});
  }
  EXPECT_EQ(fault_of(all), MessageFault::NONE);
  all = joined({all, message(2, true, 0, {99, 0, 0, 0, 3, 0, 0, 0}, true)});
  EXPECT_EQ(fault_of(all), MessageFault::INCOMPLETE_REQUESTS);
}

TEST(MessageReader, RefusesAnAddressingThatThereIsNot) {
  Request r;
  Octets octets = request(r);
  octets[12 + 8] = 3;
  EXPECT_EQ(fault_of(octets), MessageFault::REQUEST_HEADER);
}

TEST(MessageReader, RefusesAHeaderOverTheLimitAsSoonAsItIsKnown) {
  for (const std::uint8_t minor : {0, 1, 2}) {
    Request r;
    r.minor = minor;
    r.key.assign(LIMITS.header_size, 'k');
    const Octets octets = request(r);
    EXPECT_EQ(fault_of(octets), MessageFault::REQUEST_HEADER_SIZE);
    EXPECT_EQ(fault_of(octets, 100), MessageFault::REQUEST_HEADER_SIZE);
    EXPECT_EQ(fault_of(Octets(octets.begin(), octets.begin() + 60), 10), MessageFault::REQUEST_HEADER_SIZE);
  }
}

TEST(MessageReader, RefusesServiceContextsThatPointBeyondTheMessage) {
  for (const std::uint8_t minor : {0, 1, 2}) {
    for (const std::uint32_t wrong : {0x40u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
      Request r;
      r.minor = minor;
      r.operation = "op";
      r.contexts = 1;
      const Octets good = request(r);
      const std::size_t count = minor < 2 ? 12 : good.size() - 17;  // then id, length, five octets
      for (const std::size_t place : {count, count + 8}) {
        Octets octets = good;
        for (std::size_t i = 0; i < 4; ++i) octets[place + i] = static_cast<unsigned char>(wrong >> (8 * i));
        const auto fault = fault_of(octets);
        EXPECT_TRUE(fault == MessageFault::REQUEST_HEADER || fault == MessageFault::REQUEST_HEADER_SIZE)
            << int{minor} << ' ' << wrong << ' ' << (place - count) << ' ' << static_cast<int>(fault);
      }
    }
  }
}

TEST(MessageReader, TakesAHeaderOfExactlyTheLimit) {
  Request r;
  r.operation = "x";
  const std::size_t rest = request_body(r).size() - r.key.size();
  r.key.assign(LIMITS.header_size - rest, 'k');
  while (request_body(r).size() > LIMITS.header_size) r.key.pop_back();
  r.body = 1000;
  for (const std::size_t piece : {std::size_t{1}, std::size_t{64}, std::size_t{1} << 20}) {
    expect_request(feed(request(r), piece), r, "pieces of " + std::to_string(piece));
  }
}

// ---- Anything at all.

TEST(MessageReader, NeverAcceptsATruncatedRequest) {
  for (const Request& r : all_forms()) {
    Request bare = r;
    bare.body = 0;
    const Octets octets = request(bare);
    for (std::size_t size = 0; size < octets.size(); ++size) {
      const auto heard = feed(Octets(octets.begin(), octets.begin() + static_cast<std::ptrdiff_t>(size)), 11);
      EXPECT_TRUE(heard.empty()) << name_of(r) << " of " << size;
    }
  }
}

// The message says that it is shorter than its header is.
TEST(MessageReader, RefusesAHeaderThatIsCutOffByTheMessageSize) {
  for (const Request& r : all_forms()) {
    Request bare = r;
    bare.body = 0;
    const Octets body = request_body(bare);
    // Before GIOP 1.2 nothing is read any more behind the operation.
    const bool principal = !r.locate && r.minor < 2;
    const std::size_t needed = body.size() - (principal ? 4 : 0);
    for (std::size_t size = 0; size < needed; ++size) {
      const Octets octets = message(r.minor, r.little_endian, r.locate ? 3 : 0,
                                    Octets(body.begin(), body.begin() + static_cast<std::ptrdiff_t>(size)));
      const auto heard = feed(octets, 11);
      ASSERT_EQ(heard.size(), 1u) << name_of(r) << " of " << size;
      if (heard[0].kind == Kind::REQUEST) {
        EXPECT_TRUE(principal && size + 4 > needed) << "no padding, " << name_of(r) << " of " << size;
        EXPECT_EQ(heard[0].key, r.key) << name_of(r) << " of " << size;
      } else {
        EXPECT_EQ(heard[0].fault, MessageFault::REQUEST_HEADER) << name_of(r) << " of " << size;
      }
    }
  }
}

TEST(MessageReader, SurvivesEveryValueOfEveryOctet) {
  for (const Request& r : all_forms()) {
    if (!r.response) continue;
    const Octets octets = request(r);
    for (std::size_t i = 0; i < octets.size(); ++i) {
      for (const int value : {0, 1, 2, 3, 7, 0x7f, 0x80, 0xff}) {
        feed(changed(octets, i, static_cast<unsigned char>(value)), 64);
      }
    }
  }
}

TEST(MessageReader, SurvivesGarbageBehindAGoodMessageHeader) {
  std::uint32_t state = 12345;
  const auto random = [&] {
    state = state * 1664525 + 1013904223;
    return state >> 8;
  };
  for (int round = 0; round < 20'000; ++round) {
    Octets all;
    for (int messages = 0; messages < 3; ++messages) {
      Octets body(random() % 80);
      for (auto& octet : body) octet = static_cast<unsigned char>(random() % 4 ? random() % 8 : random());
      const auto type = static_cast<std::uint8_t>(random() % 8);
      all = joined({all, message(static_cast<std::uint8_t>(random() % 3), random() % 2, type, body, random() % 2)});
    }
    feed(all, 1 + random() % 40);
  }
}

}  // namespace
}  // namespace test
