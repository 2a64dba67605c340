#include "tools/commandpages.h"

#include <filesystem>
#include <fstream>

#include "tools/optionwords.h"

namespace tools {

namespace {

void WriteFile(const std::filesystem::path& path, const std::string& text) {
  std::ofstream file(path, std::ios::binary);
  file << text;
  file.close();
  if (!file) throw CommandError(path.string() + ": can't be written");
}

// A pattern of bash's `case` for the command's options that take a value of this kind, each after
// the command's name: `"quorvex send --rules" | "quorvex send --html"`.
std::string OptionsOfKind(const Command& command, const std::string& name, ValueKind kind) {
  std::string patterns;
  for (const Option& option : command.options) {
    if (option.hidden) continue;
    if (IsPositional(option) || KindOf(option) != kind) continue;
    for (const std::string& word : OptionNames(option)) {
      patterns += (patterns.empty() ? "\"" : " | \"") + name + " " + word + "\"";
    }
  }
  return patterns;
}

void AddValues(const Command& command, const std::string& name, std::string* script) {
  for (const Option& option : command.options) {
    if (option.hidden) continue;
    if (IsPositional(option) || option.oneOf.empty()) continue;
    for (const std::string& word : OptionNames(option)) {
      *script +=
          "    \"" + name + " " + word + "\") words=\"" + Joined(option.oneOf, " ") + "\" ;;\n";
    }
  }
  const std::string files = OptionsOfKind(command, name, ValueKind::kFile);
  if (!files.empty()) *script += "    " + files + ") files=yes ;;\n";
  const std::string others = OptionsOfKind(command, name, ValueKind::kOther);
  if (!others.empty()) *script += "    " + others + ") return ;;\n";
  for (const Command& part : command.subcommands) AddValues(part, name + " " + part.name, script);
}

// One line for each command: what may follow where no option's value is expected.
void AddWords(const Command& command, const std::string& name, std::string* script) {
  std::vector<std::string> words;
  std::vector<std::string> options = {"-h", "--help"};
  bool takesFiles = false;
  for (const Command& part : command.subcommands) words.push_back(part.name);
  for (const Option& option : command.options) {
    if (option.hidden) continue;
    if (!IsPositional(option)) {
      for (const std::string& word : OptionNames(option)) options.push_back(word);
    } else if (KindOf(option) == ValueKind::kFile) {
      takesFiles = true;
    }
  }
  if (!command.version.empty()) options.push_back("--version");
  *script += "        \"" + name + "\") words=\"" + Joined(words, " ") + "\" options=\"" +
             Joined(options, " ") + "\"" + (takesFiles ? " files=yes" : "") + " ;;\n";
  for (const Command& part : command.subcommands) AddWords(part, name + " " + part.name, script);
}

void AddPaths(const Command& command, const std::string& name, std::string* patterns) {
  for (const Command& part : command.subcommands) {
    const std::string path = name + " " + part.name;
    *patterns += (patterns->empty() ? "\"" : " | \"") + path + "\"";
    AddPaths(part, path, patterns);
  }
}

}  // namespace

std::string BashCompletion(const Command& program) {
  const std::string function = "_" + program.name;
  std::string paths;
  AddPaths(program, program.name, &paths);
  std::string script = "# Completes the words after `" + program.name +
                       "` in bash. Made from the program's own description of its commands.\n" +
                       function +
                       "() {\n"
                       "  local current=${COMP_WORDS[COMP_CWORD]} at=$((COMP_CWORD - 1)) i\n"
                       "  local path=" +
                       program.name +
                       " words=\"\" options=\"\" files=\"\"\n"
                       "  # bash takes --option=value for three words.\n"
                       "  if [[ $current == \"=\" ]]; then\n"
                       "    current=\"\"\n"
                       "  elif [[ ${COMP_WORDS[at]} == \"=\" ]]; then\n"
                       "    at=$((at - 1))\n"
                       "  fi\n"
                       "  for ((i = 1; i < COMP_CWORD; i++)); do\n"
                       "    case \"$path ${COMP_WORDS[i]}\" in\n"
                       "      " +
                       paths +
                       ")\n"
                       "        path=\"$path ${COMP_WORDS[i]}\" ;;\n"
                       "    esac\n"
                       "  done\n"
                       "  COMPREPLY=()\n"
                       "  case \"$path ${COMP_WORDS[at]}\" in\n";
  AddValues(program, program.name, &script);
  script +=
      "    *)\n"
      "      case \"$path\" in\n";
  AddWords(program, program.name, &script);
  script +=
      "      esac\n"
      "      if [[ $current == -* ]]; then words=$options files=\"\"; fi ;;\n"
      "  esac\n"
      "  mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$current\")\n"
      "  if [[ -n $files ]]; then compopt -o default; fi\n"
      "}\n"
      "complete -F " +
      function + " " + program.name + "\n";
  return script;
}

void WritePages(const Command& program, const std::string& folder) {
  const std::filesystem::path top(folder);
  std::error_code error;
  std::filesystem::create_directories(top / "man1", error);
  if (!error) std::filesystem::create_directories(top / "completions", error);
  if (error) throw CommandError(folder + ": " + error.message());
  for (const ManualPage& page : ManualPages(program)) {
    WriteFile(top / "man1" / (page.name + ".1"), page.text);
  }
  WriteFile(top / "completions" / program.name, BashCompletion(program));
}

}  // namespace tools
