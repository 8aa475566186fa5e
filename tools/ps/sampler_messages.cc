#include "tools/ps/sampler_messages.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "processes/sampler_messages.h"

namespace corvane::tools {

SamplerMessages::SamplerMessages() : _messages(std::tmpfile()) {
  std::fflush(stdout);
  _standardOutput = dup(STDOUT_FILENO);
  if (!_messages || _standardOutput < 0 || dup2(fileno(_messages), STDOUT_FILENO) < 0) {
    throw std::runtime_error(std::string("the sampler's messages cannot be kept: ") +
                             std::strerror(errno));
  }
}

SamplerMessages::~SamplerMessages() {
  std::fflush(stdout);
  dup2(_standardOutput, STDOUT_FILENO);
  close(_standardOutput);
  std::fclose(_messages);
}

std::string SamplerMessages::endOfPass() {
  std::fflush(stdout);
  std::rewind(_messages);
  std::array<char, 512> line;
  while (std::fgets(line.data(), static_cast<int>(line.size()), _messages)) {
    if (isEndOfPass(line.data())) return std::string(textOfMessage(line.data()));
  }
  return {};
}

}  // namespace corvane::tools
