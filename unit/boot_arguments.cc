#include "unit/boot_arguments.h"

#include "bootargs/boot_args.h"
#include "bootargs/white_space.h"
#include "platform/printable.h"
#include "platform/text.h"
#include "unit/error.h"
#include "unit/verified_write.h"

namespace corvane::unit {
namespace {

CFRef<CFStringRef> requireText(const std::string& argument) {
  CFRef<CFStringRef> text = textFromUtf8(argument);
  if (text) return text;
  throw Error(Fault::kBadArgument, "'" + printable(argument) + "' is not UTF-8 text");
}

/// Returns the value between quotes, so that blanks at the ends can be seen.
std::string quoted(const std::optional<std::string>& value) {
  return value ? "\"" + printable(*value) + "\"" : "(not set, or cannot be read)";
}

/// Returns a value for a line of the log.
std::string shortened(const std::optional<std::string>& value) {
  constexpr size_t kMaxText = 80;
  std::string text = quoted(value);
  return text.size() <= kMaxText ? text : text.substr(0, kMaxText) + "...";
}

/// Returns the boot arguments, which are to be changed.
std::string requireBootArguments() {
  if (auto value = readBootArguments()) return *std::move(value);
  throw Error(Fault::kAbsent, "boot-args are not set, or cannot be read");
}

/// Reads the boot arguments after a change that should have made them `meant`.
BootArgumentsChange verified(Lock& lock, const std::optional<std::string>& before,
                             const std::string& meant) {
  const auto after = readBootArguments();
  if (!after) {
    throw Error(
        Fault::kUnreadable,
        "boot-args are not set, or cannot be read: whether the change was made is not known",
        Left::kUnknown);
  }
  if (after != meant) {
    throw Error(
        Fault::kMismatch,
        "the change was not made: boot-args are " + quoted(after) + " instead of " + quoted(meant),
        after == before ? Left::kUnchanged : Left::kUnknown);
  }
  lock.addLine("boot-args: " + shortened(before) + " -> " + shortened(after));
  return {before, after};
}

}  // namespace

Occurrences occurrencesOf(std::string_view word, std::string_view text) {
  Occurrences found;
  if (word.empty()) return found;
  const std::string_view blanks = " \t";
  const auto isBlank = [&](char c) { return blanks.find(c) != std::string_view::npos; };
  for (size_t at = 0; (at = text.find(word, at)) != text.npos; at += word.size()) {
    const size_t end = at + word.size();
    const bool startsWord = at == 0 || isBlank(text[at - 1]) || isBlank(word.front());
    const bool endsWord = end == text.size() || isBlank(text[end]) || isBlank(word.back());
    (startsWord && endsWord ? found.asWord : found.withinWords) = true;
  }
  return found;
}

std::string trimmedWord(const std::string& word) {
  std::string bare = utf8Bytes(trimmed(requireText(word).get()).get());
  if (bare.empty()) throw Error(Fault::kBadArgument, "the word is blank");
  return bare;
}

std::optional<std::string> readBootArguments() {
  const CFRef<CFStringRef> value(copyBootArgs());
  if (!value) return {};
  return utf8Bytes(value.get());
}

BootArgumentsChange setBootArguments(Lock& lock, const std::string& value) {
  return logged(lock, [&] {
    const CFRef<CFStringRef> text = requireText(value);
    const auto before = readBootArguments();
    setBootArgs(text.get());
    return verified(lock, before, value);
  });
}

BootArgumentsChange addBootArgument(Lock& lock, const std::string& argument) {
  return logged(lock, [&] {
    const std::string word = trimmedWord(argument);
    const std::string before = requireBootArguments();
    const Occurrences found = occurrencesOf(word, before);
    if (found.withinWords && !found.asWord) {
      throw Error(Fault::kFinal, "nothing is added: '" + printable(word) +
                                     "' occurs within another word of " + quoted(before));
    }
    addBootArg(requireText(word).get());
    return verified(lock, before, found.asWord ? before : before + " " + word);
  });
}

BootArgumentsChange removeBootArgument(Lock& lock, const std::string& word) {
  return logged(lock, [&] {
    const CFRef<CFStringRef> text = requireText(word);
    if (word.empty()) throw Error(Fault::kBadArgument, "the word is empty");
    const std::string before = requireBootArguments();
    std::string meant = before;
    for (size_t at = 0; (at = meant.find(word, at)) != meant.npos;) meant.erase(at, word.size());
    if (meant == before) {
      throw Error(Fault::kAbsent, "nothing is removed: '" + printable(word) +
                                      "' does not occur in " + quoted(before));
    }
    removeBootArg(text.get());
    return verified(lock, before, meant);
  });
}

}  // namespace corvane::unit
