// A hash table by octet strings for many readers and few writers.
#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include <tsl/robin_map.h>

#include "platform/base/qz_striped_mutex.h"

namespace QZ_Binding {

// Split over many small tables, so that readers do not wait long while one grows. Functions that are passed in run
// under the map's lock: they must be short and must not call anything that locks.
template <class Value>
class ShardedMap {
 public:
  // f(Value&) on the value of the key, which is made where there is none.
  template <class Function>
  auto update(std::string_view text, Function f) {
    const HashedKey key(text);
    const QZ_WriteLock lock(m_mutex);
    Shard& shard = shard_of(key);
    auto found = shard.find(key, key.hash);
    if (found == shard.end()) found = shard.try_emplace(std::string(text)).first;
    return f(found.value());
  }

  // f(Value&) where the key has a value.
  template <class Function>
  void update_if_there(std::string_view text, Function f) {
    const HashedKey key(text);
    const QZ_WriteLock lock(m_mutex);
    Shard& shard = shard_of(key);
    const auto found = shard.find(key, key.hash);
    if (found != shard.end()) f(found.value());
  }

  // Removes the value of the key where condition(const Value&) says so, and returns it; else an empty Value.
  template <class Condition>
  Value remove_if(std::string_view text, Condition condition) {
    const HashedKey key(text);
    const QZ_WriteLock lock(m_mutex);
    Shard& shard = shard_of(key);
    const auto found = shard.find(key, key.hash);
    if (found == shard.end() || !condition(std::as_const(found->second))) return Value();
    Value value = std::move(found.value());
    shard.erase(found);
    return value;
  }

  // f(const Value&) where the key has a value; else an empty result.
  template <class Function>
  auto read(std::string_view text, Function f) const -> decltype(f(std::declval<const Value&>())) {
    const HashedKey key(text);
    const QZ_ReadLock lock(m_mutex);
    const Shard& shard = shard_of(key);
    const auto found = shard.find(key, key.hash);
    if (found == shard.end()) return {};
    return f(found->second);
  }

  // Some value, in no order; an empty one when there is none.
  Value any() const {
    const QZ_ReadLock lock(m_mutex);
    for (const Shard& shard : m_shards) {
      if (!shard.empty()) return shard.begin()->second;
    }
    return Value();
  }

 private:
  // A key whose hash is known, so that it is taken once for the shard and the table.
  struct HashedKey {
    explicit HashedKey(std::string_view key) : text(key), hash(std::hash<std::string_view>()(key)) {}
    std::string_view text;
    std::size_t hash;
  };
  struct Hash {
    using is_transparent = void;
    std::size_t operator()(const HashedKey& key) const { return key.hash; }
    std::size_t operator()(const std::string& key) const { return std::hash<std::string_view>()(key); }
  };
  struct Equal {
    using is_transparent = void;
    bool operator()(const std::string& a, const std::string& b) const { return a == b; }
    bool operator()(const HashedKey& a, const std::string& b) const { return a.text == b; }
    bool operator()(const std::string& a, const HashedKey& b) const { return a == b.text; }
  };
  // Entries lie in one array with their hashes: of many keys, each of which is asked for seldom, a look-up waits for
  // memory once where a list of nodes makes it wait three times.
  using Shard = tsl::robin_map<std::string, Value, Hash, Equal, std::allocator<std::pair<std::string, Value>>, true>;
  static constexpr std::size_t SHARDS = 64;

  // The table uses the hash's low bits.
  static std::size_t index_of(const HashedKey& key) { return (key.hash >> 48) % SHARDS; }
  Shard& shard_of(const HashedKey& key) REQUIRES(m_mutex) { return m_shards[index_of(key)]; }
  const Shard& shard_of(const HashedKey& key) const REQUIRES_SHARED(m_mutex) { return m_shards[index_of(key)]; }

  mutable QZ_StripedMutex m_mutex;
  std::array<Shard, SHARDS> m_shards GUARDED_BY(m_mutex);
};

}  // namespace QZ_Binding
