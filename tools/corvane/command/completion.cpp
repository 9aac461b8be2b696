#include "corvane/command/completion.h"

#include <fmt/format.h>

#include <functional>
#include <string_view>
#include <vector>

namespace corvane::tools {
namespace {

// "wireshark install": a command's words without the program's name; empty for the program.
[[nodiscard]] std::string WordsOf(const sCommandText& command) {
  const std::size_t blank = command.name.find(' ');
  return blank == std::string::npos ? "" : command.name.substr(blank + 1);
}

void ForEachCommand(const sCommandText& command,
                    const std::function<void(const sCommandText&)>& visit) {
  visit(command);
  for (const sCommandText& below : command.commands) {
    ForEachCommand(below, visit);
  }
}

void ForEachOption(const sCommandText& command,
                   const std::function<void(const sOptionText&)>& visit) {
  for (const sOptionGroup& group : command.groups) {
    for (const sOptionText& option : group.options) {
      visit(option);
    }
  }
}

[[nodiscard]] std::vector<std::string> OptionNames(const sCommandText& command) {
  std::vector<std::string> names;
  ForEachOption(command, [&names](const sOptionText& option) {
    names.insert(names.end(), option.names.begin(), option.names.end());
  });
  return names;
}

// What can stand where an argument is wanted: commands, and the choices of arguments.
[[nodiscard]] std::vector<std::string> Words(const sCommandText& command) {
  std::vector<std::string> words;
  for (const sCommandText& below : command.commands) {
    words.push_back(below.Word());
  }
  for (const sOptionText& argument : command.arguments) {
    words.insert(words.end(), argument.choices.begin(), argument.choices.end());
  }
  return words;
}

[[nodiscard]] bool TakesFiles(const sCommandText& command) {
  bool takesFiles = false;
  for (const sOptionText& argument : command.arguments) {
    takesFiles = takesFiles || IsFileName(argument.value);
  }
  return takesFiles;
}

[[nodiscard]] std::string Joined(const std::vector<std::string>& words, std::string_view between) {
  std::string text;
  for (const std::string& word : words) {
    text += text.empty() ? word : std::string(between) + word;
  }
  return text;
}

// 'it''s' for PowerShell. The names here have no quotes for bash to mind: a test sees to it.
[[nodiscard]] std::string Quoted(const std::string& text) {
  std::string quoted = "'";
  for (const char letter : text) {
    quoted += letter == '\'' ? "''" : std::string(1, letter);
  }
  return quoted + "'";
}

// Everything that is not found in the tables is the same for all commands.
constexpr std::string_view kBashHead = R"(# Completion of corvane for bash.
_corvane() {
  local cur=${COMP_WORDS[COMP_CWORD]} option=${COMP_WORDS[COMP_CWORD - 1]} command= word i
  COMPREPLY=()
  # "--format=js" comes as three words.
  if [[ $cur == = ]]; then
    cur=
  elif [[ $option == = && COMP_CWORD -gt 1 ]]; then
    option=${COMP_WORDS[COMP_CWORD - 2]}
  fi
  for ((i = 1; i < COMP_CWORD; i++)); do
    word=${command:+$command }${COMP_WORDS[i]}
    case $word in
)";

constexpr std::string_view kBashTail = R"(  esac
}

_corvane_words() {
  mapfile -t COMPREPLY < <(compgen -W "$1" -- "$2")
}

# Of words with commas between them the last one.
_corvane_list() {
  local before=
  if [[ $2 == *,* ]]; then
    before=${2%,*},
  fi
  mapfile -t COMPREPLY < <(compgen -P "$before" -W "$1" -- "${2##*,}")
  compopt -o nospace 2>/dev/null
}

_corvane_files() {
  mapfile -t COMPREPLY < <(compgen -f -- "$1")
  compopt -o filenames 2>/dev/null
}

complete -F _corvane corvane
)";

// The case of an option that takes a value: one of some words, a file, or what nobody can guess.
[[nodiscard]] std::string BashValue(const sCommandText& command, const sOptionText& option) {
  std::vector<std::string> patterns;
  for (const std::string& name : option.names) {
    patterns.push_back(fmt::format("'{}|{}'", WordsOf(command), name));
  }
  std::string action = "return";
  if (!option.choices.empty()) {
    action = fmt::format("_corvane_{} '{}' \"$cur\"; return",
                         IsList(option.value) ? "list" : "words", Joined(option.choices, " "));
  } else if (IsFileName(option.value)) {
    action = "_corvane_files \"$cur\"; return";
  }
  return fmt::format("    {}) {} ;;\n", Joined(patterns, " | "), action);
}

}  // namespace

std::string BashCompletion(const sCommandText& root) {
  std::string script(kBashHead);
  std::vector<std::string> commands;
  ForEachCommand(root, [&commands](const sCommandText& command) {
    if (!WordsOf(command).empty()) {
      commands.push_back("'" + WordsOf(command) + "'");
    }
  });
  script +=
      fmt::format("      {}) command=$word ;;\n    esac\n  done\n  case \"$command|$option\" in\n",
                  Joined(commands, " | "));
  ForEachCommand(root, [&script](const sCommandText& command) {
    ForEachOption(command, [&script, &command](const sOptionText& option) {
      if (!option.value.empty()) {
        script += BashValue(command, option);
      }
    });
  });
  script += "  esac\n  case \"$command|$cur\" in\n";
  ForEachCommand(root, [&script](const sCommandText& command) {
    script += fmt::format("    '{}|-'*) _corvane_words '{}' \"$cur\" ;;\n", WordsOf(command),
                          Joined(OptionNames(command), " "));
    if (const auto words = Words(command); !words.empty()) {
      script += fmt::format("    '{}|'*) _corvane_words '{}' \"$cur\" ;;\n", WordsOf(command),
                            Joined(words, " "));
    } else if (TakesFiles(command)) {
      script += fmt::format("    '{}|'*) _corvane_files \"$cur\" ;;\n", WordsOf(command));
    }
  });
  return script + std::string(kBashTail);
}

namespace {

// Where the script has nothing to offer PowerShell completes file names by itself.
constexpr std::string_view kPowerShellTail =
    R"(  $words = @($commandAst.CommandElements | Select-Object -Skip 1 |
    Where-Object { $_.Extent.EndOffset -lt $cursorPosition } | ForEach-Object { $_.Extent.Text })
  $command = ''
  foreach ($word in $words) {
    $longer = ($command + ' ' + $word).Trim()
    if ($commands.ContainsKey($longer)) { $command = $longer }
  }
  $here = $commands[$command]
  $last = if ($words.Count -gt 0) { $words[-1] } else { '' }
  $before = ''
  $begun = $wordToComplete
  if ($here.Choices.ContainsKey($last)) {
    $offered = $here.Choices[$last]
    # Of words with commas between them the last one is completed.
    if ($here.Lists -ccontains $last) {
      $before = $begun.Substring(0, $begun.LastIndexOf(',') + 1)
      $begun = $begun.Substring($before.Length)
    }
  } elseif ($wordToComplete.StartsWith('-')) {
    $offered = $here.Options
  } else {
    $offered = $here.Words
  }
  $offered | Where-Object { $_.StartsWith($begun) } | ForEach-Object {
    [System.Management.Automation.CompletionResult]::new($before + $_, $_, 'ParameterValue', $_)
  }
}
)";

[[nodiscard]] std::string PowerShellList(const std::vector<std::string>& words) {
  std::vector<std::string> quoted;
  for (const std::string& word : words) {
    quoted.push_back(Quoted(word));
  }
  return "@(" + Joined(quoted, ", ") + ")";
}

}  // namespace

std::string PowerShellCompletion(const sCommandText& root) {
  std::string script =
      "# Completion of corvane for PowerShell.\n"
      "Register-ArgumentCompleter -Native -CommandName 'corvane', 'corvane.exe' -ScriptBlock {\n"
      "  param($wordToComplete, $commandAst, $cursorPosition)\n"
      "  # PowerShell takes names in any letter case unless it is told not to: -o is not -O.\n"
      "  $commands = New-Object System.Collections.Hashtable ([StringComparer]::Ordinal)\n";
  ForEachCommand(root, [&script](const sCommandText& command) {
    script += fmt::format(
        "  $values = New-Object System.Collections.Hashtable ([StringComparer]::Ordinal)\n");
    std::vector<std::string> lists;
    ForEachOption(command, [&script, &lists](const sOptionText& option) {
      for (const std::string& name : option.names) {
        if (!option.value.empty()) {
          script +=
              fmt::format("  $values[{}] = {}\n", Quoted(name), PowerShellList(option.choices));
        }
        if (IsList(option.value)) {
          lists.push_back(name);
        }
      }
    });
    script += fmt::format(
        "  $commands[{}] = @{{ Choices = $values\n    Options = {}\n    Lists = {}\n"
        "    Words = {} }}\n",
        Quoted(WordsOf(command)), PowerShellList(OptionNames(command)), PowerShellList(lists),
        PowerShellList(Words(command)));
  });
  return script + std::string(kPowerShellTail);
}

}  // namespace corvane::tools
