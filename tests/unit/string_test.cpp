// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <ry_system/ry_system.h>

#include <string>

namespace {

TEST(StringW, DefaultAndNullAreEmpty) {
    for (const CRyStringW& s : {CRyStringW(), CRyStringW(nullptr), CRyStringW(L"")}) {
        EXPECT_TRUE(s.empty());
        EXPECT_EQ(s.length(), 0u);
        EXPECT_EQ(std::wstring(s.c_str()), L"");
    }
}

TEST(StringW, CopiesItsTextAndCountsCharacters) {
    wchar_t text[] = L"\u00b5m";
    const CRyStringW s(text, 0);
    text[0] = L'?';
    EXPECT_EQ(std::wstring(s.c_str()), L"\u00b5m");
    EXPECT_EQ(s.length(), 2u);
    EXPECT_FALSE(s.empty());
}

TEST(StringW, ComparesByContent) {
    const CRyStringW a(L"alpha");
    const CRyStringW b(L"beta");
    EXPECT_TRUE(a == CRyStringW(L"alpha"));
    EXPECT_TRUE(a != b);
    EXPECT_TRUE(a < b);
    EXPECT_FALSE(b < a);
    EXPECT_FALSE(a < a);
    EXPECT_TRUE(CRyStringW() < a);
}

TEST(Translation, GivesTheTextBack) {
    const wchar_t* const text = L"Generating PSF...";
    EXPECT_EQ(std::wstring(RY_GetTranslation(text, "gnr_deconvolution/core_legacy")), text);
}

}  // namespace
