// Writes the seeds of the targets whose input is binary:
//   fuzz_seeds tests/fuzz/corpus
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/giop_message.h"
#include "tests/support/object_key.h"

namespace {

using support::Address;
using support::ByteOrder;
using support::CdrWriter;
using support::Dialect;
using support::Octets;
using support::octets_of;
using support::RequestSpec;
using support::operator+;

class Corpus {
 public:
  Corpus(std::filesystem::path folder, std::string target) : m_folder(folder / target) {
    std::filesystem::create_directories(m_folder);
  }
  void add(const std::string& name, const Octets& octets) const {
    std::ofstream out(m_folder / name, std::ios::binary);
    out.write(reinterpret_cast<const char*>(octets.data()), static_cast<std::streamsize>(octets.size()));
    if (!out.flush()) throw std::runtime_error("cannot write " + name);
  }

 private:
  const std::filesystem::path m_folder;
};

const Octets KEY = support::endpoint_id("domain", {"Bank", "Accounts"}) + octets_of("object");

std::string name_of(const RequestSpec& spec) {
  const char* const addresses[] = {"key", "profile", "reference"};
  return "1." + std::to_string(spec.dialect.minor) + (spec.dialect.order == ByteOrder::LITTLE ? "_little_" : "_big_") +
         addresses[static_cast<unsigned>(spec.address)];
}

std::vector<RequestSpec> every_kind_of_request() {
  std::vector<RequestSpec> specs;
  for (const unsigned minor : {0U, 1U, 2U}) {
    for (const ByteOrder order : {ByteOrder::BIG, ByteOrder::LITTLE}) {
      for (const Address address : {Address::KEY, Address::PROFILE, Address::REFERENCE}) {
        if (address != Address::KEY && minor < 2) continue;
        RequestSpec spec;
        spec.dialect = {minor, order};
        spec.key = KEY;
        spec.address = address;
        spec.service_contexts = {{1, octets_of("abc")}};
        specs.push_back(spec);
      }
    }
  }
  return specs;
}

Octets joined(const std::vector<Octets>& parts) {
  Octets all;
  for (const Octets& part : parts) all = all + part;
  return all;
}

// The first octet chooses how the stream is cut up.
Octets stream(const Octets& octets) {
  return Octets{static_cast<unsigned char>(octets.size())} + octets;
}

void write_codec(const Corpus& corpus) {
  for (RequestSpec spec : every_kind_of_request()) {
    const std::string name = name_of(spec);
    corpus.add("request_" + name, stream(request(spec)));
    corpus.add("locate_" + name, stream(locate_request(spec)));
    spec.response_expected = false;
    corpus.add("oneway_" + name, stream(request(spec)));
    if (spec.dialect.minor == 0) continue;
    spec.response_expected = true;
    spec.body = Octets(40, 'b');
    corpus.add("fragments_" + name, stream(joined(support::fragmented(request(spec), spec.id, 8, 16))));
  }
  for (const Dialect& dialect :
       {Dialect{0, ByteOrder::LITTLE}, Dialect{1, ByteOrder::BIG}, Dialect{2, ByteOrder::LITTLE}}) {
    const std::string name = "1." + std::to_string(dialect.minor);
    RequestSpec spec;
    spec.dialect = dialect;
    spec.key = octets_of("name");
    const Octets one = request(spec), cancel = support::cancel_request(dialect, spec.id);
    corpus.add("pipelined_" + name, stream(one + locate_request(spec) + one));
    corpus.add("cancel_" + name, stream(one + cancel + one));
    corpus.add("close_" + name, stream(one + message(dialect, support::CLOSE_CONNECTION, {}) + one));
    corpus.add("error_" + name, stream(message(dialect, support::MESSAGE_ERROR, {})));
    corpus.add("reply_" + name, stream(message(dialect, support::REPLY, Octets(12, 0))));
    corpus.add("magic_in_midstream_" + name, stream(one + octets_of("GET / HTTP/1.1\r\n\r\n")));
    corpus.add("cut_" + name, stream(Octets(one.begin(), one.end() - 5)));
    spec.key = Octets(600, 'k');
    corpus.add("long_" + name, stream(request(spec)));
  }
  // Two requests of GIOP 1.2 in fragments at once, one of them cancelled, and one id used twice.
  RequestSpec first, second;
  first.key = second.key = KEY;
  second.id = 2;
  const auto a = support::fragmented(request(first), 1, 16, 24), b = support::fragmented(request(second), 2, 8, 32);
  Octets mixed;
  for (std::size_t i = 0; i < std::max(a.size(), b.size()); ++i) {
    if (i < a.size()) mixed = mixed + a[i];
    if (i < b.size()) mixed = mixed + b[i];
  }
  corpus.add("interleaved", stream(mixed));
  corpus.add("cancelled_in_fragments",
             stream(a[0] + b[0] + support::cancel_request({}, 1) + joined({b.begin() + 1, b.end()})));
  corpus.add("id_reused_in_fragments", stream(a[0] + a[0]));
  corpus.add("fragment_of_nothing", stream(a[1]));
  Octets many;
  for (std::uint32_t id = 1; id <= 4; ++id) {
    first.id = id;
    many = many + support::fragmented(request(first), id, 8, 8)[0];
  }
  corpus.add("too_many_in_fragments", stream(many));
}

void write_keys(const Corpus& corpus) {
  const auto key = [&](const std::string& name, const Octets& octets) {
    corpus.add(name, Octets{0xFF} + octets);
    corpus.add(name + "_domain_only", Octets{2} + octets);
  };
  key("poa", KEY);
  key("id_alone", support::endpoint_id("domain", {"Bank"}));
  key("root", support::endpoint_id("domain", {}) + octets_of("x"));
  key("empty_name", support::endpoint_id("domain", {""}));
  key("empty_names", support::endpoint_id("", {"", "", "a"}));
  key("slashes", support::endpoint_id("domain", {"a/b", "c\\d", "\x01\x7f\xff"}));
  key("name", octets_of("EndpointRegistry"));
  key("four_segments", support::endpoint_id("d", {"n"}) + CdrWriter(ByteOrder::BIG).sequence({1, 2, 3}).octets());
  key("length_beyond_end", support::endpoint_id("d", {"n"}) + Octets{0xFF, 0xFF, 0xFF, 0xFF, 1});
  key("no_nul_at_end", CdrWriter(ByteOrder::BIG).sequence({'Q', 'P'}).octets() +
                           CdrWriter(ByteOrder::BIG).sequence({'d'}).octets() +
                           CdrWriter(ByteOrder::BIG).sequence({'a', 0, 'b'}).octets());
}

void write_references(const Corpus& corpus) {
  for (const ByteOrder order : {ByteOrder::BIG, ByteOrder::LITTLE}) {
    const std::string name = order == ByteOrder::LITTLE ? "_little" : "_big";
    for (const unsigned minor : {0U, 1U, 2U}) {
      const Dialect dialect{minor, order};
      const Octets profile = iiop_profile(dialect, "server.example", 4711, KEY);
      CdrWriter out(order);
      out.octet(static_cast<unsigned>(order)).text("IDL:Bank/Account:1.0").ulong(2);
      out.ulong(1).sequence(CdrWriter(order).octet(0).ulong(0).octets()).ulong(0).sequence(profile);
      const std::string suffix = name + "_1." + std::to_string(minor);
      corpus.add(
          "ior_text" + suffix, octets_of("IOR:") + [&] {
            Octets digits;
            for (const unsigned char octet : out.octets()) {
              for (const int shift : {4, 0})
                digits.push_back(static_cast<unsigned char>("0123456789abcdef"[octet >> shift & 15]));
            }
            return digits;
          }());
      // Aligned from the first octet behind the one for the byte order.
      CdrWriter aligned(order);
      aligned.text("").ulong(1).ulong(0).sequence(profile);
      corpus.add("ior" + suffix, Octets{static_cast<unsigned char>(order)} + aligned.octets());
      corpus.add("profile" + suffix, Octets{0} + profile);
    }
    CdrWriter components(order);
    components.octet(static_cast<unsigned>(order)).octet(1).octet(2).text("::1").ushort(2809).sequence(KEY).ulong(2);
    components.ulong(1).sequence(CdrWriter(order).octet(0).ulong(0x10001).ulong(0).octets());
    components.ulong(3).sequence(CdrWriter(order).octet(0).text("other.example").ushort(1).octets());
    corpus.add("components" + name, Octets{0} + components.octets());
    CdrWriter none(order);
    none.text("").ulong(0);
    corpus.add("no_profile" + name, Octets{static_cast<unsigned char>(order)} + none.octets());
  }
  const char* const texts[] = {"127.0.0.1:2809",
                               "[::1]:2809",
                               "corbaloc::127.0.0.1:2809",
                               "corbaloc:iiop:1.2@host:1/key",
                               "corbaloc::a:1,:b:2,iiop:c:3/name%20x",
                               "corbaloc:rir:/EndpointRegistry",
                               "corbaloc:iiop:[fe80::1]:4/%ff%00",
                               "IOR:00",
                               "ior:zz"};
  for (std::size_t i = 0; i < std::size(texts); ++i) corpus.add("text" + std::to_string(i), octets_of(texts[i]));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: fuzz_seeds FOLDER\n");
    return 2;
  }
  try {
    write_codec({argv[1], "codec"});
    write_keys({argv[1], "keys"});
    write_references({argv[1], "reference"});
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
  return 0;
}
