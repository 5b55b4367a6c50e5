#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "CString.h"

TEST(CString, EmptyFormsShareOneStaticText)
{
    CString a, b(static_cast<const char*>(nullptr)), c(""), d("x"), e;
    d = "";
    e.Format("%s", "");
    for (const CString* s : {&a, &b, &c, &d, &e})
        EXPECT_EQ(static_cast<const char*>(*s), static_cast<const char*>(AfxGetEmptyString()));
    EXPECT_EQ(a.GetRefCountForTest(), 0);
}

TEST(CString, CopiesShareUntilOneIsWritten)
{
    const CString source("preset");
    CString copy(source), assigned, third(source), buffered(source), sized(source);
    assigned = source;
    EXPECT_EQ(static_cast<const char*>(source), static_cast<const char*>(copy));
    EXPECT_EQ(source.GetRefCountForTest(), 6);

    copy += "s";
    assigned.MakeUpper();
    third.SetAt(0, 'P');
    char* p = buffered.GetBuffer(0);  // no growth needed, yet a private copy
    EXPECT_STREQ(p, "preset");
    p[0] = 'B';
    buffered.ReleaseBuffer();
    sized.GetBufferSetLength(2)[0] = 'x';
    sized.ReleaseBuffer(2);
    EXPECT_STREQ(copy, "presets");
    EXPECT_STREQ(assigned, "PRESET");
    EXPECT_STREQ(third, "Preset");
    EXPECT_STREQ(buffered, "Breset");
    EXPECT_STREQ(sized, "xr");
    EXPECT_STREQ(source, "preset");
    EXPECT_EQ(source.GetLength(), 6);
    EXPECT_EQ(source.GetRefCountForTest(), 1);

    // A grown buffer keeps the text; ReleaseBuffer: -1 takes strlen, an
    // explicit length cuts.
    CString s("abcdef");
    EXPECT_STREQ(s.GetBuffer(40), "abcdef");
    std::strcpy(s.GetBuffer(40), "Bass boost and more");
    s.ReleaseBuffer();
    EXPECT_EQ(s.GetLength(), 19);
    s.GetBuffer(0)[3] = '\0';
    s.ReleaseBuffer();
    EXPECT_EQ(s.GetLength(), 3);
    s.ReleaseBuffer(1);
    EXPECT_STREQ(s, "B");
}

TEST(CString, SelfReferenceResourcesAndLongFormats)
{
    CString s("ab");
    s += s;
    EXPECT_STREQ(s, "abab");
    s = static_cast<const char*>(s) + 1;  // a pointer into its own buffer
    s = s;
    s += static_cast<const char*>(nullptr);
    EXPECT_STREQ(s, "bab");

    // A pointer value below 0x10000 is a string resource id.
    EXPECT_STREQ(CString(reinterpret_cast<const char*>(uintptr_t(5000))), "5000");  // missing: the id
    CString fmt;
    fmt.Format(20135u, "/home/u/GraEQDef.fxb");
    EXPECT_NE(std::string(fmt).find("\"/home/u/GraEQDef.fxb\" could not be"), std::string::npos) << fmt;

    const std::string big(3000, 'q');
    s.Format("[%s]", big.c_str());
    EXPECT_EQ(s.GetLength(), 3002);
    EXPECT_EQ(s[3001], ']');
}

TEST(CString, ComparisonsAndEditingStayInBounds)
{
    const CString a("abc"), b("abd");
    EXPECT_TRUE(a < b && a <= "abc" && "abd" > a && a != b && a == "abc");
    EXPECT_EQ(a.CompareNoCase("ABD"), -3);
    EXPECT_STREQ(CString('-', 3), "---");
    EXPECT_STREQ(CString("abcdef", 3), "abc");
    EXPECT_STREQ(CString("ab", 10), "ab");
    EXPECT_STREQ("!" + a + b, "!abcabd");
    EXPECT_STREQ(a.Right(9), "abc");
    EXPECT_STREQ(a.Mid(1, 1), "b");
    EXPECT_STREQ(a.Left(-1), "");
    EXPECT_EQ(a[99], '\0');  // out of range reads as the end, never past it

    CString t(" \t pad \r\n"), blank("   ");
    t.TrimLeft();
    EXPECT_STREQ(t, "pad \r\n");
    const CString shared(t);
    t.TrimRight();
    blank.TrimRight();
    EXPECT_STREQ(t, "pad");
    EXPECT_EQ(t.GetLength(), 3) << "the stored length follows the trim";
    EXPECT_STREQ(t + "!", "pad!");
    t += "s";
    EXPECT_STREQ(t, "pads");
    EXPECT_STREQ(shared, "pad \r\n") << "a copy sharing the text keeps it";
    EXPECT_TRUE(blank.IsEmpty());
}
