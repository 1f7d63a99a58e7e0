// A hash table by octet strings for many readers and few writers.
#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "platform/base/qz_shared_mutex.h"

namespace QZ_Binding {

// Split over many small tables with a lock each, so that look-ups of different keys seldom meet. Functions that are
// passed in run under such a lock: they must be short and must not call anything that locks.
template <class Value>
class ShardedMap {
 public:
  // f(Value&) on the value of the key, which is made where there is none.
  template <class Function>
  auto update(std::string_view key, Function f) {
    Shard& shard = shard_of(key);
    const QZ_WriteLock lock(shard.mutex);
    auto found = shard.map.find(key);
    if (found == shard.map.end()) found = shard.map.emplace(key, Value()).first;
    return f(found->second);
  }

  // Removes the value of the key where condition(const Value&) says so, and returns it; else an empty Value.
  template <class Condition>
  Value remove_if(std::string_view key, Condition condition) {
    Shard& shard = shard_of(key);
    const QZ_WriteLock lock(shard.mutex);
    const auto found = shard.map.find(key);
    if (found == shard.map.end() || !condition(std::as_const(found->second))) return Value();
    Value value = std::move(found->second);
    shard.map.erase(found);
    return value;
  }

  // f(const Value&) where the key has a value; else an empty result.
  template <class Function>
  auto read(std::string_view key, Function f) const -> decltype(f(std::declval<const Value&>())) {
    const Shard& shard = shard_of(key);
    const QZ_ReadLock lock(shard.mutex);
    const auto found = shard.map.find(key);
    if (found == shard.map.end()) return {};
    return f(found->second);
  }

  // Some value, in no order; an empty one when there is none.
  Value any() const {
    for (const Shard& shard : m_shards) {
      const QZ_ReadLock lock(shard.mutex);
      if (!shard.map.empty()) return shard.map.begin()->second;
    }
    return Value();
  }

 private:
  struct Hash {
    using is_transparent = void;
    std::size_t operator()(std::string_view key) const { return std::hash<std::string_view>()(key); }
  };
  struct alignas(64) Shard {
    mutable QZ_SharedMutex mutex;
    std::unordered_map<std::string, Value, Hash, std::equal_to<>> map GUARDED_BY(mutex);
  };
  static constexpr std::size_t SHARDS = 64;

  // The map uses the hash's low bits.
  static std::size_t index_of(std::string_view key) { return (Hash()(key) >> 48) % SHARDS; }
  Shard& shard_of(std::string_view key) { return m_shards[index_of(key)]; }
  const Shard& shard_of(std::string_view key) const { return m_shards[index_of(key)]; }

  std::array<Shard, SHARDS> m_shards;
};

}  // namespace QZ_Binding
