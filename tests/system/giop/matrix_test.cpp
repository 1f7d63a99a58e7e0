// Every version, byte order and way to name the target, against every state of a POA.
#include <functional>

#include "tests/system/giop/giop_test.h"

namespace {

using support::GiopClient;
using support::is_exception;
using support::minor_code;
using support::Octets;
using support::Reply;
using support::RequestSpec;

using Check = std::function<void(const RequestSpec&, const Reply&)>;

class MatrixTest : public GiopTest {
 protected:
  // Sends each kind of request on a connection of its own and checks the answer.
  void expect_each_request(const Octets& key, const Check& check) { expect_each(key, support::request, check); }
  void expect_each_locate_request(const Octets& key, const Check& check) {
    expect_each(key, support::locate_request, check);
  }

  // The same, but all are sent before let_go and the answers are read after it.
  void expect_each_kept(const Octets& key, Octets (*build)(const RequestSpec&), const std::function<void()>& let_go,
                        const Check& check) {
    const auto specs = support::every_kind_of_request(key);
    std::vector<GiopClient> clients;
    for (const RequestSpec& spec : specs) {
      clients.push_back(connect());
      clients.back().send(build(spec));
      pass_fence(clients.back());
    }
    let_go();
    for (std::size_t i = 0; i < specs.size(); ++i) check_one(specs[i], clients[i].receive_reply(), check);
  }

  // Before GIOP 1.2 a LocateReply cannot carry an exception: the request that follows gets it.
  static void expect_refused_locate_request(const RequestSpec& spec, const Reply& reply) {
    if (spec.dialect.minor < 2) {
      EXPECT_EQ(reply.status, support::OBJECT_HERE) << describe(reply);
    } else {
      EXPECT_TRUE(is_exception(reply, "INV_OBJREF", minor_code(0)));
    }
  }

 private:
  void expect_each(const Octets& key, Octets (*build)(const RequestSpec&), const Check& check) {
    for (const RequestSpec& spec : support::every_kind_of_request(key)) {
      check_one(spec, connect().call(build(spec)), check);
    }
  }

  static void check_one(const RequestSpec& spec, const Reply& reply, const Check& check) {
    SCOPED_TRACE(name_of(spec));
    EXPECT_EQ(reply.id, spec.id);
    EXPECT_EQ(reply.dialect.minor, spec.dialect.minor);
    check(spec, reply);
  }
};

TEST_F(MatrixTest, RequestForAnActivePoaIsForwardedToItsServer) {
  m_server.add("Bank");
  expect_each_request(m_server.key_of("Bank"), [&](const RequestSpec&, const Reply& reply) {
    EXPECT_EQ(reply.status, support::LOCATION_FORWARD);
    EXPECT_TRUE(is_forward_to_server(reply, "Bank"));
  });
}

TEST_F(MatrixTest, LocateRequestForAnActivePoaIsForwardedToItsServer) {
  m_server.add("Bank");
  expect_each_locate_request(m_server.key_of("Bank"), [&](const RequestSpec&, const Reply& reply) {
    EXPECT_EQ(reply.status, support::OBJECT_FORWARD);
    EXPECT_TRUE(is_forward_to_server(reply, "Bank"));
  });
}

TEST_F(MatrixTest, RequestForAPoaBeingStartedIsAnsweredWhenItHasRegistered) {
  prepare_stopped({"Bank"});
  expect_each_kept(
      m_server.key_of("Bank"), support::request, [&] { m_server.add("Bank"); },
      [&](const RequestSpec&, const Reply& reply) {
        EXPECT_EQ(reply.status, support::LOCATION_FORWARD);
        EXPECT_TRUE(is_forward_to_server(reply, "Bank"));
      });
}

TEST_F(MatrixTest, LocateRequestForAPoaBeingStartedIsAnsweredWhenItHasRegistered) {
  prepare_stopped({"Bank"});
  expect_each_kept(
      m_server.key_of("Bank"), support::locate_request, [&] { m_server.add("Bank"); },
      [&](const RequestSpec&, const Reply& reply) {
        EXPECT_EQ(reply.status, support::OBJECT_FORWARD);
        EXPECT_TRUE(is_forward_to_server(reply, "Bank"));
      });
}

TEST_F(MatrixTest, RequestForAnUnknownPoaGetsObjectNotExist) {
  expect_each_request(m_server.key_of("Nobody"), [](const RequestSpec&, const Reply& reply) {
    EXPECT_TRUE(is_exception(reply, "OBJECT_NOT_EXIST", minor_code(4)));
  });
}

TEST_F(MatrixTest, LocateRequestForAnUnknownPoaGetsUnknownObject) {
  expect_each_locate_request(m_server.key_of("Nobody"), [](const RequestSpec&, const Reply& reply) {
    EXPECT_EQ(reply.status, support::UNKNOWN_OBJECT) << describe(reply);
  });
}

TEST_F(MatrixTest, KeyThatIsOnlyTheIdOfAnActivePoaIsRefused) {
  m_server.add("Bank");
  expect_each_request(m_server.id_of("Bank"), [](const RequestSpec&, const Reply& reply) {
    EXPECT_TRUE(is_exception(reply, "INV_OBJREF", minor_code(0)));
  });
}

TEST_F(MatrixTest, LocatingAKeyThatIsOnlyTheIdOfAnActivePoaIsRefusedAsTheVersionCan) {
  m_server.add("Bank");
  expect_each_locate_request(m_server.id_of("Bank"), expect_refused_locate_request);
}

TEST_F(MatrixTest, KeyThatIsOnlyTheIdIsKeptWhileThePoaIsStartedAndThenRefused) {
  prepare_stopped({"Bank"});
  expect_each_kept(
      m_server.id_of("Bank"), support::request, [&] { m_server.add("Bank"); },
      [](const RequestSpec&, const Reply& reply) { EXPECT_TRUE(is_exception(reply, "INV_OBJREF", minor_code(0))); });
}

TEST_F(MatrixTest, LocateRequestForAKeyThatIsOnlyTheIdIsKeptWhileThePoaIsStartedAndThenRefusedAsTheVersionCan) {
  prepare_stopped({"Bank"});
  expect_each_kept(
      m_server.id_of("Bank"), support::locate_request, [&] { m_server.add("Bank"); }, expect_refused_locate_request);
}

TEST_F(MatrixTest, RequestWithAKeyOfAnotherDomainGetsObjectNotExist) {
  m_server.add("Bank");
  const Octets key = support::endpoint_id("elsewhere", {"Bank"}) + support::octets_of("object");
  expect_each_request(key,
                      [](const RequestSpec&, const Reply& reply) { EXPECT_TRUE(support::is_object_not_exist(reply)); });
}

TEST_F(MatrixTest, LocateRequestWithAKeyOfAnotherDomainGetsUnknownObject) {
  m_server.add("Bank");
  const Octets key = support::endpoint_id("elsewhere", {"Bank"}) + support::octets_of("object");
  expect_each_locate_request(key, [](const RequestSpec&, const Reply& reply) {
    EXPECT_EQ(reply.status, support::UNKNOWN_OBJECT) << describe(reply);
  });
}

TEST_F(MatrixTest, RequestForANameIsForwardedToTheOrbEndpoint) {
  for (const std::string name : {"EndpointRegistry", "EndpointActivatorRegistry"}) {
    SCOPED_TRACE(name);
    expect_each_request(support::octets_of(name), [&](const RequestSpec&, const Reply& reply) {
      ASSERT_EQ(reply.status, support::LOCATION_FORWARD) << describe(reply);
      EXPECT_EQ(reply.forward->host, m_locator.host());
      EXPECT_EQ(reply.forward->port, unsigned{support::Locator::ORB_ENDPOINT});
      EXPECT_EQ(reply.forward->type_id, "IDL:QZ_POA_PersistentServer/" + name + ":1.0");
    });
  }
}

TEST_F(MatrixTest, LocateRequestForANameIsForwardedToTheOrbEndpoint) {
  expect_each_locate_request(support::octets_of("EndpointRegistry"), [&](const RequestSpec&, const Reply& reply) {
    ASSERT_EQ(reply.status, support::OBJECT_FORWARD) << describe(reply);
    EXPECT_EQ(reply.forward->host, m_locator.host());
    EXPECT_EQ(reply.forward->port, unsigned{support::Locator::ORB_ENDPOINT});
  });
}

TEST_F(MatrixTest, AnyOtherKeyGetsObjectNotExist) {
  const Octets whole = m_server.key_of("Bank");
  const Octets keys[] = {support::octets_of("EndpointRegistr"),
                         support::octets_of("EndpointRegistry2"),
                         {0},
                         {0xFF, 0xFF, 0xFF, 0xFF},
                         // The format marker alone, and with half a domain.
                         Octets(whole.begin(), whole.begin() + 6),
                         Octets(whole.begin(), whole.begin() + 12)};
  for (const Octets& key : keys) {
    SCOPED_TRACE(support::text_of(key));
    expect_each_request(
        key, [](const RequestSpec&, const Reply& reply) { EXPECT_TRUE(support::is_object_not_exist(reply)); });
  }
}

TEST_F(MatrixTest, RequestWithoutAKeyIsRefusedAndLogged) {
  expect_each_request({}, [](const RequestSpec&, const Reply& reply) {
    EXPECT_TRUE(is_exception(reply, "INV_OBJREF", minor_code(1)));
  });
  EXPECT_TRUE(m_locator.log().wait_for(19));
}

TEST_F(MatrixTest, KeyOfTheDomainThatEndsBeforeItsPoaNameIsRefused) {
  const Octets id = m_server.id_of("Bank");
  // Behind the domain's segment: nothing, half a length, a length and half a name.
  const std::size_t domain_end = 6 + 4 + m_locator.domain().size();
  for (const std::size_t size : {domain_end, domain_end + 2, domain_end + 4, id.size() - 1}) {
    SCOPED_TRACE(size);
    expect_each_request(Octets(id.begin(), id.begin() + static_cast<std::ptrdiff_t>(size)),
                        [](const RequestSpec&, const Reply& reply) {
                          ASSERT_TRUE(reply.exception) << describe(reply);
                          EXPECT_EQ(reply.exception->id, "IDL:omg.org/CORBA/INV_OBJREF:1.0");
                          EXPECT_EQ(reply.exception->completed, 1U);
                        });
  }
}

TEST_F(MatrixTest, NestedPoasAreToldApart) {
  m_server.add("Bank");
  m_server.add("Bank/Accounts");
  m_server.add("BankAccounts");
  for (const std::string path : {"Bank", "Bank/Accounts", "BankAccounts"}) {
    EXPECT_TRUE(is_forward_to_server(connect().call(request(spec_for(path))), path)) << path;
  }
  EXPECT_TRUE(is_exception(connect().call(request(spec_for("Bank/Account"))), "OBJECT_NOT_EXIST", minor_code(4)));
}

}  // namespace
