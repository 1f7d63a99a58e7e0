#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <vector>

#include <poa_persistent_server.hh>

#include "poa_locator/imr/endpoint_id_utils.h"
#include "tests/unit/poa_locator/plugin_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string NUL(1, '\0');

class EndpointIds : public PluginFixture {
 protected:
  EndpointIds() { start_host(); }
};

// What init() is told is the process's: put back what the other tests have set.
class EndpointIdsInit : public EndpointIds {
 protected:
  EndpointIdsInit() : m_domain(EndpointIdUtils::domain_name()) {}
  ~EndpointIdsInit() override { EndpointIdUtils::m_domain_name = m_domain; }

  const std::string m_domain;
};

TEST_F(EndpointIdsInit, ALaterDomainNameDoesNotReplaceTheFirst) {
  EndpointIdUtils::init(orb(), "another");
  EXPECT_EQ(EndpointIdUtils::domain_name(), m_domain);
}

TEST_F(EndpointIdsInit, AnEmptyDomainNameIsFilledLater) {
  EndpointIdUtils::m_domain_name.clear();
  EndpointIdUtils::init(orb(), "");
  EXPECT_STREQ(EndpointIdUtils::domain_name(), "");
  EndpointIdUtils::init(orb(), "first");
  EXPECT_STREQ(EndpointIdUtils::domain_name(), "first");
}

TEST_F(EndpointIdsInit, EmptyDomainNameGivesAnEmptySegment) {
  EndpointIdUtils::m_domain_name.clear();
  EXPECT_EQ(segment_of(*id_of({"A"}), 1), "");
}

TEST_F(EndpointIdsInit, DifferentDomainsGiveDifferentIds) {
  const auto here = id_of({"A"});
  EndpointIdUtils::m_domain_name = "elsewhere";
  EXPECT_NE(octets(*here), octets(*id_of({"A"})));
}

TEST_F(EndpointIdsInit, ParentIsAlwaysInTheLocalDomain) {
  EndpointIdUtils::m_domain_name = "elsewhere";
  const auto foreign = id_of({"A", "B"});
  EndpointIdUtils::m_domain_name = m_domain;
  const CORBA::OctetSeq_var parent = EndpointIdUtils::parent_id(*foreign);
  EXPECT_EQ(octets(parent), octets(*id_of({"A"})));
}

TEST(EndpointIdsWithoutAHost, UnresolvableBindingManagerPassesThrough) {
  int argc = 0;
  const CORBA::ORB_var orb = CORBA::ORB_init(argc, nullptr);
  EXPECT_THROW(EndpointIdUtils::init(orb, "unused"), CORBA::ORB::InvalidName);
  EXPECT_STRNE(EndpointIdUtils::domain_name(), "unused");
  orb->destroy();
}

TEST_F(EndpointIds, HoldFormatDomainAndNamesInThreeSegments) {
  const auto id = id_of({"A", "BC"});
  EXPECT_EQ(segment_of(*id, 0), std::string(QZ_POA_PersistentServer::PERSISTENT_ENDPOINT_FORMAT, 2));
  EXPECT_EQ(segment_of(*id, 1), EndpointIdUtils::domain_name());
  EXPECT_EQ(segment_of(*id, 2), "A" + NUL + "BC" + NUL);
  EXPECT_THROW(segment_of(*id, 3), CORBA::INV_OBJREF);
}

TEST_F(EndpointIds, RootHasNoNames) {
  const auto root = id_of({});
  EXPECT_EQ(segment_of(*root, 2), "");
  EXPECT_THAT(names_of(*root), IsEmpty());
  EXPECT_EQ(EndpointIdUtils::id_to_fqpn_string(*root), "");
  EXPECT_EQ(EndpointIdUtils::parent_id(*root), nullptr);
}

TEST_F(EndpointIds, OneEmptyNameReadsAsTheRoot) {
  const auto id = id_of({""});
  EXPECT_EQ(segment_of(*id, 2), NUL);
  EXPECT_THAT(names_of(*id), IsEmpty());
  EXPECT_EQ(EndpointIdUtils::parent_id(*id), nullptr);
}

TEST_F(EndpointIds, NamesComeBackInOrder) {
  EXPECT_THAT(names_of(*id_of({"A", "", "C"})), ElementsAre("A", "", "C"));
}

TEST_F(EndpointIds, NamesLongerThanTheFirstBufferComeBack) {
  const std::string name(5000, 'x');
  EXPECT_THAT(names_of(*id_of({name, name})), ElementsAre(name, name));
}

TEST_F(EndpointIds, CharactersAfterTheLastNulAreNoName) {
  EXPECT_THAT(names_of(*raw_id("A" + NUL + "tail")), ElementsAre("A"));
  EXPECT_THAT(names_of(*raw_id("no end")), IsEmpty());
}

TEST_F(EndpointIds, ObjectIdsAndExternalNamesReadTheSame) {
  const auto id = id_of({"A", "B"});
  const PortableServer::ObjectId object_id(id->length(), id->length(), id->get_buffer(), false);
  const QZ_POAIMRAdmin::FullyQualifiedName_var from_object_id = EndpointIdUtils::id_to_fqpn(object_id);
  const QZ_POAIMRAdmin::FullyQualifiedName_var external = EndpointIdUtils::id_to_external_fqpn(*id);
  EXPECT_THAT(texts(from_object_id), ElementsAre("A", "B"));
  EXPECT_THAT(texts(external), ElementsAre("A", "B"));
}

TEST_F(EndpointIds, OctetsBehindTheThirdSegmentAreIgnored) {
  CORBA::OctetSeq key(*id_of({"A"}));
  const CORBA::ULong length = key.length();
  key.length(length + 3);
  EXPECT_THAT(names_of(key), ElementsAre("A"));
}

TEST_F(EndpointIds, MalformedIdsAreRefused) {
  CORBA::OctetSeq cut(*id_of({"A", "B"}));
  for (CORBA::ULong length = cut.length(); length-- > 0;) {
    cut.length(length);
    EXPECT_THROW(EndpointIdUtils::id_to_fqpn(cut), CORBA::INV_OBJREF) << length;
    EXPECT_THROW(EndpointIdUtils::id_to_fqpn_string(cut), CORBA::INV_OBJREF) << length;
    EXPECT_THROW(EndpointIdUtils::parent_id(cut), CORBA::INV_OBJREF) << length;
    EXPECT_THROW(EndpointIdUtils::child_id(cut, "x"), CORBA::INV_OBJREF) << length;
  }
}

TEST_F(EndpointIds, PrintableNameIsJoinedWithSlashesAndKeepsOneTrailingNul) {
  EXPECT_EQ(EndpointIdUtils::id_to_fqpn_string(*id_of({"A", "B"})), "A/B" + NUL);
  EXPECT_STREQ(EndpointIdUtils::id_to_fqpn_string(*id_of({"A", "B"})).c_str(), "A/B");
  EXPECT_EQ(EndpointIdUtils::id_to_fqpn_string(*id_of({"A/B"})), "A/B" + NUL);
  EXPECT_EQ(EndpointIdUtils::id_to_fqpn_string(*id_of({""})), NUL);
  EXPECT_EQ(EndpointIdUtils::id_to_fqpn_string(*id_of({"", "A"})), "/A" + NUL);
}

TEST_F(EndpointIds, PrintableNameWithoutAnyNulLosesItsFirstCharacter) {
  EXPECT_EQ(EndpointIdUtils::id_to_fqpn_string(*raw_id("xyz")), NUL + "yz");
}

TEST_F(EndpointIds, UnprintableOctetsShowAsStars) {
  CORBA::OctetSeq octets_in(3);
  octets_in.length(3);
  octets_in[0] = 0x41;
  octets_in[1] = 0x00;
  octets_in[2] = 0x42;
  EXPECT_EQ(EndpointIdUtils::id_to_string(octets_in), "A*B");
  octets_in[0] = ' ';
  octets_in[1] = 0x7F;
  octets_in[2] = 0xE4;
  EXPECT_EQ(EndpointIdUtils::id_to_string(octets_in), " **");
  EXPECT_EQ(EndpointIdUtils::id_to_string(CORBA::OctetSeq()), "");
}

TEST_F(EndpointIds, HexadecimalHasTwoLowerCaseDigitsForEachOctet) {
  CORBA::OctetSeq octets_in(3);
  octets_in.length(3);
  octets_in[0] = 0x00;
  octets_in[1] = 0xAF;
  octets_in[2] = 0x09;
  EXPECT_EQ(EndpointIdUtils::id_to_octet_string(octets_in), "00af09");
  EXPECT_EQ(EndpointIdUtils::id_to_octet_string(CORBA::OctetSeq()), "");
}

TEST_F(EndpointIds, ChildOfTheRootEqualsTheIdOfItsNameAndLeadsBack) {
  const auto root = id_of({});
  const CORBA::OctetSeq_var child = EndpointIdUtils::child_id(*root, "A");
  EXPECT_EQ(octets(child), octets(*id_of({"A"})));
  const CORBA::OctetSeq_var parent = EndpointIdUtils::parent_id(child);
  EXPECT_EQ(octets(parent), octets(*root));
}

TEST_F(EndpointIds, NamesJoinWithAnySeparatorUnescaped) {
  EXPECT_EQ(EndpointIdUtils::fqpn_to_string(*fqpn_of({"A", "B.C", "D"}), '.'), "A.B.C.D");
  EXPECT_EQ(EndpointIdUtils::fqpn_to_string(*fqpn_of({"A"}), '/'), "A");
  EXPECT_EQ(EndpointIdUtils::fqpn_to_string(*fqpn_of({}), '/'), "");
}

std::vector<std::string> split(const char* text) {
  const QZ_POAIMRAdmin::FullyQualifiedName_var names = EndpointIdUtils::fqpn_from_string(text, '/');
  return texts(names);
}

TEST_F(EndpointIds, NamesReadFromTextKeepTheirSeparators) {
  EXPECT_THAT(split(""), IsEmpty());
  EXPECT_THAT(split("A/B"), ElementsAre("A/", "B/"));
  EXPECT_THAT(split("A/B/"), ElementsAre("A/", "B/"));
  EXPECT_THAT(split("/A"), ElementsAre("/", "A/"));
  EXPECT_THAT(split("/"), ElementsAre("/"));
}

TEST_F(EndpointIds, EqualTellsDifferentIdsOfTheSameLength) {
  EXPECT_FALSE(EndpointIdUtils::equal(*id_of({"A"}), *id_of({"A"})));
  EXPECT_TRUE(EndpointIdUtils::equal(*id_of({"A"}), *id_of({"B"})));
  EXPECT_FALSE(EndpointIdUtils::equal(*id_of({"A"}), *id_of({"AB"})));
  EXPECT_FALSE(EndpointIdUtils::equal(CORBA::OctetSeq(), CORBA::OctetSeq()));
}

}  // namespace
