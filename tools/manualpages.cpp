// The manual pages of commandpages.h.
#include <algorithm>
#include <sstream>
#include <string_view>

#include "tools/commandpages.h"
#include "tools/optionwords.h"

namespace tools {

namespace {

// `text` so that groff shows exactly these characters.
std::string Escaped(const std::string& text) {
  std::string escaped;
  for (const char c : text) {
    switch (c) {
      case '\\':
        escaped += "\\e";
        break;
      case '-':
        escaped += "\\-";
        break;
      case '\'':
        escaped += "\\(aq";
        break;
      case '`':
        escaped += "\\(ga";
        break;
      case '^':
        escaped += "\\(ha";
        break;
      case '~':
        escaped += "\\(ti";
        break;
      case '\n':
        escaped += ' ';
        break;
      default:
        escaped += c;
    }
  }
  // A dot at the beginning of a line would be a request.
  return escaped.starts_with('.') ? "\\&" + escaped : escaped;
}

std::string Bold(const std::string& text) {
  return "\\fB" + Escaped(text) + "\\fR";
}

std::string Italic(const std::string& text) {
  return "\\fI" + Escaped(text) + "\\fR";
}

struct Example {
  std::string command;
  std::string explanation;
};

// A command's footer, whose parts have sections of their own in a manual page.
struct Footer {
  std::vector<std::string> paragraphs;
  std::vector<Example> examples;
  std::string exitStatus;
};

// "  command    explanation", or a line indented further, which continues the one before.
void AddExampleLine(const std::string& line, std::vector<Example>* examples) {
  const std::size_t begin = line.find_first_not_of(' ');
  if (begin > 2 && !examples->empty()) {
    std::string& explanation = examples->back().explanation;
    explanation += (explanation.empty() ? "" : " ") + line.substr(begin);
    return;
  }
  const std::size_t gap = line.find("  ", begin);
  Example example = {line.substr(begin, gap - begin), ""};
  if (gap != std::string::npos) example.explanation = line.substr(line.find_first_not_of(' ', gap));
  examples->push_back(example);
}

Footer FooterOf(const Command& command) {
  constexpr std::string_view kExitStatus = "Exit status: ";
  Footer footer;
  std::istringstream lines(command.footer);
  enum { kBetween, kInText, kInExamples, kInExitStatus } part = kBetween;
  for (std::string line; std::getline(lines, line);) {
    if (line.empty()) {
      part = kBetween;
    } else if (line == "Examples:" || line == "Example:") {
      part = kInExamples;
    } else if (line.starts_with(kExitStatus)) {
      part = kInExitStatus;
      footer.exitStatus = line.substr(kExitStatus.size());
    } else if (part == kInExamples) {
      AddExampleLine(line, &footer.examples);
    } else if (part == kInExitStatus) {
      footer.exitStatus += " " + line;
    } else if (part == kInText) {
      footer.paragraphs.back() += " " + line;
    } else {
      part = kInText;
      footer.paragraphs.push_back(line);
    }
  }
  return footer;
}

std::string Sentence(const std::string& text) {
  return text.empty() || text.ends_with('.') ? text : text + ".";
}

std::string OptionEntry(const Option& option) {
  std::string tag;
  for (const std::string& name : OptionNames(option)) {
    tag += (tag.empty() ? "" : ", ") + (IsPositional(option) ? Italic(name) : Bold(name));
  }
  const std::string value = ValueName(option);
  if (!IsPositional(option) && !value.empty()) tag += " " + Italic(value);
  std::string text = Escaped(Sentence(option.help));
  if (!option.oneOf.empty()) text += " One of: " + Escaped(Joined(option.oneOf, ", ")) + ".";
  const std::string byDefault = ShownDefault(option);
  if (!byDefault.empty()) text += " The default is " + Escaped(byDefault) + ".";
  if (!option.excludes.empty()) {
    text += " Can\\(aqt be used with " + Escaped(option.excludes) + ".";
  }
  return ".TP\n" + tag + "\n" + text + "\n";
}

std::string Synopsis(const Command& command, const std::string& name) {
  std::string text = Bold(name);
  if (!command.subcommands.empty()) return text + " " + Italic("COMMAND") + " ...\n";
  text += " [" + Italic("OPTION") + "]...";
  for (const Option& option : command.options) {
    if (option.hidden) continue;
    if (!IsPositional(option)) continue;
    const std::string word = Italic(option.name) + (IsRepeatable(option) ? "..." : "");
    text += option.required ? " " + word : " [" + word + "]";
  }
  return text + "\n";
}

std::string PageName(const std::string& command) {
  std::string name = command;
  std::replace(name.begin(), name.end(), ' ', '-');
  return name;
}

std::string Options(const Command& command) {
  std::string text;
  for (const Option& option : command.options) {
    if (option.hidden) continue;
    if (IsPositional(option)) text += OptionEntry(option);
  }
  for (const Option& option : command.options) {
    if (option.hidden) continue;
    if (!IsPositional(option)) text += OptionEntry(option);
  }
  text += ".TP\n" + Bold("-h") + ", " + Bold("--help") + "\nPrint the help and exit.\n";
  if (!command.version.empty()) {
    text += ".TP\n" + Bold("--version") + "\nPrint the version and exit.\n";
  }
  return text;
}

std::string Page(const Command& command, const std::string& name, const std::string& version,
                 const std::string& seeAlso) {
  const Footer footer = FooterOf(command);
  std::string upper = PageName(name);
  for (char& c : upper) c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  std::string text = ".TH " + Escaped(upper) + " 1 \"\" \"" + Escaped(version) + "\"\n";
  // Commands must not be hyphenated, or their words set apart to fill the line.
  text += ".nh\n.ad l\n";
  text += ".SH NAME\n" + Escaped(PageName(name)) + " \\- " + Escaped(command.summary) + "\n";
  text += ".SH SYNOPSIS\n" + Synopsis(command, name);
  if (!footer.paragraphs.empty()) text += ".SH DESCRIPTION\n";
  for (const std::string& paragraph : footer.paragraphs) {
    text += (&paragraph == &footer.paragraphs.front() ? "" : ".PP\n") + Escaped(paragraph) + "\n";
  }
  if (!command.subcommands.empty()) text += ".SH COMMANDS\n";
  for (const Command& part : command.subcommands) {
    text += ".TP\n" + Bold(name + " " + part.name) + "\n" + Escaped(Sentence(part.summary)) + "\n";
  }
  text += ".SH OPTIONS\n" + Options(command);
  if (!footer.examples.empty()) text += ".SH EXAMPLES\n";
  for (const Example& example : footer.examples) {
    text += (example.explanation.empty() ? ".PP\n" : ".TP\n") + Bold(example.command) + "\n";
    if (!example.explanation.empty()) text += Escaped(example.explanation) + "\n";
  }
  if (!footer.exitStatus.empty()) {
    text += ".SH EXIT STATUS\n" + Escaped(footer.exitStatus) + "\n";
  }
  return text + ".SH SEE ALSO\n" + seeAlso + "\n";
}

// The other pages that this one refers to: those of its parts, and the one it is part of.
void AddPages(const Command& command, const std::string& name, const std::string& parent,
              const std::string& version, std::vector<ManualPage>* pages) {
  std::vector<std::string> others;
  if (!parent.empty()) others.push_back(Bold(PageName(parent)) + "(1)");
  for (const Command& part : command.subcommands) {
    others.push_back(Bold(PageName(name + " " + part.name)) + "(1)");
  }
  pages->push_back({PageName(name), Page(command, name, version, Joined(others, ",\n"))});
  for (const Command& part : command.subcommands) {
    AddPages(part, name + " " + part.name, name, version, pages);
  }
}

}  // namespace

std::vector<ManualPage> ManualPages(const Command& program) {
  std::vector<ManualPage> pages;
  AddPages(program, program.name, "", program.name + " " + program.version, &pages);
  return pages;
}

}  // namespace tools
