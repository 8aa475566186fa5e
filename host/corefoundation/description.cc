#include "host/corefoundation/description.h"

#include <CoreFoundation/CFString.h>

#include <array>
#include <cstdio>

#include "host/corefoundation/encoding.h"
#include "host/corefoundation/string.h"
#include "platform/cf_ref.h"

namespace cf {
namespace {

/// Deeper levels are left out of a description, because a collection may hold itself.
constexpr int kMaxDepth = 32;
constexpr size_t kIndentation = 4;

std::u16string describe(const Object& object) {
  std::u16string text;
  if (object.isCollection()) {
    object.appendText(text, {.lines = true});
    return text;
  }
  appendHead(text, object);
  object.appendText(text, {});
  text += u'}';
  return text;
}

}  // namespace

void appendAscii(std::u16string& out, std::string_view text) {
  out.append(text.begin(), text.end());
}

void appendAddress(std::u16string& out, const void* address) {
  std::array<char, 2 + 2 * sizeof(address) + 1> text;
  const int length = std::snprintf(text.data(), text.size(), "0x%jx",
                                   static_cast<uintmax_t>(reinterpret_cast<uintptr_t>(address)));
  appendAscii(out, {text.data(), static_cast<size_t>(length)});
}

void appendHead(std::u16string& out, const Object& object) {
  out += u'<';
  appendAscii(out, object.typeName());
  out += u' ';
  appendAddress(out, &object);
  out += u">{";
}

void appendElement(std::u16string& out, const void* element,
                   CFStringRef (*copyDescription)(const void*), Layout layout) {
  if (copyDescription != nullptr && copyDescription != CFCopyDescription) {
    const corvane::CFRef text(copyDescription(element));
    if (text) out += text.get()->text();
    return;
  }

  const Object* object = liveObject(element);
  if (object == nullptr) return appendAddress(out, element);
  if (layout.depth >= kMaxDepth) {
    out += u"...";
    return;
  }
  object->appendText(out, {.lines = layout.lines, .depth = layout.depth + 1});
}

void appendLine(std::u16string& out, int depth) {
  out += u'\n';
  out.append(kIndentation * static_cast<size_t>(depth), u' ');
}

}  // namespace cf

CFStringRef CFCopyDescription(CFTypeRef object) {
  if (object == nullptr) cf::endProgram("CFCopyDescription", "the object is null");
  return new __CFString(cf::describe(*cf::asObject(object)));
}

void CFShow(CFTypeRef object) {
  std::u16string text = u"(null)";
  if (const auto* shown = cf::asObject(object)) {
    const bool isText = shown->type() == cf::Type::kString;
    text = isText ? static_cast<CFStringRef>(object)->text() : cf::describe(*shown);
  }
  text += u'\n';
  const std::string bytes = *cf::utf8Of(text, '?');
  std::fwrite(bytes.data(), 1, bytes.size(), stderr);
}
