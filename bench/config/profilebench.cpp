// ProfileReader against inih and Boost's property tree: the same file and the same three keys.
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
#include <vector>

#include "config/profilereader.h"

namespace {

// A temporary property file with this many lines, the three wanted keys spread over it.
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
    state.SkipWithError("missed one of the three keys");
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
      // Keys have dots in them; another separator keeps them from being taken as paths.
      kept = tree.get<std::string>(boost::property_tree::ptree::path_type(key, '\n'), kept);
    }
  }
  Check(state, found);
}

// The floor: read the file and search it for line ends, nothing else.
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
      state.SkipWithError("missed some lines");
    }
  }
}

BENCHMARK(ReadByProfileReader)->Arg(100000)->Arg(81)->Unit(benchmark::kMicrosecond);
BENCHMARK(ReadByInih)->Arg(100000)->Arg(81)->Unit(benchmark::kMicrosecond);
BENCHMARK(ReadByPropertyTree)->Arg(100000)->Arg(81)->Unit(benchmark::kMicrosecond);
BENCHMARK(ReadAndCountLines)->Arg(100000)->Arg(81)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
