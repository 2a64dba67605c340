#include "tools/helptext.h"

#include <sstream>

namespace tools {

constexpr std::size_t kColumns = 80;

std::string HelpText::make_option(const CLI::Option* option, bool isPositional) const {
  return Entry(make_option_name(option, isPositional) + make_option_opts(option),
               make_option_desc(option));
}

std::string HelpText::make_subcommand(const CLI::App* command) const {
  return Entry(command->get_display_name(true), command->get_description());
}

std::string HelpText::Entry(const std::string& name, const std::string& description) const {
  const std::size_t indent = get_column_width();
  std::string text;
  std::string line = "  " + name;
  // A name that reaches into the column of the descriptions has a line of its own.
  if (line.size() + 1 >= indent) {
    text = line + "\n";
    line.clear();
  }
  line.resize(indent, ' ');
  std::istringstream words(description);
  for (std::string word; words >> word;) {
    if (line.size() > indent && line.size() + 1 + word.size() > kColumns) {
      text += line + "\n";
      line.assign(indent, ' ');
    }
    if (line.size() > indent) line += ' ';
    line += word;
  }
  return text + line + "\n";
}

}  // namespace tools
