// Layout and spread of the random identifiers.

#include <gtest/gtest.h>

#include <vela/vela.hpp>

#include <set>
#include <string>
#include <unordered_set>

namespace {

// The 8-4-4-4-12 layout of a version-4, variant-1 identifier in lower-case hexadecimal.
::testing::AssertionResult hasUuidV4Layout(const std::string& id) {
    if (id.size() != 36) return ::testing::AssertionFailure() << "'" << id << "' is not 36 characters";
    for (size_t i = 0; i < id.size(); ++i) {
        const bool hyphen = i == 8 || i == 13 || i == 18 || i == 23;
        const char c = id[i];
        const bool ok = hyphen    ? c == '-'
                        : i == 14 ? c == '4'
                        : i == 19 ? std::string("89ab").find(c) != std::string::npos
                                  : std::string("0123456789abcdef").find(c) != std::string::npos;
        if (!ok) return ::testing::AssertionFailure() << "'" << id << "' has '" << c << "' at " << i;
    }
    return ::testing::AssertionSuccess();
}

TEST(Uuid, many_draws_keep_the_layout_never_repeat_and_use_every_digit) {
    constexpr int kDraws = 100000;
    std::unordered_set<std::string> seen;
    seen.reserve(kDraws);
    std::set<char> firstDigits, variantDigits, lastDigits;
    for (int i = 0; i < kDraws; ++i) {
        const std::string id = vela::uuid::generate_uuid_v4();
        ASSERT_TRUE(hasUuidV4Layout(id));
        ASSERT_TRUE(seen.insert(id).second) << "repeated " << id;
        firstDigits.insert(id[0]);
        variantDigits.insert(id[19]);
        lastDigits.insert(id[35]);
    }
    // Over this many draws a random digit that never shows up means the range is wrong.
    EXPECT_EQ(firstDigits.size(), 16u);
    EXPECT_EQ(lastDigits.size(), 16u);
    EXPECT_EQ(variantDigits, (std::set<char>{'8', '9', 'a', 'b'}));
}

TEST(Uuid, unique_id_is_a_fresh_uuid_as_a_String) {
    const vela::String first = vela::generate_unique_id();
    const vela::String second = vela::generate_unique_id();
    EXPECT_TRUE(hasUuidV4Layout(first.str()));
    EXPECT_TRUE(hasUuidV4Layout(second.str()));
    EXPECT_NE(first, second);
}

}  // namespace
