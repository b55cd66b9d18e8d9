#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <utility>

#include "vela/core/string.hpp"

namespace {

using vela::String;

TEST(String, empty_and_null_texts_are_valid_and_empty) {
    const String empty;
    EXPECT_TRUE(empty.empty());
    EXPECT_STREQ(empty.c_str(), "");
    EXPECT_STREQ(empty.get(), "");
    EXPECT_TRUE(String(static_cast<const char*>(nullptr)).empty());
    String a("x");
    a.clear();
    EXPECT_TRUE(a.empty());
    a.set("y");
    a.set(static_cast<const char*>(nullptr));
    EXPECT_TRUE(a.empty());
    EXPECT_EQ(String(), String(""));
    EXPECT_TRUE(String() == static_cast<const char*>(nullptr));
}

TEST(String, copies_own_their_buffer_and_moves_empty_the_source) {
    char source[] = "left";
    String a(source);
    source[0] = 'X';  // the String kept its own copy
    String b = a;
    b.set("right");
    EXPECT_EQ(a, "left");
    EXPECT_EQ(b, "right");
    EXPECT_NE(a.c_str(), b.c_str());
    const String& alias = b;
    b = alias;
    b.set(b.c_str());  // set from its own buffer
    EXPECT_EQ(b, "right");
    String moved(std::move(b));
    EXPECT_EQ(moved, "right");
    EXPECT_TRUE(b.empty());  // NOLINT(bugprone-use-after-move): moved-from state is specified
    b = std::move(moved);
    EXPECT_EQ(b, "right");
}

TEST(String, converts_to_and_from_standard_strings_and_compares_the_whole_text) {
    const std::string standard = "m/s\xC2\xB2";
    const String text(standard);
    EXPECT_EQ(text.size(), standard.size());
    EXPECT_EQ(text.str(), standard);
    const std::string back = text;
    EXPECT_EQ(back, standard);
    std::ostringstream os;
    os << text;
    EXPECT_EQ(os.str(), standard);
    EXPECT_NE(String("abc"), String("abd"));
    EXPECT_NE(String("abc"), String("ab"));
}

}  // namespace
