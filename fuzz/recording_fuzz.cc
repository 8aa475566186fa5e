#include <expat.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "platform/scoped_file.h"
#include "tools/command_error.h"
#include "tools/ps/ps.h"

using namespace corvane::tools;

namespace {

/// Returns what keeps the document from being well-formed XML; null when nothing does.
const char* xmlError(const std::string& document) {
  const XML_Parser parser = XML_ParserCreate(nullptr);
  const bool isGood =
      XML_Parse(parser, document.data(), static_cast<int>(document.size()), true) == XML_STATUS_OK;
  const char* const error = isGood ? nullptr : XML_ErrorString(XML_GetErrorCode(parser));
  XML_ParserFree(parser);
  return error;
}

}  // namespace

/// Reads the input as lines of `corvane ps`. Checks that it is refused with a message, or that its
/// chart is well-formed XML.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // fmemopen refuses an empty text.
  const corvane::ScopedFile input(size > 0 ? ::fmemopen(const_cast<uint8_t*>(data), size, "r")
                                           : std::fopen("/dev/null", "re"));
  try {
    const std::string chart = plotSvg(input.get(), "input");
    if (const char* const error = xmlError(chart)) {
      std::fprintf(stderr, "%s\n%s\n", error, chart.c_str());
      std::abort();
    }
  } catch (const CommandError&) {
    return 0;
  }
  return 0;
}
