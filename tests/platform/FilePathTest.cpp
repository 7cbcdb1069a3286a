#include "platform/FilePath.h"

#include <gtest/gtest.h>

using namespace ferrow::platform;

TEST(FilePath, EachSystemsAbsoluteRuleAndOneSeparatorWhenJoining) {
    struct Case {
        const char* name;
        bool posix, windows;
    };
    const Case cases[] = {
        {"/abs/x.cfg", true, true},         {"C:\\data\\dev.cfg", false, true},
        {"Z:\\tmp\\a.cfg", false, true},    {"\\\\server\\share\\x.cfg", false, true},
        {"dev.cfg:stream", false, true},    {"C:dev.cfg", false, true},
        {"sub\\a.cfg", false, false},       {"sub/a.cfg", false, false},
        {"", false, false},                 {nullptr, false, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name ? c.name : "null");
        EXPECT_EQ(c.posix, IsAbsolutePath(c.name, PathStyle::Posix));
        EXPECT_EQ(c.windows, IsAbsolutePath(c.name, PathStyle::Windows));
    }
    EXPECT_EQ("/home/u/Ferrow.hex", JoinPath("/home/u", "Ferrow.hex", PathStyle::Posix));
    EXPECT_EQ("/Ferrow.hex", JoinPath("/", "Ferrow.hex", PathStyle::Posix));
    EXPECT_EQ("/x\\/a", JoinPath("/x\\", "a", PathStyle::Posix)) << "a backslash is a name";
    EXPECT_EQ("C:\\x\\Ferrow.hex", JoinPath("C:\\x", "Ferrow.hex", PathStyle::Windows));
    EXPECT_EQ("C:\\Ferrow.hex", JoinPath("C:\\", "Ferrow.hex", PathStyle::Windows));
    EXPECT_EQ("C:/x/a", JoinPath("C:/x/", "a", PathStyle::Windows));
    EXPECT_EQ("/usr/lib", DirectoryOf("/usr/lib/libferrow.so", PathStyle::Posix));
    EXPECT_EQ("", DirectoryOf("C:\\bin\\ferrow.dll", PathStyle::Posix));
    EXPECT_EQ("C:\\pkg\\bin", DirectoryOf("C:\\pkg\\bin\\ferrow.dll", PathStyle::Windows));
    EXPECT_EQ("C:/pkg", DirectoryOf("C:/pkg/ferrow.dll", PathStyle::Windows));
    EXPECT_FALSE(CurrentDirectory().empty());
    EXPECT_TRUE(IsAbsolutePath(CurrentDirectory().c_str()));
}
