// The document that poaloc imports a repository from.
#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "cli/repository_document.h"
#include "tests/fuzz/check.h"

namespace {

using poaloc::Json;

template <class Entry>
Json list(const std::vector<Entry>& entries) {
  Json result = Json::array();
  for (const Entry& entry : entries) result.push_back(poaloc::to_json(entry));
  return result;
}

Json document(const poaloc::RepositoryDocument& repository) {
  return {{"poalocator", 1},
          {"processes", list(repository.processes)},
          {"orbs", list(repository.orbs)},
          {"poas", list(repository.poas)}};
}

// A terminal must not obey what somebody else's file says.
bool is_harmless(const std::string& sentence) {
  return !sentence.empty() &&
         std::none_of(sentence.begin(), sentence.end(), [](unsigned char c) { return c < 0x20 || c == 0x7f; });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::vector<std::string> mistakes;
  const auto repository = poaloc::parse_document({reinterpret_cast<const char*>(data), size}, mistakes);
  for (const std::string& mistake : mistakes) FUZZ_CHECK(is_harmless(mistake));
  if (!mistakes.empty()) return 0;

  for (std::size_t i = 1; i < repository.poas.size(); ++i) {
    FUZZ_CHECK(repository.poas[i - 1].name.length() <= repository.poas[i].name.length());
  }
  // Exported and read again it is the same.
  const Json exported = document(repository);
  const auto again = poaloc::parse_document(exported.dump(), mistakes);
  FUZZ_CHECK(mistakes.empty());
  FUZZ_CHECK(document(again) == exported);
  return 0;
}
