#ifndef CORVANE_UNIT_BOOT_ARGUMENTS_H_
#define CORVANE_UNIT_BOOT_ARGUMENTS_H_

#include <optional>
#include <string>
#include <string_view>

#include "../platform/export.h"
#include "lock.h"

/// The kernel's boot arguments, words separated by blanks. Changes take effect at the next boot.
namespace corvane::unit {

/// The boot arguments before and after a change; absent when they are not set or cannot be read.
struct BootArgumentsChange {
  std::optional<std::string> before;  ///< As they were read.
  std::optional<std::string> after;   ///< As they were read back.
};

/// How a word occurs in a text, found as a removal finds it: left to right, without overlap.
struct Occurrences {
  bool asWord = false;       ///< At least once as a word of its own.
  bool withinWords = false;  ///< At least once within a longer word.
};
/// Returns how `word` occurs in `text`.
CORVANE_EXPORT Occurrences occurrencesOf(std::string_view word, std::string_view text);

/// Returns `word` without white space at its ends. Throws Error (kBadArgument) when it is blank or
/// not UTF-8.
CORVANE_EXPORT std::string trimmedWord(const std::string& word);

/// Returns the boot arguments; nothing when they are not set or cannot be read: neither the library
/// nor the registry tells which.
CORVANE_EXPORT std::optional<std::string> readBootArguments();

/// The three changes read the boot arguments back. They throw Error: kBadArgument for text that is
/// not UTF-8 or a blank word, kAbsent when there are no boot arguments to change, kMismatch when
/// they did not become what was meant.
/// @{

/// Makes `value` the boot arguments under `lock`, and returns the change.
CORVANE_EXPORT BootArgumentsChange setBootArguments(Lock& lock, const std::string& value);
/// Appends a blank and `word`, without white space at its ends, unless the word is there, under
/// `lock`. Returns the change. Refuses, with kFinal, a word that occurs only within other words,
/// which the library would take for it.
CORVANE_EXPORT BootArgumentsChange addBootArgument(Lock& lock, const std::string& word);
/// Removes every occurrence of `word`, also within other words, under `lock`. Returns the change.
/// Blanks next to it stay. kAbsent when it does not occur.
CORVANE_EXPORT BootArgumentsChange removeBootArgument(Lock& lock, const std::string& word);
/// @}

}  // namespace corvane::unit

#endif  // CORVANE_UNIT_BOOT_ARGUMENTS_H_
