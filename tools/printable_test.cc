#include "tools/printable.h"

#include <gtest/gtest.h>

namespace corvane::tools {
namespace {

TEST(PrintableTest, WhatATerminalWouldObeyIsShownAsDigits) {
  using namespace std::string_literals;
  const std::pair<std::string, std::string> cases[] = {
      {"plain \\ text\twith tab", "plain \\ text\twith tab"},
      {"\x1b[31m\n\0\x1f\x7f"s, "\\x1b[31m\\x0a\\x00\\x1f\\x7f"},
      {"\u0080\u009b\u009f\u00a0", "\\xc2\\x80\\xc2\\x9b\\xc2\\x9f\u00a0"},
      {"caf\u00e9 \u20ac \U0001F600 \U0010FFFF", "caf\u00e9 \u20ac \U0001F600 \U0010FFFF"},
      {"\x9b\xff", "\\x9b\\xff"},
      {"\xc0\x9b", "\\xc0\\x9b"},
      {"\xe0\x82\x9b", "\\xe0\\x82\\x9b"},
      {"\xed\xa0\x80", "\\xed\\xa0\\x80"},
      {"\xf4\x90\x80\x80", "\\xf4\\x90\\x80\\x80"},
      {"\xe2\x82", "\\xe2\\x82"},
      {"\xe2x\xc3\xa9", "\\xe2x\u00e9"},
  };
  for (const auto& [text, shown] : cases) EXPECT_EQ(printable(text), shown);
}

}  // namespace
}  // namespace corvane::tools
