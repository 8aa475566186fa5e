#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "host/corefoundation/testing/objects.h"

namespace cf {
namespace {

std::vector<std::string> keysOf(CFDictionaryRef dictionary) {
  std::vector<const void*> keys(static_cast<size_t>(CFDictionaryGetCount(dictionary)));
  CFDictionaryGetKeysAndValues(dictionary, keys.data(), nullptr);
  std::vector<std::string> texts;
  for (const void* key : keys) texts.push_back(shown(key));
  return texts;
}

TEST(ArrayTest, ValuesAreRetainedWhileTheyAreInTheArray) {
  const CFRef number = makeNumber(1);
  {
    const CFRef list(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
    CFArrayAppendValue(list.get(), number.get());
    EXPECT_EQ(CFArrayGetValueAtIndex(list.get(), 0), number.get());
    EXPECT_EQ(CFGetRetainCount(number.get()), 2);
  }
  EXPECT_EQ(CFGetRetainCount(number.get()), 1);
}

TEST(ArrayTest, ArraysAreEqualByTheirValues) {
  const void* values[] = {CFSTR("a"), kCFBooleanTrue};
  const CFRef copied = makeString("a");
  const void* sameValues[] = {copied.get(), kCFBooleanTrue};
  const CFRef list(CFArrayCreate(nullptr, values, 2, &kCFTypeArrayCallBacks));
  const CFRef same(CFArrayCreate(nullptr, sameValues, 2, &kCFTypeArrayCallBacks));
  const CFRef shorter(CFArrayCreate(nullptr, values, 1, &kCFTypeArrayCallBacks));
  EXPECT_TRUE(CFEqual(list.get(), same.get()));
  EXPECT_EQ(CFHash(list.get()), CFHash(same.get()));
  EXPECT_FALSE(CFEqual(list.get(), shorter.get()));
}

TEST(ArrayDeathTest, IndexOutsideTheArrayEndsTheProgram) {
  const CFRef list(CFArrayCreate(nullptr, nullptr, 0, &kCFTypeArrayCallBacks));
  EXPECT_DEATH(CFArrayGetValueAtIndex(list.get(), 0), "CFArrayGetValueAtIndex: ");
  EXPECT_DEATH(CFArrayGetValueAtIndex(list.get(), -1), "CFArrayGetValueAtIndex: ");
}

TEST(DictionaryTest, AddingKeepsAndSettingReplacesTheValueOfAnEqualKey) {
  const CFRef dictionary = makeDictionary();
  const CFRef equalKey = makeString("key");
  CFDictionaryAddValue(dictionary.get(), CFSTR("key"), CFSTR("first"));
  CFDictionaryAddValue(dictionary.get(), equalKey.get(), CFSTR("second"));
  EXPECT_EQ(CFDictionaryGetValue(dictionary.get(), equalKey.get()), CFSTR("first"));
  CFDictionarySetValue(dictionary.get(), equalKey.get(), CFSTR("third"));
  EXPECT_EQ(CFDictionaryGetValue(dictionary.get(), CFSTR("key")), CFSTR("third"));
  EXPECT_EQ(CFGetRetainCount(equalKey.get()), 1);
  EXPECT_EQ(CFDictionaryGetCount(dictionary.get()), 1);
}

TEST(DictionaryTest, ReferencesAreGivenBack) {
  const CFRef key = makeString("key");
  const CFRef value = makeNumber(1);
  const CFRef other = makeNumber(2);
  {
    const CFRef dictionary = makeDictionary();
    CFDictionarySetValue(dictionary.get(), key.get(), value.get());
    const CFRef copy(CFDictionaryCreateMutableCopy(nullptr, 0, dictionary.get()));
    EXPECT_EQ(CFGetRetainCount(value.get()), 3);
    CFDictionarySetValue(dictionary.get(), key.get(), other.get());
    CFDictionaryRemoveValue(dictionary.get(), key.get());
    EXPECT_EQ(CFGetRetainCount(value.get()), 2);
    EXPECT_EQ(CFGetRetainCount(other.get()), 1);
    EXPECT_TRUE(CFDictionaryContainsKey(copy.get(), key.get()));
  }
  EXPECT_EQ(CFGetRetainCount(key.get()), 1);
  EXPECT_EQ(CFGetRetainCount(value.get()), 1);
}

TEST(DictionaryTest, NullCallbacksCompareKeysByIdentityAndKeepNothing) {
  const CFRef bare(CFDictionaryCreateMutable(nullptr, 0, nullptr, nullptr));
  const CFRef key = makeString("key");
  CFDictionarySetValue(bare.get(), key.get(), reinterpret_cast<const void*>(5));
  EXPECT_EQ(CFGetRetainCount(key.get()), 1);
  EXPECT_EQ(CFDictionaryGetValue(bare.get(), key.get()), reinterpret_cast<const void*>(5));
  EXPECT_EQ(CFDictionaryGetValue(bare.get(), CFSTR("key")), nullptr);
}

TEST(DictionaryTest, CallbacksOfTheCallersOwnAreHonoured) {
  CFDictionaryKeyCallBacks texts{};
  texts.equal = [](const void* text1, const void* text2) -> Boolean {
    return std::strcmp(static_cast<const char*>(text1), static_cast<const char*>(text2)) == 0;
  };
  texts.copyDescription = [](const void* text) {
    return CFStringCreateWithCString(nullptr, static_cast<const char*>(text),
                                     kCFStringEncodingUTF8);
  };
  const CFRef dictionary(
      CFDictionaryCreateMutable(nullptr, 0, &texts, &kCFTypeDictionaryValueCallBacks));
  std::vector<std::string> keys;
  for (int index = 0; index < 20; ++index) keys.push_back("key" + std::to_string(index));
  for (const std::string& key : keys) {
    CFDictionarySetValue(dictionary.get(), key.c_str(), makeNumber(1).get());
  }
  EXPECT_TRUE(CFDictionaryContainsKey(dictionary.get(), std::string("key19").c_str()));
  EXPECT_EQ(shown(dictionary.get()).substr(0, 22), "{key0 = 1; key1 = 1; k");
}

TEST(DictionaryTest, EqualityDisregardsTheOrder) {
  const CFRef one = makeDictionary();
  const CFRef two = makeDictionary();
  CFDictionarySetValue(one.get(), CFSTR("a"), makeNumber(1).get());
  CFDictionarySetValue(one.get(), CFSTR("b"), CFSTR("text"));
  CFDictionarySetValue(two.get(), CFSTR("b"), makeString("text").get());
  CFDictionarySetValue(two.get(), CFSTR("a"), makeNumber(1).get());
  EXPECT_TRUE(CFEqual(one.get(), two.get()));
  EXPECT_EQ(CFHash(one.get()), CFHash(two.get()));
  CFDictionarySetValue(two.get(), CFSTR("a"), makeNumber(2).get());
  EXPECT_FALSE(CFEqual(one.get(), two.get()));
}

TEST(DictionaryTest, RandomChangesLeaveWhatAListOfPairsHolds) {
  std::mt19937 random(7);
  const CFRef dictionary = makeDictionary();
  std::vector<std::pair<std::string, int>> model;
  for (int step = 0; step < 3000; ++step) {
    const std::string name = "k" + std::to_string(random() % 40);
    const CFRef key = makeString(name);
    const auto at = std::ranges::find(model, name, &std::pair<std::string, int>::first);
    switch (random() % 3) {
      case 0:
        CFDictionaryRemoveValue(dictionary.get(), key.get());
        if (at != model.end()) model.erase(at);
        break;
      case 1:
        CFDictionaryAddValue(dictionary.get(), key.get(), makeNumber(step).get());
        if (at == model.end()) model.emplace_back(name, step);
        break;
      default:
        CFDictionarySetValue(dictionary.get(), key.get(), makeNumber(step).get());
        if (at == model.end()) {
          model.emplace_back(name, step);
        } else {
          at->second = step;
        }
    }
    if (step % 100 != 0) continue;
    std::vector<std::string> names;
    for (const auto& [expected, value] : model) {
      names.push_back(expected);
      const CFTypeRef found = CFDictionaryGetValue(dictionary.get(), makeString(expected).get());
      EXPECT_EQ(shown(found), std::to_string(value));
    }
    EXPECT_EQ(keysOf(dictionary.get()), names);
  }
}

}  // namespace
}  // namespace cf
