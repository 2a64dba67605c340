// What an agent must do with which mail: the file of `quorvex conform --expect`.
//
//     [[mail]]
//     file = "secret.eml"      # relative to this file's folder
//     must_be = "blocked"      # or "sent", or "tagged"
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tools {

struct Expectation {
  std::string file;     // the path, UTF-8
  std::string outcome;  // "blocked", "sent" or "tagged"
  std::uint32_t line = 0;
};

struct ExpectationFile {
  std::vector<Expectation> mails;
  std::vector<std::string> mistakes;  // "path:line:column: what is wrong"; empty if it can be used
};

// Reads the text of such a file (TOML 1.0, UTF-8). `path` is its path, for messages and for the
// mails' folder. A mail that doesn't exist is a mistake, and so is a file without mails.
ExpectationFile ParseExpectations(const std::string& path, std::string_view text);

}  // namespace tools
