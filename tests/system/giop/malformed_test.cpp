// What is not GIOP, or not well formed, ends its own connection and nothing else.
#include <algorithm>
#include <random>

#include "tests/support/proc_info.h"

#include "tests/system/giop/giop_test.h"

namespace {

using support::ByteOrder;
using support::CdrWriter;
using support::GiopClient;
using support::Octets;
using support::octets_of;
using support::RequestSpec;

class MalformedTest : public GiopTest {
 protected:
  void SetUp() override {
    GiopTest::SetUp();
    m_server.add("Bank");
  }

  // MessageError, then the end.
  void expect_refused(const Octets& octets) {
    GiopClient client = connect();
    client.try_send(octets);
    ASSERT_EQ(client.receive().type(), support::MESSAGE_ERROR);
    ASSERT_TRUE(client.wait_for_end());
  }

  // What follows the operation is of no interest for finding the server: whether it is well formed need not be found
  // out.
  void expect_refused_or_forwarded(const Octets& octets) {
    GiopClient client = connect();
    client.try_send(octets);
    const support::RawMessage answer = client.receive();
    if (answer.type() == support::MESSAGE_ERROR) return;
    ASSERT_TRUE(support::parse_reply(answer).forward);
  }

  // Octets of a request from its begin to the end of the operation's name.
  static std::size_t end_of_operation(const Octets& request, const std::string& operation) {
    const Octets name = octets_of(operation);
    const auto found = std::search(request.begin(), request.end(), name.begin(), name.end());
    return static_cast<std::size_t>(found - request.begin()) + name.size() + 1;
  }

  // Whatever is answered, the connection ends once the sender has closed its side.
  void send_and_hang_up(const Octets& octets) {
    GiopClient client = connect();
    client.try_send(octets);
    client.finish_sending();
    try {
      while (true) client.receive();
    } catch (const std::runtime_error& error) {
      ASSERT_STREQ(error.what(), "the connection was closed");
    }
  }

  RequestSpec bank(unsigned minor, ByteOrder order = ByteOrder::BIG) const {
    RequestSpec spec = spec_for("Bank");
    spec.dialect = {minor, order};
    return spec;
  }
};

TEST_F(MalformedTest, OtherProtocolsAreRefused) {
  expect_refused(octets_of("GET / HTTP/1.1\r\nHost: localhost\r\n\r\n"));
  expect_refused(octets_of("GIOQ") + Octets(8, 0));
  expect_refused(Octets(4096, 0));
  expect_refused(Octets(4096, 0xFF));
  expect_serves_on();
}

TEST_F(MalformedTest, UnknownVersionsAreRefused) {
  for (const auto& [major, minor] : {std::pair(0, 0), std::pair(1, 3), std::pair(1, 255), std::pair(2, 0)}) {
    Octets octets = request(bank(2));
    octets[4] = static_cast<unsigned char>(major);
    octets[5] = static_cast<unsigned char>(minor);
    expect_refused(octets);
  }
  expect_serves_on();
}

TEST_F(MalformedTest, UnknownAndMisplacedMessageTypesAreRefused) {
  for (const unsigned minor : {0U, 1U, 2U}) {
    for (const unsigned type : {1U, 4U, 8U, 255U}) {
      SCOPED_TRACE(type);
      expect_refused(message({minor, ByteOrder::BIG}, static_cast<support::MessageType>(type), Octets(16, 0)));
    }
  }
  expect_serves_on();
}

TEST_F(MalformedTest, FragmentsDoNotExistInTheFirstVersion) {
  expect_refused(message({0, ByteOrder::BIG}, support::FRAGMENT, Octets(16, 0)));
  expect_serves_on();
}

TEST_F(MalformedTest, CloseConnectionAndMessageErrorEndTheConnection) {
  for (const support::MessageType type : {support::CLOSE_CONNECTION, support::MESSAGE_ERROR}) {
    GiopClient client = connect();
    client.send(message({2, ByteOrder::BIG}, type, {}));
    EXPECT_TRUE(client.wait_for_end());
  }
  expect_serves_on();
}

TEST_F(MalformedTest, RequestCutAtAnyPlaceOfItsHeaderIsRefused) {
  for (const RequestSpec& spec : support::every_kind_of_request(m_server.key_of("Bank"))) {
    SCOPED_TRACE(name_of(spec));
    const Octets whole = request(spec);
    // In GIOP 1.2 the service contexts come last.
    const std::size_t needed = spec.dialect.minor < 2 ? end_of_operation(whole, spec.operation) : whole.size();
    for (std::size_t size = support::HEADER_SIZE; size < whole.size(); ++size) {
      Octets cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
      support::set_message_size(cut, static_cast<std::uint32_t>(size - support::HEADER_SIZE));
      SCOPED_TRACE(size);
      if (size < needed) {
        ASSERT_NO_FATAL_FAILURE(expect_refused(cut));
      } else {
        ASSERT_NO_FATAL_FAILURE(expect_refused_or_forwarded(cut));
      }
    }
  }
  expect_serves_on();
}

TEST_F(MalformedTest, LocateRequestCutAtAnyPlaceIsRefused) {
  for (const RequestSpec& spec : support::every_kind_of_request(m_server.key_of("Bank"))) {
    SCOPED_TRACE(name_of(spec));
    const Octets whole = locate_request(spec);
    for (std::size_t size = support::HEADER_SIZE; size < whole.size(); ++size) {
      Octets cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
      support::set_message_size(cut, static_cast<std::uint32_t>(size - support::HEADER_SIZE));
      SCOPED_TRACE(size);
      ASSERT_NO_FATAL_FAILURE(expect_refused(cut));
    }
  }
  expect_serves_on();
}

TEST_F(MalformedTest, ConnectionThatEndsWithinARequestDisturbsNobody) {
  const Octets whole = request(bank(2));
  for (std::size_t size = 0; size < whole.size(); ++size) {
    send_and_hang_up(Octets(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)));
  }
  expect_serves_on();
}

TEST_F(MalformedTest, LengthsThatPointBeyondTheMessageAreRefused) {
  for (const std::uint32_t length : {0x100U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
    SCOPED_TRACE(length);
    const support::Dialect dialect{2, ByteOrder::BIG};
    const Octets flags{3, 0, 0, 0};
    // A key, an operation, a list of service contexts, and the data of one, each of that length.
    const Octets start = CdrWriter(ByteOrder::BIG).ulong(1).raw(flags).ushort(0).octets();
    const Octets with_key = CdrWriter(ByteOrder::BIG).raw(start).sequence(m_server.key_of("Bank")).octets();
    const Octets with_operation = CdrWriter(ByteOrder::BIG).raw(with_key).text("who").octets();
    for (const Octets& before : {start, with_key}) {
      const Octets body = CdrWriter(ByteOrder::BIG).raw(before).ulong(length).raw(Octets(16, 0)).octets();
      ASSERT_NO_FATAL_FAILURE(expect_refused(message(dialect, support::REQUEST, body)));
    }
    for (const std::uint32_t contexts : {length, 1U}) {
      const Octets body = CdrWriter(ByteOrder::BIG).raw(with_operation).ulong(contexts).ulong(1).ulong(length).octets();
      ASSERT_NO_FATAL_FAILURE(expect_refused(message(dialect, support::REQUEST, body)));
      // Before GIOP 1.2 they come first, and the key cannot be found without them.
      const Octets first = CdrWriter(ByteOrder::BIG).ulong(contexts).ulong(1).ulong(length).raw(Octets(16, 0)).octets();
      ASSERT_NO_FATAL_FAILURE(expect_refused(message({1, ByteOrder::BIG}, support::REQUEST, first)));
    }
  }
  expect_serves_on();
}

TEST_F(MalformedTest, UnknownKindsOfTargetAreRefused) {
  for (const unsigned kind : {3U, 0xFFFFU}) {
    const Octets body = CdrWriter(ByteOrder::BIG)
                            .ulong(1)
                            .raw({3, 0, 0, 0})
                            .ushort(kind)
                            .sequence(octets_of("name"))
                            .text("who")
                            .ulong(0)
                            .octets();
    expect_refused(message({2, ByteOrder::BIG}, support::REQUEST, body));
  }
  expect_serves_on();
}

TEST_F(MalformedTest, ReferenceWithoutItsSelectedProfileIsRefused) {
  for (const std::uint32_t selected : {1U, 0xFFFFFFFFU}) {
    CdrWriter body(ByteOrder::BIG);
    body.ulong(1).raw({3, 0, 0, 0}).ushort(2).ulong(selected).text("").ulong(1).ulong(0);
    body.sequence(support::iiop_profile({2, ByteOrder::BIG}, "host", 1, m_server.key_of("Bank"))).text("who").ulong(0);
    GiopClient client = connect();
    client.send(message({2, ByteOrder::BIG}, support::REQUEST, body.octets()));
    // Either the message is refused or the request is, but not guessed at.
    const support::RawMessage answer = client.receive();
    if (answer.type() == support::REPLY) {
      EXPECT_TRUE(support::parse_reply(answer).exception);
    } else {
      EXPECT_EQ(answer.type(), support::MESSAGE_ERROR);
    }
  }
  expect_serves_on();
}

TEST_F(MalformedTest, HeaderBeyondTheLimitIsRefused) {
  for (RequestSpec spec : {bank(0), bank(1), bank(2)}) {
    spec.service_contexts = {{1, Octets(100'000, 'x')}};
    expect_refused(request(spec));
  }
  expect_serves_on();
}

TEST_F(MalformedTest, KeyBeyondTheLimitGetsImpLimit) {
  for (RequestSpec spec : {bank(0), bank(1), bank(2)}) {
    spec.key = m_server.id_of("Bank") + Octets(20'000, 'x');
    GiopClient client = connect();
    const support::Reply reply = client.call(request(spec));
    ASSERT_TRUE(reply.exception) << describe(reply);
    EXPECT_EQ(reply.exception->id, "IDL:omg.org/CORBA/IMP_LIMIT:1.0");
    // The connection goes on.
    pass_fence(client);
  }
}

TEST_F(MalformedTest, LargestSizeIsNotBelievedInAdvance) {
  const std::size_t before = support::resident_kib(m_locator.pid());
  std::vector<GiopClient> clients;
  for (int i = 0; i < 50; ++i) {
    Octets octets = request(bank(2));
    support::set_message_size(octets, 0xFFFFFFFF);
    clients.push_back(connect());
    clients.back().send(octets);
  }
  expect_serves_on();
  EXPECT_LT(support::resident_kib(m_locator.pid()), before + 20 * 1024);
}

TEST_F(MalformedTest, RequestsChangedAtRandomDoNoHarm) {
  std::mt19937 random(4711);
  const auto specs = support::every_kind_of_request(m_server.key_of("Bank"));
  for (int round = 0; round < 500; ++round) {
    const RequestSpec& spec = specs[random() % specs.size()];
    Octets octets = round % 2 == 0 ? request(spec) : locate_request(spec);
    // The size stays as it is, or nothing but waiting for more would happen.
    for (unsigned changes = 1 + random() % 4; changes > 0; --changes) {
      const std::size_t place = random() % octets.size();
      if (place < 4 || place >= support::HEADER_SIZE) octets[place] = static_cast<unsigned char>(random());
    }
    SCOPED_TRACE(round);
    ASSERT_NO_FATAL_FAILURE(send_and_hang_up(octets));
  }
  expect_serves_on();
}

}  // namespace
