// Runs a target where the compiler brings no fuzzer: the corpus, then mutations
// of it, the same ones for the same seed. Takes the options that it knows of
// the fuzzer's own, and passes over the others.
//
//   fuzz_TARGET [-runs=N] [-seed=N] FOLDER...
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>
#include <vector>

#include "fuzz.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

void Mutate(Bytes& bytes, const Bytes& other, std::mt19937& chance) {
  const auto upTo = [&chance](std::size_t n) { return n == 0 ? 0 : chance() % n; };
  for (auto edits = 1 + upTo(6); edits > 0; --edits) {
    const auto at = static_cast<std::ptrdiff_t>(upTo(bytes.size() + 1));
    const auto left = static_cast<std::size_t>(std::ssize(bytes) - at);
    const auto byte = static_cast<std::uint8_t>(chance());
    switch (upTo(4)) {
      case 0:
        bytes.insert(bytes.begin() + at, byte);
        break;
      case 1:
        bytes.erase(bytes.begin() + at,
                    bytes.begin() + at + static_cast<std::ptrdiff_t>(upTo(left + 1)) / 4);
        break;
      case 2:
        if (left > 0) {
          bytes[static_cast<std::size_t>(at)] ^= static_cast<std::uint8_t>(1u << upTo(8));
        }
        break;
      default: {
        const auto from = static_cast<std::ptrdiff_t>(upTo(other.size() + 1));
        const auto length = upTo(static_cast<std::size_t>(std::ssize(other) - from) + 1);
        bytes.insert(bytes.begin() + at, other.begin() + from,
                     other.begin() + from + static_cast<std::ptrdiff_t>(length));
      }
    }
  }
  bytes.resize(std::min<std::size_t>(bytes.size(), 4096));
}

}  // namespace

int main(int argc, char** argv) {
  long runs = 0;
  unsigned seed = 1;
  std::vector<Bytes> corpus;
  for (int i = 1; i < argc; ++i) {
    const std::string word = argv[i];
    if (word.starts_with("-runs=")) {
      runs = std::stol(word.substr(6));
    } else if (word.starts_with("-seed=")) {
      seed = static_cast<unsigned>(std::stoul(word.substr(6)));
    } else if (std::filesystem::is_directory(word)) {
      for (const auto& file : std::filesystem::directory_iterator(word)) {
        std::ifstream in(file.path(), std::ios::binary);
        corpus.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
      }
    }
  }
  std::ranges::sort(corpus);
  corpus.emplace_back();
  for (const Bytes& bytes : corpus) {
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
  }
  std::mt19937 chance(seed);
  for (long run = 0; run < runs; ++run) {
    Bytes bytes = corpus[chance() % corpus.size()];
    Mutate(bytes, corpus[chance() % corpus.size()], chance);
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
  }
  std::cout << corpus.size() << " inputs, " << runs << " mutations\n";
}
