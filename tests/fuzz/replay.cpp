// Runs a fuzz target over files, and over all files of folders: the corpus, and what was found in the past.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

void replay(const std::filesystem::path& file) {
  std::printf("%s\n", file.c_str());
  std::fflush(stdout);
  std::ifstream in(file, std::ios::binary);
  if (!in) throw std::runtime_error("cannot read " + file.string());
  const std::vector<char> octets((std::istreambuf_iterator<char>(in)), {});
  // Memory of exactly that size, so that reading past it is seen by the address sanitizer.
  const auto memory = std::make_unique<std::uint8_t[]>(octets.size());
  std::copy(octets.begin(), octets.end(), memory.get());
  LLVMFuzzerTestOneInput(memory.get(), octets.size());
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::filesystem::path> files;
  try {
    for (int i = 1; i < argc; ++i) {
      if (std::filesystem::is_regular_file(argv[i])) files.emplace_back(argv[i]);
      if (!std::filesystem::is_directory(argv[i])) continue;
      for (const auto& entry : std::filesystem::recursive_directory_iterator(argv[i])) {
        if (entry.is_regular_file()) files.push_back(entry.path());
      }
    }
    std::sort(files.begin(), files.end());
    for (const auto& file : files) replay(file);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
  std::printf("%zu inputs\n", files.size());
  return files.empty() ? 1 : 0;
}
