#include "Options.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <sstream>

namespace bench {

namespace {

[[noreturn]] void usage(const char* program) {
  std::fprintf(stderr,
               "usage: %s [--quick] [--rounds N] [--json FILE] [--dir DIRECTORY] [--only GROUP,GROUP...]\n"
               "       [--competitor NAME]\n",
               program);
  std::exit(2);
}

std::vector<std::string> splitAtCommas(const std::string& text) {
  std::vector<std::string> parts;
  std::istringstream stream(text);
  for (std::string part; std::getline(stream, part, ',');) parts.push_back(part);
  return parts;
}

}  // namespace

Options Options::parse(int argc, char** argv) {
  Options options;
  options.directory = std::filesystem::temp_directory_path();
  int rounds = 0;
  for (int i = 1; i < argc; ++i) {
    const std::string name = argv[i];
    if (name == "--quick") {
      options.quick = true;
      continue;
    }
    if (i + 1 == argc) usage(argv[0]);
    const std::string value = argv[++i];
    if (name == "--json")
      options.json = value;
    else if (name == "--dir")
      options.directory = value;
    else if (name == "--competitor")
      options.competitor = value;
    else if (name == "--only")
      options.only = splitAtCommas(value);
    else if (name == "--rounds" && std::atoi(value.c_str()) > 0)
      rounds = std::atoi(value.c_str());
    else
      usage(argv[0]);
  }
  if (options.quick) options.rounds = 3;
  if (rounds > 0) options.rounds = rounds;
  return options;
}

bool Options::wants(const std::string& group) const {
  return only.empty() || std::find(only.begin(), only.end(), group) != only.end();
}

}  // namespace bench
