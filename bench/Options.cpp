#include "Options.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>

namespace bench {

Options Options::parse(int argc, char** argv) {
  Options options;
  std::string rounds;
  options.directory = std::filesystem::temp_directory_path();
  const std::map<std::string, std::string*> texts{{"--json", &options.json},
                                                  {"--dir", &options.directory},
                                                  {"--only", &options.only},
                                                  {"--competitor", &options.competitor},
                                                  {"--rounds", &rounds}};
  for (int i = 1; i < argc; ++i) {
    const auto text = texts.find(argv[i]);
    if (std::string(argv[i]) == "--quick") {
      options.quick = true;
    } else if (text != texts.end() && i + 1 < argc) {
      *text->second = argv[++i];
    } else {
      std::fprintf(stderr,
                   "usage: %s [--quick] [--rounds N] [--json FILE] [--dir DIRECTORY]\n"
                   "       [--only GROUP[/WORKLOAD],...] [--competitor NAME]\n",
                   argv[0]);
      std::exit(2);
    }
  }
  if (rounds.empty()) rounds = options.quick ? "3" : "15";
  options.rounds = std::max(1, std::stoi(rounds));
  return options;
}

bool Options::wants(const std::string& group) const {
  return wants(group, "") || (',' + only).find(',' + group + '/') != std::string::npos;
}

// Names of workloads contain commas, which the search takes as they are.
bool Options::wants(const std::string& group, const std::string& workload) const {
  const auto names = [list = ',' + only + ','](const std::string& name) {
    return list.find(',' + name + ',') != std::string::npos;
  };
  return only.empty() || names(group) || names(group + '/' + workload);
}

}  // namespace bench
