#include "platform/movie/OleTypes.h"

#include "platform/movie/AxHost.h"
#include "platform/movie/ShockwaveFlash.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::u16string takeString(LPOLESTR text) {
  std::u16string copy = text ? std::u16string(text) : std::u16string();
  CoTaskMemFree(text);
  return copy;
}

TEST(OleTypesTest, ClassIdsConvertToTheirRegistryForm) {
  LPOLESTR text = nullptr;
  ASSERT_EQ(StringFromCLSID(CLSID_ShockwaveFlash, &text), S_OK);
  EXPECT_EQ(takeString(text), u"{D27CDB6E-AE6D-11CF-96B8-444553540000}");
  ASSERT_EQ(StringFromCLSID(IID_IAxWinHostWindow, &text), S_OK);
  EXPECT_EQ(takeString(text), u"{B6EA2050-048A-11D1-82B9-00C04FB9942E}");

  CLSID parsed;
  EXPECT_EQ(CLSIDFromString(u"{3af24292-0C96-11ce-A0CF-00AA00600AB8}", &parsed), S_OK);
  EXPECT_TRUE(IsEqualGUID(parsed, IID_IViewObjectEx));
  EXPECT_FALSE(IsEqualGUID(parsed, IID_IShockwaveFlash));
}

TEST(OleTypesTest, MalformedClassStringsAreRefused) {
  CLSID parsed;
  for (const char16_t* bad :
       {u"", u"{D27CDB6E-AE6D-11CF-96B8-444553540000", u"D27CDB6E-AE6D-11CF-96B8-444553540000}",
        u"{D27CDB6E-AE6D-11CF-96B8-44455354000G}", u"{D27CDB6EAAE6D-11CF-96B8-444553540000}",
        u"{D27CDB6E-AE6D-11CF-96B8-444553540000}x", u"{D27CDB6E-AE6D-11CF-96B8-4445535400}", u"ShockwaveFlash"}) {
    EXPECT_EQ(CLSIDFromString(bad, &parsed), CO_E_CLASSSTRING) << std::string(bad, bad + std::u16string(bad).size());
    EXPECT_TRUE(IsEqualGUID(parsed, IID_NULL));
  }
  EXPECT_EQ(CLSIDFromString(nullptr, &parsed), CO_E_CLASSSTRING);
}

TEST(OleTypesTest, BstrKeepsItsLengthAndEmbeddedZeros) {
  const char16_t text[] = {u'a', 0, u'b'};
  BSTR s = SysAllocStringLen(text, 3);
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(SysStringLen(s), 3u);
  EXPECT_EQ(s[2], u'b');
  EXPECT_EQ(s[3], 0);
  SysFreeString(s);
  BSTR t = SysAllocString(u"movie.swf");
  EXPECT_EQ(SysStringLen(t), 9u);
  SysFreeString(t);
  EXPECT_EQ(SysStringLen(nullptr), 0u);
  EXPECT_EQ(SysAllocString(nullptr), nullptr);
}

TEST(OleTypesTest, MultiByteToWideCharFollowsTheWin32Contract) {
  // "é" is two UTF-8 bytes, one unit; U+1F600 is four bytes, two units.
  const char* path = "/show/\xC3\xA9t\xC3\xA9/\xF0\x9F\x98\x80.swf";
  const int needed = MultiByteToWideChar(CP_ACP, 0, path, -1, nullptr, 0);
  EXPECT_EQ(needed, 17);  // 16 units and the terminator
  WCHAR wide[32];
  ASSERT_EQ(MultiByteToWideChar(CP_ACP, 0, path, -1, wide, 32), needed);
  EXPECT_EQ(std::u16string(wide), u"/show/\u00E9t\u00E9/\U0001F600.swf");
  EXPECT_EQ(MultiByteToWideChar(CP_ACP, 0, path, -1, wide, needed - 1), 0);  // no room for the zero
  EXPECT_EQ(MultiByteToWideChar(CP_ACP, 0, path, 3, wide, 32), 3);           // explicit length: no zero
  EXPECT_EQ(MultiByteToWideChar(1252, 0, path, -1, wide, 32), 0);            // no other code pages

  std::string back;
  ASSERT_TRUE(wideToUtf8(wide, std::u16string(wide).size(), &back));
  EXPECT_EQ(back, path);
}

TEST(OleTypesTest, InvalidUtf8FailsStrictlyOrBecomesReplacementCharacters) {
  for (const char* bad : {"a\xFF" "b", "\xC0\xAF", "\xED\xA0\x80", "\xE2\x82"}) {
    WCHAR wide[16];
    EXPECT_EQ(MultiByteToWideChar(CP_ACP, MB_ERR_INVALID_CHARS, bad, -1, wide, 16), 0) << bad;
    ASSERT_GT(MultiByteToWideChar(CP_ACP, 0, bad, -1, wide, 16), 0) << bad;
    EXPECT_NE(std::u16string(wide).find(u'\uFFFD'), std::u16string::npos) << bad;
  }
  std::string out;
  const char16_t loneSurrogate[] = {u'a', char16_t(0xD800), u'b'};
  EXPECT_FALSE(wideToUtf8(loneSurrogate, 3, &out));
}

}  // namespace
