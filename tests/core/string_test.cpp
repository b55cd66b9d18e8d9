#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <utility>

#include "vela/core/string.hpp"

namespace {

using vela::String;

TEST(String, empty_string_has_a_valid_empty_text) {
    const String empty;
    EXPECT_TRUE(empty.empty());
    EXPECT_EQ(empty.size(), 0u);
    EXPECT_STREQ(empty.c_str(), "");
    EXPECT_STREQ(empty.get(), "");
    EXPECT_TRUE(String(static_cast<const char*>(nullptr)).empty());
}

TEST(String, copies_own_their_buffer) {
    char source[] = "left";
    String a(source);
    source[0] = 'X';  // the String kept its own copy
    String b = a;
    b.set("right");
    EXPECT_EQ(a, "left");
    EXPECT_EQ(b, "right");
    EXPECT_NE(a.c_str(), b.c_str());
}

TEST(String, assignment_and_self_assignment_keep_the_text) {
    String a("depth");
    String b;
    b = a;
    EXPECT_EQ(b, a);
    const String& alias = b;
    b = alias;
    EXPECT_EQ(b, "depth");
    b.set(b.c_str());  // set from its own buffer
    EXPECT_EQ(b, "depth");
}

TEST(String, move_leaves_the_source_empty) {
    String a("cloud");
    String b(std::move(a));
    EXPECT_EQ(b, "cloud");
    EXPECT_TRUE(a.empty());  // NOLINT(bugprone-use-after-move): moved-from state is specified
    a = std::move(b);
    EXPECT_EQ(a, "cloud");
}

TEST(String, clear_and_set_null_empty_the_text) {
    String a("x");
    a.clear();
    EXPECT_TRUE(a.empty());
    a.set("y");
    a.set(static_cast<const char*>(nullptr));
    EXPECT_TRUE(a.empty());
}

TEST(String, converts_to_and_from_standard_strings_with_embedded_text_intact) {
    const std::string standard = "m/s\xC2\xB2";
    const String text(standard);
    EXPECT_EQ(text.size(), standard.size());
    EXPECT_EQ(text.str(), standard);
    const std::string back = text;
    EXPECT_EQ(back, standard);
    std::ostringstream os;
    os << text;
    EXPECT_EQ(os.str(), standard);
}

TEST(String, equality_compares_the_whole_text) {
    EXPECT_EQ(String("abc"), String("abc"));
    EXPECT_NE(String("abc"), String("abd"));
    EXPECT_NE(String("abc"), String("ab"));
    EXPECT_EQ(String(), String(""));
    EXPECT_TRUE(String() == static_cast<const char*>(nullptr));
}

}  // namespace
