// The property file against inih and boost's property tree, and the table of settings against the
// standard hash map. The same file and the same three wanted keys for each reader.
#include <benchmark/benchmark.h>
#include <ini.h>

#include <boost/property_tree/ini_parser.hpp>
#include <boost/property_tree/ptree.hpp>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "config/configkeytable.h"
#include "config/profilereader.h"

namespace {

// A property file of so many lines in the agent's manner, with the keys that the add-in wants
// spread over it. Removed at the end.
class ProfileFile {
 public:
  explicit ProfileFile(int lines)
      : m_path(std::filesystem::temp_directory_path() /
               ("profilebench." + std::to_string(std::random_device()()) + ".pro")) {
    std::ofstream file(m_path, std::ios::binary);
    for (int line = 0; line < lines; ++line) {
      if (line == lines / 3) {
        file << "x_name = X-Quorvex-Sensitive\r\n";
      } else if (line == lines / 2) {
        file << "x_value=tagged by the agent\r\n";
      } else if (line == lines - 2) {
        file << "use_challenge_response=true\r\n";
      } else {
        file << "agent.setting." << line << " = value of the setting " << line * 7919L << "\r\n";
      }
    }
  }
  ~ProfileFile() { std::filesystem::remove(m_path); }

  ProfileFile(const ProfileFile&) = delete;
  ProfileFile& operator=(const ProfileFile&) = delete;

  std::string Path() const { return m_path.string(); }

 private:
  std::filesystem::path m_path;
};

ProfileMap Wanted() {
  return {{"use_challenge_response", "false"}, {"x_name", ""}, {"x_value", ""}};
}

void Check(benchmark::State& state, const ProfileMap& found) {
  if (found.at("use_challenge_response") != "true" || found.at("x_name") != "X-Quorvex-Sensitive" ||
      found.at("x_value") != "tagged by the agent") {
    state.SkipWithError("the reader did not find the three keys");
  }
}

void ReadByProfileReader(benchmark::State& state) {
  const ProfileFile file(static_cast<int>(state.range(0)));
  const std::string path = file.Path();
  ProfileMap found;
  for (auto _ : state) {
    found = Wanted();
    benchmark::DoNotOptimize(ProfileReader(path, found));
  }
  Check(state, found);
}

int TakeIfWanted(void* user, const char* /*section*/, const char* name, const char* value) {
  ProfileMap& found = *static_cast<ProfileMap*>(user);
  for (auto& [key, kept] : found) {
    if (key == name) {
      kept = value;
    }
  }
  return 1;
}

void ReadByInih(benchmark::State& state) {
  const ProfileFile file(static_cast<int>(state.range(0)));
  const std::string path = file.Path();
  ProfileMap found;
  for (auto _ : state) {
    found = Wanted();
    benchmark::DoNotOptimize(ini_parse(path.c_str(), TakeIfWanted, &found));
  }
  Check(state, found);
}

void ReadByPropertyTree(benchmark::State& state) {
  const ProfileFile file(static_cast<int>(state.range(0)));
  const std::string path = file.Path();
  ProfileMap found;
  for (auto _ : state) {
    found = Wanted();
    boost::property_tree::ptree tree;
    boost::property_tree::read_ini(path, tree);
    for (auto& [key, kept] : found) {
      // The keys have dots in them, so they must not be taken for paths.
      kept = tree.get<std::string>(boost::property_tree::ptree::path_type(key, '\n'), kept);
    }
  }
  Check(state, found);
}

// What no reader can be faster than: the bytes brought into memory and looked at once, by the
// library's own search.
void ReadAndCountLines(benchmark::State& state) {
  const ProfileFile file(static_cast<int>(state.range(0)));
  const std::string path = file.Path();
  std::vector<char> chunk(32 * 1024);
  for (auto _ : state) {
    std::FILE* const stream = std::fopen(path.c_str(), "rb");
    std::setvbuf(stream, nullptr, _IONBF, 0);
    std::size_t lines = 0;
    for (std::size_t read; (read = std::fread(chunk.data(), 1, chunk.size(), stream)) != 0;) {
      const char* from = chunk.data();
      const char* const end = from + read;
      while (from != end) {
        const auto* found =
            static_cast<const char*>(std::memchr(from, '\n', static_cast<std::size_t>(end - from)));
        lines += found != nullptr;
        from = found != nullptr ? found + 1 : end;
      }
    }
    std::fclose(stream);
    if (lines != static_cast<std::size_t>(state.range(0))) {
      state.SkipWithError("not all lines were seen");
    }
  }
}

BENCHMARK(ReadByProfileReader)->Arg(100000)->Arg(81)->Unit(benchmark::kMicrosecond);
BENCHMARK(ReadByInih)->Arg(100000)->Arg(81)->Unit(benchmark::kMicrosecond);
BENCHMARK(ReadByPropertyTree)->Arg(100000)->Arg(81)->Unit(benchmark::kMicrosecond);
BENCHMARK(ReadAndCountLines)->Arg(100000)->Arg(81)->Unit(benchmark::kMicrosecond);

// Every key of the table once, and as many that it doesn't have.
std::vector<std::string> LookedUp() {
  std::vector<std::string> keys;
  for (const ConfigKey& row : g_configKeyTable) {
    keys.emplace_back(row.internalKey);
    keys.emplace_back(row.publicKey);
  }
  return keys;
}

void LookUpInConfigKeyTable(benchmark::State& state) {
  const std::vector<std::string> keys = LookedUp();
  std::size_t found = 0;
  for (auto _ : state) {
    for (const std::string& key : keys) {
      const ConfigKey* const row = g_configKeyTable.Find(key);
      benchmark::DoNotOptimize(row);
      found += row != nullptr;
    }
  }
  benchmark::DoNotOptimize(found);
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(keys.size()));
}

void LookUpInUnorderedMap(benchmark::State& state) {
  const std::vector<std::string> keys = LookedUp();
  std::unordered_map<std::string, std::pair<std::string, std::string>> map;
  for (const ConfigKey& row : g_configKeyTable) {
    map.emplace(row.internalKey, std::pair(row.publicKey, row.pattern));
  }
  std::size_t found = 0;
  for (auto _ : state) {
    for (const std::string& key : keys) {
      const auto row = map.find(key);
      benchmark::DoNotOptimize(row);
      found += row != map.end();
    }
  }
  benchmark::DoNotOptimize(found);
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(keys.size()));
}

BENCHMARK(LookUpInConfigKeyTable);
BENCHMARK(LookUpInUnorderedMap);

}  // namespace

BENCHMARK_MAIN();
