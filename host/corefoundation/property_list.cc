#include <CoreFoundation/CFPropertyList.h>
#include <plist/plist.h>

#include <cmath>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <memory>
#include <optional>
#include <string>

#include "host/corefoundation/collections.h"
#include "host/corefoundation/data.h"
#include "host/corefoundation/encoding.h"
#include "host/corefoundation/neutral_locale.h"
#include "host/corefoundation/property_list_safety.h"
#include "host/corefoundation/scalars.h"
#include "host/corefoundation/string.h"
#include "platform/cf_ref.h"

namespace cf {
namespace {

using corvane::CFRef;

struct FreeNode {
  void operator()(plist_t node) const { plist_free(node); }
};
using Node = std::unique_ptr<void, FreeNode>;

struct FreeMemory {
  void operator()(void* memory) const { std::free(memory); }
};
using Memory = std::unique_ptr<char, FreeMemory>;

constexpr const char* kDateFormat = "%Y-%m-%dT%H:%M:%SZ";

Node nodeFromXml(const std::string& xml) {
  plist_t node = nullptr;
  plist_from_xml(xml.data(), static_cast<uint32_t>(xml.size()), &node);
  return Node(node);
}

/// Returns the text between the tags of a node that is not a collection.
std::string nodeText(plist_t node, const std::string& tag) {
  char* xml = nullptr;
  uint32_t length = 0;
  plist_to_xml(node, &xml, &length);
  const Memory owner(xml);
  const std::string_view all(xml, length);
  const std::string opening = '<' + tag + '>';
  const size_t start = all.find(opening);
  if (start == all.npos) return {};
  const std::string_view text = all.substr(start + opening.size());
  return std::string(text.substr(0, text.find('<')));
}

CFTypeRef newString(std::string_view utf8) {
  const auto text = decode(utf8, kCFStringEncodingUTF8);
  return text ? new __CFString(*text) : nullptr;
}

CFTypeRef readInteger(plist_t node) {
  uint64_t value = 0;
  plist_get_uint_val(node, &value);
  // Only the node's text distinguishes the upper half of the unsigned range from negative numbers.
  const bool high = static_cast<int64_t>(value) < 0;
  if (high && !nodeText(node, "integer").starts_with('-')) return new __CFNumber(value);
  return new __CFNumber(static_cast<int64_t>(value));
}

CFTypeRef readDate(plist_t node) {
  int32_t seconds = 0;
  int32_t microseconds = 0;
  plist_get_date_val(node, &seconds, &microseconds);
  if (seconds != std::numeric_limits<int32_t>::min()) {
    const double fraction = microseconds / 1e6;
    return new __CFDate(seconds < 0 ? seconds - fraction : seconds + fraction);
  }

  // The node holds a date outside the range of its 32 bits.
  tm parts{};
  if (strptime(nodeText(node, "date").c_str(), kDateFormat, &parts) == nullptr) return nullptr;
  return new __CFDate(static_cast<double>(timegm(&parts) - kDateEpoch));
}

CFRef<CFTypeRef> read(plist_t node);

CFTypeRef readArray(plist_t node) {
  CFRef<CFMutableArrayRef> array(new __CFArray(&kCFTypeArrayCallBacks));
  plist_array_iter iterator = nullptr;
  plist_array_new_iter(node, &iterator);
  const std::unique_ptr<void, FreeMemory> owner(iterator);
  plist_t item = nullptr;
  for (;;) {
    plist_array_next_item(node, iterator, &item);
    if (item == nullptr) return array.release();
    const CFRef<CFTypeRef> value = read(item);
    if (!value) return nullptr;
    array.get()->append(value.get());
  }
}

CFTypeRef readDictionary(plist_t node) {
  CFRef<CFMutableDictionaryRef> dictionary(
      new __CFDictionary(&kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
  plist_dict_iter iterator = nullptr;
  plist_dict_new_iter(node, &iterator);
  const std::unique_ptr<void, FreeMemory> owner(iterator);
  for (;;) {
    char* name = nullptr;
    plist_t item = nullptr;
    plist_dict_next_item(node, iterator, &name, &item);
    const Memory nameOwner(name);
    if (item == nullptr) return dictionary.release();
    const CFRef<CFTypeRef> key(newString(name));
    const CFRef<CFTypeRef> value = read(item);
    if (!key || !value) return nullptr;
    dictionary.get()->set(key.get(), value.get());
  }
}

CFTypeRef readNode(plist_t node) {
  switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
      uint8_t value = 0;
      plist_get_bool_val(node, &value);
      return value != 0 ? kCFBooleanTrue : kCFBooleanFalse;
    }
    case PLIST_UINT:
      return readInteger(node);
    case PLIST_REAL: {
      double value = 0;
      plist_get_real_val(node, &value);
      return new __CFNumber(value);
    }
    case PLIST_STRING: {
      uint64_t length = 0;
      const char* text = plist_get_string_ptr(node, &length);
      return newString({text, length});
    }
    case PLIST_DATA: {
      uint64_t length = 0;
      const char* bytes = plist_get_data_ptr(node, &length);
      return __CFData::create({reinterpret_cast<const uint8_t*>(bytes), length});
    }
    case PLIST_DATE:
      return readDate(node);
    case PLIST_ARRAY:
      return readArray(node);
    case PLIST_DICT:
      return readDictionary(node);
    default:
      return nullptr;
  }
}

CFRef<CFTypeRef> read(plist_t node) { return CFRef<CFTypeRef>(readNode(node)); }

/// Returns the text as UTF-8, or nothing when a property list cannot hold it because it is not
/// well-formed or contains a zero.
std::optional<std::string> listText(const __CFString& string) {
  auto text = utf8Of(string.text(), 0);
  if (!text || text->find('\0') != std::string::npos) return {};
  return text;
}

plist_t writeNumber(const __CFNumber& number) {
  if (number.isReal()) return plist_new_real(number.real());
  // A negative number and one above the signed range have the same bits; only a node's text tells
  // them apart in each version of the library.
  const int64_t value = number.integer();
  if (value >= 0) return plist_new_uint(static_cast<uint64_t>(value));
  const bool isUnsigned = number.form() == __CFNumber::Form::kUInt64;
  const std::string digits =
      isUnsigned ? std::to_string(static_cast<uint64_t>(value)) : std::to_string(value);
  return nodeFromXml("<integer>" + digits + "</integer>").release();
}

plist_t writeDate(CFAbsoluteTime at) {
  const double seconds = std::floor(at);
  if (std::fabs(seconds) < std::numeric_limits<int32_t>::max()) {
    return plist_new_date(static_cast<int32_t>(seconds),
                          static_cast<int32_t>((at - seconds) * 1e6));
  }

  // A year in a property list has at most four digits.
  constexpr double kMaxSeconds = 252423993600;
  if (!(std::fabs(seconds) < kMaxSeconds)) return nullptr;
  const time_t time = static_cast<time_t>(seconds) + kDateEpoch;
  tm parts{};
  gmtime_r(&time, &parts);
  char text[64];
  strftime(text, sizeof(text), kDateFormat, &parts);
  return nodeFromXml("<date>" + std::string(text) + "</date>").release();
}

Node write(const Object* object, int depth);

plist_t writeArray(const __CFArray& array, int depth) {
  Node node(plist_new_array());
  for (const void* value : array.values()) {
    Node item = write(liveObject(value), depth + 1);
    if (!item) return nullptr;
    plist_array_append_item(node.get(), item.release());
  }
  return node.release();
}

plist_t writeDictionary(const __CFDictionary& dictionary, int depth) {
  Node node(plist_new_dict());
  for (const auto& [key, value] : dictionary.entries()) {
    const Object* name = liveObject(key);
    if (name == nullptr || name->type() != Type::kString) return nullptr;
    const auto text = listText(*static_cast<const __CFString*>(name));
    Node item = write(liveObject(value), depth + 1);
    if (!text || !item) return nullptr;
    plist_dict_set_item(node.get(), text->c_str(), item.release());
  }
  return node.release();
}

plist_t writeNode(const Object& object, int depth) {
  switch (object.type()) {
    case Type::kBoolean:
      return plist_new_bool(static_cast<const __CFBoolean&>(object).value());
    case Type::kNumber:
      return writeNumber(static_cast<const __CFNumber&>(object));
    case Type::kString: {
      const auto text = listText(static_cast<const __CFString&>(object));
      return text ? plist_new_string(text->c_str()) : nullptr;
    }
    case Type::kData: {
      const auto bytes = static_cast<const __CFData&>(object).bytes();
      return plist_new_data(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    }
    case Type::kDate:
      return writeDate(static_cast<const __CFDate&>(object).at());
    case Type::kArray:
      return writeArray(static_cast<const __CFArray&>(object), depth);
    case Type::kDictionary:
      return writeDictionary(static_cast<const __CFDictionary&>(object), depth);
    case Type::kAllocator:
    case Type::kNull:
      break;
  }
  return nullptr;
}

/// Returns the node of `object`, or null when `object` is null or a property list cannot hold it.
Node write(const Object* object, int depth) {
  if (object == nullptr || depth > kMaxPropertyListDepth) return nullptr;
  return Node(writeNode(*object, depth));
}

}  // namespace
}  // namespace cf

CFPropertyListRef CFPropertyListCreateWithData(CFAllocatorRef, CFDataRef data, CFOptionFlags,
                                               CFPropertyListFormat* format, CFErrorRef* error) {
  if (error != nullptr) *error = nullptr;
  if (data == nullptr) return nullptr;
  const cf::NeutralLocale neutral;  // The parser reads reals by the thread's locale.
  const auto bytes = data->bytes();
  std::string_view list(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  if (constexpr std::string_view kMark = "\xEF\xBB\xBF"; list.starts_with(kMark)) {
    list.remove_prefix(kMark.size());
  }
  const bool isBinary = list.starts_with("bplist00");
  if (!(isBinary ? cf::isSoundBinary(list) : cf::isSoundXml(list))) return nullptr;

  plist_t root = nullptr;
  const auto parse = isBinary ? plist_from_bin : plist_from_xml;
  parse(list.data(), static_cast<uint32_t>(list.size()), &root);
  const cf::Node owner(root);
  if (root == nullptr) return nullptr;
  if (format != nullptr) {
    *format = isBinary ? kCFPropertyListBinaryFormat_v1_0 : kCFPropertyListXMLFormat_v1_0;
  }
  return cf::read(root).release();
}

CFDataRef CFPropertyListCreateData(CFAllocatorRef, CFPropertyListRef list,
                                   CFPropertyListFormat format, CFOptionFlags, CFErrorRef* error) {
  if (error != nullptr) *error = nullptr;
  const bool isBinary = format == kCFPropertyListBinaryFormat_v1_0;
  if (!isBinary && format != kCFPropertyListXMLFormat_v1_0) return nullptr;
  const cf::NeutralLocale neutral;
  const cf::Node node = cf::write(cf::asObject(list), 0);
  if (!node) return nullptr;

  char* bytes = nullptr;
  uint32_t length = 0;
  const auto print = isBinary ? plist_to_bin : plist_to_xml;
  print(node.get(), &bytes, &length);
  const cf::Memory owner(bytes);
  if (bytes == nullptr) return nullptr;
  return __CFData::create({reinterpret_cast<const uint8_t*>(bytes), length});
}
