// A chained hash table of fixed size.
#pragma once

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

#include "platform/base/qz_runtime_error.h"

// The smallest of the table sizes that is greater than requested; 0 when there is none.
std::size_t QZ_hash_table_size(std::size_t requested);

// Keys and values are copied into the table and stay where they are until they are erased. The buckets are created at
// the first insert and never become more: beyond their number the chains lengthen. A chain keeps its entries' hashes
// side by side, so that walking a long one compares numbers in a row and touches no key but the right one.
// Iteration goes bucket by bucket, in each bucket in the order of insertion. Not for several threads at once when one
// of them changes it; iterators do not survive a change.
template <class Key, class Value, class Hash, class Equal>
class QZ_HashMap {
 public:
  struct Entry {
    const Key key;
    Value value;
  };

 private:
  struct Link {
    std::size_t hash;
    std::unique_ptr<Entry> entry;
  };
  using Chain = std::vector<Link>;

  template <class Map, class Reference>
  class Iterator {
   public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = Entry;
    using difference_type = std::ptrdiff_t;
    using pointer = std::remove_reference_t<Reference>*;
    using reference = Reference;

    Iterator() = default;
    Iterator(Map& map, std::size_t bucket) : m_map(&map), m_bucket(bucket) { skip_ends(); }

    Reference operator*() const { return *m_map->m_buckets[m_bucket][m_index].entry; }
    pointer operator->() const { return &**this; }
    Iterator& operator++() {
      ++m_index;
      skip_ends();
      return *this;
    }
    Iterator operator++(int) {
      Iterator before = *this;
      ++*this;
      return before;
    }
    bool operator==(const Iterator& other) const = default;

   private:
    void skip_ends() {
      while (m_bucket < m_map->m_buckets.size() && m_index == m_map->m_buckets[m_bucket].size()) {
        ++m_bucket;
        m_index = 0;
      }
    }

    Map* m_map = nullptr;
    std::size_t m_bucket = 0;
    std::size_t m_index = 0;
  };

 public:
  using iterator = Iterator<QZ_HashMap, Entry&>;
  using const_iterator = Iterator<const QZ_HashMap, const Entry&>;

  explicit QZ_HashMap(std::size_t requested_size = 1500) : m_requested_size(requested_size) {}
  QZ_HashMap(const QZ_HashMap&) = delete;
  QZ_HashMap& operator=(const QZ_HashMap&) = delete;

  std::size_t size() const { return m_size; }
  bool empty() const { return m_size == 0; }
  // 0 before the first insert.
  std::size_t bucket_count() const { return m_buckets.size(); }

  // False when nothing was inserted: the key is present, and its entry stays as it is; or the handler has been told
  // QZ_ERROR_NO_MEMORY, or QZ_ERROR_TOO_LARGE for a requested size beyond the largest table.
  bool insert(const Key& key, const Value& value, const QZ_RuntimeErrorHandler& handler = QZ_throwing_error_handler()) {
    try {
      if (m_buckets.empty()) {
        const std::size_t size = QZ_hash_table_size(m_requested_size);
        if (size == 0) {
          handler(QZ_ERROR_TOO_LARGE);
          return false;
        }
        m_buckets.resize(size);
      }
      const std::size_t hash = m_hash(key);
      Chain& chain = m_buckets[hash % m_buckets.size()];
      if (position(chain, hash, key) != chain.end()) return false;
      chain.push_back({hash, std::unique_ptr<Entry>(new Entry{key, value})});
      ++m_size;
      return true;
    } catch (const std::bad_alloc&) {
      handler(QZ_ERROR_NO_MEMORY);
      return false;
    }
  }

  // Null when the key is absent.
  Value* find(const Key& key) { return const_cast<Value*>(std::as_const(*this).find(key)); }
  const Value* find(const Key& key) const {
    if (m_buckets.empty()) return nullptr;
    const std::size_t hash = m_hash(key);
    const Chain& chain = m_buckets[hash % m_buckets.size()];
    const auto at = position(chain, hash, key);
    return at == chain.end() ? nullptr : &at->entry->value;
  }

  // False when the key is absent. The entry is destroyed after it has left the table.
  bool erase(const Key& key) {
    if (m_buckets.empty()) return false;
    const std::size_t hash = m_hash(key);
    Chain& chain = m_buckets[hash % m_buckets.size()];
    const auto at = position(chain, hash, key);
    if (at == chain.end()) return false;
    const std::unique_ptr<Entry> entry = std::move(at->entry);
    chain.erase(at);
    --m_size;
    return true;
  }

  // The buckets stay.
  void clear() {
    for (Chain& chain : m_buckets) chain.clear();
    m_size = 0;
  }

  iterator begin() { return {*this, 0}; }
  iterator end() { return {*this, m_buckets.size()}; }
  const_iterator begin() const { return {*this, 0}; }
  const_iterator end() const { return {*this, m_buckets.size()}; }

 private:
  template <class SomeChain>
  auto position(SomeChain& chain, std::size_t hash, const Key& key) const {
    return std::find_if(chain.begin(), chain.end(),
                        [&](const Link& link) { return link.hash == hash && m_equal(link.entry->key, key); });
  }

  std::size_t m_requested_size;
  std::vector<Chain> m_buckets;
  std::size_t m_size = 0;
  [[no_unique_address]] Hash m_hash;
  [[no_unique_address]] Equal m_equal;
};
