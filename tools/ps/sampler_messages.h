#ifndef CORVANE_TOOLS_PS_SAMPLER_MESSAGES_H_
#define CORVANE_TOOLS_PS_SAMPLER_MESSAGES_H_

#include <cstdio>
#include <string>

namespace corvane::tools {

/// Keeps what is written to standard output while it exists: the library reports there what fails
/// while it samples processes, which is no part of the tool's own output.
class SamplerMessages {
 public:
  /// Throws std::runtime_error when nothing can be kept.
  SamplerMessages();
  ~SamplerMessages();
  SamplerMessages(const SamplerMessages&) = delete;
  SamplerMessages& operator=(const SamplerMessages&) = delete;

  /// The message about the call that ended a pass early; empty when none did.
  std::string endOfPass();

 private:
  std::FILE* _messages;
  int _standardOutput;
};

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_PS_SAMPLER_MESSAGES_H_
