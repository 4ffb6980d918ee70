// Texts that are compiled in.
#include "velfixedtext.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "xany.h"

namespace {

xstring Greeting() { return VEL_FIXED_TEXT("good morning"); }

TEST(VelFixedText, IsTheLiteralInBothForms) {
  const xstring text = Greeting();
  EXPECT_FALSE(text.IsNull());
  EXPECT_STREQ(text.CastToCString(), "good morning");
  EXPECT_EQ(text.GetLength(), 12);
  EXPECT_EQ(text.GetMBSize(), 13u);
  EXPECT_TRUE(text == L"good morning");
  EXPECT_TRUE(text == xstring("good morning"));
  EXPECT_EQ(VEL_FIXED_TEXT("x").GetLength(), 1);
}

TEST(VelFixedText, StringsOfOneTextShareItsBuffer) {
  const xstring first = Greeting();
  const xstring second = Greeting();
  EXPECT_EQ(first.CastToCString(), second.CastToCString());
  // Produced once, for all.
  const wchar_t* const wide = first.CastToCWString();
  EXPECT_EQ(second.CastToCWString(), wide);
  EXPECT_EQ(Greeting().CastToCWString(), wide);
}

TEST(VelFixedText, AnEditLeavesTheTextAlone) {
  xstring appended = Greeting();
  appended += '!';
  appended += " again";
  xstring replaced = Greeting();
  replaced.Substitute("morning", "night");
  xstring assigned = Greeting();
  assigned = "bye";
  EXPECT_STREQ(appended.CastToCString(), "good morning! again");
  EXPECT_STREQ(replaced.CastToCString(), "good night");
  EXPECT_STREQ(assigned.CastToCString(), "bye");
  EXPECT_STREQ(Greeting().CastToCString(), "good morning");
}

TEST(VelFixedText, OutlivesItsStrings) {
  for (int round = 0; round < 3; ++round) {
    xstring text = Greeting();
    const xany value(text);
    text = xstring();
    EXPECT_TRUE(value == "good morning");
  }
}

TEST(VelFixedText, IsThereInEveryThread) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([] {
      for (int round = 0; round < 1000; ++round) {
        xstring text = Greeting();
        EXPECT_TRUE(text == L"good morning");
        text += 's';
        EXPECT_TRUE(text == "good mornings");
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_STREQ(Greeting().CastToCString(), "good morning");
}

}  // namespace
