// The octets that these tests build by hand are GIOP as an ORB understands it, and its replies are read aright.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <probe.hh>

#include "tests/support/corba_side.h"
#include "tests/support/giop_client.h"
#include "tests/support/locator_test.h"

namespace {

using support::CdrReader;
using support::GiopClient;
using support::Octets;
using support::Reply;
using support::RequestSpec;

class Probe : public POA_SystemTest::Probe {
 public:
  char* whoami() override { return CORBA::string_dup("the ORB"); }
  CORBA::ULong pid() override { throw CORBA::NO_RESOURCES(17, CORBA::COMPLETED_NO); }
  char* echo(const char* text) override { return CORBA::string_dup(text); }
  CORBA::ULongLong count_octets(const CORBA::OctetSeq& data) override { return data.length(); }
  void notify(const char* /*text*/) override {}
};

class HarnessTest : public ::testing::Test {
 protected:
  void SetUp() override {
    CORBA::Object_var root = support::corba_orb()->resolve_initial_references("RootPOA");
    PortableServer::POA_var poa = PortableServer::POA::_narrow(root);
    PortableServer::ServantBase_var servant(new Probe);
    PortableServer::ObjectId_var id = poa->activate_object(servant);
    CORBA::Object_var object = poa->id_to_reference(id);
    CORBA::String_var text = support::corba_orb()->object_to_string(object);
    m_reference = support::parse_stringified_reference(text.in());
  }

  GiopClient connect() const { return GiopClient(m_reference.host, static_cast<int>(m_reference.port)); }

  void expect_answered(const Reply& reply, std::uint32_t id) const {
    EXPECT_EQ(reply.id, id);
    ASSERT_EQ(reply.status, support::NO_EXCEPTION) << describe(reply);
    EXPECT_EQ(CdrReader(reply.body, reply.dialect.order).text(), "the ORB");
  }

  support::ForwardedReference m_reference;
};

// omniORB's server side cannot be asked by profile or by reference: it fails an assertion of its own.
TEST_F(HarnessTest, RequestsOfEveryVersionAndByteOrderAreUnderstood) {
  for (const RequestSpec& spec : support::every_kind_of_request(m_reference.key)) {
    if (spec.address != support::Address::KEY) continue;
    SCOPED_TRACE(name_of(spec));
    expect_answered(connect().call(request(spec)), spec.id);
    const Reply here = connect().call(locate_request(spec));
    EXPECT_EQ(here.id, spec.id);
    EXPECT_EQ(here.status, support::OBJECT_HERE);
  }
}

TEST_F(HarnessTest, ExceptionsAreReadInEveryVersion) {
  for (RequestSpec spec : support::every_kind_of_request(m_reference.key)) {
    if (spec.address != support::Address::KEY) continue;
    SCOPED_TRACE(name_of(spec));
    spec.operation = "pid";
    EXPECT_TRUE(support::is_exception(connect().call(request(spec)), "NO_RESOURCES", 17));
  }
}

TEST_F(HarnessTest, BodiesAndFragmentsAreUnderstood) {
  for (const unsigned minor : {1U, 2U}) {
    RequestSpec spec;
    spec.dialect.minor = minor;
    spec.id = 5;
    spec.key = m_reference.key;
    spec.operation = "count_octets";
    spec.service_contexts = {{0x4D595F00, {0, 1, 2, 3, 4}}};
    const Octets data(1003, 'x');
    spec.body = support::CdrWriter(spec.dialect.order).sequence(data).octets();
    // Only GIOP 1.2 aligns the body; here the header of 1.1 ends on a multiple of 4 as well.
    GiopClient client = connect();
    for (const Octets& piece : support::fragmented(request(spec), spec.id, 512, 128)) client.send(piece);
    const Reply reply = client.receive_reply();
    ASSERT_EQ(reply.status, support::NO_EXCEPTION) << describe(reply);
    EXPECT_EQ(CdrReader(reply.body, reply.dialect.order).ulonglong(), data.size());
  }
}

}  // namespace
