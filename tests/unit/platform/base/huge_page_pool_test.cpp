#include "platform/base/huge_page_pool.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

struct Piece {
  unsigned char* memory;
  std::size_t size;
  int mark;
};

Piece make(std::size_t size, int mark) {
  Piece piece{static_cast<unsigned char*>(HugePagePool::allocate(size)), size, mark};
  std::memset(piece.memory, mark, size);
  return piece;
}

bool unspoilt(const Piece& piece) {
  return std::all_of(piece.memory, piece.memory + piece.size, [&](unsigned char octet) { return octet == piece.mark; });
}

void give_back(const Piece& piece) {
  HugePagePool::deallocate(piece.memory, piece.size);
}

// Whether the system was told that the memory there may lie in huge pages.
bool advised(const void* memory) {
  const auto place = reinterpret_cast<std::uintptr_t>(memory);
  std::ifstream maps("/proc/self/smaps");
  bool here = false;
  for (std::string line; std::getline(maps, line);) {
    std::istringstream words(line);
    std::uintptr_t begin = 0;
    std::uintptr_t end = 0;
    char dash = 0;
    if (words >> std::hex >> begin >> dash >> end && dash == '-') here = begin <= place && place < end;
    if (here && line.starts_with("VmFlags:")) return (line + " ").find(" hg ") != std::string::npos;
  }
  return false;
}

TEST(HugePagePool, PiecesOfAllSizesAreApartAndAligned) {
  std::vector<Piece> pieces;
  for (std::size_t size = 1; size <= HugePagePool::LARGEST + 100; ++size)
    pieces.push_back(make(size, static_cast<int>(size % 251)));
  pieces.push_back(make(10'000'000, 1));
  for (const Piece& piece : pieces) {
    EXPECT_TRUE(unspoilt(piece)) << piece.size;
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(piece.memory) % HugePagePool::ALIGNMENT, 0u) << piece.size;
    give_back(piece);
  }
}

TEST(HugePagePool, WhatIsGivenBackIsUsedAgain) {
  constexpr std::size_t PIECES = 1000;
  std::set<unsigned char*> places;
  for (int round = 0; round < 100; ++round) {
    std::vector<Piece> pieces;
    for (std::size_t i = 0; i < PIECES; ++i) pieces.push_back(make(300, round));
    for (const Piece& piece : pieces) {
      places.insert(piece.memory);
      give_back(piece);
    }
  }
  EXPECT_LE(places.size(), 2 * PIECES);
}

TEST(HugePagePool, ThreadsHaveTheirOwnPieces) {
  std::vector<std::thread> threads;
  for (int mark = 1; mark <= 4; ++mark) {
    threads.emplace_back([mark] {
      std::vector<Piece> pieces;
      for (int i = 0; i < 5000; ++i) {
        pieces.push_back(make(100 + static_cast<std::size_t>(i % 400), mark));
        if (i % 3 != 0) continue;
        EXPECT_TRUE(unspoilt(pieces.front()));
        give_back(pieces.front());
        pieces.front() = pieces.back();
        pieces.pop_back();
      }
      for (const Piece& piece : pieces) {
        EXPECT_TRUE(unspoilt(piece));
        give_back(piece);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

#if __has_feature(address_sanitizer)
TEST(HugePagePool, UseOfWhatWasGivenBackIsFound) {
  const Piece piece = make(300, 1);
  give_back(piece);
  EXPECT_DEATH(EXPECT_TRUE(unspoilt(piece)), "use-after-poison");
  give_back(make(300, 2));  // whoever has it next may use it
}

TEST(HugePagePool, UseBeyondTheEndIsFound) {
  for (const std::size_t size : {std::size_t{1}, std::size_t{300}, HugePagePool::LARGEST}) {
    const Piece piece = make(size, 1);
    EXPECT_DEATH(piece.memory[size] = 1, "use-after-poison");
    give_back(piece);
  }
}
#endif

TEST(HugePagePool, LiesInHugePagesWhereTheSystemHasThem) {
  const Piece piece = make(300, 1);
  EXPECT_EQ(advised(piece.memory), std::filesystem::exists("/sys/kernel/mm/transparent_hugepage"));
  give_back(piece);
}

}  // namespace
