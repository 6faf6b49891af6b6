// Runs a target where the compiler brings no fuzzer: the corpus, then mutations
// of it, the same ones for the same seed. Takes the options that it knows of
// the fuzzer's own, and passes over the others.
//
//   fuzz_TARGET [-runs=N] [-seed=N] FOLDER...
#include <algorithm>
#include <filesystem>
#include <random>
#include <vector>

#include "../files.h"
#include "fuzz.h"

namespace {

// Puts in, takes out or changes a byte, or puts in a piece of another input.
void Mutate(std::string& bytes, const std::string& other, std::mt19937& chance) {
  const auto upTo = [&chance](std::size_t n) { return n == 0 ? 0 : chance() % n; };
  for (auto edits = 1 + upTo(6); edits > 0; --edits) {
    const std::size_t at = upTo(bytes.size() + 1), kind = upTo(4);
    if (kind == 0) {
      bytes.insert(at, 1, static_cast<char>(chance()));
    } else if (kind == 1) {
      bytes.erase(at, upTo(bytes.size() - at + 1) / 4);
    } else if (kind == 2 && at < bytes.size()) {
      bytes[at] = static_cast<char>(bytes[at] ^ 1 << upTo(8));
    } else {
      const std::size_t from = upTo(other.size() + 1);
      bytes.insert(at, other.substr(from, upTo(other.size() - from + 1)));
    }
  }
  bytes.resize(std::min<std::size_t>(bytes.size(), 4096));
}

void Try(const std::string& bytes) {
  LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}

}  // namespace

int main(int argc, char** argv) {
  long runs = 0;
  unsigned seed = 1;
  std::vector<std::string> corpus;
  for (int i = 1; i < argc; ++i) {
    const std::string word = argv[i];
    if (word.starts_with("-runs=")) {
      runs = std::stol(word.substr(6));
    } else if (word.starts_with("-seed=")) {
      seed = static_cast<unsigned>(std::stoul(word.substr(6)));
    } else if (std::filesystem::is_directory(word)) {
      for (const auto& file : std::filesystem::directory_iterator(word)) {
        corpus.push_back(Bytes(file.path()));
      }
    }
  }
  std::ranges::sort(corpus);
  corpus.emplace_back();
  for (const std::string& bytes : corpus) {
    Try(bytes);
  }
  std::mt19937 chance(seed);
  for (long run = 0; run < runs; ++run) {
    std::string bytes = corpus[chance() % corpus.size()];
    Mutate(bytes, corpus[chance() % corpus.size()], chance);
    Try(bytes);
  }
  std::cout << corpus.size() << " inputs, " << runs << " mutations\n";
}
