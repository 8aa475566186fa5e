#include "unit/keys.h"

#include <algorithm>
#include <set>
#include <vector>

#include "dataarea/data_sets.h"
#include "dataarea/nor_access.h"
#include "platform/number.h"
#include "syscfg/area_format.h"
#include "syscfg/memory_store.h"
#include "unit/verified_write.h"

namespace corvane::unit {
namespace {

bool isBlank(ByteSpan bytes) {
  if (bytes.empty() || (bytes[0] != 0 && bytes[0] != area::kFreeByte)) return false;
  return std::ranges::all_of(bytes, [&](uint8_t byte) { return byte == bytes[0]; });
}

/// Returns the conditions of a sound header that do not hold.
std::string failedChecks(ByteSpan bytes) {
  if (bytes.size() < area::kHeaderSize) return "it is too short for a header";
  const auto header = area::load<area::Header>(bytes.data());
  std::string failed;
  for (const area::HeaderCheck& check : area::headerChecks()) {
    if (check.holds(header, bytes.size())) continue;
    failed +=
        (failed.empty() ? "its header fails the checks: " : ", ") + std::string(check.condition);
  }
  return failed;
}

/// Returns what is wrong with the entries of an area whose header is sound.
std::string faultOfEntries(ByteSpan bytes, const area::Header& header) {
  std::set<uint32_t> keys;
  // The first byte after a value, in whole words, by the value's offset.
  std::vector<std::pair<size_t, size_t>> values;
  for (size_t index = 0; index < header.count; ++index) {
    const uint8_t* const entry = &bytes[area::entryOffset(index)];
    const uint32_t key = area::keyOf(entry);
    if (!keys.insert(key).second) return "the key " + keyName(key) + " is there twice";
    if (!area::isIndirect(entry)) continue;
    const auto fields = area::load<area::IndirectEntry>(entry);
    if (area::checkValue(fields.offset, fields.length, header.table_end, header.area_size) !=
        area::ValueFault::kNone) {
      return "the value of the key " + keyName(key) + " does not lie between table and end";
    }
    values.emplace_back(fields.offset, fields.offset + area::roundUp(fields.length));
  }
  std::ranges::sort(values);
  for (size_t i = 1; i < values.size(); ++i) {
    if (values[i].first < values[i - 1].second) return "two values overlap";
  }
  return "";
}

std::string nameOf(uint32_t key) { return "key " + keyName(key); }

/// Returns a value for a line of the log.
std::string valueText(const std::optional<Bytes>& value) {
  constexpr size_t kMaxText = 40;
  if (!value) return "none";
  const bool isText =
      std::ranges::all_of(textOf(*value), [](char c) { return c >= ' ' && c <= '~'; });
  std::string text = isText ? "\"" + textOf(*value) + "\"" : "0x" + hexText(*value);
  if (text.size() <= kMaxText) return text;
  return text.substr(0, kMaxText) + "... (" + std::to_string(value->size()) + " bytes)";
}

/// Returns the area to change: the unit's or, where it is damaged and `damaged` says so, a blank
/// one.
Bytes areaToChange(ByteSpan held, Damaged damaged) {
  const std::string damage = damageOf(held);
  if (damage.empty()) return {held.begin(), held.end()};
  if (damaged == Damaged::kFormat) return Bytes(held.size(), area::kFreeByte);
  throw Error(Fault::kDamagedStore,
              "the configuration area's key store is damaged: " + damage + "; nothing was changed");
}

void requireKey(uint32_t key) {
  if (key != area::kIndirectMarker) return;
  throw Error(Fault::kBadArgument, keyName(key) + " marks indirect entries and is not a key");
}

/// Writes the area when it differs from `held`.
KeyChange writeArea(Lock& lock, uint32_t key, ByteSpan held, const MemoryStore& store) {
  KeyChange change{valueIn(held, key), valueIn(store.image(), key)};
  if (std::ranges::equal(held, store.image())) {
    lock.addLine(nameOf(key) + " stays " + valueText(change.after));
    return change;
  }
  writeVerified(lock, {.set = configurationDataSet(),
                       .offset = 0,
                       .before = held,
                       .meant = store.image(),
                       .what = nameOf(key),
                       .line = nameOf(key) + ": " + valueText(change.before) + " -> " +
                               valueText(change.after)});
  return change;
}

}  // namespace

std::string keyName(uint32_t key) {
  std::string name;
  for (int shift = 24; shift >= 0; shift -= 8) name += static_cast<char>(key >> shift & 0xFF);
  if (std::ranges::all_of(name, [](char c) { return c >= ' ' && c <= '~'; }) &&
      !name.starts_with("0x") && !name.starts_with("0X")) {
    return name;
  }
  return hexNumber(key, 8);
}

Bytes readArea() {
  auto bytes = tryRead(configurationDataSet(), 0, kConfigurationAreaSize);
  if (!bytes) throw Error(Fault::kUnreadable, "the configuration area cannot be read");
  return *std::move(bytes);
}

std::string damageOf(std::span<const uint8_t> bytes) {
  if (isBlank(bytes)) return "";
  if (std::string failed = failedChecks(bytes); !failed.empty()) return failed;
  const auto header = area::load<area::Header>(bytes.data());
  if (header.count > area::entryCapacity(bytes.size()) ||
      header.table_end != area::entryOffset(header.count)) {
    return "table_end is " + std::to_string(header.table_end) + ", but count is " +
           std::to_string(header.count);
  }
  return faultOfEntries(bytes, header);
}

std::optional<Bytes> valueIn(std::span<const uint8_t> bytes, uint32_t key) {
  const MemoryStore store(bytes);
  size_t length = 0;
  if (syscfg__read_key(store.get(), key, nullptr, &length) != 0) return std::nullopt;
  Bytes value(length);
  syscfg__read_key(store.get(), key, value.data(), nullptr);
  return value;
}

std::string textOf(std::span<const uint8_t> value) {
  const auto end = std::ranges::find_if(
      value, [](uint8_t byte) { return byte == 0 || byte == area::kFreeByte; });
  return {value.begin(), end};
}

KeyChange writeKey(Lock& lock, uint32_t key, std::span<const uint8_t> value, Damaged damaged) {
  return logged(lock, [&] {
    requireKey(key);
    const Bytes held = readArea();
    const MemoryStore store(areaToChange(held, damaged));
    if (syscfg__add_key(store.get(), key, value.data(), value.size()) != 0) {
      const size_t count = area::claimedCount(store.image().data(), store.image().size());
      const size_t room = area::freeEnd(store.image().data(), count) - area::entryOffset(count);
      throw Error(Fault::kNoRoom, "a value of " + std::to_string(value.size()) + " bytes for " +
                                      nameOf(key) + " does not fit: entry and value can have " +
                                      std::to_string(room) + " bytes; nothing was changed");
    }
    return writeArea(lock, key, held, store);
  });
}

KeyChange deleteKey(Lock& lock, uint32_t key) {
  return logged(lock, [&] {
    requireKey(key);
    const Bytes held = readArea();
    const MemoryStore store(areaToChange(held, Damaged::kRefuse));
    if (syscfg__del_key(store.get(), key) != 0) {
      throw Error(Fault::kAbsent, "there is no " + nameOf(key) + "; nothing was changed");
    }
    return writeArea(lock, key, held, store);
  });
}

}  // namespace corvane::unit
