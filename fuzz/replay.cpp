// Runs a fuzzer without libFuzzer: on each file of its corpus, then on random
// inputs, the same in every run.
//
//   <stem>_fuzz FOLDER COUNT
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes Read(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(file), {});
}

// Many are short; small numbers, which are mostly choices, come as often as all
// others together.
Bytes Random(std::mt19937& random) {
  constexpr std::size_t kMost = 600;
  Bytes bytes(random() % (1 + random() % kMost));
  for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random() % (random() % 2 ? 256 : 16));
  return bytes;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: %s FOLDER COUNT\n", argv[0]);
    return 2;
  }
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(argv[1])) {
    files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  for (const auto& file : files) {
    std::fprintf(stderr, "%s\n", file.filename().c_str());  // the last one is where it ended
    const Bytes bytes = Read(file);
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
  }
  const int count = std::atoi(argv[2]);
  std::mt19937 random(1);
  for (int i = 0; i < count; ++i) {
    const Bytes bytes = Random(random);
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
  }
  std::printf("%zu files, %d random inputs\n", files.size(), count);
  return files.empty() ? 1 : 0;
}
