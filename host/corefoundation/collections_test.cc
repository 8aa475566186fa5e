#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "host/corefoundation/testing/objects.h"

namespace corvane::testing {
namespace {

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
  const auto list = [](int count) {
    const CFRef values(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
    for (int value = 0; value < count; ++value) {
      CFArrayAppendValue(values.get(), makeNumber(value).get());
    }
    return CFRef<CFArrayRef>::retaining(values.get());
  };
  EXPECT_TRUE(CFEqual(list(2).get(), list(2).get()));
  EXPECT_EQ(CFHash(list(2).get()), CFHash(list(2).get()));
  EXPECT_FALSE(CFEqual(list(2).get(), list(1).get()));
}

TEST(ArrayDeathTest, IndexOutsideTheArrayEndsTheProgram) {
  const CFRef list(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
  EXPECT_DEATH(CFArrayGetValueAtIndex(list.get(), 0), "CFArrayGetValueAtIndex: ");
  EXPECT_DEATH(CFArrayGetValueAtIndex(list.get(), -1), "CFArrayGetValueAtIndex: ");
}

TEST(DictionaryTest, AddingKeepsAndSettingReplacesTheValueOfAnEqualKey) {
  const CFRef dictionary = makeDictionary();
  const CFRef equalKey = cfString("key");
  CFDictionaryAddValue(dictionary.get(), CFSTR("key"), CFSTR("first"));
  CFDictionaryAddValue(dictionary.get(), equalKey.get(), CFSTR("second"));
  EXPECT_EQ(CFDictionaryGetValue(dictionary.get(), equalKey.get()), CFSTR("first"));
  CFDictionarySetValue(dictionary.get(), equalKey.get(), CFSTR("third"));
  EXPECT_EQ(CFDictionaryGetValue(dictionary.get(), CFSTR("key")), CFSTR("third"));
  EXPECT_EQ(CFGetRetainCount(equalKey.get()), 1);
  EXPECT_EQ(CFDictionaryGetCount(dictionary.get()), 1);
}

TEST(DictionaryTest, ReferencesAreGivenBack) {
  const CFRef key = cfString("key");
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
  const CFRef key = cfString("key");
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
  CFDictionarySetValue(two.get(), CFSTR("b"), cfString("text").get());
  CFDictionarySetValue(two.get(), CFSTR("a"), makeNumber(1).get());
  EXPECT_TRUE(CFEqual(one.get(), two.get()));
  EXPECT_EQ(CFHash(one.get()), CFHash(two.get()));
  CFDictionarySetValue(two.get(), CFSTR("a"), makeNumber(2).get());
  EXPECT_FALSE(CFEqual(one.get(), two.get()));
}

TEST(DictionaryTest, HoldsWhatAMapHoldsWhileItGrowsAndShrinks) {
  std::mt19937 random(7);
  const CFRef dictionary = makeDictionary();
  std::map<std::string, int> model;
  for (int step = 0; step < 4000; ++step) {
    // Past the size from which it keeps an index, and down again.
    const bool isGrowing = step / 100 % 2 == 0;
    const std::string name = "k" + std::to_string(random() % 20);
    const CFRef key = cfString(name);
    if (random() % 4 < (isGrowing ? 1 : 3)) {
      CFDictionaryRemoveValue(dictionary.get(), key.get());
      model.erase(name);
    } else if (random() % 2 == 0) {
      CFDictionaryAddValue(dictionary.get(), key.get(), makeNumber(step).get());
      model.emplace(name, step);
    } else {
      CFDictionarySetValue(dictionary.get(), key.get(), makeNumber(step).get());
      model[name] = step;
    }
    ASSERT_EQ(CFDictionaryGetCount(dictionary.get()), static_cast<CFIndex>(model.size())) << step;
    const auto at = model.find(name);
    EXPECT_EQ(shown(CFDictionaryGetValue(dictionary.get(), key.get())),
              at == model.end() ? "(null)" : std::to_string(at->second));
  }
  std::vector<const void*> keys(model.size());
  std::vector<const void*> values(model.size());
  CFDictionaryGetKeysAndValues(dictionary.get(), keys.data(), values.data());
  std::map<std::string, int> entries;
  for (size_t i = 0; i < keys.size(); ++i) entries[shown(keys[i])] = std::stoi(shown(values[i]));
  EXPECT_EQ(entries, model);
}

}  // namespace
}  // namespace corvane::testing
