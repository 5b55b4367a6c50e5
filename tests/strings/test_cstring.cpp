#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "CString.h"

TEST(CString, EmptyFormsShareOneStaticText)
{
    CString a;
    CString b(static_cast<const char*>(nullptr));
    CString c("");
    CString d("x");
    d = "";
    CString e;
    e.Format("%s", "");
    for (const CString* s : {&a, &b, &c, &d, &e}) {
        ASSERT_NE(static_cast<const char*>(*s), nullptr);
        EXPECT_STREQ(*s, "");
        EXPECT_TRUE(s->IsEmpty());
        EXPECT_EQ(s->GetRefCountForTest(), 0);
        EXPECT_EQ(static_cast<const char*>(*s), static_cast<const char*>(AfxGetEmptyString()));
    }
}

TEST(CString, CopiesShareUntilOneIsWritten)
{
    CString source("preset");
    CString copy(source);
    EXPECT_EQ(static_cast<const char*>(source), static_cast<const char*>(copy));
    EXPECT_EQ(source.GetRefCountForTest(), 2);

    CString assigned;
    assigned = source;
    EXPECT_EQ(source.GetRefCountForTest(), 3);

    copy += "s";
    EXPECT_STREQ(source, "preset");
    EXPECT_STREQ(copy, "presets");
    EXPECT_EQ(source.GetRefCountForTest(), 2);

    assigned.MakeUpper();
    EXPECT_STREQ(assigned, "PRESET");
    EXPECT_STREQ(source, "preset");

    CString third(source);
    third.SetAt(0, 'P');
    EXPECT_STREQ(third, "Preset");
    EXPECT_STREQ(source, "preset");
    EXPECT_EQ(source.GetRefCountForTest(), 1);
}

TEST(CString, WritingThroughGetBufferOfACopyLeavesTheSourceAlone)
{
    CString source("Flat");
    CString copy = source;
    char* p = copy.GetBuffer(40);
    EXPECT_NE(p, static_cast<const char*>(source));
    EXPECT_STREQ(p, "Flat");  // the text is kept
    std::strcpy(p, "Bass boost and more");
    copy.ReleaseBuffer();
    EXPECT_STREQ(copy, "Bass boost and more");
    EXPECT_EQ(copy.GetLength(), 19);
    EXPECT_STREQ(source, "Flat");
    EXPECT_EQ(source.GetLength(), 4);

    // GetBufferSetLength on a shared buffer, too.
    CString again = source;
    char* q = again.GetBufferSetLength(2);
    q[0] = 'x';
    again.ReleaseBuffer(2);
    EXPECT_STREQ(again, "xl");
    EXPECT_STREQ(source, "Flat");

    // ReleaseBuffer with an explicit length cuts; -1 takes strlen.
    CString s("abcdef");
    s.GetBuffer(0)[3] = '\0';
    s.ReleaseBuffer();
    EXPECT_EQ(s.GetLength(), 3);
    s.ReleaseBuffer(1);
    EXPECT_STREQ(s, "a");
}

TEST(CString, AppendingToItselfAndSelfAssignmentAreSafe)
{
    CString s("ab");
    s += s;
    EXPECT_STREQ(s, "abab");
    s = static_cast<const char*>(s) + 1;  // a pointer into its own buffer
    EXPECT_STREQ(s, "bab");
    s = s;
    EXPECT_STREQ(s, "bab");
    s += static_cast<const char*>(nullptr);
    EXPECT_STREQ(s, "bab");
}

TEST(CString, SmallIntegerPointerLoadsAStringResource)
{
    CString missing(reinterpret_cast<const char*>(static_cast<uintptr_t>(5000)));
    EXPECT_STREQ(missing, "5000");  // no entry: the decimal id
    CString known(reinterpret_cast<const char*>(static_cast<uintptr_t>(20135)));
    EXPECT_NE(std::string(known).find("could not be"), std::string::npos);

    CString fmt;
    fmt.Format(20135u, "/home/u/.config/GraphicEQ/GraEQDef.fxb");
    EXPECT_NE(std::string(fmt).find("/home/u/.config/GraphicEQ/GraEQDef.fxb"), std::string::npos);
}

TEST(CString, FormatHandlesLongResults)
{
    CString s;
    s.Format("%d:%s", 3, "Vocal");
    EXPECT_STREQ(s, "3:Vocal");
    const std::string big(3000, 'q');
    s.Format("[%s]", big.c_str());
    EXPECT_EQ(s.GetLength(), 3002);
    EXPECT_EQ(s[3001], ']');
}

TEST(CString, ComparisonsConstructorsAndEditing)
{
    CString a("abc"), b("abd");
    EXPECT_TRUE(a < b);
    EXPECT_TRUE(a <= "abc");
    EXPECT_TRUE("abd" > a);
    EXPECT_TRUE(a != b);
    EXPECT_TRUE(a == "abc");
    EXPECT_LT(a.Compare("abd"), 0);
    EXPECT_EQ(a.CompareNoCase("ABC"), 0);
    EXPECT_EQ(a.CompareNoCase("ABD"), -3);

    EXPECT_STREQ(CString('-', 3), "---");
    EXPECT_STREQ(CString("abcdef", 3), "abc");
    EXPECT_STREQ(CString("ab", 10), "ab");
    EXPECT_STREQ(a + b, "abcabd");
    EXPECT_STREQ(a + "!", "abc!");
    EXPECT_STREQ("!" + a, "!abc");
    EXPECT_STREQ(a.Right(2), "bc");
    EXPECT_STREQ(a.Right(9), "abc");
    EXPECT_STREQ(a.Mid(1, 1), "b");
    EXPECT_STREQ(a.Left(-1), "");

    CString t(" \t pad \r\n");
    t.TrimLeft();
    EXPECT_STREQ(t, "pad \r\n");
    t.TrimRight();
    EXPECT_STREQ(t, "pad");
    CString blank("   ");
    blank.TrimRight();
    EXPECT_TRUE(blank.IsEmpty());

    EXPECT_EQ(a[1], 'b');
    EXPECT_EQ(a[99], '\0');  // out of range reads as the end, never past it
}
