#ifndef CORVANE_TOOLS_PS_TESTING_XML_CHECK_H_
#define CORVANE_TOOLS_PS_TESTING_XML_CHECK_H_

#include <expat.h>

#include <string>

namespace corvane::testing {

/// Returns what keeps the document from being well-formed XML; null when nothing does.
inline const char* xmlError(const std::string& document) {
  const XML_Parser parser = XML_ParserCreate(nullptr);
  const bool isGood =
      XML_Parse(parser, document.data(), static_cast<int>(document.size()), true) == XML_STATUS_OK;
  const char* const error = isGood ? nullptr : XML_ErrorString(XML_GetErrorCode(parser));
  XML_ParserFree(parser);
  return error;
}

}  // namespace corvane::testing

#endif  // CORVANE_TOOLS_PS_TESTING_XML_CHECK_H_
