#include "tools/shell/manual.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <sstream>

#include "platform/scoped_file.h"
#include "tools/command_error.h"

namespace corvane::tools {
namespace {

/// Returns the text with everything escaped that roff would not print as it is.
std::string roff(const std::string& text) {
  std::string escaped;
  bool isLineStart = true;
  for (const char character : text) {
    if (isLineStart && (character == '.' || character == '\'')) escaped += "\\&";
    isLineStart = character == '\n';
    if (character == '\\') {
      escaped += "\\e";
    } else if (character == '-') {
      escaped += "\\-";
    } else {
      escaped += character;
    }
  }
  return escaped;
}

std::string replaced(std::string text, char from, char to) {
  std::ranges::replace(text, from, to);
  return text;
}

std::vector<const CLI::App*> commandsOf(const CLI::App& command) {
  return command.get_subcommands([](const CLI::App* inner) { return !inner->get_group().empty(); });
}

/// Returns the options, or the positional arguments.
std::vector<const CLI::Option*> optionsOf(const CLI::App& command, bool isPositional) {
  return command.get_options([isPositional](const CLI::Option* option) {
    return option->get_positional() == isPositional && !option->get_group().empty();
  });
}

std::string synopsis(const CLI::App& command, const std::string& path) {
  std::string line = "\\fB" + roff(path) + "\\fR";
  if (!optionsOf(command, false).empty()) line += " [\\fIOPTIONS\\fR]";
  for (const CLI::Option* argument : optionsOf(command, true)) {
    const std::string name = "\\fI" + roff(argument->get_name()) + "\\fR";
    line += argument->get_required() ? " " + name : " [" + name + "]";
  }
  if (!commandsOf(command).empty()) {
    line += command.get_require_subcommand_min() > 0 ? " \\fICOMMAND\\fR" : " [\\fICOMMAND\\fR]";
  }
  return line;
}

void printOptions(std::ostream& page, const CLI::App& command, bool isPositional) {
  const std::vector<const CLI::Option*> options = optionsOf(command, isPositional);
  if (options.empty()) return;
  page << ".SH " << (isPositional ? "ARGUMENTS" : "OPTIONS") << "\n";
  for (const CLI::Option* option : options) {
    page << ".TP\n\\fB" << roff(option->get_name(isPositional, true)) << "\\fR";
    const std::string value = option->get_type_name();
    if (!isPositional && option->get_items_expected_max() > 0 && !value.empty()) {
      page << " \\fI" << roff(value) << "\\fR";
    }
    page << "\n" << roff(option->get_description()) << "\n";
  }
}

void printPage(std::ostream& page, const CLI::App& command, const std::string& path,
               const std::string& version) {
  std::string title = replaced(path, ' ', '-');
  std::ranges::transform(title, title.begin(), [](unsigned char c) { return std::toupper(c); });
  page << ".TH \"" << roff(title) << "\" \"1\" \"\" \"" << roff(version) << "\" \"\"\n"
       << ".SH NAME\n"
       << roff(replaced(path, ' ', '-')) << " \\- " << roff(command.get_description()) << "\n"
       << ".SH SYNOPSIS\n"
       << synopsis(command, path) << "\n";
  printOptions(page, command, true);
  printOptions(page, command, false);
  const std::vector<const CLI::App*> commands = commandsOf(command);
  if (!commands.empty()) {
    page << ".SH COMMANDS\n";
    for (const CLI::App* inner : commands) {
      page << ".TP\n.BR " << roff(replaced(path, ' ', '-') + "-" + inner->get_name()) << " (1)\n"
           << roff(inner->get_description()) << "\n";
    }
  }
  if (!command.get_footer().empty()) {
    page << ".SH NOTES\n.nf\n" << roff(command.get_footer()) << "\n.fi\n";
  }
}

void writePages(const CLI::App& command, const std::string& path, const std::string& version,
                const std::filesystem::path& folder) {
  const std::filesystem::path file = folder / (replaced(path, ' ', '-') + ".1");
  std::ostringstream page;
  printPage(page, command, path, version);
  const ScopedFile output(std::fopen(file.c_str(), "we"));
  if (!output || std::fputs(page.str().c_str(), output.get()) < 0 || std::fflush(output.get())) {
    throw CommandError(kFailed, file.string() + " cannot be written");
  }
  for (const CLI::App* inner : commandsOf(command)) {
    writePages(*inner, path + " " + inner->get_name(), version, folder);
  }
}

}  // namespace

void writeManual(const CLI::App& app, const std::filesystem::path& folder) {
  writePages(app, app.get_name(), app.version(), folder);
}

}  // namespace corvane::tools
