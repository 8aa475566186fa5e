#include <iostream>
#include <memory>

#include "tools/command_line.h"
#include "tools/inspect/inspect.h"
#include "tools/shell/completion.h"
#include "tools/unit_access.h"
#include "tools/virtual_unit.h"
#include "unit/keys.h"

namespace corvane::tools {
namespace {

// Each shell asks the tool itself, so that what it offers cannot differ from what the tool takes.

constexpr char kBash[] = R"(_corvane() {
  local word
  COMPREPLY=()
  while IFS= read -r word; do
    COMPREPLY+=("$word")
  done < <("${COMP_WORDS[0]}" complete -- "${COMP_WORDS[@]:1:COMP_CWORD}" 2>/dev/null | cut -f1)
}
complete -o bashdefault -o default -F _corvane corvane
)";

constexpr char kZsh[] = R"(#compdef corvane
_corvane() {
  local word about
  local -a found
  while IFS=$'\t' read -r word about; do
    found+=("${word//:/\\:}${about:+:$about}")
  done < <("${words[1]}" complete -- "${(@)words[2,CURRENT]}" 2>/dev/null)
  if (( ${#found} )); then
    _describe corvane found
  else
    _files
  fi
}
if [[ $zsh_eval_context[-1] == loadautofunc ]]; then
  _corvane "$@"
else
  compdef _corvane corvane
fi
)";

constexpr char kFish[] = R"(function __corvane_complete
    set -l words (commandline -opc) (commandline -ct)
    set -l found ($words[1] complete -- $words[2..-1] 2>/dev/null)
    if set -q found[1]
        printf '%s\n' $found
    else
        __fish_complete_path $words[-1]
    end
end
complete -c corvane -f -a '(__corvane_complete)'
)";

/// Returns the keys in the unit's configuration store, as `syscfg` names them; none when they
/// cannot be read.
std::vector<std::string> keysOfUnit() try {
  std::vector<std::string> names;
  if (!hasUnit()) return names;
  requireDataToLook();
  for (const AreaEntry& entry : reportOnArea(unit::readArea()).entries) {
    if (entry.isFound) names.push_back(keyName(entry.key));
  }
  return names;
} catch (const std::exception&) {
  return {};
}

}  // namespace

void addShell(CLI::App& app) {
  using Scripts = std::map<std::string, std::string>;
  const auto script = std::make_shared<std::optional<std::string>>();
  Command completion = Command(app).add("completion", "Print a shell's completion script");
  completion
      .choice("SHELL", *script, "The shell that reads it",
              Scripts{{"bash", kBash}, {"fish", kFish}, {"zsh", kZsh}})
      .required();
  completion.footer("Example, for bash:\n  source <(corvane completion bash)");
  completion.action([script] {
    std::cout << **script;
    return kDone;
  });

  // For the scripts and for the build; not among the commands that --help shows.
  const auto words = std::make_shared<std::vector<std::string>>();
  Command complete = Command(app).add("complete", "Print what the last word can become");
  complete.hide();
  complete.text("WORD", *words, "The command line's words, after --");
  complete.action([&app, words] {
    printCompletions(std::cout, app, *words, keysOfUnit);
    return kDone;
  });

  Command manual = Command(app).add("manual", "Print the manual page");
  manual.hide();
  manual.action([&app] {
    printManual(std::cout, app);
    return kDone;
  });
}

}  // namespace corvane::tools
