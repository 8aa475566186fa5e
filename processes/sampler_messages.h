#ifndef CORVANE_PROCESSES_SAMPLER_MESSAGES_H_
#define CORVANE_PROCESSES_SAMPLER_MESSAGES_H_

#include <string_view>

/// What the sampler prints on standard output about kernel calls that fail. Its readers recognise
/// the messages by the same definitions.
namespace corvane {

#define CORVANE_ERROR_MARK "[ERROR] "
#define CORVANE_UNNAMED_TASK_CALL "task_name_for_pid"

/// With the call's name and the kernel's text.
inline constexpr char kCallFailed[] = CORVANE_ERROR_MARK "%s(): %s\n";
/// With the call's name, the port's number and the kernel's text.
inline constexpr char kCallOnPortFailed[] = CORVANE_ERROR_MARK "%s(%d): %s\n";
/// With the port's number and the kernel's text. The pass goes on.
inline constexpr char kThreadQueryFailed[] = "thread_info(%d) failed: %s\n";

/// Of the calls in marked messages, only this one does not end the pass.
inline constexpr char kUnnamedTaskCall[] = CORVANE_UNNAMED_TASK_CALL;

/// Returns whether the message says that the pass ended early.
constexpr bool isEndOfPass(std::string_view message) {
  return message.starts_with(CORVANE_ERROR_MARK) &&
         !message.starts_with(CORVANE_ERROR_MARK CORVANE_UNNAMED_TASK_CALL "(");
}

/// Returns the message without its mark and its line feed.
constexpr std::string_view textOfMessage(std::string_view message) {
  constexpr std::string_view kMark = CORVANE_ERROR_MARK;
  if (message.starts_with(kMark)) message.remove_prefix(kMark.size());
  return message.substr(0, message.find('\n'));
}

#undef CORVANE_UNNAMED_TASK_CALL
#undef CORVANE_ERROR_MARK

}  // namespace corvane

#endif  // CORVANE_PROCESSES_SAMPLER_MESSAGES_H_
