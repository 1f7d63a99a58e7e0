// A hash table of entries, each found by an octet string that is part of it, for many readers and few writers.
#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <memory>
#include <string_view>
#include <utility>

#include <tsl/robin_set.h>

#include "platform/base/qz_striped_mutex.h"

namespace QZ_Binding {

// Split over many small tables, so that readers do not wait long while one grows. Functions that are passed in run
// under the set's lock: they must be short and must not call anything that locks.
//
// Entry::key() is a std::string_view that stays the same. It is best kept in the entry's own piece of memory: of many
// entries, each of which is asked for seldom, a look-up then waits for memory twice, for the table and for the entry.
// Entry::prefetch() asks for more of that memory before it is needed.
template <class Entry>
class ShardedSet {
 public:
  using EntryPtr = std::unique_ptr<Entry>;

  // f(EntryPtr&) on the entry of the key, null where there is none. f may fill the place, put another entry with the
  // same key into it, or empty it.
  template <class Function>
  auto write(std::string_view text, Function f) {
    const HashedKey key(text);
    const QZ_WriteLock lock(m_mutex);
    Shard& shard = shard_of(key);
    const auto found = shard.find(key, key.hash);
    EntryPtr none;
    EntryPtr& place = found == shard.end() ? none : found->entry;
    auto result = f(place);
    if (none) {
      shard.insert(Slot{std::move(none)});
    } else if (found != shard.end() && !place) {
      shard.erase(found);
    }
    return result;
  }

  // f(const Entry&) where the key has an entry; else an empty result.
  template <class Function>
  auto read(std::string_view text, Function f) const -> decltype(f(std::declval<const Entry&>())) {
    const HashedKey key(text);
    const QZ_ReadLock lock(m_mutex);
    const Shard& shard = shard_of(key);
    const auto found = shard.find(key, key.hash);
    if (found == shard.end()) return {};
    return f(std::as_const(*found->entry));
  }

  // The same for some entry, in no order.
  template <class Function>
  auto read_any(Function f) const -> decltype(f(std::declval<const Entry&>())) {
    const QZ_ReadLock lock(m_mutex);
    for (const Shard& shard : m_shards) {
      if (!shard.empty()) return f(std::as_const(*shard.begin()->entry));
    }
    return {};
  }

 private:
  // A key whose hash is known, so that it is taken once for the shard and the table.
  struct HashedKey {
    explicit HashedKey(std::string_view key) : text(key), hash(std::hash<std::string_view>()(key)) {}
    std::string_view text;
    std::size_t hash;
  };
  struct Slot {
    mutable EntryPtr entry;  // never another key's
  };
  struct Hash {
    using is_transparent = void;
    std::size_t operator()(const HashedKey& key) const { return key.hash; }
    std::size_t operator()(const Slot& slot) const { return std::hash<std::string_view>()(slot.entry->key()); }
  };
  struct Equal {
    using is_transparent = void;
    bool operator()(const Slot& a, const Slot& b) const { return a.entry->key() == b.entry->key(); }
    // Comes when the hashes are equal, so that the entry is most probably the one.
    bool operator()(const HashedKey& a, const Slot& b) const {
      b.entry->prefetch();
      return a.text == b.entry->key();
    }
    bool operator()(const Slot& a, const HashedKey& b) const { return (*this)(b, a); }
  };
  // The hashes are kept beside the pointers: entries with other hashes are not looked at.
  using Shard = tsl::robin_set<Slot, Hash, Equal, std::allocator<Slot>, true>;
  static constexpr std::size_t SHARDS = 64;

  // The table uses the hash's low bits.
  static std::size_t index_of(const HashedKey& key) { return (key.hash >> 48) % SHARDS; }
  Shard& shard_of(const HashedKey& key) REQUIRES(m_mutex) { return m_shards[index_of(key)]; }
  const Shard& shard_of(const HashedKey& key) const REQUIRES_SHARED(m_mutex) { return m_shards[index_of(key)]; }

  mutable QZ_StripedMutex m_mutex;
  std::array<Shard, SHARDS> m_shards GUARDED_BY(m_mutex);
};

}  // namespace QZ_Binding
