#include "platform/base/qz_hash_map.h"

#include <gtest/gtest.h>
#include <omniORB4/CORBA.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "platform/base/qz_octet_seq_hash.h"

namespace {

struct Identity {
  std::size_t operator()(std::size_t key) const { return key; }
};
// Copying it fails for want of memory when asked to.
struct Scarce {
  static inline bool fails = false;
  explicit Scarce(int with) : value(with) {}
  Scarce(const Scarce& other) : value(other.value) {
    if (fails) throw std::bad_alloc();
  }
  bool operator==(const Scarce&) const = default;
  int value;
};
struct ScarceHash {
  std::size_t operator()(const Scarce& key) const { return static_cast<std::size_t>(key.value); }
};

using NumberMap = QZ_HashMap<std::size_t, std::string, Identity, std::equal_to<>>;

std::vector<std::size_t> keys_of(const NumberMap& map) {
  std::vector<std::size_t> keys;
  for (const auto& entry : map) keys.push_back(entry.key);
  return keys;
}

TEST(HashTableSize, is_the_smallest_prime_of_the_list_that_is_greater) {
  EXPECT_EQ(QZ_hash_table_size(0), 11u);
  EXPECT_EQ(QZ_hash_table_size(10), 11u);
  EXPECT_EQ(QZ_hash_table_size(11), 23u);
  EXPECT_EQ(QZ_hash_table_size(1500), 1597u);
  EXPECT_EQ(QZ_hash_table_size(1597), 3203u);
  EXPECT_EQ(QZ_hash_table_size(842879578), 842879579u);
  EXPECT_EQ(QZ_hash_table_size(842879579), 0u);
}

TEST(HashMap, creates_its_buckets_at_the_first_insert) {
  NumberMap map;
  EXPECT_EQ(map.bucket_count(), 0u);
  EXPECT_EQ(map.find(1), nullptr);
  EXPECT_FALSE(map.erase(1));
  EXPECT_EQ(map.begin(), map.end());
  EXPECT_TRUE(map.insert(1, "one"));
  EXPECT_EQ(map.bucket_count(), 1597u);
}

TEST(HashMap, never_grows_its_buckets) {
  NumberMap map(10);
  for (std::size_t key = 0; key < 1000; ++key) EXPECT_TRUE(map.insert(key, std::to_string(key)));
  EXPECT_EQ(map.bucket_count(), 11u);
  EXPECT_EQ(map.size(), 1000u);
  for (std::size_t key = 0; key < 1000; ++key) {
    ASSERT_NE(map.find(key), nullptr);
    EXPECT_EQ(*map.find(key), std::to_string(key));
  }
  EXPECT_EQ(map.find(1000), nullptr);
}

TEST(HashMap, keeps_the_entry_of_a_key_that_is_inserted_again) {
  NumberMap map;
  EXPECT_TRUE(map.insert(1, "first"));
  EXPECT_FALSE(map.insert(1, "second"));
  EXPECT_EQ(*map.find(1), "first");
  EXPECT_EQ(map.size(), 1u);
}

TEST(HashMap, iterates_bucket_by_bucket_in_the_order_of_insertion) {
  NumberMap map(10);
  for (const std::size_t key : {25, 3, 14, 0, 11, 22, 10}) map.insert(key, "");
  EXPECT_EQ(keys_of(map), (std::vector<std::size_t>{0, 11, 22, 25, 3, 14, 10}));
}

TEST(HashMap, erases_without_disturbing_the_rest_of_the_chain) {
  NumberMap map(10);
  for (const std::size_t key : {0, 11, 22, 33}) map.insert(key, "");
  EXPECT_TRUE(map.erase(11));
  EXPECT_FALSE(map.erase(11));
  EXPECT_EQ(keys_of(map), (std::vector<std::size_t>{0, 22, 33}));
  EXPECT_TRUE(map.insert(11, "again"));
  EXPECT_EQ(keys_of(map), (std::vector<std::size_t>{0, 22, 33, 11}));
  EXPECT_EQ(map.size(), 4u);
}

TEST(HashMap, clears_its_entries_and_keeps_its_buckets) {
  NumberMap map(10);
  map.insert(1, "");
  map.clear();
  EXPECT_TRUE(map.empty());
  EXPECT_EQ(map.find(1), nullptr);
  EXPECT_EQ(map.bucket_count(), 11u);
}

TEST(HashMap, lets_values_be_changed_in_place) {
  NumberMap map;
  map.insert(1, "one");
  *map.find(1) += "!";
  for (auto& entry : map) entry.value += "?";
  EXPECT_EQ(*map.find(1), "one!?");
}

TEST(HashMap, owns_copies_and_drops_them) {
  QZ_HashMap<std::size_t, std::shared_ptr<int>, Identity, std::equal_to<>> map;
  auto value = std::make_shared<int>(7);
  map.insert(1, value);
  map.insert(2, value);
  EXPECT_EQ(value.use_count(), 3);
  map.erase(1);
  EXPECT_EQ(value.use_count(), 2);
  map.clear();
  EXPECT_EQ(value.use_count(), 1);
}

TEST(HashMap, leaves_values_where_they_are) {
  NumberMap map(10);
  map.insert(0, "zero");
  const std::string* const before = map.find(0);
  for (std::size_t key = 1; key < 500; ++key) map.insert(key * 11, "");
  EXPECT_EQ(map.find(0), before);
}

TEST(HashMap, reports_a_size_beyond_the_largest_table) {
  NumberMap map(842879579);
  std::vector<unsigned long> codes;
  EXPECT_FALSE(map.insert(1, "", [&](unsigned long code) { codes.push_back(code); }));
  EXPECT_EQ(codes, (std::vector<unsigned long>{0xC0DE0003}));
  EXPECT_EQ(map.size(), 0u);
  try {
    map.insert(1, "");
    FAIL() << "inserted";
  } catch (const QZ_RuntimeError& error) {
    EXPECT_EQ(error.code(), 0xC0DE0003u);
    EXPECT_STREQ(error.what(), "runtime error 0xC0DE0003 (request too large)");
  }
}

TEST(HashMap, reports_a_failed_allocation_and_stays_as_it_was) {
  QZ_HashMap<Scarce, int, ScarceHash, std::equal_to<>> by_key;
  QZ_HashMap<int, Scarce, std::hash<int>, std::equal_to<>> by_value;
  std::vector<unsigned long> codes;
  const QZ_RuntimeErrorHandler handler = [&](unsigned long code) { codes.push_back(code); };
  by_key.insert(Scarce(1), 1);

  Scarce::fails = true;
  EXPECT_FALSE(by_key.insert(Scarce(2), 2, handler));
  EXPECT_FALSE(by_value.insert(2, Scarce(2), handler));
  EXPECT_THROW(by_value.insert(2, Scarce(2)), QZ_RuntimeError);
  Scarce::fails = false;

  EXPECT_EQ(codes, (std::vector<unsigned long>{0xC0DE0001, 0xC0DE0001}));
  EXPECT_EQ(by_key.size(), 1u);
  EXPECT_NE(by_key.find(Scarce(1)), nullptr);
  EXPECT_EQ(by_key.find(Scarce(2)), nullptr);
  EXPECT_EQ(by_value.size(), 0u);
  EXPECT_TRUE(by_value.insert(2, Scarce(2), handler));
}

TEST(OctetSeqHash, tells_octet_sequences_apart) {
  using Hash = QZ_Cxx_OctetSeqHash<CORBA::OctetSeq>;
  using Equal = QZ_Cxx_OctetSeqEqual<CORBA::OctetSeq>;
  QZ_HashMap<CORBA::OctetSeq, int, Hash, Equal> map;
  CORBA::OctetSeq empty, a, a_copy, zero;
  a.length(2);
  a[0] = 1;
  a[1] = 0;
  a_copy = a;
  zero.length(1);
  zero[0] = 0;
  EXPECT_TRUE(map.insert(empty, 1));
  EXPECT_TRUE(map.insert(a, 2));
  EXPECT_TRUE(map.insert(zero, 3));
  EXPECT_FALSE(map.insert(a_copy, 4));
  EXPECT_EQ(*map.find(a_copy), 2);
  EXPECT_EQ(*map.find(CORBA::OctetSeq()), 1);
  EXPECT_EQ(*map.find(zero), 3);
  a_copy[1] = 9;
  EXPECT_EQ(map.find(a_copy), nullptr);
}

TEST(OctetHash, spreads_keys_that_differ_in_little) {
  constexpr std::size_t BUCKETS = 1597;
  constexpr std::size_t KEYS = 100 * BUCKETS;
  std::vector<unsigned> load(BUCKETS);
  for (std::size_t i = 0; i < KEYS; ++i) {
    const std::string key = "some common prefix/" + std::to_string(i);
    ++load[QZ_hash_octets(reinterpret_cast<const unsigned char*>(key.data()), key.size()) % BUCKETS];
  }
  // 100 on the average, standard deviation 10.
  EXPECT_GT(*std::min_element(load.begin(), load.end()), 40u);
  EXPECT_LT(*std::max_element(load.begin(), load.end()), 160u);
}

}  // namespace
