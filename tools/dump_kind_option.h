#ifndef CORVANE_TOOLS_DUMP_KIND_OPTION_H_
#define CORVANE_TOOLS_DUMP_KIND_OPTION_H_

#include <optional>

#include "tools/command_line.h"
#include "tools/inspect/dump_inspector.h"

namespace corvane::tools {

/// Adds "--as" to a command that takes a raw dump.
inline void addDumpKindOption(Command command, std::optional<DumpKind>& kind) {
  command.choice("--as", kind,
                 "What a raw dump is of: data (control-bit bytes and records) or syscfg (a\n"
                 "configuration area); guessed when not given",
                 std::map<std::string, DumpKind>{{"data", DumpKind::kDiagnosticData},
                                                 {"syscfg", DumpKind::kConfiguration}});
}

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_DUMP_KIND_OPTION_H_
