// Runs a target without the fuzzing engine: over the files of the folder that is named, then over texts cut
// together from theirs, the same ones each time.
#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

#include "fuzz.h"

static constexpr int kCutTogether = 3000;
static std::string current;

int main(int, char** arguments) {
  std::signal(SIGABRT, [](int) { std::fprintf(stderr, "of this text:\n%s\n", current.c_str()); });
  std::vector<std::string> texts;
  for (const auto& file : std::filesystem::directory_iterator(arguments[1])) {
    std::ifstream stream(file.path(), std::ios::binary);
    texts.emplace_back(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
  }
  std::sort(texts.begin(), texts.end());
  std::mt19937 random(7);
  for (std::size_t round = 0; round < texts.size() + kCutTogether; ++round) {
    current = texts[round < texts.size() ? round : random() % texts.size()];
    for (int piece = 0; round >= texts.size() && piece < 2; ++piece) {
      const std::string& other = texts[random() % texts.size()];
      current.resize(random() % (current.size() + 1));
      current += other.substr(random() % (other.size() + 1));
    }
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(current.data()), current.size());
  }
  return texts.empty() ? 1 : 0;
}
